#include "ui/JLayoutArray.h"

#include <gtest/gtest.h>
#include <memory>

#include "ui/JLayout.h"

TEST(JLayoutArrayTest, MakesDefaultNodesAndPlainClones) {
    JLayoutArray array;
    EXPECT_EQ(array[2].getId(), -1);
    EXPECT_EQ(array.length(), 3);
    std::unique_ptr<JObject> clone(array.clone());
    EXPECT_EQ(clone->getClass(), &JObjectArray::classJObjectArray);
    JSize counter;
    JLayoutArray counted(&counter);
    counted[4];
    EXPECT_EQ(counter.size(), 5);
    counted = array;
    EXPECT_EQ(counted.length(), 3);
}
