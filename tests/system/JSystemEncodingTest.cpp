#include <cerrno>
#include <gtest/gtest.h>
#include <iconv.h>
#include <string>
#include <vector>

#include "core/JByte.h"
#include "core/JString.h"
#include "system/JSystem.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned long UNTOUCHED = 0x12345;

struct Decoded {
    int result;
    unsigned long wc;
    bool operator==(const Decoded& other) const { return result == other.result && wc == other.wc; }
};

std::ostream& operator<<(std::ostream& out, const Decoded& d) {
    return out << "{" << d.result << ", 0x" << std::hex << d.wc << std::dec << "}";
}

/** Decodes the first `n` bytes, in a block of exactly that size, so that a read beyond them is noticed. */
Decoded decode(const Bytes& bytes, size_t n) {
    Bytes exact(bytes.begin(), bytes.begin() + static_cast<long>(n));
    unsigned long wc = UNTOUCHED;
    const int result = JSystem::mbtowc(&wc, exact.data(), static_cast<int>(n));
    return {result, wc};
}

Decoded decode(const Bytes& bytes) {
    return decode(bytes, bytes.size());
}

/** The encoding; a byte behind it stands for what must not be touched. */
Bytes encode(unsigned long wc, int room, int& result) {
    Bytes bytes(8, 0xEE);
    result = JSystem::wctomb(bytes.data(), room, wc);
    return Bytes(bytes.begin(), bytes.begin() + std::max(result, 0));
}

Bytes encode(unsigned long wc) {
    int result = 0;
    return encode(wc, 6, result);
}

unsigned korean(unsigned lead, unsigned trail, int expectedResult = 2) {
    unsigned char bytes[] = {static_cast<unsigned char>(lead), static_cast<unsigned char>(trail)};
    unsigned short wc = 0xDEAD;
    EXPECT_EQ(JSystem::kstowc(&wc, bytes, 2), expectedResult);
    return wc;
}

/** The C library's own converter, which knows nothing of the library's table. */
class Converter {
public:
    Converter() : handle_(iconv_open("UTF-16BE", "CP949")) {}
    ~Converter() {
        if (exists()) iconv_close(handle_);
    }
    bool exists() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

    /** The one 16-bit value of a pair, '?' if it has none. */
    unsigned convert(unsigned lead, unsigned trail) {
        char in[] = {static_cast<char>(lead), static_cast<char>(trail)};
        unsigned char out[8] = {};
        char* from = in;
        char* to = reinterpret_cast<char*>(out);
        size_t left = sizeof in;
        size_t room = sizeof out;
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        const bool converted =
            iconv(handle_, &from, &left, &to, &room) != static_cast<size_t>(-1) && left == 0;
        return converted && room == sizeof out - 2 ? static_cast<unsigned>(out[0] << 8 | out[1]) : '?';
    }

private:
    iconv_t handle_;
};

}  // namespace

// ---- UTF-8 to wide ----

TEST(JSystemEncodingTest, Mbtowc_DecodesEveryLength) {
    EXPECT_EQ(decode({'A'}), (Decoded{1, 'A'}));
    EXPECT_EQ(decode({0x00}), (Decoded{1, 0}));
    EXPECT_EQ(decode({0xC3, 0xA9}), (Decoded{2, 0xE9}));
    EXPECT_EQ(decode({0xEA, 0xB0, 0x80}), (Decoded{3, 0xAC00}));
    EXPECT_EQ(decode({0xF0, 0x9F, 0x98, 0x80}), (Decoded{4, 0x1F600}));
    EXPECT_EQ(decode({0xF8, 0x88, 0x80, 0x80, 0x80}), (Decoded{5, 0x200000}));
    EXPECT_EQ(decode({0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF}), (Decoded{6, 0x7FFFFFFF}));
}

TEST(JSystemEncodingTest, Mbtowc_AcceptsSurrogates) {
    EXPECT_EQ(decode({0xED, 0xA0, 0x80}), (Decoded{3, 0xD800}));
}

TEST(JSystemEncodingTest, Mbtowc_RefusesWhatIsNoFirstByte) {
    for (unsigned first = 0x80; first <= 0xC1; first++) {
        EXPECT_EQ(decode({static_cast<unsigned char>(first), 0x80, 0x80}), (Decoded{-1, UNTOUCHED})) << first;
    }
}

TEST(JSystemEncodingTest, Mbtowc_RefusesFEAndFFBeforeItLooksAtTheLength) {
    EXPECT_EQ(decode({0xFE}), (Decoded{-1, UNTOUCHED}));
    EXPECT_EQ(decode({0xFF}), (Decoded{-1, UNTOUCHED}));
}

