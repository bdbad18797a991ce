// mwin_focus.cpp - MWin: mouse routing, keyboard focus, mouse capture, hiding.
//
// Mouse events enter at the root and go down through each window's child
// list to the deepest window under the pointer; a captured mouse (the focus
// lock) goes down the locked chain wherever the pointer is. The keyboard goes
// to one window at a time, told when it gains and loses the focus.
#include "mwin_internal.h"

using namespace mwin;

namespace {
MWin* keyboardFocus = nullptr;
MWin* focusLock = nullptr;
Digimix* mixer = nullptr;

bool RoutedByPosition(unsigned short code)
{
    return code >= MWIN_MOVE && code <= 0x8015;
}
} // namespace

MWin* QueryKeyboardFocus()
{
    return keyboardFocus;
}

void SetMWinDigimix(Digimix* newMixer)
{
    mixer = newMixer;
}

Digimix* mwin::Mixer()
{
    return mixer;
}

unsigned long DefaultCallback(void* window, unsigned long message, unsigned long param1, unsigned long param2)
{
    MWin* w = WindowAs<MWin>(window);
    if (w == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return 0;
    }
    if (w->state & MWIN_STATE_HIDDEN)
        return 0;
    unsigned long result = 0;
    if (w->firstChild != nullptr) {
        HotSpotList1& list = w->childSpots;
        const unsigned short code = CodeOf(message);
        if (RoutedByPosition(code)) {
            result = list.ProcessMouseInput(XOf(param2), YOf(param2), code);
        } else if (code == MWIN_LEAVE && list.current != nullptr) {
            // Leaving a window also leaves the child under the mouse.
            _HotSpot1* child = list.current;
            if (list.callback != nullptr)
                list.callback(child->userData, Message(MWIN_LEAVE, child->id), SenderParam(child), 0);
            list.current = nullptr;
        }
        if (result != 0)
            return result;
    }
    return w->callback != nullptr ? w->callback(w, message, param1, param2) : result;
}

void MWin::LoseKeyboardFocus()
{
    if (keyboardFocus == this)
        keyboardFocus = nullptr;
}

MWin* MWin::SwitchKeyboardFocus()
{
    MWin* former = keyboardFocus;
    ClearKeyboardFocus();
    keyboardFocus = this;
    if (callback != nullptr) {
        callback(this, Message(MWIN_FOCUS_GAINED, hotSpot.id), 0, 0);
        state |= MWIN_STATE_FOCUS;
        Refresh();
    }
    return former;
}

void MWin::ClearKeyboardFocus()
{
    MWin* holder = keyboardFocus;
    if (holder != nullptr && holder->callback != nullptr) {
        holder->callback(holder, Message(MWIN_FOCUS_LOST, holder->hotSpot.id), 0, 0);
        holder->state &= ~MWIN_STATE_FOCUS;
        holder->Refresh();
    }
    keyboardFocus = nullptr;
}

MWin* MWin::LockFocus()
{
    if (state & MWIN_STATE_HIDDEN)
        return nullptr;
    MWin* former = focusLock;
    focusLock = this;
    TreeLockFocus();
    return former;
}

void MWin::TreeLockFocus()
{
    for (MWin* w = this; w->parent != nullptr; w = w->parent) {
        w->parent->childSpots.current = &w->hotSpot;
        w->parent->childSpots.LockFocus();
    }
}

void MWin::UnLockFocus()
{
    if (focusLock != this)
        return;
    focusLock = nullptr;
    for (MWin* w = this; w != nullptr; w = w->parent)
        w->childSpots.UnlockFocus();
}

void MWin::HandBackLock(MWin*& former)
{
    UnLockFocus();
    if (former == nullptr)
        return;
    former->LockFocus();
    former = nullptr;
}

// At each level the first child whose hot spot is chained, down to the last.
MWin* MWin::LastChainedDescendant()
{
    MWin* last = this;
    for (;;) {
        MWin* next = last->firstChild;
        while (next != nullptr && !(next->hotSpot.spotFlags & HOTSPOT_CHAINED))
            next = next->nextSibling;
        if (next == nullptr)
            return last;
        last = next;
    }
}

void MWin::Hide(int refreshParent)
{
    if (hotSpot.spotFlags & HOTSPOT_CHAINED)
        LastChainedDescendant()->UnLockFocus();
    UnLockFocus();
    DefaultCallback(this, Message(MWIN_LEAVE, hotSpot.id), SenderParam(&hotSpot), 0);
    if (parent != nullptr && parent->childSpots.current == &hotSpot)
        parent->childSpots.current = nullptr;
    state |= MWIN_STATE_HIDDEN;
    RefreshChildren(0);
    hotSpot.spotFlags |= HOTSPOT_DISABLED;
    if (refreshParent == 1 && parent != nullptr)
        parent->RefreshChildren(0);
}

void MWin::Unhide()
{
    state &= ~MWIN_STATE_HIDDEN;
    hotSpot.spotFlags &= static_cast<uint8_t>(~HOTSPOT_DISABLED);
    RefreshChildren(0);
}
