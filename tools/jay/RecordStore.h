#ifndef JAY_TOOLS_JAY_RECORDSTORE_H
#define JAY_TOOLS_JAY_RECORDSTORE_H

#include <string>
#include <vector>

/**
 * Lets the library's `JDatabase` work on a database file of any name. `JDatabase` builds the name of a file itself; as long as
 * this object lives, a temporary directory holds a link of that name to the file, or a copy of the file. Signals that would
 * end the process are blocked meanwhile: they neither interrupt a change nor leave the directory behind.
 *
 * Only one object at a time: the library's directory of databases is a global variable.
 */
class RecordStore {
public:
    enum Way {
        ON_FILE,  ///< `JDatabase` creates the file if it does not exist, and repairs it if it is damaged
        ON_COPY   ///< nothing changes the file, which need not be writable
    };

    /** @param source the path for ON_FILE, the file's bytes for ON_COPY. */
    RecordStore(Way way, const std::string& source);
    RecordStore(const RecordStore&) = delete;
    RecordStore& operator=(const RecordStore&) = delete;
    ~RecordStore();

    /** Why the store cannot be used; empty if it can. */
    const std::string& error() const { return error_; }

    int count();
    std::string text(int id);

    /** All texts, that of record `id` at index id - 1. An empty text may stand for a record that does not exist. */
    std::vector<std::string> texts();

    /** Lets the library read the whole file, which it repairs if it is damaged. */
    void repair();

    /**
     * add() appends a record, set() changes the text of one.
     *
     * @param text without zero bytes, which would end it.
     * @param before the number of records so far. The library cannot be asked: it returns 0 when it cannot read the file.
     * @return the number of the record that holds the text now, for set() a new one when the text did not fit; 0 when it was
     * not written.
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
