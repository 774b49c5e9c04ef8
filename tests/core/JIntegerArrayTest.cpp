#include "core/JIntegerArray.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

#include "support/JObjectArrayPeer.h"

using Peer = jay::detail::JObjectArrayPeer;

TEST(JIntegerArrayTest, FillsItsSlotsWithPlainObjects) {
    JIntegerArray array;
    const JObject& element = array[3];
    EXPECT_EQ(element.getClass(), &JObject::classJObject);
    EXPECT_EQ(dynamic_cast<const JInteger*>(&element), nullptr);
    EXPECT_EQ(array.length(), 4);
}

TEST(JIntegerArrayTest, CreateMakesAnIntegerOfZeroFromEveryArray) {
    JIntegerArray array;
    const JIntegerArray constant;
    for (JObject* made : {array.create(), constant.create()}) {
        const std::unique_ptr<JObject> integer(made);
        ASSERT_EQ(integer->getClass(), &JInteger::classJInteger);
        EXPECT_EQ(static_cast<JInteger&>(*integer), 0);
    }
}

TEST(JIntegerArrayTest, CreateOfTheBaseMakesAPlainObject) {
    JIntegerArray array;
    JObjectArray& base = array;
    const std::unique_ptr<JObject> plain(base.create());
    EXPECT_EQ(plain->getClass(), &JObject::classJObject);
}

TEST(JIntegerArrayTest, RaisesItsCounter) {
    JSize counter;
    JIntegerArray array(&counter);
    array[6];
    EXPECT_EQ(counter.size(), 7);
}

TEST(JIntegerArrayTest, ItsCopiesHaveEmptySlots) {
    JSize counter;
    JIntegerArray array(&counter);
    array[1];
    JIntegerArray copy(array);
    EXPECT_EQ(copy.length(), 2);
    EXPECT_EQ(Peer::element(copy, 1), nullptr);
    EXPECT_EQ(Peer::counter(copy), nullptr);
    JIntegerArray assigned;
    assigned[7];
    EXPECT_EQ(&(assigned = array), &assigned);
    EXPECT_EQ(assigned.length(), 2);
    EXPECT_EQ(Peer::element(assigned, 1), nullptr);
    assigned = static_cast<JObjectArray&>(array);
    EXPECT_EQ(assigned.length(), 2);
    EXPECT_EQ(assigned.getClass(), &JIntegerArray::classJIntegerArray);
}

TEST(JIntegerArrayTest, ItsCloneIsAPlainArray) {
    JIntegerArray array;
    array[1];
    const std::unique_ptr<JObject> clone(array.clone());
    EXPECT_EQ(clone->getClass(), &JObjectArray::classJObjectArray);
    EXPECT_EQ(static_cast<JObjectArray&>(*clone).length(), 2);
}
