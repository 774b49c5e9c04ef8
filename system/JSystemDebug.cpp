#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <pthread.h>

#include "system/JSystem.h"
#include "thread/JLock.h"

const JClass JSystem::classJSystem = {"JSystem", sizeof(JSystem), &JObject::classJObject};

// Both are constant-initialised: debug output works from every static constructor, whatever the order.
std::atomic<bool> JSystem::_debug{true};
JLock* JSystem::_sync = nullptr;

// Made before the thread registry, which has 201, and so destroyed after it: threads that are stopped there
// still log.
JSystem JSystem::_instance __attribute__((init_priority(200)));

namespace {

/**
 * The output lock. It lies in static storage and is never destroyed, because threads that still run while the process
 * exits may hold it. It exists from JSystem's constructor on.
 */
alignas(JLock) unsigned char outputLockStorage[sizeof(JLock)];

JLock& outputLock() {
    return *std::launder(reinterpret_cast<JLock*>(outputLockStorage));
}

/** How often the calling thread has taken the lock: it gives back exactly that, even if _sync becomes null meanwhile. */
thread_local int lockDepth = 0;

/** In a forked child: the lock's holder may be a thread that the child does not have. The calling thread keeps its share. */
void renewOutputLock() JAY_UNCHECKED_LOCKING {
    new (outputLockStorage) JLock;
    for (int i = 0; i < lockDepth; ++i) outputLock().lock();
}

/** Holds the output lock for the length of a scope, also when the thread is cancelled in the write. */
class OutputLock {
public:
    OutputLock() { JSystem::lock(); }
    ~OutputLock() { JSystem::unlock(); }
    OutputLock(const OutputLock&) = delete;
    OutputLock& operator=(const OutputLock&) = delete;
};

/**
 * A formatted text on its way to standard error. It is not given to vfprintf, but put together first and
 * written with fwrite: a thread that is cancelled in fwrite is unwound on every target. On ARM vfprintf stops
 * the unwinding, and the locks that the thread holds, this one and its callers', would never be free again.
 */
class FormattedText {
public:
    FormattedText(const char* format, va_list arguments) __attribute__((format(printf, 2, 0))) {
        va_list again;
        va_copy(again, arguments);
        length_ = std::vsnprintf(short_, sizeof short_, format, arguments);
        if (length_ >= static_cast<int>(sizeof short_)) {
            const size_t size = static_cast<size_t>(length_) + 1;
            long_.reset(new char[size]);
            length_ = std::vsnprintf(long_.get(), size, format, again);
        }
        va_end(again);
    }

    /** Returns the number of bytes written, -1 on failure. */
    int write() const {
        if (length_ <= 0) return length_;
        const char* const text = long_ ? long_.get() : short_;
        const size_t written = std::fwrite(text, 1, static_cast<size_t>(length_), stderr);
        return written == static_cast<size_t>(length_) ? length_ : -1;
    }

private:
    char short_[512];
    std::unique_ptr<char[]> long_;
    int length_;
};

bool debugIsOn() {
    return JSystem::_debug.load(std::memory_order_relaxed);
}

/** One line of a dump, put together so that it leaves in one write. */
class DumpLine {
public:
    void add(unsigned char byte) {
        static const char digits[] = "0123456789ABCDEF";
        char* const group = line_ + 3 * count_;
        group[0] = digits[byte >> 4];
        group[1] = digits[byte & 15];
        group[2] = ' ';
        text_[count_++] = std::isprint(byte) ? static_cast<char>(byte) : '.';
    }

    bool isEmpty() const { return count_ == 0; }
    bool isFull() const { return count_ == JSystem::MAX_DUMP; }

    void write() {
        char* end = line_ + 3 * count_;
        for (int missing = JSystem::MAX_DUMP - count_; missing > 0; --missing) end = append(end, "   ", 3);
        end = append(end, text_, count_);
        end = append(end, "\n", 1);
        count_ = 0;
        std::fwrite(line_, 1, static_cast<size_t>(end - line_), stderr);
    }

private:
    static char* append(char* end, const char* text, int length) {
        std::memcpy(end, text, static_cast<size_t>(length));
        return end + length;
    }

    char line_[JSystem::MAX_DUMP * (3 + 1) + 1];
    char text_[JSystem::MAX_DUMP];
    int count_ = 0;
};

}  // namespace

// _sync is a plain pointer for applications. Threads may look at it while it is set to null: the accesses are atomic.

JSystem::JSystem() {
    __atomic_store_n(&_sync, new (outputLockStorage) JLock, __ATOMIC_RELEASE);
    pthread_atfork(nullptr, nullptr, renewOutputLock);
}

JSystem::~JSystem() {
    __atomic_store_n(&_sync, nullptr, __ATOMIC_RELAXED);
}

const JClass* JSystem::getClass() const {
    return &classJSystem;
}

void JSystem::debug(bool on) {
    _debug.store(on, std::memory_order_relaxed);
}

void JSystem::debug(const char* format, ...) {
    if (!debugIsOn()) return;
    va_list arguments;
    va_start(arguments, format);
    const FormattedText text(format, arguments);
    va_end(arguments);
    const OutputLock held;
    text.write();
    flush();
}

int JSystem::printf(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const FormattedText text(format, arguments);
    va_end(arguments);
    return text.write();
}

// Whether the lock is taken is known only when these run, so clang cannot follow them.

void JSystem::lock() JAY_UNCHECKED_LOCKING {
    if (lockDepth == 0 && __atomic_load_n(&_sync, __ATOMIC_ACQUIRE) == nullptr) return;
    outputLock().lock();
    ++lockDepth;
}

void JSystem::unlock() JAY_UNCHECKED_LOCKING {
    if (lockDepth == 0) return;
    --lockDepth;
    outputLock().unlock();
}

void JSystem::flush() {
    std::fflush(stderr);
}

void JSystem::dump(const char* data, int len) {
    if (!debugIsOn()) return;
    const OutputLock held;
    DumpLine line;
    for (int i = 0; data != nullptr && i < len; ++i) {
        line.add(static_cast<unsigned char>(data[i]));
        if (line.isFull()) line.write();
    }
    if (!line.isEmpty()) line.write();
    std::fputs("\n", stderr);
    flush();
}
