#include "core/JString.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <utility>

#include "core/detail/Letters.h"
#include "core/detail/TextSize.h"
#include "core/JNumber.h"

using jay::detail::textLength;
using jay::detail::textSize;
using jay::detail::toLower;
using jay::detail::toUpper;

const JClass JString::classJString = {"JString", sizeof(JString), &JObject::classJObject};

namespace {

constexpr int NUMBER_TEXT = 40;

/**
 * The array of every empty string without room, so that making, moving and destroying one allocates nothing. It is not
 * const, because strings hand out their array to be written; nothing but its NUL may be written here.
 */
char emptyText[1];

/**
 * An array with room for a text of `room` bytes and its NUL: a copy of `n` bytes, then zeroes. Nothing is left as it came
 * from the heap, because getBytes() may show all of it.
 */
char* newText(const char* bytes, int n, int room) {
    if (room == 0) return emptyText;
    char* text = new char[static_cast<std::size_t>(room) + 1];
    std::memcpy(text, bytes, static_cast<std::size_t>(n));
    std::memset(text + n, 0, static_cast<std::size_t>(room - n) + 1);
    return text;
}

void release(char* text) {
    if (text != emptyText) delete[] text;
}

/** Ends a text. An empty one is left alone: it may be the array that all empty strings share. */
void cut(char* end) {
    if (*end != '\0') *end = '\0';
}

const char* orEmpty(const char* s) {
    return s == nullptr ? "" : s;
}

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/** Whether `c` is part of a double-byte character. */
bool isDouble(char c) {
    return static_cast<unsigned char>(c) >= 128;
}

/** The number of bytes of double-byte characters that end just before `end`, not counting beyond `begin`. */
long long doubleRun(const char* text, long long begin, long long end) {
    long long start = end;
    while (start > begin && isDouble(text[start - 1])) --start;
    return end - start;
}

/** The index of `found` in `text`, -1 if it is null. */
int indexIn(const char* text, const char* found) {
    return found == nullptr ? -1 : textSize(found - text);
}

}  // namespace

// ---- construction ----

JString::JString() : data(emptyText), hash(0), length_(0) {
}

JString::JString(const char* s) : JString(s, 0, textLength(orEmpty(s))) {
}

JString::JString(const char* s, int offset, int len) : hash(0), length_(s == nullptr ? 0 : std::max(len, 0)) {
    data = newText(length_ == 0 ? "" : s + offset, length_, length_);
}

JString::JString(char c) : JString(&c, 0, 1) {
}

JString::JString(signed char c) : JString(static_cast<char>(c)) {
}

JString::JString(int capacity) : hash(0), length_(std::max(capacity, 0)) {
    data = newText("", 0, length_);
}

JString::JString(const JString& other) : JString(&other, 0) {
}

JString::JString(const JString* other) : JString(other, 0) {
}

JString::JString(JString&& other) noexcept : JObject(), data(other.data), hash(0), length_(other.length_) {
    other.forget();
}

/** A copy whose array holds at least `room` bytes and a NUL. */
JString::JString(const JString* other, int room)
    : JObject(), hash(0), length_(other == nullptr ? 0 : other->length_) {
    const int bytes = other == nullptr ? 0 : other->occupied();
    data = newText(other == nullptr ? "" : other->data, bytes, std::max(bytes, room));
}

JString::~JString() {
    release(data);
}

/** Becomes the empty string. The array belongs to another string by now. */
void JString::forget() {
    data = emptyText;
    hash = 0;
    length_ = 0;
}

JObject* JString::clone() {
    return new JString(*this);
}

/**
 * The bytes of the array in use, not counting the NUL: length(), or more where the dots of toMax() went
 * beyond it.
 */
int JString::occupied() const {
    return data[length_] == '\0' ? length_ : std::max(length_, textLength(data));
}

// ---- access ----

// A negative index is outside of the text like one beyond it.
signed char JString::charAt(int i) const {
    return i < 0 || i > length_ ? static_cast<signed char>(0) : (*this)[i];
}

int JString::hashCode() {
    if (hash != 0) return hash;
    unsigned h = 0;
    for (int i = 0; i < length_; i += 2) h = 31 * h + static_cast<unsigned>((*this)[i]);
    hash = static_cast<int>(h);
    return hash;
}

const JClass* JString::getClass() const {
    return &classJString;
}

// ---- comparison ----

int JString::Compare(const JString& a, const JString& b) {
    return std::strcmp(a.data, b.data);
}

