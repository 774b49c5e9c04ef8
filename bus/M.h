#ifndef JAY_BUS_M_H
#define JAY_BUS_M_H

#include "bus/JMessage.h"

namespace jay::detail {
struct MessageHeader;
}

/**
 * A bus message: 16 bytes of header, then the application's payload, written and read with JMessage's
 * operations.
 *
 * | offset | size | field                                                                                   |
 * |--------|------|-----------------------------------------------------------------------------------------|
 * | 0      | 2    | length of the whole message, header included: 16..65535; set by toByteArray()           |
 * | 2      | 2    | destination: client id, 0..31                                                           |
 * | 4      | 2    | source: client id of the sender                                                         |
 * | 6      | 1    | flag: M_FLAG_SYNC, M_FLAG_BROADCAST, M_FLAG_TIMED                                       |
 * | 7      | 1    | priority: 0 is the most urgent ordinary one                                             |
 * | 8      | 4    | time stamp: milliseconds, low 31 bits; in a TIMED message the time-out                  |
 * | 12     | 4    | section: a number of the application, carried unchanged                                 |
 * | 16     |      | payload                                                                                 |
 *
 * The header accessors may be used at any time: they do not change the cursors. If the message ends before the
 * field, getters return 0. clone() returns a plain JMessage with the same bytes. Not thread-safe.
 */
class JAY_API M : public JMessage {
public:
    static constexpr int M_FLAG_SYNC = 1;       ///< goes to client 0, before all others
    static constexpr int M_FLAG_BROADCAST = 2;  ///< goes to every other client that is connected
    static constexpr int M_FLAG_TIMED = 4;      ///< its time stamp is a time-out for the receiver

    static constexpr int HEADER_SIZE = 16;  ///< bytes before the payload
    static constexpr int MAX_SIZE = 65535;  ///< the longest message, by the length field

    /** An empty header. Its length field is 8 until toByteArray() sets the true length (kept: callers rely on it). */
    M();

    /** A received message: a copy of the `len` bytes at `p + off`. */
    M(void* p, int off, int len);
    /** A received message: a copy of the block's bytes. */
    explicit M(const JByte& b);

    /** A copy; its read cursor is at the start. */
    M(const M& m);
    /** Copies the bytes; the read cursor is at the start. */
    M& operator=(const M& m) = default;
    ~M() override;

    int getLength();                  ///< of the whole message, header included
    void setLength(int n);            ///< the low 16 bits
    int getDestId();                  ///< the id of the receiver
    void setDestId(int id);           ///< the low 16 bits
    int getSrcId();                   ///< the id of the sender
    void setSrcId(int id);            ///< the low 16 bits
    int getFlag();                    ///< a sum of M_FLAG_SYNC, M_FLAG_BROADCAST, M_FLAG_TIMED
    void setFlag(int flag);           ///< the low 8 bits
    int getPriority();                ///< 0..255; 0 is the most urgent
    void setPriority(int priority);   ///< the low 8 bits
    int getTimestamp();               ///< milliseconds
    void setTimestamp(long long ms);  ///< the low 31 bits: wraps every 24.9 days
    int getSection();                 ///< the application's number
    void setSection(int section);     ///< all 32 bits

    /** Sets the length field to the low 16 bits of size(), and returns all bytes. */
    JByte toByteArray();

    /** Sets the length field as toByteArray() does, and returns a pointer to the size() bytes of the message itself, which
     * is valid until the message changes. */
    const char* bytes();

    /** Sets the length field and copies the first bytes, `size` at most, to `to`. @return the number of bytes copied. */
    int copyTo(void* to, int size);

private:
    friend struct jay::detail::MessageHeader;

    /** The bytes of the header where they lie; null when the message ends before. */
    const char* header() const { return wpos >= HEADER_SIZE && capacity >= HEADER_SIZE ? data : nullptr; }

    template <int BYTES>
    JAY_HIDDEN int field(int offset);
    template <int BYTES>
    JAY_HIDDEN void setField(int offset, int value);
};

static_assert(sizeof(M) == sizeof(JMessage), "no fields of its own");

#endif
