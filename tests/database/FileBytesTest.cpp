#include "database/detail/FileBytes.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "database/FileCalls.h"

using database::FileCalls;
using jay::detail::FileBytes;

namespace {

/** A temporary file that holds some bytes. */
class FileBytesTest : public testing::Test {
protected:
    FileBytesTest() {
        FileCalls::reset();
        std::fputs("0123456789", stream);
        std::fflush(stream);
    }
    ~FileBytesTest() override { std::fclose(stream); }

    std::string read(int offset, int count) {
        std::string block(static_cast<size_t>(count), '?');
        const int n = bytes.read(offset, block.data(), count);
        return n < 0 ? "failed" : block.substr(0, static_cast<size_t>(n));
    }

    FILE* stream = tmpfile64();  // may become larger than 2 GiB
    FileBytes bytes{stream};
};

}  // namespace

TEST_F(FileBytesTest, Size_IsThatOfTheFile) {
    EXPECT_EQ(bytes.size(), 10);
}

TEST_F(FileBytesTest, Size_OfAFileBeyondTheRangeOfAnIntIsNotKnown) {
    ASSERT_EQ(ftruncate64(fileno(stream), INT_MAX), 0);
    EXPECT_EQ(bytes.size(), INT_MAX);
    ASSERT_EQ(ftruncate64(fileno(stream), INT_MAX + 1LL), 0);
    EXPECT_EQ(bytes.size(), -1);
}

TEST_F(FileBytesTest, Read_ReturnsFewerBytesOnlyAtTheEnd) {
    EXPECT_EQ(read(2, 3), "234");
    EXPECT_EQ(read(8, 5), "89");
    EXPECT_EQ(read(10, 5), "");
    EXPECT_EQ(read(INT_MAX, 5), "");
    EXPECT_EQ(read(0, 0), "");
}

TEST_F(FileBytesTest, Read_FailsAfterAnErrorAndGoesOnAfterASignal) {
    FileCalls::pread.failAfter(0, EIO);
    EXPECT_EQ(read(0, 3), "failed");
    FileCalls::pread.failAfter(0, EINTR);
    EXPECT_EQ(read(0, 3), "012");
}

TEST_F(FileBytesTest, Write_ReplacesAndExtends) {
    EXPECT_TRUE(bytes.write(8, "abcd", 4));
    EXPECT_EQ(read(0, 20), "01234567abcd");
    EXPECT_TRUE(bytes.write(0, "", 0));
    EXPECT_EQ(bytes.size(), 12);
}

TEST_F(FileBytesTest, Write_FailsAfterAnErrorAndGoesOnAfterASignal) {
    for (const int error : {EIO, ENOSPC}) {
        FileCalls::pwrite.failAfter(0, error);
        EXPECT_FALSE(bytes.write(0, "abc", 3));
    }
    FileCalls::pwrite.failAfter(0, EINTR);
    EXPECT_TRUE(bytes.write(0, "abc", 3));
    EXPECT_EQ(read(0, 4), "abc3");
}

TEST_F(FileBytesTest, ReadAndWriteGoOnAfterAShortCount) {
    FileCalls::mostBytes = 3;
    EXPECT_EQ(read(1, 8), "12345678");
    EXPECT_EQ(read(4, 20), "456789");
    EXPECT_TRUE(bytes.write(5, "abcdefgh", 8));
    EXPECT_EQ(read(0, 20), "01234abcdefgh");
}

TEST_F(FileBytesTest, NeitherUsesTheStreamsPosition) {
    std::fseek(stream, 5, SEEK_SET);
    bytes.write(0, "ab", 2);
    EXPECT_EQ(read(0, 2), "ab");
    EXPECT_EQ(std::ftell(stream), 5);
}
