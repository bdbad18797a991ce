// mwin_entry.cpp - EntryField: editing keys, cursor placement and painting.
//
// The buffer holds maxLength characters and one byte more that always stays
// the terminator: insertion shifts up to it and lets the last character fall
// off, deletion pulls the rest of the buffer down over the removed one. The
// cursor never passes maxLength, so every shift stays inside the buffer.
#include "mwin_internal.h"

#include "tollivex/canvas.h"
#include "tollivex/entry.h"
#include "tollivex/memman.h"

#include <algorithm>
#include <cstring>

using namespace mwin;

namespace {
const unsigned long kDefaultLength = 299;
const char kInitialText[] = "Another Test String.";
const unsigned short kHeightGlyph = 127;
} // namespace

EntryField::EntryField(MWin* parentWindow, MemManager* mm, SpriteManager* sprites, unsigned short id)
    : MWin(parentWindow), text(nullptr), maxLength(0), firstVisible(0), cursorPos(0), reserved(0), memManager(mm),
      fontDef(nullptr), font(), marginX(4), marginY(4), insertMode(1), cursorColor(15), cursorOffsetY(1),
      cursorThickness(1), borderColor(0)
{
    if (mm == nullptr || sprites == nullptr)
        _AssertMsg(kSource, __LINE__);
    if (sprites != nullptr)
        font.AssociateSpriteManager(sprites);
    paint = static_cast<PaintRoutine>(&EntryField::Paint);
    callback = EntryFieldCallback;
    hotSpot.id = id;
    backgroundKind = MWIN_BG_COLOR;
    bgColor = 2;
    fgColor = 15;
    if (Reallocate(kDefaultLength))
        std::strcpy(text, kInitialText);
}

EntryField::~EntryField()
{
    FreeText();
}

void EntryField::FreeText()
{
    if (text == nullptr || memManager == nullptr)
        return;
    void* block = text;
    memManager->Free(&block);
    text = nullptr;
}

// A zeroed buffer keeps its last byte the terminator whatever is edited.
bool EntryField::Reallocate(unsigned long length)
{
    FreeText();
    void* block = nullptr;
    if (memManager == nullptr || memManager->Allocate(&block, length + 1) == ERR_FAILURE) {
        _AssertMsg(kSource, __LINE__);
        return false;
    }
    text = static_cast<char*>(block);
    std::memset(text, 0, length + 1);
    maxLength = static_cast<uint32_t>(length);
    return true;
}

unsigned long EntryField::Length() const
{
    return text != nullptr ? std::strlen(text) : 0;
}

