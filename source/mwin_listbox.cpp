// mwin_listbox.cpp - ListBox: entries, selection, scrolling and painting.
//
// Entries come from the list's MemManager with their text inline. The list
// keeps neither its count nor its selection in step with every change:
// Clear leaves the count, removal leaves the selection, and prepending leaves
// the old head's back link. Those are what games were written against; only
// what would touch memory that is not there is guarded.
#include "mwin_internal.h"

#include "tollivex/canvas.h"
#include "tollivex/listbox.h"
#include "tollivex/memman.h"
#include "tollivex/scroll.h"

#include <cstddef>
#include <cstring>

using namespace mwin;

namespace {
const unsigned long kAddFailed = 0xFFFFFFFF;
const unsigned short kMarginGlyph = 127;
} // namespace

ListBox::ListBox(MWin* parentWindow, MemManager* mm, SpriteManager* sprites, unsigned short id)
    : MWin(parentWindow), memManager(mm), font(), fontDef(nullptr), lineHeight(0), visibleLines(0), entryCount(0),
      topIndex(0), firstEntry(nullptr), selected(nullptr), lineFillColor(0), lineFrameColor(0),
      selectedFillColor(0), selectedFrameColor(0), textColor(0), selectedTextColor(0), reserved{}, textMarginX(0),
      textOffsetY(0), scrollBar(nullptr), maxTop(0)
{
    if (mm == nullptr || sprites == nullptr)
        _AssertMsg(kSource, __LINE__);
    if (sprites != nullptr)
        font.AssociateSpriteManager(sprites);
    paint = static_cast<PaintRoutine>(&ListBox::Paint);
    callback = ListBoxCallback;
    hotSpot.id = id;
    backgroundKind = MWIN_BG_COLOR;
    bgColor = 2;
    fgColor = 15;
}

ListBox::~ListBox()
{
    Clear();
}

void ListBox::MeasureFont()
{
    textMarginX = static_cast<uint16_t>(font.QueryCharWidth(kMarginGlyph));
    textOffsetY = static_cast<uint16_t>((lineHeight - font.QueryCharHeight(kMarginGlyph)) / 2);
}

void ListBox::SetFont(_FontDef* def)
{
    font.ActivateFont(def);
    fontDef = def;
    if (lineHeight != 0)
        MeasureFont();
}

void ListBox::SetLineHeight(short newLineHeight)
{
    lineHeight = static_cast<uint16_t>(newLineHeight);
    if (lineHeight == 0)
        _AssertMsg(kSource, __LINE__);
    visibleLines = lineHeight != 0 ? static_cast<uint16_t>(height / lineHeight) : 0;
    AdjustScrollBar();
}

// The height is cut to whole lines, so the line height comes first; without
// one the window is sized as it is asked, showing no lines.
void ListBox::SetSize(short newWidth, short newHeight)
{
    if (lineHeight == 0) {
        _AssertMsg(kSource, __LINE__);
        visibleLines = 0;
        MWin::SetSize(newWidth, newHeight);
        return;
    }
    newHeight = static_cast<short>(newHeight - newHeight % lineHeight);
    visibleLines = static_cast<uint16_t>(newHeight / lineHeight);
    AdjustScrollBar();
    MWin::SetSize(newWidth, newHeight);
    if (fontDef != nullptr)
        MeasureFont();
}

_ListBoxEntry* ListBox::NewEntry(const char* text)
{
    const size_t length = std::strlen(text);
    void* block = nullptr;
    if (memManager == nullptr || memManager->Allocate(&block, offsetof(_ListBoxEntry, entryText) + length + 1) == ERR_FAILURE) {
        _AssertMsg(kSource, __LINE__);
        return nullptr;
    }
    auto* entry = static_cast<_ListBoxEntry*>(block);
    entry->nextEntry = nullptr;
    entry->prevEntry = nullptr;
    entry->handle = 0;
    entry->lineColor = LISTBOX_DEFAULT_COLOR;
    entry->selectedLineColor = LISTBOX_DEFAULT_COLOR;
    std::memcpy(entry->entryText, text, length + 1);
    return entry;
}

void ListBox::FreeEntry(_ListBoxEntry* entry)
{
    void* block = entry;
    memManager->Free(&block);
}

