// mwin_text.cpp - StaticText, WrapText and Highlight.
//
// The text widgets own their text buffer (from the MemManager given) and
// ignore the mouse, so it reaches their parent's own handler. WrapText's line
// spacing is a fixed 12 pixels whatever the font, and only spaces break
// lines; lines run on below the window.
#include "mwin_internal.h"

#include "tollivex/canvas.h"
#include "tollivex/memman.h"
#include "tollivex/stattext.h"

#include <algorithm>
#include <cstring>

using namespace mwin;

namespace {
const unsigned long kDefaultCapacity = 299;
const int kWrapLineSpacing = 12;
// One wrapped line is measured in a buffer of this size, terminator included.
const size_t kWrapBuffer = 1000;
} // namespace

TextWindow::TextWindow(MWin* parentWindow, MemManager* mm, SpriteManager* sprites, unsigned short id,
                       unsigned long flags, MWINCALLBACK handler)
    : MWin(parentWindow), text(nullptr), textCapacity(0), memManager(mm), fontDef(nullptr), font(), marginX(4),
      marginY(4), borderColor(0), shadowColor(16)
{
    if (mm == nullptr || sprites == nullptr)
        _AssertMsg(kSource, __LINE__);
    if (sprites != nullptr)
        font.AssociateSpriteManager(sprites);
    callback = handler;
    hotSpot.id = id;
    backgroundKind = MWIN_BG_COLOR;
    bgColor = 2;
    fgColor = 15;
    state |= static_cast<uint32_t>(flags);
    void* block = nullptr;
    if (mm != nullptr && mm->Allocate(&block, kDefaultCapacity + 1) == ERR_OK) {
        text = static_cast<char*>(block);
        std::memset(text, 0, kDefaultCapacity + 1);
    }
    textCapacity = kDefaultCapacity;
}

TextWindow::~TextWindow()
{
    FreeText();
}

void TextWindow::FreeText()
{
    if (text == nullptr || memManager == nullptr)
        return;
    void* block = text;
    memManager->Free(&block);
    text = nullptr;
}

