#ifndef JAY_UI_JFONT_H
#define JAY_UI_JFONT_H

#include "core/JObject.h"
#include "core/JString.h"

namespace jay::detail {
struct JFontPeer;  // for the library's own tests
}

/**
 * A font by face, style and size, and its measures. The operations marked as platform hooks have weak, empty
 * definitions in ui/JPlatformHooks.cpp; a platform layer defines them (docs/platform.md).
 */
class JAY_API JFont : public JObject {
public:
    static const JClass classJFont;

    /** Made by JFont() when the library is loaded. A platform's setFont() is therefore called before main(). */
    static JFont DEFAULT_FONT;

    /** Face, style and size 0. */
    JFont();
    /** A font without a platform font. */
    JFont(int face, int style, int size);

    /** Shares the other's platform font and does not own it. */
    JFont(const JFont& f);

    /** Copies face, style and size and calls setFont() with the other's platform font. The platform font itself is not
     * copied (kept: platform layers rely on it). */
    JFont& operator=(const JFont& f);

    const JClass* getClass() const override;

    /** JFont(face, style, size). */
    static JFont getFont(int face, int style, int size);

    /** A font of size 32 to 39, by the low three bits of `spec`; face and style are 0 (kept). */
    static JFont getFont(int spec);

    /** A copy of DEFAULT_FONT. */
    static JFont getDefaultFont();

    int getFace();   ///< as given to the constructor
    int getStyle();  ///< as given to the constructor
    int getSize();   ///< as given to the constructor

    /** The width of a text, of a string, of part of a string: by charsWidth(), in pixels. */
    int stringWidth(const char* s);
    int stringWidth(const JString& s);
    int substringWidth(const JString& s, int offset, int length);

    // ---- platform hooks: 0, or nothing ----

    int charWidth(char c);                                  ///< pixels
    int charsWidth(const char* s, int offset, int length);  ///< pixels, of `length` bytes from `s + offset`
    int getHeight();                                        ///< pixels, of a line
    int getBaselinePosition();                              ///< pixels, from the top of a line
    int isBold();                                           ///< 1 or 0
    int isItalic();                                         ///< 1 or 0
    int isPlain();                                          ///< 1 or 0
    int isUnderlined();                                     ///< 1 or 0
    void setFont(unsigned int* font);                       ///< the platform font becomes `font`

private:
    friend struct jay::detail::JFontPeer;

    int face;
    int style;
    int size;
    bool ownsFont;               // false in a copy
    unsigned int* platformFont;  // the platform layer's
    int reserved[2];             // the platform layer's, 0 at first
};

static_assert(sizeof(void*) != 4 || sizeof(JFont) == 32, "instance size is part of the 32-bit contract");

#endif
