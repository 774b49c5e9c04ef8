#include "ui/JFont.h"

#include <cstring>

const JClass JFont::classJFont = {"JFont", sizeof(JFont), &JObject::classJObject};

JFont JFont::DEFAULT_FONT;

JFont::JFont() : JFont(0, 0, 0) {
}

JFont::JFont(int fontFace, int fontStyle, int fontSize)
    : face(fontFace), style(fontStyle), size(fontSize), ownsFont(true), platformFont(nullptr), reserved{} {
    setFont(platformFont);
}

JFont::JFont(const JFont& f)
    : JObject(f),
      face(f.face),
      style(f.style),
      size(f.size),
      ownsFont(false),
      platformFont(f.platformFont),
      reserved{} {
    setFont(platformFont);
}

JFont& JFont::operator=(const JFont& f) {
    face = f.face;
    style = f.style;
    size = f.size;
    setFont(f.platformFont);
    return *this;
}

const JClass* JFont::getClass() const {
    return &classJFont;
}

JFont JFont::getFont(int fontFace, int fontStyle, int fontSize) {
    return JFont(fontFace, fontStyle, fontSize);
}
JFont JFont::getFont(int spec) {
    return JFont(0, 0, (spec & 7) + 32);
}
JFont JFont::getDefaultFont() {
    return DEFAULT_FONT;
}

int JFont::getFace() {
    return face;
}
int JFont::getStyle() {
    return style;
}
int JFont::getSize() {
    return size;
}

int JFont::stringWidth(const char* s) {
    return s != nullptr ? charsWidth(s, 0, static_cast<int>(std::strlen(s))) : 0;
}
int JFont::stringWidth(const JString& s) {
    return charsWidth(s, 0, s.length());
}
int JFont::substringWidth(const JString& s, int offset, int length) {
    return charsWidth(s, offset, length);
}
