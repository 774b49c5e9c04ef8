#ifndef JAY_CORE_JSTRING_H
#define JAY_CORE_JSTRING_H

#include <type_traits>

#include "core/JByte.h"
#include "core/JInteger.h"
#include "core/JObject.h"

class JString;

namespace jay::detail {

struct JStringPeer;  // for the library's own tests

/** bool where one of A, B is a JString and the other a char* (or an array of char), else no type at all. */
template <class A, class B>
using IfStringAndBuffer =
    std::enable_if_t<(std::is_base_of_v<JString, A> && std::is_same_v<std::decay_t<B>, char*>) ||
                         (std::is_same_v<std::decay_t<A>, char*> && std::is_base_of_v<JString, B>),
                     bool>;

}  // namespace jay::detail

/**
 * A byte string with value semantics: text in a single-byte or double-byte code such as EUC-KR, never wide
 * characters.
 *
 * Operations that transform a string return a new one and leave this one as it is; only `=` and `+=` change
 * it. Every string owns its array, which is NUL-terminated and never null. Copying copies the text:
 * O(length), as does each `+=` (JStringBuffer collects long texts without that).
 *
 * Length and text. length() is a field. It is the number of bytes before the NUL except in strings
 *  - made by JString(int), which report their capacity,
 *  - made by trimLeft(), which count the NUL,
 *  - made by toMax(), which report the length of the text that was shortened,
 *  - into which a NUL was put (the range constructor, JString('\0'), replase()),
 * and in copies of these. Comparisons, lastIndexOf() and appending look at the text up to its NUL;
 * charAt(), hashCode(), substring(), the trim operations (but trimDef()), the case operations, replase()
 * and getBytes() go by length(). Whichever it is, bytes that were never written are zero.
 *
 * Memory. A failed allocation throws std::bad_alloc, as does a text of more than INT_MAX bytes; the string
 * that was to be changed is then what it was.
 *
 * Threads. Reading one string from several threads is safe as long as none of them calls hashCode() or
 * equals(JObject&): these store the hash code in the string.
 */
class JAY_API JString : public JObject {
public:
    static const JClass classJString;

    // ---- construction ----

    /** The empty text. */
    JString();

    /** A copy of `s`; the empty text if `s` is null. */
    JString(const char* s);

    /**
     * The `len` bytes at `s + offset`. The range is not checked and may hold NULs: length() is
     * `len` in any case. A null `s` or a negative `len` gives the empty text.
     */
    JString(const char* s, int offset, int len);

    /**
     * The text of one character. length() is 1 also for '\0'. A signed char is a character,
     * not a number, in all operations of this class.
     */
    JString(char c);
    JString(signed char c);

    /**
     * A pre-sized string: its text is empty and its array holds `capacity` bytes and a NUL, all zero. Kept:
     * length() reports the capacity (0 if that is negative).
     */
    explicit JString(int capacity);

    /**
     * Copies of the other's text and length, not of its cached hash code. A null pointer gives the empty
     * text.
     */
    JString(const JString& other);
    JString(const JString* other);

    /** Takes the other's text and length over without copying; the other becomes the empty string. */
    JString(JString&& other) noexcept;

    ~JString() override;

    /** A copy on the heap, owned by the caller. */
    JObject* clone() override;

    // ---- access ----

    /**
     * The text, NUL-terminated. Valid until the string is changed or destroyed. A program that writes through the
     * `char*` must stay within length(), and before the first call of hashCode(): a cached hash code is not updated.
     */
    operator const char*() const { return data; }
    operator char*() const { return data; }
    operator const void*() const { return data; }
    char* toCharArray() const { return data; }

    int length() const { return length_; }  ///< bytes before the terminator

    /** The byte at `i` as a signed number. `i` is not checked. */
    signed char operator[](int i) const { return static_cast<signed char>(data[i]); }

    /**
     * The same for the other integer types. Without it an index of type long would be ambiguous: the conversion to
     * char* offers the built-in operator, too.
     */
    template <class Index, class = std::enable_if_t<std::is_integral<Index>::value>>
    signed char operator[](Index i) const {
        return static_cast<signed char>(data[i]);
    }

    /**
     * The byte at `i` as a signed number; at length() the terminating NUL, and 0 for every `i` outside of
     * the text.
     */
    signed char charAt(int i) const;

    /**
     * h = 31 * h + byte over the bytes at 0, 2, 4, ... of length(), as signed numbers, wrapping around at
     * 32 bits. Kept: only every second byte takes part. The result is cached; a text whose hash code works
     * out to 0 is computed each time.
     */
    int hashCode() override;

    const JClass* getClass() const override;

    // ---- comparison ----

    /**
     * As strcmp. A null pointer compares below every string. The operators ==, !=, <, <=, >, >= compare
     * this result with 0 for each of the three pairs.
     */
    static int Compare(const JString& a, const JString& b);
    static int Compare(const char* a, const JString& b);
    static int Compare(const JString& a, const char* b);

