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

    /** Sets `_path`. Most programs use the shared instance instead, see getDatabase(). */
    JDatabase();

    /** Destroys the object. A file that open() opened is not closed; the operations by name leave none open. */
    ~JDatabase() override;
    JDatabase(const JDatabase&) = delete;
    JDatabase& operator=(const JDatabase&) = delete;

    const JClass* getClass() const override;

    /**
     * The shared instance, which the first call creates. Call release() once for every call; the library owns the object.
     */
    static JDatabase* getDatabase();

    /**
     * Releases the shared instance; the last call for it deletes it.
     *
     * @return the number of holders that remain; when none remain, the value has no meaning.
     */
    static int release();

    // ---- records by database name ----

    /** @return the number of records ever added, abandoned ones included; 0 when the file cannot be used. */
    int getNumRecords(const char* name);

    /**
     * @param id from 1. @return the text of the record; empty when it does not exist. Takes time in proportion to the number of
     * records before it.
     */
    JString getRecord(const char* name, int id);

    /** @return all texts, that of record `id` at index id - 1; empty where there is none. Reads the file once. */
    JStringArray getRecords(const char* name);

    /**
     * Appends a record. Its id is the new getNumRecords(). @param text terminated by a zero; copied. Null is the empty text.
     */
    void addRecord(const char* name, const char* text);

    /**
     * Changes the text of a record; does nothing when the record does not exist. A text that is longer than the space of the
     * record is appended as a new record with a new id, and the old record is abandoned: getRecord() of its id is empty then
     * (kept: callers rely on it).
     */
    void setRecord(const char* name, int id, const char* text);

    /** Does nothing (kept: callers rely on records that stay). */
    void deleteRecord(const char* name, int id, const char* text);

    /** Does nothing; no file is deleted (kept: callers rely on files that stay). */
    void remove(const char* name);

    // ---- the steps of the operations above ----

    /**
     * Opens the file of the database and reads its header. A file that does not exist is created; a file that exists is never
     * truncated. When the file cannot be opened, for whatever reason, the operations up to close() do nothing.
     */
    void open(const char* name);

    /** Closes the file that open() opened, if there is one. */
    void close();

    /** Reads numRecords and end. Writes the header of an empty database first if the file has fewer than 8 bytes. */
    void readHeader();

    /** Writes numRecords and end. */
    void writeHeader();

    /**
     * Searches for a record, from the first one on; of two records with one id, the first is found.
     *
     * @return an empty message, or three items: the offset of the record in the file (int), its length (int), and its bytes after
     * the length, which are its id (int) and its text (string).
     *
     * Where the file ends although the header counts another record, the file is repaired: an int is written there that holds
     * the number of bytes of the length that were read, 0 to 3; `end` becomes the offset after it, and numRecords the number of
     * records before it. A later search takes that int for the length of a record. The next record added is therefore not found
     * until another one has been added (kept: the form of a repaired file is fixed).
     */
    JMessage find(int id);

    /** @return the bytes of a new record. */
    JMessage make(int id, const char* text);

    static JString _path;  ///< directory and prefix of all files; empty until an instance is constructed
    static JDatabase* _instance;  ///< the shared instance, or null
    static int _ref;              ///< the number of its holders

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

    FILE* file;      // null between operations; only its descriptor is used, see FileBytes
    int numRecords;  // as in the header that was read last
    int end;         // the same
};

static_assert(sizeof(void*) != 4 || sizeof(JDatabase) == 16, "instance size is part of the 32-bit contract");

#endif
