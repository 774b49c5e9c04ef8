#include "core/JObject.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "core/JInteger.h"
#include "core/JPointer.h"
#include "core/JSize.h"
#include "core/JString.h"
#include "core/JStringBuffer.h"

namespace {

/** An object of the class that a test invents. */
class Invented : public JObject {
public:
    Invented(const char* name, int size) : record{name, size, &JObject::classJObject} {}
    const JClass* getClass() const override { return &record; }

private:
    JClass record;
};

class Counted : public JObject {
public:
    explicit Counted(int& alive) : count(alive) { ++count; }
    ~Counted() override { --count; }

private:
    int& count;
};

}  // namespace

TEST(JObjectTest, HashCodeIsZeroAndThereIsNoClone) {
    JObject object;
    EXPECT_EQ(object.hashCode(), 0);
    EXPECT_EQ(object.clone(), nullptr);
}

TEST(JObjectTest, IsDestroyedThroughTheRoot) {
    int count = 0;
    JObject* object = new Counted(count);
    EXPECT_EQ(count, 1);
    delete object;
    EXPECT_EQ(count, 0);
}

TEST(JObjectTest, EqualsEveryObjectOfItsClass) {
    JObject a;
    JObject b;
    EXPECT_TRUE(a.equals(a));
    EXPECT_TRUE(a.equals(b));
    EXPECT_TRUE(a.equals(&b));
    EXPECT_TRUE(JInteger(3).equals(JInteger(4)));
    JInteger four(4);
    EXPECT_TRUE(JInteger(3).equals(&four));
}

TEST(JObjectTest, DiffersFromObjectsOfOtherClasses) {
    JObject object;
    JInteger integer(3);
    JString text("x");
    JSize size;
    JStringBuffer buffer;
    EXPECT_FALSE(integer.equals(text));
    EXPECT_FALSE(integer.equals(&text));
    EXPECT_FALSE(object.equals(integer));
    // These are of one size each: the names tell them apart.
    EXPECT_FALSE(integer.equals(size));
    EXPECT_FALSE(text.JObject::equals(static_cast<const JObject&>(buffer)));
    EXPECT_FALSE(buffer.equals(text));
}

TEST(JObjectTest, EqualsAsksTheClassesOfBothSidesVirtually) {
    Invented a("Same", 8);
    Invented b("Same", 8);
    JObject& asRoot = a;
    EXPECT_TRUE(asRoot.equals(static_cast<JObject&>(b)));
    EXPECT_FALSE(asRoot.equals(JObject()));
}

TEST(JObjectTest, EqualsComparesSizesFirst) {
    EXPECT_FALSE(Invented("Same", 8).equals(Invented("Same", 12)));
}

TEST(JObjectTest, EqualsComparesNoMoreOfTheNamesThanTheInstanceSize) {
    EXPECT_TRUE(Invented("JObject", 4).equals(Invented("JObjection", 4)));
    EXPECT_TRUE(Invented("JObject", 3).equals(Invented("JObX", 3)));
    EXPECT_FALSE(Invented("JObject", 4).equals(Invented("JObX", 4)));
}

TEST(JObjectTest, EqualsEndsWithTheNames) {
    // In arrays of their own, so that a sanitizer sees a read beyond either NUL.
    const auto exact = [](const char* text) { return std::vector<char>(text, text + std::strlen(text) + 1); };
    const std::vector<char> a = exact("Short");
    const std::vector<char> b = exact("Short");
    const std::vector<char> longer = exact("Shorter");
    EXPECT_TRUE(Invented(a.data(), 100).equals(Invented(b.data(), 100)));
    EXPECT_FALSE(Invented(a.data(), 100).equals(Invented(longer.data(), 100)));
    EXPECT_FALSE(Invented(longer.data(), 100).equals(Invented(a.data(), 100)));
}
