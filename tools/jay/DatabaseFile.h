#ifndef JAY_TOOLS_JAY_DATABASEFILE_H
#define JAY_TOOLS_JAY_DATABASEFILE_H

#include <set>
#include <string>

/** A database file as it was read, before the library works on it. */
struct DatabaseFile {
    bool exists = false;
    std::string error;   ///< why the file cannot be used; empty when it can, or does not exist
    std::string bytes;   ///< all of it
    std::set<int> ids;   ///< of the records that have one; abandoned ones have none
    int count = 0;       ///< as the header says
    std::string damage;  ///< with its offset; empty when the file is whole

    static DatabaseFile read(const std::string& path);
};

/** Tries to open the file for writing. @return why that is not possible; empty when it is. */
std::string obstacleToWriting(const std::string& path);

/** Creates an empty file, which must not exist yet. @return why that is not possible; empty when it was created. */
std::string makeFile(const std::string& path);

#endif
