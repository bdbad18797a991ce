// panel.cpp - a panel of widgets, driven the way a game drives them.
//
// The panel is the owner of every widget in it, so its handler hears each
// report and answers the way a game would: a slider is moved to the value it
// asks for, a list line is looked up, an entry field's text is read back.
// Input goes into the root window in root coordinates; painting happens
// whenever a step left something to repaint.
#include "panel.h"

#include <tollivex.h>

#include <cstdio>

namespace {

// Grey ramp of the demo palette: colour = 0 * 16 + brightness.
const unsigned char kDark = 2, kShadow = 5, kFace = 8, kLight = 12, kText = 15;
const unsigned char kAccent = 7 * 16 + 10; // blue

struct Step {
    unsigned short code; // a mouse code, or MWIN_KEY for a key
    short x, y;          // relative to the panel; the key for MWIN_KEY
};

const Step kScript[] = {
    {MWIN_MOVE, 38, 33},   {MWIN_PRESS, 38, 33},   {MWIN_RELEASE, 38, 33},  // click the button
    {MWIN_MOVE, 150, 33},  {MWIN_PRESS, 150, 33},  {MWIN_RELEASE, 150, 33}, // page the slider
    {MWIN_MOVE, 110, 33},  {MWIN_PRESS, 110, 33},  {MWIN_MOVE, 160, 40},    // drag its tab
    {MWIN_MOVE, 250, 90},  {MWIN_RELEASE, 250, 90},                         // ... beyond the end
    {MWIN_MOVE, 113, 103}, {MWIN_PRESS, 113, 103}, {MWIN_RELEASE, 113, 103}, // scroll the list down
    {MWIN_PRESS, 113, 103}, {MWIN_RELEASE, 113, 103},
    {MWIN_MOVE, 30, 78},   {MWIN_PRESS, 30, 78},   {MWIN_RELEASE, 30, 78},  // pick a line
    {MWIN_MOVE, 150, 123}, {MWIN_CLICK, 150, 123},                          // into the entry field
    {MWIN_KEY, ENTRY_KEY_BACKSPACE, 0}, {MWIN_KEY, 'P', 0}, {MWIN_KEY, '.', 0}, {MWIN_KEY, ENTRY_KEY_ENTER, 0},
};

char lineNames[][8] = {"ALPHA", "BRAVO", "CHARLIE", "DELTA", "ECHO", "FOXTROT", "GOLF", "HOTEL"};

struct Panel : MWin {
    Panel(MWin* root, Canvas* canvas, MemManager* memory, SpriteManager* sprites)
        : MWin(root), label(this, memory, sprites, 1, TEXT_CENTRED << 16), button(this, sprites, 2),
          slider(this, sprites, 3), list(this, memory, sprites, 4), bar(this, sprites, 5),
          entry(this, memory, sprites, 6)
    {
        callback = Report;
        backgroundKind = MWIN_BG_COLOR;
        bgColor = kDark;
        SetCanvas(canvas);
    }

    static unsigned long Report(void* window, unsigned long message, unsigned long param1, unsigned long param2);
    void Say(const char* what, const char* detail);

