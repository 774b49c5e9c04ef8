#include "platform/RecordingPlatform.h"

#include <sstream>

#include "ui/JFont.h"
#include "ui/JGraphics.h"
#include "ui/JSound.h"

namespace {

// Made on first use: the library's default font calls in before this file's static objects exist.
std::vector<std::string>& calls() {
    static std::vector<std::string> list;
    return list;
}

template <class... Arguments>
void record(const std::string& hook, Arguments... arguments) {
    std::ostringstream line;
    line << hook;
    ((line << ' ' << arguments), ...);
    calls().push_back(line.str());
}

}  // namespace

std::vector<std::string> platform::take() {
    std::vector<std::string> taken;
    taken.swap(calls());
    return taken;
}

void JGraphics::attach(unsigned int* newHandle) {
    handle = newHandle;
}
void JGraphics::setColor(int r, int g, int b) {
    record("setColor", r, g, b);
}
void JGraphics::drawLine(int x1, int y1, int x2, int y2) {
    record("drawLine", x1, y1, x2, y2);
}
void JGraphics::fillRect(int x, int y, int w, int h) {
    record("fillRect", x, y, w, h);
}
void JGraphics::drawChars(const char* s, int offset, int length, int x, int y, int anchor) {
    record("drawChars", std::string(s + offset, static_cast<size_t>(length)), offset, length, x, y, anchor);
}
int JFont::charsWidth(const char* s, int offset, int length) {
    record("charsWidth", std::string(s + offset, static_cast<size_t>(length)), offset, length);
    return 8 * length;
}
void JFont::setFont(unsigned int* font) {
    platformFont = font;
    record("setFont", font != nullptr ? std::to_string(*font) : "null");
}
void JSound::play(const JString& path) {
    record("play", static_cast<const char*>(path));
}
