#ifndef JAY_DATABASE_DETAIL_RECORDWALK_H
#define JAY_DATABASE_DETAIL_RECORDWALK_H

#include "bus/JMessage.h"
#include "core/JString.h"
#include "database/detail/FileBytes.h"

namespace jay::detail {

/**
 * One pass over the records of an open file, from the first one on. Every step moves on by 4 bytes or more, and none beyond
 * the file's end, whatever the file holds: a negative length counts as 0, and a length that reaches beyond the file is cut
 * there. The text of a record that is passed over is not read. Small records are read many at a time.
 */
class RecordWalk {
public:
    enum Step {
        RECORD,  ///< the accessors below describe it until the next step
        END,     ///< the file ends where a record's length should be
        FAILED   ///< the file could not be read
    };

    explicit RecordWalk(const FileBytes& file);

    Step next();

    /** Where the record begins; after END, where the file ended. */
    int offset() const { return offset_; }

    /** After END: how many bytes of a length are there, 0 to 3. */
    int bytesOfLength() const { return headHeld_; }

    /** Whether the record is long enough to have an id. */
    bool hasId() const;
    int id() const { return id_; }

    /** Reads the record as JDatabase::find() returns it. @return false when the file could not be read. */
    bool readInto(JMessage& message);

    /**
     * The text of a record as JDatabase::find() returns it; empty when that is empty. A text that is longer than the record is
     * cut where the record ends.
     */
    static JString textOf(const JMessage& found);

    /** Reads the text, as a reader of that message gets it. @return false when the file could not be read. */
    bool readInto(JString& text);

private:
    static constexpr int WINDOW_SIZE = 4096;

    bool takeText(char* body, JString& text) const;
    char* fetch(int offset, int count, int& held);

    FileBytes file_;
    int fileSize_;
    int offset_ = 0;
    int following_;
    int headHeld_ = 0;
    int length_ = 0;    // as the file says
    int bodySize_ = 0;  // the bytes after the length that are there
    int id_ = 0;
    int windowStart_ = 0;           // the window holds the file's bytes from here
    int windowHeld_ = 0;            // so many
    char window_[WINDOW_SIZE + 1];  // one more byte, for a terminator
};

}  // namespace jay::detail

#endif
