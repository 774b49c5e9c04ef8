#include "tools/jay/Output.h"

#include <cerrno>
#include <cstring>
#include <map>
#include <unistd.h>

#include "tools/jay/Console.h"
#include "tools/jay/StopSignals.h"
#include "tools/jay/Words.h"

namespace {

const std::map<std::string, Encoding> ENCODINGS = {
    {"utf-8", Encoding::UTF_8}, {"euc-kr", Encoding::EUC_KR}, {"raw", Encoding::RAW}};

}  // namespace

void Output::describe(CommandLine& line) {
    line.addFlag("--json", json_, "Write one JSON object per line");
    line.addChoice("--encoding", encoding_, {"utf-8", "euc-kr", "raw"},
                   "Encoding of text in payloads; raw: ASCII only");
    line.addFlag("--quiet", quiet_, "No notes on standard error, only errors");
}

void Output::describePayloads(CommandLine& line) {
    describe(line);
    line.addFlag("--full", full_, "Do not shorten long payloads on a terminal");
}

PayloadView Output::view(bool decode) const {
    constexpr std::size_t FEW_LINES = 480;  // six of them, in a terminal of the usual width
    const bool isTerminal = isatty(STDOUT_FILENO) != 0;
    return {encoding(), decode, isTerminal && !full_ ? FEW_LINES : 0};
}

Encoding Output::encoding() const {
    return ENCODINGS.at(encoding_);
}

bool Output::line(const std::string& text) {
    const int error = writeLine(text);
    if (error == 0) return true;
    if (error == EINTR) {
        status_ = endedBy(StopSignals::last());
    } else if (error != EPIPE) {
        status_ = fail(UNFINISHED, "cannot write: {}", std::strerror(error));
    }
    return false;
}

bool Output::object(const JsonObject& json) {
    return line(json.line());
}

void Output::note(const std::string& text) const {
    if (!quiet_) complain(text);
}

void Output::noteLost(long count, const Client& client) const {
    if (count > 0)
        note("{} for {} came meanwhile and {} lost", counted(count, "message"), client.name(),
             count == 1 ? "is" : "are");
}
