// sprman_display.cpp - SpriteManager's display family.
//
// Records are decoded straight onto the display canvas, row by row. Each kind
// (normal, solid, shade, shade shown solid, textured) is a small painter that
// says what a run does to the canvas; one row walker serves them all, cutting
// runs to the canvas on the clipped paths and leaving the inside paths their
// historical reach. Reading stops at the end of the set's data area and
// writing at the end of the canvas's memory, so a damaged record or a stale
// association cannot reach outside either buffer. The mirrored kind keeps its
// two historical walks (see below).
#include "sprman_form.h"

#include "tollivex/canvas.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

using namespace sprman;

namespace {

using Sprite = SpriteManager::Sprite;
using Target = SpriteManager::Target;
using Texture = SpriteManager::Texture;

int Mod(int value, int divisor)
{
    const int r = value % divisor;
    return r < 0 ? r + divisor : r;
}

unsigned char Shade(unsigned char pixel, unsigned char change)
{
    const int step = (pixel & 0x0F) + static_cast<signed char>(change);
    return static_cast<unsigned char>((pixel & 0xF0) + std::clamp(step, 0, 15));
}

// Spans are copied and filled inline with overlapping block moves of fixed
// size, which compile to a few vector moves, rather than through a library
// call each: most spans are shorter than a row of a sprite.
template <int kBlock>
inline void CopyBlocks(unsigned char* d, const unsigned char* s, int n)
{
    for (int i = 0; i + kBlock < n; i += kBlock)
        std::memcpy(d + i, s + i, kBlock);
    std::memcpy(d + n - kBlock, s + n - kBlock, kBlock);
}

inline void CopyRun(unsigned char* d, const unsigned char* s, int n)
{
    if (n >= 128) {
        std::memcpy(d, s, size_t(n));
    } else if (n >= 32) {
        CopyBlocks<32>(d, s, n);
    } else if (n >= 16) {
        CopyBlocks<16>(d, s, n);
    } else if (n >= 8) {
        CopyBlocks<8>(d, s, n);
    } else if (n >= 4) {
        std::memcpy(d, s, 4);
        std::memcpy(d + n - 4, s + n - 4, 4);
    } else if (n > 0) {
        d[0] = s[0];
        d[n / 2] = s[n / 2];
        d[n - 1] = s[n - 1];
    }
}

inline void FillRun(unsigned char* d, int n, unsigned char v)
{
    if (n >= 16) {
        unsigned char block[32];
        std::memset(block, v, sizeof block);
        for (int i = 0; i + 32 < n; i += 32)
            std::memcpy(d + i, block, 32);
        if (n >= 32)
            std::memcpy(d + n - 32, block, 32);
        else {
            std::memcpy(d, block, 16);
            std::memcpy(d + n - 16, block, 16);
        }
        return;
    }
    const uint64_t pattern = 0x0101010101010101ull * v;
    if (n >= 8) {
        std::memcpy(d, &pattern, 8);
        std::memcpy(d + n - 8, &pattern, 8);
    } else if (n >= 4) {
        std::memcpy(d, &pattern, 4);
        std::memcpy(d + n - 4, &pattern, 4);
    } else if (n > 0) {
        d[0] = v;
        d[n / 2] = v;
        d[n - 1] = v;
    }
}

// Copy gets a span, its pixels and its canvas column.
struct NormalPainter {
    void Row(int) {}
    void Copy(unsigned char* d, const unsigned char* s, int n, int) { CopyRun(d, s, n); }
};

struct SolidPainter {
    unsigned char color;
    void Row(int) {}
    void Copy(unsigned char* d, const unsigned char*, int n, int) { FillRun(d, n, color); }
};

// Brightness change of what lies beneath: 16 ramps of 16 steps.
struct ShadePainter {
    void Row(int) {}
    void Copy(unsigned char* d, const unsigned char* s, int n, int)
    {
        for (int i = 0; i < n; ++i)
            d[i] = Shade(d[i], s[i]);
    }
};

// A shade sprite's stored changes shown as their source values 0..31.
struct ShadeSolidPainter {
    void Row(int) {}
    void Copy(unsigned char* d, const unsigned char* s, int n, int)
    {
        for (int i = 0; i < n; ++i)
            d[i] = static_cast<unsigned char>(s[i] + 16);
    }
};

// Pixels come from a tiled texture anchored to the canvas: canvas (x, y)
// shows texture (left + (x - originX) mod width, top + (y - originY) mod height).
// Runs arrive left to right, so the texture column is carried along from
// one run to the next instead of divided out each time.
struct TexturePainter {
    const Texture& texture;
    const unsigned char* source = nullptr;
    int lastColumn = 0;  // canvas column of the next pixel after the last run
    int texColumn = -1;  // its texture column; -1: not yet known on this row

