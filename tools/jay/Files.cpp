#include "tools/jay/Files.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "tools/common/Harmless.h"

namespace {

/** A descriptor that is closed at the end, unless it is standard input. */
class Source {
public:
    explicit Source(const std::string& path)
        : fd_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)) {}
    ~Source() {
        if (fd_ > STDERR_FILENO) close(fd_);
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    bool isOpen() const { return fd_ >= 0; }

    /** As read(2), but a signal that lets the process live does not end it. */
    ssize_t read(char* to, std::size_t size) const {
        ssize_t n = 0;
        do {
            n = ::read(fd_, to, size);
        } while (n < 0 && errno == EINTR);
        return n;
    }

private:
    int fd_;
};

Parsed cannotRead(const std::string& path) {
    return Parsed::failed("cannot read {}: {}", shownPath(path), std::strerror(errno));
}

}  // namespace

Parsed readUpTo(const std::string& path, std::size_t limit) {
    const Source source(path);
    if (!source.isOpen()) return cannotRead(path);
    Parsed input;
    std::string block(std::size_t(64) << 10, '\0');
    ssize_t n = 1;
    while (n > 0 && input.bytes.size() <= limit) {
        n = source.read(block.data(), block.size());
        if (n < 0) return cannotRead(path);
        input.bytes.append(block, 0, static_cast<std::size_t>(n));
    }
    return input;
}

Parsed readInput(const std::string& path) {
    Parsed input = readUpTo(path, LARGEST_INPUT);
    if (input.bytes.size() <= LARGEST_INPUT) return input;
    return Parsed::failed("{} is larger than {} MiB; cut out the part to be shown", shownPath(path),
                          LARGEST_INPUT >> 20);
}

std::string shownPath(const std::string& path) {
    return path == "-" ? "standard input" : "'" + harmless(path) + "'";
}
