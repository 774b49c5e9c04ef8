#include "tools/common/Startup.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

void openStandardDescriptors() {
    int fd = open("/dev/null", O_RDWR);
    while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDWR);  // takes the lowest free number
    if (fd >= 0) close(fd);
}

void ignoreBrokenPipes() {
    signal(SIGPIPE, SIG_IGN);
}