    explicit TexturePainter(const Texture& t) : texture(t) {}

    void Row(int canvasRow)
    {
        const int row = texture.top + Mod(canvasRow - texture.originY, texture.height);
        source = texture.canvas->QueryRowAddress(static_cast<unsigned long>(row));
        texColumn = -1;
    }
    int Column(int canvasColumn)
    {
        const int step = canvasColumn - lastColumn;
        if (texColumn < 0 || step < 0 || step >= texture.width)
            return texture.left + Mod(canvasColumn - texture.originX, texture.width);
        int column = texColumn + step;
        if (column >= texture.left + texture.width)
            column -= texture.width;
        return column;
    }
    void Span(unsigned char* d, int n, int canvasColumn)
    {
        int column = Column(canvasColumn);
        const int right = texture.left + texture.width;
        lastColumn = canvasColumn + n;
        if (column + n < right) { // the usual case: no wrap inside the run
            CopyRun(d, source + column, n);
            texColumn = column + n;
            return;
        }
        Wrapped(d, n, column, right);
    }
    void Wrapped(unsigned char* d, int n, int column, int right)
    {
        while (n > 0) {
            const int run = std::min(n, right - column);
            CopyRun(d, source + column, run);
            d += run;
            n -= run;
            column += run;
            if (column == right)
                column = texture.left;
        }
        texColumn = column;
    }
    void Copy(unsigned char* d, const unsigned char*, int n, int column) { Span(d, n, column); }
};

// Rows of the sprite that land on the canvas: [first, end).
struct RowSpan {
    int first;
    int end;
};

// Unclipped, every row, wherever it lands.
RowSpan VisibleRows(const Sprite& s, const Target& t, int y, bool clip = true)
{
    return clip ? RowSpan{std::max(0, -y), std::min(s.height, t.height - y)} : RowSpan{0, s.height};
}

// True when every span of the rows from `row` on, `rowsAfter` rows further,
// lies inside the window: memory is contiguous and rows evenly spaced, so
// the first and the last row decide for all.
bool Fits(const Form& form, const Target& t, int64_t row, int rowsAfter, int x, bool clip)
{
    for (int64_t at : {row, row + int64_t(rowsAfter) * t.rowIncrement}) {
        int left = 0, right = 0;
        t.Window(at, clip, &left, &right);
        if (left > x || right < x + form.widest)
            return false;
    }
    return true;
}

// True when the canvas's columns [0, width) of the rows from `row` on,
// `rowsAfter` rows further, all lie inside the memory.
bool WithinMemory(const Target& t, int64_t row, int rowsAfter)
{
    for (int64_t at : {row, row + int64_t(rowsAfter) * t.rowIncrement}) {
        int left = 0, right = 0;
        t.Window(at, true, &left, &right);
        if (left != 0 || right != t.width)
            return false;
    }
    return true;
}

// The one drawing loop of the normal, solid, shade and textured kinds, over
// the sprite's display form. The sprite's top-left is canvas (x, y).
// Clipped, only the canvas's columns [0, width) and rows [0, height), as
// cached at association, are touched, each span cut to them; unclipped,
// spans land wherever the record takes them, as the fast path always put
// them. Either way nothing is written outside the canvas's memory. The first
// row comes from the canvas's row table, the others one cached row step
// apart; rows the record's data never reached are not drawn, as a walk of
// the record stops there.
template <bool kClip, class Painter>
void DrawForm(const Form& form, const Sprite& s, const Target& t, int x, int y, Painter& paint)
{
    const RowSpan rows = VisibleRows(s, t, y, kClip);
    if (rows.first >= rows.end || form.completeRows < rows.first)
        return;
    const int last = std::min(rows.end, form.enteredRows);
    int64_t row = t.memory.Row(t.canvas, y + rows.first);
    if (last > rows.first && Fits(form, t, row, last - 1 - rows.first, x, kClip)) {
        for (int r = rows.first; r < last; ++r, row += t.rowIncrement) {
            paint.Row(y + r);
            const int64_t at = row + x;
            for (uint32_t k = form.rowSpans[size_t(r)]; k < form.rowSpans[size_t(r) + 1]; ++k) {
                const Form::Span& span = form.spans[k];
                paint.Copy(t.memory.At(at + span.column), &form.pixels[span.pixels], span.length, x + span.column);
            }
        }
        return;
    }
    // Clipped well inside the memory, every row has the canvas's own window.
    const bool canvasWindow = kClip && WithinMemory(t, row, last - 1 - rows.first);
    for (int r = rows.first; r < last; ++r, row += t.rowIncrement) {
        paint.Row(y + r);
        int left = 0, right = t.width;
        if (!canvasWindow)
            t.Window(row, kClip, &left, &right);
        const int lo = left - x; // sprite columns [lo, hi) may be drawn
        const int hi = right - x;
        const int64_t at = row + x;
        for (uint32_t k = form.rowSpans[size_t(r)]; k < form.rowSpans[size_t(r) + 1]; ++k) {
            const Form::Span& span = form.spans[k];
            const int from = std::max<int>(span.column, lo);
            const int to = std::min<int>(span.column + span.length, hi);
            if (from < to)
                paint.Copy(t.memory.At(at + from), &form.pixels[span.pixels + uint32_t(from - span.column)],
                           to - from, x + from);
        }
    }
}

// The inside (unclipped) path or the clipped one.
template <class Painter>
void DrawRows(bool inside, const Form& form, const Sprite& s, const Target& t, int x, int y, Painter& paint)
{
    if (inside)
        DrawForm<false>(form, s, t, x, y, paint);
    else
        DrawForm<true>(form, s, t, x, y, paint);
}

// Mirrored, as the clipped path draws it: each row runs leftwards from column
// x + width, writing a pixel where the column is and then moving left, so
// the image covers x + 1 .. x + width.
void DrawMirrored(const Sprite& s, const Target& t, int x, int y)
{
    const RowSpan rows = VisibleRows(s, t, y);
    if (rows.first >= rows.end)
        return;
    RowReader reader(s.Rows(), s.end);
    unsigned commands = 0;
    for (int r = 0; r < rows.first; ++r) {
        if (!reader.NextRow(&commands) || !reader.SkipCommands(commands))
            return;
    }
    int64_t row = t.memory.Row(t.canvas, y + rows.first);
    for (int r = rows.first; r < rows.end; ++r) {
        if (!reader.NextRow(&commands))
            return;
        int left = 0, right = 0;
        t.Window(row, true, &left, &right);
        int column = x + s.width;
        auto put = [&](unsigned char value) {
            if (column >= left && column < right)
                *t.memory.At(row + column) = value;
            --column;
        };
        for (; commands > 0; --commands) {
            unsigned char command = 0;
            const unsigned char* operands = nullptr;
            if (!reader.NextCommand(&command, &operands))
                return;
            const int n = command & 63;
            switch (command >> 6) {
            case kSkip: column -= n; break;
            case kRepeat:
                for (int i = 0; i < n; ++i)
                    put(operands[0]);
                break;
            case kPair:
                for (int i = 0; i < 2 * n; ++i)
                    put(operands[i & 1]);
                break;
            default:
                for (int i = 0; i < n; ++i)
                    put(operands[i]);
                break;
            }
        }
        if (r + 1 < rows.end)
            row += t.rowIncrement;
    }
}

// Mirrored, as the inside path has always drawn it; games that show mirrored
// sprites rely on its look, so it is kept: a row's right edge is x plus the
// 16-bit value two bytes after its command count; a repeat moves left and
// fills rightwards; a literal piles all its bytes onto one pixel; a pair puts
// c2 then (c1 & 0x0F) leftwards. Like the other fast paths it has no bounds
// of its own: only pixels outside the canvas's memory are dropped.
void DrawMirroredAsStored(const Sprite& s, const Target& t, int x, int y)
{
    const RowSpan rows = VisibleRows(s, t, y, false);
    if (rows.first >= rows.end)
        return;
    const unsigned char* const end = s.end;
    auto byteAt = [end](const unsigned char* q) { return q < end ? unsigned(*q) : 0u; };
    RowReader reader(s.Rows(), end);
    int64_t row = t.memory.Row(t.canvas, y + rows.first);
    for (int r = 0; r < rows.end; ++r) {
        const bool visible = r >= rows.first;
        int left = 0, right = 0;
        t.Window(row, false, &left, &right);
        const unsigned char* const countByte = reader.Position();
        unsigned commands = 0;
        if (!reader.NextRow(&commands))
            return;
        int column = x + int(byteAt(countByte + 2) | byteAt(countByte + 3) << 8);
        auto put = [&](int c, unsigned char value) {
            if (visible && c >= left && c < right)
                *t.memory.At(row + c) = value;
        };
        for (; commands > 0; --commands) {
            unsigned char command = 0;
            const unsigned char* operands = nullptr;
            if (!reader.NextCommand(&command, &operands))
                return;
            const int n = command & 63;
            switch (command >> 6) {
            case kSkip: column -= n; break;
            case kRepeat:
                column -= n;
                for (int i = 0; i < n; ++i)
                    put(column + i, operands[0]);
                break;
            case kPair:
                for (int i = 0; i < n; ++i) {
                    put(column - 1 - 2 * i, operands[1]);
                    put(column - 2 * i, operands[0] & 0x0F);
                }
                column -= 2 * n;
                break;
            default:
                for (int i = 0; i < n; ++i)
                    put(column, operands[i]);
                break;
            }
        }
        if (visible && r + 1 < rows.end)
            row += t.rowIncrement;
    }
}

} // namespace

