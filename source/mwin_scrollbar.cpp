// mwin_scrollbar.cpp - ScrollBar: two arrow buttons and a slider along the longer side.
//
// The scroll bar owns its three children for its whole life and paints
// nothing of its own: the children paint themselves. A click on an arrow and
// every slider report reach the owner as MWIN_VALUE_CHANGED with the scroll
// bar's id.
#include "mwin_internal.h"

#include "tollivex/scroll.h"
#include "tollivex/sprman.h"

#include <initializer_list>
#include <new>

using namespace mwin;

namespace {
const unsigned short kDefaultButtonLength = 10;
} // namespace

ScrollBar::ScrollBar(MWin* parentWindow, SpriteManager* sprites, unsigned short widgetId)
    : MWin(parentWindow), spriteManager(sprites), firstButton(nullptr), secondButton(nullptr), slider(nullptr),
      buttonLength(kDefaultButtonLength), id(widgetId)
{
    if (sprites == nullptr)
        _AssertMsg(kSource, 2334);
    paint = static_cast<PaintRoutine>(&ScrollBar::PaintNothing);
    callback = ScrollBarCallback;
    hotSpot.id = widgetId;
    backgroundKind = MWIN_BG_COLOR;
    bgColor = 9;
    fgColor = 4;
    firstButton = new (std::nothrow) PushButton(this, sprites, 0);
    secondButton = new (std::nothrow) PushButton(this, sprites, 1);
    slider = new (std::nothrow) Slider(this, sprites, 2);
    if (firstButton == nullptr || secondButton == nullptr || slider == nullptr)
        _AssertMsg(kSource, __LINE__);
}

ScrollBar::~ScrollBar()
{
    delete firstButton;
    delete secondButton;
    delete slider;
}

void ScrollBar::PaintNothing() {}

bool ScrollBar::Horizontal() const
{
    return HasFlag(SCROLL_HORIZONTAL);
}

void ScrollBar::SetSize(short newWidth, short newHeight)
{
    MWin::SetSize(newWidth, newHeight);
    Layout();
}

// A square scroll bar is vertical.
void ScrollBar::Layout()
{
    const bool vertical = width <= height;
    SetFlag(SCROLL_VERTICAL, vertical);
    SetFlag(SCROLL_HORIZONTAL, !vertical);
    const short b = static_cast<short>(buttonLength);
    if (firstButton != nullptr) {
        firstButton->SetPosition(0, 0);
        firstButton->SetSize(vertical ? width : b, vertical ? b : height);
    }
    if (secondButton != nullptr) {
        secondButton->SetPosition(vertical ? 0 : short(width - b), vertical ? short(height - b) : 0);
        secondButton->SetSize(vertical ? width : b, vertical ? b : height);
    }
    if (slider != nullptr) {
        slider->SetPosition(vertical ? 0 : b, vertical ? b : 0);
        slider->SetSize(vertical ? width : short(width - 2 * b), vertical ? short(height - 2 * b) : height);
    }
}

void ScrollBar::SetButtonLength(unsigned short length)
{
    buttonLength = length;
    SetSize(width, height);
}

void ScrollBar::SetSliderSize(unsigned short tabLength)
{
    if (slider != nullptr)
        slider->SetSliderSize(tabLength);
}

void ScrollBar::SetSliderRange(unsigned long newRange)
{
    if (slider != nullptr)
        slider->SetSliderRange(newRange);
}

void ScrollBar::SetSliderPosition(unsigned long newPosition)
{
    if (slider != nullptr)
        slider->SetSliderPosition(newPosition);
}

// The arrows take the length of the first arrow's sprite; when it cannot be
// measured they keep the length they had.
void ScrollBar::SetBGSprites(unsigned char set, unsigned short first1, unsigned short first2, unsigned short second1,
                             unsigned short second2, unsigned short tab)
{
    if (firstButton != nullptr)
        firstButton->SetBGSprites(set, first1, first2);
    if (secondButton != nullptr)
        secondButton->SetBGSprites(set, second1, second2);
    if (tab != 0 && slider != nullptr)
        slider->SetTabSprite(set, tab);
    unsigned short w = 0;
    unsigned short h = 0;
    short hotX = 0;
    short hotY = 0;
    if (spriteManager != nullptr && spriteManager->QuerySpriteDimensions(set, first1, &w, &h, &hotX, &hotY) == ERR_OK)
        buttonLength = Horizontal() ? w : h;
    SetSize(width, height);
    Refresh();
}

// Each arrow's third sprite serves for both of its hover states.
void ScrollBar::SetFGSprites(unsigned char set, unsigned short up1, unsigned short up2, unsigned short up3,
                             unsigned short down1, unsigned short down2, unsigned short down3)
{
    if (firstButton != nullptr)
        firstButton->SetFGSprites(set, up1, up2, up3, up3);
    if (secondButton != nullptr)
        secondButton->SetFGSprites(set, down1, down2, down3, down3);
}

void ScrollBar::SetBGColors(unsigned char c1, unsigned char c2, unsigned char c3, unsigned char c4)
{
    if (slider != nullptr) {
        slider->SetBGColors(c1, c2, c4);
        slider->SetTabColor(c3, c1, c2);
    }
    for (PushButton* button : {firstButton, secondButton})
        if (button != nullptr)
            button->SetBGColors(c1, c2, c3);
}

void ScrollBar::SetFGColors(unsigned char c1, unsigned char c2, unsigned char c3)
{
    if (slider != nullptr)
        slider->SetFGColors(c3);
    for (PushButton* button : {firstButton, secondButton}) {
        if (button != nullptr) {
            button->SetFGColors(c1, c2);
            button->ActivateBorder(c3, 1);
        }
    }
}

void ScrollBar::SetRangeColors(unsigned long limit0, unsigned char color0, unsigned long limit1, unsigned char color1,
                               unsigned long limit2, unsigned char color2, unsigned long limit3, unsigned char color3)
{
    if (slider != nullptr)
        slider->SetRangeColors(limit0, color0, limit1, color1, limit2, color2, limit3, color3);
}

unsigned long ScrollBarCallback(void* window, unsigned long message, unsigned long param1, unsigned long param2)
{
    ScrollBar* bar = WindowAs<ScrollBar>(window);
    if (bar == nullptr) {
        _AssertMsg(kSource, 2658);
        return 0;
    }
    if (bar->owner == nullptr)
        _AssertMsg(kSource, 2659);
    const unsigned long changed = Message(MWIN_VALUE_CHANGED, bar->id);
    switch (CodeOf(message)) {
    case MWIN_CLICKED: {
        const bool second = (message & 0xFFFF) != 0;
        const unsigned short how = bar->Horizontal() ? (second ? MWIN_LINE_RIGHT : MWIN_LINE_LEFT)
                                                     : (second ? MWIN_LINE_DOWN : MWIN_LINE_UP);
        SendTo(bar->owner, changed, how, 0);
        return 1;
    }
    case MWIN_VALUE_CHANGED:
        if (bar->owner == nullptr)
            _AssertMsg(kSource, 2691);
        SendTo(bar->owner, changed, param1, param2);
        return 1;
    default:
        return 0;
    }
}