    using JObject::equals;  // of a const JObject: the root's comparison of classes

    /**
     * Whether `other` is a string with the same text: same class, then equal hash codes, then equal texts.
     */
    virtual bool equals(JObject& other);

    /** equals(*other). `other` must not be null. */
    virtual bool equals(JObject* other);

    /** Whether the texts are equal; false for a null `s`. A JString pointer must not be null. */
    bool equals(const char* s) const;
    bool equals(const JString* other) const;
    bool equals(const JString& other) const;

    /** The same for strings that are not const. With the const forms alone such a call would be ambiguous, because
     * equals(JObject&) matches as well. */
    bool equals(const char* s);
    bool equals(const JString* other);
    bool equals(const JString& other);

    // ---- search: byte indices, -1 when not found ----

    /**
     * The first occurrence at or after `from`; -1 when `from` is negative or not below length(), and for a
     * null needle. The empty needle is found at `from`.
     */
    int indexOf(const char* needle, int from) const;
    int indexOf(const char* needle) const;
    int indexOf(const JString& needle, int from) const;
    int indexOf(const JString& needle) const;

    /** The first byte `ch` at or after `from`, within the same bounds. 0 finds the terminator. */
    int indexOf(int ch, int from) const;
    int indexOf(int ch) const;

    /**
     * The last byte `ch` of the whole text if it is not after `from`, else -1. Kept: an earlier occurrence
     * is not looked for when the last one lies after `from`.
     */
    int lastIndexOf(int ch, int from) const;

    /** lastIndexOf(ch, length() - 1). */
    int lastIndexOf(int ch) const;

    /**
     * Whether the bytes at `from` are those of `p`; false when `p` is null or does not fit between `from`
     * and length().
     */
    bool startsWith(const char* p, int from) const;
    bool startsWith(const char* p) const;
    bool startsWith(const JString& p, int from) const;
    bool startsWith(const JString& p) const;

    /** startsWith(p, length() - strlen(p)): false when `p` is null or longer than the text. */
    bool endsWith(const char* p) const;
    bool endsWith(const JString& p) const;

    // ---- derived strings: this string stays as it is ----

    /**
     * The bytes from `begin` up to but not including `end`, both cut to the text: substring(2, 1) is empty.
     */
    JString substring(int begin, int end) const;
    JString substring(int begin) const;

    /** Without the blanks (space, tab, carriage return, newline) at both ends. */
    JString trim() const;

    /**
     * Without the blanks in front and, kept because callers rely on it, without the first byte after them:
     * of two blanks followed by abc, bc remains. Its length() counts the NUL: 3. A text of blanks only
     * becomes empty.
     */
    JString trimLeft() const;

    /** Without the blanks at the end. */
    JString trimRight() const;

    /** Without every byte that occurs in `set`, at any place. A null `set` counts as empty. */
    JString trimDef(const char* set) const;

    /**
     * ASCII letters in the other case. Bytes of 128 and above stay: they belong to double-byte characters.
     */
    JString toLowerCase() const;
    JString toUpperCase() const;

    /**
     * Every byte equal to `from` becomes the low byte of `to`. `from` may be given signed or unsigned, -128..255; no
     * byte equals any other number. The third argument is ignored. The spelling of the name is kept: callers use it.
     */
    JString replase(int from, int to) const;
    JString replase(int from, int to, int ignored) const;

    /**
     * Shortened for display to at most `n` bytes, the last three of them dots, without cutting a
     * double-byte character; a text of up to `n` bytes stays as it is. For `n` below 4, `n` dots, also when
     * the text is shorter. A negative `n` counts as 0. Kept: length() remains that of the whole text.
     */
    JString toMax(int n) const;

    /** The length() bytes of text, without the NUL. */
    JByte getBytes() const;

    /**
     * Adjusts the range of `len` bytes at `offset` of `str` so that it lies within the text and cuts no
     * double-byte character: an end of the range that lies inside one moves back by one byte, and the end moves
     * back together with the offset. A negative `offset` counts as 0, a negative `len` stays as it is, a null `str` is empty.
     * Returns strlen(str).
     */
    static int charsAdjust(const char* str, int& offset, int& len);

    // ---- modification ----

    /**
     * Copies a text; of a JString, up to its first NUL. It may be this string's own text. A null `s` gives the empty
     * text.
     */
    JString& operator=(const char* s);
    JString& operator=(const JString& other);

    /** The same without copying; the other becomes the empty string, unless it is this one. */
    JString& operator=(JString&& other) noexcept;

    /**
     * Appends a text, also this string's own. Nothing happens, not even to length(), when it is null or
     * empty; otherwise length() is that of the joined text.
     */
    JString& operator+=(const char* s);
    JString& operator+=(const JString& s);

    /** Appends one character; '\0' appends nothing. */
    JString& operator+=(char c);
    JString& operator+=(signed char c);

