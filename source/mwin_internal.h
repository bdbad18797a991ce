// mwin_internal.h - what the window-system sources share: message packing,
// the repaint frame count and the window-system mixer.
#ifndef TOLLIVEX_MWIN_INTERNAL_H
#define TOLLIVEX_MWIN_INTERNAL_H

#include "tollivex/mwin.h"

#include <cstdint>

namespace mwin {

const char* const kSource = "mwin";
const unsigned short kNoSprite = 0xFFFF;

inline unsigned long Message(unsigned short code, unsigned short id)
{
    return static_cast<unsigned long>(code) << 16 | id;
}

inline unsigned short CodeOf(unsigned long message)
{
    return static_cast<unsigned short>(message >> 16);
}

// Positions travel as x | y << 16, each a signed 16-bit value.
inline unsigned long Position(int x, int y)
{
    return static_cast<unsigned long>(static_cast<uint16_t>(x)) |
           static_cast<unsigned long>(static_cast<uint16_t>(y)) << 16;
}

inline short XOf(unsigned long position)
{
    return static_cast<short>(position & 0xFFFF);
}

inline short YOf(unsigned long position)
{
    return static_cast<short>(position >> 16 & 0xFFFF);
}

// A sender travels in an unsigned long parameter.
inline unsigned long SenderParam(const void* sender)
{
    return static_cast<unsigned long>(reinterpret_cast<uintptr_t>(sender));
}

// A handler's window argument is the MWin* a hot spot's userData holds.
template <typename Widget>
Widget* WindowAs(void* window)
{
    return static_cast<Widget*>(static_cast<MWin*>(window));
}

// Sends a message to a window's own handler, when it has a window and one.
inline unsigned long SendTo(MWin* target, unsigned long message, unsigned long param1, unsigned long param2)
{
    if (target == nullptr || target->callback == nullptr)
        return 0;
    return target->callback(target, message, param1, param2);
}

// Frames a change must be painted in: every surface of the display has to
// show it, and the palette-only display keeps one surface more.
unsigned char RefreshFrames();

Digimix* Mixer();

} // namespace mwin

#endif
