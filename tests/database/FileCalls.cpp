// The file calls of this test program, the library's included, come here first.

#include "database/FileCalls.h"

#include <dlfcn.h>

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
