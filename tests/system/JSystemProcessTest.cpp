#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <signal.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "support/Thread.h"
#include "system/JSystem.h"

using support::eventually;
using support::Thread;

namespace {

constexpr int UNTOUCHED = 12345;

int runAndWait(const std::string& command) {
    return JSystem::exec(command.c_str(), JSystem::EXEC_WAIT);
}

int run(const std::string& command) {
    return JSystem::exec(command.c_str(), JSystem::EXEC_NOWAIT);
}

/** Waits until the child has ended, and leaves its status to be reaped. */
bool hasEnded(int pid) {
    siginfo_t info;
    return waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) == 0;
}

void killAndReap(int pid) {
    ASSERT_GT(pid, 0) << "kill would mean other processes";
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

/** A pipe that commands inherit, for a command to write to. */
class CommandPipe {
public:
    CommandPipe() {
        if (pipe(ends_) != 0) std::abort();
    }
    ~CommandPipe() {
        closeWriter();
        close(ends_[0]);
    }
    CommandPipe(const CommandPipe&) = delete;
    CommandPipe& operator=(const CommandPipe&) = delete;

    int reader() const { return ends_[0]; }
    int writer() const { return ends_[1]; }
    /** Where a command redirects its output to, as in `echo text >&5`. */
    std::string redirection() const { return " >&" + std::to_string(ends_[1]); }
    void closeWriter() {
        if (ends_[1] >= 0) close(ends_[1]);
        ends_[1] = -1;
    }

    std::string readLine() {
        std::string line;
        for (char c = 0; read(ends_[0], &c, 1) == 1 && c != '\n';) line += c;
        return line;
    }
    /** Everything up to the last writer's end. */
    std::string readAll() {
        closeWriter();
        std::string all;
        for (char c = 0; read(ends_[0], &c, 1) == 1;) all += c;
        return all;
    }

private:
    int ends_[2];
};

/** Children are reaped by the system, for the length of a scope. */
class IgnoredChildren {
public:
    IgnoredChildren() : previous_(signal(SIGCHLD, SIG_IGN)) {}
    ~IgnoredChildren() { signal(SIGCHLD, previous_); }
    IgnoredChildren(const IgnoredChildren&) = delete;
    IgnoredChildren& operator=(const IgnoredChildren&) = delete;

private:
    void (*previous_)(int);
};

// A single argument of more than 128 KiB makes the exec fail in the child.
const std::string TOO_LONG(1 << 20, ' ');

}  // namespace

// ---- exec, waiting ----

TEST(JSystemExecTest, Wait_ReturnsZeroForExitCodeZero) {
    EXPECT_EQ(runAndWait("true"), 0);
}

TEST(JSystemExecTest, Wait_ReturnsMinusOneForAnyOtherExitCode) {
    EXPECT_EQ(runAndWait("exit 3"), -1);
    EXPECT_EQ(runAndWait("exit 255"), -1);
}

TEST(JSystemExecTest, Wait_ReturnsZeroForACommandKilledByASignal) {
    EXPECT_EQ(runAndWait("kill -9 $$"), 0);
}

TEST(JSystemExecTest, Wait_ReturnsOnlyWhenTheCommandHasEnded) {
    CommandPipe pipe;
    EXPECT_EQ(runAndWait("sleep 0.2; echo done" + pipe.redirection()), 0);
    EXPECT_EQ(pipe.readAll(), "done\n");
}

TEST(JSystemExecTest, RunsTheCommandInTheShellWithTheEnvironment) {
    setenv("JAY_TEST_EXEC", "some value", 1);
    CommandPipe pipe;
    EXPECT_EQ(runAndWait("x=1; for i in a b; do echo $i$x \"$JAY_TEST_EXEC\"; done" + pipe.redirection()),
              -0);
    EXPECT_EQ(pipe.readAll(), "a1 some value\nb1 some value\n");
    unsetenv("JAY_TEST_EXEC");
}

TEST(JSystemExecTest, NullCommand_ReturnsMinusOne) {
    EXPECT_EQ(JSystem::exec(nullptr, JSystem::EXEC_WAIT), -1);
    EXPECT_EQ(JSystem::exec(nullptr, JSystem::EXEC_NOWAIT), -1);
}

