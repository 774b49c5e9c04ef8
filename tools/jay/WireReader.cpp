#include "tools/jay/WireReader.h"

#include <algorithm>
#include <fmt/core.h>

#include "bus/M.h"
#include "bus/SM.h"

namespace {

constexpr std::size_t HEADER_SIZE = M::HEADER_SIZE;

unsigned wordAt(std::string_view bytes, std::size_t at) {
    return static_cast<unsigned>(static_cast<unsigned char>(bytes[at]) |
                                 static_cast<unsigned char>(bytes[at + 1]) << 8);
}

/** Why these bytes are not a valid header; empty when they may be one. */
std::string flawOf(std::string_view header) {
    const unsigned length = wordAt(header, 0);
    const unsigned destination = wordAt(header, 2);
    const unsigned source = wordAt(header, 4);
    const auto flag = static_cast<unsigned char>(header[6]);
    const unsigned highest = SM::MAX_CLIENTS - 1;
    if (length < HEADER_SIZE)
        return fmt::format("the length is {}, less than the header's {}", length, HEADER_SIZE);
    if (destination > highest && (flag & M::M_FLAG_SYNC) == 0)
        return fmt::format("the destination is client {}, but ids end at {}", destination, highest);
    if (source > highest) return fmt::format("the source is client {}, but ids end at {}", source, highest);
    return "";
}

}  // namespace

WireReader::WireReader(std::string_view bytes, Strictness strictness)
    : rest_(bytes), strictness_(strictness) {
}

bool WireReader::next(std::string_view& message) {
    offset_ += last_;
    rest_.remove_prefix(last_);
    last_ = 0;
    oddity_.clear();
    if (rest_.empty()) return false;
    if (rest_.size() < HEADER_SIZE) {
        damage_ = fmt::format("a header is cut: {} bytes are left of {}", rest_.size(), HEADER_SIZE);
        return false;
    }
    const std::string wrong = flawOf(rest_);
    if (!wrong.empty() && strictness_ == STOP_AT_DAMAGE) {
        damage_ = wrong;
        return false;
    }
    const std::size_t length = std::max<std::size_t>(wordAt(rest_, 0), HEADER_SIZE);
    if (length > rest_.size()) {
        damage_ =
            fmt::format("a message is cut: its length is {}, but {} bytes are left", length, rest_.size());
        return false;
    }
    oddity_ = wrong;
    last_ = length;
    message = rest_.substr(0, length);
    return true;
}

bool WireReader::mayBeHeader(std::string_view bytes) {
    return bytes.size() >= HEADER_SIZE && flawOf(bytes).empty();
}