int JString::Compare(const char* a, const JString& b) {
    return a == nullptr ? -1 : std::strcmp(a, b.data);
}

int JString::Compare(const JString& a, const char* b) {
    return b == nullptr ? 1 : std::strcmp(a.data, b);
}

bool JString::equals(JObject& other) {
    if (!JObject::equals(other)) return false;
    return hashCode() == other.hashCode() && std::strcmp(data, static_cast<JString&>(other).data) == 0;
}

bool JString::equals(JObject* other) {
    return equals(*other);
}

bool JString::equals(const char* s) const {
    return s != nullptr && std::strcmp(data, s) == 0;
}

bool JString::equals(const JString* other) const {
    return std::strcmp(data, other->data) == 0;
}

bool JString::equals(const JString& other) const {
    return std::strcmp(data, other.data) == 0;
}

bool JString::equals(const char* s) {
    return std::as_const(*this).equals(s);
}

bool JString::equals(const JString* other) {
    return std::as_const(*this).equals(other);
}

bool JString::equals(const JString& other) {
    return std::as_const(*this).equals(other);
}

// ---- search ----

int JString::indexOf(const char* needle, int from) const {
    if (needle == nullptr || from < 0 || from >= length_) return -1;
    return indexIn(data, std::strstr(data + from, needle));
}

int JString::indexOf(const char* needle) const {
    return indexOf(needle, 0);
}

int JString::indexOf(const JString& needle, int from) const {
    return indexOf(needle.data, from);
}

int JString::indexOf(const JString& needle) const {
    return indexOf(needle.data, 0);
}

int JString::indexOf(int ch, int from) const {
    if (from < 0 || from >= length_) return -1;
    return indexIn(data, std::strchr(data + from, ch));
}

int JString::indexOf(int ch) const {
    return indexOf(ch, 0);
}

int JString::lastIndexOf(int ch, int from) const {
    if (from < 0) return -1;
    const int last = indexIn(data, std::strrchr(data, ch));
    return last > std::min(length_, from) ? -1 : last;
}

int JString::lastIndexOf(int ch) const {
    return lastIndexOf(ch, length_ - 1);
}

bool JString::startsWith(const char* p, int from) const {
    if (p == nullptr || from < 0 || from > length_) return false;
    const std::size_t size = std::strlen(p);
    if (size > static_cast<std::size_t>(length_ - from)) return false;
    return std::memcmp(data + from, p, size) == 0;
}

bool JString::startsWith(const char* p) const {
    return startsWith(p, 0);
}

bool JString::startsWith(const JString& p, int from) const {
    return startsWith(p.data, from);
}

bool JString::startsWith(const JString& p) const {
    return startsWith(p.data, 0);
}

bool JString::endsWith(const char* p) const {
    if (p == nullptr) return false;
    const std::size_t size = std::strlen(p);
    if (size > static_cast<std::size_t>(length_)) return false;
    return startsWith(p, length_ - static_cast<int>(size));
}

bool JString::endsWith(const JString& p) const {
    return endsWith(p.data);
}

// ---- derived strings ----

JString JString::substring(int begin, int end) const {
    const int e = std::min(length_, end);
    const int b = std::min(std::max(begin, 0), e);
    return JString(data, b, e - b);
}

JString JString::substring(int begin) const {
    return substring(begin, length_);
}

JString JString::trim() const {
    const char* begin = data;
    const char* end = data + length_;
    while (begin < end && isBlank(*begin)) ++begin;
    while (begin < end && isBlank(end[-1])) --end;
    return JString(begin, 0, static_cast<int>(end - begin));
}

JString JString::trimLeft() const {
    const int p = static_cast<int>(std::find_if_not(data, data + length_, isBlank) - data);
    if (p == length_) return JString();
    // Kept: one byte too far, and with the NUL in place of it.
    return JString(data, p + 1, length_ - p);
}

JString JString::trimRight() const {
    const char* end = data + length_;
    while (end > data && isBlank(end[-1])) --end;
    return JString(data, 0, static_cast<int>(end - data));
}

JString JString::trimDef(const char* set) const {
    const char* unwanted = orEmpty(set);
    JString result(*this);
    char* to = result.data;
    for (const char* from = data; *from != '\0'; ++from) {
        if (std::strchr(unwanted, *from) == nullptr) *to++ = *from;
    }
    cut(to);
    result.length_ = static_cast<int>(to - result.data);
    return result;
}

