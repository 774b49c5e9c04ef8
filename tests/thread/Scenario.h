/** @file Runs scenarios of ThreadExit.cpp, each in a process of its own. */
#ifndef JAY_TESTS_THREAD_SCENARIO_H
#define JAY_TESTS_THREAD_SCENARIO_H

#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace thread {

/** How a run of the program next door ended. */
struct Ending {
    int status = -1;
    std::vector<std::string> lines;
    long long endMs = 0;  ///< from the word "exit" to the end
    std::string text;
};

/** The value of a variable of the sanitizers, with more options. */
inline std::string withOptions(const char* variable, const std::string& more) {
    const char* const old = std::getenv(variable);
    return std::string(variable) + "=" + (old != nullptr ? std::string(old) + ":" : "") + more;
}

inline std::vector<std::string> environmentOf(const std::string& scenario) {
    std::vector<std::string> all;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (std::string(*variable).rfind("TSAN_OPTIONS=", 0) == 0) continue;
        if (std::string(*variable).rfind("ASAN_OPTIONS=", 0) == 0) continue;
        all.emplace_back(*variable);
    }
    // Without the pause at the end. Foreign threads end unjoined here, which is what the scenarios are about, and the
    // process may be quicker than a main thread that is joining.
    const bool leaks = scenario.rfind("foreign", 0) == 0 || scenario.find("WhileMain") != std::string::npos;
    all.push_back(
        withOptions("TSAN_OPTIONS", leaks ? "atexit_sleep_ms=0:report_thread_leaks=0" : "atexit_sleep_ms=0"));
    // In a forked child the leak check misses what the stacks of the parent's threads hold.
    all.push_back(withOptions("ASAN_OPTIONS", scenario.rfind("forked", 0) == 0 ? "detect_leaks=0" : ""));
    all.emplace_back(
        "GLIBC_TUNABLES=glibc.malloc.tcache_count=0:glibc.malloc.perturb=165");  // freed memory changes
    return all;
}

inline pid_t spawn(const std::string& scenario, int output) {
    std::vector<std::string> command;
    std::istringstream emulator(JAY_EMULATOR);
    for (std::string word; emulator >> word;) command.push_back(word);
    command.insert(command.end(), {JAY_THREAD_EXIT, scenario});
    std::vector<std::string> environment = environmentOf(scenario);

    std::vector<char*> arguments;
    for (std::string& word : command) arguments.push_back(&word[0]);
    arguments.push_back(nullptr);
    std::vector<char*> variables;
    for (std::string& variable : environment) variables.push_back(&variable[0]);
    variables.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDERR_FILENO);
    pid_t child = -1;
    posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), variables.data());
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

inline Ending run(const std::string& scenario) {
    Ending result;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return result;
    const pid_t child = spawn(scenario, ends[1]);
    close(ends[1]);
    auto exit = std::chrono::steady_clock::now();
    char buffer[4096];
    for (ssize_t got = 0; (got = read(ends[0], buffer, sizeof buffer)) > 0;) {
        result.text.append(buffer, static_cast<std::size_t>(got));
        if (result.text.find("exit\n") == std::string::npos || result.endMs != 0) continue;
        exit = std::chrono::steady_clock::now();
        result.endMs = 1;
    }
    close(ends[0]);
    int status = 0;
    if (child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status))
        result.status = WEXITSTATUS(status);
    const auto took = std::chrono::steady_clock::now() - exit;
    result.endMs = std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
    std::istringstream lines(result.text);
    for (std::string line; std::getline(lines, line);) result.lines.push_back(line);
    return result;
}

}  // namespace thread

#endif
