// The expressions that applications write with strings. That this file compiles, with every warning on and
// with both compilers, is half of the test: JString converts to three kinds of pointer, so each expression
// below also has built-in candidates that must lose the overload resolution without leaving a doubt.
#include <climits>
#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>

#include "core/JSize.h"
#include "core/JString.h"
#include "core/JStringBuffer.h"

namespace {

template <class T>
constexpr bool isString = std::is_same_v<T, JString>;

const char* plain(const char* text) {
    return text;
}

JString temporary() {
    return JString("ab");
}

/** Runs a check on a string as lvalue, const lvalue and temporary. */
template <class Check>
void onEveryForm(Check check) {
    JString changeable("ab");
    const JString fixed("ab");
    check(changeable);
    check(fixed);
    check(temporary());
}

}  // namespace

TEST(JStringExpressionTest, PlusTakesEveryIntegerType) {
    onEveryForm([](auto&& s) {
        EXPECT_STREQ(s + 1, "ab1");
        EXPECT_STREQ(s + static_cast<short>(-2), "ab-2");
        EXPECT_STREQ(s + 5L, "ab5");
        EXPECT_STREQ(s + 5u, "ab5");
        EXPECT_STREQ(s + 5UL, "ab5");
        EXPECT_STREQ(s + sizeof(int), "ab4");
        EXPECT_STREQ(s + std::strlen("xyz"), "ab3");
        EXPECT_STREQ(s + 5LL, "ab5");
        EXPECT_STREQ(s + 5ULL, "ab5");
        EXPECT_STREQ(s + std::ptrdiff_t{-6}, "ab-6");
        EXPECT_STREQ(s + 0, "ab0");
        static_assert(isString<decltype(s + 1)>);
    });
}

TEST(JStringExpressionTest, PlusTakesCharactersBooleansAndBoxedIntegers) {
    onEveryForm([](auto&& s) {
        EXPECT_STREQ(s + 'c', "abc");
        EXPECT_STREQ(s + static_cast<signed char>('c'), "abc");
        EXPECT_STREQ(s + s[0], "aba");
        EXPECT_STREQ(s + s.charAt(1), "abb");
        EXPECT_STREQ(s + true, "abtrue");
        EXPECT_STREQ(s + (s == "x"), "abfalse");
        EXPECT_STREQ(s + JInteger(3), "ab3");
        JInteger changeable(4);
        const JInteger fixed(5);
        EXPECT_STREQ(s + changeable, "ab4");
        EXPECT_STREQ(s + fixed, "ab5");
        JSize size;
        size = 6;
        EXPECT_STREQ(s + size, "ab6");
    });
}

TEST(JStringExpressionTest, PlusTakesTextsOnBothSides) {
    char buffer[] = "buf";
    char* pointer = buffer;
    JString other("other");
    const JString fixed("fixed");
    onEveryForm([&](auto&& s) {
        EXPECT_STREQ(s + "x", "abx");
        EXPECT_STREQ("x" + s, "xab");
        EXPECT_STREQ(s + buffer, "abbuf");
        EXPECT_STREQ(buffer + s, "bufab");
        EXPECT_STREQ(s + pointer, "abbuf");
        EXPECT_STREQ(pointer + s, "bufab");
        EXPECT_STREQ(s + plain("y"), "aby");
        EXPECT_STREQ(plain("y") + s, "yab");
        EXPECT_STREQ(s + other, "abother");
        EXPECT_STREQ(other + s, "otherab");
        EXPECT_STREQ(s + fixed, "abfixed");
        EXPECT_STREQ(s + temporary(), "abab");
        EXPECT_STREQ(s + s, "abab");
        EXPECT_STREQ(s + nullptr, "ab");
    });
}

TEST(JStringExpressionTest, PlusChains) {
    const JString s("n");
    EXPECT_STREQ("<" + s + "=" + 1 + ',' + 2L + ',' + true + JInteger(3) + s + ">", "<n=1,2,true3n>");
}

