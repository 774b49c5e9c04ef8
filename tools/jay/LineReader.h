#ifndef JAY_TOOLS_JAY_LINEREADER_H
#define JAY_TOOLS_JAY_LINEREADER_H

#include <functional>
#include <string>
#include <utility>

/** Reads an input line by line as the lines come, and lets a signal end the wait. */
class LineReader {
public:
    enum Result {
        LINE,
        END,      ///< of the input
        STOPPED,  ///< a signal came, or `goesOn` returned false
        FAILED,   ///< cannot be read; errno tells
        TOO_LONG
    };

    /** @param longest a line of more bytes is TOO_LONG. @param goesOn is called now and then; false ends the
     * wait. */
    LineReader(int descriptor, std::size_t longest, std::function<bool()> goesOn)
        : descriptor_(descriptor), longest_(longest), goesOn_(std::move(goesOn)) {}

    /** The next line, without its end. A last one need not have any. */
    Result next(std::string& line);

private:
    Result fill();
    bool takeLine(std::string& line);

    int descriptor_;
    std::size_t longest_;
    std::function<bool()> goesOn_;
    std::string rest_;  // read, but not taken
    bool ended_ = false;
};

#endif
