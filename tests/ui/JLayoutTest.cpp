#include "ui/JLayout.h"

#include <climits>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "support/JLayoutPeer.h"
#include "ui/JCanvas.h"

using Peer = jay::detail::JLayoutPeer;

namespace {

using Rectangle = JLayout::Rectangle;

/** A canvas that writes down which nodes it was asked about and which were registered. */
class Recorder : public JCanvas {
public:
    Recorder() : JCanvas(0) {}
    using JCanvas::active;
    void queryLayout(JLayout& node) override { queried.push_back(node.id); }

    std::vector<int> registered() {
        std::vector<int> ids;
        for (int i = 0; i < active.length(); i++) ids.push_back(static_cast<JLayout*>(active[i])->id);
        return ids;
    }

    std::vector<int> queried;
};

using Ids = std::vector<int>;

std::vector<int> areaOf(const JLayout& node) {
    return {node.area.x, node.area.y, node.area.width, node.area.height};
}

using Area = std::vector<int>;

/** A root of the given type and preset size. */
JLayout root(JLayout::Type type, int width, int height) {
    JLayout node(1, "root", type);
    node.setWidth(width);
    node.setHeight(height);
    return node;
}

const char* const OUT = "array out of boundary!!!";

/** What an operation throws; empty if nothing. */
template <class Operation>
std::string thrownBy(Operation operation) {
    try {
        operation();
    } catch (const char* text) {
        return text;
    }
    return "";
}

}  // namespace

// ---- nodes ----

TEST(JLayoutTest, DefaultNodeIsALeafWithoutNameAndId) {
    JLayout node;
    EXPECT_EQ(node.getType(), JLayout::LEAF);
    EXPECT_STREQ(node.name, "");
    EXPECT_STREQ(node.text, "");
    EXPECT_EQ(node.getId(), -1);
    EXPECT_EQ(node.parent, nullptr);
    EXPECT_EQ(node.getCount(), 0);
    EXPECT_TRUE(node.visible);
    EXPECT_EQ(node.placement, 0);
    EXPECT_EQ(node.alignment, 0);
    EXPECT_EQ(node.getVKey(), 0);
    EXPECT_EQ(areaOf(node), Area({0, 0, 0, 0}));
    EXPECT_EQ(node.preset.width, 0);
}

TEST(JLayoutTest, TypesHaveTheirNumbers) {
    EXPECT_EQ(JLayout::LEAF, 0);
    EXPECT_EQ(JLayout::STACK, 1);
    EXPECT_EQ(JLayout::ROW, 2);
    EXPECT_EQ(JLayout::COLUMN, 3);
}

TEST(JLayoutTest, Add_AppendsAChildWithZeroRectangles) {
    JLayout node(1, "root", JLayout::ROW);
    JLayout* child = node.add(7, "seven", JLayout::COLUMN);
    EXPECT_EQ(node.getCount(), 1);
    EXPECT_EQ(child, &node[0]);
    EXPECT_EQ(child->getId(), 7);
    EXPECT_STREQ(child->name, "seven");
    EXPECT_EQ(child->getType(), JLayout::COLUMN);
    EXPECT_EQ(child->parent, &node);
    EXPECT_EQ(areaOf(*child), Area({0, 0, 0, 0}));
}

TEST(JLayoutTest, Index_OutsideOfTheChildrenThrows) {
    JLayout node(1, "root", JLayout::ROW);
    node.add(2, "child", JLayout::LEAF);
    EXPECT_EQ(thrownBy([&] { node[-1]; }), OUT);
    EXPECT_EQ(thrownBy([&] { node[1]; }), OUT);
    EXPECT_EQ(node.getCount(), 1);
}

