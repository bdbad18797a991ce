// font.cpp - Font: measuring and drawing text through a SpriteManager.
//
// Widths and heights are read once per activated definition; activating the
// same definition again returns at once, so a glyph set edited afterwards is
// only measured anew under a different definition.
#include "tollivex/font.h"

#include "tollivex/canvas.h"
#include "tollivex/sprman.h"

#include <cstring>

namespace {
const char* const kSource = "font";
const unsigned short kSpace = 32;
// Space and NUL take their height from glyph 127.
const unsigned short kHeightGlyph = 127;
} // namespace

Font::Font() : canvas(nullptr), sprites(nullptr), active{}, widths{}, heights{} {}

Font::Font(SpriteManager* sprites) : Font()
{
    AssociateSpriteManager(sprites);
}

Font::~Font() = default;

void Font::AssociateSpriteManager(SpriteManager* manager)
{
    if (manager == nullptr)
        _AssertMsg(kSource, __LINE__);
    sprites = manager;
}

void Font::AssociateCanvas(Canvas* target)
{
    // A null canvas is reported and still handed on: the manager then draws
    // nowhere, for all its users.
    if (target == nullptr)
        _AssertMsg(kSource, __LINE__);
    // The manager draws onto this canvas from now on, for all its users.
    if (sprites != nullptr)
        sprites->AssociateCanvas(target);
    canvas = target;
}

void Font::DissociateCanvas()
{
    canvas = nullptr;
}

bool Font::Active() const
{
    return (active.flags & FONT_ACTIVE) != 0;
}

void Font::ActivateFont(_FontDef* def)
{
    if (sprites == nullptr)
        return;
    if (def == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    if (Active() && active.spriteSet == def->spriteSet && active.fixedWidth == def->fixedWidth &&
        active.spacing == def->spacing && (active.flags & ~FONT_ACTIVE) == (def->flags & ~FONT_ACTIVE))
        return;
    active.spriteSet = def->spriteSet;
    active.fixedWidth = def->fixedWidth;
    active.spacing = def->spacing;
    active.flags = static_cast<uint32_t>(def->flags | FONT_ACTIVE);
    for (unsigned c = 0; c < 256; ++c) {
        widths[c] = 0;
        heights[c] = 0;
        short hotX = 0;
        short hotY = 0;
        // Missing glyphs keep 0: the result is of no interest.
        sprites->QuerySpriteDimensions(active.spriteSet, static_cast<unsigned short>(c), &widths[c], &heights[c],
                                       &hotX, &hotY);
    }
}

short Font::QueryCharWidth(unsigned short c)
{
    if (c == kSpace || c == 0)
        return static_cast<short>(active.fixedWidth);
    if (active.flags & FONT_FIXED_PITCH)
        return static_cast<short>(active.fixedWidth);
    if (active.flags & FONT_PROPORTIONAL)
        return c < 256 ? static_cast<short>(widths[c]) : 0;
    return 0;
}

short Font::QueryCharHeight(unsigned short c)
{
    if (c == kSpace || c == 0)
        return static_cast<short>(heights[kHeightGlyph]);
    return c < 256 ? static_cast<short>(heights[c]) : 0;
}

void Font::PutCharacter(short x, short y, unsigned short c, short* advance)
{
    if (!Active())
        _AssertMsg(kSource, __LINE__);
    const short width = QueryCharWidth(c);
    if (advance != nullptr)
        *advance = width;
    else
        _AssertMsg(kSource, __LINE__);
    if (c == kSpace || sprites == nullptr)
        return;
    if (active.flags & FONT_SOLID)
        sprites->DisplaySpriteSolid(x, y, active.spriteSet, c, 0);
    else
        sprites->DisplaySprite(x, y, active.spriteSet, c, 0);
}

// When clipped, a glyph is drawn only while it ends strictly left of maxWidth.
void Font::DrawString(short x, short y, bool clipped, short maxWidth, const char* text)
{
    if (text == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    if (!Active())
        return;
    int offset = 0;
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p != 0; ++p) {
        if (clipped && offset + QueryCharWidth(*p) >= maxWidth)
            return;
        short advance = 0;
        PutCharacter(static_cast<short>(x + offset), y, *p, &advance);
        offset += advance + active.spacing;
    }
}

void Font::PutString(short x, short y, char* text)
{
    DrawString(x, y, false, 0, text);
}

void Font::PutClippedString(short x, short y, short maxWidth, char* text)
{
    DrawString(x, y, true, maxWidth, text);
}

// The shadow goes one pixel down and right in shadowColor, the text over it
// in color, which the draw colour is left at. Only a solid font shows the
// colours; other fonts are simply drawn twice.
void Font::DrawShadowString(short x, short y, bool clipped, short maxWidth, const char* text, unsigned char color,
                            unsigned char shadowColor, Canvas* target)
{
    if (target == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    target->SetDrawColor(shadowColor);
    DrawString(static_cast<short>(x + 1), static_cast<short>(y + 1), clipped, maxWidth, text);
    target->SetDrawColor(color);
    DrawString(x, y, clipped, maxWidth, text);
}

void Font::PutShadowString(short x, short y, char* text, unsigned char color, unsigned char shadowColor,
                           Canvas* target)
{
    DrawShadowString(x, y, false, 0, text, color, shadowColor, target);
}

void Font::PutClippedShadowString(short x, short y, short maxWidth, char* text, unsigned char color,
                                  unsigned char shadowColor, Canvas* target)
{
    DrawShadowString(x, y, true, maxWidth, text, color, shadowColor, target);
}

// Counts exactly `count` characters: the spacing after the last one is
// included, and a NUL among them adds the fixed width like any character.
unsigned short Font::QueryStringWidth(char* text, unsigned short count)
{
    if (text == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return 0;
    }
    unsigned width = 0;
    for (unsigned short i = 0; i < count; ++i)
        width += static_cast<unsigned short>(QueryCharWidth(static_cast<unsigned char>(text[i])) + active.spacing);
    return static_cast<unsigned short>(width);
}
