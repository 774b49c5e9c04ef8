/** @file Bytes that may be anything, as text for a terminal that speaks UTF-8. */
#ifndef JAY_TOOLS_JAY_TEXT_H
#define JAY_TOOLS_JAY_TEXT_H

#include <optional>
#include <string>
#include <string_view>

/** How the characters of a text are coded in the bytes of a payload or a record. */
enum class Encoding {
    UTF_8,
    EUC_KR,  ///< Korean, with the extension of code page 949, as the library decodes it
    RAW      ///< not known: only ASCII is taken for text
};

/** Whether line ends and tabs count as text. */
enum class Blanks { PLAIN_ONLY, WITH_LINES };

/**
 * The bytes as text in UTF-8; nothing if they are none. What is text can be shown: it holds no control character
 * (U+0000 to U+001F, U+007F to U+009F), apart from line ends and tabs if those are let through, and no surrogate.
 */
std::optional<std::string> textOf(std::string_view bytes, Encoding encoding,
                                  Blanks blanks = Blanks::PLAIN_ONLY);

/** Whether the bytes are UTF-8 without any control character: safe to show. */
bool isPlainText(std::string_view bytes);

/** The bytes as text in UTF-8, whatever they are: a byte that cannot be shown becomes `\xHH`, a backslash two. */
std::string shownText(std::string_view bytes, Encoding encoding);

/** "text hello", or "hex 05 68 00" when the bytes are no text, or "empty". Always one line. */
std::string shownPayload(std::string_view bytes, Encoding encoding);

/**
 * The bytes to be sent for a text that the user typed, in UTF-8. They are the text's own, unless it is to be Korean;
 * then nothing is returned if it is no UTF-8, or has a character that the code lacks.
 */
std::optional<std::string> encoded(std::string_view text, Encoding encoding);

#endif