void EntryField::SetText(char* newText)
{
    if (newText == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    const unsigned long length = std::strlen(newText);
    if ((text == nullptr || length >= maxLength) && !Reallocate(std::max<unsigned long>(length, maxLength)))
        return;
    std::memcpy(text, newText, length + 1);
    firstVisible = 0;
    cursorPos = 0;
    Refresh();
}

char* EntryField::QueryText()
{
    return text;
}

// The cursor stays where it was unless that is now past the buffer.
void EntryField::SetTextLength(unsigned long length)
{
    maxLength = static_cast<uint32_t>(length);
    Reallocate(length);
    cursorPos = std::min(cursorPos, maxLength);
    firstVisible = std::min(firstVisible, maxLength);
}

unsigned long EntryField::QueryCursorPos()
{
    return cursorPos;
}

void EntryField::SetCursorPos(unsigned long position)
{
    cursorPos = static_cast<uint32_t>(std::min(position, Length()));
}

void EntryField::SetFont(_FontDef* def)
{
    font.ActivateFont(def);
    fontDef = def;
}

void EntryField::SetMargins(short newX, short newY)
{
    marginX = newX;
    marginY = newY;
}

void EntryField::SetCursorColor(unsigned long color)
{
    cursorColor = static_cast<uint32_t>(color);
}

void EntryField::SetReadOnly(int on)
{
    SetFlag(ENTRY_READ_ONLY, on != 0);
    Refresh();
}

void EntryField::SetNumericOnly(int on)
{
    SetFlag(ENTRY_DIGITS_ONLY, on != 0);
    Refresh();
}

void EntryField::ActivateBorder(unsigned long color, int on)
{
    SetFlag(ENTRY_BORDER, on == 1);
    if (on == 1)
        borderColor = static_cast<uint32_t>(color);
    Refresh();
}

unsigned long EntryField::EditText(unsigned short key)
{
    if (HasFlag(ENTRY_READ_ONLY))
        return 1;
    if (text == nullptr)
        return 0;
    return key < ENTRY_KEY_NONE ? TypeCharacter(key) : EditingKey(key);
}

// Digits-only fields take a minus sign at the very start and nothing else.
unsigned long EntryField::TypeCharacter(unsigned short key)
{
    if (HasFlag(ENTRY_DIGITS_ONLY) && !(key >= '0' && key <= '9') && !(key == '-' && cursorPos == 0))
        return 1;
    if (key <= 0x1F)
        return 1;
    if (cursorPos >= maxLength)
        return 0;
    if (insertMode)
        std::memmove(text + cursorPos + 1, text + cursorPos, maxLength - 1 - cursorPos);
    else if (text[cursorPos] == '\0')
        text[cursorPos + 1] = '\0';
    text[cursorPos++] = static_cast<char>(key);
    NotifyOwner(MWIN_TEXT_CHANGED, 0, 0);
    return 1;
}

void EntryField::RemoveAt(unsigned long index)
{
    std::memmove(text + index, text + index + 1, maxLength - index);
}

unsigned long EntryField::EditingKey(unsigned short key)
{
    switch (key) {
    case ENTRY_KEY_NONE:
        return 1;
    case ENTRY_KEY_BACKSPACE:
        if (cursorPos != 0)
            RemoveAt(--cursorPos);
        NotifyOwner(MWIN_TEXT_CHANGED, 0, 0);
        return 1;
    case ENTRY_KEY_END:
        cursorPos = static_cast<uint32_t>(Length());
        return 1;
    case ENTRY_KEY_HOME:
        cursorPos = 0;
        return 1;
    case ENTRY_KEY_LEFT:
        if (cursorPos != 0)
            --cursorPos;
        return 1;
    case ENTRY_KEY_RIGHT:
        if (cursorPos < maxLength && text[cursorPos] != '\0')
            ++cursorPos;
        return 1;
    case ENTRY_KEY_INSERT:
        insertMode = insertMode ? 0 : 1;
        return 1;
    case ENTRY_KEY_DELETE:
        if (cursorPos < maxLength && text[cursorPos] != '\0')
            RemoveAt(cursorPos);
        NotifyOwner(MWIN_TEXT_CHANGED, 0, 0);
        return 1;
    case ENTRY_KEY_ENTER:
        NotifyOwner(MWIN_ENTER_PRESSED, 0, 0);
        return 1;
    default:
        return 0;
    }
}

// The cursor goes to the first shown character whose right edge is at or
// right of the click; past the text, to its end.
void EntryField::PlaceCursor(short pointerX)
{
    const unsigned long length = Length();
    int right = marginX;
    for (unsigned long i = firstVisible; i < length; ++i) {
        right += font.QueryCharWidth(static_cast<unsigned char>(text[i]));
        if (pointerX <= right) {
            cursorPos = static_cast<uint32_t>(i);
            return;
        }
    }
    cursorPos = static_cast<uint32_t>(length);
}

void EntryField::Paint()
{
    DefaultPaint();
    short sx = 0;
    short sy = 0;
    CanvasOrigin(&sx, &sy);
    if (HasFlag(ENTRY_BORDER)) {
        canvas->SetDrawColor(static_cast<unsigned char>(borderColor));
        canvas->Rectangle(sx, sy, short(sx + width - 1), short(sy + height - 1));
    }
    if (text == nullptr)
        return;
    const int available = width - 2 * marginX;
    ScrollToCursor(available);
    canvas->SetDrawColor(static_cast<unsigned char>(fgColor));
    font.AssociateCanvas(canvas);
    font.PutClippedString(short(sx + marginX), short(sy + marginY), short(available), text + firstVisible);
    if ((state & MWIN_STATE_FOCUS) && !HasFlag(ENTRY_READ_ONLY))
        PaintCursor(sx, sy);
}

// The text scrolls left just far enough to show the character under the
// cursor; a character wider than the whole field still stays the first shown.
void EntryField::ScrollToCursor(int available)
{
    if (cursorPos < firstVisible)
        firstVisible = cursorPos;
    while (firstVisible < cursorPos &&
           font.QueryStringWidth(text + firstVisible, static_cast<unsigned short>(cursorPos - firstVisible + 1)) >
               available)
        ++firstVisible;
}

void EntryField::PaintCursor(short sx, short sy)
{
    const int cx = sx + marginX - 1 +
                   font.QueryStringWidth(text + firstVisible, static_cast<unsigned short>(cursorPos - firstVisible));
    const int cy = sy + marginY + font.QueryCharHeight(kHeightGlyph) + cursorOffsetY;
    const int length = font.QueryCharWidth(static_cast<unsigned char>(text[cursorPos])) + 2;
    canvas->SetDrawColor(static_cast<unsigned char>(cursorColor));
    for (int row = cy; row < cy + cursorThickness; ++row)
        canvas->Line(short(cx), short(row), short(cx + length), short(row));
}

unsigned long EntryFieldCallback(void* window, unsigned long message, unsigned long param1, unsigned long param2)
{
    EntryField* field = WindowAs<EntryField>(window);
    if (field == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return 0;
    }
    switch (CodeOf(message)) {
    case MWIN_ENTER:
    case MWIN_LEAVE:
    case MWIN_PRESS:
        return 1;
    case MWIN_CLICK:
        field->SwitchKeyboardFocus();
        field->PlaceCursor(XOf(param2));
        return 1;
    case MWIN_KEY:
        if (field->EditText(static_cast<unsigned short>(param1 & 0xFFFF)))
            field->Refresh();
        return 1;
    case MWIN_FOCUS_GAINED:
    case MWIN_FOCUS_LOST:
        SendTo(field->parent, message, param1, param2);
        return 1;
    default:
        return 0;
    }
}
