#include "core/JPointerArray.h"

#include <gtest/gtest.h>
#include <memory>

#include "support/JObjectArrayPeer.h"

using Peer = jay::detail::JObjectArrayPeer;

namespace {

void* held(const JPointer& pointer) {
    return pointer;
}

}  // namespace

TEST(JPointerArrayTest, ReadingAnElementMakesANullPointer) {
    JPointerArray array;
    EXPECT_EQ(held(array[2]), nullptr);
    EXPECT_EQ(array.length(), 3);
    EXPECT_EQ(Peer::element(array, 0), nullptr);
    EXPECT_EQ(Peer::element(array, 2)->getClass(), &JPointer::classJPointer);
}

TEST(JPointerArrayTest, HoldsAddressesWithoutOwningThem) {
    JObject object;
    {
        JPointerArray array;
        array[1] = object;
        EXPECT_EQ(held(array[1]), &object);
    }
    EXPECT_EQ(object.hashCode(), 0);
}

TEST(JPointerArrayTest, RaisesItsCounter) {
    JSize counter;
    JPointerArray array(&counter);
    array[6];
    EXPECT_EQ(counter.size(), 7);
}

TEST(JPointerArrayTest, ItsCopiesHaveEmptySlotsBecauseAPointerDoesNotClone) {
    JObject object;
    JPointerArray array;
    array[1] = object;
    JPointerArray copy(array);
    EXPECT_EQ(copy.length(), 2);
    EXPECT_EQ(Peer::element(copy, 1), nullptr);
    EXPECT_EQ(held(copy[1]), nullptr);
    JPointerArray assigned;
    EXPECT_EQ(&(assigned = array), &assigned);
    EXPECT_EQ(assigned.length(), 2);
    EXPECT_EQ(&(assigned = static_cast<JObjectArray&>(array)), &assigned);
    EXPECT_EQ(held(assigned[1]), nullptr);
    EXPECT_EQ(held(array[1]), &object);
}

TEST(JPointerArrayTest, ItsCloneIsAPlainArray) {
    JPointerArray array;
    array[1];
    const std::unique_ptr<JObject> clone(array.clone());
    EXPECT_EQ(clone->getClass(), &JObjectArray::classJObjectArray);
    EXPECT_EQ(static_cast<JObjectArray&>(*clone).length(), 2);
}
