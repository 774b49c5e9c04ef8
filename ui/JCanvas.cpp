#include "ui/JCanvas.h"

const JClass JCanvas::classJCanvas = {"JCanvas", sizeof(JCanvas), &JObject::classJObject};

namespace {

constexpr int DEFAULT_WIDTH = 280;
constexpr int DEFAULT_HEIGHT = 320;

enum Side { LEFT = 1, RIGHT = 2, TOP = 4, BOTTOM = 8 };

bool contains(const JLayout::Rectangle& r, int x, int y) {
    // Wide sums: a rectangle may reach beyond the largest coordinate.
    return x >= r.x && y >= r.y && x < static_cast<long long>(r.x) + r.width &&
           y < static_cast<long long>(r.y) + r.height;
}

int sum(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

}  // namespace

JCanvas::JCanvas(unsigned int platformHandle)
    : width(DEFAULT_WIDTH),
      height(DEFAULT_HEIGHT),
      handle(platformHandle),
      repaintPending(false),
      flag(true),
      layout(nullptr),
      lastHit(nullptr) {
}

JCanvas::~JCanvas() {
    delete layout;
}

const JClass* JCanvas::getClass() const {
    return &classJCanvas;
}

// ---- hooks ----

void JCanvas::paint(JGraphics&) {
    repaintPending = false;
    if (layout == nullptr) createLayout();
}

void JCanvas::keyPressed(int) {
}

void JCanvas::resize(int w, int h) {
    width = w;
    height = h;
}

void JCanvas::createLayout() {
}
void JCanvas::adjust(JGraphics&) {
}
void JCanvas::queryLayout(JLayout&) {
}
int JCanvas::queryHit(JLayout&, int, int) {
    return 0;
}

// ---- properties ----

void JCanvas::setHandle(unsigned int newHandle) {
    handle = newHandle;
}
void JCanvas::setWidth(int w) {
    width = w;
}
int JCanvas::getWidth() {
    return width;
}
void JCanvas::setHeight(int h) {
    height = h;
}
int JCanvas::getHeight() {
    return height;
}

// ---- painting ----

int JCanvas::repaint(int, int, int, int) {
    repaintPending = true;
    return 1;
}

void JCanvas::serviceRepaints() {
}

void JCanvas::drawBorder(JGraphics& g, JLayout::Rectangle& r, unsigned int color, int sides) {
    g.setColor(static_cast<int>(color >> 16 & 0xFF), static_cast<int>(color >> 8 & 0xFF),
               static_cast<int>(color & 0xFF));
    const int x1 = sum(r.x, r.width);
    const int y1 = sum(r.y, r.height);
    const int right = sum(x1, -1);
    const int bottom = sum(y1, -1);
    if ((sides & LEFT) != 0) g.drawLine(r.x, r.y, r.x, y1);
    if ((sides & RIGHT) != 0) g.drawLine(right, r.y, right, y1);
    if ((sides & TOP) != 0) g.drawLine(r.x, r.y, x1, r.y);
    if ((sides & BOTTOM) != 0) g.drawLine(r.x, bottom, x1, bottom);
}

void JCanvas::check(JGraphics& g, JLayout::Rectangle& r) {
    g.setColor(255, 0, 0);
    g.fillRect(r.x, r.y, r.width, r.height);
}

// ---- nodes ----

void JCanvas::addActive(JLayout* node) {
    active[active.length()] = static_cast<void*>(node);
}

JLayout* JCanvas::hit(int x, int y) {
    lastHit = nullptr;
    for (int i = active.length() - 1; i >= 0 && lastHit == nullptr; i--) {
        JLayout* const node = active[i];
        if (node != nullptr && contains(node->area, x, y)) lastHit = node;
    }
    return lastHit;
}

void JCanvas::setVisible(int id, bool v) {
    JLayout* const node = layout != nullptr ? layout->find(id) : nullptr;
    if (node != nullptr) node->setVisible(v);
}

void JCanvas::setVisibleOnly(int id, bool v) {
    JLayout* const node = layout != nullptr ? layout->find(id) : nullptr;
    if (node != nullptr) node->setVisibleOnly(v);
}
