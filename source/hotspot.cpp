// hotspot.cpp - HotSpotList1: which hot spot the mouse is over, and what it hears.
//
// Every message about a hot spot is (code << 16) | its id, with its user data
// first and the position relative to its top-left corner last. A list whose
// focus is locked sends everything to its current hot spot, inside or not.
#include "mwin_internal.h"

using namespace mwin;

namespace {
const char* const kHotSpotSource = "hotspot";

void (*mouseSetFunction)(unsigned long) = nullptr;

// Games install the function before any hot spot with a mouse set is
// entered; until they do, the changes are simply not announced.
void AnnounceMouseSet(unsigned long mouseSet)
{
    if (mouseSetFunction != nullptr)
        mouseSetFunction(mouseSet);
}

bool Contains(const _HotSpot1* spot, short x, short y)
{
    return spot->left <= x && x <= spot->right && spot->top <= y && y <= spot->bottom;
}
} // namespace

void HotSpotSetMouseSet(void (*mouseSet)(unsigned long))
{
    mouseSetFunction = mouseSet;
}

HotSpotList1::HotSpotList1()
    : first(nullptr), callback(nullptr), listFlags(0), current(nullptr), listUserData(nullptr)
{
}

HotSpotList1::~HotSpotList1() = default;

void HotSpotList1::ActivateList(_HotSpot1* head, void* userData, MWINCALLBACK handler)
{
    first = head;
    listUserData = userData;
    callback = handler;
    current = nullptr;
    listFlags = 0;
}

void HotSpotList1::DeactivateList()
{
    first = nullptr;
    callback = nullptr;
    listFlags = 0;
    current = nullptr;
    listUserData = nullptr;
}

int HotSpotList1::LockFocus()
{
    if (current == nullptr)
        return 0;
    listFlags |= HOTSPOT_LIST_LOCKED;
    return 1;
}

void HotSpotList1::UnlockFocus()
{
    listFlags &= ~HOTSPOT_LIST_LOCKED;
}

int HotSpotList1::QueryFocusLocked()
{
    return listFlags & HOTSPOT_LIST_LOCKED;
}

unsigned long HotSpotList1::ProcessMouseInput(short x, short y, unsigned short code)
{
    if (code != MWIN_MOVE && code != MWIN_MOVE_OUTSIDE)
        return ProcessButton(x, y, code);
    return QueryFocusLocked() ? ProcessLockedMove(x, y) : ProcessMove(x, y);
}

void HotSpotList1::Send(_HotSpot1* spot, unsigned short code, short x, short y)
{
    if (callback != nullptr)
        callback(spot->userData, Message(code, spot->id), SenderParam(spot), Position(x - spot->left, y - spot->top));
}

unsigned long HotSpotList1::ProcessButton(short x, short y, unsigned short code)
{
    if (current == nullptr)
        return 0;
    if (callback == nullptr)
        return 1;
    const bool outside = QueryFocusLocked() && !Contains(current, x, y);
    Send(current, static_cast<unsigned short>(outside ? code | 1 : code), x, y);
    return 1;
}

unsigned long HotSpotList1::ProcessLockedMove(short x, short y)
{
    if (current == nullptr) {
        _AssertMsg(kHotSpotSource, __LINE__);
        UnlockFocus();
        return 1;
    }
    Send(current, Contains(current, x, y) ? MWIN_MOVE : MWIN_MOVE_OUTSIDE, x, y);
    return 0;
}

unsigned long HotSpotList1::ProcessMove(short x, short y)
{
    const uint32_t old = current != nullptr ? current->mouseSet : 0;
    if (current != nullptr && Contains(current, x, y)) {
        // Every move inside a hot spot with its own mouse set resets it.
        if (old != 0)
            AnnounceMouseSet(0);
        Send(current, MWIN_MOVE, x, y);
        return 0;
    }
    if (current != nullptr) {
        Send(current, MWIN_LEAVE, x, y);
        current = nullptr;
    }
    _HotSpot1* found = SpotAt(x, y);
    if (found == nullptr) {
        if (old != 0)
            AnnounceMouseSet(0);
        return 0;
    }
    Send(found, MWIN_ENTER, x, y);
    current = found;
    if (found->mouseSet != old)
        AnnounceMouseSet(found->mouseSet);
    Send(found, MWIN_MOVE, x, y);
    return 0;
}

_HotSpot1* HotSpotList1::SpotAt(short x, short y) const
{
    for (_HotSpot1* spot = first; spot != nullptr; spot = spot->nextSpot)
        if (!(spot->spotFlags & HOTSPOT_DISABLED) && Contains(spot, x, y))
            return spot;
    return nullptr;
}