TEST(JSystemEncodingTest, Mbtowc_ReportsTooFewBytesWhateverTheyAre) {
    EXPECT_EQ(decode({0xC3}, 1), (Decoded{0, UNTOUCHED}));
    EXPECT_EQ(decode({0xE0, 0x00}, 2), (Decoded{0, UNTOUCHED}));
    EXPECT_EQ(decode({0xF0, 0x00, 0x00}, 3), (Decoded{0, UNTOUCHED}));
    EXPECT_EQ(decode({0xF8, 0x00, 0x00, 0x00}, 4), (Decoded{0, UNTOUCHED}));
    EXPECT_EQ(decode({0xFC, 0x00, 0x00, 0x00, 0x00}, 5), (Decoded{0, UNTOUCHED}));
    EXPECT_EQ(decode({'A'}, 0), (Decoded{0, UNTOUCHED}));
}

TEST(JSystemEncodingTest, Mbtowc_RefusesOverlongForms) {
    EXPECT_EQ(decode({0xE0, 0x80, 0x80}), (Decoded{-1, UNTOUCHED}));
    EXPECT_EQ(decode({0xE0, 0x9F, 0xBF}), (Decoded{-1, UNTOUCHED}));
    EXPECT_EQ(decode({0xE0, 0xA0, 0x80}), (Decoded{3, 0x800}));
    EXPECT_EQ(decode({0xF0, 0x8F, 0xBF, 0xBF}), (Decoded{-1, UNTOUCHED}));
    EXPECT_EQ(decode({0xF0, 0x90, 0x80, 0x80}), (Decoded{4, 0x10000}));
    EXPECT_EQ(decode({0xF8, 0x87, 0xBF, 0xBF, 0xBF}), (Decoded{-1, UNTOUCHED}));
    EXPECT_EQ(decode({0xFC, 0x83, 0xBF, 0xBF, 0xBF, 0xBF}), (Decoded{-1, UNTOUCHED}));
    EXPECT_EQ(decode({0xFC, 0x84, 0x80, 0x80, 0x80, 0x80}), (Decoded{6, 0x4000000}));
}

TEST(JSystemEncodingTest, Mbtowc_RefusesAByteThatDoesNotContinueInEveryPlace) {
    const Bytes valid[] = {{0xC3, 0xA9},
                           {0xEA, 0xB0, 0x80},
                           {0xF1, 0x9F, 0x98, 0x80},
                           {0xF9, 0x88, 0x80, 0x80, 0x80},
                           {0xFD, 0x84, 0x80, 0x80, 0x80, 0x80}};
    for (const Bytes& sequence : valid) {
        for (size_t i = 1; i < sequence.size(); i++) {
            for (const unsigned char wrong : Bytes{0x00, 0x7F, 0xC0, 0xFF}) {
                Bytes broken = sequence;
                broken[i] = wrong;
                EXPECT_EQ(decode(broken), (Decoded{-1, UNTOUCHED})) << sequence.size() << " " << i;
            }
        }
    }
}

// ---- wide to UTF-8 ----

TEST(JSystemEncodingTest, Wctomb_EncodesEveryLengthAtItsLimits) {
    EXPECT_EQ(encode(0), Bytes({0x00}));
    EXPECT_EQ(encode(0x7F), Bytes({0x7F}));
    EXPECT_EQ(encode(0x80), Bytes({0xC2, 0x80}));
    EXPECT_EQ(encode(0x7FF), Bytes({0xDF, 0xBF}));
    EXPECT_EQ(encode(0x800), Bytes({0xE0, 0xA0, 0x80}));
    EXPECT_EQ(encode(0xAC00), Bytes({0xEA, 0xB0, 0x80}));
    EXPECT_EQ(encode(0xFFFF), Bytes({0xEF, 0xBF, 0xBF}));
    EXPECT_EQ(encode(0x10000), Bytes({0xF0, 0x90, 0x80, 0x80}));
    EXPECT_EQ(encode(0x1FFFFF), Bytes({0xF7, 0xBF, 0xBF, 0xBF}));
    EXPECT_EQ(encode(0x200000), Bytes({0xF8, 0x88, 0x80, 0x80, 0x80}));
    EXPECT_EQ(encode(0x3FFFFFF), Bytes({0xFB, 0xBF, 0xBF, 0xBF, 0xBF}));
    EXPECT_EQ(encode(0x4000000), Bytes({0xFC, 0x84, 0x80, 0x80, 0x80, 0x80}));
    EXPECT_EQ(encode(0x7FFFFFFF), Bytes({0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF}));
}

TEST(JSystemEncodingTest, Wctomb_RefusesMoreThan31Bits) {
    int result = 0;
    encode(0x80000000UL, 6, result);
    EXPECT_EQ(result, -1);
    encode(~0UL, 0, result);
    EXPECT_EQ(result, -1);
}

