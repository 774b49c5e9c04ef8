#include "bus/detail/PackedMessage.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "bus/Bytes.h"
#include "bus/Wire.h"

using bus::text;
using bus::to;
using jay::detail::PackedMessage;

namespace {

std::unique_ptr<M> packed(const std::string& bytes) {
    return PackedMessage::copyOf(bytes.data(), static_cast<int>(bytes.size()));
}

std::string bytesOf(const M& m) {
    return text(m.JMessage::toByteArray());
}

const std::string SOME = to(7).from(5).urgency(3).says("hello").bytes();

}  // namespace

TEST(PackedMessageTest, IsAMessageWithTheseBytes) {
    const std::unique_ptr<M> m = packed(SOME);
    EXPECT_EQ(bytesOf(*m), SOME);
    EXPECT_EQ(m->size(), static_cast<int>(SOME.size()));
    EXPECT_EQ(m->getPos(), 0);
    EXPECT_EQ(m->getDestId(), 7);
    EXPECT_EQ(m->getClass(), &JMessage::classJMessage);
    EXPECT_EQ(std::string(m->bytes(), SOME.size()), SOME);
}

TEST(PackedMessageTest, HoldsItsBytesBehindItself_InNoOtherBlock) {
    const std::unique_ptr<M> m = packed(SOME);
    EXPECT_TRUE(static_cast<PackedMessage&>(*m).isPacked(m->bytes()));
    EXPECT_EQ(static_cast<const void*>(m->bytes()), m.get() + 1);
}

TEST(PackedMessageTest, MayBeChanged_AndGrow) {
    const std::unique_ptr<M> m = packed(SOME);
    m->setDestId(9);
    EXPECT_TRUE(static_cast<PackedMessage&>(*m).isPacked(m->bytes()));
    std::string expected = SOME;
    expected[2] = 9;
    for (int i = 0; i < 1000; i++) {
        m->addByte(i);
        expected += static_cast<char>(i);
    }
    EXPECT_EQ(bytesOf(*m), expected);
    EXPECT_FALSE(static_cast<PackedMessage&>(*m).isPacked(m->bytes()));
}

TEST(PackedMessageTest, CopiesAndClones_AreIndependent) {
    std::unique_ptr<M> m = packed(SOME);
    const M copy(*m);
    const std::unique_ptr<JObject> clone(m->clone());
    M assigned;
    assigned = *m;
    m.reset();
    EXPECT_EQ(bytesOf(copy), SOME);
    EXPECT_EQ(text(static_cast<JMessage&>(*clone).toByteArray()), SOME);
    EXPECT_EQ(bytesOf(assigned), SOME);
}

TEST(PackedMessageTest, TakesAnAssignmentOfAnyLength) {
    for (const int n : {16, 300}) {
        const std::unique_ptr<M> m = packed(SOME);
        const std::string other = to(1).says(std::string(static_cast<std::size_t>(n), 'x')).bytes();
        *m = M(bus::block(other));
        EXPECT_EQ(bytesOf(*m), other);
    }
}

TEST(PackedMessageTest, OfAHeaderAlone_AndOfTheLargestSize) {
    for (const std::size_t n : {std::size_t{0}, std::size_t{65519}}) {
        const std::string bytes = to(1).says(std::string(n, 'x')).bytes();
        EXPECT_TRUE(bytesOf(*packed(bytes)) == bytes);
    }
}
