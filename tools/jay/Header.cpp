#include "tools/jay/Header.h"

#include <cstdint>

#include "bus/SM.h"

namespace {

constexpr Range IDS{0, SM::MAX_CLIENTS - 1};
constexpr Range BYTES{0, 255};
constexpr Range WORDS{0, 65535};
constexpr Range SECTIONS{std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::uint32_t>::max()};
constexpr Range POSITIVE{1};

}  // namespace

void Header::describe(CommandLine& line) {
    describeAddress(line, "The receiver; with --sync, the client it is about");
    line.addFlag("--sync", sync_, "Send to client 0, before all other messages");
    line.addFlag("--broadcast", broadcast_, "Send to all other connected clients");
    line.addNumber("--timed", patience_, POSITIVE, "The client must send something within this time", "MS");
    line.addNumber("--flags", rawFlags_, BYTES, "More flag bits: 1 sync, 2 broadcast, 4 timed");
    line.addNumber("--timestamp", timestamp_, {}, "The time stamp; only with --flags 4", "NUMBER");
    line.addNumber("--source", source_, WORDS, "The sender in the header, instead of our id");
    line.addCheck([this] { return check(); });
}

void Header::describeRequest(CommandLine& line) {
    describeAddress(line, "The client that answers");
    line.require("--to");
}

void Header::describeAddress(CommandLine& line, const std::string& meaning) {
    line.addNumber("--to", to_, IDS, meaning);
    line.addNumber("--priority", priority_, BYTES, "0 is the most urgent");
    line.addNumber("--section", section_, SECTIONS, "A number for the application, carried unchanged",
                   "NUMBER");
}

int Header::flags() const {
    return rawFlags_ | (sync_ ? M::M_FLAG_SYNC : 0) | (broadcast_ ? M::M_FLAG_BROADCAST : 0) |
           (patience_ > 0 ? M::M_FLAG_TIMED : 0);
}

/** What no single option can tell. */
std::string Header::check() const {
    const bool broadcast = (flags() & M::M_FLAG_BROADCAST) != 0;
    const bool timed = (flags() & M::M_FLAG_TIMED) != 0;
    if (broadcast && patience_ > 0) return "--timed excludes --broadcast";
    if (patience_ > 0 && timestamp_ >= 0) return "--timed excludes --timestamp";
    if (broadcast_ && to_ >= 0) return "--broadcast excludes --to";
    if (timestamp_ >= 0 && !timed) return "--timestamp: only a message with --flags 4 keeps its time stamp";
    if (to_ < 0 && !broadcast && (flags() & M::M_FLAG_SYNC) == 0)
        return "--to, --sync or --broadcast is required";
    return "";
}

M Header::message(const std::string& payload, int source) const {
    M m;
    m.setDestId(to_ < 0 ? 0 : to_);
    m.setSrcId(source_ >= 0 ? source_ : source);
    m.setFlag(flags());
    m.setPriority(priority_);
    // Kept if the message is timed, else replaced by the time of sending.
    m.setTimestamp(timestamp_ < 0 ? patience_ : timestamp_);
    m.setSection(hasSection() ? static_cast<int>(static_cast<std::uint32_t>(section_)) : 0);
    m.addBytes(payload.data(), 0, static_cast<int>(payload.size()));
    return m;
}