// ---------------------------------------------------------------------------
// Common checks

// "<what> <set name>, <slot>" in the debug log.
void SpriteManager::ReportDisplaying(const char* what, unsigned char set, unsigned short sprite) const
{
    char name[21];
    std::memcpy(name, datasetNames[set], 20);
    name[20] = '\0';
    char message[64];
    std::snprintf(message, sizeof message, "%s %s, %d", what, name, int(sprite));
    _DebugMessage(message);
}

bool SpriteManager::LookUp(unsigned char set, unsigned short sprite, Sprite* found, bool reportMissing)
{
    // A set that is not in use is reported and drawn all the same: an idle
    // one still holds its sprites. A free one has none and stops below.
    if (!SetInUse(set))
        _AssertMsg(kSource, __LINE__);
    if (sprite >= itemCounts[set] || setTable[set] == nullptr) {
        _AssertMsg(kSource, __LINE__);
        if (reportMissing)
            ReportDisplaying("Displaying sprite", set, sprite);
        return false;
    }
    unsigned char* record = setTable[set][sprite];
    if (record == nullptr) {
        // The caller drew an empty slot; the record is missing, so nothing
        // can be drawn after the report.
        if (reportMissing) {
            ReportDisplaying("Displaying null sprite", set, sprite);
        } else {
            _AssertMsg(kSource, __LINE__);
        }
        return false;
    }
    const unsigned char* end = setData[set] + setDataSize[set];
    if (end - record < std::ptrdiff_t(kHeaderSize)) {
        _AssertMsg(kSource, __LINE__);
        return false;
    }
    found->record = record;
    found->end = end;
    found->type = Get16(record);
    found->width = int(Get16(record + 2));
    found->height = int(Get16(record + 4));
    found->hotX = static_cast<short>(Get16(record + 6));
    found->hotY = static_cast<short>(Get16(record + 8));
    return true;
}

