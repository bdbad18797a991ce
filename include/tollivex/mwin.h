// mwin.h - MWin: the in-game window tree, its messages, focus and repainting.
//
// A window is a rectangle drawn into a Canvas by its paint routine, placed in
// a tree (newest child first), reached by the mouse through the hot-spot
// lists of its ancestors and by the keyboard through the process-wide focus.
// Nothing is drawn unasked: the game calls Update on the root once a frame
// while RefreshNeeded() says so, and feeds mouse events into the root through
// DefaultCallback. Games derive their own widgets from MWin, so the data is
// public. A window's first data member is its hot-spot record, but the
// vtable stands before it: reach the window through the record's userData.
// Single-threaded; the focus pointers and flags are module state.
#ifndef TOLLIVEX_MWIN_H
#define TOLLIVEX_MWIN_H

#include "hotspot.h"
#include "tvxcommon.h"

class Canvas;
class Digimix;

// Message codes (the high 16 bits of a message).
enum : unsigned short {
    MWIN_ENTER = 0x8001,
    MWIN_LEAVE = 0x8002,
    MWIN_MOVE = 0x8004,
    MWIN_MOVE_OUTSIDE = 0x8005,
    MWIN_CLICK = 0x8006,   // list boxes, entry fields and highlights take it as a click
    MWIN_RELEASE = 0x800E, // release of the push-button button; + 1 outside a locked window
    MWIN_PRESS = 0x8012,   // press of the push-button button
    MWIN_CLICKED = 0x8020,
    MWIN_KEY = 0x8022,
    MWIN_VALUE_CHANGED = 0x8023,
    MWIN_ENTER_PRESSED = 0x802C,
    MWIN_TEXT_CHANGED = 0x802D,
    MWIN_SELECTED = 0x802F,
    MWIN_FOCUS_GAINED = 0x8030,
    MWIN_FOCUS_LOST = 0x8031
};

// How a value changed (param1 of MWIN_VALUE_CHANGED).
enum : unsigned short {
    MWIN_LINE_UP = 0x8024,
    MWIN_LINE_DOWN = 0x8025,
    MWIN_PAGE_UP = 0x8026,
    MWIN_PAGE_DOWN = 0x8027,
    MWIN_LINE_LEFT = 0x8028,
    MWIN_LINE_RIGHT = 0x8029,
    MWIN_PAGE_LEFT = 0x802A,
    MWIN_PAGE_RIGHT = 0x802B,
    MWIN_DRAGGING = 0x8034,
    MWIN_DRAG_ENDED = 0x8035
};

// Window state bits (low byte of MWin::state); widgets keep their own flags
// in the third byte.
const unsigned long MWIN_STATE_REFRESH = 0x02;
const unsigned long MWIN_STATE_HIDDEN = 0x08;
const unsigned long MWIN_STATE_REFRESH_CHILDREN = 0x10;
const unsigned long MWIN_STATE_FOCUS = 0x20;
const unsigned long MWIN_STATE_UPDATE_40 = 0x40; // the caller of Update passed 0x40
const unsigned long MWIN_STATE_ALWAYS = 0x80;    // painted on every Update

// MWin::Update flags.
const unsigned long MWIN_UPDATE_FORCE = 0x01;
const unsigned long MWIN_UPDATE_40 = 0x40;

// MWin::backgroundKind values.
enum : unsigned short { MWIN_BG_NONE = 0, MWIN_BG_COLOR = 1, MWIN_BG_BITMAP = 2, MWIN_BG_SPRITE = 3 };

// Member order is the toolkit's contract; alignment is natural, since games
// derive from MWin and take references to its members.
class TVX_API MWin {
public:
    typedef void (MWin::*PaintRoutine)();

    explicit MWin(MWin* parent);
    virtual ~MWin();
    MWin(const MWin&) = delete;
    MWin& operator=(const MWin&) = delete;

    virtual void SetPosition(short x, short y);
    virtual void SetSize(short width, short height);
    virtual void Refresh();
    virtual void RefreshChildren(int skipSelf);

    void Update(unsigned long flags);
    void AdoptChild(MWin* child);
    void SetOwner(MWin* owner);
    void SetBGColor(unsigned long color);
    void SetFGColor(unsigned long color);
    void SetCanvas(Canvas* canvas);
    void ReplaceCanvas(Canvas* oldCanvas, Canvas* newCanvas);
    void MapCoordinates(short x, short y, short* screenX, short* screenY);

    MWin* SwitchKeyboardFocus();
    void ClearKeyboardFocus();
    MWin* LockFocus();
    void TreeLockFocus();
    void UnLockFocus();

    void Hide(int refreshParent);
    void Unhide();
    void DefaultPaint();

    _HotSpot1 hotSpot;      // this window in its parent's list; userData is the window
    HotSpotList1 childSpots; // the children's hot spots, routed by DefaultCallback
    MWin* firstChild;        // newest first
    MWin* nextSibling;
    MWin* parent;
    MWin* owner; // receives this window's notifications
    uint16_t backgroundKind;
    void* backgroundSource; // BitmapPainter* (bitmap) or SpriteManager* (sprite)
    uint32_t fgColor;
    uint32_t bgColor;
    uint8_t bgSpriteSet;
    uint16_t bgSprite; // 0xFFFF = none
    uint32_t state;
    uint8_t refreshCount;      // frames this window is still to be painted in
    uint8_t childRefreshCount; // frames its children are still to be painted in
    PaintRoutine paint;
    uint32_t reserved;
    MWINCALLBACK callback; // this window's own message handler
    Canvas* canvas;
    int16_t x;
    int16_t y;
    int16_t width;
    int16_t height;

protected:
    // A widget's flag bits live in the third byte of the state word.
    bool HasFlag(unsigned long flag) const { return (state & flag << 16) != 0; }
    void SetFlag(unsigned long flag, bool on);
    // The window's top-left corner on its canvas.
    void CanvasOrigin(short* screenX, short* screenY);
    // Ends this window's capture and puts back the lock in force when it began.
    void HandBackLock(MWin*& former);
    // Sends code << 16 | hot-spot id to the owner's handler, if there is one.
    unsigned long NotifyOwner(unsigned short code, unsigned long param1, unsigned long param2);

private:
    bool UnlinkFromParent();
    void UnlinkHotSpot();
    void OrphanChildren();
    MWin* LastChainedDescendant();
    void LoseKeyboardFocus();
};

// The message router every window's child list uses; games feed mouse events
// into the root with it as DefaultCallback(root, code << 16, 0, x | y << 16).
TVX_API unsigned long DefaultCallback(void* window, unsigned long message, unsigned long param1,
                                      unsigned long param2);

TVX_API int RefreshNeeded();
TVX_API void SetRefreshNeeded(int needed);
TVX_API MWin* QueryKeyboardFocus();
// The mixer widgets play their sounds through; the game installs it first.
TVX_API void SetMWinDigimix(Digimix* mixer);

#endif
