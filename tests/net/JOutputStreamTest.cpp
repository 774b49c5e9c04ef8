#include "net/JOutputStream.h"

#include <gtest/gtest.h>

#include "net/Slot.h"

namespace {

/** A stream that tells which of its operations ran. */
class Recorder : public JOutputStream {
public:
    int close() override { return 1; }
    int flush() override { return 2; }
    int write(int) override { return 3; }
    int write(JByte&) override { return 4; }
    int write(JByte&, int, int) override { return 5; }
};

}  // namespace

TEST(JOutputStreamTest, HasItsOwnClassRecordWhichDerivedClassesShare) {
    Recorder stream;
    EXPECT_EQ(stream.getClass(), &JOutputStream::classJOutputStream);
    EXPECT_STREQ(JOutputStream::classJOutputStream.name, "JOutputStream");
    EXPECT_EQ(JOutputStream::classJOutputStream.size, static_cast<int>(sizeof(JOutputStream)));
    EXPECT_EQ(JOutputStream::classJOutputStream.superclass, &JObject::classJObject);
}

TEST(JOutputStreamTest, HasNoData) {
    EXPECT_EQ(sizeof(JOutputStream), sizeof(JObject));
}

TEST(JOutputStreamTest, InheritsTheRootsOperations) {
    Recorder stream;
    Recorder other;
    EXPECT_EQ(stream.hashCode(), 0);
    EXPECT_EQ(stream.clone(), nullptr);
    EXPECT_TRUE(stream.equals(other));
}

TEST(JOutputStreamTest, HasItsOperationsInTheOrderOfTheirSlots) {
    Recorder stream;
    const int first = net::FIRST_OWN_SLOT;
    JByte* const none = nullptr;
    EXPECT_EQ(net::callSlot<int>(stream, first), 1);
    EXPECT_EQ(net::callSlot<int>(stream, first + 1), 2);
    EXPECT_EQ(net::callSlot<int>(stream, first + 2, 0), 3);
    EXPECT_EQ(net::callSlot<int>(stream, first + 3, none), 4);
    EXPECT_EQ(net::callSlot<int>(stream, first + 4, none, 0, 0), 5);
}
