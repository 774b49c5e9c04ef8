#include "net/JDataOutputStream.h"

#include <climits>
#include <gtest/gtest.h>

namespace {

/** Answers every write with `result` and notes what it was given. */
class Sink : public JOutputStream {
public:
    int close() override { return 11; }
    int flush() override { return 12; }
    int write(int c) override {
        byte = c;
        return result;
    }
    int write(JByte& b) override {
        block = &b;
        return result;
    }
    int write(JByte& b, int off, int len) override {
        block = &b;
        lastOff = off;
        lastLen = len;
        return result;
    }

    int result = 0;
    int byte = -1;
    JByte* block = nullptr;
    int lastOff = -1;
    int lastLen = -1;
};

}  // namespace

TEST(JDataOutputStreamTest, HasItsOwnClassRecord) {
    JDataOutputStream out(nullptr);
    EXPECT_EQ(out.getClass(), &JDataOutputStream::classJDataOutputStream);
    EXPECT_STREQ(JDataOutputStream::classJDataOutputStream.name, "JDataOutputStream");
    EXPECT_EQ(JDataOutputStream::classJDataOutputStream.size, static_cast<int>(sizeof(JDataOutputStream)));
    EXPECT_EQ(JDataOutputStream::classJDataOutputStream.superclass, &JOutputStream::classJOutputStream);
}

TEST(JDataOutputStreamTest, IsNew_WithNothingWritten) {
    Sink sink;
    JDataOutputStream out(&sink);
    EXPECT_EQ(out.size(), 0);
}

TEST(JDataOutputStreamTest, ForwardsCloseAndFlush) {
    Sink sink;
    JDataOutputStream out(&sink);
    EXPECT_EQ(out.close(), 11);
    EXPECT_EQ(out.flush(), 12);
}

TEST(JDataOutputStreamTest, Write_OfAByte_CountsOne) {
    Sink sink;
    sink.result = 9;
    JDataOutputStream out(&sink);
    EXPECT_EQ(out.write('q'), 9);
    EXPECT_EQ(sink.byte, 'q');
    EXPECT_EQ(out.size(), 1);
}

TEST(JDataOutputStreamTest, Write_OfABlock_CountsItsSize) {
    Sink sink;
    JDataOutputStream out(&sink);
    JByte b(7);
    EXPECT_EQ(out.write(b), 0);
    EXPECT_EQ(sink.block, &b);
    EXPECT_EQ(out.size(), 7);
}

TEST(JDataOutputStreamTest, Write_OfARange_CountsItsLengthWhateverWasWritten) {
    Sink sink;
    sink.result = 2;
    JDataOutputStream out(&sink);
    JByte b(7);
    EXPECT_EQ(out.write(b, 1, 5), 2);
    EXPECT_EQ(sink.lastOff, 1);
    EXPECT_EQ(sink.lastLen, 5);
    EXPECT_EQ(out.size(), 5);
}

TEST(JDataOutputStreamTest, Write_OfMoreThanTheBlockHolds_CountsTheLengthAsItIs) {
    Sink sink;
    JDataOutputStream out(&sink);
    JByte b(2);
    out.write(b, 0, 5);
    EXPECT_EQ(out.size(), 5);
}

TEST(JDataOutputStreamTest, Write_ThatFails_CountsNothing) {
    Sink sink;
    sink.result = -1;
    JDataOutputStream out(&sink);
    JByte b(7);
    EXPECT_EQ(out.write(1), -1);
    EXPECT_EQ(out.write(b), -1);
    EXPECT_EQ(out.write(b, 0, 5), -1);
    EXPECT_EQ(out.size(), 0);
}

TEST(JDataOutputStreamTest, Write_WithAnyOtherResult_Counts) {
    Sink sink;
    sink.result = -2;
    JDataOutputStream out(&sink);
    EXPECT_EQ(out.write(1), -2);
    EXPECT_EQ(out.size(), 1);
}

TEST(JDataOutputStreamTest, Size_SumsUpAndWrapsAround) {
    Sink sink;
    JDataOutputStream out(&sink);
    JByte b(7);
    out.write(1);
    out.write(b);
    out.write(b, 0, 5);
    EXPECT_EQ(out.size(), 13);
    out.write(b, 0, INT_MAX);
    EXPECT_EQ(out.size(), INT_MIN + 12);
}
