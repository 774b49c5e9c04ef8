#include "net/JInputStream.h"

#include <gtest/gtest.h>

#include "net/Slot.h"

namespace {

/** A stream that tells which of its operations ran. */
class Recorder : public JInputStream {
public:
    int available() override { return 1; }
    int close() override { return 2; }
    int read() override { return 3; }
    int read(JByte&) override { return 4; }
    int read(JByte&, int, int) override { return 5; }
    long skip(long) override { return 6; }
};

}  // namespace

TEST(JInputStreamTest, HasItsOwnClassRecordWhichDerivedClassesShare) {
    Recorder stream;
    EXPECT_EQ(stream.getClass(), &JInputStream::classJInputStream);
    EXPECT_STREQ(JInputStream::classJInputStream.name, "JInputStream");
    EXPECT_EQ(JInputStream::classJInputStream.size, static_cast<int>(sizeof(JInputStream)));
    EXPECT_EQ(JInputStream::classJInputStream.superclass, &JObject::classJObject);
}

TEST(JInputStreamTest, HasNoData) {
    EXPECT_EQ(sizeof(JInputStream), sizeof(JObject));
}

TEST(JInputStreamTest, InheritsTheRootsOperations) {
    Recorder stream;
    Recorder other;
    EXPECT_EQ(stream.hashCode(), 0);
    EXPECT_EQ(stream.clone(), nullptr);
    EXPECT_TRUE(stream.equals(other));
}

TEST(JInputStreamTest, HasItsOperationsInTheOrderOfTheirSlots) {
    Recorder stream;
    const int first = net::FIRST_OWN_SLOT;
    JByte* const none = nullptr;
    EXPECT_EQ(net::callSlot<int>(stream, first), 1);
    EXPECT_EQ(net::callSlot<int>(stream, first + 1), 2);
    EXPECT_EQ(net::callSlot<int>(stream, first + 2), 3);
    EXPECT_EQ(net::callSlot<int>(stream, first + 3, none), 4);
    EXPECT_EQ(net::callSlot<int>(stream, first + 4, none, 0, 0), 5);
    EXPECT_EQ(net::callSlot<long>(stream, first + 5, 0L), 6);
}