TEST(JLayoutTest, Copy_IsVisibleUnplacedAndWithoutText) {
    JLayout node(5, "five", JLayout::STACK);
    node.setText("text");
    node.setVisible(false);
    node.placement = JLayout::PLACED;
    node.alignment = JLayout::RIGHT;
    node.area = {1, 2, 3, 4};
    node.preset = {5, 6, 7, 8};
    node.vkey = 9;
    Peer::reserved(node, 4) = 10;
    JLayout parent;
    node.parent = &parent;
    node.add(6, "child", JLayout::LEAF);

    JLayout copy(node);
    EXPECT_EQ(copy.getId(), 5);
    EXPECT_STREQ(copy.name, "five");
    EXPECT_EQ(copy.getType(), JLayout::STACK);
    EXPECT_STREQ(copy.text, "");
    EXPECT_TRUE(copy.visible);
    EXPECT_EQ(copy.placement, 0);
    EXPECT_EQ(copy.alignment, JLayout::RIGHT);
    EXPECT_EQ(areaOf(copy), Area({1, 2, 3, 4}));
    EXPECT_EQ(copy.preset.height, 8);
    EXPECT_EQ(copy.getVKey(), 9);
    EXPECT_EQ(Peer::reserved(copy, 4), 10);
    EXPECT_EQ(copy.parent, &parent);
    ASSERT_EQ(copy.getCount(), 1);
    EXPECT_EQ(copy[0].getId(), -1);  // nodes do not clone: a default one takes the place
}

// ---- properties ----

TEST(JLayoutTest, WidthAndHeightComeFromTheNearestAncestorThatHasOne) {
    JLayout top = root(JLayout::ROW, 100, 0);
    JLayout* middle = top.add(2, "middle", JLayout::ROW);
    JLayout* leaf = middle->add(3, "leaf", JLayout::LEAF);
    EXPECT_EQ(leaf->getWidth(), 100);
    EXPECT_EQ(leaf->getHeight(), 0);
    middle->setWidth(40);
    middle->setHeight(-3);
    EXPECT_EQ(leaf->getWidth(), 40);
    EXPECT_EQ(leaf->getHeight(), -3);
    leaf->setWidth(7);
    EXPECT_EQ(leaf->getWidth(), 7);
}

TEST(JLayoutTest, Find_LooksAtTheNodeThenAtEachChildAndItsSubtree) {
    JLayout top(1, "a", JLayout::ROW);
    JLayout* first = top.add(2, "b", JLayout::ROW);
    JLayout* inner = first->add(9, "x", JLayout::LEAF);
    JLayout* second = top.add(9, "x", JLayout::LEAF);
    EXPECT_EQ(top.find(1), &top);
    EXPECT_EQ(top.find(9), inner);
    EXPECT_EQ(top.find("x"), inner);
    EXPECT_EQ(top.find("a"), &top);
    EXPECT_EQ(second->find(9), second);
    EXPECT_EQ(top.find(77), nullptr);
    EXPECT_EQ(top.find("nothing"), nullptr);
}

TEST(JLayoutTest, SetLayout_ShowsOneChild) {
    JLayout top(1, "top", JLayout::STACK);
    for (int id = 2; id < 5; id++) top.add(id, "child", JLayout::LEAF);
    top.setLayout(1);
    EXPECT_FALSE(top[0].visible);
    EXPECT_TRUE(top[1].visible);
    EXPECT_FALSE(top[2].visible);
}

TEST(JLayoutTest, SetLayout_OutsideOfTheChildrenThrowsAndChangesNothing) {
    JLayout top(1, "top", JLayout::STACK);
    top.add(2, "child", JLayout::LEAF);
    EXPECT_EQ(thrownBy([&] { top.setLayout(1); }), OUT);
    EXPECT_EQ(thrownBy([&] { top.setLayout(-1); }), OUT);
    EXPECT_TRUE(top[0].visible);
}

TEST(JLayoutTest, SetVisibleOnly_UnderAStackShowsThisNodeWhateverIsAsked) {
    JLayout top(1, "top", JLayout::STACK);
    JLayout* a = top.add(2, "a", JLayout::LEAF);
    JLayout* b = top.add(3, "b", JLayout::LEAF);
    JLayout* sameId = top.add(3, "c", JLayout::LEAF);
    b->setVisibleOnly(false);
    EXPECT_FALSE(a->visible);
    EXPECT_TRUE(b->visible);
    EXPECT_TRUE(sameId->visible);
}

TEST(JLayoutTest, SetVisibleOnly_ElsewhereSetsTheNodesOwn) {
    JLayout top(1, "top", JLayout::ROW);
    JLayout* child = top.add(2, "a", JLayout::LEAF);
    child->setVisibleOnly(false);
    EXPECT_FALSE(child->visible);
    top.setVisibleOnly(false);
    EXPECT_FALSE(top.visible);
}

// ---- align ----

