// mwin.cpp - MWin: the window tree, geometry, canvases and repainting.
//
// A window is painted in the frames its refresh count still holds, so that
// every surface of the display shows a change; a parent is painted before its
// children, and a background repaint asks for the children again so that
// they end up on top. The module's refresh-needed flag tells the game that a
// frame has something to paint; the game clears it after the frame.
#include "mwin_internal.h"

#include "tollivex/bitmap.h"
#include "tollivex/canvas.h"
#include "tollivex/sprman.h"

using namespace mwin;

namespace {
int refreshNeeded = 1;
} // namespace

int RefreshNeeded()
{
    return refreshNeeded;
}

void SetRefreshNeeded(int needed)
{
    refreshNeeded = needed;
}

unsigned char mwin::RefreshFrames()
{
    return QueryDDPaletteOnly() ? 3 : 2;
}

MWin::MWin(MWin* parentWindow)
    : hotSpot{}, childSpots(), firstChild(nullptr), nextSibling(nullptr), parent(parentWindow),
      owner(parentWindow), backgroundKind(MWIN_BG_NONE), backgroundSource(nullptr), fgColor(0), bgColor(0),
      bgSpriteSet(0), bgSprite(0), state(0), refreshCount(0), childRefreshCount(0), paint(&MWin::DefaultPaint),
      reserved(0), callback(nullptr), canvas(nullptr), x(0), y(0), width(2), height(2)
{
    hotSpot.userData = this;
    Refresh();
    if (parent != nullptr)
        parent->AdoptChild(this);
}

// Children are destroyed first, deepest first. A window that still has some
// lets them go as roots rather than leave them pointing at freed memory.
MWin::~MWin()
{
    UnLockFocus();
    LoseKeyboardFocus();
    if (parent != nullptr && !UnlinkFromParent())
        _AssertMsg(kSource, __LINE__);
    UnlinkHotSpot();
    if (firstChild != nullptr) {
        _AssertMsg(kSource, __LINE__);
        OrphanChildren();
    }
}

bool MWin::UnlinkFromParent()
{
    int found = 0;
    for (MWin* w = parent->firstChild; w != nullptr; w = w->nextSibling)
        found += w == this;
    if (found != 1)
        return false;
    if (parent->firstChild == this) {
        parent->firstChild = nextSibling;
        return true;
    }
    MWin* before = parent->firstChild;
    while (before->nextSibling != this)
        before = before->nextSibling;
    before->nextSibling = nextSibling;
    return true;
}

// The parent's list must not go on naming this record: its head moves on to
// the next sibling, and the mouse is no longer over it.
void MWin::UnlinkHotSpot()
{
    if (hotSpot.prevSpot != nullptr)
        hotSpot.prevSpot->nextSpot = hotSpot.nextSpot;
    if (hotSpot.nextSpot != nullptr)
        hotSpot.nextSpot->prevSpot = hotSpot.prevSpot;
    if (parent == nullptr)
        return;
    if (parent->childSpots.first == &hotSpot)
        parent->childSpots.first = hotSpot.nextSpot;
    if (parent->childSpots.current == &hotSpot) {
        parent->childSpots.current = nullptr;
        parent->childSpots.UnlockFocus();
    }
}

void MWin::OrphanChildren()
{
    for (MWin* child = firstChild; child != nullptr; child = child->nextSibling) {
        child->parent = nullptr;
        if (child->owner == this)
            child->owner = nullptr;
    }
    firstChild = nullptr;
}

