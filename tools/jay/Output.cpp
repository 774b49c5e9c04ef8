#include "tools/jay/Output.h"

#include <cerrno>
#include <cstring>
#include <map>

#include "tools/jay/Console.h"

namespace {

const std::map<std::string, Encoding> ENCODINGS = {
    {"utf-8", Encoding::UTF_8}, {"euc-kr", Encoding::EUC_KR}, {"raw", Encoding::RAW}};

}  // namespace

void Output::describe(CommandLine& line) {
    line.addFlag("--json", json_, "Write one JSON object per line");
    line.addChoice("--encoding", encoding_, {"utf-8", "euc-kr", "raw"},
                   "How text is coded in payloads; raw: only ASCII is text");
    line.addFlag("--quiet", quiet_, "No notes on standard error; errors are told all the same");
}

Encoding Output::encoding() const {
    return ENCODINGS.at(encoding_);
}

bool Output::line(const std::string& text) {
    const int error = writeLine(text);
    if (error == 0) return true;
    status_ = error == EPIPE ? DONE : UNFINISHED;
    if (error != EPIPE && error != EINTR) complain(std::string("cannot write: ") + std::strerror(error));
    return false;
}

bool Output::object(const JsonObject& json) {
    return line(json.line());
}

void Output::note(const std::string& text) const {
    if (!quiet_) complain(text);
}
