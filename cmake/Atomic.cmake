# jay_link_atomic(TARGET): links libatomic where the compiler needs it for 64-bit atomic variables, as on ARMv5, MIPS32 and
# i386. Elsewhere the library depends on nothing more.
include(CheckCXXSourceCompiles)

function(jay_link_atomic target)
    set(source "#include <atomic>
std::atomic<long long> value{1};
int main(int count, char**) { return static_cast<int>(value += count); }")
    check_cxx_source_compiles("${source}" JAY_ATOMIC_64_BUILT_IN)
    if(JAY_ATOMIC_64_BUILT_IN)
        return()
    endif()
    set(CMAKE_REQUIRED_LIBRARIES atomic)
    check_cxx_source_compiles("${source}" JAY_ATOMIC_64_IN_LIBATOMIC)
    if(NOT JAY_ATOMIC_64_IN_LIBATOMIC)
        message(FATAL_ERROR "64-bit atomic variables need libatomic here, and it was not found")
    endif()
    target_link_libraries(${target} PRIVATE atomic)
endfunction()
