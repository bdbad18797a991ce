// hotspot_button.cpp - PushButton: face, caption, and the click protocol.
//
// A click is a press inside (the button captures the mouse, looks pressed
// and sounds), any moves (the pressed look follows the pointer in and out)
// and a release: inside it tells the owner, outside it does not. The lock
// that was in force before the press is put back afterwards, so a dialog
// holding the mouse keeps it.
#include "mwin_internal.h"

#include "tollivex/canvas.h"
#include "tollivex/digimix2.h"
#include "tollivex/pushbtn.h"
#include "tollivex/sprman.h"

#include <cstring>

using namespace mwin;

namespace {
const unsigned long kNoSound = 0xFFFFFFFF;
const size_t kCaptionLength = 29;
// Click sounds play as sampled notes of the first class.
const unsigned short kClickNoteFlags = DMNOTE_CLASS1 | DMNOTE_SAMPLED;
} // namespace

PushButton::PushButton(MWin* parentWindow, SpriteManager* spriteManager, unsigned short id)
    : MWin(parentWindow), lightColor(0), shadowColor(0), faceColor(0), textColor(0), hoverTextColor(0),
      borderColor(0), upSprite(kNoSprite), downSprite(kNoSprite), upFgSprite(kNoSprite), downFgSprite(kNoSprite),
      upHoverFgSprite(kNoSprite), downHoverFgSprite(kNoSprite), fgKind(BUTTON_FG_NONE), text{}, fontDef(nullptr),
      font(), sprites(spriteManager), bevelWidth(2), savedLock(nullptr), sound(kNoSound), soundParam3(0),
      soundParam4(0)
{
    if (spriteManager == nullptr)
        _AssertMsg(kSource, __LINE__);
    else
        font.AssociateSpriteManager(spriteManager);
    paint = static_cast<PaintRoutine>(&PushButton::Paint);
    callback = PushButtonCallback;
    hotSpot.id = id;
    backgroundKind = MWIN_BG_NONE;
    fgColor = 15;
    bgColor = 2;
}

PushButton::~PushButton() = default;

void PushButton::SetBevelWidth(unsigned short newWidth)
{
    bevelWidth = newWidth;
}

void PushButton::SetBGSprites(unsigned char set, unsigned short up, unsigned short down)
{
    bgSpriteSet = set;
    upSprite = up;
    downSprite = down;
    backgroundKind = MWIN_BG_SPRITE;
    Refresh();
}

void PushButton::SetFGSprites(unsigned char set, unsigned short upFg, unsigned short downFg, unsigned short upHoverFg,
                              unsigned short downHoverFg)
{
    bgSpriteSet = set;
    upFgSprite = upFg;
    downFgSprite = downFg;
    upHoverFgSprite = upHoverFg;
    downHoverFgSprite = downHoverFg;
    fgKind = BUTTON_FG_SPRITE;
}

void PushButton::SetBGColors(unsigned char light, unsigned char shadow, unsigned char face)
{
    lightColor = light;
    shadowColor = shadow;
    faceColor = face;
    backgroundKind = MWIN_BG_COLOR;
}

void PushButton::SetFGColors(unsigned char textColour, unsigned char hoverTextColour)
{
    textColor = textColour;
    hoverTextColor = hoverTextColour;
    fgKind = BUTTON_FG_TEXT;
}

void PushButton::ActivateHighlight(int on)
{
    SetFlag(BUTTON_HIGHLIGHT, on == 1);
}

