#ifndef JAY_UI_JCANVAS_H
#define JAY_UI_JCANVAS_H

#include "core/JObject.h"
#include "core/JPointerArray.h"
#include "ui/JGraphics.h"
#include "ui/JLayout.h"

/**
 * The base class of a screen: a size, the tree that describes the screen, and the nodes that the last layout registered.
 * hit() searches these nodes. An application derives from it, builds its tree in createLayout() and
 * draws in paint():
 *
 *     void MyScreen::createLayout() {
 *         layout = new JLayout(1, "screen", JLayout::COLUMN);
 *         layout->add(2, "status", JLayout::LEAF)->setHeight(20);
 *         layout->add(3, "list", JLayout::LEAF);
 *     }
 *     void MyScreen::adjust(JGraphics&) {
 *         active.clear();             // nothing else empties it
 *         layout->setWidth(width);
 *         layout->setHeight(height);
 *         layout->adjust(*this);
 *     }
 *
 * Not thread-safe: one thread works on a canvas and its tree.
 */
class JAY_API JCanvas : public JObject {
public:
    static const JClass classJCanvas;

    /** 280 by 320 pixels, without a tree. @param handle the platform's handle for the screen. */
    explicit JCanvas(unsigned int handle);

    /** Deletes the tree. */
    ~JCanvas() override;
    JCanvas(const JCanvas&) = delete;
    JCanvas& operator=(const JCanvas&) = delete;

    const JClass* getClass() const override;

    // ---- hooks for the application, in the order of their slots; with what the defaults do ----

    /** Paints the screen. Default: clears `repaintPending`, calls createLayout() if there is no tree, draws nothing. */
    virtual void paint(JGraphics& g);

    /** A key was pressed. Default: does nothing. */
    virtual void keyPressed(int key);

    /** The screen has a new size, in pixels. Default: stores it. */
    virtual void resize(int w, int h);

    /** Builds `layout`. Default: does nothing. */
    virtual void createLayout();

    /** Lays the tree out. Default: does nothing. */
    virtual void adjust(JGraphics& g);

    /** Called before a node is laid out, once or several times; may change the node. Default: does nothing. */
    virtual void queryLayout(JLayout& node);

    /** For applications: whether a point hits a node. Default: 0. hit() does not call it. */
    virtual int queryHit(JLayout& node, int x, int y);

    // ---- properties ----

    void setHandle(unsigned int newHandle);  ///< the platform's handle of the display
    void setWidth(int w);                    ///< pixels
    int getWidth();                          ///< pixels
    void setHeight(int h);                   ///< pixels
    int getHeight();                         ///< pixels

    // ---- painting ----

    /** Requests a repaint of the whole screen; the rectangle is ignored. @return 1. */
    int repaint(int x, int y, int w, int h);

    /** Does nothing. */
    void serviceRepaints();

    /**
     * Draws sides of a rectangle: left 1, right 2, top 4, bottom 8, in this order. Lines end one pixel beyond
     * the rectangle, and the right and bottom ones lie one pixel inside it (kept: themes rely on it).
     * @param color 0xRRGGBB.
     */
    void drawBorder(JGraphics& g, JLayout::Rectangle& r, unsigned int color, int sides);

    /** Fills a rectangle with red. */
    void check(JGraphics& g, JLayout::Rectangle& r);

    // ---- nodes ----

    /** Registers a node as active. The canvas does not own it; it must live until it is removed from `active`. */
    void addActive(JLayout* node);

    /** The active node at a point, the one registered last if there are several; null if none. Right and
     * bottom edges are outside. */
    JLayout* hit(int x, int y);

    /** Node::setVisible() and setVisibleOnly() of the node with this id, if there is one. */
    void setVisible(int id, bool v);
    void setVisibleOnly(int id, bool v);

protected:
    int width;             ///< pixels
    int height;            ///< pixels
    unsigned int handle;   ///< the platform's; the library only keeps it
    bool repaintPending;   ///< repaint() was called and paint() was not called since
    bool flag;             ///< true; nothing in the library reads it
    JLayout* layout;       ///< owned; null until createLayout()
    JLayout* lastHit;      ///< what hit() found last
    JPointerArray active;  ///< in the order of registration
};

static_assert(sizeof(void*) != 4 || sizeof(JCanvas) == 48, "instance size is part of the 32-bit contract");

#endif
