#include "tools/jay/Header.h"

#include <limits>
#include <string>

#include "bus/SM.h"

namespace {

constexpr int HIGHEST_BYTE = 255;
constexpr int HIGHEST_WORD = 65535;
constexpr int HIGHEST_INT = std::numeric_limits<int>::max();

}  // namespace

void Header::describe(CLI::App& app) {
    describeAddress(app, "The client it is for; with --sync, the one that it is about");
    app.add_flag("--sync", sync_, "For client 0, before all others");
    app.add_flag("--broadcast", broadcast_, "For every other client that is connected");
    app.add_option("--timed", patience_, "The client has to send something within this time")
        ->option_text("MS")
        ->check(CLI::Range(1, HIGHEST_INT));
    app.add_option("--flags", rawFlags_, "Flag bits as a number, in addition: 1 sync, 2 broadcast, 4 timed")
        ->option_text("0..255")
        ->check(CLI::Range(0, HIGHEST_BYTE));
    app.add_option("--timestamp", timestamp_,
                   "The time stamp; only with --flags 4, or it is the time of sending")
        ->option_text("NUMBER")
        ->check(CLI::Range(0, HIGHEST_INT));
    app.add_option("--source", source_, "Who the message says that it is from; the server does not check it")
        ->option_text("0..65535 (default --id)")
        ->check(CLI::Range(0, HIGHEST_WORD));
}

void Header::describeRequest(CLI::App& app) {
    describeAddress(app, "The client that is to answer");
    app.get_option("--to")->required()->option_text("0..31 (required)");
}

void Header::describeAddress(CLI::App& app, const std::string& meaning) {
    app.add_option("--to", to_, meaning)->option_text("0..31")->check(CLI::Range(0, SM::MAX_CLIENTS - 1));
    app.add_option("--priority", priority_, "0 is delivered first")
        ->option_text("0..255 (default 0)")
        ->check(CLI::Range(0, HIGHEST_BYTE));
    app.add_option_function<int>(
           "--section",
           [this](int section) {
               section_ = section;
               sectionGiven_ = true;
           },
           "A number that goes with the message untouched")
        ->option_text("NUMBER")
        ->check(CLI::Range(std::numeric_limits<int>::min(), HIGHEST_INT));
}

int Header::flags() const {
    return rawFlags_ | (sync_ ? M::M_FLAG_SYNC : 0) | (broadcast_ ? M::M_FLAG_BROADCAST : 0) |
           (patience_ > 0 ? M::M_FLAG_TIMED : 0);
}

void Header::check() const {
    const bool broadcast = (flags() & M::M_FLAG_BROADCAST) != 0;
    const bool timed = (flags() & M::M_FLAG_TIMED) != 0;
    if (broadcast && patience_ > 0) throw CLI::ExcludesError("--timed", "--broadcast");
    if (patience_ > 0 && timestamp_ >= 0) throw CLI::ExcludesError("--timed", "--timestamp");
    if (timestamp_ >= 0 && !timed)
        throw CLI::ValidationError("--timestamp", "only a message with --flags 4 keeps its time stamp");
    if (to_ < 0 && !broadcast && (flags() & M::M_FLAG_SYNC) == 0)
        throw CLI::RequiredError("--to, --sync or --broadcast");
}

M Header::message(const std::string& payload, int source) const {
    M m;
    m.setDestId(to_ < 0 ? 0 : to_);
    m.setSrcId(source_ >= 0 ? source_ : source);
    m.setFlag(flags());
    m.setPriority(priority_);
    // Kept if the message is timed, else replaced by the time of sending.
    m.setTimestamp(timestamp_ < 0 ? patience_ : timestamp_);
    m.setSection(section_);
    m.addBytes(payload.data(), 0, static_cast<int>(payload.size()));
    return m;
}