TEST(JLayoutTest, Align_WithoutFlagsIsAnOffset) {
    JLayout top;
    top.area = {100, 200, 50, 60};
    Rectangle r{3, 4, 10, 10};
    top.align(r, 0);
    EXPECT_EQ(r.x, 103);
    EXPECT_EQ(r.y, 204);
}

TEST(JLayoutTest, Align_TakesAnOddSizeForOneLess) {
    JLayout top;
    top.area = {10, 20, 101, 51};
    Rectangle r{0, 0, 20, 10};
    top.align(r, JLayout::CENTER_X | JLayout::CENTER_Y);
    EXPECT_EQ(r.x, 10 + 40);
    EXPECT_EQ(r.y, 20 + 20);
    top.align(r, JLayout::RIGHT | JLayout::BOTTOM);
    EXPECT_EQ(r.x, 10 + 80);
    EXPECT_EQ(r.y, 20 + 40);
}

TEST(JLayoutTest, Align_LetsTheLaterFlagWin) {
    JLayout top;
    top.area = {0, 0, 100, 100};
    Rectangle r{0, 0, 20, 20};
    top.align(r, JLayout::CENTER_X | JLayout::RIGHT | JLayout::CENTER_Y | JLayout::BOTTOM);
    EXPECT_EQ(r.x, 80);
    EXPECT_EQ(r.y, 80);
}

TEST(JLayoutTest, Align_CentresTruncatingTowardZero) {
    JLayout top;
    top.area = {0, 0, 10, 10};
    Rectangle r{0, 0, 13, 13};
    top.align(r, JLayout::CENTER_X);
    EXPECT_EQ(r.x, -1);
}

// ---- adjust ----

TEST(JLayoutTest, Adjust_GivesARootItsPresetSize) {
    JLayout top;
    Recorder canvas;
    top.adjust(canvas);
    EXPECT_EQ(areaOf(top), Area({0, 0, 0, 0}));
    top.setWidth(30);
    top.setHeight(40);
    top.adjust(canvas);
    EXPECT_EQ(areaOf(top), Area({0, 0, 30, 40}));
    EXPECT_EQ(canvas.registered(), Ids({-1, -1}));
}

TEST(JLayoutTest, Adjust_PlacesARowFromLeftToRight) {
    JLayout top = root(JLayout::ROW, 100, 50);
    for (const int width : {10, 0, 20}) top.add(width, "child", JLayout::LEAF)->setWidth(width);
    Recorder canvas;
    top.adjust(canvas);
    EXPECT_EQ(areaOf(top[0]), Area({0, 0, 10, 50}));
    EXPECT_EQ(areaOf(top[1]), Area({10, 0, 90, 50}));
    EXPECT_EQ(areaOf(top[2]), Area({100, 0, 20, 50}));
    EXPECT_EQ(canvas.registered(), Ids({10, 0, 20}));
}

TEST(JLayoutTest, Adjust_PlacesAColumnFromTopToBottom) {
    JLayout top = root(JLayout::COLUMN, 50, 100);
    for (const int height : {10, 0, 20}) top.add(height, "child", JLayout::LEAF)->setHeight(height);
    Recorder canvas;
    top.adjust(canvas);
    EXPECT_EQ(areaOf(top[0]), Area({0, 0, 50, 10}));
    EXPECT_EQ(areaOf(top[1]), Area({0, 10, 50, 90}));
    EXPECT_EQ(areaOf(top[2]), Area({0, 100, 50, 20}));
}

TEST(JLayoutTest, Adjust_DoesNotAskARowsChildrenWhetherTheyAreVisible) {
    JLayout top = root(JLayout::ROW, 100, 50);
    top.add(2, "child", JLayout::LEAF)->setVisible(false);
    Recorder canvas;
    top.adjust(canvas);
    EXPECT_EQ(canvas.registered(), Ids({2}));
}

TEST(JLayoutTest, Adjust_KeepsANegativeRest) {
    JLayout top = root(JLayout::ROW, 10, 10);
    top.add(2, "wide", JLayout::LEAF)->setWidth(30);
    top.add(3, "rest", JLayout::LEAF);
    Recorder canvas;
    top.adjust(canvas);
    EXPECT_EQ(areaOf(top[1]), Area({30, 0, -20, 10}));
}

