#include "tools/jay/Console.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <unistd.h>

#include "tools/common/Harmless.h"
#include "tools/jay/Inbox.h"

void complain(const std::string& line) {
    std::fprintf(stderr, "jay: %s\n", harmless(line).c_str());
}

int writeLine(const std::string& line) {
    const std::string all = line + '\n';
    std::size_t written = 0;
    while (written < all.size()) {
        if (!Inbox::get().waitForRoom(STDOUT_FILENO)) return EINTR;
        // No more at once than there is room for: a write that waits would not notice a signal that came before.
        const std::size_t piece = std::min<std::size_t>(all.size() - written, PIPE_BUF);
        const ssize_t n = write(STDOUT_FILENO, all.data() + written, piece);
        if (n < 0) return errno;
        written += static_cast<std::size_t>(n);
    }
    return 0;
}
