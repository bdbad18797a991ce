// title.h - the demo's title panel, made of the window system's widgets: the
// player's name in an entry field, the game's speed on a slider, a scene
// from a list box, some wrapped help text, and a button that starts play.
#ifndef TVXDEMO_TITLE_H
#define TVXDEMO_TITLE_H

#include <tollivex.h>

#include <string>

// One input event as a game passes it on: a mouse event in root
// coordinates, or a key for the window holding the keyboard focus.
struct InputEvent {
    unsigned short code; // MWIN_MOVE, MWIN_PRESS, MWIN_RELEASE, MWIN_CLICK or MWIN_KEY
    short x, y;          // the position; for MWIN_KEY, x is the key
};

// Hands an event to the window tree under `root`.
void Feed(MWin* root, const InputEvent& event);

class TitlePanel : public MWin {
public:
    TitlePanel(MWin* root, MemManager* memory, SpriteManager* sprites, _FontDef* font, unsigned long clickSound);

    bool Started() const { return started; }
    int Speed() const { return static_cast<int>(speed.position) + 1; }
    std::string Player() const;
    const char* Scene() const;

private:
    static unsigned long Report(void* window, unsigned long message, unsigned long param1, unsigned long param2);
    void Lay(_FontDef* font, unsigned long clickSound);

    StaticText heading;
    WrapText help;
    StaticText nameLabel;
    EntryField name;
    StaticText speedLabel;
    Slider speed;
    ListBox scenes;
    ScrollBar scroll;
    PushButton play;
    bool started = false;
};

#endif
