#ifndef JAY_TESTS_PLATFORM_RECORDINGPLATFORM_H
#define JAY_TESTS_PLATFORM_RECORDINGPLATFORM_H

#include <string>
#include <vector>

/** A platform layer that draws nothing but writes down every hook it is called for, with its arguments. */
namespace platform {

/** What was called since the last take(), one line per call. */
std::vector<std::string> take();

}  // namespace platform

#endif