JString JString::toLowerCase() const {
    JString result(*this);
    std::transform(data, data + length_, result.data, toLower);
    return result;
}

JString JString::toUpperCase() const {
    JString result(*this);
    std::transform(data, data + length_, result.data, toUpper);
    return result;
}

JString JString::replase(int from, int to) const {
    return replase(from, to, 0);
}

JString JString::replase(int from, int to, int) const {
    JString result(*this);
    if (from < SCHAR_MIN || from > UCHAR_MAX) return result;
    std::replace(result.data, result.data + length_, static_cast<char>(from), static_cast<char>(to));
    return result;
}

JString JString::toMax(int n) const {
    if (n < 4) {
        // The dots may reach beyond the text, never beyond the array: the copy is made large enough for them.
        const int dots = std::max(n, 0);
        JString result(this, dots);
        std::memset(result.data, '.', static_cast<std::size_t>(dots));
        cut(result.data + dots);
        return result;
    }
    JString result(*this);
    if (n < textLength(data)) {
        const bool cutsCharacter = doubleRun(data, 0, n - 3) % 2 != 0;
        std::memcpy(result.data + n - (cutsCharacter ? 4 : 3), "...", 4);
    }
    return result;
}

JByte JString::getBytes() const {
    return JByte(data, 0, length_);
}

int JString::charsAdjust(const char* str, int& offset, int& len) {
    const char* text = orEmpty(str);
    const int n = textLength(text);
    // 64 bits: the sums of any arguments fit. What counts is only within the text, whatever the caller
    // asked for.
    long long begin = std::min(offset, n);
    const long long size = std::min<long long>(len, n - begin);
    if (begin >= 1 && doubleRun(text, 0, begin) % 2 != 0) --begin;
    begin = std::max(begin, 0LL);
    long long end = begin + size;
    // Beyond the text there is no character to cut.
    if (end > 0 && end <= n && doubleRun(text, begin, end) % 2 != 0) --end;
    offset = static_cast<int>(begin);
    len = static_cast<int>(std::min<long long>(n, end) - begin);
    return n;
}

// ---- modification ----

JString& JString::operator=(const char* s) {
    const char* text = orEmpty(s);
    const int size = textLength(text);
    if (fitsHere(size)) {
        std::memmove(data, text, static_cast<std::size_t>(size));  // the text may be this string's own
        data[size] = '\0';
    } else {
        char* fresh = newText(text, size, size);
        release(data);
        data = fresh;
    }
    hash = 0;
    length_ = size;
    return *this;
}

/** Whether a text can take the place of the present one without much of the array being left unused. */
bool JString::fitsHere(int size) const {
    return data != emptyText && size <= length_ && size >= length_ / 2;
}

JString& JString::operator=(const JString& other) {
    return *this = static_cast<const char*>(other.data);
}

JString& JString::operator=(JString&& other) noexcept {
    if (this == &other) return *this;
    release(data);
    data = other.data;
    hash = 0;
    length_ = static_cast<int>(std::strlen(data));  // as an assignment by copy counts it
    other.forget();
    return *this;
}

JString& JString::operator+=(const char* s) {
    if (s == nullptr || *s == '\0') return *this;
    const int head = textLength(data);
    const int tail = textLength(s);
    // Room for length() bytes even where the text is shorter than that: a pre-sized string keeps its
    // array's size.
    const int room = textSize(static_cast<long long>(std::max(length_, head)) + tail);
    char* fresh = newText(data, head, room);
    std::memcpy(fresh + head, s, static_cast<std::size_t>(tail));
    release(data);  // only now: it may be the source
    data = fresh;
    hash = 0;
    length_ = head + tail;
    return *this;
}

JString& JString::operator+=(const JString& s) {
    return *this += static_cast<const char*>(s.data);
}

JString& JString::operator+=(char c) {
    const char text[] = {c, '\0'};
    return *this += text;
}

JString& JString::operator+=(signed char c) {
    return *this += static_cast<char>(c);
}

JString& JString::operator+=(int n) {
    char text[NUMBER_TEXT];
    return *this += static_cast<const char*>(sys_itoa(n, text, 10));
}

JString& JString::operator+=(unsigned n) {
    return *this += static_cast<int>(n);
}

JString& JString::operator+=(long n) {
    return *this += static_cast<int>(n);
}

JString& JString::operator+=(unsigned long n) {
    return *this += static_cast<int>(n);
}

