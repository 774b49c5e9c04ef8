#include "core/JString.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/JInteger.h"
#include "core/JStringBuffer.h"
#include "support/JStringPeer.h"

using Peer = jay::detail::JStringPeer;

namespace {

const char* const NO_TEXT = nullptr;

/** The bytes that a string counts as its own. */
std::string bytes(const JString& s) {
    const JByte block = s.getBytes();
    return std::string(static_cast<const char*>(block), static_cast<std::size_t>(block.size()));
}

/** Every text of up to `longest` bytes over `alphabet`. */
void forEachText(const std::string& alphabet, std::size_t longest,
                 const std::function<void(const std::string&)>& visit) {
    std::vector<std::string> texts{""};
    for (std::size_t length = 0; length <= longest; ++length) {
        std::vector<std::string> longer;
        for (const std::string& text : texts) {
            visit(text);
            for (char c : alphabet) longer.push_back(text + c);
        }
        texts = std::move(longer);
    }
}

std::string hex(const std::string& text) {
    std::string shown;
    for (char c : text) {
        char digits[3];
        std::snprintf(digits, sizeof(digits), "%02x", static_cast<unsigned>(static_cast<unsigned char>(c)));
        shown += digits;
    }
    return shown;
}

bool isHigh(char c) {
    return static_cast<unsigned char>(c) >= 128;
}

}  // namespace

// ---- construction ----

TEST(JStringTest, StartsEmpty) {
    const JString s;
    EXPECT_STREQ(s, "");
    EXPECT_EQ(s.length(), 0);
    EXPECT_NE(s.toCharArray(), nullptr);
}

TEST(JStringTest, CopiesAText) {
    char text[] = "abc";
    const JString s(text);
    text[0] = 'x';
    EXPECT_STREQ(s, "abc");
    EXPECT_EQ(s.length(), 3);
    EXPECT_EQ(Peer::hash(s), 0);
}

TEST(JStringTest, ANullTextGivesTheEmptyString) {
    const JString s(NO_TEXT);
    EXPECT_STREQ(s, "");
    EXPECT_EQ(s.length(), 0);
}

TEST(JStringTest, CopiesARange) {
    const JString s("abcdef", 2, 3);
    EXPECT_STREQ(s, "cde");
    EXPECT_EQ(s.length(), 3);
}

TEST(JStringTest, ARangeMayHoldNuls) {
    const JString s("ab\0cd", 1, 4);
    EXPECT_EQ(s.length(), 4);
    EXPECT_EQ(bytes(s), std::string("b\0cd", 4));
    EXPECT_STREQ(s, "b");
    EXPECT_EQ(s.charAt(4), 0);
}

TEST(JStringTest, ANullSourceOrANegativeLengthGivesTheEmptyString) {
    EXPECT_EQ(JString(NO_TEXT, 3, 5).length(), 0);
    EXPECT_STREQ(JString(NO_TEXT, 3, 5), "");
    EXPECT_EQ(JString("abc", 1, -1).length(), 0);
    EXPECT_STREQ(JString("abc", 1, INT_MIN), "");
    EXPECT_STREQ(JString("abc", 3, 0), "");
}

TEST(JStringTest, ACharacterGivesATextOfLengthOne) {
    EXPECT_STREQ(JString('c'), "c");
    EXPECT_EQ(JString('c').length(), 1);
    EXPECT_EQ(JString(static_cast<signed char>(-80))[0], -80);
    const JString nul('\0');
    EXPECT_EQ(nul.length(), 1);
    EXPECT_STREQ(nul, "");
}

TEST(JStringTest, ACapacityIsReportedAsLengthWhileTheTextIsEmpty) {
    const JString s(5);
    EXPECT_EQ(s.length(), 5);
    EXPECT_STREQ(s, "");
    EXPECT_EQ(bytes(s), std::string(5, '\0'));
    std::strcpy(s, "12345");  // there is room for it
    EXPECT_STREQ(s, "12345");
}

TEST(JStringTest, ANegativeCapacityCountsAsZero) {
    EXPECT_EQ(JString(-1).length(), 0);
    EXPECT_STREQ(JString(INT_MIN), "");
}

TEST(JStringTest, ACopyHasTextAndLengthButNotTheHash) {
    JString s("abc");
    s.hashCode();
    const JString copy(s);
    EXPECT_STREQ(copy, "abc");
    EXPECT_EQ(copy.length(), 3);
    EXPECT_NE(Peer::hash(s), 0);
    EXPECT_EQ(Peer::hash(copy), 0);
    EXPECT_NE(copy.toCharArray(), s.toCharArray());
    const JString copyOfPointer(&s);
    EXPECT_STREQ(copyOfPointer, "abc");
    EXPECT_EQ(copyOfPointer.length(), 3);
    EXPECT_EQ(Peer::hash(copyOfPointer), 0);
}

TEST(JStringTest, ACopyOfANullPointerIsEmpty) {
    EXPECT_STREQ(JString(static_cast<const JString*>(nullptr)), "");
    EXPECT_EQ(JString(static_cast<const JString*>(nullptr)).length(), 0);
}

TEST(JStringTest, ACopyKeepsALengthThatIsNotTheTexts) {
    const JString sized(5);
    EXPECT_EQ(JString(sized).length(), 5);
    EXPECT_EQ(bytes(JString(sized)), std::string(5, '\0'));
    const JString range("a\0b", 0, 3);
    EXPECT_EQ(bytes(JString(range)), std::string("a\0b", 3));
    const JString dots = JString("a").toMax(3);
    EXPECT_STREQ(JString(dots), "...");
    EXPECT_EQ(JString(dots).length(), 1);
}

