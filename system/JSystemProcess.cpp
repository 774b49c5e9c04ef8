#include <mutex>
#include <sys/wait.h>
#include <unistd.h>

#include "system/JSystem.h"
#include "thread/detail/CancelOff.h"

namespace {

class Waiter;

// Neither has a destructor that does anything: threads may still run commands while the process exits.
std::mutex waitersLock;
Waiter* waiters = nullptr;

/** The exit code of a wait status; 0 for a child that was killed by a signal. */
int exitCodeOf(int status) {
    return (status >> 8) & 0xFF;
}

/**
 * Starts the shell; returns what fork does. The child of a process with threads is a copy with one thread, in
 * which any lock may be held for ever: it calls only what is safe in a signal handler. When there is no shell
 * it ends with _exit, not exit: exit handlers would wait for threads that it does not have, and write the
 * parent's buffers a second time.
 */
pid_t forkShell(const char* command) {
    const pid_t pid = fork();
    if (pid != 0) return pid;
    execle(JSystem::SHELL_PATH, JSystem::SHELL_PATH, "-c", command, static_cast<char*>(nullptr), environ);
    _exit(255);
}

bool isUnreaped(pid_t child) {
    siginfo_t info;
    return waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

/**
 * A command that one thread waits for. Waiting reaps any child of the process, so the waiting threads form a
 * list and hand each other the statuses of its members. waitersLock guards the list and the fields of its
 * members; it is held from the fork until the child is in the list, so that nobody can reap a child that is
 * about to be waited for.
 */
class Waiter {
public:
    Waiter() = default;
    /** Leaves the list, also when the thread is cancelled while it sleeps. */
    ~Waiter();
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;

    bool start(const char* command);
    bool reap();
    bool succeeded() const { return ended_ && exitCodeOf(status_) == 0; }

private:
    static void deliver(pid_t pid, int status);

    pid_t pid_ = -1;
    bool ended_ = false;
    int status_ = 0;
    Waiter* next_ = nullptr;
};

Waiter::~Waiter() {
    const std::lock_guard<std::mutex> held(waitersLock);
    for (Waiter** link = &waiters; *link != nullptr; link = &(*link)->next_) {
        if (*link != this) continue;
        *link = next_;
        return;
    }
}

bool Waiter::start(const char* command) {
    const std::lock_guard<std::mutex> held(waitersLock);
    pid_ = forkShell(command);
    if (pid_ < 0) return false;
    next_ = waiters;
    waiters = this;
    return true;
}

/**
 * Reaps what has ended, up to the own child, and returns whether there is anything left to wait for. There is
 * not, either, when somebody outside the list has reaped it. Not cancellable: a status on its way to another
 * thread would be lost.
 */
bool Waiter::reap() {
    const jay::detail::CancelOff uncancelled;
    const std::lock_guard<std::mutex> held(waitersLock);
    while (!ended_) {
        int status = 0;
        const pid_t pid = waitpid(-1, &status, WNOHANG);
        if (pid <= 0) return isUnreaped(pid_);
        deliver(pid, status);
    }
    return false;
}

void Waiter::deliver(pid_t pid, int status) {
    for (Waiter* waiter = waiters; waiter != nullptr; waiter = waiter->next_) {
        if (waiter->pid_ != pid || waiter->ended_) continue;
        waiter->status_ = status;
        waiter->ended_ = true;
        return;
    }
}

int runAndWait(const char* command) {
    Waiter child;
    if (!child.start(command)) return -1;
    while (child.reap()) JSystem::usleep(100000);
    return child.succeeded() ? 0 : -1;
}

}  // namespace

int JSystem::exec(const char* command, int mode) {
    if (command == nullptr) return -1;
    return mode == EXEC_WAIT ? runAndWait(command) : forkShell(command);
}

int JSystem::pstatus(int pid, int* exitCode) {
    int status = 0;
    const pid_t child = waitpid(pid, &status, WNOHANG);
    if (child <= 0) return 0;
    const bool endedByItself = (status & 0x7F) == 0;
    if (endedByItself && exitCode != nullptr) *exitCode = exitCodeOf(status);
    return child;
}
