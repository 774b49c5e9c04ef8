// Drives every operation of JString with arbitrary bytes and indexes. Whatever the bytes are, nothing outside
// of the string's array may be touched (the sanitizers watch that) and the array stays terminated. Where the
// text holds no NUL, results are compared with a naive model over std::string.
#include "core/JString.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <fuzzer/FuzzedDataProvider.h>
#include <string>
#include <utility>

#include "Require.h"

namespace {

constexpr int MAX_TEXT = 4096;  // a string appended to itself again and again would fill the memory
const std::string BLANKS = " \t\r\n";

std::string textOf(const JString& s) {
    return s.toCharArray();
}

std::string bytesOf(const JString& s) {
    return std::string(s.toCharArray(), static_cast<std::size_t>(s.length()));
}

bool isPlain(const JString& s) {
    return static_cast<std::size_t>(s.length()) == std::strlen(s.toCharArray());
}

int sign(int n) {
    return (n > 0) - (n < 0);
}

int sizeOf(const std::string& s) {
    return static_cast<int>(s.size());
}

void requireTerminated(const JString& s) {
    REQUIRE(s.toCharArray() != nullptr);
    REQUIRE(s.length() >= 0);
    REQUIRE(s.toCharArray()[std::max(s.length(), sizeOf(textOf(s)))] == '\0');
}

/** Mostly around the text's ends, sometimes anything. */
int anyIndex(FuzzedDataProvider& input, const JString& s) {
    return input.ConsumeIntegralInRange(0, 7) == 0 ? input.ConsumeIntegral<int>()
                                                   : input.ConsumeIntegralInRange(-3, s.length() + 3);
}

std::string anyText(FuzzedDataProvider& input) {
    return input.ConsumeRandomLengthString(64).c_str();  // up to the first NUL
}

JString anyString(FuzzedDataProvider& input) {
    const std::string bytes = input.ConsumeRandomLengthString(64);
    switch (input.ConsumeIntegralInRange(0, 4)) {
        case 0:
            return JString(bytes.c_str());
        case 1:
            return JString(input.ConsumeIntegral<char>());
        case 2:
            return JString(input.ConsumeIntegralInRange(-2, MAX_TEXT));
        case 3: {
            const int offset = input.ConsumeIntegralInRange(0, sizeOf(bytes));
            return JString(bytes.data(), offset, input.ConsumeIntegralInRange(-1, sizeOf(bytes) - offset));
        }
        default:
            return JString(bytes.data(), 0, sizeOf(bytes));
    }
}

// ---- the operations, by the headings of the header ----

void copies(JString& s, FuzzedDataProvider&) {
    const JString copy(s);
    REQUIRE(bytesOf(copy) == bytesOf(s));
    REQUIRE(bytesOf(JString(&s)) == bytesOf(s));
    JObject* const clone = s.clone();
    REQUIRE(s.equals(*clone));
    REQUIRE(clone->hashCode() == s.hashCode());
    delete clone;
}

void moves(JString& s, FuzzedDataProvider& input) {
    const std::string text = textOf(s);
    const std::string bytes = bytesOf(s);
    if (input.ConsumeBool()) {
        JString moved(std::move(s));
        REQUIRE(bytesOf(moved) == bytes && textOf(moved) == text);
        REQUIRE(bytesOf(s).empty() && textOf(s).empty());
        s = std::move(moved);
    } else {
        JString target("former");
        target = std::move(s);
        REQUIRE(isPlain(target) && textOf(target) == text);
        REQUIRE(bytesOf(s).empty() && textOf(s).empty());
        s = target;
    }
    REQUIRE(textOf(s) == text);
}

void access(JString& s, FuzzedDataProvider& input) {
    const int i = anyIndex(input, s);
    const std::string bytes = bytesOf(s);
    const bool inside = i >= 0 && i < s.length();
    const signed char expected =
        inside ? static_cast<signed char>(bytes[static_cast<std::size_t>(i)]) : static_cast<signed char>(0);
    // At length() stands the array's own NUL, unless the text reaches beyond length().
    if (isPlain(s)) REQUIRE(s.charAt(i) == expected);
    if (inside) REQUIRE(s[i] == expected);
}

void hashes(JString& s, FuzzedDataProvider&) {
    const std::string bytes = bytesOf(s);
    std::uint32_t h = 0;
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        h = 31 * h + static_cast<std::uint32_t>(static_cast<signed char>(bytes[i]));
    }
    REQUIRE(s.hashCode() == static_cast<int>(h));
}