TEST(JSystemExecTest, Wait_ReapsEveryChildAndLosesItsStatus) {
    const int other = run("exit 7");
    ASSERT_TRUE(hasEnded(other));
    EXPECT_EQ(runAndWait("true"), 0);
    int code = UNTOUCHED;
    EXPECT_EQ(JSystem::pstatus(other, &code), 0);
    EXPECT_EQ(code, UNTOUCHED);
    EXPECT_EQ(kill(other, 0), -1);
}

TEST(JSystemExecTest, Wait_ByTwoThreadsAtOnce_GivesEachItsOwnResult) {
    constexpr int COMMANDS = 8;
    std::vector<int> zeros(COMMANDS, UNTOUCHED);
    std::vector<int> others(COMMANDS, UNTOUCHED);
    {
        Thread first([&] {
            for (int& result : zeros) result = runAndWait("exit 0");
        });
        Thread second([&] {
            for (int& result : others) result = runAndWait("exit 1");
        });
    }
    EXPECT_EQ(zeros, std::vector<int>(COMMANDS, 0));
    EXPECT_EQ(others, std::vector<int>(COMMANDS, -1));
}

TEST(JSystemExecTest, Wait_GetsTheStatusThatAnotherThreadHasReaped) {
    // Which of the two threads reaps the first command is up to the moment: nearly always the second, whose
    // look follows the end of the command at once, while the first looks every 100 ms.
    for (int i = 0; i < 5; ++i) {
        CommandPipe out;
        CommandPipe in;
        int result = UNTOUCHED;
        Thread first([&] {
            const std::string command =
                "echo $$" + out.redirection() + "; read line <&" + std::to_string(in.reader());
            result = runAndWait(command + "; exit 5");
        });
        const int pid = std::stoi(out.readLine());
        EXPECT_TRUE(first.fallsAsleep());
        ASSERT_EQ(write(in.writer(), "\n", 1), 1);
        hasEnded(pid);  // false if it has been reaped by now
        EXPECT_EQ(runAndWait("true"), 0);
        first.join();
        EXPECT_EQ(result, -1);
    }
}

// ---- exec, when the status cannot be had ----

TEST(JSystemExecTest, Wait_WhenTheSystemReapsChildren_ReturnsMinusOne) {
    const IgnoredChildren ignored;
    EXPECT_EQ(runAndWait("true"), -1);
}

TEST(JSystemExecTest, Wait_WhenTheSystemReapsChildrenAndAnotherOneRuns_ReturnsMinusOne) {
    const int other = run("exec sleep 1000");
    {
        const IgnoredChildren ignored;
        EXPECT_EQ(runAndWait("true"), -1);
    }
    killAndReap(other);
}

TEST(JSystemExecTest, Wait_WhenTheApplicationReapsTheChild_ReturnsMinusOne) {
    CommandPipe pipe;
    int result = UNTOUCHED;
    Thread waiter([&] { result = runAndWait("echo $$" + pipe.redirection() + "; exec sleep 1000"); });
    const int pid = std::stoi(pipe.readLine());
    ASSERT_GT(pid, 0);
    // Whoever asks first gets the status. Blocking here is quicker than looking every 100 ms.
    kill(pid, SIGTERM);
    const bool reapedHere = waitpid(pid, nullptr, 0) == pid;
    waiter.join();
    EXPECT_EQ(result, reapedHere ? -1 : 0);
}

// ---- exec, not waiting ----

TEST(JSystemExecTest, NoWait_ReturnsThePidAtOnce) {
    const int pid = run("exec sleep 1000");
    ASSERT_GT(pid, 0);
    EXPECT_EQ(kill(pid, 0), 0);
    killAndReap(pid);
}

TEST(JSystemExecTest, EveryModeButWait_DoesNotWait) {
    for (const int mode : {2, -1}) {
        const int pid = JSystem::exec("exec sleep 1000", mode);
        ASSERT_GT(pid, 0);
        killAndReap(pid);
    }
}

// ---- exec, the shell that cannot be run ----

