// title.cpp - the title panel. It owns its widgets, so its handler hears
// every report and answers as a game does: the slider is moved to the value
// it asks for, and the button starts the game.
#include "title.h"

#include <cstdio>

namespace {

// The demo palette: colour = ramp * 16 + brightness; ramp 0 is grey, 7 blue.
const unsigned char kDark = 2, kShadow = 5, kFace = 8, kLight = 12, kText = 15;
const unsigned char kAccent = 7 * 16 + 12;
const unsigned char kPanel = 15 * 16 + 4; // night blue

enum : unsigned short { HEADING = 1, HELP, NAME_LABEL, NAME, SPEED_LABEL, SPEED, SCENES, SCROLL, PLAY };

char kHeading[] = "TOLLIVEX DEMO";
char kHelp[] = "CATCH THE GEMS AND DODGE THE ROCKS. THE ARROW KEYS STEER THE SHIP; "
               "PICK A NAME, A SPEED AND A SCENE, THEN PRESS PLAY.";
char kNameLabel[] = "NAME";
char kSpeedLabel[] = "SPEED";
char kPlay[] = "PLAY";
char kDefaultName[] = "PLAYER";
char kSceneNames[][8] = {"DUNES", "NIGHT", "STORM", "DAWN", "ORBIT"};

void Place(MWin& window, short x, short y, short width, short height)
{
    window.SetSize(width, height);
    window.SetPosition(x, y);
}

} // namespace

void Feed(MWin* root, const InputEvent& event)
{
    if (event.code == MWIN_KEY) {
        if (MWin* focus = QueryKeyboardFocus())
            focus->callback(focus, static_cast<unsigned long>(MWIN_KEY) << 16, static_cast<unsigned short>(event.x), 0);
        return;
    }
    const unsigned long position = static_cast<unsigned short>(event.x) |
                                   static_cast<unsigned long>(static_cast<unsigned short>(event.y)) << 16;
    DefaultCallback(root, static_cast<unsigned long>(event.code) << 16, 0, position);
}

TitlePanel::TitlePanel(MWin* root, MemManager* memory, SpriteManager* sprites, _FontDef* font,
                       unsigned long clickSound)
    : MWin(root), heading(this, memory, sprites, HEADING, (TEXT_CENTRED | TEXT_SHADOW) << 16),
      help(this, memory, sprites, HELP, 0), nameLabel(this, memory, sprites, NAME_LABEL, 0),
      name(this, memory, sprites, NAME), speedLabel(this, memory, sprites, SPEED_LABEL, 0),
      speed(this, sprites, SPEED), scenes(this, memory, sprites, SCENES), scroll(this, sprites, SCROLL),
      play(this, sprites, PLAY)
{
    callback = Report;
    backgroundKind = MWIN_BG_COLOR;
    bgColor = kPanel;
    Place(*this, 170, 90, 300, 290);
    Lay(font, clickSound);
}

void TitlePanel::Lay(_FontDef* font, unsigned long clickSound)
{
    Place(heading, 10, 10, 280, 16);
    heading.SetFont(font);
    heading.SetText(kHeading);
    heading.bgColor = kPanel;
    heading.fgColor = 3 * 16 + 15; // yellow
    Place(help, 10, 34, 280, 62);
    help.SetFont(font);
    help.SetText(kHelp);
    help.bgColor = kPanel;
    help.fgColor = kLight;

    Place(nameLabel, 10, 108, 60, 14);
    nameLabel.SetFont(font);
    nameLabel.SetText(kNameLabel);
    nameLabel.bgColor = kPanel;
    Place(name, 80, 104, 210, 20);
    name.SetFont(font);
    name.SetText(kDefaultName);
    name.ActivateBorder(kLight, 1);

    Place(speedLabel, 10, 140, 60, 14);
    speedLabel.SetFont(font);
    speedLabel.SetText(kSpeedLabel);
    speedLabel.bgColor = kPanel;
    Place(speed, 80, 138, 210, 16);
    speed.SetSliderRange(9);
    speed.SetRangeColors(3, kAccent, 7, kFace, SLIDER_TO_END, 1 * 16 + 10, SLIDER_TO_END, 0);
    speed.SetSliderPosition(3);

    scenes.SetLineHeight(14);
    scenes.SetFont(font);
    Place(scenes, 10, 166, 150, 60);
    scenes.SetBGColors(kFace, kShadow, kAccent, kLight);
    scenes.SetTextColors(kText, kText);
    for (unsigned long i = 0; i < sizeof kSceneNames / sizeof kSceneNames[0]; ++i)
        scenes.Add(kSceneNames[i], i + 1, LISTBOX_APPEND);
    Place(scroll, 160, 166, 12, 60);
    scroll.SetBGColors(kLight, kShadow, kFace, kDark);
    scenes.AssociateScrollBar(&scroll);
    scenes.SetSelectedByHandle(1);

    Place(play, 190, 240, 100, 30);
    play.SetBGColors(kLight, kShadow, kFace);
    play.SetFGColors(kText, 3 * 16 + 15);
    play.ActivateHighlight(1);
    play.SetFont(font);
    play.SetText(kPlay);
    if (clickSound != 0xFFFFFFFFul)
        play.SetSound(clickSound, 0, 0);
}

std::string TitlePanel::Player() const
{
    const char* text = const_cast<EntryField&>(name).QueryText();
    return text != nullptr ? text : "";
}

const char* TitlePanel::Scene() const
{
    _ListBoxEntry* picked = const_cast<ListBox&>(scenes).QuerySelected();
    return picked != nullptr ? picked->entryText : "";
}

unsigned long TitlePanel::Report(void* window, unsigned long message, unsigned long param1, unsigned long param2)
{
    TitlePanel* panel = static_cast<TitlePanel*>(static_cast<MWin*>(window));
    switch (message >> 16) {
    case MWIN_CLICKED:
        panel->started = true;
        std::printf("  title: play pressed\n");
        return 1;
    case MWIN_VALUE_CHANGED: {
        // Paging moves by one step; dragging and its end carry the value.
        Slider& slider = panel->speed;
        const unsigned long how = param1 & 0xFFFF;
        unsigned long value = how == MWIN_DRAGGING || how == MWIN_DRAG_ENDED ? param2 : slider.position;
        if (how == MWIN_PAGE_LEFT)
            value = value > 0 ? value - 1 : 0;
        else if (how == MWIN_PAGE_RIGHT)
            value += 1;
        slider.SetSliderPosition(value);
        std::printf("  title: speed %d\n", panel->Speed());
        return 1;
    }
    case MWIN_SELECTED:
        std::printf("  title: scene %s\n", panel->Scene());
        return 1;
    case MWIN_ENTER_PRESSED:
        std::printf("  title: name %s\n", panel->Player().c_str());
        return 1;
    default:
        return 0;
    }
}
