#include "tools/jay/Format.h"

#include "tools/jay/DatabaseReader.h"
#include "tools/jay/Text.h"
#include "tools/jay/WireReader.h"

namespace {

bool isWholeDatabase(std::string_view bytes) {
    DatabaseReader reader(bytes);
    StoredRecord record;
    while (reader.next(record)) {
        if (!record.fault.empty()) return false;
    }
    return reader.damage().empty();
}

/** Whether the header could be that of a database from which something was cut, or in which something was changed. */
bool mayBeDatabase(std::string_view bytes) {
    constexpr int LONGEST_GAP = 1 << 20;  // from the end of a file to the end that its header names
    const DatabaseReader reader(bytes);
    constexpr long long LEAST_RECORD = 4;  // its length
    return reader.damage().empty() && reader.count() >= 0 &&
           reader.end() >= 8 + LEAST_RECORD * reader.count() &&
           reader.end() - LONGEST_GAP <= static_cast<long long>(bytes.size());
}

/** Nothing but text: a capture and a database hold zeros. */
bool isText(std::string_view bytes) {
    return textOf(bytes, Encoding::UTF_8, Allow::LINES).has_value();
}

}  // namespace

std::optional<Format> recognise(std::string_view bytes) {
    if (bytes.empty()) return std::nullopt;
    if (isWholeDatabase(bytes)) return Format::DB;
    if (isText(bytes)) return Format::HEX;
    if (WireReader::mayBeHeader(bytes)) return Format::WIRE;
    if (mayBeDatabase(bytes)) return Format::DB;
    return std::nullopt;
}
