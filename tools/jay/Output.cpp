#include "tools/jay/Output.h"

#include <cerrno>
#include <cstring>
#include <map>

#include "tools/jay/Console.h"

namespace {

const std::map<std::string, Encoding> ENCODINGS = {
    {"utf-8", Encoding::UTF_8}, {"euc-kr", Encoding::EUC_KR}, {"raw", Encoding::RAW}};

}  // namespace

void Output::describe(CLI::App& app) {
    app.add_flag("--json", json_, "Write one JSON object per line");
    app.add_option_function<std::string>(
           "--encoding", [this](const std::string& name) { encoding_ = ENCODINGS.at(name); },
           "How text is coded in payloads; raw: only ASCII is text")
        ->option_text("utf-8|euc-kr|raw (default utf-8)")
        ->check(CLI::IsMember({"utf-8", "euc-kr", "raw"}));
    app.add_flag("--quiet", quiet_, "No notes on standard error; errors are told all the same");
}

bool Output::line(const std::string& text) {
    const int error = writeLine(text);
    if (error == 0) return true;
    status_ = error == EPIPE ? DONE : UNFINISHED;
    if (error != EPIPE && error != EINTR) complain(std::string("cannot write: ") + std::strerror(error));
    return false;
}

bool Output::object(const Json& json) {
    return line(jsonLine(json));
}

void Output::note(const std::string& text) const {
    if (!quiet_) complain(text);
}
