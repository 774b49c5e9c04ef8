#ifndef JAY_TOOLS_JAY_RECORDSTORE_H
#define JAY_TOOLS_JAY_RECORDSTORE_H

#include <string>
#include <vector>

/**
 * A database file of any name, worked on by the library's `JDatabase`, which finds files by a name of its own making: for
 * as long as this object lives, a directory for temporary files holds a link of that name to the file, or a copy. Signals
 * that would end the process wait meanwhile, so that neither the file is left half written nor the directory behind.
 *
 * One at a time: the library's directory of databases is a global.
 */
class RecordStore {
public:
    enum Way {
        ON_FILE,  ///< `JDatabase` makes the file if it is not there, and repairs it where it is damaged
        ON_COPY   ///< the file stays as it is whatever reading does, and need not be writable
    };

    /** @param source the path for ON_FILE, the file's bytes for ON_COPY. */
    RecordStore(Way way, const std::string& source);
    RecordStore(const RecordStore&) = delete;
    RecordStore& operator=(const RecordStore&) = delete;
    ~RecordStore();

    /** Why the store is of no use; empty if it is. */
    const std::string& error() const { return error_; }

    int count();
    std::string text(int id);

    /** Texts by id - 1; an empty one may be a record that is not there. */
    std::vector<std::string> texts();

    /** Lets the library go through the file, which it repairs where it is damaged. */
    void repair();

    /**
     * Both take the number of records so far, as the caller knows it: the library, which cannot read the file, says 0.
     *
     * @param text without zero bytes, which would end it.
     * @return the number under which the text is now, for set() a new one when it did not fit; 0 when it was not written.
     */
    int add(const std::string& text, int before);
    int set(int id, const std::string& text, int before);

private:
    std::string place() const;
    void fail(const std::string& what);

    std::string directory_;  // empty when there is none
    std::string error_;
};

#endif
