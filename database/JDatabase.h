#ifndef JAY_DATABASE_JDATABASE_H
#define JAY_DATABASE_JDATABASE_H

#include <cstdio>

#include "bus/JMessage.h"
#include "core/JObject.h"
#include "core/JString.h"
#include "core/JStringArray.h"

namespace jay::detail {
class RecordWalk;
}

/**
 * Small numbered text records in flat files, one file per named database. Records are numbered from 1 in the order of addition
 * and never removed; a new text is written in place when it fits the old space. Every operation that takes a name opens the
 * file, works on it and closes it.
 *
 *     JDatabase* db = JDatabase::getDatabase();
 *     db->addRecord("notes", "milk");
 *     JString first = db->getRecord("notes", 1);
 *     JDatabase::release();
 *
 * Name. The file of database `name` is `_path` + "\\" + name + ".db", where `_path` is the home directory (see
 * JSystem::getHomeDirectory()) + "\\db". The separators are backslashes on every platform: existing files are found by exactly
 * this name. With an empty home directory the file of "notes" is `\\db\\notes.db` in the current directory.
 *
 * Format. A header with numRecords and end, then the records up to `end`; a record is its length (of what follows), its id and
 * its text as JMessage writes them. Numbers are 32-bit little-endian. docs/database-format.md describes each byte, and what a
 * process that is killed while it writes leaves.
 *
 * Errors. No operation reports an error. A record that does not exist, and a file that cannot be opened, created or read, give
 * an empty message, string or array, or no effect. A read error is not taken for the end of the file, and nothing is written
 * after it. A record that cannot be written completely is not counted in the header.
 *
 * Damaged files. A search that cannot read the length of a record that the header counts repairs the file there, see find(). A
 * length that is negative counts as 0, one that reaches beyond the file is cut at its end, and a record of fewer than 4 bytes
 * has no id and matches none. So no read leaves the file, none allocates more than the file holds, and a search ends after at
 * most one step for every 4 bytes of the file. When the header counts more records than the file holds, getRecords() returns
 * as many elements as it counts, but no more than 1024 or a quarter of the file's bytes, whichever is more. A new record is
 * never written into the header: where `end` lies in the header, or more than 1 MiB beyond the file, `end` is damaged and the
 * record goes to the file's end. Offsets are ints: a file of 2 GiB or more is not opened, and no record is written beyond that.
 *
 * Threads. Not thread-safe, and two processes must not use one file at the same time. No operation is a cancellation point: a
 * thread is cancelled before or after it, so that a change is never left half done.
 */
class JAY_API JDatabase : public JObject {
public:
    static const JClass classJDatabase;

    /** Sets `_path`. Most programs share the instance that getDatabase() gives. */
    JDatabase();

    /** Ends the object; an open file is not closed here (operations by name leave none open). */
    ~JDatabase() override;
    JDatabase(const JDatabase&) = delete;
    JDatabase& operator=(const JDatabase&) = delete;

    const JClass* getClass() const override;

    /** The shared instance, made by the first holder. Every call wants one release(). */
    static JDatabase* getDatabase();

    /** Gives the shared instance back; the last one deletes it. @return the holders left; meaningless when
     * there are none. */
    static int release();

    // ---- records by database name ----

    /** How many records were ever added; abandoned ones count. */
    int getNumRecords(const char* name);

    /** The text of a record; empty if there is none. Reads through the file up to the record. */
    JString getRecord(const char* name, int id);

    /** All texts, that of record `id` at index id - 1; empty where there is none. Reads the file once. */
    JStringArray getRecords(const char* name);

    /** Appends a record. Its id is the new getNumRecords(). */
    void addRecord(const char* name, const char* text);

    /**
     * Changes a record's text. When the text does not fit the old space, the record is abandoned and the text
     * appended under a NEW id; `id` is empty afterwards (kept: callers rely on it). Nothing happens when
     * there is no such record.
     */
    void setRecord(const char* name, int id, const char* text);

    /** Does nothing: kept. */
    void deleteRecord(const char* name, int id, const char* text);

    /** Does nothing, no file is deleted: kept. */
    void remove(const char* name);

    // ---- one open file, for the operations above ----

    /**
     * Opens the database's file and reads its header. A file that does not exist is created; a file that exists is
     * never truncated. When the file cannot be opened, for whatever reason, the operations up to close() do nothing.
     */
    void open(const char* name);

    /** Closes the file that open() opened, if there is one. */
    void close();

    /** Reads numRecords and end; writes those of an empty database into a file without a whole header. */
    void readHeader();

    /** Writes numRecords and end. */
    void writeHeader();

    /**
     * Looks a record up, from the start of the file. @return an empty message, or the record's file offset
     * (int), its length (int) and its bytes behind the length: id (int) and text (string). The first record
     * with the id wins.
     *
     * Where the length of a record that the header counts cannot be read whole, the file is repaired: an int
     * holding the number of bytes that were there is written in that place, `end` is put behind it and the
     * count set to the records before it. That int stands where a length stands, so the next record added is
     * seen only once another one follows it (kept).
     */
    JMessage find(int id);

    /** The bytes of one new record. */
    JMessage make(int id, const char* text);

    static JString _path;         ///< directory prefix of all files; empty until an instance was made
    static JDatabase* _instance;  ///< the shared instance, or null
    static int _ref;              ///< its holders

private:
    JAY_HIDDEN static JString fileName(const char* name);
    JAY_HIDDEN bool next(jay::detail::RecordWalk& walk, int before);
    JAY_HIDDEN void collect(JStringArray& texts);
    JAY_HIDDEN void repair(int offset, int bytesRead, int recordsBefore);
    JAY_HIDDEN bool writeAt(int offset, const JMessage& bytes);
    JAY_HIDDEN int appendOffset();
    JAY_HIDDEN bool append(const char* text);
    JAY_HIDDEN void replace(int id, const char* text);
    JAY_HIDDEN void move(int offset, int length, const char* text);

    FILE* file;      // null between operations
    int numRecords;  // as the header of the file last opened says
    int end;
};

static_assert(sizeof(void*) != 4 || sizeof(JDatabase) == 16, "instance size is part of the 32-bit contract");

#endif
