// mwin_slider.cpp - Slider: a tab along a track, dragged or paged.
//
// The tab's offset is position * (track - tab) / (range - 1), in unsigned
// 32-bit arithmetic, so a tab longer than its track wraps rather than being
// clamped. Dragging maps the pointer back to a value with bounds at half the
// tab's length but interpolation from a quarter of it; games tuned their
// sliders to that feel, so it stays.
#include "mwin_internal.h"

#include "tollivex/canvas.h"
#include "tollivex/scroll.h"
#include "tollivex/sprman.h"

#include <algorithm>

using namespace mwin;

namespace {
const unsigned short kDefaultTabLength = 20;
} // namespace

Slider::Slider(MWin* parentWindow, SpriteManager* sprites, unsigned short widgetId)
    : MWin(parentWindow), spriteManager(sprites), id(widgetId), trackLength(0), tabLength(kDefaultTabLength),
      range(0), position(0), tabPos(0), backColor(0), frameColor(0), tabColor(10), lightColor(0), shadowColor(0),
      tabStyle(1), bevelWidth(2), rangeLimit{}, rangeColor{}, tabSet(0), tabSprite(0), savedLock(nullptr)
{
    if (sprites == nullptr)
        _AssertMsg(kSource, 3865);
    paint = static_cast<PaintRoutine>(&Slider::Paint);
    callback = SliderCallback;
    hotSpot.id = widgetId;
    backgroundKind = MWIN_BG_COLOR;
    bgColor = 9;
    fgColor = 4;
    SetBGColors(12, 6, 9);
}

Slider::~Slider() = default;

bool Slider::Horizontal() const
{
    return HasFlag(SCROLL_HORIZONTAL);
}

void Slider::PlaceTab()
{
    tabPos = range > 1 ? position * uint32_t(trackLength - tabLength) / (range - 1) : 0;
}

// A square slider is vertical.
void Slider::SetSize(short newWidth, short newHeight)
{
    MWin::SetSize(newWidth, newHeight);
    const bool vertical = width <= height;
    SetFlag(SCROLL_VERTICAL, vertical);
    SetFlag(SCROLL_HORIZONTAL, !vertical);
    trackLength = static_cast<uint16_t>(vertical ? height : width);
    PlaceTab();
}

void Slider::SetSliderSize(unsigned short newTabLength)
{
    tabLength = newTabLength;
    PlaceTab();
    Refresh();
}

void Slider::SetSliderRange(unsigned long newRange)
{
    range = static_cast<uint32_t>(newRange);
    if (position >= range)
        position = range - 1;
    if (range > 1)
        PlaceTab();
    else
        position = tabPos = 0;
    Refresh();
}

void Slider::SetSliderPosition(unsigned long newPosition)
{
    position = newPosition < range ? static_cast<uint32_t>(newPosition) : range - 1;
    if (range > 1)
        PlaceTab();
    else
        position = tabPos = 0;
    Refresh();
}

void Slider::SetTabSprite(unsigned char set, unsigned short sprite)
{
    tabSet = set;
    tabSprite = sprite;
    unsigned short w = 0;
    unsigned short h = 0;
    short hotX = 0;
    short hotY = 0;
    if (spriteManager != nullptr && spriteManager->QuerySpriteDimensions(set, sprite, &w, &h, &hotX, &hotY) == ERR_OK)
        SetSliderSize(Horizontal() ? w : h);
    SetFlag(SLIDER_SPRITE_TAB, true);
}

void Slider::SetTabColor(unsigned char face, unsigned char light, unsigned char shadow)
{
    tabColor = face;
    lightColor = light;
    shadowColor = shadow;
    SetFlag(SLIDER_SPRITE_TAB, false);
}

// The whole track takes the background colour.
void Slider::SetBGColors(unsigned char light, unsigned char shadow, unsigned char back)
{
    lightColor = light;
    shadowColor = shadow;
    backColor = back;
    SetRangeColors(SLIDER_TO_END, back, SLIDER_TO_END, 0, SLIDER_TO_END, 0, SLIDER_TO_END, 0);
}

void Slider::SetFGColors(unsigned char frame)
{
    frameColor = frame;
}

// Colour 255 stands for the background colour.
void Slider::SetRangeColors(unsigned long limit0, unsigned char color0, unsigned long limit1, unsigned char color1,
                            unsigned long limit2, unsigned char color2, unsigned long limit3, unsigned char color3)
{
    const unsigned long limits[4] = {limit0, limit1, limit2, limit3};
    const unsigned char colors[4] = {color0, color1, color2, color3};
    const unsigned long lines[4] = {0, 4394, 4399, 4404};
    rangeLimit[0] = static_cast<uint32_t>(limit0);
    rangeColor[0] = limit0 == SLIDER_TO_END ? backColor : color0;
    for (int k = 1; k < 4; ++k) {
        if (limits[k] < limits[k - 1])
            _AssertMsg(kSource, lines[k]);
        rangeLimit[k] = static_cast<uint32_t>(limits[k]);
        rangeColor[k] = colors[k];
    }
    for (uint8_t& color : rangeColor)
        if (color == 255)
            color = backColor;
    Refresh();
}

void Slider::Paint()
{
    short sx = 0;
    short sy = 0;
    CanvasOrigin(&sx, &sy);
    if (backgroundKind == MWIN_BG_COLOR || backgroundKind == MWIN_BG_SPRITE)
        FillTrack(sx, sy);
    if (backgroundKind == MWIN_BG_COLOR) {
        canvas->SetDrawColor(frameColor);
        canvas->Rectangle(sx, sy, short(sx + width - 1), short(sy + height - 1));
    }
    if (tabStyle == 1)
        PaintTab(sx, sy);
}

