// hotspot.h - rectangles that react to the mouse, and the lists that route to them.
//
// A HotSpotList1 keeps a chain of _HotSpot1 records, remembers the one under
// the mouse, can hold the mouse for it (the focus lock), and turns raw mouse
// events into enter, leave, move and button messages addressed to that hot
// spot, with coordinates relative to its top-left corner. Every window is a
// hot spot in its parent's list, which is how mouse events travel down the
// window tree. Single-threaded; the mouse-set function is module state.
#ifndef TOLLIVEX_HOTSPOT_H
#define TOLLIVEX_HOTSPOT_H

#include "tvxcommon.h"

// The form of every window-system message handler: the receiver (a hot spot's
// user data), the message (code << 16 | sender id) and two parameters.
typedef unsigned long (*MWINCALLBACK)(void* window, unsigned long message, unsigned long param1,
                                      unsigned long param2);

// _HotSpot1::spotFlags bits.
const unsigned char HOTSPOT_CHAINED = 0x01;  // followed by MWin::Hide to find a locked descendant
const unsigned char HOTSPOT_DISABLED = 0x04; // passed over when looking for the hot spot under the mouse

// HotSpotList1::listFlags bits.
const unsigned long HOTSPOT_LIST_LOCKED = 0x01;

#pragma pack(push, 1)
// One hot spot: an inclusive rectangle in the coordinates of its list's owner.
struct _HotSpot1 {
    int16_t left;
    int16_t right;
    int16_t top;
    int16_t bottom;
    uint32_t mouseSet; // handed to the mouse-set function on entry; 0 = default
    uint16_t id;       // low 16 bits of every message about this hot spot
    uint32_t reserved;
    void* userData; // first argument of every callback about this hot spot
    uint8_t spotFlags;
    uint8_t reserved2[3];
    _HotSpot1* nextSpot;
    _HotSpot1* prevSpot;
};
#pragma pack(pop)

class TVX_API HotSpotList1 {
public:
    HotSpotList1();
    ~HotSpotList1();

    void ActivateList(_HotSpot1* first, void* userData, MWINCALLBACK callback);
    void DeactivateList();
    int LockFocus();
    void UnlockFocus();
    int QueryFocusLocked();
    // Moves always answer 0, so the list's owner sees them too; a button event
    // that reached a hot spot answers 1.
    unsigned long ProcessMouseInput(short x, short y, unsigned short code);

    _HotSpot1* first;
    MWINCALLBACK callback; // (user data, message, _HotSpot1*, position)
    uint32_t listFlags;
    _HotSpot1* current; // under the mouse, or holding the lock
    void* listUserData;

private:
    unsigned long ProcessButton(short x, short y, unsigned short code);
    unsigned long ProcessLockedMove(short x, short y);
    unsigned long ProcessMove(short x, short y);
    _HotSpot1* SpotAt(short x, short y) const;
    void Send(_HotSpot1* spot, unsigned short code, short x, short y);
};

#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
static_assert(sizeof(_HotSpot1) == 34, "_HotSpot1 is a 34-byte record on 32-bit targets");
static_assert(sizeof(HotSpotList1) == 20, "HotSpotList1 is a 20-byte record on 32-bit targets");
#endif

// Installs the function told about the mouse set of each hot spot entered.
TVX_API void HotSpotSetMouseSet(void (*mouseSet)(unsigned long));

#endif
