/** @file What the sanitizers' run-times are told in every test program, however it is started. */

// A cancelled thread is unwound without AddressSanitizer's knowledge, which then takes the frames that are
// gone for still poisoned: giving up its alternate signal stack at the thread's end is reported as
// stack-use-after-scope.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
const char* __asan_default_options() {
#if defined(JAY_OWN_COPIES)
    return "use_sigaltstack=0:detect_odr_violation=0";  // the class records are in the program and in the library
#else
    return "use_sigaltstack=0";
#endif
}
