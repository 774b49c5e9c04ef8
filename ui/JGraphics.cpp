#include "ui/JGraphics.h"

const JClass JGraphics::classJGraphics = {"JGraphics", sizeof(JGraphics), &JObject::classJObject};

JGraphics::JGraphics(unsigned int* platformHandle) : state(nullptr), handle(nullptr) {
    attach(platformHandle);
}

const JClass* JGraphics::getClass() const {
    return &classJGraphics;
}

JFont& JGraphics::getFont() {
    return font;
}

void JGraphics::setFont(const JFont& f) {
    font = f;
    font.setFont(handle);
}

void JGraphics::drawString(const JString& s, int x, int y, int anchor) {
    drawChars(s, 0, s.length(), x, y, anchor);
}
