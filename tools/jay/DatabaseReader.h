#ifndef JAY_TOOLS_JAY_DATABASEREADER_H
#define JAY_TOOLS_JAY_DATABASEREADER_H

#include <cstddef>
#include <string>
#include <string_view>

#include "database/detail/RecordLayout.h"

/** A record as it stands in the file of a record database. */
struct StoredRecord {
    static constexpr int ABANDONED = jay::detail::RecordLayout::ABANDONED;

    std::size_t offset = 0;
    int length = 0;         ///< bytes that follow the length itself
    bool hasId = false;     ///< false for a record of fewer than 4 bytes, as a repair leaves one
    int id = 0;             ///< from 1, or ABANDONED
    std::string_view text;  ///< part of the file
    std::size_t slack = 0;  ///< bytes after the text
    std::string fault;      ///< what is wrong with the record; empty when nothing is
};

/**
 * Reads the bytes of a database file, in memory, and changes nothing. (`JDatabase`, which applications use, repairs a damaged
 * file.) docs/database-format.md describes the format.
 *
 *     StoredRecord record;
 *     while (reader.next(record)) ...
 *     if (!reader.damage().empty()) ...
 *
 * Trusts no number in the file: it never reads outside of the bytes, and allocates nothing.
 */
class DatabaseReader {
public:
    /** @param bytes the whole file; they outlive the reader. */
    explicit DatabaseReader(std::string_view bytes);

    /** The values in the header; 0 and 8 when the file is empty. */
    int count() const { return count_; }
    int end() const { return end_; }

    /** Reads the next record. @return false after the last one that the header counts, and where the file is damaged. */
    bool next(StoredRecord& record);

    /** What is wrong with the file as a whole; empty when nothing is. Complete once next() has returned false. */
    const std::string& damage() const { return damage_; }

    /** The offset of the damage, or that of the next record. */
    std::size_t offset() const { return offset_; }

private:
    bool finish();
    bool fail(const std::string& damage);
    void readBody(StoredRecord& record, std::string_view body) const;

    std::string_view bytes_;
    int count_ = 0;
    int end_ = 0;
    int read_ = 0;  // records
    std::size_t offset_;
    std::string damage_;
};

#endif
