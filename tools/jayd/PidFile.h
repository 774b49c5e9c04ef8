#ifndef JAY_TOOLS_JAYD_PIDFILE_H
#define JAY_TOOLS_JAYD_PIDFILE_H

#include <string>

/**
 * A file that holds the process id of a running jayd, for scripts that send it signals. A reader finds the whole number or no
 * file. The running jayd holds a lock on it (flock). So a file that a killed jayd has left behind can be distinguished from one in
 * use, whatever process has that id now; it is replaced. A file that holds anything but a process id is never touched.
 */
class PidFile {
public:
    /** @param path the file; empty: none is wanted, and nothing is done. */
    explicit PidFile(std::string path);

    /** remove(). */
    ~PidFile();
    PidFile(const PidFile&) = delete;
    PidFile& operator=(const PidFile&) = delete;

    /** Writes the number to a temporary file next to it, so that errors show early. @return empty, or what is wrong. */
    std::string prepare();

    /** Gives the file its name. @return empty, or what is wrong. */
    std::string publish();

    /** Removes the file, unless another one has taken its place. */
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