TEST(JStringTest, CloneIsACopyOfTheCallers) {
    JString s("abc");
    const std::unique_ptr<JObject> clone(s.clone());
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->getClass(), &JString::classJString);
    EXPECT_STREQ(static_cast<JString&>(*clone), "abc");
    EXPECT_TRUE(s.equals(*clone));
}

// ---- moving ----

TEST(JStringTest, MovingTakesTextAndLengthOver) {
    JString source("abc");
    const char* const text = source;
    source.hashCode();
    const JString target(std::move(source));
    EXPECT_EQ(static_cast<const char*>(target), text);
    EXPECT_EQ(target.length(), 3);
    EXPECT_EQ(Peer::hash(target), 0);
    EXPECT_STREQ(source, "");
    EXPECT_EQ(source.length(), 0);
    EXPECT_EQ(Peer::hash(source), 0);
}

TEST(JStringTest, AMovedFromStringIsUsedAsAnEmptyOne) {
    JString source("abc");
    JString target(std::move(source));
    source += "x";
    EXPECT_STREQ(source, "x");
    EXPECT_STREQ(target, "abc");
    JString again(std::move(source));
    source = again;
    EXPECT_STREQ(source, "x");
}

TEST(JStringTest, MovingKeepsALengthThatIsNotTheTexts) {
    for (const JString& odd :
         {JString(5), JString("  abc").trimLeft(), JString("abcdef").toMax(5), JString("ab").toMax(3)}) {
        JString source(odd);
        const JString target(std::move(source));
        EXPECT_EQ(target.length(), odd.length());
        EXPECT_STREQ(target, odd);
        EXPECT_EQ(bytes(target), bytes(odd));
    }
}

TEST(JStringTest, MoveAssignmentCountsTheTextAsAssignmentDoes) {
    for (const JString& odd :
         {JString(5), JString("  abc").trimLeft(), JString("abcdef").toMax(5), JString("ab").toMax(3)}) {
        JString copied("former");
        copied = odd;
        JString source(odd);
        JString moved("former");
        EXPECT_EQ(&(moved = std::move(source)), &moved);
        EXPECT_EQ(moved.length(), copied.length());
        EXPECT_STREQ(moved, copied);
        EXPECT_STREQ(source, "");
    }
}

TEST(JStringTest, MovedToItselfItStaysAsItIs) {
    JString s("abc");
    JString& same = s;
    s = std::move(same);
    EXPECT_STREQ(s, "abc");
    EXPECT_EQ(s.length(), 3);
}

TEST(JStringTest, EmptyStringsOfTwoThreadsAreIndependent) {
    const auto use = [] {
        for (int i = 0; i < 1000; i++) {
            JString empty;
            JString copy(empty.trimDef("x") + empty.toMax(0) + empty.trim());
            copy = empty;
            copy += "";
            JString moved(std::move(copy));
            moved = "text";
            moved = JString();
        }
    };
    std::thread other(use);
    use();
    other.join();
    EXPECT_STREQ(JString(), "");
}

TEST(JStringTest, EmptyStringsDoNotWriteToTheTextTheyShare) {
    const JString empty;
    EXPECT_STREQ(empty.trimDef("x"), "");
    EXPECT_STREQ(empty.toMax(0), "");
    EXPECT_STREQ(empty.toUpperCase(), "");
    EXPECT_STREQ(empty.replase('a', 'b'), "");
    JString assigned;
    assigned = "";
    assigned = empty;
    EXPECT_STREQ(JString(), "");
}

// ---- access ----

TEST(JStringTest, EveryConversionGivesTheData) {
    const JString s("abc");
    const char* text = s;
    char* writable = s;
    const void* untyped = s;
    EXPECT_STREQ(text, "abc");
    EXPECT_EQ(writable, text);
    EXPECT_EQ(untyped, text);
    EXPECT_EQ(s.toCharArray(), text);
}

TEST(JStringTest, BytesAreSigned) {
    const JString s("a\xB0");
    EXPECT_EQ(s[0], 'a');
    EXPECT_EQ(s[1], -80);
    EXPECT_EQ(s.charAt(1), -80);
    EXPECT_EQ(s[2], 0);
}

TEST(JStringTest, CharAtIsZeroOutsideOfTheText) {
    const JString s("abc");
    EXPECT_EQ(s.charAt(0), 'a');
    EXPECT_EQ(s.charAt(2), 'c');
    EXPECT_EQ(s.charAt(3), 0);
    EXPECT_EQ(s.charAt(4), 0);
    EXPECT_EQ(s.charAt(INT_MAX), 0);
    EXPECT_EQ(s.charAt(-1), 0);
    EXPECT_EQ(s.charAt(INT_MIN), 0);
}

TEST(JStringTest, CharAtReadsTheByteAtTheLengthAlsoWhereThatIsNoNul) {
    const JString dots = JString("a").toMax(3);
    ASSERT_EQ(dots.length(), 1);
    EXPECT_EQ(dots.charAt(1), '.');
    EXPECT_EQ(dots.charAt(2), 0);
}

TEST(JStringTest, OnlyEverySecondByteTakesPartInTheHashCode) {
    EXPECT_EQ(JString("ab").hashCode(), 97);
    EXPECT_EQ(JString("ax").hashCode(), 97);
    EXPECT_EQ(JString("abc").hashCode(), 31 * 97 + 99);
    EXPECT_EQ(JString("abcde").hashCode(), (31 * 97 + 99) * 31 + 101);
    EXPECT_EQ(JString("").hashCode(), 0);
}

TEST(JStringTest, TheHashCodeTakesBytesAsSigned) {
    EXPECT_EQ(JString("\xFF").hashCode(), -1);
    EXPECT_EQ(JString("\x80-\xB0").hashCode(), 31 * -128 - 80);
}

