# JAY_TIME64: the definitions that give a 32-bit system a time which goes on after January 2038; empty where the time has 64
# bits anyway, or where the C library cannot have them (JAY_TIME_ENDS is then true).
include(CheckCXXSourceCompiles)

set(source "#include <ctime>
static_assert(sizeof(std::time_t) == 8, \"ends in 2038\");
int main() {}")
check_cxx_source_compiles("${source}" JAY_TIME_HAS_64_BITS)
if(JAY_TIME_HAS_64_BITS)
    return()
endif()

set(CMAKE_REQUIRED_DEFINITIONS -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64)
check_cxx_source_compiles("${source}" JAY_TIME_CAN_HAVE_64_BITS)
unset(CMAKE_REQUIRED_DEFINITIONS)
if(JAY_TIME_CAN_HAVE_64_BITS)
    set(JAY_TIME64 _TIME_BITS=64 _FILE_OFFSET_BITS=64)
else()
    set(JAY_TIME_ENDS TRUE)
endif()
