#include "ui/JCanvas.h"

#include <climits>
#include <gtest/gtest.h>

namespace {

/** A canvas as a derived class sees it. */
class Canvas : public JCanvas {
public:
    explicit Canvas(unsigned int number) : JCanvas(number) {}
    using JCanvas::active;
    using JCanvas::flag;
    using JCanvas::handle;
    using JCanvas::lastHit;
    using JCanvas::layout;
    using JCanvas::repaintPending;
};

/** Counts how often its tree is asked for. */
class Screen : public Canvas {
public:
    Screen() : Canvas(42) {}
    void createLayout() override {
        created++;
        layout = new JLayout(1, "root", JLayout::STACK);
        layout->add(2, "child", JLayout::LEAF);
        layout->add(3, "other", JLayout::LEAF);
    }
    int created = 0;
};

JLayout nodeAt(int x, int y, int width, int height) {
    JLayout node;
    node.area = {x, y, width, height};
    return node;
}

}  // namespace

TEST(JCanvasTest, StartsAt280By320WithoutATree) {
    Canvas canvas(42);
    EXPECT_EQ(canvas.getWidth(), 280);
    EXPECT_EQ(canvas.getHeight(), 320);
    EXPECT_EQ(canvas.handle, 42U);
    EXPECT_FALSE(canvas.repaintPending);
    EXPECT_TRUE(canvas.flag);
    EXPECT_EQ(canvas.layout, nullptr);
    EXPECT_EQ(canvas.lastHit, nullptr);
    EXPECT_EQ(canvas.active.length(), 0);
}

TEST(JCanvasTest, PropertiesAreStored) {
    Canvas canvas(0);
    canvas.setHandle(7);
    canvas.setWidth(11);
    canvas.setHeight(12);
    EXPECT_EQ(canvas.handle, 7U);
    EXPECT_EQ(canvas.getWidth(), 11);
    EXPECT_EQ(canvas.getHeight(), 12);
    canvas.resize(21, 22);
    EXPECT_EQ(canvas.getWidth(), 21);
    EXPECT_EQ(canvas.getHeight(), 22);
}

TEST(JCanvasTest, Paint_EndsThePendingRepaintAndMakesTheTreeOnce) {
    Screen screen;
    JGraphics graphics(nullptr);
    EXPECT_EQ(screen.repaint(1, 2, 3, 4), 1);
    EXPECT_TRUE(screen.repaintPending);
    screen.serviceRepaints();
    EXPECT_TRUE(screen.repaintPending);
    screen.paint(graphics);
    screen.paint(graphics);
    EXPECT_FALSE(screen.repaintPending);
    EXPECT_EQ(screen.created, 1);
}

TEST(JCanvasTest, EmptyHooksDoNothing) {
    Canvas canvas(0);
    JGraphics graphics(nullptr);
    JLayout node;
    canvas.keyPressed(5);
    canvas.createLayout();
    canvas.adjust(graphics);
    canvas.queryLayout(node);
    EXPECT_EQ(canvas.queryHit(node, 1, 1), 0);
    EXPECT_EQ(canvas.layout, nullptr);
}

TEST(JCanvasTest, Hit_LeavesOutTheRightAndBottomEdges) {
    Canvas canvas(0);
    JLayout node = nodeAt(10, 20, 30, 40);
    canvas.addActive(&node);
    EXPECT_EQ(canvas.hit(10, 20), &node);
    EXPECT_EQ(canvas.hit(39, 59), &node);
    EXPECT_EQ(canvas.hit(40, 59), nullptr);
    EXPECT_EQ(canvas.hit(39, 60), nullptr);
    EXPECT_EQ(canvas.hit(9, 20), nullptr);
    EXPECT_EQ(canvas.hit(10, 19), nullptr);
}

TEST(JCanvasTest, Hit_FindsTheNodeRegisteredLast) {
    Canvas canvas(0);
    JLayout below = nodeAt(0, 0, 100, 100);
    JLayout above = nodeAt(10, 10, 10, 10);
    canvas.addActive(&below);
    canvas.addActive(&above);
    EXPECT_EQ(canvas.hit(15, 15), &above);
    EXPECT_EQ(canvas.lastHit, &above);
    EXPECT_EQ(canvas.hit(5, 5), &below);
    EXPECT_EQ(canvas.hit(500, 5), nullptr);
    EXPECT_EQ(canvas.lastHit, nullptr);
}

TEST(JCanvasTest, Hit_OfNothingIsNull) {
    Canvas canvas(0);
    EXPECT_EQ(canvas.hit(0, 0), nullptr);
    canvas.addActive(nullptr);
    EXPECT_EQ(canvas.hit(0, 0), nullptr);
}

TEST(JCanvasTest, Hit_SurvivesAnAreaBeyondAllCoordinates) {
    Canvas canvas(0);
    JLayout node = nodeAt(INT_MAX - 1, INT_MAX - 1, INT_MAX, INT_MAX);
    canvas.addActive(&node);
    EXPECT_EQ(canvas.hit(INT_MAX, INT_MAX), &node);
}

TEST(JCanvasTest, SetVisible_ReachesTheNodeWithTheId) {
    Screen screen;
    JGraphics graphics(nullptr);
    screen.setVisible(2, false);  // no tree yet
    screen.setVisibleOnly(2, false);
    screen.paint(graphics);
    screen.setVisible(77, false);
    EXPECT_TRUE((*screen.layout)[0].visible);
    screen.setVisible(2, false);
    EXPECT_FALSE((*screen.layout)[0].visible);
    screen.setVisibleOnly(2, false);
    EXPECT_TRUE((*screen.layout)[0].visible);
    EXPECT_FALSE((*screen.layout)[1].visible);
}
