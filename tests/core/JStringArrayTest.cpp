#include "core/JStringArray.h"

#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/JObjectArrayPeer.h"

using Peer = jay::detail::JObjectArrayPeer;

TEST(JStringArrayTest, ReadingAnElementMakesAnEmptyStringAndNoOther) {
    JStringArray array;
    EXPECT_STREQ(array[5], "");
    EXPECT_EQ(array.length(), 6);
    for (int i = 0; i < 5; i++) EXPECT_EQ(Peer::element(array, i), nullptr) << i;
    EXPECT_STREQ(array[2], "");
    EXPECT_EQ(Peer::element(array, 2)->getClass(), &JString::classJString);
}

TEST(JStringArrayTest, ANegativeIndexIsTheFirstElement) {
    JStringArray array;
    array[-3] = "a";
    EXPECT_STREQ(array[0], "a");
    EXPECT_EQ(array.length(), 1);
}

TEST(JStringArrayTest, MakesStringsAlsoWhenItIsReadAsItsBase) {
    JStringArray array;
    JObjectArray& base = array;
    EXPECT_EQ(base[1].getClass(), &JString::classJString);
    EXPECT_STREQ(array[1], "");
}

TEST(JStringArrayTest, RaisesItsCounter) {
    JSize counter;
    JStringArray array(&counter);
    array[6] = "x";
    EXPECT_EQ(counter.size(), 7);
}

TEST(JStringArrayTest, ItsCloneIsAPlainArrayOfNewStringsWithTheSameTexts) {
    JStringArray array;
    array[0] = "a";
    array[1] = "b";
    const std::unique_ptr<JObject> clone(array.clone());
    ASSERT_EQ(clone->getClass(), &JObjectArray::classJObjectArray);
    auto& plain = static_cast<JObjectArray&>(*clone);
    ASSERT_EQ(plain.length(), 2);
    EXPECT_NE(&plain[0], &array[0]);
    EXPECT_STREQ(static_cast<JString&>(plain[0]), "a");
    EXPECT_STREQ(static_cast<JString&>(plain[1]), "b");
}

TEST(JStringArrayTest, ItsCopyIsAStringArrayWithoutACounter) {
    JSize counter;
    JStringArray array(&counter);
    array[1] = "b";
    JStringArray copy(array);
    EXPECT_EQ(copy.getClass(), &JStringArray::classJStringArray);
    EXPECT_EQ(Peer::counter(copy), nullptr);
    EXPECT_EQ(Peer::capacity(copy), 2);
    EXPECT_EQ(Peer::element(copy, 0), nullptr);
    array[1] = "changed";
    EXPECT_STREQ(copy[1], "b");
    EXPECT_STREQ(copy[0], "");
}

TEST(JStringArrayTest, AssigningReplacesItsStrings) {
    JStringArray array;
    array[1] = "b";
    JStringArray other;
    other[5] = "old";
    EXPECT_EQ(&(other = array), &other);
    EXPECT_EQ(other.length(), 2);
    EXPECT_STREQ(other[1], "b");
    const std::unique_ptr<JObject> clone(array.clone());
    JStringArray third;
    EXPECT_EQ(&(third = static_cast<JObjectArray&>(*clone)), &third);
    EXPECT_STREQ(third[1], "b");
    JStringArray& same = third;
    third = same;
    EXPECT_EQ(third.length(), 0);
}

TEST(JStringArrayTest, HoldsWhatAVectorHolds) {
    std::mt19937 random(7);
    JStringArray array;
    std::vector<std::string> model;
    for (int step = 0; step < 3000; step++) {
        const std::size_t i = random() % 100;
        if (random() % 20 == 0) {
            array.resize(static_cast<int>(i));
            model.resize(i);
        } else {
            if (model.size() <= i) model.resize(i + 1);
            const std::string text = std::to_string(random() % 1000);
            array[static_cast<int>(i)] += text.c_str();
            model[i] += text;
        }
        ASSERT_EQ(array.length(), static_cast<int>(model.size()));
    }
    for (std::size_t i = 0; i < model.size(); i++) EXPECT_STREQ(array[static_cast<int>(i)], model[i].c_str());
}
