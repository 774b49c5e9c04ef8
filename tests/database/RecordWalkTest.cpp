#include "database/detail/RecordWalk.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>

#include "database/FileCalls.h"
#include "database/Records.h"

using database::FileCalls;
using database::fileOf;
using database::header;
using database::record;
using database::word;
using jay::detail::FileBytes;
using jay::detail::RecordWalk;

namespace {

/** A walk over a file that holds some bytes. */
class WalkOver {
public:
    explicit WalkOver(const std::string& bytes) : stream_(std::tmpfile()) {
        FileCalls::reset();
        EXPECT_TRUE(FileBytes(stream_).write(0, bytes.data(), static_cast<int>(bytes.size())));
    }
    ~WalkOver() { std::fclose(stream_); }
    WalkOver(const WalkOver&) = delete;
    WalkOver& operator=(const WalkOver&) = delete;

    RecordWalk begin() { return RecordWalk{FileBytes(stream_)}; }

private:
    FILE* stream_;
};

std::string textOf(RecordWalk& walk) {
    JString text;
    EXPECT_TRUE(walk.readInto(text));
    return static_cast<const char*>(text);
}

}  // namespace

TEST(RecordWalkTest, StepsOverTheRecordsToTheEnd) {
    WalkOver file(fileOf({"abc", "", "xyz"}));
    RecordWalk walk = file.begin();
    for (const char* text : {"abc", "", "xyz"}) {
        ASSERT_EQ(walk.next(), RecordWalk::RECORD);
        EXPECT_EQ(textOf(walk), text);
    }
    EXPECT_EQ(walk.id(), 3);
    EXPECT_EQ(walk.offset(), 8 + 12 + 9);
    EXPECT_EQ(walk.next(), RecordWalk::END);
    EXPECT_EQ(walk.offset(), 8 + 12 + 9 + 12);
    EXPECT_EQ(walk.bytesOfLength(), 0);
}

TEST(RecordWalkTest, AtTheEndCountsTheBytesOfACutLength) {
    for (int left = 0; left < 4; left++) {
        WalkOver file(header(2, 100) + record(1, "abc") + word(5).substr(0, static_cast<size_t>(left)));
        RecordWalk walk = file.begin();
        ASSERT_EQ(walk.next(), RecordWalk::RECORD);
        EXPECT_EQ(walk.next(), RecordWalk::END);
        EXPECT_EQ(walk.offset(), 20);
        EXPECT_EQ(walk.bytesOfLength(), left);
    }
}

TEST(RecordWalkTest, ReadsARecordAsFindReturnsIt) {
    WalkOver file(fileOf({"abc", "xyz"}));
    RecordWalk walk = file.begin();
    walk.next();
    walk.next();
    JMessage message;
    ASSERT_TRUE(walk.readInto(message));
    EXPECT_EQ(message.size(), 8 + 8);
    EXPECT_EQ(message.getInt(), 20);
    EXPECT_EQ(message.getInt(), 8);
    EXPECT_EQ(message.getInt(), 2);
    EXPECT_STREQ(message.getString(), "xyz");
}

TEST(RecordWalkTest, ARecordWithoutFourBytesHasNoId) {
    for (int length = 0; length <= 4; length++) {
        WalkOver file(header(1, 100) + word(length) + std::string(static_cast<size_t>(length), '\x01'));
        RecordWalk walk = file.begin();
        ASSERT_EQ(walk.next(), RecordWalk::RECORD);
        EXPECT_EQ(walk.hasId(), length == 4) << length;
    }
}

TEST(RecordWalkTest, AnIdOfARecordWithoutOneIsNotTakenFromTheNext) {
    WalkOver file(header(2, 100) + word(0) + record(7, "abc"));
    RecordWalk walk = file.begin();
    ASSERT_EQ(walk.next(), RecordWalk::RECORD);
    EXPECT_FALSE(walk.hasId());
    ASSERT_EQ(walk.next(), RecordWalk::RECORD);
    EXPECT_TRUE(walk.hasId());
    EXPECT_EQ(walk.id(), 7);
}

TEST(RecordWalkTest, EveryLengthMovesOnWithinTheFile) {
    for (const int length : {INT_MIN, -1, 0, 1, 8, 9, INT_MAX - 8, INT_MAX}) {
        const std::string bytes = header(1, 100) + word(length) + word(1) + word(0);
        WalkOver file(bytes);
        RecordWalk walk = file.begin();
        int before = 0;
        while (walk.next() == RecordWalk::RECORD) {
            EXPECT_GT(walk.offset(), before) << length;
            before = walk.offset();
        }
        EXPECT_LE(walk.offset(), static_cast<int>(bytes.size())) << length;
    }
}

TEST(RecordWalkTest, FailsWhenTheFileCannotBeRead) {
    WalkOver file(fileOf({"abc", std::string(5000, 'x')}));
    RecordWalk walk = file.begin();
    FileCalls::pread.failAfter(0, EIO);
    EXPECT_EQ(walk.next(), RecordWalk::FAILED);

    RecordWalk again = file.begin();
    again.next();
    again.next();
    JString text;
    JMessage message;
    FileCalls::pread.failAfter(0, EIO);
    EXPECT_FALSE(again.readInto(text));
    FileCalls::pread.failAfter(0, EIO);
    EXPECT_FALSE(again.readInto(message));
    EXPECT_TRUE(again.readInto(text));
    EXPECT_EQ(text.length(), 5000);
}

TEST(RecordWalkTest, AFileWithoutAHeaderIsAtItsEnd) {
    WalkOver file("abc");
    RecordWalk walk = file.begin();
    EXPECT_EQ(walk.next(), RecordWalk::END);
}