// The geometry is the one cached at association, never refreshed: a canvas
// associated before its first lock draws with the pitch it had then. Only
// the canvas's memory bounds what that reaches.
bool SpriteManager::PrepareTarget(Target* target)
{
    if (displayCanvas == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return false;
    }
    target->canvas = displayCanvas;
    target->width = canvasWidth;
    target->height = canvasHeight;
    target->rowIncrement = canvasRowIncrement;
    target->memory = CanvasMemory(displayCanvas);
    return true;
}

bool SpriteManager::PrepareDisplay(unsigned char set, unsigned short sprite, Sprite* found, Target* target,
                                   bool reportMissing)
{
    if (displayCanvas == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return false;
    }
    return LookUp(set, sprite, found, reportMissing) && PrepareTarget(target);
}

void SpriteManager::ApplyHotSpot(const Sprite& sprite, unsigned long flags, short* x, short* y) const
{
    if (flags & SPRITE_AT_HOTSPOT) {
        *x = static_cast<short>(*x - sprite.hotX);
        *y = static_cast<short>(*y - sprite.hotY);
    }
    if (flags & SPRITE_FROM_HOTSPOT) {
        *x = static_cast<short>(*x + sprite.hotX);
        *y = static_cast<short>(*y + sprite.hotY);
    }
}

