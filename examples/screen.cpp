// A device screen described as a tree: status bar, list with a scroll bar, soft keys, and a dialog on a stack above them. It is
// laid out at several sizes; the areas are printed and drawn as an SVG picture, and some points are tested for hits.
//
//     screen OUTPUT.svg

#include <cstdio>

#include "jay.h"

namespace {

enum Id { SCREEN = 1, STATUS, MIDDLE, LIST, SCROLL_BAR, SOFT_KEYS, LEFT_KEY, RIGHT_KEY, PAGES, DIALOG };

class Screen : public JCanvas {
public:
    Screen() : JCanvas(0) {}

    void createLayout() override {
        layout = new JLayout(PAGES, "pages", JLayout::STACK);
        JLayout* screen = layout->add(SCREEN, "screen", JLayout::COLUMN);
        screen->add(STATUS, "status", JLayout::LEAF)->setHeight(24);
        middle = screen->add(MIDDLE, "middle", JLayout::ROW);
        list = middle->add(LIST, "list", JLayout::LEAF);
        middle->add(SCROLL_BAR, "scroll", JLayout::LEAF)->setWidth(12);
        JLayout* keys = screen->add(SOFT_KEYS, "keys", JLayout::ROW);
        keys->setHeight(30);
        leftKey = keys->add(LEFT_KEY, "menu", JLayout::LEAF);
        keys->add(RIGHT_KEY, "back", JLayout::LEAF);
        dialog = layout->add(DIALOG, "dialog", JLayout::LEAF);
        dialog->placement = JLayout::ALIGNED;
        dialog->alignment = JLayout::CENTER_X | JLayout::CENTER_Y;
    }

    void adjust(JGraphics&) override {
        active.clear();  // what the last layout registered
        layout->setWidth(width);
        layout->setHeight(height);
        middle->setHeight(height - 24 - 30);
        list->setWidth(width - 12);
        leftKey->setWidth(width / 2);
        dialog->preset = {0, 0, width * 3 / 4, height / 3};
        layout->adjust(*this);
    }

    void show(JGraphics& g, int w, int h, bool withDialog) {
        resize(w, h);
        paint(g);
        setVisible(DIALOG, withDialog);
        adjust(g);
    }

    int count() { return active.length(); }
    JLayout& node(int i) { return *static_cast<JLayout*>(active[i]); }

private:
    JLayout* middle = nullptr;
    JLayout* list = nullptr;
    JLayout* leftKey = nullptr;
    JLayout* dialog = nullptr;
};

void draw(FILE* svg, Screen& screen, int left) {
    for (int i = 0; i < screen.count(); i++) {
        const JLayout& node = screen.node(i);
        const JLayout::Rectangle& r = node.area;
        std::fprintf(svg, "<rect x='%d' y='%d' width='%d' height='%d' fill='#%s' stroke='#456'/>\n",
                     left + r.x, r.y, r.width, r.height, node.id == DIALOG ? "fec" : "eef");
        if (r.width > 30) {
            std::fprintf(svg, "<text x='%d' y='%d' font-size='11'>%s</text>\n", left + r.x + 3, r.y + 14,
                         static_cast<const char*>(node.name));
        }
        std::printf("%-8s x %3d  y %3d  width %3d  height %3d\n", static_cast<const char*>(node.name), r.x,
                    r.y, r.width, r.height);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: screen OUTPUT.svg\n");
        return 2;
    }
    FILE* svg = std::fopen(argv[1], "w");
    if (svg == nullptr) {
        std::perror(argv[1]);
        return 1;
    }
    std::fprintf(
        svg, "<svg xmlns='http://www.w3.org/2000/svg' width='860' height='330' font-family='sans-serif'>\n");
    Screen screen;
    JGraphics graphics(nullptr);
    const int sizes[][2] = {{240, 320}, {176, 220}, {400, 240}};
    int left = 4;
    for (const auto& size : sizes) {
        const bool withDialog = size[0] != 176;
        screen.show(graphics, size[0], size[1], withDialog);
        std::printf("%d x %d\n", size[0], size[1]);
        draw(svg, screen, left);
        const int points[][2] = {
            {5, 5}, {size[0] - 1, 100}, {size[0] / 2, size[1] / 2}, {5, size[1] - 1}, {size[0], 0}};
        for (const auto& p : points) {
            JLayout* hit = screen.hit(p[0], p[1]);
            std::printf("at %3d,%3d: %s\n", p[0], p[1],
                        hit != nullptr ? static_cast<const char*>(hit->name) : "nothing");
        }
        left += size[0] + 12;
    }
    std::fprintf(svg, "</svg>\n");
    return std::fclose(svg) == 0 ? 0 : 1;
}