TEST(JStringTest, TheHashCodeWrapsAround) {
    std::string text;
    long long expected = 0;
    for (int i = 0; i < 20; ++i) {
        text += "z-";
        expected = static_cast<int>(31 * expected + 'z');
    }
    EXPECT_EQ(JString(text.c_str()).hashCode(), expected);
}

TEST(JStringTest, TheHashCodeGoesByTheLength) {
    EXPECT_EQ(JString("ab\0\0c", 0, 5).hashCode(), 97 * 31 * 31 + 99);
    EXPECT_EQ(JString(5).hashCode(), 0);
}

TEST(JStringTest, TheHashCodeIsCached) {
    JString s("abc");
    EXPECT_EQ(Peer::hash(s), 0);
    const int code = s.hashCode();
    EXPECT_EQ(Peer::hash(s), code);
    s.toCharArray()[0] = 'x';
    EXPECT_EQ(s.hashCode(), code);
}

TEST(JStringTest, AHashCodeOfZeroIsComputedEachTime) {
    JString s("a\xFF");
    s.toCharArray()[0] = '\0';
    EXPECT_EQ(s.hashCode(), 0);
    s.toCharArray()[0] = 'a';
    EXPECT_EQ(s.hashCode(), 97);
}

// ---- comparison ----

TEST(JStringTest, CompareIsStrcmp) {
    const JString a("a");
    const JString b("b");
    EXPECT_LT(JString::Compare(a, b), 0);
    EXPECT_GT(JString::Compare(b, a), 0);
    EXPECT_EQ(JString::Compare(a, JString("a")), 0);
    EXPECT_LT(JString::Compare("a", b), 0);
    EXPECT_EQ(JString::Compare("b", b), 0);
    EXPECT_GT(JString::Compare(b, "a"), 0);
    EXPECT_GT(JString::Compare(JString("ab"), a), 0);
    EXPECT_GT(JString::Compare(JString("\x80"), JString("\x7F")), 0) << "bytes compare unsigned";
}

TEST(JStringTest, ANullTextComparesBelowEveryString) {
    const JString empty;
    EXPECT_EQ(JString::Compare(NO_TEXT, empty), -1);
    EXPECT_EQ(JString::Compare(empty, NO_TEXT), 1);
    EXPECT_TRUE(NO_TEXT < empty);
    EXPECT_TRUE(NO_TEXT <= empty);
    EXPECT_TRUE(NO_TEXT != empty);
    EXPECT_FALSE(NO_TEXT == empty);
    EXPECT_TRUE(empty > NO_TEXT);
    EXPECT_TRUE(empty >= NO_TEXT);
    EXPECT_FALSE(empty == NO_TEXT);
    EXPECT_FALSE(empty < NO_TEXT);
}

TEST(JStringTest, TheOperatorsCompareForEachPair) {
    const char* texts[] = {"", "a", "ab", "b", "\xB0\xA1"};
    for (const char* left : texts) {
        for (const char* right : texts) {
            const int order = std::strcmp(left, right);
            const JString a(left);
            const JString b(right);
            EXPECT_EQ(a == b, order == 0);
            EXPECT_EQ(left == b, order == 0);
            EXPECT_EQ(a == right, order == 0);
            EXPECT_EQ(a != b, order != 0);
            EXPECT_EQ(left != b, order != 0);
            EXPECT_EQ(a != right, order != 0);
            EXPECT_EQ(a < b, order < 0);
            EXPECT_EQ(left < b, order < 0);
            EXPECT_EQ(a < right, order < 0);
            EXPECT_EQ(a <= b, order <= 0);
            EXPECT_EQ(left <= b, order <= 0);
            EXPECT_EQ(a <= right, order <= 0);
            EXPECT_EQ(a > b, order > 0);
            EXPECT_EQ(left > b, order > 0);
            EXPECT_EQ(a > right, order > 0);
            EXPECT_EQ(a >= b, order >= 0);
            EXPECT_EQ(left >= b, order >= 0);
            EXPECT_EQ(a >= right, order >= 0);
        }
    }
}

TEST(JStringTest, EqualsComparesTexts) {
    JString s("abc");
    JString same("abc");
    JString other("abd");
    EXPECT_TRUE(s.equals("abc"));
    EXPECT_FALSE(s.equals("ab"));
    EXPECT_FALSE(s.equals(NO_TEXT));
    EXPECT_FALSE(JString().equals(NO_TEXT));
    EXPECT_TRUE(s.equals(same));
    EXPECT_FALSE(s.equals(other));
    EXPECT_TRUE(s.equals(&same));
    EXPECT_FALSE(s.equals(&other));
}

TEST(JStringTest, EqualsOfAnObjectWantsTheSameClassHashAndText) {
    JString s("abc");
    JString same("abc");
    JString sameHash("axc");
    JString other("abd");
    JInteger integer(3);
    JStringBuffer buffer;
    const auto equal = [](JString& a, JObject& b) {
        const bool result = a.equals(b);
        EXPECT_EQ(a.equals(&b), result);
        return result;
    };
    EXPECT_TRUE(equal(s, same));
    EXPECT_TRUE(equal(s, s));
    ASSERT_EQ(s.hashCode(), sameHash.hashCode());
    EXPECT_FALSE(equal(s, sameHash));
    EXPECT_FALSE(equal(s, other));
    EXPECT_FALSE(equal(s, integer));
    EXPECT_FALSE(equal(s, buffer));
    JString empty;
    ASSERT_EQ(empty.hashCode(), integer.hashCode());
    EXPECT_FALSE(equal(empty, integer));
}

