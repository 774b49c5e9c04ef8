// The file calls of this test program, the library's included, come here first.

#include "database/FileCalls.h"

#include <algorithm>
#include <dlfcn.h>
#include <unistd.h>

using database::FileCalls;

namespace {

template <class Function>
Function* theReal(const char* name, Function*) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

#define JAY_STAND_IN extern "C" __attribute__((visibility("default")))

JAY_STAND_IN FILE* fopen(const char* path, const char* mode) {
    static auto* const real = theReal("fopen", &fopen);
    return FileCalls::fopen.fails() ? nullptr : real(path, mode);
}

JAY_STAND_IN ssize_t pread(int fd, void* to, size_t size, off_t offset) {
    static auto* const real = theReal("pread", &pread);
    return FileCalls::pread.fails() ? -1 : real(fd, to, std::min(size, FileCalls::mostBytes), offset);
}

JAY_STAND_IN ssize_t pwrite(int fd, const void* from, size_t size, off_t offset) {
    static auto* const real = theReal("pwrite", &pwrite);
    return FileCalls::pwrite.fails() ? -1 : real(fd, from, std::min(size, FileCalls::mostBytes), offset);
}

// The names that a 32-bit library calls which has 64-bit file offsets.

JAY_STAND_IN FILE* fopen64(const char* path, const char* mode) {
    static auto* const real = theReal("fopen64", &fopen64);
    return FileCalls::fopen.fails() ? nullptr : real(path, mode);
}

JAY_STAND_IN ssize_t pread64(int fd, void* to, size_t size, off64_t offset) {
    static auto* const real = theReal("pread64", &pread64);
    return FileCalls::pread.fails() ? -1 : real(fd, to, std::min(size, FileCalls::mostBytes), offset);
}

JAY_STAND_IN ssize_t pwrite64(int fd, const void* from, size_t size, off64_t offset) {
    static auto* const real = theReal("pwrite64", &pwrite64);
    return FileCalls::pwrite.fails() ? -1 : real(fd, from, std::min(size, FileCalls::mostBytes), offset);
}
