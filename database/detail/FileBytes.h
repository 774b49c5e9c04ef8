#ifndef JAY_DATABASE_DETAIL_FILEBYTES_H
#define JAY_DATABASE_DETAIL_FILEBYTES_H

#include <cstdio>

namespace jay::detail {

/**
 * The bytes of an open file, read and written at stated offsets. The stream's buffer and position are not used: a read error
 * cannot be mistaken for the end of the file, and a write reaches the system in one call. Signals do not interrupt them.
 */
class FileBytes {
public:
    /** @param stream open for reading and writing, and open for as long as this object is used. */
    explicit FileBytes(FILE* stream);

    /** The file's size. -1 when it cannot be found out, or is larger than an int holds. */
    int size() const;

    /** @return the number of bytes read, fewer than `count` only where the file ends; -1 after an error. */
    int read(int offset, void* to, int count) const;

    /** @return whether all bytes were written. After an error the first ones may have been. */
    bool write(int offset, const void* from, int count) const;

private:
    int descriptor_;
};

}  // namespace jay::detail

#endif
