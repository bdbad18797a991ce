// font.h - Font: text drawn with sprites.
//
// A font is a sprite set whose sprite c is the glyph of character code c.
// The Font keeps the active definition, caches the width and height of all
// 256 glyphs when a definition is activated, and draws through its
// SpriteManager, in the glyphs' own colours or, for a solid font, in the
// canvas's draw colour. Characters are unsigned bytes; positions name the
// top-left of the first glyph. The Font owns neither the set nor the canvas.
#ifndef TOLLIVEX_FONT_H
#define TOLLIVEX_FONT_H

#include "tvxcommon.h"

class Canvas;
class SpriteManager;

// _FontDef flag bits.
const unsigned long FONT_PROPORTIONAL = 0x0001; // advance by each glyph's width
const unsigned long FONT_FIXED_PITCH = 0x0002;  // advance by the fixed width (wins over proportional)
const unsigned long FONT_SOLID = 0x0004;        // draw every glyph pixel in the draw colour
const unsigned long FONT_ACTIVE = 0x8000;       // set by the Font on its own copy

#pragma pack(push, 1)
// A font definition, as the game fills it in.
struct _FontDef {
    uint8_t spriteSet;   // the sprite set holding the glyphs
    uint16_t fixedWidth; // advance of space and NUL, and of every glyph in fixed pitch
    uint16_t spacing;    // extra pixels after every character
    uint32_t flags;      // FONT_...
};
#pragma pack(pop)

static_assert(sizeof(_FontDef) == 9, "_FontDef is a 9-byte record");

class TVX_API Font {
public:
    Font();
    explicit Font(SpriteManager* sprites);
    ~Font();
    Font(const Font&) = delete;
    Font& operator=(const Font&) = delete;

    void AssociateSpriteManager(SpriteManager* sprites);
    void AssociateCanvas(Canvas* canvas);
    void DissociateCanvas();

    void ActivateFont(_FontDef* def);
    short QueryCharWidth(unsigned short c);
    short QueryCharHeight(unsigned short c);

    void PutCharacter(short x, short y, unsigned short c, short* advance);
    void PutString(short x, short y, char* text);
    void PutClippedString(short x, short y, short maxWidth, char* text);
    void PutShadowString(short x, short y, char* text, unsigned char color, unsigned char shadowColor,
                         Canvas* canvas);
    void PutClippedShadowString(short x, short y, short maxWidth, char* text, unsigned char color,
                                unsigned char shadowColor, Canvas* canvas);
    unsigned short QueryStringWidth(char* text, unsigned short count);

private:
    bool Active() const;
    void DrawString(short x, short y, bool clipped, short maxWidth, const char* text);
    void DrawShadowString(short x, short y, bool clipped, short maxWidth, const char* text, unsigned char color,
                          unsigned char shadowColor, Canvas* target);

    Canvas* canvas;
    SpriteManager* sprites;
    _FontDef active;
    unsigned short widths[256];
    unsigned short heights[256];
};

#endif
