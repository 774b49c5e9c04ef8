/** @file The layout of a message on the wire, for the library and the programs that look into one. */
#ifndef JAY_BUS_DETAIL_MESSAGELAYOUT_H
#define JAY_BUS_DETAIL_MESSAGELAYOUT_H

#include "bus/M.h"

namespace jay::detail {

/** Offsets and sizes in bytes, as docs/protocol.md describes them. All numbers are little-endian. */
struct MessageLayout {
    static constexpr int LENGTH = 0;     ///< word: of the whole message, header included
    static constexpr int DEST = 2;       ///< word
    static constexpr int SRC = 4;        ///< word
    static constexpr int FLAG = 6;       ///< byte
    static constexpr int PRIORITY = 7;   ///< byte
    static constexpr int TIMESTAMP = 8;  ///< int
    static constexpr int SECTION = 12;   ///< int

    static constexpr int WORD_SIZE = 2;
    static constexpr int INT_SIZE = 4;
    static constexpr int HEADER_SIZE = M::HEADER_SIZE;
    static constexpr int MAX_SIZE = M::MAX_SIZE;

    static unsigned byteAt(const char* bytes, int offset) {
        return static_cast<unsigned char>(bytes[offset]);
    }
    static int wordAt(const char* bytes, int offset) {
        return static_cast<int>(byteAt(bytes, offset) | byteAt(bytes, offset + 1) << 8);
    }
    static int intAt(const char* bytes, int offset) {
        const auto low = static_cast<unsigned>(wordAt(bytes, offset));
        return static_cast<int>(low | static_cast<unsigned>(wordAt(bytes, offset + 2)) << 16);
    }
    /** Writes the low `n` bytes of a value. */
    static void store(char* bytes, int offset, unsigned value, int n) {
        for (int i = 0; i < n; i++) bytes[offset + i] = static_cast<char>(value >> (8 * i) & 0xFFU);
    }

    /** The length of the message that begins with this header: what is below a header's is a header alone. */
    static int lengthOf(const char* header) {
        const int length = wordAt(header, LENGTH);
        return length < HEADER_SIZE ? HEADER_SIZE : length;
    }
};

static_assert(MessageLayout::SECTION + MessageLayout::INT_SIZE == MessageLayout::HEADER_SIZE, "no gaps");

}  // namespace jay::detail

#endif
