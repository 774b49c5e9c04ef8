#include <cerrno>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "support/Stderr.h"
#include "support/Thread.h"
#include "system/JSystem.h"
#include "thread/detail/ScopedLock.h"
#include "thread/JEvent.h"
#include "thread/JLock.h"

using support::StderrPipe;
using support::StderrWrites;
using support::Thread;
using Lines = std::vector<std::string>;

namespace {

/** Standard error in a pipe; debug output on again at the end. */
class JSystemDebugTest : public ::testing::Test {
protected:
    ~JSystemDebugTest() override { JSystem::debug(true); }
    StderrPipe output;
};

/** The described dump, one character at a time. */
std::string describedDump(const std::string& data) {
    std::string out;
    std::string column;
    for (const char c : data) {
        const auto byte = static_cast<unsigned char>(c);
        out += "0123456789ABCDEF"[byte / 16];
        out += "0123456789ABCDEF"[byte % 16];
        out += ' ';
        column += byte >= 0x20 && byte <= 0x7E ? c : '.';
        if (column.size() == 16) {
            out += column + "\n";
            column.clear();
        }
    }
    if (!column.empty()) {
        for (size_t i = column.size(); i < 16; ++i) out += "   ";
        out += column + "\n";
    }
    return out + "\n";
}

std::string bytes(int from, int number) {
    std::string all;
    for (int i = 0; i < number; ++i) all += static_cast<char>(from + i);
    return all;
}

void dump(const std::string& data) {
    JSystem::dump(data.data(), static_cast<int>(data.size()));
}

/** The exit status of a forked child that runs `work`; -1 if it does not end within ten seconds. */
int statusOfChild(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(10);
        _exit(work());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

// ---- debug and printf ----

TEST_F(JSystemDebugTest, Debug_WritesTheFormattedTextAndNothingElse) {
    JSystem::debug("%s %d", "text", 5);
    EXPECT_EQ(output.text(), "text 5");
}

TEST_F(JSystemDebugTest, Debug_WithATextAlone_IsTheFormatOne) {
    JSystem::debug("text\n");
    EXPECT_EQ(output.text(), "text\n");
    EXPECT_TRUE(JSystem::_debug);
}

TEST_F(JSystemDebugTest, Debug_WithABool_IsTheSwitch) {
    JSystem::debug(false);
    EXPECT_FALSE(JSystem::_debug);
    JSystem::debug(true);
    EXPECT_TRUE(JSystem::_debug);
    EXPECT_EQ(output.text(), "");
}

TEST_F(JSystemDebugTest, SwitchedOff_DebugAndDumpWriteNothing) {
    JSystem::debug(false);
    JSystem::debug("text\n");
    JSystem::dump("A", 1);
    EXPECT_EQ(output.text(), "");
}

TEST_F(JSystemDebugTest, SwitchedOff_PrintfStillWrites) {
    JSystem::debug(false);
    EXPECT_EQ(JSystem::printf("text\n"), 5);
    EXPECT_EQ(output.text(), "text\n");
}

TEST_F(JSystemDebugTest, Printf_ReturnsTheNumberOfBytes) {
    EXPECT_EQ(JSystem::printf("%d-%s", 12, "ab"), 5);
    EXPECT_EQ(output.text(), "12-ab");
}

TEST_F(JSystemDebugTest, EmptyText_WritesNothing) {
    const char* const nothing = "";
    JSystem::debug("%s", nothing);
    EXPECT_EQ(JSystem::printf("%s", nothing), 0);
    EXPECT_EQ(output.text(), "");
}

TEST_F(JSystemDebugTest, Debug_FlushesAndPrintfDoesNot) {
    char buffer[256];
    std::setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
    JSystem::printf("one ");
    const std::string unflushed = output.text();
    JSystem::debug("two ");
    const std::string flushedByDebug = output.text();
    JSystem::printf("three ");
    JSystem::flush();
    const std::string flushed = output.text();
    JSystem::printf("four ");
    JSystem::dump(nullptr, 0);
    const std::string flushedByDump = output.text();
    std::setvbuf(stderr, nullptr, _IONBF, 0);
    EXPECT_EQ(unflushed, "");
    EXPECT_EQ(flushedByDebug, "one two ");
    EXPECT_EQ(flushed, "three ");
    EXPECT_EQ(flushedByDump, "four \n");
}

TEST(JSystemDebugWritesTest, Debug_ReachesStandardErrorInOneWriteWhateverItsLength) {
    StderrWrites output;
    for (const size_t length : {1u, 510u, 511u, 512u, 513u, 5000u, 20000u}) {
        const std::string text(length, 'x');
        JSystem::debug("%s", text.c_str());
        EXPECT_EQ(output.writes(), Lines{text}) << length;
        EXPECT_EQ(JSystem::printf("%s", text.c_str()), static_cast<int>(length));
        EXPECT_EQ(output.writes(), Lines{text}) << length;
    }
}

TEST(JSystemDebugWritesTest, Dump_WritesEachLineAtOnce) {
    StderrWrites output;
    dump("0123456789abcdefX");
    EXPECT_EQ(output.writes(), (Lines{"30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66 0123456789abcdef\n",
                                      "58 " + std::string(45, ' ') + "X\n", "\n"}));
}

// ---- the output lock ----

TEST_F(JSystemDebugTest, DebugAndDump_WaitForTheOutputLock) {
    JSystem::lock();
    Thread debugs([] { JSystem::debug("text\n"); });
    Thread dumps([] { JSystem::dump(nullptr, 0); });
    EXPECT_TRUE(debugs.fallsAsleep());
    EXPECT_TRUE(dumps.fallsAsleep());
    EXPECT_EQ(output.text(), "");
    JSystem::unlock();
    debugs.join();
    dumps.join();
    const std::string text = output.text();
    EXPECT_TRUE(text == "text\n\n" || text == "\ntext\n") << text;
}

TEST_F(JSystemDebugTest, Printf_DoesNotWaitForTheOutputLock) {
    JSystem::lock();
    Thread prints([] { JSystem::printf("text\n"); });
    EXPECT_TRUE(support::eventually([&] { return prints.isFinished(); }));
    EXPECT_EQ(output.text(), "text\n");
    JSystem::unlock();
}

TEST_F(JSystemDebugTest, HolderOfTheOutputLock_StillWrites) {
    JSystem::lock();
    JSystem::printf("one\n");
    JSystem::debug("two\n");
    JSystem::dump(nullptr, 0);
    JSystem::unlock();
    EXPECT_EQ(output.text(), "one\ntwo\n\n");
}

TEST_F(JSystemDebugTest, TextsOfSeveralThreads_AreNotMixed) {
    constexpr int CALLS = 100;
    std::string text;
    {
        const std::string data = bytes('A', 17);
        std::vector<std::unique_ptr<Thread>> threads;
        for (int i = 0; i < 2; ++i) {
            threads.push_back(std::make_unique<Thread>([&] {
                for (int n = 0; n < CALLS; ++n) dump(data);
            }));
        }
        const auto areFinished = [&] { return threads[0]->isFinished() && threads[1]->isFinished(); };
        EXPECT_TRUE(support::eventually([&] {
            text += output.text();
            return areFinished();
        }));
        text += output.text();
    }
    std::string expected;
    for (int n = 0; n < 2 * CALLS; ++n) expected += describedDump(bytes('A', 17));
    EXPECT_EQ(text, expected);
}

TEST_F(JSystemDebugTest, ForkedChild_WritesThoughAnotherThreadHeldTheOutputLock) {
    JEvent held;
    JEvent done;
    Thread holder([&] {
        JSystem::lock();
        held.set();
        done.wait();
        JSystem::unlock();
    });
    held.wait();
    EXPECT_EQ(statusOfChild([] {
                  JSystem::debug("child\n");
                  return 3;
              }),
              3);
    done.set();
    holder.join();
    EXPECT_EQ(output.text(), "child\n");
}

TEST_F(JSystemDebugTest, ForkedChild_HoldsTheOutputLockAsOftenAsItsParentDid) {
    JSystem::lock();
    JSystem::lock();
    const int status = statusOfChild([] {
        const bool twice = JSystem::_sync->unlock() == 0 && JSystem::_sync->unlock() == 0;
        return twice && JSystem::_sync->unlock() == EPERM ? 3 : 4;
    });
    JSystem::unlock();
    JSystem::unlock();
    EXPECT_EQ(status, 3);
}

TEST_F(JSystemDebugTest, ThreadCancelledInABlockedWrite_LeavesNoLockHeld) {
    const std::function<void()> calls[] = {
        [] { JSystem::debug("lost %d\n", 1); },
        [] { JSystem::dump("A", 1); },
        [] { JSystem::printf("lost %d\n", 1); },
    };
    for (const auto& call : calls) {
        JLock callers;
        output.fill();
        Thread writer([&] {
            const jay::detail::ScopedLock held(callers);
            call();
        });
        EXPECT_TRUE(writer.fallsAsleep());
        writer.cancel();
        EXPECT_TRUE(writer.join());
        output.text();

        Thread next([&] {
            const jay::detail::ScopedLock held(callers);
            JSystem::debug("text\n");
            JSystem::printf("more\n");
        });
        EXPECT_TRUE(support::eventually([&] { return next.isFinished(); }));
        EXPECT_EQ(output.text(), "text\nmore\n");
    }
}

// ---- dump ----

TEST_F(JSystemDebugTest, Dump_OfThreeBytes) {
    JSystem::dump("\x41\x42\x0A", 3);
    EXPECT_EQ(output.text(), "41 42 0A " + std::string(13 * 3, ' ') + "AB.\n\n");
}

TEST_F(JSystemDebugTest, Dump_OfSixteenBytes_IsOneFullLineWithoutBlankGroups) {
    JSystem::dump("0123456789abcdef", 16);
    EXPECT_EQ(output.text(), "30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66 0123456789abcdef\n\n");
}

TEST_F(JSystemDebugTest, Dump_OfSeventeenBytes_PadsTheSecondLine) {
    JSystem::dump("0123456789abcdefX", 17);
    EXPECT_EQ(output.text(), "30 31 32 33 34 35 36 37 38 39 61 62 63 64 65 66 0123456789abcdef\n58 " +
                                 std::string(15 * 3, ' ') + "X\n\n");
}

TEST_F(JSystemDebugTest, Dump_ShowsUnprintableBytesAsDots) {
    JSystem::dump("\0\x1F\x20\x7E\x7F\x80\xB0\xFF", 8);
    EXPECT_EQ(output.text(), "00 1F 20 7E 7F 80 B0 FF " + std::string(8 * 3, ' ') + ".. ~....\n\n");
}

TEST_F(JSystemDebugTest, Dump_IsAsDescribedForEveryLengthAndByte) {
    for (int length = 0; length <= 50; ++length) {
        const std::string data = bytes(length * 5, length);
        dump(data);
        EXPECT_EQ(output.text(), describedDump(data)) << length;
    }
    dump(bytes(0, 256));
    EXPECT_EQ(output.text(), describedDump(bytes(0, 256)));
}

TEST_F(JSystemDebugTest, Dump_OfNothing_IsTheClosingEmptyLine) {
    JSystem::dump("A", 0);
    EXPECT_EQ(output.text(), "\n");
    JSystem::dump("A", -1);
    EXPECT_EQ(output.text(), "\n");
    JSystem::dump(nullptr, 0);
    EXPECT_EQ(output.text(), "\n");
    JSystem::dump(nullptr, 16);
    EXPECT_EQ(output.text(), "\n");
}
