#include "tools/jay/DatabaseReader.h"

#include <algorithm>
#include <cstdint>

namespace {

using jay::detail::RecordLayout;

constexpr std::size_t HEADER_SIZE = RecordLayout::HEADER_SIZE;
constexpr std::size_t INT_SIZE = RecordLayout::INT_SIZE;

std::uint32_t numberAt(std::string_view bytes, std::size_t at, std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = size; i-- > 0;) value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return value;
}

int intAt(std::string_view bytes, std::size_t at) {
    return RecordLayout::intAt(bytes.data() + at);
}

std::string bytesLeft(std::size_t n) {
    return n == 1 ? "1 byte is" : std::to_string(n) + " bytes are";
}

}  // namespace

DatabaseReader::DatabaseReader(std::string_view bytes)
    : bytes_(bytes), end_(HEADER_SIZE), offset_(HEADER_SIZE) {
    if (bytes.empty()) return;  // what the first use makes a database of
    if (bytes.size() < HEADER_SIZE) {
        offset_ = 0;
        damage_ = "the header is cut: " + bytesLeft(bytes.size()) + " left of " + std::to_string(HEADER_SIZE);
        return;
    }
    count_ = intAt(bytes, RecordLayout::COUNT_OFFSET);
    end_ = intAt(bytes, RecordLayout::END_OFFSET);
}

bool DatabaseReader::next(StoredRecord& record) {
    if (!damage_.empty()) return false;
    if (read_ >= count_) return finish();
    const std::string which = "record " + std::to_string(read_ + 1) + " of " + std::to_string(count_);
    const std::size_t left = offset_ < bytes_.size() ? bytes_.size() - offset_ : 0;
    if (left == 0) return fail(which + " is missing: the file ends here");
    if (left < INT_SIZE)
        return fail("the length of " + which + " is cut: " + bytesLeft(left) + " left of " +
                    std::to_string(INT_SIZE));
    const int length = intAt(bytes_, offset_);
    if (length < 0) return fail("the length of " + which + " is negative: " + std::to_string(length));
    const auto size = static_cast<std::size_t>(length);
    if (size > left - INT_SIZE)
        return fail(which + " is cut: its length is " + std::to_string(length) + ", but " +
                    bytesLeft(left - INT_SIZE) + " left");
    record = StoredRecord();
    record.offset = offset_;
    record.length = length;
    readBody(record, bytes_.substr(offset_ + INT_SIZE, size));
    offset_ += INT_SIZE + size;
    read_++;
    return true;
}

void DatabaseReader::readBody(StoredRecord& record, std::string_view body) const {
    record.hasId = body.size() >= INT_SIZE;
    if (!record.hasId) {
        record.fault = "it is too short for an id; a repair leaves such a record";
        return;
    }
    record.id = intAt(body, 0);
    if (record.id != StoredRecord::ABANDONED && (record.id < 1 || record.id > count_))
        record.fault = "its id is not in 1.." + std::to_string(count_);
    body.remove_prefix(INT_SIZE);

    const auto first = static_cast<unsigned char>(body.empty() ? 0 : body[0]);
    const std::size_t start = static_cast<std::size_t>(RecordLayout::sizeOfTextLength(first));
    const bool whole = body.size() >= start;
    const std::size_t length = !whole ? 0 : start == 1 ? first : numberAt(body, 1, start - 1);
    if (!whole || length > body.size() - start) {
        record.fault = "its text is longer than the record";
        record.text = body.substr(std::min(start, body.size()));
        return;
    }
    record.text = body.substr(start, length);
    record.slack = body.size() - start - length;
}

/** Compares the header with the records, once all have been read. */
bool DatabaseReader::finish() {
    const auto size = static_cast<long long>(std::max(bytes_.size(), HEADER_SIZE));
    const auto here = static_cast<long long>(offset_);
    if (count_ < 0) {
        offset_ = 0;
        return fail("the header counts " + std::to_string(count_) + " records");
    }
    if (end_ > size) {
        offset_ = RecordLayout::END_OFFSET;
        return fail("according to the header the records end at offset " + std::to_string(end_) +
                    ", but the file has " + std::to_string(bytes_.size()) + " bytes");
    }
    if (end_ == here) return false;
    const bool repaired = end_ == here + static_cast<long long>(INT_SIZE);
    return fail("the records end here, but at offset " + std::to_string(end_) + " according to the header" +
                (repaired ? ", as after a repair" : ""));
}

bool DatabaseReader::fail(const std::string& damage) {
    damage_ = damage;
    return false;
}
