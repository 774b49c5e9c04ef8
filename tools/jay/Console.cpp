#include "tools/jay/Console.h"

#include <cerrno>
#include <cstdio>

void complain(const std::string& line) {
    std::fprintf(stderr, "jay: %s\n", line.c_str());
}

int writeLine(const std::string& line) {
    errno = 0;
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return 0;
    return errno != 0 ? errno : EIO;
}
