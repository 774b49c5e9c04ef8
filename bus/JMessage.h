#ifndef JAY_BUS_JMESSAGE_H
#define JAY_BUS_JMESSAGE_H

#include "core/JByte.h"
#include "core/JObject.h"
#include "core/JString.h"

namespace jay::detail {
class PackedMessage;
struct JMessagePeer;
}  // namespace jay::detail

/**
 * A growing block of bytes with a read cursor and a write cursor. It encodes and decodes the messages of the bus and
 * the records of the database. Numbers are little-endian on every machine.
 *
 * | item             | bytes                                                                               |
 * |------------------|-------------------------------------------------------------------------------------|
 * | byte             | the low 8 bits                                                                      |
 * | word             | 2 bytes: the low 16 bits                                                            |
 * | int              | 4 bytes                                                                             |
 * | variable integer | 1 byte below 254; 0xFE and a word up to 65535; 0xFF and an int above                |
 * | string           | its length as a variable integer, then its bytes, no terminator, no conversion      |
 * | byte run         | the bytes, no length                                                                |
 *
 * A negative variable integer is written as one byte, its low 8 bits, which a reader takes for a marker or a small
 * number (kept: lengths and counts are never negative).
 *
 * Reading never fails. At the end (read cursor at or behind size()) a reader returns 0, an empty string or the
 * caller's default. Only the start of a value is tested: the missing bytes of a value that is cut short are taken from
 * the buffer behind the end (zeros in fresh space), and the cursor advances by the full length of the value. Bytes
 * outside the buffer count as 0, and strings and blocks are cut at the end of the buffer. So no length that a peer
 * sends makes a reader read or allocate beyond the buffer.
 *
 * The buffer grows in steps of 256 bytes, never by doubling; new space is zero. Not thread-safe.
 */
class JAY_API JMessage : public JObject {
public:
    static constexpr int _MAX_BUFFER_SIZE = 256;  ///< the step of growth

    // ---- construction and copying ----

    /** An empty message. It allocates its buffer at the first write. */
    JMessage();

    /** A copy of the `len` bytes at `p + off`; null or a negative `len` gives an empty message. */
    JMessage(void* p, int off, int len);

    /** A copy of the block's bytes. */
    explicit JMessage(const JByte& b);

    /** Copies the bytes; the copy's read cursor is at the start. */
    JMessage(const JMessage& other);
    JMessage& operator=(const JMessage& other);
    ~JMessage() override;

    /** A new plain JMessage with the same bytes, also of a derived class. The caller owns it. */
    JObject* clone() override;

    const JClass* getClass() const override;
    static const JClass classJMessage;

    // ---- cursors ----

    int size() const;     ///< the length of the message: the write cursor
    int getPos() const;   ///< the read cursor
    int getWPos() const;  ///< the write cursor

    /** Sets the read cursor without a check. @return the former position. */
    int setPos(int p);

    /**
     * Sets the write cursor; a negative `p` counts as 0. If `p` is behind the buffer, calls
     * `resize(p - capacity + 1)` first, which counts from the write cursor and so may make less room than `p` needs
     * (kept: callers rely on it). Bytes outside the buffer then read as 0.
     * @return the former position.
     */
    int setWPos(int p);

    /** Makes room for `n` more bytes at the write cursor. */
    void resize(int n);

    // ---- writers: append at the write cursor ----

    void addByte(int v);    ///< the low 8 bits
    void addWord(int v);    ///< the low 16 bits, 2 bytes
    void addInt(int v);     ///< 4 bytes
    void addVarInt(int v);  ///< 1, 3 or 5 bytes; not for negative numbers (above)

    /** The bytes up to the NUL; null is written as the empty string. */
    void addString(const char* s);

    /** The string's length() bytes. */
    void addString(const JString& s);

    /** `len` bytes from `p` itself: `off` is not applied (kept: callers rely on it). Null or a negative `len`
     * adds nothing. */
    void addBytes(const void* p, int off, int len);
    /** The block's bytes, without their number. */
    void addBytes(const JByte& b);

    // ---- readers: read at the read cursor and advance it ----

    int getByte();    ///< 0..255
    int getWord();    ///< 0..65535
    int getInt();     ///< signed 32 bits
    int getVarInt();  ///< as written by addVarInt()

    /** A string. At the end, and if its length is 0 or negative: the empty string, or a copy of `def`. */
    JString getString();
    JString getString(const char* def);
    JString getString(const JString& def);

    /** A block of `n` bytes; empty at the end. */
    JByte getBytes(int n);

    JString getIntToString();     ///< getInt() in decimal
    JString getVarIntToString();  ///< getVarInt() in decimal

    // ---- the whole message ----

    /** A copy of all bytes, independent of the read cursor. */
    JByte toByteArray() const;

    /** Copies the first bytes, `size` at most, independent of the read cursor. @return the number of bytes copied. */
    int copyTo(void* to, int size) const;

    /** Hex dump to the debug output. */
    void dump() const;

    /** Self-check: writes and reads some values, and dumps them. */
    static void Test();

private:
    friend class M;
    friend class jay::detail::PackedMessage;
    friend struct jay::detail::JMessagePeer;

    JAY_HIDDEN const char* whole();
    JAY_HIDDEN void replaceData(char* larger, int bytes);
    JAY_HIDDEN void assign(const char* p, int presentBytes, int len);
    JAY_HIDDEN void fill(const char* p, int presentBytes, int len);
    JAY_HIDDEN int present(int from, int n) const;
    JAY_HIDDEN void put(unsigned value, int bytes);
    JAY_HIDDEN bool atEnd() const;
    JAY_HIDDEN unsigned take(int bytes);
    JAY_HIDDEN unsigned byteAt(long long i) const;
    JAY_HIDDEN int stringLength();
    JAY_HIDDEN JString takeString(int n);
    JAY_HIDDEN void advance(int n);

    char* data;  // owned; null until the first write
    int capacity;
    int pos;
    int wpos;  // <= capacity after every write
};

static_assert(sizeof(void*) != 4 || sizeof(JMessage) == 20, "instance size is part of the 32-bit contract");

#endif