JString& JString::operator+=(long long n) {
    char text[NUMBER_TEXT];
    return *this += static_cast<const char*>(sys_i64toa(n, text, 10));
}

JString& JString::operator+=(unsigned long long n) {
    return *this += static_cast<long long>(n);
}

JString& JString::operator+=(const JInteger& n) {
    return *this += static_cast<int>(n);
}

// ---- comparison operators ----

bool operator==(const JString& a, const JString& b) {
    return JString::Compare(a, b) == 0;
}
bool operator==(const char* a, const JString& b) {
    return JString::Compare(a, b) == 0;
}
bool operator==(const JString& a, const char* b) {
    return JString::Compare(a, b) == 0;
}
bool operator!=(const JString& a, const JString& b) {
    return JString::Compare(a, b) != 0;
}
bool operator!=(const char* a, const JString& b) {
    return JString::Compare(a, b) != 0;
}
bool operator!=(const JString& a, const char* b) {
    return JString::Compare(a, b) != 0;
}
bool operator<(const JString& a, const JString& b) {
    return JString::Compare(a, b) < 0;
}
bool operator<(const char* a, const JString& b) {
    return JString::Compare(a, b) < 0;
}
bool operator<(const JString& a, const char* b) {
    return JString::Compare(a, b) < 0;
}
bool operator<=(const JString& a, const JString& b) {
    return JString::Compare(a, b) <= 0;
}
bool operator<=(const char* a, const JString& b) {
    return JString::Compare(a, b) <= 0;
}
bool operator<=(const JString& a, const char* b) {
    return JString::Compare(a, b) <= 0;
}
bool operator>(const JString& a, const JString& b) {
    return JString::Compare(a, b) > 0;
}
bool operator>(const char* a, const JString& b) {
    return JString::Compare(a, b) > 0;
}
bool operator>(const JString& a, const char* b) {
    return JString::Compare(a, b) > 0;
}
bool operator>=(const JString& a, const JString& b) {
    return JString::Compare(a, b) >= 0;
}
bool operator>=(const char* a, const JString& b) {
    return JString::Compare(a, b) >= 0;
}
bool operator>=(const JString& a, const char* b) {
    return JString::Compare(a, b) >= 0;
}

// ---- concatenation ----

/** The text of `length` bytes at `head`, followed by the text at `tail`: one allocation. */
JString JString::joined(const char* head, int length, const char* tail) {
    const int tailLength = textLength(tail);
    const int size = textSize(static_cast<long long>(length) + tailLength);
    JString result;
    result.data = newText(head, length, size);
    result.length_ = size;
    std::memcpy(result.data + length, tail, static_cast<std::size_t>(tailLength));
    return result;
}

JString JString::joined(const JString& a, const char* b) {
    if (b == nullptr || *b == '\0') return a;
    if (textLength(a.data) == a.length_) return joined(a.data, a.length_, b);
    JString result(a);  // its length is not that of its text; += handles that
    result += b;
    return result;
}

JString operator+(const JString& a, const JString& b) {
    return JString::joined(a, b.data);
}
JString operator+(const JString& a, const char* b) {
    return JString::joined(a, b);
}
JString operator+(const char* a, const JString& b) {
    const char* head = orEmpty(a);
    return JString::joined(head, textLength(head), b.data);
}
JString operator+(const JString& a, char c) {
    const char text[] = {c, '\0'};
    return JString::joined(a, text);
}
JString operator+(const JString& a, signed char c) {
    return a + static_cast<char>(c);
}
JString operator+(const JString& a, int n) {
    char text[NUMBER_TEXT];
    return JString::joined(a, sys_itoa(n, text, 10));
}
JString operator+(const JString& a, unsigned n) {
    return a + static_cast<int>(n);
}
JString operator+(const JString& a, long n) {
    return a + static_cast<int>(n);
}
JString operator+(const JString& a, unsigned long n) {
    return a + static_cast<int>(n);
}
JString operator+(const JString& a, long long n) {
    char text[NUMBER_TEXT];
    return JString::joined(a, sys_i64toa(n, text, 10));
}
JString operator+(const JString& a, unsigned long long n) {
    return a + static_cast<long long>(n);
}
JString operator+(const JString& a, const JInteger& n) {
    return a + static_cast<int>(n);
}
JString operator+(const JString& a, bool b) {
    return JString::joined(a, b ? "true" : "false");
}