    StaticText label;
    PushButton button;
    Slider slider;
    ListBox list;
    ScrollBar bar;
    EntryField entry;
    int reports = 0;
};

void Panel::Say(const char* what, const char* detail)
{
    std::printf("  panel: %s %s\n", what, detail);
    ++reports;
}

unsigned long Panel::Report(void* window, unsigned long message, unsigned long param1, unsigned long param2)
{
    Panel* panel = static_cast<Panel*>(static_cast<MWin*>(window));
    char number[16];
    switch (message >> 16) {
    case MWIN_CLICKED:
        panel->Say("button clicked:", panel->button.text);
        return 1;
    case MWIN_VALUE_CHANGED: {
        // Paging moves by three; dragging and its end carry the value itself.
        Slider& slider = panel->slider;
        const unsigned long how = param1 & 0xFFFF;
        unsigned long value = how == MWIN_DRAGGING || how == MWIN_DRAG_ENDED ? param2 : slider.position;
        if (how == MWIN_PAGE_LEFT)
            value = value > 3 ? value - 3 : 0;
        else if (how == MWIN_PAGE_RIGHT)
            value += 3;
        slider.SetSliderPosition(value);
        std::snprintf(number, sizeof number, "%u", static_cast<unsigned>(slider.position));
        panel->Say("slider at", number);
        return 1;
    }
    case MWIN_SELECTED:
        panel->Say("list line picked:", panel->list.QuerySelected() ? panel->list.QuerySelected()->entryText : "-");
        return 1;
    case MWIN_TEXT_CHANGED:
        panel->Say("entry now reads", panel->entry.QueryText());
        return 1;
    case MWIN_ENTER_PRESSED:
        panel->Say("entry entered:", panel->entry.QueryText());
        return 1;
    default:
        return 0;
    }
}

void Place(MWin& window, short x, short y, short width, short height)
{
    window.SetSize(width, height);
    window.SetPosition(x, y);
}

void Dress(Panel& panel, _FontDef* font)
{
    Place(panel.label, 8, 6, 184, 14);
    panel.label.SetFont(font);
    panel.label.SetText(const_cast<char*>("WIDGET PANEL"));
    panel.label.bgColor = kDark;
    Place(panel.button, 8, 24, 60, 18);
    panel.button.SetBGColors(kLight, kShadow, kFace);
    panel.button.SetFGColors(kText, kAccent);
    panel.button.ActivateHighlight(1);
    panel.button.SetFont(font);
    panel.button.SetText(const_cast<char*>("PRESS"));
    Place(panel.slider, 76, 26, 116, 14);
    panel.slider.SetSliderRange(11);
    panel.slider.SetRangeColors(3, kAccent, 7, kFace, SLIDER_TO_END, kShadow, SLIDER_TO_END, 0);
    panel.list.SetLineHeight(12);
    panel.list.SetFont(font);
    Place(panel.list, 8, 48, 100, 60);
    panel.list.SetBGColors(kFace, kShadow, kAccent, kLight);
    panel.list.SetTextColors(kText, kText);
    for (unsigned long i = 0; i < sizeof lineNames / sizeof lineNames[0]; ++i)
        panel.list.Add(lineNames[i], i + 1, LISTBOX_APPEND);
    Place(panel.bar, 108, 48, 10, 60);
    panel.bar.SetBGColors(kLight, kShadow, kFace, kDark);
    panel.list.AssociateScrollBar(&panel.bar);
    Place(panel.entry, 8, 114, 184, 18);
    panel.entry.SetFont(font);
    panel.entry.SetText(const_cast<char*>("HELLO"));
    panel.entry.ActivateBorder(kLight, 1);
}

void Feed(MWin* root, const Step& step, short x, short y)
{
    if (step.code == MWIN_KEY) {
        if (MWin* focus = QueryKeyboardFocus())
            focus->callback(focus, static_cast<unsigned long>(MWIN_KEY) << 16, static_cast<unsigned short>(step.x), 0);
        return;
    }
    const unsigned long position = static_cast<unsigned short>(x + step.x) |
                                   static_cast<unsigned long>(static_cast<unsigned short>(y + step.y)) << 16;
    DefaultCallback(root, static_cast<unsigned long>(step.code) << 16, 0, position);
}

} // namespace

int RunWidgetPanel(MWin* root, Canvas* canvas, MemManager* memory, SpriteManager* sprites, _FontDef* font, short x,
                   short y)
{
    Panel panel(root, canvas, memory, sprites);
    Place(panel, x, y, 200, 140);
    Dress(panel, font);
    panel.Update(MWIN_UPDATE_FORCE);
    for (const Step& step : kScript) {
        Feed(root, step, x, y);
        if (RefreshNeeded()) {
            panel.Update(0);
            SetRefreshNeeded(0);
        }
    }
    panel.ClearKeyboardFocus();
    panel.Update(MWIN_UPDATE_FORCE);
    return panel.reports;
}
