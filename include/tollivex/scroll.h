// scroll.h - Slider and ScrollBar: a value shown as a tab along a track.
//
// A Slider shows a value from 0 to range - 1 as the position of its tab,
// lets the user drag the tab or page by pressing beside it, and colours up to
// four stretches of its track by value thresholds. It never moves its own
// tab: it reports MWIN_VALUE_CHANGED to its owner, which answers with
// SetSliderPosition. A ScrollBar lays out two arrow buttons and a slider
// along its longer side and turns their events into the same messages.
#ifndef TOLLIVEX_SCROLL_H
#define TOLLIVEX_SCROLL_H

#include "mwin.h"
#include "pushbtn.h"

class SpriteManager;

// Orientation flags of both widgets (third byte of MWin::state).
const unsigned long SCROLL_HORIZONTAL = 0x04;
const unsigned long SCROLL_VERTICAL = 0x08;
// Slider flags.
const unsigned long SLIDER_SWAP_BEVEL = 0x10; // pressed look: light and shadow exchanged
const unsigned long SLIDER_SPRITE_TAB = 0x20;
const unsigned long SLIDER_DRAGGING = 0x40;

const unsigned long SLIDER_TO_END = 0xFFFFFFFF; // a range limit reaching the end of the track

class TVX_API Slider : public MWin {
public:
    Slider(MWin* parent, SpriteManager* sprites, unsigned short id);
    ~Slider() override;

    void SetSize(short width, short height) override;
    void SetSliderSize(unsigned short tabLength);
    void SetSliderRange(unsigned long range);
    void SetSliderPosition(unsigned long position);
    void SetTabSprite(unsigned char set, unsigned short sprite);
    void SetTabColor(unsigned char face, unsigned char light, unsigned char shadow);
    void SetBGColors(unsigned char light, unsigned char shadow, unsigned char back);
    void SetFGColors(unsigned char frame);
    void SetRangeColors(unsigned long limit0, unsigned char color0, unsigned long limit1, unsigned char color1,
                        unsigned long limit2, unsigned char color2, unsigned long limit3, unsigned char color3);

    SpriteManager* spriteManager;
    uint16_t id;
    uint16_t trackLength;
    uint16_t tabLength;
    uint32_t range;
    uint32_t position;
    uint32_t tabPos; // pixels from the track start, read as signed 16-bit
    uint8_t backColor;
    uint8_t frameColor;
    uint8_t tabColor;
    uint8_t lightColor;
    uint8_t shadowColor;
    uint16_t tabStyle; // 1 draws the tab
    uint16_t bevelWidth;
    uint32_t rangeLimit[4];
    uint8_t rangeColor[4];
    uint8_t tabSet;
    uint16_t tabSprite;
    MWin* savedLock; // the focus lock in force when a drag began

private:
    friend unsigned long SliderCallback(void*, unsigned long, unsigned long, unsigned long);

    bool Horizontal() const;
    void PlaceTab();
    uint32_t ValueAt(short c) const;
    unsigned long NotifyValue(unsigned short how, unsigned long value);
    void Press(short c);
    void EndDrag(short c);
    void Paint();
    void FillTrack(short sx, short sy);
    void FillAlong(short sx, short sy, int from, int to);
    void PaintTab(short sx, short sy);
};

class TVX_API ScrollBar : public MWin {
public:
    ScrollBar(MWin* parent, SpriteManager* sprites, unsigned short id);
    ~ScrollBar() override;

    void SetSize(short width, short height) override;
    void SetButtonLength(unsigned short length);
    void SetSliderSize(unsigned short tabLength);
    void SetSliderRange(unsigned long range);
    void SetSliderPosition(unsigned long position);
    void SetBGSprites(unsigned char set, unsigned short first1, unsigned short first2, unsigned short second1,
                      unsigned short second2, unsigned short tab);
    void SetFGSprites(unsigned char set, unsigned short up1, unsigned short up2, unsigned short up3,
                      unsigned short down1, unsigned short down2, unsigned short down3);
    void SetBGColors(unsigned char c1, unsigned char c2, unsigned char c3, unsigned char c4);
    void SetFGColors(unsigned char c1, unsigned char c2, unsigned char c3);
    void SetRangeColors(unsigned long limit0, unsigned char color0, unsigned long limit1, unsigned char color1,
                        unsigned long limit2, unsigned char color2, unsigned long limit3, unsigned char color3);

    SpriteManager* spriteManager;
    PushButton* firstButton;  // up or left, id 0
    PushButton* secondButton; // down or right, id 1
    Slider* slider;           // id 2
    uint16_t buttonLength;
    uint16_t id;

private:
    friend unsigned long ScrollBarCallback(void*, unsigned long, unsigned long, unsigned long);

    bool Horizontal() const;
    void Layout();
    void PaintNothing();
};

TVX_API unsigned long SliderCallback(void* window, unsigned long message, unsigned long param1,
                                     unsigned long param2);
TVX_API unsigned long ScrollBarCallback(void* window, unsigned long message, unsigned long param1,
                                        unsigned long param2);

#endif
