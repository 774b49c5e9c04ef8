#ifndef JAY_TOOLS_JAY_PROGRESS_H
#define JAY_TOOLS_JAY_PROGRESS_H

#include <chrono>
#include <string>

/** Columns of the terminal at a descriptor; 0 when it is none. */
int terminalWidth(int descriptor);

/**
 * How far a long piece of work has come, on standard error: "60000 bytes [######------]  50%". Only on a terminal, and
 * always on one line of it: what does not fit is left out, at last everything.
 */
class Progress {
public:
    /** @param wanted false shows nothing. @param total steps of the whole work. */
    Progress(bool wanted, long total);

    /** Leaves the line empty. */
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /** Another step is done. Draws now and then only. */
    void step(const std::string& label);

    /** Takes the bar away; the next step draws it again. */
    void clear();

    /** What stands in a line of so many columns: less than `width` characters, so that the cursor stays on it. */
    static std::string drawn(const std::string& label, long done, long total, int width);

private:
    bool wanted_;
    long total_;
    long done_ = 0;
    std::size_t drawn_ = 0;  // characters on the line
    std::chrono::steady_clock::time_point next_;
};

#endif