TEST(JStringExpressionTest, ComparesWithStringsLiteralsAndBuffers) {
    char buffer[] = "ab";
    char* pointer = buffer;
    char* const fixedPointer = buffer;
    const JString same("ab");
    JString greater("b");
    onEveryForm([&](auto&& s) {
        EXPECT_TRUE(s == "ab");
        EXPECT_TRUE("ab" == s);
        EXPECT_TRUE(s == same);
        EXPECT_TRUE(same == s);
        EXPECT_TRUE(s == temporary());
        EXPECT_TRUE(s == plain("ab"));
        EXPECT_TRUE(s == buffer);
        EXPECT_TRUE(buffer == s);
        EXPECT_TRUE(s == pointer);
        EXPECT_TRUE(pointer == s);
        EXPECT_TRUE(s == fixedPointer);
        EXPECT_TRUE(s != "x");
        EXPECT_TRUE("x" != s);
        EXPECT_TRUE(s != greater);
        EXPECT_TRUE(s < "x");
        EXPECT_TRUE("a" < s);
        EXPECT_TRUE(s < greater);
        EXPECT_TRUE(s <= pointer);
        EXPECT_TRUE(pointer >= s);
        EXPECT_TRUE(greater > s);
        EXPECT_FALSE(s > buffer);
        EXPECT_FALSE(buffer < s);
        EXPECT_FALSE(pointer != s);
        EXPECT_FALSE(s == 0);
        EXPECT_FALSE(s == nullptr);
        EXPECT_TRUE(nullptr < s);
    });
}

TEST(JStringExpressionTest, EqualsTakesTextsAndStrings) {
    char buffer[] = "ab";
    JString same("ab");
    const JString fixed("ab");
    onEveryForm([&](auto&& s) {
        EXPECT_TRUE(s.equals("ab"));
        EXPECT_TRUE(s.equals(buffer));
        EXPECT_TRUE(s.equals(plain("ab")));
        EXPECT_TRUE(s.equals(same));
        EXPECT_TRUE(s.equals(&same));
        EXPECT_TRUE(s.equals(fixed));
        EXPECT_TRUE(s.equals(&fixed));
        EXPECT_TRUE(s.equals(temporary()));
        EXPECT_FALSE(s.equals("x"));
        EXPECT_FALSE(s.equals(static_cast<const char*>(nullptr)));
    });
}

TEST(JStringExpressionTest, EqualsOfAnObjectComparesTextsAndOfAConstObjectClasses) {
    JString s("ab");
    JString same("ab");
    JString different("x");
    JObject& sameObject = same;
    JObject& differentObject = different;
    const JObject& constObject = different;
    EXPECT_TRUE(s.equals(sameObject));
    EXPECT_TRUE(s.equals(&sameObject));
    EXPECT_FALSE(s.equals(differentObject));
    EXPECT_FALSE(s.equals(&differentObject));
    EXPECT_TRUE(s.equals(constObject));
    EXPECT_TRUE(s.equals(&constObject));
}

TEST(JStringExpressionTest, IsIndexedByEveryIntegerType) {
    onEveryForm([](auto&& s) {
        EXPECT_EQ(s[0], 'a');
        EXPECT_EQ(s[1u], 'b');
        EXPECT_EQ(s[1L], 'b');
        EXPECT_EQ(s[std::size_t{1}], 'b');
        EXPECT_EQ(s[1LL], 'b');
        EXPECT_EQ(s[static_cast<short>(1)], 'b');
        EXPECT_EQ(s[JInteger(1)], 'b');
        static_assert(std::is_same_v<decltype(s[0]), signed char>);
        static_assert(std::is_same_v<decltype(s[0L]), signed char>);
        static_assert(std::is_same_v<decltype(s.charAt(0)), signed char>);
    });
}

TEST(JStringExpressionTest, AppendingTakesEveryType) {
    JString s;
    JString other("o");
    const JString fixed("f");
    char buffer[] = "buf";
    s += 'c';
    s += static_cast<signed char>('d');
    s += 1;
    s += 5L;
    s += 6u;
    s += sizeof(int);
    s += 7LL;
    s += 8ULL;
    s += "x";
    s += buffer;
    s += JInteger(3);
    s += other;
    s += fixed;
    s += temporary();
    EXPECT_STREQ(s, "cd156478xbuf3ofab");
    static_assert(std::is_same_v<decltype(s += 1), JString&>);
}

TEST(JStringExpressionTest, PassesWherePointersAreWanted) {
    onEveryForm([](auto&& s) {
        EXPECT_EQ(std::strlen(s), 2u);
        EXPECT_EQ(std::strcmp(s, "ab"), 0);
        EXPECT_EQ(std::strcmp("ab", s), 0);
        EXPECT_EQ(std::memcmp(s, "ab", 2), 0);
        EXPECT_EQ(std::string(s), "ab");
        EXPECT_STREQ(plain(s), "ab");
        const char* c = s;
        char* p = s;
        const void* v = s;
        void* w = s;
        EXPECT_EQ(c, s.toCharArray());
        EXPECT_EQ(p, s.toCharArray());
        EXPECT_EQ(v, s.toCharArray());
        EXPECT_EQ(w, s.toCharArray());
        EXPECT_EQ((const char*)s, s.toCharArray());
        EXPECT_EQ((char*)s, s.toCharArray());
        EXPECT_EQ(static_cast<const void*>(s), s.toCharArray());
    });
}

