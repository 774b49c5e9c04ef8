#ifndef JAY_TOOLS_JAYD_LOG_H
#define JAY_TOOLS_JAYD_LOG_H

#include <string>

/**
 * Where jayd and the library say what they have to say: standard error, which a log file may take the place of. One
 * thread at a time.
 */
class Log {
public:
    /** @param path the file; empty: standard error stays what it is. */
    explicit Log(std::string path);
    ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    /**
     * Leads standard error to the file, which is appended to and made if there is none. Again when the file was renamed:
     * from then on everything goes to a new one, and no line is lost in between. After a failure it stays as it was.
     * @return empty, or what is wrong.
     */
    std::string open();

    /** Says what is wrong, until started() also to whoever started the program and may not look into the log. */
    void complain(const std::string& line);

    /** Says the first line. If the file does not take it, the disk being full, say, whoever started the program is told. */
    void announce(const std::string& line);

    /** Lets go of the standard error that the program was started with. */
    void started();

private:
    std::string path;
    bool starting;  // until started()
    int starter;  // the standard error at the start, while starting, if a file has taken its place; otherwise -1
};

#endif
