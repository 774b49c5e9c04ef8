#ifndef JAY_UI_JGRAPHICS_H
#define JAY_UI_JGRAPHICS_H

#include "core/JObject.h"
#include "core/JString.h"
#include "ui/JFont.h"
#include "ui/JImage.h"

namespace jay::detail {
struct JGraphicsPeer;  // for the library's own tests
}

/**
 * The drawing operations for a canvas. The operations marked as platform hooks have weak, empty definitions in
 * ui/JPlatformHooks.cpp; a platform layer defines them (docs/platform.md). Coordinates are pixels; (0, 0) is the
 * top-left corner.
 */
class JAY_API JGraphics : public JObject {
public:
    static const JClass classJGraphics;

    /** @param handle the platform's display. It is passed to attach(), which may store it; the library does not. */
    explicit JGraphics(unsigned int* handle);
    JGraphics(const JGraphics&) = delete;
    JGraphics& operator=(const JGraphics&) = delete;

    const JClass* getClass() const override;

    JFont& getFont();  ///< the current font, this object's own

    /** Assigns the font, then calls JFont::setFont() of the own font with the platform's handle. */
    void setFont(const JFont& f);

    /** Draws a text: drawChars() over all of it. */
    void drawString(const JString& s, int x, int y, int anchor);

    // ---- platform hooks: nothing, or 0 ----

    /** Called by the constructor with its argument. */
    void attach(unsigned int* newHandle);
    void setColor(int r, int g, int b);                                  ///< the drawing colour; 0..255 each
    void drawLine(int x1, int y1, int x2, int y2);                       ///< both ends included
    void drawRect(int x, int y, int w, int h);                           ///< an outline
    void fillRect(int x, int y, int w, int h);                           ///< an area
    void fillRoundRect(int x, int y, int w, int h, int arcW, int arcH);  ///< an area with rounded corners
    /** `length` bytes from `s + offset`; `anchor` is the application's. */
    void drawChars(const char* s, int offset, int length, int x, int y, int anchor);
    void setStrokeStyle(int style);  ///< how lines are drawn
    int getStrokeStyle();            ///< as set

private:
    friend struct jay::detail::JGraphicsPeer;

    [[maybe_unused]] void* state;  // the platform layer's
    JImage image;
    unsigned int* handle;  // the platform layer's; null until it stores one
    JFont font;
};

#endif