TEST(JSystemEncodingTest, Wctomb_WritesNothingWithoutRoom) {
    unsigned char bytes[] = {0xEE, 0xEE};
    EXPECT_EQ(JSystem::wctomb(bytes, 2, 0x800), 0);
    EXPECT_EQ(bytes[0], 0xEE);
    EXPECT_EQ(JSystem::wctomb(bytes, 0, 'A'), 0);
    EXPECT_EQ(JSystem::wctomb(bytes, -1, 'A'), 0);
}

TEST(JSystemEncodingTest, Utf8_RoundTrips) {
    for (unsigned long wc = 0; wc < 0x80000000UL; wc += wc < 0x20000 ? 1 : 0x10007) {
        const Bytes bytes = encode(wc);
        const Decoded decoded = decode(bytes);
        ASSERT_EQ(decoded, (Decoded{static_cast<int>(bytes.size()), wc}));
    }
}

// ---- Korean ----

TEST(JSystemEncodingTest, Kstowc_TakesASingleByteAsItIs) {
    for (unsigned c = 0; c < 0x80; c++) EXPECT_EQ(korean(c, 0xA1, 1), c);
}

TEST(JSystemEncodingTest, Kstowc_DecodesBothRepertoires) {
    EXPECT_EQ(korean(0xA1, 0xA1), 0x3000u);
    EXPECT_EQ(korean(0xB0, 0xA1), 0xAC00u);
    EXPECT_EQ(korean(0xC8, 0xFE), 0xD79Du);
}

TEST(JSystemEncodingTest, Kstowc_MapsTheUserDefinedRowsToThePrivateUseArea) {
    EXPECT_EQ(korean(0xC9, 0xA1), 0xE000u);
    EXPECT_EQ(korean(0xC9, 0xFE), 0xE05Du);
    EXPECT_EQ(korean(0xFE, 0xA1), 0xE05Eu);
    EXPECT_EQ(korean(0xFE, 0xFE), 0xE0BBu);
}

TEST(JSystemEncodingTest, Kstowc_PassesOverAnInvalidPairAsAQuestionMark) {
    EXPECT_EQ(korean(0x80, 0xA1), '?');
    EXPECT_EQ(korean(0xA0, 0xA1), '?');
    EXPECT_EQ(korean(0xFF, 0xA1), '?');
    EXPECT_EQ(korean(0xA1, 0x41), '?');
    EXPECT_EQ(korean(0xB0, 0x7F), '?');
    EXPECT_EQ(korean(0xB0, 0x80), '?');
    EXPECT_EQ(korean(0xB0, 0xFF), '?');
}

TEST(JSystemEncodingTest, Kstowc_DoesNotLookAtTheCount) {
    unsigned char bytes[] = {0xB0, 0xA1};
    unsigned short wc = 0;
    EXPECT_EQ(JSystem::kstowc(&wc, bytes, 0), 2);
    EXPECT_EQ(wc, 0xAC00);
}

TEST(JSystemEncodingTest, Kstowc_AgreesWithAnIndependentConverterOnEveryPair) {
    Converter independent;
    if (!independent.exists()) {
        GTEST_SKIP() << "the C library of this architecture has no converter for code page 949 installed";
    }
    for (unsigned lead = 0; lead < 0x100; lead++) {
        for (unsigned trail = 0; trail < 0x100; trail++) {
            const bool inTable = lead >= 0xA1 && lead <= 0xFE && trail >= 0x80 && trail <= 0xFE;
            const bool userDefined = (lead == 0xC9 || lead == 0xFE) && trail >= 0xA1;
            // A later edition of the national standard defines A2E8; the code page does not.
            const bool tooNew = lead == 0xA2 && trail == 0xE8;
            unsigned expected = '?';
            if (lead < 0x80) {
                expected = lead;
            } else if (inTable && userDefined) {
                expected = (lead == 0xC9 ? 0xE000 : 0xE05E) + trail - 0xA1;
            } else if (inTable && !tooNew) {
                expected = independent.convert(lead, trail);
            }
            ASSERT_EQ(korean(lead, trail, lead < 0x80 ? 1 : 2), expected) << std::hex << lead << " " << trail;
        }
    }
}

// ---- whole strings ----

TEST(JSystemEncodingTest, WholeStringOperationsDoNothing) {
    JString text("abc");
    JByte wide("xy", 0, 2);
    JSystem::C2W(text, wide);
    unsigned short none[] = {'a', 0};
    JSystem::W2C(none, text);
    EXPECT_STREQ(text, "abc");
    ASSERT_EQ(wide.size(), 2);
    EXPECT_EQ(wide[0], 'x');
    EXPECT_EQ(none[0], 'a');
}