TEST(JStringTest, EqualsOfAnObjectLooksAtTheHashCodesToo) {
    // Texts of different length may be equal up to their NULs; their hash codes tell them apart.
    JString s("ab\0x", 0, 4);
    JString whole("ab\0\0y", 0, 5);
    JObject& object = whole;
    EXPECT_TRUE(s.equals(whole));
    EXPECT_FALSE(s.equals(object));
}

TEST(JStringTest, EqualsOfAConstObjectIsTheRoots) {
    JString s("abc");
    const JString other("x");
    const JObject& object = other;
    EXPECT_TRUE(s.equals(object));
}

TEST(JStringTest, TheRootsEqualsIsTheComparisonOfClasses) {
    JString s("abc");
    JString other("x");
    JObject& root = s;
    EXPECT_TRUE(root.equals(other));
}

// ---- search ----

TEST(JStringTest, IndexOfFindsTheFirstOccurrenceOfAText) {
    const JString s("abcabc");
    EXPECT_EQ(s.indexOf("bc", 0), 1);
    EXPECT_EQ(s.indexOf("bc", 1), 1);
    EXPECT_EQ(s.indexOf("bc", 2), 4);
    EXPECT_EQ(s.indexOf("bc", 5), -1);
    EXPECT_EQ(s.indexOf("x", 0), -1);
    EXPECT_EQ(s.indexOf(JString("ca"), 0), 2);
    EXPECT_EQ(s.indexOf(JString("ca"), 3), -1);
    EXPECT_EQ(s.indexOf(JString("ca")), 2);
    EXPECT_EQ(s.indexOf("abcabcd"), -1);
}

TEST(JStringTest, IndexOfStaysWithinItsBounds) {
    const JString s("abc");
    EXPECT_EQ(s.indexOf("a", -1), -1);
    EXPECT_EQ(s.indexOf("", 0), 0);
    EXPECT_EQ(s.indexOf("", 2), 2);
    EXPECT_EQ(s.indexOf("", 3), -1);
    EXPECT_EQ(s.indexOf("a", INT_MAX), -1);
    EXPECT_EQ(JString().indexOf("", 0), -1);
    EXPECT_EQ(s.indexOf(NO_TEXT, 0), -1);
}

TEST(JStringTest, IndexOfFindsTheFirstOccurrenceOfAByte) {
    const JString s("abcabc");
    EXPECT_EQ(s.indexOf('c'), 2);
    EXPECT_EQ(s.indexOf('c', 2), 2);
    EXPECT_EQ(s.indexOf('c', 3), 5);
    EXPECT_EQ(s.indexOf('x'), -1);
    EXPECT_EQ(s.indexOf('a', 6), -1);
    EXPECT_EQ(s.indexOf('a', -1), -1);
    EXPECT_EQ(JString("abc").indexOf('x', 3), -1);
    EXPECT_EQ(JString("a\xB0").indexOf(0xB0), 1);
    EXPECT_EQ(JString("a\xB0").indexOf('\xB0'), 1);
}

TEST(JStringTest, IndexOfTheByteZeroFindsTheTerminator) {
    EXPECT_EQ(JString("abc").indexOf(0), 3);
    EXPECT_EQ(JString("abc").indexOf(0, 2), 3);
    EXPECT_EQ(JString("abc").indexOf(0, 3), -1);
}

TEST(JStringTest, LastIndexOfDoesNotLookForAnEarlierOccurrence) {
    const JString s("abcabc");
    EXPECT_EQ(s.lastIndexOf('a', 2), -1);
    EXPECT_EQ(s.lastIndexOf('a', 3), 3);
    EXPECT_EQ(s.lastIndexOf('a', 100), 3);
    EXPECT_EQ(s.lastIndexOf('a'), 3);
    EXPECT_EQ(s.lastIndexOf('c'), 5);
    EXPECT_EQ(s.lastIndexOf('x'), -1);
    EXPECT_EQ(s.lastIndexOf('a', -1), -1);
    EXPECT_EQ(JString().lastIndexOf('a'), -1);
}

TEST(JStringTest, LastIndexOfTheByteZeroIsAfterTheLastByte) {
    EXPECT_EQ(JString("abc").lastIndexOf(0), -1);
    EXPECT_EQ(JString("abc").lastIndexOf(0, 3), 3);
    EXPECT_EQ(JString("abc").lastIndexOf(0, 100), 3);
}

TEST(JStringTest, LastIndexOfIsBoundedByTheLength) {
    const JString dots = JString("a").toMax(3);
    ASSERT_EQ(dots.length(), 1);
    EXPECT_EQ(dots.lastIndexOf('.', 100), -1) << "the last one is at 2, beyond length()";
}

TEST(JStringTest, StartsWithComparesTheBytesAtAPlace) {
    const JString s("abcabc");
    EXPECT_TRUE(s.startsWith("abc"));
    EXPECT_TRUE(s.startsWith("abcabc"));
    EXPECT_FALSE(s.startsWith("abcabcd"));
    EXPECT_FALSE(s.startsWith("b"));
    EXPECT_TRUE(s.startsWith("ca", 2));
    EXPECT_FALSE(s.startsWith("cb", 2));
    EXPECT_TRUE(s.startsWith("c", 5));
    EXPECT_FALSE(s.startsWith("cc", 5));
    EXPECT_TRUE(s.startsWith(JString("abc")));
    EXPECT_TRUE(s.startsWith(JString("bc"), 4));
    EXPECT_FALSE(s.startsWith(JString("bc"), 3));
}