// An entry linked nowhere could never be found or freed again, so an Add
// that names neither end is refused.
unsigned long ListBox::Add(char* text, unsigned long handle, unsigned long flags)
{
    if (text == nullptr || !(flags & (LISTBOX_PREPEND | LISTBOX_APPEND))) {
        _AssertMsg(kSource, __LINE__);
        return kAddFailed;
    }
    _ListBoxEntry* entry = NewEntry(text);
    if (entry == nullptr)
        return kAddFailed;
    entry->handle = static_cast<uint32_t>(handle);
    unsigned long index = 0;
    if ((flags & LISTBOX_APPEND) && firstEntry != nullptr) {
        _ListBoxEntry* last = firstEntry;
        while (last->nextEntry != nullptr)
            last = last->nextEntry;
        last->nextEntry = entry;
        entry->prevEntry = last;
        index = entryCount;
    } else {
        // The old head keeps its back link: removal relies on it as it is.
        entry->nextEntry = firstEntry;
        firstEntry = entry;
    }
    ++entryCount;
    AdjustScrollBar();
    Refresh();
    return index;
}

ERRORSTATUS ListBox::Remove(_ListBoxEntry* entry)
{
    if (entry == nullptr)
        return ERR_FAILURE;
    --entryCount;
    AdjustScrollBar();
    if (entry->prevEntry == nullptr)
        firstEntry = entry->nextEntry;
    else
        entry->prevEntry->nextEntry = entry->nextEntry;
    if (entry->nextEntry != nullptr)
        entry->nextEntry->prevEntry = entry->prevEntry;
    FreeEntry(entry);
    return ERR_OK;
}

ERRORSTATUS ListBox::RemoveByText(char* text)
{
    _ListBoxEntry* entry = firstEntry;
    while (entry != nullptr && (text == nullptr || std::strcmp(entry->entryText, text) != 0))
        entry = entry->nextEntry;
    return Remove(entry);
}

ERRORSTATUS ListBox::RemoveByHandle(unsigned long handle)
{
    _ListBoxEntry* entry = firstEntry;
    while (entry != nullptr && entry->handle != handle)
        entry = entry->nextEntry;
    return Remove(entry);
}

ERRORSTATUS ListBox::RemoveByIndex(unsigned long index)
{
    return Remove(index <= 0xFFFF ? EntryAt(long(index)) : nullptr);
}

// The replacement takes the old record's place and handle, not its colours.
ERRORSTATUS ListBox::ChangeText(char* text, unsigned long handle)
{
    _ListBoxEntry* old = firstEntry;
    while (old != nullptr && old->handle != handle)
        old = old->nextEntry;
    if (old == nullptr || text == nullptr)
        return ERR_FAILURE;
    _ListBoxEntry* entry = NewEntry(text);
    if (entry == nullptr)
        return ERR_FAILURE;
    entry->handle = old->handle;
    entry->nextEntry = old->nextEntry;
    entry->prevEntry = old->prevEntry;
    if (old->prevEntry != nullptr)
        old->prevEntry->nextEntry = entry;
    else
        firstEntry = entry;
    if (old->nextEntry != nullptr)
        old->nextEntry->prevEntry = entry;
    FreeEntry(old);
    return ERR_OK;
}

void ListBox::Clear()
{
    while (firstEntry != nullptr) {
        _ListBoxEntry* next = firstEntry->nextEntry;
        FreeEntry(firstEntry);
        firstEntry = next;
    }
    selected = nullptr;
}

void ListBox::SetBGColors(unsigned char lineFill, unsigned char lineFrame, unsigned char selectedFill,
                          unsigned char selectedFrame)
{
    lineFillColor = lineFill;
    lineFrameColor = lineFrame;
    selectedFillColor = selectedFill;
    selectedFrameColor = selectedFrame;
}

void ListBox::SetTextColors(unsigned char text, unsigned char selectedText)
{
    textColor = text;
    selectedTextColor = selectedText;
}

ERRORSTATUS ListBox::SetLineColor(unsigned long handle, unsigned short color, unsigned short selectedColor)
{
    for (_ListBoxEntry* entry = firstEntry; entry != nullptr; entry = entry->nextEntry) {
        if (entry->handle == handle) {
            entry->lineColor = color;
            entry->selectedLineColor = selectedColor;
            return ERR_OK;
        }
    }
    return ERR_FAILURE;
}

void ListBox::AssociateScrollBar(ScrollBar* bar)
{
    scrollBar = bar;
    AdjustScrollBar();
    if (bar != nullptr)
        bar->SetOwner(this);
}

void ListBox::AdjustScrollBar()
{
    maxTop = entryCount > visibleLines ? static_cast<uint16_t>(entryCount - visibleLines) : 0;
    if (scrollBar == nullptr)
        return;
    scrollBar->SetSliderRange(maxTop + 1ul);
    scrollBar->SetSliderPosition(topIndex);
}

