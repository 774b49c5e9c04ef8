#ifndef JAY_TOOLS_JAY_DATABASEFILE_H
#define JAY_TOOLS_JAY_DATABASEFILE_H

#include <set>
#include <string>

/** What is known of a database's file before the library sees it. */
struct DatabaseFile {
    bool exists = false;
    std::string error;   ///< why it is of no use; empty also for a file that is not there
    std::string bytes;   ///< all of it
    std::set<int> ids;   ///< of the records that have one; abandoned ones have none
    int count = 0;       ///< as the header says
    std::string damage;  ///< with its offset; empty when the file is whole

    static DatabaseFile read(const std::string& path);
};

/** Whether the file may be written. @return what is in the way; empty when nothing is. */
std::string obstacleToWriting(const std::string& path);

/** Makes an empty file that must not be there yet. @return what is in the way; empty when it is made. */
std::string makeFile(const std::string& path);

#endif
