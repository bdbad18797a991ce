// stattext.h - text and highlight widgets: StaticText, WrapText, Highlight.
//
// StaticText shows one line clipped to the window, aligned left, right or
// centred, optionally outlined and with a drop shadow. WrapText breaks a block
// of text into lines at spaces, 12 pixels apart, every line with a shadow.
// Neither takes the mouse: it passes to their parent. Highlight is a frame
// that outlines its region while the mouse is over it and reports a click to
// its owner.
#ifndef TOLLIVEX_STATTEXT_H
#define TOLLIVEX_STATTEXT_H

#include "font.h"
#include "mwin.h"

class MemManager;
class SpriteManager;

// Text flags (third byte of MWin::state); the constructors take them shifted
// into place, as f << 16.
const unsigned long TEXT_RIGHT = 0x04;
const unsigned long TEXT_CENTRED = 0x10; // ignored when right-aligned
const unsigned long TEXT_BORDER = 0x20;
const unsigned long TEXT_SHADOW = 0x40;
// Highlight flags.
const unsigned long HIGHLIGHT_HOVER = 0x01;
const unsigned long HIGHLIGHT_LARGER = 0x02; // the frame one pixel larger on every side

// What the two text widgets share: an owned text buffer and the font it is
// drawn with.
class TVX_API TextWindow : public MWin {
public:
    ~TextWindow() override;

    void SetText(char* text);
    void SetFont(_FontDef* def);
    void SetMargins(short x, short y);

    char* text;
    uint32_t textCapacity; // characters the buffer holds, the terminator not counted
    MemManager* memManager;
    _FontDef* fontDef;
    Font font;
    int16_t marginX;
    int16_t marginY;
    uint32_t borderColor;
    uint32_t shadowColor;

protected:
    TextWindow(MWin* parent, MemManager* mm, SpriteManager* sprites, unsigned short id, unsigned long flags,
               MWINCALLBACK handler);
    void FreeText();
};

class TVX_API StaticText : public TextWindow {
public:
    StaticText(MWin* parent, MemManager* mm, SpriteManager* sprites, unsigned short id, unsigned long flags);
    ~StaticText() override;

    void ActivateBorder(unsigned long color, int on);

private:
    void Paint();
};

class TVX_API WrapText : public TextWindow {
public:
    WrapText(MWin* parent, MemManager* mm, SpriteManager* sprites, unsigned short id, unsigned long flags);
    ~WrapText() override;

private:
    void Paint();
};

class TVX_API Highlight : public MWin {
public:
    Highlight(MWin* parent, unsigned short id);
    ~Highlight() override;

private:
    friend unsigned long HighlightCallback(void*, unsigned long, unsigned long, unsigned long);

    void Paint();
};

TVX_API unsigned long StaticTextCallback(void* window, unsigned long message, unsigned long param1,
                                         unsigned long param2);
TVX_API unsigned long WrapTextCallback(void* window, unsigned long message, unsigned long param1,
                                       unsigned long param2);
TVX_API unsigned long HighlightCallback(void* window, unsigned long message, unsigned long param1,
                                        unsigned long param2);

#endif