bool SpriteManager::Outside(const Sprite& sprite, const Target& target, short x, short y) const
{
    return x >= target.width || y >= target.height || x <= -sprite.width || y <= -sprite.height;
}

// Strict on the right and bottom: a sprite touching those edges goes the
// clipped way, which costs only speed.
bool SpriteManager::Inside(const Sprite& sprite, const Target& target, short x, short y) const
{
    return x < target.width - sprite.width && y < target.height - sprite.height && x >= 0 && y >= 0;
}

namespace {
void CheckType(const Sprite& s, unsigned type)
{
    if (s.type != type)
        _AssertMsg(kSource, __LINE__);
}

void CheckPosition(short x, short y)
{
    if (x < 0 || y < 0)
        _AssertMsg(kSource, __LINE__);
}
} // namespace

// What every inside and clipped path does before it draws: look the record
// up, check its type and, on the inside paths, the position; then apply the
// hot spot (bit 0 only: bit 1 belongs to the dispatchers).
bool SpriteManager::PreparePath(unsigned char set, unsigned short sprite, unsigned short type, bool inside,
                                unsigned long flags, short* x, short* y, Sprite* s, Target* t)
{
    if (!PrepareDisplay(set, sprite, s, t))
        return false;
    CheckType(*s, type);
    if (inside)
        CheckPosition(*x, *y);
    ApplyHotSpot(*s, flags & SPRITE_AT_HOTSPOT, x, y);
    return true;
}

// ---------------------------------------------------------------------------
// Normal

void SpriteManager::DisplaySprite(short x, short y, unsigned char set, unsigned short sprite, unsigned long flags)
{
    Sprite s;
    Target t;
    if (!PrepareDisplay(set, sprite, &s, &t))
        return;
    ApplyHotSpot(s, flags, &x, &y);
    if (Outside(s, t, x, y))
        return;
    CheckType(s, SPRITE_NORMAL);
    NormalPainter paint;
    DrawRows(Inside(s, t, x, y), displayForms->Of(set, sprite, s), s, t, x, y, paint);
}

void SpriteManager::DisplayUnclippedSprite(short x, short y, unsigned char set, unsigned short sprite,
                                           unsigned long flags)
{
    Sprite s;
    Target t;
    if (!PreparePath(set, sprite, SPRITE_NORMAL, true, flags, &x, &y, &s, &t))
        return;
    NormalPainter paint;
    DrawRows(true, displayForms->Of(set, sprite, s), s, t, x, y, paint);
}

void SpriteManager::DisplayClippedSprite(short x, short y, unsigned char set, unsigned short sprite,
                                         unsigned long flags)
{
    Sprite s;
    Target t;
    if (!PreparePath(set, sprite, SPRITE_NORMAL, false, flags, &x, &y, &s, &t))
        return;
    NormalPainter paint;
    DrawRows(false, displayForms->Of(set, sprite, s), s, t, x, y, paint);
}

// ---------------------------------------------------------------------------
// Mirrored

void SpriteManager::DisplaySpriteRev(short x, short y, unsigned char set, unsigned short sprite)
{
    Sprite s;
    Target t;
    if (!PrepareDisplay(set, sprite, &s, &t) || Outside(s, t, x, y))
        return;
    CheckType(s, SPRITE_NORMAL);
    if (Inside(s, t, x, y))
        DrawMirroredAsStored(s, t, x, y);
    else
        DrawMirrored(s, t, x, y);
}

