#include "core/JIntegerArray.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

TEST(JIntegerArray, HasARecordOfItsOwn) {
    JIntegerArray array;
    EXPECT_EQ(array.getClass(), &JIntegerArray::classJIntegerArray);
    EXPECT_STREQ(JIntegerArray::classJIntegerArray.name, "JIntegerArray");
    EXPECT_EQ(JIntegerArray::classJIntegerArray.size, static_cast<int>(sizeof(JObjectArray)));
    EXPECT_EQ(JIntegerArray::classJIntegerArray.superclass, &JObjectArray::classJObjectArray);
}

TEST(JIntegerArray, FillsItsSlotsWithPlainObjects) {
    JIntegerArray array;
    const JObject& element = array[3];
    EXPECT_EQ(element.getClass(), &JObject::classJObject);
    EXPECT_EQ(dynamic_cast<const JInteger*>(&element), nullptr);
    EXPECT_EQ(array.length(), 4);
}

TEST(JIntegerArray, CreateMakesAnIntegerOfZeroFromEveryArray) {
    JIntegerArray array;
    const JIntegerArray constant;
    for (JObject* made : {array.create(), constant.create()}) {
        const std::unique_ptr<JObject> integer(made);
        ASSERT_EQ(integer->getClass(), &JInteger::classJInteger);
        EXPECT_EQ(static_cast<JInteger&>(*integer), 0);
    }
}

TEST(JIntegerArray, CreateOfTheBaseMakesAPlainObject) {
    JIntegerArray array;
    JObjectArray& base = array;
    const std::unique_ptr<JObject> plain(base.create());
    EXPECT_EQ(plain->getClass(), &JObject::classJObject);
}

TEST(JIntegerArray, AppendsItsFactoryBehindTheOneOfTheBase) {
    JObject* (JIntegerArray::*const factory)() const = &JIntegerArray::create;
    std::uintptr_t offset;
    std::memcpy(&offset, &factory, sizeof(offset));
    EXPECT_EQ((offset & ~std::uintptr_t{1}) / sizeof(void*), 8u);
}

TEST(JIntegerArray, RaisesItsCounter) {
    JSize counter;
    JIntegerArray array(&counter);
    array[6];
    EXPECT_EQ(counter.size(), 7);
}

TEST(JIntegerArray, ItsCopiesHaveEmptySlots) {
    JSize counter;
    JIntegerArray array(&counter);
    array[1];
    JIntegerArray copy(array);
    EXPECT_EQ(copy.length(), 2);
    EXPECT_EQ(copy.elements[1], nullptr);
    EXPECT_EQ(copy.counter, nullptr);
    JIntegerArray assigned;
    assigned[7];
    EXPECT_EQ(&(assigned = array), &assigned);
    EXPECT_EQ(assigned.length(), 2);
    EXPECT_EQ(assigned.elements[1], nullptr);
    assigned = static_cast<JObjectArray&>(array);
    EXPECT_EQ(assigned.length(), 2);
    EXPECT_EQ(assigned.getClass(), &JIntegerArray::classJIntegerArray);
}

TEST(JIntegerArray, ItsCloneIsAPlainArray) {
    JIntegerArray array;
    array[1];
    const std::unique_ptr<JObject> clone(array.clone());
    EXPECT_EQ(clone->getClass(), &JObjectArray::classJObjectArray);
    EXPECT_EQ(static_cast<JObjectArray&>(*clone).length(), 2);
}
