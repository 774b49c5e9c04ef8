#include "core/JVector.h"

#include <gtest/gtest.h>

TEST(JVector, IsAnEmptyClassWithARecordOfItsOwn) {
    JVector vector;
    EXPECT_EQ(vector.getClass(), &JVector::classJVector);
    EXPECT_STREQ(JVector::classJVector.name, "JVector");
    EXPECT_EQ(JVector::classJVector.size, static_cast<int>(sizeof(JVector)));
    EXPECT_EQ(JVector::classJVector.superclass, &JObject::classJObject);
    EXPECT_EQ(sizeof(JVector), sizeof(JObject));
}

TEST(JVector, DoesNotCloneAndIsDestroyedThroughTheRoot) {
    JObject* vector = new JVector;
    EXPECT_EQ(vector->clone(), nullptr);
    EXPECT_EQ(vector->hashCode(), 0);
    EXPECT_TRUE(vector->equals(JVector()));
    delete vector;
}
