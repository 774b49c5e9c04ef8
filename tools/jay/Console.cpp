#include "tools/jay/Console.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <poll.h>
#include <unistd.h>

#include "tools/common/Harmless.h"
#include "tools/jay/StopSignals.h"

namespace {
constexpr int FOR_EVER = -1;
}

void complain(const std::string& line) {
    std::fprintf(stderr, "jay: %s\n", harmless(line).c_str());
}

Status fail(Status status, const std::string& why) {
    complain(why);
    return status;
}

int writeLine(const std::string& line) {
    const std::string all = line + '\n';
    std::size_t written = 0;
    while (written < all.size()) {
        const StopSignals::Wait room = StopSignals::wait(STDOUT_FILENO, POLLOUT, FOR_EVER);
        if (room == StopSignals::STOPPED) return EINTR;
        if (room != StopSignals::READY) continue;  // another signal
        // No more at once than there is room for: a write that waits would not notice a signal that came before.
        const std::size_t piece = std::min<std::size_t>(all.size() - written, PIPE_BUF);
        const ssize_t n = write(STDOUT_FILENO, all.data() + written, piece);
        if (n < 0) return errno;
        written += static_cast<std::size_t>(n);
    }
    return 0;
}
