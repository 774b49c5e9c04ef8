#include "ui/JLayout.h"

#include <algorithm>
#include <iterator>

#include "ui/JCanvas.h"

const JClass JLayout::classJLayout = {"JLayout", sizeof(JLayout), &JObject::classJObject};

namespace {

const char* const OUT_OF_BOUNDARY = "array out of boundary!!!";

/** Sums wrap around, as coordinates always did: a nonsensical preset is no reason to end the program. */
int sum(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}
int difference(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) - static_cast<unsigned>(b));
}

int even(int n) {
    return difference(n, n & 1);
}

}  // namespace

// ---- construction ----

JLayout::JLayout() : JLayout(-1, JString(), LEAF) {
}

JLayout::JLayout(int nodeId, const JString& nodeName, Type nodeType)
    : type(nodeType),
      name(nodeName),
      id(nodeId),
      parent(nullptr),
      visible(true),
      placement(FILL),
      alignment(0),
      area{},
      preset{},
      reserved{},
      vkey(0) {
}

JLayout::JLayout(const JLayout& other)
    : JObject(other),
      type(other.type),
      name(other.name),
      id(other.id),
      parent(other.parent),
      children(other.children),
      visible(true),
      placement(FILL),
      alignment(other.alignment),
      area(other.area),
      preset(other.preset),
      vkey(other.vkey) {
    std::copy(std::begin(other.reserved), std::end(other.reserved), std::begin(reserved));
}

const JClass* JLayout::getClass() const {
    return &classJLayout;
}

// ---- the tree ----

JLayout* JLayout::add(int nodeId, const JString& nodeName, Type nodeType) {
    JLayout& child = children[getCount()];
    child.id = nodeId;
    child.name = nodeName;
    child.parent = this;
    child.type = nodeType;
    child.area = Rectangle{};
    child.preset = Rectangle{};
    return &child;
}

int JLayout::getCount() {
    return children.length();
}

JLayout& JLayout::operator[](int i) {
    if (i < 0 || i >= getCount()) throw OUT_OF_BOUNDARY;
    return children[i];
}

JLayout* JLayout::find(int nodeId) {
    if (id == nodeId) return this;
    for (int i = 0; i < getCount(); i++) {
        if (JLayout* found = children[i].find(nodeId)) return found;
    }
    return nullptr;
}

JLayout* JLayout::find(const JString& nodeName) {
    if (name == nodeName) return this;
    for (int i = 0; i < getCount(); i++) {
        if (JLayout* found = children[i].find(nodeName)) return found;
    }
    return nullptr;
}

// ---- properties ----

int JLayout::getId() {
    return id;
}
JLayout::Type JLayout::getType() {
    return type;
}
void JLayout::setType(Type newType) {
    type = newType;
}
void JLayout::setVisible(bool v) {
    visible = v;
}
void JLayout::setText(const JString& newText) {
    text = newText;
}
int JLayout::getVKey() {
    return vkey;
}
void JLayout::setWidth(int w) {
    preset.width = w;
}
void JLayout::setHeight(int h) {
    preset.height = h;
}

int JLayout::getWidth() {
    const JLayout* node = this;
    while (node->preset.width == 0 && node->parent != nullptr) node = node->parent;
    return node->preset.width;
}

int JLayout::getHeight() {
    const JLayout* node = this;
    while (node->preset.height == 0 && node->parent != nullptr) node = node->parent;
    return node->preset.height;
}

void JLayout::setVisibleOnly(bool v) {
    if (parent == nullptr || parent->type != STACK) {
        visible = v;
        return;
    }
    for (int i = 0; i < parent->getCount(); i++) {
        JLayout& sibling = parent->children[i];
        sibling.visible = sibling.id == id;
    }
}

void JLayout::setLayout(int i) {
    if (i < 0 || i >= getCount()) throw OUT_OF_BOUNDARY;
    for (int k = 0; k < getCount(); k++) children[k].visible = k == i;
}

// ---- layout ----

void JLayout::align(Rectangle& r, int flags) {
    const int w = even(area.width);
    const int h = even(area.height);
    if ((flags & CENTER_X) != 0) r.x = difference(w, r.width) / 2;
    if ((flags & CENTER_Y) != 0) r.y = difference(h, r.height) / 2;
    if ((flags & RIGHT) != 0) r.x = difference(w, r.width);
    if ((flags & BOTTOM) != 0) r.y = difference(h, r.height);
    r.x = sum(r.x, area.x);
    r.y = sum(r.y, area.y);
}

void JLayout::adjust(JCanvas& canvas) {
    canvas.queryLayout(*this);
    int w = preset.width;
    int h = preset.height;
    if (parent != nullptr && w == 0) w = difference(sum(parent->area.x, parent->getWidth()), area.x);
    if (parent != nullptr && h == 0) h = difference(sum(parent->area.y, parent->getHeight()), area.y);
    area.width = w;
    area.height = h;
    switch (type) {
        case LEAF:
            canvas.addActive(this);
            break;
        case STACK:
            adjustStack(canvas);
            break;
        case ROW:
            adjustRow(canvas);
            break;
        case COLUMN:
            adjustColumn(canvas);
            break;
        default:
            break;
    }
}

void JLayout::adjustRow(JCanvas& canvas) {
    Rectangle next = area;
    for (int i = 0; i < getCount(); i++) {
        JLayout& child = children[i];
        child.area = next;
        child.adjust(canvas);
        next.x = sum(next.x, child.area.width);
    }
}

void JLayout::adjustColumn(JCanvas& canvas) {
    Rectangle next = area;
    for (int i = 0; i < getCount(); i++) {
        JLayout& child = children[i];
        child.area = next;
        child.adjust(canvas);
        next.y = sum(next.y, child.area.height);
    }
}

void JLayout::adjustStack(JCanvas& canvas) {
    const Rectangle whole = area;
    for (int i = 0; i < getCount(); i++) {
        JLayout& child = children[i];
        canvas.queryLayout(child);
        child.area = whole;
        if (child.visible) adjustStacked(child, canvas);
    }
}

void JLayout::adjustStacked(JLayout& child, JCanvas& canvas) {
    switch (child.placement) {
        case FILL:
            child.adjust(canvas);
            break;
        case ALIGNED:
            canvas.addActive(&child);  // a leaf registers itself once more: kept
            child.area = child.preset;
            align(child.area, child.alignment);
            child.adjust(canvas);
            break;
        case PLACED:
            canvas.queryLayout(child);
            child.area = child.preset;
            child.adjust(canvas);
            break;
        default:
            break;
    }
}
