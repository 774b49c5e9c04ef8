#ifndef JAY_CORE_JSTRINGBUFFER_H
#define JAY_CORE_JSTRINGBUFFER_H

#include <memory>

#include "core/JObject.h"
#include "core/JString.h"

namespace jay::detail {
struct JStringBufferPeer;  // for the library's own tests
}

/**
 * Collects a long text from many appends without the reallocation that every JString::operator+= makes. The capacity grows
 * in blocks of 256 zero-filled bytes and never shrinks, except by clear(). Up to half as much again is allocated, so that
 * collecting a text takes time linear in its length.
 *
 * The text is NUL-terminated only by the conversion to const char*.
 *
 * Memory: a failed allocation throws std::bad_alloc, as does a text of more than INT_MAX bytes; the text is
 * then what it was.
 */
class JAY_API JStringBuffer : public JObject {
public:
    static const JClass classJStringBuffer;

    /** No storage, length 0. */
    JStringBuffer() = default;

    /** Room for `n` bytes from the start. */
    explicit JStringBuffer(int n);

    JStringBuffer(const JStringBuffer&) = delete;
    JStringBuffer& operator=(const JStringBuffer&) = delete;
    ~JStringBuffer() override;

    /**
     * Makes room for `extra` more bytes. The name is kept: it never shrinks the storage and never changes
     * length(). A buffer without storage gets its first block whatever `extra` is; a negative one makes no
     * more room than that.
     */
    void resize(int extra);

    /**
     * Appends a text, which may be this buffer's own as its conversion gave it. A null `s` counts as empty.
     */
    JStringBuffer& append(const char* s);
    JStringBuffer& append(const JString& s);

    /** Appends one character; '\0' appends nothing. */
    JStringBuffer& append(char c);
    JStringBuffer& append(signed char c);

    /** Appends the decimal text of the number, rendered as by JString's operator+. */
    JStringBuffer& append(int n);
    JStringBuffer& append(unsigned n);
    JStringBuffer& append(long n);
    JStringBuffer& append(unsigned long n);
    JStringBuffer& append(long long n);
    JStringBuffer& append(unsigned long long n);

    /**
     * The text, NUL-terminated (which may grow the storage). Valid until the next append, resize, clear or
     * destruction.
     */
    operator const char*();

    /** The text as a string. */
    JString toString() const;

    /** Bytes of text held. */
    int length() const { return length_; }

    /** Frees the storage: as after JStringBuffer(). */
    void clear();

    const JClass* getClass() const override;

private:
    friend struct jay::detail::JStringBufferPeer;

    JAY_HIDDEN std::unique_ptr<char[]> makeRoom(int extra);

    char* data = nullptr;  // owned, from array-new; null until the first append or sizing
    int capacity = 0;      // a multiple of 256; jay::detail::allocatedFor(capacity, 256) bytes are allocated
    int length_ = 0;       // bytes of text
};

static_assert(sizeof(void*) != 4 || sizeof(JStringBuffer) == 16,
              "instance size is part of the 32-bit contract");

#endif
