#include "system/detail/KoreanTable.h"
#include "system/JSystem.h"

namespace {

constexpr unsigned char CONTINUATION = 0x80;  ///< the top two bits of every byte but the first
constexpr int LONGEST = 6;

/** One row per length of a UTF-8 sequence, from 2 to 6. */
struct Form {
    unsigned char lead;  ///< the marker bits of the first byte, and the smallest first byte of this length
    unsigned char leastSecond;  ///< the smallest second byte behind that first byte: a smaller one makes an
                                ///< overlong form
    unsigned long limit;        ///< the first value that does not fit any more
};

constexpr Form FORMS[] = {
    {0xC0, 0x80, 0x800UL},     {0xE0, 0xA0, 0x10000UL},    {0xF0, 0x90, 0x200000UL},
    {0xF8, 0x88, 0x4000000UL}, {0xFC, 0x84, 0x80000000UL},
};

constexpr const Form& formOf(int length) {
    return FORMS[length - 2];
}

bool isContinuation(unsigned char b) {
    return (b & 0xC0) == CONTINUATION;
}

/** The length that a first byte from 0xC2 to 0xFD announces. */
int announcedLength(unsigned char first) {
    int length = 2;
    while (length < LONGEST && first >= formOf(length + 1).lead) length++;
    return length;
}

int encodedLength(unsigned long wc) {
    if (wc < 0x80) return 1;
    int length = 2;
    while (length < LONGEST && wc >= formOf(length).limit) length++;
    return length;
}

}  // namespace

int JSystem::mbtowc(unsigned long* wc, unsigned char* s, int n) {
    if (n < 1) return 0;
    const unsigned char first = s[0];
    if (first < 0x80) {
        *wc = first;
        return 1;
    }
    if (first < 0xC2 || first > 0xFD) return -1;
    const int length = announcedLength(first);
    if (n < length) return 0;
    const Form& form = formOf(length);
    if (first == form.lead && s[1] < form.leastSecond) return -1;

    unsigned long value = first & (0x3FU >> (length - 1));
    for (int i = 1; i < length; i++) {
        if (!isContinuation(s[i])) return -1;
        value = value << 6 | (s[i] & 0x3FU);
    }
    *wc = value;
    return length;
}

int JSystem::wctomb(unsigned char* r, int n, unsigned long wc) {
    if (wc >= formOf(LONGEST).limit) return -1;
    const int length = encodedLength(wc);
    if (n < length) return 0;
    for (int i = length - 1; i > 0; i--) {
        r[i] = static_cast<unsigned char>(CONTINUATION | (wc & 0x3F));
        wc >>= 6;
    }
    r[0] = static_cast<unsigned char>(length > 1 ? wc | formOf(length).lead : wc);
    return length;
}

int JSystem::kstowc(unsigned short* wc, unsigned char* s, int) {
    *wc = '?';
    const unsigned char lead = s[0];
    if (lead < 0x80) {
        *wc = lead;
        return 1;
    }
    const unsigned char trail = s[1];
    if (lead < 0xA1 || lead > 0xFE || trail < 0x80 || trail > 0xFE) return 2;
    const unsigned char* entry = jay::detail::koreanTable[lead - 0xA1][trail - 0x80];
    *wc = static_cast<unsigned short>(entry[0] << 8 | entry[1]);
    return 2;
}

void JSystem::C2W(JString&, JByte&) {
}

void JSystem::W2C(unsigned short*, JString&) {
}
