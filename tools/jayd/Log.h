#ifndef JAY_TOOLS_JAYD_LOG_H
#define JAY_TOOLS_JAYD_LOG_H

#include <string>

/**
 * The output of jayd and of the library: standard error, or a log file in its place. One thread at a time.
 */
class Log {
public:
    /** @param path the file; empty: standard error stays what it is. */
    explicit Log(std::string path);
    ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    /**
     * Redirects standard error to the file, which is appended to, and created if there is none. Called again after the file was
     * renamed, it redirects to a new one, and no line is lost in between. After a failure nothing has changed.
     * @return empty, or what is wrong.
     */
    std::string open();

    /** Writes an error; until started() also to the standard error that the program was started with. */
    void complain(const std::string& line);

    /** Writes the first line. If that fails, for instance because the disk is full, an error goes to the standard error that the program was
     * started with. */
    void announce(const std::string& line);

    /** Closes the standard error that the program was started with. */
    void started();

private:
    std::string path;
    bool starting;  // until started()
    int starter;  // the standard error at the start, while starting, if a file has taken its place; otherwise -1
};

#endif
