// script.cpp - one player's session, frame by frame. The panel stands at
// (170, 90); every position below is in screen coordinates.
#include "script.h"

namespace {

struct Timed {
    int frame;
    InputEvent event;
};

const Timed kTitle[] = {
    {4, {MWIN_MOVE, 300, 205}},  {5, {MWIN_CLICK, 300, 205}},                          // into the name field
    {6, {MWIN_KEY, ENTRY_KEY_END, 0}},                                                  // to its end
    {7, {MWIN_KEY, ENTRY_KEY_BACKSPACE, 0}}, {8, {MWIN_KEY, ENTRY_KEY_BACKSPACE, 0}},
    {9, {MWIN_KEY, ENTRY_KEY_BACKSPACE, 0}}, {10, {MWIN_KEY, ENTRY_KEY_BACKSPACE, 0}},
    {11, {MWIN_KEY, ENTRY_KEY_BACKSPACE, 0}}, {12, {MWIN_KEY, ENTRY_KEY_BACKSPACE, 0}},
    {13, {MWIN_KEY, 'A', 0}},    {14, {MWIN_KEY, 'D', 0}},    {15, {MWIN_KEY, 'A', 0}},
    {16, {MWIN_KEY, ENTRY_KEY_ENTER, 0}},
    {18, {MWIN_MOVE, 440, 236}}, {19, {MWIN_PRESS, 440, 236}}, {20, {MWIN_RELEASE, 440, 236}}, // speed up
    {21, {MWIN_PRESS, 440, 236}}, {22, {MWIN_RELEASE, 440, 236}},
    {24, {MWIN_MOVE, 220, 277}}, {25, {MWIN_PRESS, 220, 277}}, {26, {MWIN_RELEASE, 220, 277}}, // the second scene
    {28, {MWIN_MOVE, 400, 345}}, {30, {MWIN_PRESS, 400, 345}}, {31, {MWIN_RELEASE, 400, 345}}, // play
};

} // namespace

std::vector<InputEvent> TitleScript(int frame)
{
    std::vector<InputEvent> events;
    for (const Timed& timed : kTitle) {
        if (timed.frame == frame)
            events.push_back(timed.event);
    }
    return events;
}

Controls PlayScript(const PlayField& field)
{
    return field.Autopilot();
}