void compares(JString& s, FuzzedDataProvider& input) {
    JString other = anyString(input);
    const int expected = std::strcmp(s.toCharArray(), other.toCharArray());
    REQUIRE(sign(JString::Compare(s, other)) == sign(expected));
    REQUIRE(sign(JString::Compare(static_cast<const char*>(s.toCharArray()), other)) == sign(expected));
    REQUIRE(sign(JString::Compare(s, static_cast<const char*>(other.toCharArray()))) == sign(expected));
    REQUIRE((s == other) == (expected == 0));
    REQUIRE((s < other) == (expected < 0));
    REQUIRE(s.equals(static_cast<const JString&>(other)) == (expected == 0));
    JObject& object = other;
    REQUIRE(!s.equals(object) || expected == 0);
}

void searches(JString& s, FuzzedDataProvider& input) {
    const JString needle = anyString(input);
    const int ch = input.ConsumeIntegralInRange(-200, 300);
    const int from = anyIndex(input, s);
    const int text = s.indexOf(needle, from);
    const int byte = s.indexOf(ch, from);
    const int last = s.lastIndexOf(ch, from);
    REQUIRE(text == s.indexOf(textOf(needle).c_str(), from));
    REQUIRE(s.indexOf(needle) == s.indexOf(needle, 0));
    REQUIRE(s.indexOf(ch) == s.indexOf(ch, 0));
    REQUIRE(s.lastIndexOf(ch) == s.lastIndexOf(ch, s.length() - 1));
    if (!isPlain(s)) return;

    const std::string model = textOf(s) + '\0';  // the terminator can be found, too
    const bool inside = from >= 0 && from < s.length();
    const auto found = [inside](std::size_t at) {
        return inside && at != std::string::npos ? static_cast<int>(at) : -1;
    };
    const std::size_t start = inside ? static_cast<std::size_t>(from) : 0;
    REQUIRE(text == found(model.find(textOf(needle), start)));
    REQUIRE(byte == found(model.find(static_cast<char>(ch), start)));
    const std::size_t lastAt = model.rfind(static_cast<char>(ch));
    const bool hit =
        from >= 0 && lastAt != std::string::npos && static_cast<int>(lastAt) <= std::min(s.length(), from);
    REQUIRE(last == (hit ? static_cast<int>(lastAt) : -1));
}

void searchesAtTheEnds(JString& s, FuzzedDataProvider& input) {
    const JString part = anyString(input);
    const int from = anyIndex(input, s);
    const bool starts = s.startsWith(part, from);
    const bool ends = s.endsWith(part);
    REQUIRE(s.startsWith(part) == s.startsWith(part, 0));
    if (!isPlain(s)) return;

    const std::string model = textOf(s);
    const std::string p = textOf(part);
    REQUIRE(starts == (from >= 0 && from <= s.length() &&
                       model.compare(static_cast<std::size_t>(from), p.size(), p) == 0));
    REQUIRE(ends == (p.size() <= model.size() && model.compare(model.size() - p.size(), p.size(), p) == 0));
}

void takesSubstrings(JString& s, FuzzedDataProvider& input) {
    const int begin = anyIndex(input, s);
    const int end = anyIndex(input, s);
    const JString result = s.substring(begin, end);
    requireTerminated(result);
    REQUIRE(bytesOf(s.substring(begin)) == bytesOf(s.substring(begin, s.length())));
    const int e = std::min(s.length(), end);
    const int b = std::min(std::max(begin, 0), e);
    const std::string expected =
        e > b ? bytesOf(s).substr(static_cast<std::size_t>(b), static_cast<std::size_t>(e - b)) : "";
    REQUIRE(bytesOf(result) == expected);
}

void trims(JString& s, FuzzedDataProvider& input) {
    const std::string set = anyText(input);
    const JString both = s.trim();
    const JString left = s.trimLeft();
    const JString right = s.trimRight();
    const JString without = s.trimDef(set.c_str());
    for (const JString* result : {&both, &left, &right, &without}) requireTerminated(*result);

    const std::string model = bytesOf(s);
    const std::size_t first = model.find_first_not_of(BLANKS);
    const std::size_t last = model.find_last_not_of(BLANKS);
    const bool blank = first == std::string::npos;
    REQUIRE(bytesOf(both) == (blank ? "" : model.substr(first, last - first + 1)));
    REQUIRE(bytesOf(right) == (blank ? "" : model.substr(0, last + 1)));
    REQUIRE(bytesOf(left) == (blank ? "" : model.substr(first + 1) + '\0'));

    std::string kept = textOf(s);
    kept.erase(
        std::remove_if(kept.begin(), kept.end(), [&](char c) { return set.find(c) != std::string::npos; }),
        kept.end());
    REQUIRE(bytesOf(without) == kept);
}