TEST(JLayoutTest, Adjust_FillsAStackWithItsVisibleChildren) {
    JLayout top = root(JLayout::STACK, 100, 50);
    top.area = {5, 6, 0, 0};
    top.add(2, "shown", JLayout::LEAF);
    top.add(3, "hidden", JLayout::LEAF)->setVisible(false);
    Recorder canvas;
    top.adjust(canvas);
    EXPECT_EQ(areaOf(top[0]), Area({5, 6, 100, 50}));
    EXPECT_EQ(areaOf(top[1]), Area({5, 6, 100, 50}));  // set, though it is not laid out
    EXPECT_EQ(canvas.registered(), Ids({2}));
    EXPECT_EQ(canvas.queried, Ids({1, 2, 2, 3}));
}

TEST(JLayoutTest, Adjust_RegistersAnAlignedLeafTwice) {
    JLayout top = root(JLayout::STACK, 100, 50);
    JLayout* dialog = top.add(2, "dialog", JLayout::LEAF);
    dialog->placement = JLayout::ALIGNED;
    dialog->alignment = JLayout::CENTER_X | JLayout::BOTTOM;
    dialog->preset = {1, 1, 20, 10};
    Recorder canvas;
    top.adjust(canvas);
    EXPECT_EQ(areaOf(*dialog), Area({40, 40, 20, 10}));
    EXPECT_EQ(canvas.registered(), Ids({2, 2}));
    EXPECT_EQ(canvas.queried, Ids({1, 2, 2}));
}

TEST(JLayoutTest, Adjust_QueriesAPlacedChildThreeTimesAndDoesNotMoveIt) {
    JLayout top = root(JLayout::STACK, 100, 50);
    top.area = {5, 6, 0, 0};
    JLayout* child = top.add(2, "child", JLayout::LEAF);
    child->placement = JLayout::PLACED;
    child->alignment = JLayout::RIGHT;
    child->preset = {7, 8, 20, 10};
    Recorder canvas;
    top.adjust(canvas);
    EXPECT_EQ(areaOf(*child), Area({7, 8, 20, 10}));
    EXPECT_EQ(canvas.queried, Ids({1, 2, 2, 2}));
    EXPECT_EQ(canvas.registered(), Ids({2}));
}

TEST(JLayoutTest, Adjust_AsksTheCanvasBeforeItLooksAtAStacksChild) {
    class Deciding : public JCanvas {
    public:
        Deciding() : JCanvas(0) {}
        using JCanvas::active;
        void queryLayout(JLayout& node) override {
            if (node.id == 2) node.visible = false;
            if (node.id == 3 && ++asked == 2) node.preset.x = 9;
        }
        int asked = 0;
    } canvas;
    JLayout top = root(JLayout::STACK, 100, 50);
    top.add(2, "hidden", JLayout::LEAF);
    JLayout* placed = top.add(3, "placed", JLayout::LEAF);
    placed->placement = JLayout::PLACED;
    placed->preset = {1, 2, 3, 4};
    top.adjust(canvas);
    ASSERT_EQ(canvas.active.length(), 1);
    EXPECT_EQ(areaOf(*placed), Area({9, 2, 3, 4}));
}

TEST(JLayoutTest, Adjust_AlignsInsideAStackThatLiesElsewhere_AndRegistersARowOnce) {
    JLayout top = root(JLayout::STACK, 100, 50);
    top.area = {5, 6, 0, 0};
    JLayout* row = top.add(2, "row", JLayout::ROW);
    row->placement = JLayout::ALIGNED;
    row->alignment = JLayout::RIGHT;
    row->preset = {0, 3, 20, 10};
    row->add(3, "leaf", JLayout::LEAF);
    Recorder canvas;
    top.adjust(canvas);
    EXPECT_EQ(areaOf(*row), Area({85, 9, 20, 10}));
    EXPECT_EQ(areaOf((*row)[0]), Area({85, 9, 20, 10}));
    EXPECT_EQ(canvas.registered(), Ids({2, 3}));
}