    /** Appends the decimal text of the number, rendered as by operator+ below. A bool appends 0 or 1 here. */
    JString& operator+=(int n);
    JString& operator+=(unsigned n);
    JString& operator+=(long n);
    JString& operator+=(unsigned long n);
    JString& operator+=(long long n);
    JString& operator+=(unsigned long long n);
    JString& operator+=(const JInteger& n);

    // ---- comparison with a char* that is not const ----
    // JString converts to char*, so the built-in comparison of two char* would make these ambiguous.
    // Templates, so that in `s == 0` the literal still means a null const char*.

    /** Compare(a, b) against 0. */
    template <class A, class B>
    friend jay::detail::IfStringAndBuffer<A, B> operator==(const A& a, const B& b) {
        return Compare(a, b) == 0;
    }
    template <class A, class B>
    friend jay::detail::IfStringAndBuffer<A, B> operator!=(const A& a, const B& b) {
        return Compare(a, b) != 0;
    }
    template <class A, class B>
    friend jay::detail::IfStringAndBuffer<A, B> operator<(const A& a, const B& b) {
        return Compare(a, b) < 0;
    }
    template <class A, class B>
    friend jay::detail::IfStringAndBuffer<A, B> operator<=(const A& a, const B& b) {
        return Compare(a, b) <= 0;
    }
    template <class A, class B>
    friend jay::detail::IfStringAndBuffer<A, B> operator>(const A& a, const B& b) {
        return Compare(a, b) > 0;
    }
    template <class A, class B>
    friend jay::detail::IfStringAndBuffer<A, B> operator>=(const A& a, const B& b) {
        return Compare(a, b) >= 0;
    }

private:
    friend struct jay::detail::JStringPeer;

    friend JAY_API JString operator+(const JString& a, const JString& b);
    friend JAY_API JString operator+(const JString& a, const char* b);
    friend JAY_API JString operator+(const char* a, const JString& b);
    friend JAY_API JString operator+(const JString& a, char c);
    friend JAY_API JString operator+(const JString& a, int n);
    friend JAY_API JString operator+(const JString& a, long long n);
    friend JAY_API JString operator+(const JString& a, bool b);

    JAY_HIDDEN JString(const JString* other, int room);
    JAY_HIDDEN static JString joined(const char* head, int length, const char* tail);
    JAY_HIDDEN static JString joined(const JString& a, const char* b);
    JAY_HIDDEN void forget();
    JAY_HIDDEN bool fitsHere(int size) const;
    JAY_HIDDEN int occupied() const;

    // Owned, from array-new, never null; occupied() bytes and a NUL at least. Shared by all empty strings without room.
    char* data;
    int hash;     // the cached hash code; 0: not computed
    int length_;  // see "Length and text"
};

static_assert(sizeof(void*) != 4 || sizeof(JString) == 16, "instance size is part of the 32-bit contract");

// ---- comparison operators ----

JAY_API bool operator==(const JString& a, const JString& b);
JAY_API bool operator==(const char* a, const JString& b);
JAY_API bool operator==(const JString& a, const char* b);
JAY_API bool operator!=(const JString& a, const JString& b);
JAY_API bool operator!=(const char* a, const JString& b);
JAY_API bool operator!=(const JString& a, const char* b);
JAY_API bool operator<(const JString& a, const JString& b);
JAY_API bool operator<(const char* a, const JString& b);
JAY_API bool operator<(const JString& a, const char* b);
JAY_API bool operator<=(const JString& a, const JString& b);
JAY_API bool operator<=(const char* a, const JString& b);
JAY_API bool operator<=(const JString& a, const char* b);
JAY_API bool operator>(const JString& a, const JString& b);
JAY_API bool operator>(const char* a, const JString& b);
JAY_API bool operator>(const JString& a, const char* b);
JAY_API bool operator>=(const JString& a, const JString& b);
JAY_API bool operator>=(const char* a, const JString& b);
JAY_API bool operator>=(const JString& a, const char* b);

// ---- concatenation: a copy of the left operand, to which the right one is appended ----

JAY_API JString operator+(const JString& a, const JString& b);
JAY_API JString operator+(const JString& a, const char* b);
JAY_API JString operator+(const char* a, const JString& b);
JAY_API JString operator+(const JString& a, char c);
JAY_API JString operator+(const JString& a, signed char c);

/**
 * Numbers in decimal. long, unsigned and unsigned long are rendered through an int. Kept: of a wider value
 * its low 32 bits are shown, as a signed number (4294967295 gives -1), on 64-bit targets too; int64_t and
 * uint64_t may be long there, so cast such a value to long long. unsigned long long is rendered through a
 * long long.
 */
JAY_API JString operator+(const JString& a, int n);
JAY_API JString operator+(const JString& a, unsigned n);
JAY_API JString operator+(const JString& a, long n);
JAY_API JString operator+(const JString& a, unsigned long n);
JAY_API JString operator+(const JString& a, long long n);
JAY_API JString operator+(const JString& a, unsigned long long n);
JAY_API JString operator+(const JString& a, const JInteger& n);

/** "true" or "false". */
JAY_API JString operator+(const JString& a, bool b);

#endif
