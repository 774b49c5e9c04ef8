#include "net/JDataInputStream.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

/** Delivers `data` in pieces, then ends or fails. Notes what it was asked. */
class Source : public JInputStream {
public:
    explicit Source(std::string all, int piece = INT_MAX) : data(std::move(all)), piece_(piece) {}

    int available() override { return static_cast<int>(data.size()); }
    int close() override { return closeResult; }
    int read() override { return 'x'; }
    int read(JByte& b) override {
        whole = &b;
        return 77;
    }
    int read(JByte& b, int off, int len) override {
        reads++;
        lastOff = off;
        lastLen = len;
        const int n = std::min({len, piece_, available()});
        if (n <= 0) return atEnd;
        std::memcpy(static_cast<char*>(b) + off, data.data(), static_cast<size_t>(n));
        data.erase(0, static_cast<size_t>(n));
        return n;
    }
    long skip(long n) override { return n + 1; }

    std::string data;
    int atEnd = 0;
    int closeResult = 5;
    int reads = 0;
    int lastOff = -1;
    int lastLen = -1;
    JByte* whole = nullptr;

private:
    int piece_;
};

/** A block of `n` dots. */
JByte dots(int n) {
    const std::string text(static_cast<size_t>(n), '.');
    return JByte(text.data(), 0, n);
}

std::string text(const JByte& b) {
    return std::string(static_cast<const char*>(b), static_cast<size_t>(b.size()));
}

}  // namespace

TEST(JDataInputStreamTest, HasItsOwnClassRecord) {
    JDataInputStream in(nullptr);
    EXPECT_EQ(in.getClass(), &JDataInputStream::classJDataInputStream);
    EXPECT_STREQ(JDataInputStream::classJDataInputStream.name, "JDataInputStream");
    EXPECT_EQ(JDataInputStream::classJDataInputStream.size, static_cast<int>(sizeof(JDataInputStream)));
    EXPECT_EQ(JDataInputStream::classJDataInputStream.superclass, &JInputStream::classJInputStream);
}

TEST(JDataInputStreamTest, HoldsTheWrappedStreamAndNothingElse) {
    Source source("");
    JDataInputStream in(&source);
    EXPECT_EQ(in.available(), source.available());
    EXPECT_EQ(sizeof in, sizeof(JInputStream) + sizeof(JInputStream*));
}

TEST(JDataInputStreamTest, LeavesTheWrappedStreamAlone_WhenItGoes) {
    Source source("abc");
    { JDataInputStream in(&source); }
    EXPECT_EQ(source.data, "abc");
    EXPECT_EQ(source.reads, 0);
}

TEST(JDataInputStreamTest, ForwardsEveryOperationWithItsResult) {
    Source source("hello");
    JDataInputStream in(&source);
    JByte b = dots(8);
    EXPECT_EQ(in.available(), 5);
    EXPECT_EQ(in.close(), 5);
    EXPECT_EQ(in.read(), 'x');
    EXPECT_EQ(in.read(b), 77);
    EXPECT_EQ(source.whole, &b);
    EXPECT_EQ(in.skip(1000000), 1000001);
    EXPECT_EQ(in.read(b, 2, 4), 4);
    EXPECT_EQ(source.lastOff, 2);
    EXPECT_EQ(source.lastLen, 4);
    EXPECT_EQ(text(b), "..hell..");
}

TEST(JDataInputStreamTest, Read_PassesOddRangesOnAsTheyAre) {
    Source source("");
    JDataInputStream in(&source);
    JByte b;
    in.read(b, 1, -9);
    EXPECT_EQ(source.lastOff, 1);
    EXPECT_EQ(source.lastLen, -9);
}

// ---- readFully ----

TEST(JDataInputStreamTest, ReadFully_OnAnEmptyBlock_ReturnsZeroWithoutReading) {
    Source source("abc");
    JDataInputStream in(&source);
    JByte empty;
    EXPECT_EQ(in.readFully(empty), 0);
    EXPECT_EQ(source.reads, 0);
}

TEST(JDataInputStreamTest, ReadFully_FillsTheBlockFromSmallPieces) {
    Source source("0123456789rest", 3);
    JDataInputStream in(&source);
    JByte b = dots(10);
    EXPECT_EQ(in.readFully(b), 10);
    EXPECT_EQ(source.reads, 4);
    EXPECT_EQ(text(b), "0123456789");
    EXPECT_EQ(source.data, "rest");
}

