#include "containers/JEnumeration.h"

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

}  // namespace

TEST(JEnumerationTest, IsAbstract) {
    EXPECT_TRUE(std::is_abstract_v<JEnumeration>);
}

TEST(JEnumerationTest, ImplementationsKeepItsRecord) {
    Countdown countdown;
    EXPECT_EQ(countdown.getClass(), &JEnumeration::classJEnumeration);
}

TEST(JEnumerationTest, IsWalkedThroughTheInterface) {
    Countdown countdown;
    JEnumeration& walk = countdown;
    int steps = 0;
    for (; walk.hasMoreElements() != 0; steps++) walk.nextElement();
    EXPECT_EQ(steps, 2);
}
