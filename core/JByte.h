#ifndef JAY_CORE_JBYTE_H
#define JAY_CORE_JBYTE_H

#include <type_traits>

#include "core/JExport.h"

/**
 * An owned block of bytes with a fixed size: the buffer of stream reads and writes and of serialised
 * messages.
 *
 * Not a JObject: it has a virtual destructor and no other virtual operation. The data pointer is never
 * null, not even in a block of size 0. It stays valid until the block is resized, assigned to or destroyed.
 */
class JAY_API JByte {
public:
    /** Size 0. */
    JByte();

    /** `n` bytes of undefined content; a negative `n` counts as 0. */
    explicit JByte(int n);

    /**
     * A copy of the `len` bytes at `p + offset`, without a terminator. The range is not checked. A
     * null `p` or a negative `len` gives an empty block.
     */
    JByte(const char* p, int offset, int len);
    JByte(void* p, int offset, int len);

    /** A copy of the bytes. */
    JByte(const JByte& other);
    virtual ~JByte();

    /**
     * Copies the other's size and bytes. The array is reused when the other's size is not above this block's size.
     * The size counts, not the length of the array (kept: a block that was once larger allocates again when it grows).
     */
    JByte& operator=(const JByte& other);

    /**
     * Gives the block `n` bytes of undefined content and returns them; a negative `n` counts as 0. The old
     * content is lost on purpose. The pointer is valid until the next resize(), assignment or destruction.
     */
    char* resize(int n);

    int size() const { return size_; }  ///< how many bytes

    /** The byte at `i` as a signed number. `i` is not checked. */
    signed char operator[](int i) const { return static_cast<signed char>(data[i]); }

    /**
     * The same for the other integer types. Without it an index of type long would be ambiguous: the conversion to char*
     * offers the built-in operator, too.
     */
    template <class Index, class = std::enable_if_t<std::is_integral<Index>::value>>
    signed char operator[](Index i) const {
        return static_cast<signed char>(data[i]);
    }

    /** The data, not terminated. Writable also through a const block: only its size is fixed. */
    operator char*() const { return data; }
    operator const char*() const { return data; }
    operator unsigned char*() const { return reinterpret_cast<unsigned char*>(data); }
    operator void*() const { return data; }

private:
    char* data;  // owned, from array-new, never null, at least size_ bytes
    int size_;
};

static_assert(sizeof(void*) != 4 || sizeof(JByte) == 12, "instance size is part of the 32-bit contract");

#endif
