// entry.h - EntryField: one line of editable text.
//
// A field takes the keyboard focus when clicked and puts its cursor on the
// clicked character; it edits from MWIN_KEY messages (characters below 0x100,
// editing keys from 0x100) in insert or overwrite mode, scrolls its text so
// the cursor stays in view, draws an underline cursor while focused, and tells
// its owner MWIN_TEXT_CHANGED on every edit and MWIN_ENTER_PRESSED on Enter.
// It can be read-only or take digits only. Which physical key sends which
// code is the game's choice.
#ifndef TOLLIVEX_ENTRY_H
#define TOLLIVEX_ENTRY_H

#include "font.h"
#include "mwin.h"

class MemManager;
class SpriteManager;

// EntryField flags (third byte of MWin::state).
const unsigned long ENTRY_READ_ONLY = 0x04;
const unsigned long ENTRY_DIGITS_ONLY = 0x08;
const unsigned long ENTRY_BORDER = 0x10;

// Editing keys.
enum : unsigned short {
    ENTRY_KEY_NONE = 0x100,
    ENTRY_KEY_BACKSPACE = 0x101,
    ENTRY_KEY_END = 0x107,
    ENTRY_KEY_HOME = 0x108,
    ENTRY_KEY_LEFT = 0x109,
    ENTRY_KEY_RIGHT = 0x10B,
    ENTRY_KEY_INSERT = 0x10D,
    ENTRY_KEY_DELETE = 0x10E,
    ENTRY_KEY_ENTER = 0x10F
};

class TVX_API EntryField : public MWin {
public:
    EntryField(MWin* parent, MemManager* mm, SpriteManager* sprites, unsigned short id);
    ~EntryField() override;

    void SetText(char* text);
    char* QueryText();
    void SetTextLength(unsigned long length);
    unsigned long QueryCursorPos();
    void SetCursorPos(unsigned long position);
    void SetFont(_FontDef* def);
    void SetMargins(short x, short y);
    void SetCursorColor(unsigned long color);
    void SetReadOnly(int on);
    void SetNumericOnly(int on);
    void ActivateBorder(unsigned long color, int on);
    unsigned long EditText(unsigned short key);

    char* text;
    uint32_t maxLength; // characters the buffer holds, the terminator not counted
    uint32_t firstVisible;
    uint32_t cursorPos;
    uint16_t reserved;
    MemManager* memManager;
    _FontDef* fontDef;
    Font font;
    int16_t marginX;
    int16_t marginY;
    uint32_t insertMode; // 1 insert, 0 overwrite
    uint32_t cursorColor;
    uint16_t cursorOffsetY;
    uint16_t cursorThickness;
    uint32_t borderColor;

private:
    friend unsigned long EntryFieldCallback(void*, unsigned long, unsigned long, unsigned long);

    bool Reallocate(unsigned long length);
    void FreeText();
    unsigned long Length() const;
    unsigned long TypeCharacter(unsigned short key);
    unsigned long EditingKey(unsigned short key);
    void RemoveAt(unsigned long index);
    void PlaceCursor(short pointerX);
    void Paint();
    void ScrollToCursor(int available);
    void PaintCursor(short sx, short sy);
};

TVX_API unsigned long EntryFieldCallback(void* window, unsigned long message, unsigned long param1,
                                         unsigned long param2);

#endif
