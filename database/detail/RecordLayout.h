/** @file The layout of a record database's file, for the library and the programs that look into one. */
#ifndef JAY_DATABASE_DETAIL_RECORDLAYOUT_H
#define JAY_DATABASE_DETAIL_RECORDLAYOUT_H

namespace jay::detail {

/** Offsets and sizes in bytes, as docs/database-format.md describes them. All integers in the file are 32-bit, little-endian and signed. */
struct RecordLayout {
    static constexpr int INT_SIZE = 4;

    // The header: numRecords, end.
    static constexpr int COUNT_OFFSET = 0;
    static constexpr int END_OFFSET = 4;
    static constexpr int HEADER_SIZE = 8;  ///< the first record begins here

    // A record: length (of what follows it), id, text length, text, slack.
    static constexpr int ID_OFFSET = 4;
    static constexpr int TEXT_OFFSET =
        8;  ///< of the text length, 1, 3 or 5 bytes as JMessage::addVarInt() writes it
    static constexpr int ABANDONED = -1;  ///< id of a record whose text is stored under another id now

    /** How many bytes a text length takes, by its first one. */
    static constexpr int sizeOfTextLength(unsigned char first) {
        return first < 254 ? 1 : first == 254 ? 3 : 5;
    }

    static int intAt(const void* data) {
        const auto* bytes = static_cast<const unsigned char*>(data);
        unsigned value = 0;
        for (int i = INT_SIZE - 1; i >= 0; i--) value = value << 8 | bytes[i];
        return static_cast<int>(value);
    }
};

}  // namespace jay::detail

#endif
