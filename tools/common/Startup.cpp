#include "tools/common/Startup.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

void openStandardDescriptors() {
    constexpr int MODES[] = {O_WRONLY, O_RDONLY, O_RDWR};  // the wrong one for input and output
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++) {
        if (fcntl(fd, F_GETFD) < 0)
            open("/dev/null", MODES[fd]);  // takes the lowest free number, which is fd
    }
}

bool isOutputOpen() {
    const int flags = fcntl(STDOUT_FILENO, F_GETFL);
    return flags >= 0 && (flags & O_ACCMODE) != O_RDONLY;
}

void ignoreBrokenPipes() {
    signal(SIGPIPE, SIG_IGN);
}
