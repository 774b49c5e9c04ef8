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

/** Which characters count as text. None of these lets through other control characters. */
enum class Allow {
    SHOWABLE,  ///< what does no harm on a terminal: see isShowable()
    LINES,     ///< the same, line ends and tabs
    ANY        ///< all, also those that change the order of others: for what escapes them, and for programs
};

/** The bytes as text in UTF-8; nothing if they are none. */
std::optional<std::string> textOf(std::string_view bytes, Encoding encoding, Allow allow = Allow::SHOWABLE);

/** Whether the bytes are UTF-8 and safe to show. */
bool isPlainText(std::string_view bytes);

/** The bytes as text in UTF-8, whatever they are: a byte that cannot be shown becomes `\xHH`, a backslash two. */
std::string shownText(std::string_view bytes, Encoding encoding);

/** "text hello", or "hex 05 68 00" when the bytes are no text, or "empty". Always one line. */
std::string shownPayload(std::string_view bytes, Encoding encoding);

/** A text for the terminal cut to so many bytes, at the end of a character, with a note of how many bytes of payload --full shows. @param
 * most 0: the text stays whole. */
std::string shortened(const std::string& text, std::size_t most, std::size_t payload);

/**
 * The bytes to be sent for a text that the user typed, in UTF-8. They are the text's own, unless it is to be Korean;
 * then nothing is returned if it is no UTF-8, or has a character that the code lacks.
 */
std::optional<std::string> encoded(std::string_view text, Encoding encoding);

#endif