TEST(JStringExpressionTest, IsBuiltFromTextsCharactersCapacitiesAndStrings) {
    JString t = "x";
    JString u('c');
    JString v(5);
    JString w(t);
    JString x(&t);
    JString y = t;
    const JString fixed("f");
    JString z(&fixed);
    JString fromByte(t[0]);
    char buffer[] = "buf";
    JString fromBuffer = buffer;
    JString fromBytes(fixed.getBytes(), 0, 1);
    EXPECT_STREQ(t, "x");
    EXPECT_STREQ(u, "c");
    EXPECT_EQ(v.length(), 5);
    EXPECT_STREQ(w, "x");
    EXPECT_STREQ(x, "x");
    EXPECT_STREQ(y, "x");
    EXPECT_STREQ(z, "f");
    EXPECT_STREQ(fromByte, "x");
    EXPECT_STREQ(fromBuffer, "buf");
    EXPECT_STREQ(fromBytes, "f");
}

TEST(JStringExpressionTest, ANumberNeverBecomesAStringUnasked) {
    EXPECT_FALSE((std::is_convertible_v<int, JString>));
    EXPECT_FALSE((std::is_convertible_v<long, JString>));
    EXPECT_TRUE((std::is_constructible_v<JString, int>));
}

TEST(JStringExpressionTest, IsAssignedTextsAndStrings) {
    JString s;
    JString other("o");
    const JString fixed("f");
    char buffer[] = "buf";
    EXPECT_STREQ(s = "x", "x");
    EXPECT_STREQ(s = other, "o");
    EXPECT_STREQ(s = fixed, "f");
    EXPECT_STREQ(s = buffer, "buf");
    EXPECT_STREQ(s = temporary(), "ab");
    EXPECT_STREQ(s = 'c', "c");
    EXPECT_STREQ(s = nullptr, "");
    static_assert(std::is_same_v<decltype(s = "x"), JString&>);
}

TEST(JStringExpressionTest, SearchesTakeCharactersTextsAndStrings) {
    JString needle("b");
    const JString fixed("b");
    onEveryForm([&](auto&& s) {
        EXPECT_EQ(s.indexOf('b'), 1);
        EXPECT_EQ(s.indexOf('b', 1), 1);
        EXPECT_EQ(s.indexOf(98), 1);
        EXPECT_EQ(s.indexOf(s[1]), 1);
        EXPECT_EQ(s.indexOf("ab", 0), 0);
        EXPECT_EQ(s.indexOf("ab"), 0);
        EXPECT_EQ(s.indexOf(needle), 1);
        EXPECT_EQ(s.indexOf(needle, 0), 1);
        EXPECT_EQ(s.indexOf(fixed), 1);
        EXPECT_EQ(s.lastIndexOf('a'), 0);
        EXPECT_EQ(s.lastIndexOf('a', 1), 0);
        EXPECT_TRUE(s.startsWith("a"));
        EXPECT_TRUE(s.startsWith("b", 1));
        EXPECT_TRUE(s.startsWith(needle, 1));
        EXPECT_FALSE(s.startsWith(fixed));
        EXPECT_TRUE(s.endsWith("b"));
        EXPECT_TRUE(s.endsWith(needle));
        EXPECT_EQ(JString::Compare(s, needle), std::strcmp("ab", "b"));
        EXPECT_EQ(JString::Compare(s, "ab"), 0);
        EXPECT_EQ(JString::Compare("ab", s), 0);
        EXPECT_EQ(JInteger::parseInt(s), 0);
    });
}

TEST(JStringExpressionTest, DerivedStringsComeFromEveryForm) {
    onEveryForm([](auto&& s) {
        EXPECT_STREQ(s.substring(1), "b");
        EXPECT_STREQ(s.substring(0, 1), "a");
        EXPECT_STREQ(s.trim().toUpperCase(), "AB");
        EXPECT_STREQ(s.toLowerCase().replase('a', 'c'), "cb");
        EXPECT_STREQ(s.toMax(4).trimDef("b").trimRight(), "a");
        EXPECT_EQ(s.getBytes().size(), 2);
    });
}

TEST(JStringExpressionTest, AStringBufferTakesEveryType) {
    JStringBuffer buffer;
    JString s("s");
    const JString fixed("f");
    char text[] = "t";
    buffer.append("x").append(text).append(s).append(fixed).append(temporary()).append('c').append(s[0]);
    buffer.append(1).append(2L).append(3u).append(sizeof(int)).append(5LL).append(6ULL).append(JInteger(7));
    EXPECT_STREQ(buffer, "xtsfabcs1234567");
    EXPECT_EQ(std::strlen(buffer), 15u);
    JString copied(buffer.toString() + "!");
    EXPECT_STREQ(copied, "xtsfabcs1234567!");
}