void mapsBytes(JString& s, FuzzedDataProvider& input) {
    const int from = input.ConsumeIntegralInRange(-200, 300);
    const int to = input.ConsumeIntegralInRange(-200, 300);
    std::string model = bytesOf(s);
    const bool isByte = from >= -128 && from <= 255;
    if (isByte) std::replace(model.begin(), model.end(), static_cast<char>(from), static_cast<char>(to));
    const JString replaced = s.replase(from, to);
    requireTerminated(replaced);
    REQUIRE(bytesOf(replaced) == model);
    REQUIRE(bytesOf(s.replase(from, to, 1)) == model);

    const JString lower = s.toLowerCase();
    const JString upper = s.toUpperCase();
    REQUIRE(lower.length() == s.length() && upper.length() == s.length());
    REQUIRE(bytesOf(lower.toUpperCase()) == bytesOf(upper));
}

void shortens(JString& s, FuzzedDataProvider& input) {
    const int n = input.ConsumeBool() ? anyIndex(input, s) : input.ConsumeIntegralInRange(0, 8);
    const JString result = s.toMax(n);
    requireTerminated(result);
    REQUIRE(result.length() == s.length());
    REQUIRE(sizeOf(textOf(result)) <= std::max(n, 0));
    if (n >= 4 && n >= sizeOf(textOf(s))) REQUIRE(textOf(result) == textOf(s));
}

void copiesBytes(JString& s, FuzzedDataProvider&) {
    const JByte bytes = s.getBytes();
    REQUIRE(bytes.size() == s.length());
    REQUIRE(std::memcmp(static_cast<const char*>(bytes), s.toCharArray(),
                        static_cast<std::size_t>(s.length())) == 0);
}

void adjustsRanges(JString& s, FuzzedDataProvider& input) {
    int offset = anyIndex(input, s);
    int len = anyIndex(input, s);
    const int asked = offset;
    const bool ordinary = offset >= 0 && len >= 0;
    const int n = JString::charsAdjust(s.toCharArray(), offset, len);
    REQUIRE(n == sizeOf(textOf(s)));
    REQUIRE(offset >= 0 && offset <= n);
    REQUIRE(offset >= std::min(std::max(asked, 0), n) - 1);
    if (!ordinary) return;
    REQUIRE(offset + len <= n);
    REQUIRE(len >= 0);
}

void assigns(JString& s, FuzzedDataProvider& input) {
    if (input.ConsumeBool()) {
        s = anyString(input);
    } else {
        const std::string text = textOf(s);
        s = static_cast<const char*>(s.toCharArray());
        REQUIRE(isPlain(s) && textOf(s) == text);
    }
}

void appendsText(JString& s, FuzzedDataProvider& input) {
    const JString tail = anyString(input);
    const std::string expected = textOf(s) + textOf(tail);
    JString joined(s);
    joined += tail;
    REQUIRE(textOf(s + tail) == expected);
    REQUIRE(bytesOf(s + tail) == bytesOf(joined));
    s += tail;
    REQUIRE(textOf(s) == expected);
}

void appendsItself(JString& s, FuzzedDataProvider&) {
    const std::string expected = textOf(s) + textOf(s);
    s += s;
    REQUIRE(textOf(s) == expected);
}

void appendsNumbers(JString& s, FuzzedDataProvider& input) {
    const long long n = input.ConsumeIntegral<long long>();
    const int low = static_cast<int>(n);
    const std::string text = textOf(s);
    REQUIRE(textOf(s + low) == text + std::to_string(low));
    REQUIRE(textOf(s + static_cast<long>(n)) == text + std::to_string(low));
    REQUIRE(textOf(s + static_cast<unsigned long>(n)) == text + std::to_string(low));
    REQUIRE(textOf(s + n) == text + std::to_string(n));
    REQUIRE(textOf(s + (low > 0)) == text + (low > 0 ? "true" : "false"));
    s += low;
    REQUIRE(textOf(s) == text + std::to_string(low));
}

void appendsCharacter(JString& s, FuzzedDataProvider& input) {
    const char c = input.ConsumeIntegral<char>();
    const std::string expected = (textOf(s) + c).c_str();
    REQUIRE(textOf(s + c) == expected);
    s += c;
    REQUIRE(textOf(s) == expected);
}

constexpr void (*OPERATIONS[])(JString&, FuzzedDataProvider&) = {
    copies,          access,      hashes,        compares,       searches,         searchesAtTheEnds,
    takesSubstrings, trims,       mapsBytes,     shortens,       copiesBytes,      adjustsRanges,
    assigns,         appendsText, appendsItself, appendsNumbers, appendsCharacter, moves,
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    JString s = anyString(input);
    while (input.remaining_bytes() > 0) {
        input.PickValueInArray(OPERATIONS)(s, input);
        requireTerminated(s);
        if (s.length() > MAX_TEXT) s = "";
    }
    return 0;
}
