#include "tools/jay/CommandLine.h"

#include <cerrno>
#include <CLI/CLI.hpp>
#include <cstring>
#include <fmt/format.h>
#include <iostream>
#include <utility>

#include "tools/jay/Console.h"
#include "tools/jay/Number.h"
#include "tools/jay/Suggestion.h"

namespace {

std::string span(Range range) {
    return fmt::format("{}..{}", range.least, range.most);
}

bool isIn(Range range, long long number) {
    return number >= range.least && number <= range.most;
}

std::string withDefault(const std::string& unit, const std::string& value) {
    return value.empty() ? unit : fmt::format("{} (default {})", unit, value);
}

/** What is wrong with the number of an option's values, in words of ours. @param error "--id: At Most 1 required but received 2". */
std::string mismatch(const std::string& error) {
    const std::string name = error.substr(0, error.find_first_of(": "));
    if (error.find("At Most") != std::string::npos) return name + " is given more than once";
    const bool isFlag =
        error.find("flag override") != std::string::npos;  // names the flag without its dashes
    return isFlag ? "--" + name + " takes no value" : name + " needs a value";
}

long long numberFrom(const std::string& name, Range range, const std::string& text) {
    const auto number = readNumber(text);
    if (!number || !isIn(range, *number))
        throw CLI::ValidationError(
            name, fmt::format("'{}' is not a number from {} to {}", text, range.least, range.most));
    return *number;
}

template <typename Number>
CLI::Option* addNumberTo(CLI::App& app, const std::string& name, Number& value, Range range,
                         const std::string& meaning) {
    const auto set = [name, &value, range](const std::string& text) {
        value = static_cast<Number>(numberFrom(name, range, text));
    };
    return app.add_option_function<std::string>(name, set, meaning);
}

template <typename Number>
void addNumberOption(CLI::App& app, const std::string& name, Number& value, Range range,
                     const std::string& meaning, const std::string& unit) {
    const std::string initial = isIn(range, value) ? fmt::to_string(value) : "";
    addNumberTo(app, name, value, range, meaning)
        ->option_text(withDefault(unit.empty() ? span(range) : unit, initial));
}

}  // namespace

CommandLine::CommandLine(const std::string& program, const std::string& about)
    : program_(std::make_unique<CLI::App>(about, program)), app_(*program_), name_(program) {
    app_.require_subcommand(0, 1);  // without any, the unknown word is what an error should name
    app_.fallthrough();
}

CommandLine::CommandLine(CLI::App& app, std::string name) : app_(app), name_(std::move(name)) {
}

CommandLine::~CommandLine() = default;

CommandLine& CommandLine::addCommand(const std::string& name, const std::string& summary) {
    app_.require_subcommand(0, 1);
    commands_.emplace_back(new CommandLine(*app_.add_subcommand(name, summary), name_ + " " + name));
    return *commands_.back();
}

bool CommandLine::isUsed() const {
    return app_.parsed();
}

void CommandLine::addFlag(const std::string& names, bool& value, const std::string& meaning) {
    app_.add_flag(names, value, meaning)->disable_flag_override();
}

void CommandLine::addNumber(const std::string& name, int& value, Range range, const std::string& meaning,
                            const std::string& unit) {
    addNumberOption(app_, name, value, range, meaning, unit);
}

void CommandLine::addNumber(const std::string& name, long long& value, Range range,
                            const std::string& meaning, const std::string& unit) {
    addNumberOption(app_, name, value, range, meaning, unit);
}

void CommandLine::addNumbers(const std::string& name, std::vector<int>& values, Range range,
                             const std::string& meaning) {
    const auto set = [name, &values, range](const std::vector<std::string>& texts) {
        values.clear();
        for (const std::string& text : texts)
            values.push_back(static_cast<int>(numberFrom(name, range, text)));
    };
    app_.add_option_function<std::vector<std::string>>(name, set, meaning)
        ->option_text(withDefault(span(range) + "[,...]", fmt::to_string(fmt::join(values, ","))))
        ->delimiter(',')
        ->allow_extra_args(false);
}

void CommandLine::addText(const std::string& name, std::string& value, const std::string& meaning,
                          const std::string& unit) {
    app_.add_option(name, value, meaning)->option_text(withDefault(unit, value));
}