TEST(JStringTest, StartsWithStaysWithinItsBounds) {
    const JString s("abc");
    EXPECT_TRUE(s.startsWith(""));
    EXPECT_TRUE(s.startsWith("", 3));
    EXPECT_FALSE(s.startsWith("", 4));
    EXPECT_FALSE(s.startsWith("a", -1));
    EXPECT_FALSE(s.startsWith("a", INT_MAX));
    EXPECT_FALSE(s.startsWith(NO_TEXT));
    EXPECT_FALSE(s.startsWith(NO_TEXT, 0));
}

TEST(JStringTest, EndsWithComparesTheLastBytes) {
    const JString s("abcabc");
    EXPECT_TRUE(s.endsWith("abc"));
    EXPECT_TRUE(s.endsWith("abcabc"));
    EXPECT_TRUE(s.endsWith(""));
    EXPECT_FALSE(s.endsWith("ab"));
    EXPECT_FALSE(s.endsWith("xabcabc"));
    EXPECT_FALSE(s.endsWith(NO_TEXT));
    EXPECT_TRUE(s.endsWith(JString("bc")));
    EXPECT_FALSE(s.endsWith(JString("ba")));
}

TEST(JStringTest, EndsWithGoesByTheLength) {
    const JString s = JString("  abc").trimLeft();
    EXPECT_FALSE(s.endsWith("bc")) << "the last byte counted is the NUL";
}

// ---- derived strings ----

TEST(JStringTest, SubstringIsCutToTheText) {
    const JString s("abc");
    EXPECT_STREQ(s.substring(1, 2), "b");
    EXPECT_STREQ(s.substring(0, 3), "abc");
    EXPECT_STREQ(s.substring(-5, 100), "abc");
    EXPECT_STREQ(s.substring(2, 1), "");
    EXPECT_STREQ(s.substring(1), "bc");
    EXPECT_STREQ(s.substring(3), "");
    EXPECT_STREQ(s.substring(4), "");
    EXPECT_STREQ(s.substring(-1), "abc");
    EXPECT_EQ(s.substring(1, 3).length(), 2);
    EXPECT_STREQ(s, "abc");
}

TEST(JStringTest, SubstringTakesEveryNumber) {
    const JString s("abc");
    const int extremes[] = {INT_MIN, -1, 0, 3, 4, INT_MAX};
    for (int begin : extremes) {
        for (int end : extremes) {
            const bool whole = begin <= 0 && end >= 3;
            EXPECT_STREQ(s.substring(begin, end), whole ? "abc" : "") << begin << " " << end;
        }
    }
}

TEST(JStringTest, TrimRemovesBlanksFromBothEnds) {
    EXPECT_STREQ(JString(" \t\r\na b\n\r\t ").trim(), "a b");
    EXPECT_EQ(JString(" a ").trim().length(), 1);
    EXPECT_STREQ(JString("abc").trim(), "abc");
    EXPECT_STREQ(JString(" \t ").trim(), "");
    EXPECT_STREQ(JString("").trim(), "");
    EXPECT_STREQ(JString("\va\f").trim(), "\va\f") << "other white space stays";
}

TEST(JStringTest, TrimRightRemovesBlanksFromTheEnd) {
    EXPECT_STREQ(JString(" a b \t\r\n").trimRight(), " a b");
    EXPECT_STREQ(JString("   ").trimRight(), "");
    EXPECT_EQ(JString("a ").trimRight().length(), 1);
    EXPECT_STREQ(JString("").trimRight(), "");
}

TEST(JStringTest, TrimLeft_DropsTheFirstNonBlankByte) {
    const JString s = JString("  abc").trimLeft();
    EXPECT_STREQ(s, "bc");
    EXPECT_EQ(s.length(), 3);
    EXPECT_EQ(bytes(s), std::string("bc\0", 3));
}

TEST(JStringTest, TrimLeft_DropsTheFirstByteOfATextWithoutBlanksToo) {
    const JString s = JString("abc").trimLeft();
    EXPECT_STREQ(s, "bc");
    EXPECT_EQ(s.length(), 3);
    const JString one = JString(" \t\r\na").trimLeft();
    EXPECT_STREQ(one, "");
    EXPECT_EQ(one.length(), 1);
}

TEST(JStringTest, TrimLeft_KeepsBlanksThatFollow) {
    const JString s = JString(" a b ").trimLeft();
    EXPECT_STREQ(s, " b ");
    EXPECT_EQ(s.length(), 4);
}

TEST(JStringTest, TrimLeft_OfBlanksOnlyIsEmpty) {
    EXPECT_STREQ(JString(" \t\r\n").trimLeft(), "");
    EXPECT_EQ(JString(" \t\r\n").trimLeft().length(), 0);
    EXPECT_EQ(JString("").trimLeft().length(), 0);
}

TEST(JStringTest, TrimDefRemovesBytesEverywhere) {
    const JString s = JString("a - b").trimDef(" -");
    EXPECT_STREQ(s, "ab");
    EXPECT_EQ(s.length(), 2);
    EXPECT_STREQ(JString("--").trimDef("-"), "");
    EXPECT_STREQ(JString("abc").trimDef(""), "abc");
    EXPECT_STREQ(JString("abc").trimDef(NO_TEXT), "abc");
}

TEST(JStringTest, TrimDefRecomputesTheLength) {
    EXPECT_EQ(JString("  abc").trimLeft().trimDef("x").length(), 2);
    EXPECT_EQ(JString(5).trimDef("x").length(), 0);
    EXPECT_EQ(JString("a\0b", 0, 3).trimDef("x").length(), 1);
}

TEST(JStringTest, CaseChangesAsciiLettersOnly) {
    std::string all;
    std::string lower;
    std::string upper;
    for (int c = 1; c < 256; ++c) {
        all += static_cast<char>(c);
        lower += static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
        upper += static_cast<char>(c >= 'a' && c <= 'z' ? c - 32 : c);
    }
    const JString s(all.c_str());
    EXPECT_EQ(std::string(s.toLowerCase()), lower);
    EXPECT_EQ(std::string(s.toUpperCase()), upper);
    EXPECT_EQ(std::string(s), all);
    EXPECT_EQ(s.toLowerCase().length(), 255);
}