TEST(JLayoutTest, Adjust_SkipsOtherPlacementsAndTypes) {
    JLayout top = root(JLayout::STACK, 100, 50);
    top.add(2, "child", JLayout::LEAF)->placement = 3;
    Recorder canvas;
    top.adjust(canvas);
    EXPECT_EQ(canvas.registered(), Ids());
    top.setType(static_cast<JLayout::Type>(9));
    top.adjust(canvas);
    EXPECT_EQ(areaOf(top), Area({0, 0, 100, 50}));
    EXPECT_EQ(canvas.registered(), Ids());
}

TEST(JLayoutTest, Adjust_LetsTheCanvasChangeANodeFirst) {
    class Narrowing : public JCanvas {
    public:
        Narrowing() : JCanvas(0) {}
        void queryLayout(JLayout& node) override {
            if (node.id == 2) node.setWidth(33);
        }
    } canvas;
    JLayout top = root(JLayout::ROW, 100, 50);
    top.add(2, "child", JLayout::LEAF);
    top.add(3, "rest", JLayout::LEAF);
    top.adjust(canvas);
    EXPECT_EQ(areaOf(top[1]), Area({33, 0, 67, 50}));
}

TEST(JLayoutTest, Adjust_SurvivesNonsensicalPresets) {
    JLayout top = root(JLayout::STACK, INT_MAX, INT_MIN);
    top.area = {INT_MAX, INT_MIN, 0, 0};
    JLayout* row = top.add(2, "row", JLayout::ROW);
    row->add(3, "child", JLayout::LEAF)->setWidth(INT_MAX);
    row->add(4, "child", JLayout::LEAF);
    JLayout* placed = top.add(5, "placed", JLayout::LEAF);
    placed->placement = JLayout::ALIGNED;
    placed->alignment = JLayout::CENTER_X | JLayout::CENTER_Y;
    placed->preset = {INT_MIN, INT_MAX, INT_MIN, INT_MIN};
    Recorder canvas;
    top.adjust(canvas);
    EXPECT_EQ(canvas.registered().size(), 4U);
}

// ---- against a model ----

namespace {

/** The rules once more, as plain recursion over numbers. */
class Model {
public:
    static void layOut(JLayout& node, Rectangle place, std::vector<Area>& leaves) {
        const int width = node.preset.width != 0 || node.parent == nullptr
                              ? node.preset.width
                              : node.parent->area.x + presetOf(node.parent, &Rectangle::width) - place.x;
        const int height = node.preset.height != 0 || node.parent == nullptr
                               ? node.preset.height
                               : node.parent->area.y + presetOf(node.parent, &Rectangle::height) - place.y;
        node.area = {place.x, place.y, width, height};
        if (node.type == JLayout::LEAF) leaves.push_back(areaOf(node));
        Rectangle next = node.area;
        for (int i = 0; i < node.getCount(); i++) {
            layOut(node[i], next, leaves);
            if (node.type == JLayout::ROW) next.x += node[i].area.width;
            if (node.type == JLayout::COLUMN) next.y += node[i].area.height;
        }
    }

private:
    static int presetOf(const JLayout* node, int Rectangle::*side) {
        while (node != nullptr && node->preset.*side == 0) node = node->parent;
        return node != nullptr ? node->preset.*side : 0;
    }
};

void grow(JLayout& node, std::mt19937& random, int depth) {
    for (unsigned i = random() % 4; i > 0; i--) {
        const auto type = static_cast<JLayout::Type>(depth > 0 ? random() % 4 : 0);
        JLayout* child = node.add(static_cast<int>(random() % 100), "n", type);
        if (random() % 2 == 0) child->setWidth(static_cast<int>(random() % 80));
        if (random() % 2 == 0) child->setHeight(static_cast<int>(random() % 80));
        if (type != JLayout::LEAF) grow(*child, random, depth - 1);
    }
}

}  // namespace

TEST(JLayoutTest, RandomTreesGetTheModelsRectangles) {
    std::mt19937 random(7);
    for (int i = 0; i < 500; i++) {
        JLayout top = root(static_cast<JLayout::Type>(1 + random() % 3), 240, 320);
        grow(top, random, 4);
        Recorder canvas;
        top.adjust(canvas);
        std::vector<Area> found;
        for (int k = 0; k < canvas.active.length(); k++)
            found.push_back(areaOf(*static_cast<JLayout*>(canvas.active[k])));
        std::vector<Area> expected;
        Model::layOut(top, top.area, expected);
        ASSERT_EQ(found, expected) << i;
    }
}
