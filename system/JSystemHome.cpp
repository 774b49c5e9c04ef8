#include <fcntl.h>
#include <unistd.h>

#include "core/JStringBuffer.h"
#include "system/JSystem.h"
#include "thread/detail/CancelOff.h"

namespace {

// The path that the home directory is found from. Fixed: applications rely on the result.
constexpr const char* PROGRAM_PATH = "/bin/ls";
constexpr int PATH_SIZE = 1024;

/** The path up to its last slash. */
JString parentOf(const JString& path) {
    return path.substring(0, path.lastIndexOf('/'));
}

/** Empty when the current directory has been removed or has too long a path. */
JString currentDirectory() {
    char path[PATH_SIZE];
    return getcwd(path, sizeof path) != nullptr ? JString(path) : JString();
}

class Directory {
public:
    Directory(const char* path, int flags) : descriptor_(open(path, flags | O_CLOEXEC)) {}
    ~Directory() {
        if (isOpen()) close(descriptor_);
    }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }
    bool enter() const { return isOpen() && fchdir(descriptor_) == 0; }

private:
    int descriptor_;
};

/**
 * The path without symbolic links, found by going there and back; the path as it is where that fails. The way
 * back is a descriptor, not a path: it leads back also when the current directory was moved or removed, or
 * has too long a path.
 */
JString resolved(const JString& path) {
    const Directory back(".", O_PATH | O_DIRECTORY);
    const Directory there(path, O_RDONLY);
    if (!back.isOpen() || !there.enter()) return path;
    const JString found = currentDirectory();
    back.enter();
    return found == "" ? path : found;
}

}  // namespace

JString JSystem::getHomeDirectory() {
    // A thread cancelled on the way would leave the whole process in the other directory.
    const jay::detail::CancelOff uncancelled;
    const JString directory = parentOf(PROGRAM_PATH);
    return parentOf(directory == currentDirectory() ? directory : resolved(directory));
}

void JSystem::Test() {
    JString home = getHomeDirectory();
    JStringBuffer path;
    path.append(home);
    path.append("/");
    path.append("test");
}