void PushButton::SetText(char* caption)
{
    if (caption == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    std::strncpy(text, caption, kCaptionLength);
    text[kCaptionLength] = '\0';
}

void PushButton::SetFont(_FontDef* def)
{
    font.ActivateFont(def);
    fontDef = def;
}

// The border takes one pixel of the bevel, and gives it back when it goes.
void PushButton::ActivateBorder(unsigned char color, int on)
{
    if (on == 1) {
        if (!HasFlag(BUTTON_BORDER)) {
            SetFlag(BUTTON_BORDER, true);
            borderColor = color;
            ++bevelWidth;
        }
    } else if (HasFlag(BUTTON_BORDER)) {
        SetFlag(BUTTON_BORDER, false);
        if (bevelWidth != 0)
            --bevelWidth;
    }
    Refresh();
}

void PushButton::KeepDown(int on)
{
    SetFlag(BUTTON_KEPT_DOWN, on != 0);
    Refresh();
}

void PushButton::SetSound(unsigned long soundHandle, unsigned short param3, unsigned short param4)
{
    sound = static_cast<uint32_t>(soundHandle);
    soundParam3 = param3;
    soundParam4 = param4;
}

bool PushButton::Down() const
{
    return HasFlag(BUTTON_DOWN) || HasFlag(BUTTON_KEPT_DOWN);
}

void PushButton::Paint()
{
    short sx = 0;
    short sy = 0;
    CanvasOrigin(&sx, &sy);
    if (backgroundKind == MWIN_BG_COLOR) {
        PaintColours(sx, sy);
    } else if (backgroundKind == MWIN_BG_SPRITE && sprites != nullptr) {
        const unsigned short face = Down() ? downSprite : upSprite;
        if (face != kNoSprite) {
            sprites->AssociateCanvas(canvas);
            sprites->DisplaySprite(sx, sy, bgSpriteSet, face, 0);
        }
    }
    if (fgKind == BUTTON_FG_TEXT)
        PaintCaption(sx, sy);
    else if (fgKind == BUTTON_FG_SPRITE)
        PaintSpriteCaption(sx, sy);
}

// Raised: light on top and left, shadow on bottom and right. Pressed: a
// sunken face lit from nowhere, shadow on top and left only.
void PushButton::PaintColours(short sx, short sy)
{
    const int w = width;
    const int h = height;
    auto horiz = [&](int x1, int x2, int row) {
        canvas->HorizLineUnclipped(short(sx + x1), short(sx + x2), short(sy + row));
    };
    auto vert = [&](int column, int y1, int y2) {
        canvas->VertLineUnclipped(short(sx + column), short(sy + y1), short(sy + y2));
    };
    canvas->SetDrawColor(faceColor);
    canvas->FilledRectUnclipped(sx, sy, short(sx + w - 1), short(sy + h - 1));
    if (Down()) {
        canvas->SetDrawColor(shadowColor);
        for (int i = 0; i < bevelWidth; ++i) {
            horiz(0, w - 1, i);
            vert(i, 0, h - 1);
        }
    } else {
        canvas->SetDrawColor(lightColor);
        for (int i = 0; i < bevelWidth; ++i) {
            horiz(i, w - i - 1, i);
            vert(i, i + 1, h - i - 1);
        }
        canvas->SetDrawColor(shadowColor);
        for (int i = 0; i < bevelWidth; ++i) {
            horiz(i + 1, w - i - 1, h - i - 1);
            vert(w - i - 1, i + 1, h - i - 2);
        }
    }
    if (HasFlag(BUTTON_BORDER)) {
        canvas->SetDrawColor(borderColor);
        horiz(0, w - 1, 0);
        horiz(0, w - 1, h - 1);
        vert(0, 0, h - 1);
        vert(w - 1, 0, h - 1);
    }
}

// The caption moves one pixel right and down while pressed.
void PushButton::PaintCaption(short sx, short sy)
{
    const bool down = Down();
    font.AssociateCanvas(canvas);
    canvas->SetDrawColor(HasFlag(BUTTON_HOVER) && !down ? hoverTextColor : textColor);
    const int d = down ? 1 : 0;
    const int tw = font.QueryStringWidth(text, static_cast<unsigned short>(std::strlen(text)));
    const int th = font.QueryCharHeight(127);
    font.PutString(short(sx + d + (width - tw) / 2), short(sy + d + (height - th) / 2), text);
}

void PushButton::PaintSpriteCaption(short sx, short sy)
{
    const bool hover = HasFlag(BUTTON_HOVER);
    const unsigned short caption =
        Down() ? (hover ? downHoverFgSprite : downFgSprite) : (hover ? upHoverFgSprite : upFgSprite);
    unsigned short w = 0;
    unsigned short h = 0;
    short hotX = 0;
    short hotY = 0;
    if (caption == kNoSprite || sprites == nullptr ||
        sprites->QuerySpriteDimensions(bgSpriteSet, caption, &w, &h, &hotX, &hotY) == ERR_FAILURE)
        return;
    sprites->AssociateCanvas(canvas);
    sprites->DisplaySprite(short(sx + (width - w) / 2), short(sy + (height - h) / 2), bgSpriteSet, caption, 0);
}

// Without a window-system mixer installed the click stays silent.
void PushButton::Press()
{
    savedLock = LockFocus();
    SetFlag(BUTTON_DOWN | BUTTON_TRACKING, true);
    Refresh();
    if (sound != kNoSound && Mixer() != nullptr)
        Mixer()->PlaySound(sound, kClickNoteFlags, 0, soundParam3, soundParam4);
}

void PushButton::ShowPressed(bool pressed)
{
    SetFlag(BUTTON_DOWN, pressed);
    Refresh();
}

void PushButton::Release(unsigned long message)
{
    HandBackLock(savedLock);
    SetFlag(BUTTON_DOWN | BUTTON_TRACKING, false);
    Refresh();
    if (CodeOf(message) == MWIN_RELEASE)
        SendTo(owner, Message(MWIN_CLICKED, static_cast<unsigned short>(message & 0xFFFF)), 0, 0);
}

unsigned long PushButtonCallback(void* window, unsigned long message, unsigned long param1, unsigned long param2)
{
    PushButton* button = WindowAs<PushButton>(window);
    if (button == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return 0;
    }
    const bool highlight = button->HasFlag(BUTTON_HIGHLIGHT);
    const bool tracking = button->HasFlag(BUTTON_TRACKING);
    const bool down = button->HasFlag(BUTTON_DOWN);
    switch (CodeOf(message)) {
    case MWIN_ENTER:
        if (highlight) {
            button->SetFlag(BUTTON_HOVER, true);
            button->Refresh();
        }
        return 1;
    case MWIN_LEAVE:
        button->SetFlag(BUTTON_HOVER, false);
        if (highlight)
            button->Refresh();
        return 1;
    case MWIN_MOVE:
        if (tracking && !down)
            button->ShowPressed(true);
        return 1;
    case MWIN_MOVE_OUTSIDE:
        if (tracking && down)
            button->ShowPressed(false);
        return 1;
    case MWIN_PRESS:
        button->Press();
        return 1;
    case MWIN_RELEASE:
        if (down)
            button->Release(message);
        return 1;
    case MWIN_RELEASE + 1:
        button->Release(message);
        return 1;
    default:
        return 0;
    }
}
