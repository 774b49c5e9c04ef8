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
    int length = 0;         ///< of what follows the length itself
    bool hasId = false;     ///< a record of fewer than 4 bytes has none: a repair leaves such a one
    int id = 0;             ///< from 1, or ABANDONED
    std::string_view text;  ///< part of the file
    std::size_t slack = 0;  ///< bytes behind the text
    std::string fault;      ///< what is wrong within the record; empty when nothing is
};

/**
 * Reads the file of a record database without touching it, from its bytes in memory; `JDatabase`, which applications use,
 * repairs what it finds damaged. docs/database-format.md tells the format.
 *
 *     StoredRecord record;
 *     while (reader.next(record)) ...
 *     if (!reader.damage().empty()) ...
 *
 * Believes no number: what lies outside the bytes ends the reading, and nothing is allocated by a length.
 */
class DatabaseReader {
public:
    /** @param bytes the whole file; they outlive the reader. */
    explicit DatabaseReader(std::string_view bytes);

    /** As the header says; 0 and 8 when there is none. */
    int count() const { return count_; }
    int end() const { return end_; }

    /** The next record. False when all that the header counts have been read, or when nothing more can be found. */
    bool next(StoredRecord& record);

    /** What is wrong with the file as a whole; empty as long as nothing has been found. Known for certain once next() has
     * returned false. */
    const std::string& damage() const { return damage_; }

    /** Where that is; before, where the next record begins. */
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