_ListBoxEntry* ListBox::QuerySelected()
{
    return selected;
}

void ListBox::SetSelectedByHandle(unsigned long handle)
{
    if (handle == 0)
        return;
    selected = nullptr;
    for (_ListBoxEntry* entry = firstEntry; entry != nullptr; entry = entry->nextEntry) {
        if (entry->handle == handle) {
            selected = entry;
            Refresh();
            return;
        }
    }
}

_ListBoxEntry* ListBox::EntryAt(long index) const
{
    _ListBoxEntry* entry = index >= 0 ? firstEntry : nullptr;
    for (; entry != nullptr && index > 0; --index)
        entry = entry->nextEntry;
    return entry;
}

// Each line's outline reaches one row into the next line.
void ListBox::Paint()
{
    short sx = 0;
    short sy = 0;
    CanvasOrigin(&sx, &sy);
    _ListBoxEntry* const top = EntryAt(topIndex);
    const int right = sx + width - 1;
    if (backgroundKind == MWIN_BG_COLOR) {
        _ListBoxEntry* entry = top;
        for (int i = 0; i < visibleLines; ++i) {
            const int row = sy + i * lineHeight;
            const bool chosen = entry != nullptr && entry == selected;
            canvas->SetDrawColor(chosen ? selectedFillColor : lineFillColor);
            canvas->FilledRectUnclipped(sx, short(row), short(right), short(row + lineHeight - 1));
            canvas->SetDrawColor(chosen ? selectedFrameColor : lineFrameColor);
            canvas->Rectangle(sx, short(row), short(right), short(row + lineHeight));
            if (entry != nullptr)
                entry = entry->nextEntry;
        }
    }
    font.AssociateCanvas(canvas);
    int row = sy + static_cast<int16_t>(textOffsetY);
    _ListBoxEntry* entry = top;
    for (int i = 0; i < visibleLines && entry != nullptr; ++i, entry = entry->nextEntry, row += lineHeight) {
        const bool chosen = entry == selected;
        const uint16_t own = chosen ? entry->selectedLineColor : entry->lineColor;
        const uint8_t fallback = chosen ? selectedTextColor : textColor;
        canvas->SetDrawColor(own == LISTBOX_DEFAULT_COLOR ? fallback : static_cast<uint8_t>(own));
        font.PutClippedString(short(sx + textMarginX), short(row), short(width - 2 * textMarginX), entry->entryText);
    }
}

// A press below the last entry selects nothing but is reported all the same.
void ListBox::Select(short pointerY)
{
    SwitchKeyboardFocus();
    _ListBoxEntry* entry = EntryAt(long(topIndex) + pointerY / lineHeight);
    if (entry != nullptr)
        selected = entry;
    NotifyOwner(MWIN_SELECTED, 0, 0);
    Refresh();
}

void ListBox::Scroll(unsigned short how, unsigned long position)
{
    switch (how) {
    case MWIN_LINE_UP:
        if (topIndex != 0)
            --topIndex;
        break;
    case MWIN_LINE_DOWN:
        if (topIndex < maxTop)
            ++topIndex;
        break;
    case MWIN_PAGE_UP:
        topIndex = topIndex > visibleLines ? static_cast<uint16_t>(topIndex - visibleLines) : 0;
        break;
    case MWIN_PAGE_DOWN:
        if (maxTop == 0)
            return;
        topIndex = topIndex < maxTop - visibleLines ? static_cast<uint16_t>(topIndex + visibleLines) : maxTop;
        break;
    case MWIN_DRAGGING:
    case MWIN_DRAG_ENDED:
        topIndex = static_cast<uint16_t>(position & 0xFFFF);
        break;
    default:
        return;
    }
    if (scrollBar != nullptr)
        scrollBar->SetSliderPosition(topIndex);
    Refresh();
}

unsigned long ListBoxCallback(void* window, unsigned long message, unsigned long param1, unsigned long param2)
{
    ListBox* box = WindowAs<ListBox>(window);
    if (box == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return 0;
    }
    switch (CodeOf(message)) {
    case MWIN_ENTER:
    case MWIN_LEAVE:
    case MWIN_CLICK:
    case 0x8008:
    case MWIN_KEY:
        return 1;
    case MWIN_PRESS:
        if (box->lineHeight != 0)
            box->Select(YOf(param2));
        return 1;
    case MWIN_VALUE_CHANGED:
        box->Scroll(static_cast<unsigned short>(param1 & 0xFFFF), param2);
        return 1;
    default:
        return 0;
    }
}
