#ifndef JAY_TOOLS_JAY_LAUNCHER_H
#define JAY_TOOLS_JAY_LAUNCHER_H

#include <chrono>
#include <functional>
#include <map>
#include <string>

/**
 * Starts the commands of clients that are to be woken, one copy of each at a time, and notes how they end.
 *
 * A command fails when it ends with a status other than 0, or by a signal. Then it is not started for some time: the first
 * time for `backoff`, and each further time for twice as long, up to `mostBackoff`. A request that comes meanwhile is kept,
 * and the command is started when the time has passed. A command that ends with status 0, or fails after it has run for
 * `steady`, starts from `backoff` again.
 *
 * One thread. Commands are children of this process; nothing ends them, and they may outlive it.
 */
class Launcher {
public:
    using Clock = std::chrono::steady_clock;
    using milliseconds = std::chrono::milliseconds;

    /** How patient it is. */
    struct Pace {
        int backoff = 1000;        ///< milliseconds
        int mostBackoff = 300000;  ///< milliseconds
        int steady = 10000;        ///< milliseconds
    };

    /** What a request or a tick has led to. */
    struct Event {
        enum Kind {
            STARTED,
            NOT_STARTED,  ///< no process could be made
            RUNNING,      ///< asked for, but it runs already
            WAITING,      ///< asked for, but left alone for `wait` ms more
            UNKNOWN,      ///< asked for, but there is no command for it
            ENDED,        ///< with status `status`
            KILLED        ///< ended by a signal
        };
        Kind kind = STARTED;
        int client = 0;
        int pid = 0;
        int status = 0;
        int failures = 0;  ///< in a row
        int wait = 0;      ///< milliseconds before a next start
    };

    using Reporter = std::function<void(const Event&)>;
    using Now = std::function<Clock::time_point()>;

    /** @param pace outlives the launcher, and may change. @param now the time; a test gives a clock of its own. */
    Launcher(const Pace& pace, Reporter reporter, Now now = Clock::now);

    /** Replaces the table. What runs goes on, and is known still. */
    void setCommands(const std::map<int, std::string>& commands);

    /** A client is to be woken up. */
    void request(int client);

    /** Notes what has ended, and starts what has waited long enough. To be called every so often. */
    void tick();

    /** The pids of the commands that run, by client. */
    std::map<int, int> running() const;

private:
    /** What is known of one client's command. */
    struct Child {
        int pid = 0;  // 0: does not run
        Clock::time_point started;
        Clock::time_point notBefore;
        int failures = 0;
        bool asked = false;  // while it was left alone
    };

    void start(int client, Child& child);
    void reap(int client, Child& child);
    void failed(Child& child) const;
    int waitOf(const Child& child) const;
    void report(Event::Kind kind, int client, const Child& child, int status = 0) const;

    const Pace& pace_;
    Reporter reporter_;
    Now now_;
    std::map<int, std::string> commands_;
    std::map<int, Child> children_;
};

#endif
