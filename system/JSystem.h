#ifndef JAY_SYSTEM_JSYSTEM_H
#define JAY_SYSTEM_JSYSTEM_H

#include <atomic>

#include "core/JObject.h"
#include "core/JString.h"

class JLock;

/**
 * The process-wide services of the library: diagnostic output, the clock, sleeping, shell
 * commands, the home directory and character encodings. All operations are static; the only instance belongs to the library.
 *
 * Any thread may call any operation, from static constructors and destructors too. Failures are reported by the result.
 * The only exception is std::bad_alloc: debug() and printf() throw it if there is no memory for a text of 512 bytes or more,
 * and getHomeDirectory() if there is none for its result. An operation that blocks is a cancellation point; a thread cancelled there leaves no lock
 * held and no descriptor open.
 */
class JAY_API JSystem : public JObject {
public:
    static const JClass classJSystem;

    /** Returns &classJSystem. */
    const JClass* getClass() const override;

    // ---- console and debug output, all of it to standard error ----

    /** Bytes shown per line of dump(). */
    static constexpr int MAX_DUMP = 16;

    /**
     * The debug switch; true at first. Atomic, because every thread reads it without a lock; no other data depends
     * on its order.
     */
    static std::atomic<bool> _debug;

    /**
     * The output lock. Null before the library's static objects are constructed and after they are destroyed at exit;
     * output is not serialised then. The lock itself is never destroyed. Use lock() and unlock(), which handle null.
     * In a forked child it is free, unless the forking thread holds it.
     */
    static JLock* _sync;

    /** Switches debug() and dump() on or off for the whole process. */
    static void debug(bool on);

    /**
     * Writes the formatted text, as std::printf, while the switch is on. Adds no prefix and no newline.
     * Texts of different threads are never mixed, and each text is written by one system call. If standard error blocks
     * (a full pipe), this call and the debug output of all other threads block as well.
     */
    static void debug(const char* format, ...) __attribute__((format(printf, 1, 2)));

    /**
     * Writes the formatted text whether the switch is on or off, without the output lock and without flushing.
     * Put calls that belong together between lock() and unlock(). Returns the number of bytes written, or a
     * negative number on failure.
     */
    static int printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

    /**
     * Takes the output lock, so that the calling thread can write several pieces as one block. The lock is
     * recursive: the thread may call debug(), dump() and lock() meanwhile. Not for code that may be cancelled
     * before it calls unlock().
     */
    static void lock();

    /** Undoes one lock() of the calling thread; has no effect if there was none. */
    static void unlock();

    /** Flushes standard error. */
    static void flush();

    /**
     * Writes a hex dump while the switch is on: MAX_DUMP bytes per line, each as two upper-case digits and a
     * blank, then the same bytes as text, with a dot for each byte that is not printable. A short last line is padded
     * to the text column. Every dump ends with an empty line; if data is null or len is 0 or less, it consists of that
     * line only.
     */
    static void dump(const char* data, int len);

    // ---- time ----

    /** The time of day in milliseconds since 1970-01-01 00:00 UTC. It changes abruptly when the clock is set. */
    static long long getMilliseconds();

    /**
     * Sleeps for ms milliseconds (not seconds). Returns 0 after that time; -1 with errno EINTR if a
     * signal handler ended the sleep early; -1 with errno EINVAL at once if ms is negative.
     */
    static int sleep(int ms);

    /** The same with the time in microseconds. */
    static int usleep(int us);

    // ---- processes ----

    /** The shell that runs commands. */
    static constexpr const char* SHELL_PATH = "/bin/sh";
    /** Mode of exec(): return at once. */
    static constexpr int EXEC_NOWAIT = 0;
    /** Mode of exec(): wait for the command's end. */
    static constexpr int EXEC_WAIT = 1;

    /**
     * Runs a command through the shell. The child inherits the environment, every descriptor that is not
     * close-on-exec, and the calling thread's signal mask.
     *
     * @param mode  EXEC_WAIT waits for the command; every other value does not.
     * @return -1 if command is null or no process could be created. Without waiting: the child's pid, for
     * pstatus(). With EXEC_WAIT: 0 if the command's exit code was 0, else -1. A command killed by a signal
     * has no exit code and also gives 0 (kept: callers rely on it). Also -1 if the child's status
     * is not available, because the application waits for its children itself or ignores SIGCHLD.
     *
     * While it waits, exec() reaps every child of the process that ends, and the statuses of the other children are lost:
     * pstatus() does not report them (kept: callers rely on it). Only other threads that wait in exec() still get
     * theirs. The end is noticed within 100 ms. If the waiting thread is cancelled, the command continues to run.
     */
    static int exec(const char* command, int mode);

    /**
     * Reports whether a child has ended, and reaps it if so. Does not block.
     *
     * @param exitCode  receives the exit code of a child that ended by itself; unchanged in every other case.
     * May be null.
     * @return the pid if the child has ended, also by a signal; 0 if it has not ended or is not a child of this
     * process.
     */
    static int pstatus(int pid, int* exitCode);

    /**
     * Converts the ASCII letters of s in place and returns s, which may be null. Bytes of 128 and above,
     * parts of double-byte characters, stay as they are.
     */
    static char* lcase(char* s);
    static char* ucase(char* s);

    /**
     * The parent of the directory /bin, without a slash at its end: "" if /bin is a directory, "/usr" if it is a link to
     * usr/bin (kept: the names of database files depend on it). Neither depends on the current directory nor changes it.
     */
    static JString getHomeDirectory();

    // ---- character encodings: one character per call; the caller loops ----

    /**
     * Decodes one UTF-8 character, of up to six bytes as UTF-8 was first defined: values up to 0x7FFFFFFF, surrogates included.
     *
     * @param wc receives the value; unchanged unless a character was decoded.
     * @param n  how many bytes may be read at `s`.
     * @return the number of bytes used, 1 to 6; 0 if `n` is below 1 or below the length that the first byte announces; -1
     * if the sequence is invalid, for example overlong.
     */
    static int mbtowc(unsigned long* wc, unsigned char* s, int n);

    /**
     * Encodes one character as UTF-8.
     *
     * @param r receives the bytes, without a terminator. @param n the size of `r` in bytes.
     * @return the number of bytes written, 1 to 6; 0 if `n` is too small, and then nothing is written; -1 if wc is 0x80000000
     * or more.
     */
    static int wctomb(unsigned char* r, int n, unsigned long wc);

    /**
     * Decodes one character of Korean double-byte text (EUC-KR with the extension of code page 949) to Unicode. The user-defined
     * rows 0xC9 and 0xFE give the Private Use Area from U+E000. Pairs with a trail byte below 0x80 are not decoded (kept).
     *
     * @param wc receives the value; '?' for a pair that is invalid or not defined.
     * @param s  the bytes; two must be readable when the first is 0x80 or more.
     * @param n  ignored (kept: callers rely on it).
     * @return the number of bytes used: 1 if the first byte is below 0x80, otherwise 2, also for an invalid pair.
     */
    static int kstowc(unsigned short* wc, unsigned char* s, int n);

    /** These do nothing (kept: programs call them). */
    static void C2W(JString& text, JByte& wide);
    static void W2C(unsigned short* wide, JString& text);

    /** Self-check: makes the path of a file in the home directory; has no effect. */
    static void Test();

private:
    JAY_HIDDEN JSystem();
    ~JSystem() override;

    JAY_HIDDEN static JSystem _instance;
};

#endif
