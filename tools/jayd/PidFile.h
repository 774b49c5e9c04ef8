#ifndef JAY_TOOLS_JAYD_PIDFILE_H
#define JAY_TOOLS_JAYD_PIDFILE_H

#include <string>

/**
 * A file that holds the process id of a running jayd, for the scripts that send it signals. Whoever reads it finds the
 * whole number or no file. The running jayd holds a lock on it (flock), so a file that a killed one has left behind is
 * told from one in use without a guess whether the process id is still the same process; it is replaced. A file that is
 * something else than a process id is never touched.
 */
class PidFile {
public:
    /** @param path the file; empty: none is wanted, and nothing is done. */
    explicit PidFile(std::string path);

    /** remove(). */
    ~PidFile();
    PidFile(const PidFile&) = delete;
    PidFile& operator=(const PidFile&) = delete;

    /** Writes the number next to the file: what can fail does so now. @return empty, or what is wrong. */
    std::string prepare();

    /** Gives the file its name. @return empty, or what is wrong. */
    std::string publish();

    /** Removes what this one has made, unless somebody has put another file in its place. */
    void remove();

private:
    std::string whatIsInTheWay() const;
    std::string trouble(const char* what) const;
    bool write();

    std::string path;
    std::string present;  // the name it has now; empty when there is no file
    int fd;               // holds the lock; -1 when there is no file
};

#endif