TEST(JStringTest, ReplaseChangesEveryByte) {
    const JString s("abcabc");
    EXPECT_STREQ(s.replase('a', 'x'), "xbcxbc");
    EXPECT_STREQ(s.replase('a', 'x', 0), "xbcxbc");
    EXPECT_STREQ(s.replase('a', 'x', 99), "xbcxbc");
    EXPECT_STREQ(s.replase('y', 'x'), "abcabc");
    EXPECT_STREQ(s, "abcabc");
    EXPECT_STREQ(JString("\xB0-").replase(0xB0, 'x'), "x-");
    EXPECT_STREQ(JString("\xB0-").replase('\xB0', 'x'), "x-");
    EXPECT_STREQ(JString("\xB0-").replase(static_cast<signed char>('\xB0'), 'x'), "x-");
    EXPECT_EQ(s.replase('a', 0).length(), 6);
    EXPECT_EQ(bytes(s.replase('c', 0)), std::string("ab\0ab\0", 6));
}

TEST(JStringTest, ReplaceFindsNoByteOutsideOfTheRangeOfBytes) {
    const JString s(",\xD4\x7F");
    for (const int from : {300, 256 + ',', -129, ',' - 256, INT_MAX, INT_MIN}) {
        EXPECT_STREQ(s.replase(from, 'x'), ",\xD4\x7F") << from;
    }
    EXPECT_STREQ(s.replase(',', 256 + 'x'), "x\xD4\x7F");
}

TEST(JStringTest, ToMax_GivesDotsBelowFour) {
    EXPECT_STREQ(JString("abcdef").toMax(0), "");
    EXPECT_STREQ(JString("abcdef").toMax(1), ".");
    EXPECT_STREQ(JString("abcdef").toMax(2), "..");
    EXPECT_STREQ(JString("abcdef").toMax(3), "...");
    EXPECT_EQ(JString("abcdef").toMax(2).length(), 6);
    EXPECT_EQ(bytes(JString("abcdef").toMax(2)), std::string("..\0def", 6));
}

TEST(JStringTest, ToMax_GivesDotsAlsoBeyondTheText) {
    EXPECT_STREQ(JString("a").toMax(3), "...");
    EXPECT_EQ(JString("a").toMax(3).length(), 1);
    EXPECT_STREQ(JString("").toMax(2), "..");
    EXPECT_EQ(JString("").toMax(2).length(), 0);
    EXPECT_STREQ(JString("abc").toMax(3), "...");
}

TEST(JStringTest, ToMax_TakesANegativeNumberAsZero) {
    EXPECT_STREQ(JString("abc").toMax(-1), "");
    EXPECT_STREQ(JString("abc").toMax(INT_MIN), "");
    EXPECT_EQ(JString("abc").toMax(-1).length(), 3);
}

TEST(JStringTest, ToMax_EndsALongTextWithDots) {
    const JString s = JString("abcdefgh").toMax(6);
    EXPECT_STREQ(s, "abc...");
    EXPECT_EQ(s.length(), 8) << "the length field is that of the whole text";
    EXPECT_STREQ(JString("abcde").toMax(4), "a...");
}

TEST(JStringTest, ToMax_LeavesATextThatFits) {
    EXPECT_STREQ(JString("abcdef").toMax(6), "abcdef");
    EXPECT_STREQ(JString("abcdef").toMax(7), "abcdef");
    EXPECT_STREQ(JString("abcdef").toMax(INT_MAX), "abcdef");
    EXPECT_STREQ(JString("").toMax(4), "");
}

TEST(JStringTest, ToMax_CutsNoDoubleByteCharacter) {
    EXPECT_STREQ(JString("\xB0\xA1\xB0\xA1\xB0\xA1\xB0\xA1\xB0\xA1").toMax(6), "\xB0\xA1...");
    EXPECT_STREQ(JString("\xB0\xA1\xB0xxxxxxx").toMax(6), "\xB0\xA1...");
    EXPECT_STREQ(JString("\xB0\xA1\xB0\xA1\xB0\xA1\xB0\xA1").toMax(7), "\xB0\xA1\xB0\xA1...");
    EXPECT_STREQ(JString("\xB0\xA1\xB0\xA1\xB0\xA1").toMax(4), "...");
}

TEST(JStringTest, ToMax_AgreesWithItsStepsOnEveryShortText) {
    forEachText("a\xB0", 8, [](const std::string& text) {
        for (int n = 4; n <= 10; ++n) {
            std::string expected = text;
            if (n < static_cast<int>(text.size())) {
                int run = 0;
                for (int i = 0; i <= n - 4; ++i)
                    run = isHigh(text[static_cast<std::size_t>(i)]) ? run + 1 : 0;
                expected = text.substr(0, static_cast<std::size_t>(run % 2 != 0 ? n - 4 : n - 3)) + "...";
            }
            const JString s = JString(text.c_str()).toMax(n);
            EXPECT_EQ(std::string(s), expected) << hex(text) << " " << n;
            EXPECT_EQ(s.length(), static_cast<int>(text.size()));
        }
    });
}

TEST(JStringTest, GetBytesHoldsTheTextWithoutItsNul) {
    const JByte block = JString("abc").getBytes();
    EXPECT_EQ(block.size(), 3);
    EXPECT_EQ(std::memcmp(block, "abc", 3), 0);
    EXPECT_EQ(JString().getBytes().size(), 0);
}

// ---- charsAdjust ----