TEST(JDataInputStreamTest, ReadFully_OfAStreamThatEndsEarly_ReturnsZero) {
    Source source("abcd");
    JDataInputStream in(&source);
    JByte b = dots(10);
    EXPECT_EQ(in.readFully(b), 0);
    EXPECT_EQ(text(b), "abcd......");
}

TEST(JDataInputStreamTest, ReadFully_OfAStreamThatFails_ReturnsMinusOne) {
    Source source("abcd");
    source.atEnd = -1;
    JDataInputStream in(&source);
    JByte b = dots(10);
    EXPECT_EQ(in.readFully(b), -1);
}

TEST(JDataInputStreamTest, ReadFully_OfAStreamThatFailsWithAnotherNegativeNumber_ReturnsMinusOne) {
    Source source("");
    source.atEnd = -7;
    JDataInputStream in(&source);
    JByte b = dots(10);
    EXPECT_EQ(in.readFully(b), -1);
    EXPECT_EQ(source.reads, 1);
}

TEST(JDataInputStreamTest, ReadFully_FromTheStart_ReadsLenBytes) {
    Source source("0123456789");
    JDataInputStream in(&source);
    JByte b = dots(10);
    EXPECT_EQ(in.readFully(b, 0, 6), 6);
    EXPECT_EQ(text(b), "012345....");
}

TEST(JDataInputStreamTest, ReadFully_TakesLenAsTheEndIndex) {
    Source source("0123456789");
    JDataInputStream in(&source);
    JByte b = dots(10);
    EXPECT_EQ(in.readFully(b, 2, 5), 5);
    EXPECT_EQ(text(b), "..012.....");
    EXPECT_EQ(source.lastOff, 2);
    EXPECT_EQ(source.lastLen, 3);
}

TEST(JDataInputStreamTest, ReadFully_FromAnEndThatIsNotAboveTheStart_ReturnsItWithoutReading) {
    Source source("0123456789");
    JDataInputStream in(&source);
    JByte b = dots(10);
    EXPECT_EQ(in.readFully(b, 4, 4), 4);
    EXPECT_EQ(in.readFully(b, 4, 3), 3);
    EXPECT_EQ(in.readFully(b, 0, 0), 0);
    EXPECT_EQ(in.readFully(b, 0, -3), -3);
    EXPECT_EQ(source.reads, 0);
}

TEST(JDataInputStreamTest, ReadFully_BeyondTheBlock_EndsAtWhatIsLeftBehindTheStart) {
    Source source("0123456789");
    JDataInputStream in(&source);
    JByte b = dots(10);
    EXPECT_EQ(in.readFully(b, 3, 9), 7);  // 3 + 9 is too much: the end is 10 - 3
    EXPECT_EQ(text(b), "...0123...");
    EXPECT_EQ(in.readFully(b, 6, 9), 4);  // 10 - 6 is not above 6
    EXPECT_EQ(source.reads, 1);
}

TEST(JDataInputStreamTest, ReadFully_FromBeyondTheBlock_ReturnsZeroWithoutReading) {
    Source source("0123456789");
    JDataInputStream in(&source);
    JByte b = dots(10);
    EXPECT_EQ(in.readFully(b, 11, 5), 0);
    EXPECT_EQ(in.readFully(b, INT_MAX, INT_MAX), 0);
    EXPECT_EQ(source.reads, 0);
}

TEST(JDataInputStreamTest, ReadFully_OfAHugeLength_FillsTheBlock) {
    Source source("0123456789abc");
    JDataInputStream in(&source);
    JByte b = dots(10);
    EXPECT_EQ(in.readFully(b, 0, INT_MAX), 10);
    EXPECT_EQ(text(b), "0123456789");
}

TEST(JDataInputStreamTest, ReadFully_FromANegativeOffset_StartsAtTheBlock) {
    Source source("0123456789");
    JDataInputStream in(&source);
    JByte b = dots(10);
    EXPECT_EQ(in.readFully(b, -5, 4), 4);
    EXPECT_EQ(text(b), "0123......");
    EXPECT_EQ(source.lastOff, 0);
}