void SpriteManager::DisplayUnclippedSpriteRev(short x, short y, unsigned char set, unsigned short sprite)
{
    Sprite s;
    Target t;
    if (!PreparePath(set, sprite, SPRITE_NORMAL, true, 0, &x, &y, &s, &t))
        return;
    DrawMirroredAsStored(s, t, x, y);
}

void SpriteManager::DisplayClippedSpriteRev(short x, short y, unsigned char set, unsigned short sprite)
{
    Sprite s;
    Target t;
    if (!PreparePath(set, sprite, SPRITE_NORMAL, false, 0, &x, &y, &s, &t))
        return;
    DrawMirrored(s, t, x, y);
}

// ---------------------------------------------------------------------------
// Solid

void SpriteManager::DisplaySpriteSolid(short x, short y, unsigned char set, unsigned short sprite,
                                       unsigned long flags)
{
    Sprite s;
    Target t;
    if (!PrepareDisplay(set, sprite, &s, &t, true))
        return;
    ApplyHotSpot(s, flags, &x, &y);
    if (Outside(s, t, x, y))
        return;
    CheckType(s, SPRITE_NORMAL);
    SolidPainter paint{displayCanvas->QueryDrawColor()};
    DrawRows(Inside(s, t, x, y), displayForms->Of(set, sprite, s), s, t, x, y, paint);
}

void SpriteManager::DisplayUnclippedSpriteSolid(short x, short y, unsigned char set, unsigned short sprite,
                                                unsigned long flags)
{
    Sprite s;
    Target t;
    if (!PreparePath(set, sprite, SPRITE_NORMAL, true, flags, &x, &y, &s, &t))
        return;
    SolidPainter paint{displayCanvas->QueryDrawColor()};
    DrawRows(true, displayForms->Of(set, sprite, s), s, t, x, y, paint);
}

void SpriteManager::DisplayClippedSpriteSolid(short x, short y, unsigned char set, unsigned short sprite,
                                              unsigned long flags)
{
    Sprite s;
    Target t;
    if (!PreparePath(set, sprite, SPRITE_NORMAL, false, flags, &x, &y, &s, &t))
        return;
    SolidPainter paint{displayCanvas->QueryDrawColor()};
    DrawRows(false, displayForms->Of(set, sprite, s), s, t, x, y, paint);
}

// ---------------------------------------------------------------------------
// Shade

void SpriteManager::DisplayTransSprite(short x, short y, unsigned char set, unsigned short sprite)
{
    Sprite s;
    Target t;
    if (!PrepareDisplay(set, sprite, &s, &t) || Outside(s, t, x, y))
        return;
    CheckType(s, SPRITE_SHADE);
    ShadePainter paint;
    DrawRows(Inside(s, t, x, y), displayForms->Of(set, sprite, s), s, t, x, y, paint);
}

void SpriteManager::DisplayUnclippedTransSprite(short x, short y, unsigned char set, unsigned short sprite)
{
    Sprite s;
    Target t;
    if (!PreparePath(set, sprite, SPRITE_SHADE, true, 0, &x, &y, &s, &t))
        return;
    ShadePainter paint;
    DrawRows(true, displayForms->Of(set, sprite, s), s, t, x, y, paint);
}

void SpriteManager::DisplayClippedTransSprite(short x, short y, unsigned char set, unsigned short sprite)
{
    Sprite s;
    Target t;
    if (!PreparePath(set, sprite, SPRITE_SHADE, false, 0, &x, &y, &s, &t))
        return;
    ShadePainter paint;
    DrawRows(false, displayForms->Of(set, sprite, s), s, t, x, y, paint);
}

void SpriteManager::DisplayClippedTransSpriteSolid(short x, short y, unsigned char set, unsigned short sprite)
{
    Sprite s;
    Target t;
    if (!PreparePath(set, sprite, SPRITE_SHADE, false, 0, &x, &y, &s, &t))
        return;
    ShadeSolidPainter paint;
    DrawRows(false, displayForms->Of(set, sprite, s), s, t, x, y, paint);
}

// ---------------------------------------------------------------------------
// Either type

