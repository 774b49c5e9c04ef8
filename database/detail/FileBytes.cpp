#include "database/detail/FileBytes.h"

#include <cassert>
#include <cerrno>
#include <climits>
#include <sys/stat.h>
#include <unistd.h>

namespace jay::detail {

FileBytes::FileBytes(FILE* stream) : descriptor_(fileno(stream)) {
}

int FileBytes::size() const {
    struct stat status {};
    if (fstat(descriptor_, &status) != 0 || status.st_size > INT_MAX) return -1;
    return static_cast<int>(status.st_size);
}

int FileBytes::read(int offset, void* to, int count) const {
    assert(offset >= 0);
    auto* const bytes = static_cast<char*>(to);
    int done = 0;
    while (done < count) {
        const ssize_t n = pread(descriptor_, bytes + done, static_cast<size_t>(count - done),
                                static_cast<off_t>(offset) + done);
        if (n == 0) return done;
        if (n > 0) done += static_cast<int>(n);
        if (n < 0 && errno != EINTR) return -1;
    }
    return done;
}

bool FileBytes::write(int offset, const void* from, int count) const {
    assert(offset >= 0 && count <= INT_MAX - offset);
    const auto* const bytes = static_cast<const char*>(from);
    int done = 0;
    while (done < count) {
        const ssize_t n = pwrite(descriptor_, bytes + done, static_cast<size_t>(count - done),
                                 static_cast<off_t>(offset) + done);
        if (n > 0) done += static_cast<int>(n);
        if (n == 0 || (n < 0 && errno != EINTR)) return false;
    }
    return true;
}

}  // namespace jay::detail
