#include "tools/jay/DatabaseFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/jay/DatabaseReader.h"
#include "tools/jay/Files.h"

namespace {

void examine(DatabaseFile& file) {
    DatabaseReader reader(file.bytes);
    StoredRecord record;
    while (reader.next(record)) {
        if (record.hasId && record.id > 0) file.ids.insert(record.id);
        if (!record.fault.empty() && file.damage.empty())
            file.damage = "at offset " + std::to_string(record.offset) + ": the record: " + record.fault;
    }
    file.count = reader.count();
    if (file.damage.empty() && !reader.damage().empty())
        file.damage = "at offset " + std::to_string(reader.offset()) + ": " + reader.damage();
}

std::string tryToOpen(const std::string& path, int flags) {
    const int fd = open(path.c_str(), flags | O_CLOEXEC, 0666);
    if (fd < 0) return std::strerror(errno);
    close(fd);
    return "";
}

}  // namespace

DatabaseFile DatabaseFile::read(const std::string& path) {
    DatabaseFile file;
    struct stat status {};
    if (path == "-") {
        file.error = "a database cannot be read from standard input; for a file called '-' write './-'";
    } else if (stat(path.c_str(), &status) != 0) {
        if (errno != ENOENT) file.error = "cannot use " + shownPath(path) + ": " + std::strerror(errno);
    } else if (!S_ISREG(status.st_mode)) {  // to read a pipe would wait for a writer
        file.error =
            shownPath(path) + (S_ISDIR(status.st_mode) ? " is a directory" : " is not a regular file");
    } else {
        Parsed input = readInput(path);
        file.exists = true;
        file.error = input.error;
        file.bytes = std::move(input.bytes);
        examine(file);
    }
    return file;
}

std::string obstacleToWriting(const std::string& path) {
    return tryToOpen(path, O_RDWR);
}

std::string makeFile(const std::string& path) {
    return tryToOpen(path, O_WRONLY | O_CREAT | O_EXCL);
}