// Each threshold is the value at whose tab centre its stretch ends. With a
// range of 1 no value has a centre of its own, so a finite threshold then
// reaches to the end of the track.
void Slider::FillTrack(short sx, short sy)
{
    if (trackLength == 0)
        return;
    const uint32_t last = trackLength - 1u;
    uint32_t start = 0;
    for (int k = 0; k < 4; ++k) {
        uint32_t end = last;
        if (range > 1 && rangeLimit[k] != SLIDER_TO_END)
            end = rangeLimit[k] * uint32_t(trackLength - tabLength) / (range - 1) + tabLength / 2u;
        end = std::min(end, last);
        if (end >= start) {
            canvas->SetDrawColor(rangeColor[k]);
            FillAlong(sx, sy, int(start), int(end));
        }
        if (end == last)
            return;
        start = end + 1;
    }
}

void Slider::FillAlong(short sx, short sy, int from, int to)
{
    if (Horizontal())
        canvas->FilledRectUnclipped(short(sx + from), sy, short(sx + to), short(sy + height - 1));
    else
        canvas->FilledRectUnclipped(sx, short(sy + from), short(sx + width - 1), short(sy + to));
}

void Slider::PaintTab(short sx, short sy)
{
    const int along = static_cast<int16_t>(tabPos);
    const bool horizontal = Horizontal();
    const int x0 = sx + (horizontal ? along : 0);
    const int y0 = sy + (horizontal ? 0 : along);
    const int x1 = horizontal ? x0 + tabLength - 1 : sx + width - 1;
    const int y1 = horizontal ? sy + height - 1 : y0 + tabLength - 1;
    if (HasFlag(SLIDER_SPRITE_TAB)) {
        if (spriteManager == nullptr)
            return;
        spriteManager->AssociateCanvas(canvas);
        spriteManager->DisplaySprite(short(x0 + (x1 - x0 + 1) / 2), short(y0 + (y1 - y0 + 1) / 2), tabSet, tabSprite,
                                     SPRITE_AT_HOTSPOT);
        return;
    }
    canvas->SetDrawColor(tabColor);
    canvas->FilledRectUnclipped(short(x0 + 1), short(y0 + 1), short(x1 - 1), short(y1 - 1));
    const bool swapped = HasFlag(SLIDER_SWAP_BEVEL);
    const unsigned char light = swapped ? shadowColor : lightColor;
    const unsigned char shadow = swapped ? lightColor : shadowColor;
    for (int d = 1; d <= bevelWidth; ++d) {
        canvas->SetDrawColor(light);
        canvas->HorizLineUnclipped(short(x0 + d), short(x1 - d), short(y0 + d));
        canvas->VertLineUnclipped(short(x0 + d), short(y0 + d), short(y1 - d));
        canvas->SetDrawColor(shadow);
        canvas->HorizLineUnclipped(short(x0 + d), short(x1 - d), short(y1 - d));
        canvas->VertLineUnclipped(short(x1 - d), short(y0 + d), short(y1 - d));
    }
}

// A tab as long as its track leaves no span to interpolate over: value 0.
uint32_t Slider::ValueAt(short c) const
{
    if (range == 0 || c < tabLength / 2)
        return 0;
    if (c > trackLength - tabLength / 2)
        return range - 1;
    const uint32_t span = uint32_t(trackLength - tabLength);
    if (span == 0)
        return 0;
    return std::min((range - 1) * uint32_t(c - tabLength / 4) / span, range - 1);
}

unsigned long Slider::NotifyValue(unsigned short how, unsigned long value)
{
    return SendTo(owner, Message(MWIN_VALUE_CHANGED, id), how, value);
}

void Slider::Press(short c)
{
    const int along = static_cast<int16_t>(tabPos);
    if (c < along) {
        NotifyValue(Horizontal() ? MWIN_PAGE_LEFT : MWIN_PAGE_UP, 0);
    } else if (c < along + tabLength) {
        savedLock = LockFocus();
        SetFlag(SLIDER_DRAGGING, true);
        Refresh();
    } else {
        NotifyValue(Horizontal() ? MWIN_PAGE_RIGHT : MWIN_PAGE_DOWN, 0);
    }
}

void Slider::EndDrag(short c)
{
    HandBackLock(savedLock);
    SetFlag(SLIDER_DRAGGING, false);
    NotifyValue(MWIN_DRAG_ENDED, ValueAt(c));
    Refresh();
}

unsigned long SliderCallback(void* window, unsigned long message, unsigned long param1, unsigned long param2)
{
    Slider* slider = WindowAs<Slider>(window);
    if (slider == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return 0;
    }
    const short c = slider->Horizontal() ? XOf(param2) : YOf(param2);
    const bool dragging = slider->HasFlag(SLIDER_DRAGGING);
    switch (CodeOf(message)) {
    case MWIN_MOVE:
    case MWIN_MOVE_OUTSIDE:
        if (dragging)
            slider->NotifyValue(MWIN_DRAGGING, slider->ValueAt(c));
        return 1;
    case MWIN_RELEASE:
    case MWIN_RELEASE + 1:
        if (dragging)
            slider->EndDrag(c);
        return 1;
    case MWIN_PRESS:
        slider->Press(c);
        return 1;
    default:
        return 0;
    }
}
