#include "core/JPointer.h"

#include <gtest/gtest.h>

#include "core/JInteger.h"

TEST(JPointerTest, HoldsNullOrAnObjectsAddress) {
    JPointer none;
    EXPECT_EQ(static_cast<void*>(none), nullptr);
    JInteger object(1);
    JPointer pointer(object);
    EXPECT_EQ(static_cast<void*>(pointer), &object);
}

TEST(JPointerTest, ACopyHoldsTheSamePointerNotTheOther) {
    JInteger object(1);
    JPointer pointer(object);
    JPointer copy(pointer);
    EXPECT_EQ(static_cast<void*>(copy), &object);
    const JPointer fixed(pointer);
    JPointer copyOfConst(fixed);
    EXPECT_EQ(static_cast<void*>(copyOfConst), &object);
}

TEST(JPointerTest, AssignmentsStoreAddressesAndReturnTheObject) {
    JInteger object(1);
    int plain = 2;
    JPointer source(object);
    JPointer pointer;
    EXPECT_EQ(&(pointer = source), &pointer);
    EXPECT_EQ(static_cast<void*>(pointer), &object);
    EXPECT_EQ(&(pointer = &plain), &pointer);
    EXPECT_EQ(static_cast<void*>(pointer), &plain);
    EXPECT_EQ(&(pointer = object), &pointer);
    EXPECT_EQ(static_cast<void*>(pointer), &object);
    pointer = JPointer();
    EXPECT_EQ(static_cast<void*>(pointer), nullptr);
    pointer = object;
    pointer = nullptr;
    EXPECT_EQ(static_cast<void*>(pointer), nullptr);
}

TEST(JPointerTest, ConversionsReturnTheHeldPointerUnchanged) {
    JInteger object(1);
    JPointer pointer(object);
    const JPointer fixed(object);
    JObject* root = pointer;
    void* untyped = pointer;
    JLayout* layout = pointer;
    const void* constant = pointer;
    EXPECT_EQ(root, &object);
    EXPECT_EQ(untyped, &object);
    EXPECT_EQ(static_cast<void*>(layout), &object);
    EXPECT_EQ(constant, &object);
    JObject* rootOfConst = fixed;
    void* untypedOfConst = fixed;
    JLayout* layoutOfConst = fixed;
    EXPECT_EQ(rootOfConst, &object);
    EXPECT_EQ(untypedOfConst, &object);
    EXPECT_EQ(static_cast<void*>(layoutOfConst), &object);
}

TEST(JPointerTest, TheConversionToItsOwnClassGivesThePointerItself) {
    JInteger object(1);
    JPointer pointer(object);
    JPointer* self = pointer;
    EXPECT_EQ(self, &pointer);
}

TEST(JPointerTest, DoesNotOwnWhatItHolds) {
    JInteger object(1);
    { const JPointer pointer(object); }
    EXPECT_EQ(object, 1);
}
