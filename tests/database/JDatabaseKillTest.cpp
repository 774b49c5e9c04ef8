// A process that is killed while it writes loses nothing that docs/database-format.md promises to keep.

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <random>
#include <sched.h>
#include <signal.h>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "database/FileCalls.h"
#include "database/JDatabase.h"

using database::FileCalls;

namespace {

using Texts = std::vector<std::string>;

/** One change: a new record if `id` is 0, otherwise a new text for that record. */
struct Change {
    int id;
    std::string text;
};

/** The texts that getRecords() may return after a change was begun: before it, in its middle, and after it. */
class Expected {
public:
    /** The changes so far are complete; this one may or may not be. */
    void begin(const Change& change) {
        allowed_ = {texts_};
        const auto index = static_cast<size_t>(change.id - 1);
        const bool exists = change.id > 0 && index < texts_.size() && slots_[index] > 0;
        if (change.id > 0 && !exists) return;
        if (exists && change.text.size() <= slots_[index]) {
            texts_[index] = change.text;
        } else {
            texts_.push_back(change.text);
            slots_.push_back(change.text.size());
            if (exists) {
                allowed_.push_back(texts_);  // the new text is there, the old one is not abandoned yet
                texts_[index] = "";
                slots_[index] = 0;
            }
        }
        allowed_.push_back(texts_);
    }

    bool allows(const Texts& found) const {
        for (const Texts& texts : allowed_) {
            if (texts == found) return true;
        }
        return false;
    }

private:
    Texts texts_;
    std::vector<size_t> slots_;  // the longest text that fits each record; 0 for an abandoned one
    std::vector<Texts> allowed_{Texts()};
};

class JDatabaseKillTest : public testing::Test {
protected:
    JDatabaseKillTest() {
        char pattern[] = "/tmp/jaydb.XXXXXX";
        directory_ = mkdtemp(pattern);
        JDatabase::_path = directory_.c_str();
        void* page = mmap(nullptr, sizeof *begun_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        begun_ = new (page) std::atomic<int>;
    }
    ~JDatabaseKillTest() override {
        munmap(begun_, sizeof *begun_);
        removeFile();
        rmdir(directory_.c_str());
    }

    void removeFile() const { std::remove((directory_ + "\\notes.db").c_str()); }

    /** Starts a process that makes the changes, and is killed before its file write number `kill` if it makes so many. */
    pid_t startWriter(const std::vector<Change>& changes, int kill) {
        begun_->store(0);
        const pid_t writer = fork();
        if (writer != 0) return writer;
        FileCalls::pwrite.killAfter(kill);
        for (const Change& change : changes) {
            begun_->fetch_add(1);
            if (change.id == 0) db_.addRecord("notes", change.text.c_str());
            if (change.id != 0) db_.setRecord("notes", change.id, change.text.c_str());
        }
        _exit(0);
    }

    /** Waits until the process has begun a change, or for a limited number of turns. */
    void waitForChange(int number) const {
        for (int turn = 0; turn < 10000000 && begun_->load() < number; turn++) sched_yield();
    }

    /** @return whether the process was killed. */
    static bool waitFor(pid_t writer) {
        int status = 0;
        EXPECT_EQ(waitpid(writer, &status, 0), writer);
        return WIFSIGNALED(status);
    }

    Texts found() {
        JStringArray records = db_.getRecords("notes");
        Texts texts;
        for (int i = 0; i < records.length(); i++) texts.emplace_back(static_cast<const char*>(records[i]));
        return texts;
    }

    void expectNothingLost(const std::vector<Change>& changes) {
        Expected expected;
        const int begun = begun_->load();
        for (int i = 0; i < begun; i++) expected.begin(changes[static_cast<size_t>(i)]);
        EXPECT_TRUE(expected.allows(found())) << "after change " << begun;
        db_.addRecord("notes", "the next one");
        const Texts after = found();
        EXPECT_FALSE(after.empty() || after.back() != "the next one") << "after change " << begun;
    }

    JDatabase db_;
    std::string directory_;
    std::atomic<int>* begun_ = nullptr;  // changes, shared with the writer
};

/** So few and short that the file stays within one page: a write within a page is not torn by a kill. */
std::vector<Change> randomChanges(unsigned seed) {
    std::mt19937 random(seed);
    std::vector<Change> changes;
    for (int i = 0; i < 60; i++) {
        const std::string text(1 + random() % 30, static_cast<char>('a' + random() % 26));
        changes.push_back({static_cast<int>(random() % 3 == 0 ? 0 : random() % 20), text});
    }
    return changes;
}

constexpr int NEVER = 1 << 30;

}  // namespace

TEST_F(JDatabaseKillTest, KilledBeforeAnyOfItsWrites_TheProcessLosesNothing) {
    const std::vector<Change> changes = {{0, "first"},
                                         {0, "second"},
                                         {1, "a longer first"},
                                         {2, "2nd"},
                                         {3, "again a longer first"},
                                         {0, std::string(5000, 'x')}};
    int kill = 0;
    while (waitFor(startWriter(changes, kill))) {
        expectNothingLost(changes);
        removeFile();
        kill++;
    }
    expectNothingLost(changes);
    EXPECT_EQ(kill, 1 + 2 + 2 + 3 + 1 + 3 + 2);  // the header of the new file, then each change
}

TEST_F(JDatabaseKillTest, KilledAtRandomTimes_TheProcessLosesNothing) {
    std::mt19937 random(1);
    int killed = 0;
    for (unsigned round = 0; round < 150; round++) {
        const std::vector<Change> changes = randomChanges(round);
        const pid_t writer = startWriter(changes, NEVER);
        waitForChange(static_cast<int>(random() % changes.size()));
        kill(writer, SIGKILL);
        if (waitFor(writer)) killed++;
        expectNothingLost(changes);
        removeFile();
    }
    EXPECT_GT(killed, 0);
}
