#ifndef JAY_TOOLS_JAY_WIREREADER_H
#define JAY_TOOLS_JAY_WIREREADER_H

#include <cstddef>
#include <string>
#include <string_view>

/**
 * Splits what one end of a connection sent into messages. docs/protocol.md describes the format.
 *
 * Trusts no number: a length that reaches beyond the bytes ends the reading. So do, with STOP_AT_DAMAGE, a length below that of a
 * header and ids above 31: after a wrong length, the bytes that follow are not a header.
 */
class WireReader {
public:
    enum Strictness {
        STOP_AT_DAMAGE,
        AS_A_RECEIVER  ///< takes such a header for a message, as clients and servers do
    };

    /** @param bytes outlive the reader. */
    WireReader(std::string_view bytes, Strictness strictness);

    /** The next message whole, header included: 16 bytes or more. False at the end, and when nothing more can be found. */
    bool next(std::string_view& message);

    /** Where the message last given began; once next() has returned false, where the reading ended. */
    std::size_t offset() const { return offset_; }

    /** What ended the reading; empty when that was the end of the bytes. */
    const std::string& damage() const { return damage_; }

    /** What is odd about the message last given, though it can be read; empty when nothing is. */
    const std::string& oddity() const { return oddity_; }

    /** Whether the bytes begin with what may be the header of a message. */
    static bool mayBeHeader(std::string_view bytes);

private:
    std::string_view rest_;
    Strictness strictness_;
    std::size_t offset_ = 0;
    std::size_t last_ = 0;  // length of the message last given
    std::string damage_;
    std::string oddity_;
};

#endif
