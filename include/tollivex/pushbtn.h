// pushbtn.h - PushButton: the window that presses, sounds and reports a click.
//
// A button highlights while hovered (when asked to), looks pressed while a
// press is tracked and the mouse is over it, holds the mouse between press
// and release (restoring whatever lock was in force before), plays its click
// through the window-system mixer, and tells its owner MWIN_CLICKED when the
// release comes inside. Its face is bevelled colours or sprites, its caption
// text or a sprite.
#ifndef TOLLIVEX_PUSHBTN_H
#define TOLLIVEX_PUSHBTN_H

#include "font.h"
#include "mwin.h"

class SpriteManager;

// PushButton flags (third byte of MWin::state).
const unsigned long BUTTON_HOVER = 0x01;
const unsigned long BUTTON_DOWN = 0x04;
const unsigned long BUTTON_TRACKING = 0x08;
const unsigned long BUTTON_BORDER = 0x10;
const unsigned long BUTTON_KEPT_DOWN = 0x20;
const unsigned long BUTTON_HIGHLIGHT = 0x40;

// PushButton::fgKind values.
enum : unsigned short { BUTTON_FG_NONE = 0, BUTTON_FG_TEXT = 1, BUTTON_FG_SPRITE = 3 };

class TVX_API PushButton : public MWin {
public:
    PushButton(MWin* parent, SpriteManager* sprites, unsigned short id);
    ~PushButton() override;

    void SetBevelWidth(unsigned short width);
    void SetBGSprites(unsigned char set, unsigned short up, unsigned short down);
    void SetFGSprites(unsigned char set, unsigned short upFg, unsigned short downFg, unsigned short upHoverFg,
                      unsigned short downHoverFg);
    void SetBGColors(unsigned char light, unsigned char shadow, unsigned char face);
    void SetFGColors(unsigned char text, unsigned char hoverText);
    void ActivateHighlight(int on);
    void SetText(char* text);
    void SetFont(_FontDef* def);
    void ActivateBorder(unsigned char color, int on);
    void KeepDown(int on);
    void SetSound(unsigned long sound, unsigned short param3, unsigned short param4);

    uint8_t lightColor;
    uint8_t shadowColor;
    uint8_t faceColor;
    uint8_t textColor;
    uint8_t hoverTextColor;
    uint8_t borderColor;
    uint16_t upSprite;
    uint16_t downSprite;
    uint16_t upFgSprite;
    uint16_t downFgSprite;
    uint16_t upHoverFgSprite;
    uint16_t downHoverFgSprite;
    uint16_t fgKind;
    char text[30];
    _FontDef* fontDef;
    Font font;
    SpriteManager* sprites;
    uint16_t bevelWidth;
    MWin* savedLock; // the focus lock in force when the press began
    uint32_t sound;  // 0xFFFFFFFF = none
    uint16_t soundParam3;
    uint16_t soundParam4;

private:
    friend unsigned long PushButtonCallback(void*, unsigned long, unsigned long, unsigned long);

    void Paint();
    void Press();
    void ShowPressed(bool pressed);
    // Only a release inside tells the owner, with the id the release came with.
    void Release(unsigned long message);
    bool Down() const;
    void PaintColours(short sx, short sy);
    void PaintCaption(short sx, short sy);
    void PaintSpriteCaption(short sx, short sy);
};

TVX_API unsigned long PushButtonCallback(void* window, unsigned long message, unsigned long param1,
                                         unsigned long param2);

#endif