void TextWindow::SetText(char* newText)
{
    if (newText == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    const size_t length = std::strlen(newText);
    if (text == nullptr || length >= textCapacity) {
        FreeText();
        void* block = nullptr;
        if (memManager == nullptr || memManager->Allocate(&block, length + 1) == ERR_FAILURE) {
            _AssertMsg(kSource, __LINE__);
            return;
        }
        text = static_cast<char*>(block);
        textCapacity = static_cast<uint32_t>(length);
    }
    std::memcpy(text, newText, length + 1);
    Refresh();
}

void TextWindow::SetFont(_FontDef* def)
{
    font.ActivateFont(def);
    fontDef = def;
}

void TextWindow::SetMargins(short newX, short newY)
{
    marginX = newX;
    marginY = newY;
}

StaticText::StaticText(MWin* parentWindow, MemManager* mm, SpriteManager* sprites, unsigned short id,
                       unsigned long flags)
    : TextWindow(parentWindow, mm, sprites, id, flags, StaticTextCallback)
{
    paint = static_cast<PaintRoutine>(&StaticText::Paint);
}

StaticText::~StaticText() = default;

void StaticText::ActivateBorder(unsigned long color, int on)
{
    SetFlag(TEXT_BORDER, on == 1);
    if (on == 1)
        borderColor = static_cast<uint32_t>(color);
    Refresh();
}

// Text wider than the room is cut by the font and starts at the margin
// whatever the alignment.
void StaticText::Paint()
{
    DefaultPaint();
    short sx = 0;
    short sy = 0;
    CanvasOrigin(&sx, &sy);
    if (HasFlag(TEXT_BORDER)) {
        canvas->SetDrawColor(static_cast<unsigned char>(borderColor));
        canvas->Rectangle(sx, sy, short(sx + width - 1), short(sy + height - 1));
    }
    if (text == nullptr)
        return;
    const short available = static_cast<short>(width - 2 * marginX);
    const short textWidth = static_cast<short>(font.QueryStringWidth(text, static_cast<unsigned short>(std::strlen(text))));
    const short used = std::min(textWidth, available);
    int tx = sx + marginX;
    if (HasFlag(TEXT_RIGHT))
        tx += available - used;
    else if (HasFlag(TEXT_CENTRED))
        tx += (available - used) / 2;
    font.AssociateCanvas(canvas);
    const short ty = static_cast<short>(sy + marginY);
    if (HasFlag(TEXT_SHADOW)) {
        font.PutClippedShadowString(short(tx), ty, available, text, static_cast<unsigned char>(fgColor),
                                    static_cast<unsigned char>(shadowColor), canvas);
    } else {
        canvas->SetDrawColor(static_cast<unsigned char>(fgColor));
        font.PutClippedString(short(tx), ty, available, text);
    }
}

WrapText::WrapText(MWin* parentWindow, MemManager* mm, SpriteManager* sprites, unsigned short id,
                   unsigned long flags)
    : TextWindow(parentWindow, mm, sprites, id, flags, WrapTextCallback)
{
    paint = static_cast<PaintRoutine>(&WrapText::Paint);
}

WrapText::~WrapText() = default;

// Characters are taken while the line is still short of the width, so the
// last one may cross it; the line then breaks at the space before. A word
// wider than the window stops the drawing altogether. Text past the line
// buffer's size is cut from each line.
void WrapText::Paint()
{
    DefaultPaint();
    short sx = 0;
    short sy = 0;
    CanvasOrigin(&sx, &sy);
    if (text == nullptr)
        return;
    font.AssociateCanvas(canvas);
    const size_t length = std::strlen(text);
    char line[kWrapBuffer];
    int row = sy;
    for (size_t pos = 0; pos < length; row += kWrapLineSpacing) {
        const size_t remaining = std::min(length - pos, kWrapBuffer - 1);
        std::memcpy(line, text + pos, remaining);
        line[remaining] = '\0';
        size_t taken = 0;
        for (int sum = 0; sum < width && taken < remaining; ++taken)
            sum += font.QueryCharWidth(static_cast<unsigned char>(line[taken]));
        if (taken < remaining)
            while (taken > 0 && line[taken] != ' ')
                --taken;
        if (taken == 0)
            return;
        line[taken] = '\0';
        font.PutShadowString(sx, short(row), line, static_cast<unsigned char>(fgColor),
                             static_cast<unsigned char>(shadowColor), canvas);
        pos += taken + 1;
    }
}

unsigned long StaticTextCallback(void*, unsigned long, unsigned long, unsigned long)
{
    return 0;
}

unsigned long WrapTextCallback(void*, unsigned long, unsigned long, unsigned long)
{
    return 0;
}

Highlight::Highlight(MWin* parentWindow, unsigned short id) : MWin(parentWindow)
{
    paint = static_cast<PaintRoutine>(&Highlight::Paint);
    callback = HighlightCallback;
    hotSpot.id = id;
    backgroundKind = MWIN_BG_COLOR;
    bgColor = 2;
    fgColor = 15;
}

Highlight::~Highlight() = default;

// Only the frame is drawn: the region beneath shows through.
void Highlight::Paint()
{
    short sx = 0;
    short sy = 0;
    CanvasOrigin(&sx, &sy);
    int w = width;
    int h = height;
    if (HasFlag(HIGHLIGHT_LARGER)) {
        --sx;
        --sy;
        w += 2;
        h += 2;
    }
    if (backgroundKind != MWIN_BG_COLOR)
        return;
    canvas->SetDrawColor(static_cast<unsigned char>(HasFlag(HIGHLIGHT_HOVER) ? fgColor : bgColor));
    canvas->Rectangle(sx, sy, short(sx + w - 1), short(sy + h - 1));
}

unsigned long HighlightCallback(void* window, unsigned long message, unsigned long param1, unsigned long param2)
{
    Highlight* highlight = WindowAs<Highlight>(window);
    if (highlight == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return 0;
    }
    switch (CodeOf(message)) {
    case MWIN_ENTER:
    case MWIN_LEAVE:
        highlight->SetFlag(HIGHLIGHT_HOVER, CodeOf(message) == MWIN_ENTER);
        highlight->Refresh();
        return 1;
    case MWIN_CLICK:
        SendTo(highlight->owner, Message(MWIN_CLICKED, static_cast<unsigned short>(message & 0xFFFF)), 0, 0);
        return 1;
    case MWIN_PRESS:
        return 1;
    default:
        return 0;
    }
}
