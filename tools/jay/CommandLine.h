#ifndef JAY_TOOLS_JAY_COMMANDLINE_H
#define JAY_TOOLS_JAY_COMMANDLINE_H

#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

/** Numbers that an option takes, both ends included. */
struct Range {
    long long least = 0;
    long long most = std::numeric_limits<int>::max();
};

/**
 * The options, arguments and commands of a program or of one command, each bound to a variable that gets its value when the
 * command line is read. The variables must outlive the reading.
 *
 * A default is the value that a variable has when its option is added; the help prints it from there. A number outside its
 * range, an empty text or an empty list means that there is no default.
 *
 * Only the source of this class sees the library that reads the command line: it is large, and takes long to compile.
 */
class CommandLine {
public:
    /** Returns what is wrong with values that are right one by one; empty when nothing is. */
    using Check = std::function<std::string()>;

    /** How reading a command line ended. */
    enum Result {
        READ,       ///< all variables are set
        SHOWN,      ///< the help or the version was asked for and written
        UNWRITTEN,  ///< the help or the version was asked for and could not be written; an error was printed
        WRONG       ///< the command line is wrong; an error was printed
    };

    /** @param about one line. */
    CommandLine(const std::string& program, const std::string& about);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /** A command below this one: `jay send`. The reference is valid as long as this object. */
    CommandLine& addCommand(const std::string& name, const std::string& summary);

    /** Whether the command line names this command. */
    bool isUsed() const;

    /** An option without a value. @param names "--json" or "-v,--verbose". */
    void addFlag(const std::string& names, bool& value, const std::string& meaning);

    /** @param unit what the help calls the value, "MS" for instance; empty: the range. */
    void addNumber(const std::string& name, int& value, Range range, const std::string& meaning,
                   const std::string& unit = "");
    void addNumber(const std::string& name, long long& value, Range range, const std::string& meaning,
                   const std::string& unit = "");

    /** Several numbers, separated by commas or in repeated options. */
    void addNumbers(const std::string& name, std::vector<int>& values, Range range,
                    const std::string& meaning);

    /** @param unit as for addNumber(). */
    void addText(const std::string& name, std::string& value, const std::string& meaning,
                 const std::string& unit);

    /** One word of several. */
    void addChoice(const std::string& name, std::string& value, const std::vector<std::string>& words,
                   const std::string& meaning);

    /** An argument that must be given. */
    void addArgument(const std::string& name, std::string& value, const std::string& meaning);
    void addArgument(const std::string& name, int& value, Range range, const std::string& meaning);

    /** The arguments behind all others, as many as there are. */
    void addArguments(const std::string& name, std::vector<std::string>& values, const std::string& meaning);

    /** Makes an option that was added before required. */
    void require(const std::string& name);

    /** Called after all values have been set, if the command line names this command. */
    void addCheck(Check check);

    /** What the help ends with. */
    void setFooter(const std::string& text);

    /** For the program: --version, and options that may stand behind the command, too. */
    void setVersion(const std::string& text);

    /** For the program: reads the command line, which must name a command. Errors go to standard error. */
    Result read(int argc, char** argv);

private:
    CommandLine(CLI::App& app, std::string name);

    const CommandLine& used() const;
    std::string whatIsWrong() const;
    std::string unexpected() const;
    std::vector<std::string> commandNames() const;
    std::vector<std::string> optionNames() const;
    Result refuse(const std::string& why) const;

    std::unique_ptr<CLI::App> program_;  // null for a command
    CLI::App& app_;
    std::string name_;  // "jay db add"
    std::vector<std::unique_ptr<CommandLine>> commands_;
    std::vector<Check> checks_;
};

#endif