TEST(JSystemExecTest, WithoutAShell_TheChildEndsWith255) {
    const int pid = run(TOO_LONG);
    ASSERT_GT(pid, 0);
    ASSERT_TRUE(hasEnded(pid));
    int code = UNTOUCHED;
    EXPECT_EQ(JSystem::pstatus(pid, &code), pid);
    EXPECT_EQ(code, 255);
    EXPECT_EQ(runAndWait(TOO_LONG), -1);
}

namespace {
int exitHandlersFd = -1;
void tellExitHandler() {
    if (exitHandlersFd >= 0 && write(exitHandlersFd, "x", 1) != 1) std::abort();
}
}  // namespace

TEST(JSystemExecTest, WithoutAShell_TheChildRunsNoExitHandlers) {
    static const int registered = std::atexit(tellExitHandler);
    ASSERT_EQ(registered, 0);
    CommandPipe pipe;
    exitHandlersFd = pipe.writer();
    EXPECT_EQ(runAndWait(TOO_LONG), -1);
    exitHandlersFd = -1;
    EXPECT_EQ(pipe.readAll(), "");
}

// ---- exec, cancelled ----

TEST(JSystemExecTest, CancelledWait_LeavesTheCommandRunningAndNoLockHeld) {
    CommandPipe pipe;
    Thread waiter([&] { runAndWait("echo $$" + pipe.redirection() + "; exec sleep 1000"); });
    const int pid = std::stoi(pipe.readLine());
    waiter.cancel();
    EXPECT_TRUE(waiter.join());
    EXPECT_EQ(kill(pid, 0), 0);
    EXPECT_EQ(runAndWait("true"), 0);
    killAndReap(pid);
}

TEST(JSystemExecTest, CancelledWait_LeavesAThreadThatAlsoWaitsItsResult) {
    CommandPipe pipe;
    int result = UNTOUCHED;
    Thread cancelled([&] { runAndWait("echo $$" + pipe.redirection() + "; exec sleep 1000"); });
    const int pid = std::stoi(pipe.readLine());
    Thread other([&] { result = runAndWait("sleep 0.3; exit 1"); });
    EXPECT_TRUE(other.fallsAsleep());
    cancelled.cancel();
    EXPECT_TRUE(cancelled.join());
    other.join();
    EXPECT_EQ(result, -1);
    killAndReap(pid);
}

// ---- pstatus ----

TEST(JSystemPstatusTest, RunningChild_GivesZeroAndNoCode) {
    const int pid = run("exec sleep 1000");
    int code = UNTOUCHED;
    EXPECT_EQ(JSystem::pstatus(pid, &code), 0);
    EXPECT_EQ(code, UNTOUCHED);
    killAndReap(pid);
}

TEST(JSystemPstatusTest, EndedChild_GivesItsPidAndExitCodeOnce) {
    for (const int expected : {0, 3, 255}) {
        const int pid = run("exit " + std::to_string(expected));
        ASSERT_TRUE(hasEnded(pid));
        int code = UNTOUCHED;
        EXPECT_EQ(JSystem::pstatus(pid, &code), pid);
        EXPECT_EQ(code, expected);
        code = UNTOUCHED;
        EXPECT_EQ(JSystem::pstatus(pid, &code), 0);
        EXPECT_EQ(code, UNTOUCHED);
    }
}

TEST(JSystemPstatusTest, ChildKilledByASignal_GivesItsPidAndNoCode) {
    const int pid = run("kill -9 $$");
    ASSERT_TRUE(hasEnded(pid));
    int code = UNTOUCHED;
    EXPECT_EQ(JSystem::pstatus(pid, &code), pid);
    EXPECT_EQ(code, UNTOUCHED);
}

TEST(JSystemPstatusTest, NullForTheCode_IsAccepted) {
    const int pid = run("exit 3");
    ASSERT_TRUE(hasEnded(pid));
    EXPECT_EQ(JSystem::pstatus(pid, nullptr), pid);
}

TEST(JSystemPstatusTest, NoChild_GivesZero) {
    int code = UNTOUCHED;
    EXPECT_EQ(JSystem::pstatus(getpid(), &code), 0);
    EXPECT_EQ(code, UNTOUCHED);
}
