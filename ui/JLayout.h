#ifndef JAY_UI_JLAYOUT_H
#define JAY_UI_JLAYOUT_H

#include "core/JObject.h"
#include "core/JString.h"
#include "ui/JLayoutArray.h"

namespace jay::detail {
struct JLayoutPeer;  // for the library's own tests
}

class JCanvas;

/**
 * A node of the tree that describes a screen. Its type says how its children share its area; adjust() walks
 * the tree from the top, computes every node's area and registers the interactive ones with a canvas. Nothing
 * here draws.
 *
 * | type   | children                                                                             |
 * |--------|--------------------------------------------------------------------------------------|
 * | LEAF   | none are visited; the node itself is registered with the canvas                      |
 * | STACK  | every visible child lies over the node's own area, by its `placement`                |
 * | ROW    | left to right, each beginning where the former one ends; visible or not              |
 * | COLUMN | top to bottom, each beginning where the former one ends; visible or not              |
 *
 * A child whose preset width or height is 0 takes the room up to its parent's right or bottom edge. The edge follows from
 * the parent's preset size, or from that of the nearest ancestor that has one. docs/layout.md shows examples.
 *
 * A node owns its children. Not thread-safe. The index checks of operator[] and setLayout() throw the C
 * string "array out of boundary!!!": the one exception of the library.
 */
class JAY_API JLayout : public JObject {
public:
    static const JClass classJLayout;

    /** Pixels; the top-left corner in canvas coordinates. */
    struct Rectangle {
        int x;       ///< left edge
        int y;       ///< top edge
        int width;   ///< may be 0 or negative
        int height;  ///< may be 0 or negative
    };

    /** How a node lays out its children; a LEAF has none. */
    enum Type : int { LEAF = 0, STACK = 1, ROW = 2, COLUMN = 3 };

    /** Values of `placement`. */
    enum Placement {
        FILL = 0,     ///< over the parent's whole area
        ALIGNED = 1,  ///< active, at `preset`, moved by `alignment` inside the parent
        PLACED = 2    ///< at `preset` in canvas coordinates, after the canvas has looked at it once more
    };

    /** Flags of `alignment` and align(). */
    enum Alignment { CENTER_X = 1, CENTER_Y = 2, RIGHT = 8, BOTTOM = 32 };

    /** A LEAF without a name, id -1. */
    JLayout();
    /** A node without children, visible. */
    JLayout(int id, const JString& name, Type type);

    /** A copy that is visible, with placement 0 and an empty text (kept); its children come out as default
     * nodes (kept). */
    JLayout(const JLayout& other);
    JLayout& operator=(const JLayout&) = delete;

    const JClass* getClass() const override;

    // ---- the tree ----

    /** Appends a new child, which this node owns. */
    JLayout* add(int id, const JString& name, Type type);

    int getCount();  ///< children

    /** Child `i`; throws "array out of boundary!!!" unless 0 <= i < getCount(). */
    JLayout& operator[](int i);

    /** The first node with this id or name: this one, else for each child in order the child, then its
     * subtree. Null if none. */
    JLayout* find(int nodeId);
    JLayout* find(const JString& nodeName);

    // ---- properties ----

    int getId();                           ///< as given to the constructor or to add()
    Type getType();                        ///< LEAF, STACK, ROW or COLUMN
    void setType(Type newType);            ///< from the next adjust() on
    void setVisible(bool v);               ///< from the next adjust() on
    void setText(const JString& newText);  ///< for the application; the library does not draw it
    int getVKey();                         ///< the key code that goes with the node

    /** The preset width and height in pixels; 0 takes what the parent leaves. */
    void setWidth(int w);
    void setHeight(int h);

    /** The preset width, or that of the nearest ancestor that has one other than 0; else 0. */
    int getWidth();
    int getHeight();

    /** In a STACK: makes this the only visible child, whatever `v` is (kept). Elsewhere: setVisible(v). */
    void setVisibleOnly(bool v);

    /** Makes child `i` the only visible one; throws "array out of boundary!!!" unless 0 <= i < getCount(). */
    void setLayout(int i);

    // ---- layout ----

    /**
     * Moves a child's rectangle inside this node's area, by Alignment flags; without any, x and y are offsets
     * from its corner. An odd width or height of the area counts as one less (kept).
     */
    void align(Rectangle& r, int flags);

    /**
     * Lays this node and everything below it out. The canvas's queryLayout() sees each node first, a STACK's
     * child twice, and with placement PLACED three times; an ALIGNED leaf is registered twice (kept: canvases
     * rely on both).
     */
    void adjust(JCanvas& canvas);

    Type type;              ///< LEAF, STACK, ROW or COLUMN
    JString name;           ///< for find()
    JString text;           ///< for the application
    int id;                 ///< for find(); -1 without
    JLayout* parent;        ///< null at the root; not owned
    JLayoutArray children;  ///< owned
    bool visible;           ///< a STACK passes over children that are not
    int placement;  ///< how a STACK parent places this node: a Placement; with any other value it is not laid
                    ///< out
    int alignment;  ///< Alignment flags, with placement ALIGNED
    Rectangle area;    ///< computed by adjust(); valid until the tree or a preset changes
    Rectangle preset;  ///< set by the application

private:
    friend struct jay::detail::JLayoutPeer;

    JAY_HIDDEN void adjustRow(JCanvas& canvas);
    JAY_HIDDEN void adjustColumn(JCanvas& canvas);
    JAY_HIDDEN void adjustStack(JCanvas& canvas);
    JAY_HIDDEN void adjustStacked(JLayout& child, JCanvas& canvas);

    int reserved[5];  // copied, not used

public:
    int vkey;  ///< the key code that goes with the node
};

static_assert(sizeof(void*) != 4 || sizeof(JLayout) == 136, "instance size is part of the 32-bit contract");

#endif
