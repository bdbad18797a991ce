// listbox.h - ListBox: lines of text, one selectable, scrolled by a ScrollBar.
//
// Each entry carries the caller's handle and optional colours of its own.
// A press selects the line under the pointer and tells the owner
// MWIN_SELECTED; an associated scroll bar moves the first visible line. The
// list is doubly linked, but prepending leaves the old head's back link as it
// was, and removal goes by those links: games rely on what that does.
#ifndef TOLLIVEX_LISTBOX_H
#define TOLLIVEX_LISTBOX_H

#include "font.h"
#include "mwin.h"

class MemManager;
class ScrollBar;
class SpriteManager;

// ListBox::Add flags.
const unsigned long LISTBOX_PREPEND = 0x01;
const unsigned long LISTBOX_APPEND = 0x02;

const unsigned short LISTBOX_DEFAULT_COLOR = 0xFFFF; // an entry's colour: the list's own

#pragma pack(push, 1)
// One line, allocated with its text inline.
struct _ListBoxEntry {
    _ListBoxEntry* nextEntry;
    _ListBoxEntry* prevEntry;
    uint32_t handle;
    uint16_t lineColor;
    uint16_t selectedLineColor;
    char entryText[1]; // zero-terminated, as long as the text
};
#pragma pack(pop)

#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
static_assert(sizeof(_ListBoxEntry) == 17, "_ListBoxEntry is 17 bytes before its text on 32-bit targets");
#endif

class TVX_API ListBox : public MWin {
public:
    ListBox(MWin* parent, MemManager* mm, SpriteManager* sprites, unsigned short id);
    ~ListBox() override;

    void SetFont(_FontDef* def);
    void SetLineHeight(short lineHeight);
    void SetSize(short width, short height) override;

    unsigned long Add(char* text, unsigned long handle, unsigned long flags);
    ERRORSTATUS ChangeText(char* text, unsigned long handle);
    ERRORSTATUS RemoveByText(char* text);
    ERRORSTATUS RemoveByHandle(unsigned long handle);
    ERRORSTATUS RemoveByIndex(unsigned long index);
    void Clear();

    void SetBGColors(unsigned char lineFill, unsigned char lineFrame, unsigned char selectedFill,
                     unsigned char selectedFrame);
    void SetTextColors(unsigned char text, unsigned char selectedText);
    ERRORSTATUS SetLineColor(unsigned long handle, unsigned short color, unsigned short selectedColor);

    void AssociateScrollBar(ScrollBar* scrollBar);
    void AdjustScrollBar();
    _ListBoxEntry* QuerySelected();
    void SetSelectedByHandle(unsigned long handle);

    MemManager* memManager;
    Font font;
    _FontDef* fontDef;
    uint16_t lineHeight;
    uint16_t visibleLines;
    uint16_t entryCount;
    uint16_t topIndex;
    _ListBoxEntry* firstEntry;
    _ListBoxEntry* selected;
    uint8_t lineFillColor;
    uint8_t lineFrameColor;
    uint8_t selectedFillColor;
    uint8_t selectedFrameColor;
    uint8_t textColor;
    uint8_t selectedTextColor;
    uint16_t reserved[2];
    uint16_t textMarginX;
    uint16_t textOffsetY;
    ScrollBar* scrollBar;
    uint16_t maxTop; // the largest useful topIndex

private:
    friend unsigned long ListBoxCallback(void*, unsigned long, unsigned long, unsigned long);

    _ListBoxEntry* NewEntry(const char* text);
    void FreeEntry(_ListBoxEntry* entry);
    _ListBoxEntry* EntryAt(long index) const;
    ERRORSTATUS Remove(_ListBoxEntry* entry);
    void MeasureFont();
    void Paint();
    void Select(short y);
    void Scroll(unsigned short how, unsigned long position);
};

TVX_API unsigned long ListBoxCallback(void* window, unsigned long message, unsigned long param1,
                                      unsigned long param2);

#endif