void SpriteManager::DisplayAnySprite(short x, short y, unsigned char set, unsigned short sprite)
{
    Sprite s;
    Target t;
    if (!PrepareDisplay(set, sprite, &s, &t) || Outside(s, t, x, y))
        return;
    if (s.type == SPRITE_NORMAL) {
        NormalPainter paint;
        DrawRows(Inside(s, t, x, y), displayForms->Of(set, sprite, s), s, t, x, y, paint);
    } else if (s.type == SPRITE_SHADE) {
        ShadePainter paint;
        DrawRows(Inside(s, t, x, y), displayForms->Of(set, sprite, s), s, t, x, y, paint);
    }
}

void SpriteManager::DisplayAnySpriteTransSolid(short x, short y, unsigned char set, unsigned short sprite)
{
    Sprite s;
    Target t;
    if (!PrepareDisplay(set, sprite, &s, &t) || Outside(s, t, x, y))
        return;
    if (s.type == SPRITE_NORMAL) {
        NormalPainter paint;
        DrawRows(Inside(s, t, x, y), displayForms->Of(set, sprite, s), s, t, x, y, paint);
    } else if (s.type == SPRITE_SHADE) {
        ShadeSolidPainter paint;
        DrawRows(false, displayForms->Of(set, sprite, s), s, t, x, y, paint); // shown solid, shades have only the clipped path
    }
}

// ---------------------------------------------------------------------------
// Textured

bool SpriteManager::PrepareTexture(Canvas* texture, unsigned short texLeft, unsigned short texTop,
                                   unsigned short texWidth, unsigned short texHeight, short originX, short originY,
                                   Texture* found)
{
    // A texture rectangle that is empty or reaches outside its canvas has no
    // pixels to give: nothing is drawn rather than reading past the canvas.
    if (texture == nullptr || texWidth == 0 || texHeight == 0 || texture->Validate() == 0 ||
        texLeft + texWidth > texture->QueryWidth() || texTop + texHeight > texture->QueryHeight()) {
        _AssertMsg(kSource, __LINE__);
        return false;
    }
    *found = Texture{texture, texLeft, texTop, texWidth, texHeight, originX, originY};
    return true;
}

void SpriteManager::DisplaySpriteTexture(short x, short y, unsigned char set, unsigned short sprite, short originX,
                                         short originY, unsigned short texLeft, unsigned short texTop,
                                         unsigned short texWidth, unsigned short texHeight, Canvas* texture,
                                         unsigned long flags)
{
    Sprite s;
    Target t;
    Texture tex;
    if (!PrepareDisplay(set, sprite, &s, &t, true))
        return;
    ApplyHotSpot(s, flags, &x, &y);
    if (Outside(s, t, x, y))
        return;
    CheckType(s, SPRITE_NORMAL);
    if (!PrepareTexture(texture, texLeft, texTop, texWidth, texHeight, originX, originY, &tex))
        return;
    TexturePainter paint(tex);
    DrawRows(Inside(s, t, x, y), displayForms->Of(set, sprite, s), s, t, x, y, paint);
}

void SpriteManager::DisplayUnclippedSpriteTexture(short x, short y, unsigned char set, unsigned short sprite,
                                                  short originX, short originY, unsigned short texLeft,
                                                  unsigned short texTop, unsigned short texWidth,
                                                  unsigned short texHeight, Canvas* texture, unsigned long flags)
{
    Sprite s;
    Target t;
    if (!PreparePath(set, sprite, SPRITE_NORMAL, true, flags, &x, &y, &s, &t))
        return;
    Texture tex;
    if (!PrepareTexture(texture, texLeft, texTop, texWidth, texHeight, originX, originY, &tex))
        return;
    TexturePainter paint(tex);
    DrawRows(true, displayForms->Of(set, sprite, s), s, t, x, y, paint);
}

void SpriteManager::DisplayClippedSpriteTexture(short x, short y, unsigned char set, unsigned short sprite,
                                                short originX, short originY, unsigned short texLeft,
                                                unsigned short texTop, unsigned short texWidth,
                                                unsigned short texHeight, Canvas* texture, unsigned long flags)
{
    Sprite s;
    Target t;
    if (!PreparePath(set, sprite, SPRITE_NORMAL, false, flags, &x, &y, &s, &t))
        return;
    Texture tex;
    if (!PrepareTexture(texture, texLeft, texTop, texWidth, texHeight, originX, originY, &tex))
        return;
    TexturePainter paint(tex);
    DrawRows(false, displayForms->Of(set, sprite, s), s, t, x, y, paint);
}