void CommandLine::addChoice(const std::string& name, std::string& value,
                            const std::vector<std::string>& words, const std::string& meaning) {
    const std::string unit = fmt::to_string(fmt::join(words, "|"));
    const auto set = [name, &value, words, unit](const std::string& text) {
        if (std::find(words.begin(), words.end(), text) == words.end())
            throw CLI::ValidationError(name, fmt::format("'{}' is not one of {}", text, unit));
        value = text;
    };
    app_.add_option_function<std::string>(name, set, meaning)->option_text(withDefault(unit, value));
}

void CommandLine::addArgument(const std::string& name, std::string& value, const std::string& meaning) {
    app_.add_option(name, value, meaning)->required()->option_text(" ");
}

void CommandLine::addArgument(const std::string& name, int& value, Range range, const std::string& meaning) {
    addNumberTo(app_, name, value, range, meaning)->required()->option_text(" ");
}

void CommandLine::addArguments(const std::string& name, std::vector<std::string>& values,
                               const std::string& meaning) {
    app_.add_option(name, values, meaning)->option_text(" ");
}

void CommandLine::require(const std::string& name) {
    CLI::Option& option = *app_.get_option(name);
    option.required()->option_text(option.get_option_text() + " (required)");
}

void CommandLine::addCheck(Check check) {
    checks_.push_back(std::move(check));
}

void CommandLine::setFooter(const std::string& text) {
    app_.footer(text);
}

void CommandLine::setVersion(const std::string& text) {
    app_.set_version_flag("--version", text, "Print the version");
}

/** The command that the command line names: this one, or one below it. */
const CommandLine& CommandLine::used() const {
    for (const auto& command : commands_) {
        if (command->isUsed()) return command->used();
    }
    return *this;
}

CommandLine::Result CommandLine::refuse(const std::string& why) const {
    complain("{}; '{} --help' shows the usage", why, used().name_);
    return WRONG;
}

std::vector<std::string> CommandLine::commandNames() const {
    std::vector<std::string> names;
    for (const auto& command : commands_) names.push_back(command->app_.get_name());
    return names;
}

std::vector<std::string> CommandLine::optionNames() const {
    std::vector<std::string> names;
    for (const CLI::App* app = &app_; app != nullptr; app = app->get_parent()) {
        for (const CLI::Option* option : app->get_options()) names.push_back(option->get_name());
    }
    return names;
}

/** The first word that has no meaning where it stands. */
std::string CommandLine::unexpected() const {
    const CommandLine& command = used();
    const std::string word = app_.remaining(true).front();
    const bool isOption = word.size() > 1 && word[0] == '-';
    const std::vector<std::string> known = isOption ? command.optionNames() : command.commandNames();
    if (known.empty()) return fmt::format("'{}' was not expected", word);
    const std::string nearest = nearestWord(word, known);
    const std::string text = fmt::format("there is no {} '{}'", isOption ? "option" : "command", word);
    if (!nearest.empty()) return fmt::format("{}; did you mean '{}'?", text, nearest);
    return isOption ? text : fmt::format("{} (commands: {})", text, fmt::join(known, ", "));
}

/** What no single option can tell; empty when nothing is wrong. */
std::string CommandLine::whatIsWrong() const {
    const CommandLine& command = used();
    if (!command.commands_.empty()) {
        return fmt::format("a command is missing (commands: {})", fmt::join(command.commandNames(), ", "));
    }
    for (const Check& check : command.checks_) {
        const std::string wrong = check();
        if (!wrong.empty()) return wrong;
    }
    return "";
}

CommandLine::Result CommandLine::read(int argc, char** argv) {
    try {
        app_.parse(argc, argv);
    } catch (const CLI::ExtrasError&) {
        return refuse(unexpected());
    } catch (const CLI::ArgumentMismatch& error) {
        return refuse(mismatch(error.what()));
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) return refuse(error.what());
        app_.exit(error);
        // `head` closes the pipe when it has seen enough.
        if (std::cout.flush() || errno == EPIPE) return SHOWN;
        complain("cannot write: {}", std::strerror(errno));
        return UNWRITTEN;
    }
    const std::string wrong = whatIsWrong();
    return wrong.empty() ? READ : refuse(wrong);
}