namespace {

struct Range {
    int offset;
    int len;
    bool operator==(const Range& other) const { return offset == other.offset && len == other.len; }
};

Range adjusted(const char* text, int offset, int len) {
    EXPECT_EQ(JString::charsAdjust(text, offset, len),
              text == nullptr ? 0 : static_cast<int>(std::strlen(text)));
    return {offset, len};
}

/** The steps as they are told, for ranges whose arithmetic fits. */
Range adjustedByTheSteps(const std::string& text, int offset, int len) {
    const int n = static_cast<int>(text.size());
    const auto byteAt = [&](int i) { return i < n ? text[static_cast<std::size_t>(i)] : '\0'; };
    if (offset > n) offset = n;
    if (offset + len > n) len = n - offset;
    int run = 0;
    for (int i = 0; i < offset; ++i) run = isHigh(byteAt(i)) ? run + 1 : 0;
    if (offset >= 1 && run % 2 != 0) --offset;
    if (offset < 1) offset = 0;
    int end = offset + len;
    run = 0;
    for (int i = offset; i < end; ++i) run = isHigh(byteAt(i)) ? run + 1 : 0;
    if (end > 0 && run % 2 != 0) --end;
    return {offset, std::min(n, end) - offset};
}

}  // namespace

TEST(JStringTest, CharsAdjust_LeavesARangeOfWholeCharacters) {
    EXPECT_EQ(adjusted("abcdef", 1, 3), (Range{1, 3}));
    EXPECT_EQ(adjusted("\xB0\xA1\xB0\xA1", 2, 2), (Range{2, 2}));
    EXPECT_EQ(adjusted("a\xB0\xA1z", 1, 2), (Range{1, 2}));
}

TEST(JStringTest, CharsAdjust_CutsTheRangeToTheText) {
    EXPECT_EQ(adjusted("abc", 1, 100), (Range{1, 2}));
    EXPECT_EQ(adjusted("abc", 5, 1), (Range{3, 0}));
    EXPECT_EQ(adjusted("", 0, 1), (Range{0, 0}));
}

TEST(JStringTest, CharsAdjust_MovesAnOffsetInsideACharacterBack) {
    // The end moves with it, into the character that the range had ended after, and then back before that.
    EXPECT_EQ(adjusted("\xB0\xA1\xB0\xA1xx", 1, 3), (Range{0, 2}));
    EXPECT_EQ(adjusted("a\xB0\xA1xyz", 2, 2), (Range{1, 2}));
}

TEST(JStringTest, CharsAdjust_MovesAnEndInsideACharacterBack) {
    EXPECT_EQ(adjusted("a\xB0\xA1z", 0, 2), (Range{0, 1}));
    EXPECT_EQ(adjusted("\xB0\xA1\xB0\xA1", 0, 3), (Range{0, 2}));
    EXPECT_EQ(adjusted("\xB0\xA1", 0, 1), (Range{0, 0}));
}

TEST(JStringTest, CharsAdjust_TakesANegativeOffsetAsZero) {
    EXPECT_EQ(adjusted("abcdef", -2, 3), (Range{0, 3}));
    EXPECT_EQ(adjusted("abc", -2, 5), (Range{0, 3}));
    EXPECT_EQ(adjusted("a\xB0", -9, 11), (Range{0, 2})) << "nothing beyond the text is looked at";
}

TEST(JStringTest, CharsAdjust_LeavesANegativeLengthNegative) {
    EXPECT_EQ(adjusted("abc", 2, -1), (Range{2, -1}));
    EXPECT_EQ(adjusted("abc", 0, -7), (Range{0, -7}));
}

TEST(JStringTest, CharsAdjust_TakesEveryNumber) {
    EXPECT_EQ(adjusted("abc", INT_MAX, INT_MAX), (Range{3, 0}));
    EXPECT_EQ(adjusted("abc", 0, INT_MAX), (Range{0, 3}));
    EXPECT_EQ(adjusted("abc", INT_MIN, INT_MAX), (Range{0, 3}));
    EXPECT_EQ(adjusted("abc", INT_MIN, INT_MIN), (Range{0, INT_MIN}));
    EXPECT_EQ(adjusted("a\xB0\xB1", 2, INT_MIN), (Range{1, INT_MIN}));
}

TEST(JStringTest, CharsAdjust_TakesANullTextAsEmpty) {
    EXPECT_EQ(adjusted(nullptr, 3, 4), (Range{0, 0}));
}

TEST(JStringTest, CharsAdjust_AgreesWithItsStepsOnEveryShortText) {
    forEachText("a\xB0", 6, [](const std::string& text) {
        for (int offset = -2; offset <= 8; ++offset) {
            for (int len = -2; len <= 9; ++len) {
                EXPECT_EQ(adjusted(text.c_str(), offset, len), adjustedByTheSteps(text, offset, len))
                    << hex(text) << " " << offset << " " << len;
            }
        }
    });
}

// ---- modification ----

TEST(JStringTest, AssignmentTakesOverAText) {
    JString s("abc");
    EXPECT_EQ(&(s = "defgh"), &s);
    EXPECT_STREQ(s, "defgh");
    EXPECT_EQ(s.length(), 5);
    s = NO_TEXT;
    EXPECT_STREQ(s, "");
    EXPECT_EQ(s.length(), 0);
    const JString other("other");
    EXPECT_EQ(&(s = other), &s);
    EXPECT_STREQ(s, "other");
    EXPECT_NE(s.toCharArray(), other.toCharArray());
}

TEST(JStringTest, AssignmentOfItsOwnTextIsSafe) {
    JString s("abc");
    s = s.toCharArray();
    EXPECT_STREQ(s, "abc");
    s = static_cast<const char*>(s) + 1;
    EXPECT_STREQ(s, "bc");
    JString& same = s;
    s = same;
    EXPECT_STREQ(s, "bc");
}

