#include "core/JVector.h"

#include <gtest/gtest.h>

TEST(JVectorTest, DoesNotCloneAndIsDestroyedThroughTheRoot) {
    JObject* vector = new JVector;
    EXPECT_EQ(vector->clone(), nullptr);
    EXPECT_EQ(vector->hashCode(), 0);
    EXPECT_TRUE(vector->equals(JVector()));
    delete vector;
}