void MWin::AdoptChild(MWin* child)
{
    if (child == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    child->parent = this;
    child->owner = this;
    child->nextSibling = firstChild;
    child->hotSpot.nextSpot = firstChild != nullptr ? &firstChild->hotSpot : nullptr;
    child->hotSpot.prevSpot = nullptr;
    if (firstChild != nullptr)
        firstChild->hotSpot.prevSpot = &child->hotSpot;
    firstChild = child;
    childSpots.ActivateList(&child->hotSpot, this, DefaultCallback);
    child->SetCanvas(canvas);
}

void MWin::SetOwner(MWin* newOwner)
{
    owner = newOwner != nullptr ? newOwner : parent;
}

void MWin::SetBGColor(unsigned long color)
{
    bgColor = static_cast<uint32_t>(color);
}

void MWin::SetFGColor(unsigned long color)
{
    fgColor = static_cast<uint32_t>(color);
}

void MWin::SetPosition(short newX, short newY)
{
    x = newX;
    y = newY;
    hotSpot.left = x;
    hotSpot.top = y;
    hotSpot.right = static_cast<int16_t>(x + width - 1);
    hotSpot.bottom = static_cast<int16_t>(y + height - 1);
}

// A window of no width or height could never be hit or painted: refused.
void MWin::SetSize(short newWidth, short newHeight)
{
    if (newWidth == 0 || newHeight == 0) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    width = newWidth;
    height = newHeight;
    SetPosition(x, y);
}

void MWin::MapCoordinates(short fromX, short fromY, short* screenX, short* screenY)
{
    int mappedX = fromX;
    int mappedY = fromY;
    for (MWin* w = parent; w != nullptr; w = w->parent) {
        mappedX += w->x;
        mappedY += w->y;
    }
    *screenX = static_cast<short>(mappedX);
    *screenY = static_cast<short>(mappedY);
}

void MWin::CanvasOrigin(short* screenX, short* screenY)
{
    MapCoordinates(x, y, screenX, screenY);
}

void MWin::SetCanvas(Canvas* newCanvas)
{
    canvas = newCanvas;
    for (MWin* child = firstChild; child != nullptr; child = child->nextSibling)
        child->SetCanvas(newCanvas);
}

void MWin::ReplaceCanvas(Canvas* oldCanvas, Canvas* newCanvas)
{
    if (canvas == oldCanvas)
        canvas = newCanvas;
    for (MWin* child = firstChild; child != nullptr; child = child->nextSibling)
        child->ReplaceCanvas(oldCanvas, newCanvas);
}

void MWin::SetFlag(unsigned long flag, bool on)
{
    if (on)
        state |= static_cast<uint32_t>(flag << 16);
    else
        state &= ~static_cast<uint32_t>(flag << 16);
}

unsigned long MWin::NotifyOwner(unsigned short code, unsigned long param1, unsigned long param2)
{
    return SendTo(owner, Message(code, hotSpot.id), param1, param2);
}

void MWin::Refresh()
{
    state |= MWIN_STATE_REFRESH;
    refreshCount = RefreshFrames();
    if (!(state & MWIN_STATE_HIDDEN))
        refreshNeeded = 1;
}

void MWin::RefreshChildren(int skipSelf)
{
    if (!skipSelf)
        Refresh();
    if (firstChild == nullptr)
        return;
    state |= MWIN_STATE_REFRESH_CHILDREN;
    if (!(state & MWIN_STATE_HIDDEN))
        refreshNeeded = 1;
    childRefreshCount = RefreshFrames();
}

void MWin::Update(unsigned long flags)
{
    if (state & MWIN_STATE_HIDDEN)
        return;
    const unsigned long childFlags = flags | (state & MWIN_STATE_REFRESH_CHILDREN ? MWIN_UPDATE_FORCE : 0);
    const bool due = (flags & MWIN_UPDATE_FORCE) || (state & (MWIN_STATE_REFRESH | MWIN_STATE_ALWAYS));
    // A window without a canvas has nowhere to paint; its counts run down all the same.
    if (due && paint != nullptr && canvas != nullptr) {
        if (flags & MWIN_UPDATE_40)
            state |= MWIN_STATE_UPDATE_40;
        else
            state &= ~MWIN_STATE_UPDATE_40;
        (this->*paint)();
        state &= ~MWIN_STATE_UPDATE_40;
    }
    if (refreshCount != 0 && --refreshCount == 0)
        state &= ~MWIN_STATE_REFRESH;
    if (childRefreshCount != 0 && --childRefreshCount == 0)
        state &= ~MWIN_STATE_REFRESH_CHILDREN;
    for (MWin* child = firstChild; child != nullptr; child = child->nextSibling)
        child->Update(childFlags);
}

void MWin::DefaultPaint()
{
    short sx = 0;
    short sy = 0;
    CanvasOrigin(&sx, &sy);
    switch (backgroundKind) {
    case MWIN_BG_COLOR:
        RefreshChildren(1);
        canvas->SetDrawColor(static_cast<unsigned char>(bgColor));
        canvas->FilledRectUnclipped(sx, sy, static_cast<short>(sx + width - 1), static_cast<short>(sy + height - 1));
        break;
    case MWIN_BG_BITMAP: {
        auto* painter = static_cast<BitmapPainter*>(backgroundSource);
        if (painter == nullptr)
            break;
        painter->AssociateCanvas(canvas);
        RefreshChildren(1);
        painter->SetPosition(sx, sy);
        painter->PaintCanvas(0, 1);
        break;
    }
    case MWIN_BG_SPRITE: {
        auto* sprites = static_cast<SpriteManager*>(backgroundSource);
        RefreshChildren(1);
        if (sprites == nullptr || bgSprite == kNoSprite)
            break;
        sprites->AssociateCanvas(canvas);
        sprites->DisplaySprite(sx, sy, bgSpriteSet, bgSprite, 0);
        break;
    }
    default:
        break;
    }
}
