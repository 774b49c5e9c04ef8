#include "containers/JEnumeration.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <type_traits>

namespace {

/** Counts down. */
class Countdown : public JEnumeration {
public:
    int hasMoreElements() override { return left; }
    JObject* nextElement() override { return --left, nullptr; }

private:
    int left = 2;
};

template <class Operation>
std::size_t slotOf(Operation operation) {
    std::uintptr_t offset;
    std::memcpy(&offset, &operation, sizeof(offset));
    return (offset & ~std::uintptr_t{1}) / sizeof(void*);
}

}  // namespace

TEST(JEnumeration, IsAbstractAndHoldsNothing) {
    EXPECT_TRUE(std::is_abstract_v<JEnumeration>);
    EXPECT_EQ(sizeof(JEnumeration), sizeof(JObject));
}

TEST(JEnumeration, HasARecordThatItsImplementationsKeep) {
    Countdown countdown;
    EXPECT_EQ(countdown.getClass(), &JEnumeration::classJEnumeration);
    EXPECT_STREQ(JEnumeration::classJEnumeration.name, "JEnumeration");
    EXPECT_EQ(JEnumeration::classJEnumeration.size, static_cast<int>(sizeof(JEnumeration)));
    EXPECT_EQ(JEnumeration::classJEnumeration.superclass, &JObject::classJObject);
}

TEST(JEnumeration, AppendsItsOperationsToTheRoots) {
    EXPECT_EQ(slotOf(&JEnumeration::getClass), 6u);
    EXPECT_EQ(slotOf(&JEnumeration::hasMoreElements), 7u);
    EXPECT_EQ(slotOf(&JEnumeration::nextElement), 8u);
}

TEST(JEnumeration, IsWalkedThroughTheInterface) {
    Countdown countdown;
    JEnumeration& walk = countdown;
    int steps = 0;
    for (; walk.hasMoreElements() != 0; steps++) walk.nextElement();
    EXPECT_EQ(steps, 2);
}