TEST(JStringTest, AssignmentTakesTheTextNotTheLength) {
    JString s;
    s = JString(5);
    EXPECT_EQ(s.length(), 0);
    s = JString("  abc").trimLeft();
    EXPECT_EQ(s.length(), 2);
}

TEST(JStringTest, EveryModificationForgetsTheHashCode) {
    JString s("abc");
    const auto expectForgotten = [&] {
        EXPECT_EQ(Peer::hash(s), 0);
        s.hashCode();
        EXPECT_NE(Peer::hash(s), 0);
    };
    expectForgotten();
    s = "def";
    expectForgotten();
    s = JString("ghi");
    expectForgotten();
    s += "x";
    expectForgotten();
    s += JString("y");
    expectForgotten();
    s += 'z';
    expectForgotten();
    s += 1;
    expectForgotten();
    s += JInteger(2);
    expectForgotten();
}

TEST(JStringTest, AppendingJoinsTheTexts) {
    JString s("a");
    EXPECT_EQ(&(s += "bc"), &s);
    EXPECT_STREQ(s, "abc");
    EXPECT_EQ(s.length(), 3);
    s += JString("de");
    s += 'f';
    s += 12;
    s += JInteger(-3);
    EXPECT_STREQ(s, "abcdef12-3");
    EXPECT_EQ(s.length(), 10);
}

TEST(JStringTest, AppendingNothingChangesNothing) {
    JString s("abc");
    const char* data = s;
    s.hashCode();
    s += NO_TEXT;
    s += "";
    s += JString();
    s += '\0';
    EXPECT_STREQ(s, "abc");
    EXPECT_EQ(static_cast<const char*>(s), data);
    EXPECT_NE(Peer::hash(s), 0);
    JString sized(5);
    sized += "";
    EXPECT_EQ(sized.length(), 5);
}

TEST(JStringTest, AppendingItsOwnTextIsSafe) {
    JString s("abc");
    s += s;
    EXPECT_STREQ(s, "abcabc");
    s += s.toCharArray() + 4;
    EXPECT_STREQ(s, "abcabcbc");
}

TEST(JStringTest, AppendingJoinsTextsWhateverTheLengthIs) {
    JString sized(5);
    sized += "ab";
    EXPECT_STREQ(sized, "ab");
    EXPECT_EQ(sized.length(), 2);
    JString trimmed = JString("  abc").trimLeft();
    trimmed += "d";
    EXPECT_STREQ(trimmed, "bcd");
    EXPECT_EQ(trimmed.length(), 3);
    JString dots = JString("a").toMax(3);
    dots += "!";
    EXPECT_STREQ(dots, "...!");
    EXPECT_EQ(dots.length(), 4);
}

TEST(JStringTest, AppendingToAPreSizedStringKeepsItsRoom) {
    JString sized(5);
    sized += "ab";
    std::strcpy(sized, "1234567");
    EXPECT_STREQ(sized, "1234567");
}

TEST(JStringTest, AppendingATrueAppendsOne) {
    JString s("x");
    s += true;
    EXPECT_STREQ(s, "x1");
}

// ---- concatenation ----

TEST(JStringTest, PlusLeavesItsOperandsAlone) {
    const JString a("a");
    const JString b("b");
    const JString sum = a + b;
    EXPECT_STREQ(sum, "ab");
    EXPECT_EQ(sum.length(), 2);
    EXPECT_STREQ(a, "a");
    EXPECT_STREQ(b, "b");
}

TEST(JStringTest, PlusOfANullTextIsTheOther) {
    const JString s("a");
    EXPECT_STREQ(s + NO_TEXT, "a");
    EXPECT_STREQ(NO_TEXT + s, "a");
}

TEST(JStringTest, PlusOfNothingKeepsTheLengthOfTheLeft) {
    EXPECT_EQ((JString(5) + "").length(), 5);
    EXPECT_EQ((JString(5) + "ab").length(), 2);
}

TEST(JStringTest, PlusRendersNumbers) {
    const JString s("n=");
    EXPECT_STREQ(s + 'c', "n=c");
    EXPECT_STREQ(s + '\0', "n=");
    EXPECT_STREQ(s + INT_MIN, "n=-2147483648");
    EXPECT_STREQ(s + -7L, "n=-7");
    EXPECT_STREQ(s + -3LL, "n=-3");
    EXPECT_STREQ(s + 4294967296LL, "n=4294967296");
    EXPECT_STREQ(s + JInteger(9), "n=9");
}

TEST(JStringTest, PlusRendersUnsignedNumbersAsSignedOnes) {
    const JString s;
    EXPECT_STREQ(s + 2147483647UL, "2147483647");
    EXPECT_STREQ(s + 2147483648UL, "-2147483648");
    EXPECT_STREQ(s + 4294967295UL, "-1");
    EXPECT_STREQ(s + 4294967295u, "-1");
    EXPECT_STREQ(s + ULLONG_MAX, "-1");
}

TEST(JStringTest, PlusRendersALongThroughAnInt) {
    const JString s;
    const bool wide = sizeof(long) > sizeof(int);
    EXPECT_STREQ(s + LONG_MAX, wide ? "-1" : "2147483647");
    EXPECT_STREQ(s + LONG_MIN, wide ? "0" : "-2147483648");
    EXPECT_STREQ(s + ULONG_MAX, "-1");
}

TEST(JStringTest, PlusRendersBooleans) {
    EXPECT_STREQ(JString("x") + true, "xtrue");
    EXPECT_STREQ(JString("x") + false, "xfalse");
}
