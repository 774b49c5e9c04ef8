#include "tools/jay/WakeTable.h"

#include <algorithm>
#include <fmt/core.h>
#include <sstream>
#include <string_view>

#include "bus/SM.h"
#include "tools/jay/Files.h"
#include "tools/jay/Parsed.h"
#include "tools/jay/Text.h"

namespace {

constexpr char BLANKS[] = " \t\r";
constexpr int HIGHEST_ID = SM::MAX_CLIENTS - 1;
constexpr std::size_t LONGEST_QUOTE = 40;
constexpr std::size_t LONGEST_COMMAND = 100000;  // a system takes little more as one argument of the shell
constexpr std::string_view BYTE_ORDER_MARK = "\xef\xbb\xbf";  // some editors put it before a text

/** 1..31; 0 when the text is no such number. */
int readId(const std::string& text) {
    if (text.size() > 2 || text.find_first_not_of("0123456789") != std::string::npos) return 0;
    const int id = std::stoi("0" + text);
    return id <= HIGHEST_ID ? id : 0;
}

/** Adds what a line says. @return what is wrong with it; empty when nothing is. */
std::string addLine(const std::string& line, std::map<int, std::string>& commands) {
    const std::size_t start = line.find_first_not_of(BLANKS);
    if (start == std::string::npos || line[start] == '#') return "";
    const std::size_t end = std::min(line.find_first_of(BLANKS, start), line.size());
    const std::string word = line.substr(start, end - start);
    const int id = readId(word);
    if (id == 0)
        return fmt::format("'{}' is not an id; expected 1..{}, blanks and a command",
                           word.substr(0, LONGEST_QUOTE), HIGHEST_ID);
    const std::size_t command = line.find_first_not_of(BLANKS, end);
    if (command == std::string::npos) return fmt::format("the command for client {} is missing", word);
    if (line.find('\0') != std::string::npos) return "there is a zero byte in it; is this a text file?";
    const std::size_t last = line.find_last_not_of(BLANKS);
    if (last - command >= LONGEST_COMMAND)
        return fmt::format("the command for client {} is too long for a shell; put it into a script", word);
    if (!commands.emplace(id, line.substr(command, last + 1 - command)).second)
        return fmt::format("client {} has a command already", word);
    return "";
}

}  // namespace

WakeTable WakeTable::read(const std::string& path) {
    WakeTable table;
    Parsed input = readInput(path);
    table.error = input.error;
    if (input.bytes.rfind(BYTE_ORDER_MARK, 0) == 0) input.bytes.erase(0, BYTE_ORDER_MARK.size());
    std::istringstream lines(input.bytes);
    std::string line;
    for (int number = 1; table.error.empty() && std::getline(lines, line); number++) {
        const std::string wrong = addLine(line, table.commands);
        if (!wrong.empty()) table.error = fmt::format("{}, line {}: {}", shownPath(path), number, wrong);
    }
    if (table.error.empty() && table.commands.empty()) table.error = shownPath(path) + " names no client";
    return table;
}
