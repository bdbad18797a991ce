// canvas.cpp - Canvas: memory canvases, sub-canvases and their primitives.
//
// Every routine reaches pixels through the row-offset table, so one code path
// serves top-down, bottom-up and pitched canvases. Fills are one byte fill per
// row and copies one byte copy per row. The row table and owned pixels come
// from the runtime heap. The unclipped routines assert their arguments and
// draw as asked; only the memory of the canvas at the root of a sub-canvas
// chain bounds them. Display canvases (CANVAS_DIRECTDRAW) hand their
// surfaces, locking and presentation to canvas_display.cpp.
#include "tollivex/canvas.h"

#include "canvas_memory.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace {
const char* const kSource = "canvas";

void Assert(unsigned long line)
{
    _AssertMsg(kSource, line);
}

// One allocation even for an empty request, so "no memory" is the only
// failure and a zero-sized canvas still constructs.
template <typename T>
T* AllocateArray(uint32_t count)
{
    return static_cast<T*>(std::malloc(sizeof(T) * (count == 0 ? 1 : count)));
}

struct Span {
    int lo;
    int hi;
};

// The two ends of a clipped line along an axis of `extent` pixels. A low end
// below 1 snaps to 0 and a high end at or past the last pixel snaps to it;
// the result may be empty (hi < lo).
Span ClipSpan(int a, int b, int extent)
{
    Span span{std::min(a, b), std::max(a, b)};
    if (span.lo < 1)
        span.lo = 0;
    if (span.hi >= extent - 1)
        span.hi = extent - 1;
    return span;
}
} // namespace

Canvas::Canvas(unsigned short requestedWidth, unsigned short requestedHeight, int topDownOrder, unsigned long kind)
    : errorCode(0), width(0), height(0), size(0), buffer(nullptr), rowOffsets(nullptr), rowIncrement(0),
      flags(static_cast<uint32_t>(kind)), topDown(topDownOrder), ownsBuffer(0), parent(nullptr), originX(0),
      originY(0), primarySurface(nullptr), backSurface(nullptr), clipper(nullptr), surfaceDesc{},
      ddPalette(nullptr), systemVariables(nullptr), drawColor(0)
{
    const uint32_t w = (uint32_t(requestedWidth) + 3) & ~uint32_t(3);
    if (w > 0xFFFF) {
        // The rounded width would not fit the 16-bit width field.
        errorCode = ERR_CANVAS_CREATE;
        return;
    }
    width = static_cast<uint16_t>(w);
    height = requestedHeight;
    size = w * height;
    rowIncrement = topDown != 0 ? int32_t(w) : -int32_t(w);

    rowOffsets = AllocateArray<uint32_t>(height);
    if (rowOffsets == nullptr) {
        buffer = nullptr;
        width = height = 0;
        errorCode = ERR_CANVAS_CREATE;
        return;
    }
    std::memset(rowOffsets, 0, sizeof(uint32_t) * height);

    if (flags & CANVAS_MEMORY) {
        ownsBuffer = 1;
        buffer = AllocateArray<unsigned char>(size);
        if (buffer == nullptr) {
            std::free(rowOffsets);
            rowOffsets = nullptr;
            errorCode = ERR_CANVAS_CREATE;
            return;
        }
        std::memset(buffer, 0, size);
        BuildRowTable(w, height, topDown != 0);
        return;
    }
    if ((flags & CANVAS_DIRECTDRAW) && !CreateDisplaySurfaces()) {
        std::free(rowOffsets);
        rowOffsets = nullptr;
        errorCode = ERR_CANVAS_CREATE;
        Assert(__LINE__);
    }
}

Canvas::Canvas(unsigned short x, unsigned short y, unsigned short requestedWidth, unsigned short requestedHeight,
               Canvas* parentCanvas)
    : errorCode(0), width(0), height(0), size(0), buffer(nullptr), rowOffsets(nullptr), rowIncrement(0),
      flags(CANVAS_SUBCANVAS), topDown(0), ownsBuffer(0), parent(parentCanvas), originX(0), originY(0),
      primarySurface(nullptr), backSurface(nullptr), clipper(nullptr), surfaceDesc{}, ddPalette(nullptr),
      systemVariables(nullptr), drawColor(0)
{
    if (parent == nullptr) {
        Assert(__LINE__);
        errorCode = ERR_CANVAS_CREATE;
        return;
    }
    topDown = parent->topDown;
    if (x >= parent->width || y >= parent->height) {
        _DebugMessage("Tried to create a sub-canvas out of bounds.");
        Assert(__LINE__);
        errorCode = ERR_CANVAS_CREATE;
        return;
    }
    width = std::min<uint16_t>(requestedWidth, uint16_t(parent->width - x));
    height = std::min<uint16_t>(requestedHeight, uint16_t(parent->height - y));
    size = uint32_t(width) * height;
    originX = x;
    originY = y;

    rowOffsets = AllocateArray<uint32_t>(height);
    if (rowOffsets == nullptr) {
        _DebugMessage("Failed to allocate sub canvas row offsets");
        buffer = nullptr;
        width = height = 0;
        errorCode = ERR_CANVAS_CREATE;
        return;
    }
    std::memset(rowOffsets, 0, sizeof(uint32_t) * height);
}

Canvas::~Canvas()
{
    if (IsDisplay())
        ReleaseDisplaySurfaces();
    std::free(rowOffsets);
    rowOffsets = nullptr;
    if (!(flags & CANVAS_SUBCANVAS) && buffer != nullptr && ownsBuffer == 1)
        std::free(buffer);
    buffer = nullptr;
}

int Canvas::Validate()
{
    return buffer != nullptr && width != 0 && height != 0 && size != 0 ? 1 : 0;
}

ERRORSTATUS Canvas::Lock(int* restored, unsigned long /*reserved*/)
{
    if (IsDisplay())
        return LockDisplay(restored);
    if (!(flags & CANVAS_SUBCANVAS) || parent == nullptr || rowOffsets == nullptr)
        return ERR_OK;

    buffer = parent->buffer;
    if (rowIncrement != parent->rowIncrement) {
        rowIncrement = parent->rowIncrement;
        // A parent whose construction failed has no table to look into.
        if (parent->rowOffsets == nullptr)
            return ERR_OK;
        for (uint32_t i = 0; i < height; ++i)
            rowOffsets[i] = parent->rowOffsets[originY + i] + originX;
    }
    return ERR_OK;
}

void Canvas::Unlock()
{
    if (IsDisplay())
        UnlockDisplay();
}

unsigned short Canvas::QueryWidth()
{
    return width;
}

unsigned short Canvas::QueryHeight()
{
    return height;
}

long Canvas::QueryRowIncrement()
{
    return rowIncrement;
}

unsigned char* Canvas::QueryRowAddress(unsigned long row)
{
    if (row >= height) {
        Assert(399);
        return nullptr; // no such row: a null address rather than a stray one
    }
    if (buffer == nullptr || rowOffsets == nullptr)
        return nullptr;
    return buffer + rowOffsets[row];
}

void Canvas::SetDrawColor(unsigned char color)
{
    drawColor = color;
}

unsigned char Canvas::QueryDrawColor()
{
    return drawColor;
}

void Canvas::CalculateRowOffsets(short increment, short rows, int topDownOrder)
{
    if (rowOffsets == nullptr)
        return;
    // Never write more entries than the table holds.
    const int32_t count = std::min<int32_t>(std::max<int32_t>(rows, 0), height);
    BuildRowTable(uint32_t(std::abs(int32_t(increment))), uint32_t(count), topDownOrder != 0);
}

void Canvas::BuildRowTable(uint32_t step, uint32_t rows, bool topDownOrder)
{
    if (rows == 0)
        return;
    uint32_t offset = topDownOrder ? 0 : step * (rows - 1);
    for (uint32_t i = 0; i < rows; ++i) {
        rowOffsets[i] = offset;
        offset = topDownOrder ? offset + step : offset - step;
    }
}

bool Canvas::Drawable() const
{
    return buffer != nullptr && rowOffsets != nullptr;
}

unsigned char* Canvas::Pixel(int x, int y) const
{
    return buffer + rowOffsets[y] + x;
}

void Canvas::Clear(unsigned char color)
{
    if (!Drawable())
        return;
    if (flags & CANVAS_SUBCANVAS) {
        for (uint32_t y = 0; y < height; ++y)
            std::memset(Pixel(0, int(y)), color, width);
        return;
    }
    std::memset(buffer, color, size);
}

void Canvas::PutPixel(short x, short y)
{
    if (!Drawable() || x < 0 || x >= width || y < 0 || y >= height)
        return;
    *Pixel(x, y) = drawColor;
}

unsigned long Canvas::GetPixel(short x, short y)
{
    if (!Drawable() || x < 0 || x >= width || y < 0 || y >= height)
        return 0;
    return *Pixel(x, y);
}

void Canvas::HorizLine(short x1, short x2, short y)
{
    const Span span = ClipSpan(x1, x2, width);
    const int count = span.hi - span.lo + 1;
    if (!Drawable() || y < 0 || y >= height || count <= 0)
        return;
    std::memset(Pixel(span.lo, y), drawColor, size_t(count));
}

void Canvas::VertLine(short x, short y1, short y2)
{
    if (!Drawable() || x < 0 || x >= width)
        return;
    const Span span = ClipSpan(y1, y2, height);
    for (int y = span.lo; y <= span.hi; ++y)
        *Pixel(x, y) = drawColor;
}

// The vertical sides assume y1 < y2; with the corners reversed they reach one
// row past each horizontal side. Games draw with either order and expect it.
void Canvas::Rectangle(short x1, short y1, short x2, short y2)
{
    if (x1 == x2 || y1 == y2)
        return;
    HorizLine(x1, x2, y1);
    HorizLine(x1, x2, y2);
    VertLine(x1, short(y1 + 1), short(y2 - 1));
    VertLine(x2, short(y1 + 1), short(y2 - 1));
}

void Canvas::XORHorizLine(short x1, short x2, short y)
{
    if (!Drawable() || y < 0 || y >= height || std::min(x1, x2) >= width || std::max(x1, x2) < 0)
        return;
    const Span span = ClipSpan(x1, x2, width);
    unsigned char* p = Pixel(0, y);
    for (int x = span.lo; x <= span.hi; ++x)
        p[x] ^= drawColor;
}

void Canvas::XORVertLine(short x, short y1, short y2)
{
    if (!Drawable() || x < 0 || x >= width || std::min(y1, y2) >= height || std::max(y1, y2) < 0)
        return;
    const Span span = ClipSpan(y1, y2, height);
    for (int y = span.lo; y <= span.hi; ++y)
        *Pixel(x, y) ^= drawColor;
}

void Canvas::XORRectangle(short x1, short y1, short x2, short y2)
{
    if (x1 == x2 || y1 == y2)
        return;
    XORHorizLine(x1, x2, y1);
    XORHorizLine(x1, x2, y2);
    XORVertLine(x1, short(y1 + 1), short(y2 - 1));
    XORVertLine(x2, short(y1 + 1), short(y2 - 1));
}

// The unclipped routines check what they always checked and then draw as
// asked: a line past the far edge runs on into the next row or, on a
// sub-canvas, into the parent. Only the canvas's memory bounds them.
void Canvas::HorizLineUnclipped(short x1, short x2, short y)
{
    if (x1 < 0 || x2 < 0 || y < 0)
        Assert(1033);
    if (x1 >= width || x2 >= width || y >= height)
        Assert(1034);
    const CanvasMemory memory(this);
    memory.Fill(memory.Offset(std::min(x1, x2), y), std::abs(x2 - x1) + 1, drawColor);
}

void Canvas::VertLineUnclipped(short x, short y1, short y2)
{
    if (x < 0 || y1 < 0 || y2 < 0)
        Assert(1069);
    if (x >= width || y1 >= height || y2 >= height)
        Assert(1070);
    const CanvasMemory memory(this);
    for (int y = std::min(y1, y2); y <= std::max(y1, y2); ++y)
        memory.Fill(memory.Offset(x, y), 1, drawColor);
}

void Canvas::FilledRectUnclipped(short x1, short y1, short x2, short y2)
{
    if (x1 < 0 || y1 < 0 || x2 < 0 || y2 < 0)
        Assert(1654);
    const CanvasMemory memory(this);
    const int left = std::min(x1, x2);
    const int count = std::abs(x2 - x1) + 1;
    for (int y = std::min(y1, y2); y <= std::max(y1, y2); ++y)
        memory.Fill(memory.Offset(left, y), count, drawColor);
}

void Canvas::FilledRectClipped(short x1, short y1, short x2, short y2)
{
    if (!Drawable())
        return;
    int left = std::min(x1, x2);
    int right = std::max(x1, x2);
    int top = std::min(y1, y2);
    int bottom = std::max(y1, y2);
    if (right < 0 || bottom < 0 || left >= width || top >= height)
        return;
    left = std::max(left, 0);
    top = std::max(top, 0);
    right = std::min(right, width - 1);
    bottom = std::min(bottom, height - 1);
    const size_t count = size_t(right - left + 1);
    // Whole rows lying back to back are one block of memory: one fill.
    const bool evenRows = Pixel(0, bottom) - Pixel(0, top) == std::ptrdiff_t(bottom - top) * rowIncrement;
    if (count == width && std::abs(rowIncrement) == int32_t(width) && evenRows) {
        std::memset(std::min(Pixel(0, top), Pixel(0, bottom)), drawColor, count * size_t(bottom - top + 1));
        return;
    }
    for (int y = top; y <= bottom; ++y)
        std::memset(Pixel(left, y), drawColor, count);
}

namespace {
// Draws `count` pixels from offset `at`, stepping `step` bytes, and returns
// where the next pixel would go.
int64_t Run(const CanvasMemory& memory, int64_t at, std::ptrdiff_t step, int count, unsigned char color)
{
    for (int i = 0; i < count; ++i, at += step)
        memory.Fill(at, 1, color);
    return at;
}
} // namespace

// Run-length slice line: one division decides the run lengths, and each
// minor-axis step draws a whole run. The special cases (straight and
// diagonal lines) leave out the far endpoint; games are drawn around that.
void Canvas::Line(short x1, short y1, short x2, short y2)
{
    if (x1 < 0 || y1 < 0 || x2 < 0 || y2 < 0)
        Assert(1133);
    if (x1 >= width || x2 >= width || y1 >= height || y2 >= height)
        Assert(1134);
    if (y1 > y2) {
        std::swap(x1, x2);
        std::swap(y1, y2);
    }

    const CanvasMemory memory(this);
    int64_t p = memory.Offset(x1, y1);
    const std::ptrdiff_t row = rowIncrement;
    int dx = x2 - x1;
    std::ptrdiff_t xStep = 1;
    if (dx < 0) {
        dx = -dx;
        xStep = -1;
    }
    const int dy = y2 - y1;

    if (dx == 0) {
        Run(memory, p, row, dy, drawColor);
        return;
    }
    if (dy == 0) {
        Run(memory, p, xStep, dx, drawColor);
        return;
    }
    if (dx == dy) {
        Run(memory, p, row + xStep, dx, drawColor);
        return;
    }

    // Major axis: the one with the longer delta; runs go along it.
    const bool xMajor = dx > dy;
    const int major = xMajor ? dx : dy;
    const int minor = xMajor ? dy : dx;
    const std::ptrdiff_t alongRun = xMajor ? xStep : row;
    const std::ptrdiff_t betweenRuns = xMajor ? row : xStep;

    const int whole = major / minor;
    const int adjUp = (major % minor) * 2;
    const int adjDown = minor * 2;
    int error = (major % minor) - minor * 2;
    int initial = whole / 2 + 1;
    const int final = initial;
    if (adjUp == 0 && (whole & 1) == 0)
        --initial;
    if (whole & 1)
        error += minor;

    p = Run(memory, p, alongRun, initial, drawColor) + betweenRuns;
    for (int i = 0; i < minor - 1; ++i) {
        int run = whole;
        error += adjUp;
        if (error > 0) {
            ++run;
            error -= adjDown;
        }
        p = Run(memory, p, alongRun, run, drawColor) + betweenRuns;
    }
    Run(memory, p, alongRun, final, drawColor);
}

namespace {
// Whole rows lying back to back in both canvases, the same way round, are
// one block of memory each: copied with one move when both lie wholly
// inside their memory.
bool CopyBlock(const CanvasMemory& from, const CanvasMemory& to, int srcX, int srcY, int dstX, int dstY, int w,
               int h)
{
    if (h == 0 || from.Step() != to.Step() || std::abs(from.Step()) != w)
        return false;
    const auto evenRows = [h](const CanvasMemory& memory, int x, int y) {
        return memory.Offset(x, y + h - 1) - memory.Offset(x, y) == int64_t(h - 1) * memory.Step();
    };
    if (!evenRows(from, srcX, srcY) || !evenRows(to, dstX, dstY))
        return false;
    const int64_t src = std::min(from.Offset(srcX, srcY), from.Offset(srcX, srcY + h - 1));
    const int64_t dst = std::min(to.Offset(dstX, dstY), to.Offset(dstX, dstY + h - 1));
    const int64_t bytes = int64_t(w) * h;
    if (src < 0 || dst < 0 || src + bytes > from.Size() || dst + bytes > to.Size())
        return false;
    std::memmove(to.At(dst), from.At(src), size_t(bytes));
    return true;
}
} // namespace

void Canvas::CopyDirtyRec(short srcXIn, short srcYIn, short dstXIn, short dstYIn, short widthIn, short heightIn,
                          Canvas* destination, unsigned short clipFlags)
{
    if (destination == nullptr) {
        Assert(__LINE__);
        return;
    }
    int srcX = srcXIn, srcY = srcYIn, dstX = dstXIn, dstY = dstYIn;
    int w = widthIn, h = heightIn;
    const int dstWidth = destination->width;
    const int dstHeight = destination->height;

    if (clipFlags & 1) {
        if (srcX >= width || srcY >= height || srcX + w < 0 || srcY + h < 0)
            return;
        if (srcX < 0) {
            w += srcX;
            dstX -= srcX;
            srcX = 0;
        }
        if (srcX + w > width)
            w = width - srcX;
        if (srcY < 0) {
            h += srcY;
            dstY -= srcY;
            srcY = 0;
        }
        if (srcY + h > height)
            h = height - srcY;
    }
    if (clipFlags & 2) {
        if (dstX >= dstWidth || dstY >= dstHeight || dstX + w < 0 || dstY + h < 0)
            return;
        // The source position stays where it was: callers that clip only
        // against the destination rely on the unshifted source.
        if (dstX < 0) {
            w += dstX;
            dstX = 0;
        }
        if (dstY < 0) {
            h += dstY;
            dstY = 0;
        }
        if (dstX + w > dstWidth)
            w = dstWidth - dstX;
        if (dstY + h > dstHeight)
            h = dstHeight - dstY;
    }

    const auto check = [](bool condition, unsigned long line) {
        if (!condition)
            Assert(line);
    };
    check(srcX >= 0 && srcX < width, 1451);
    check(srcX + w <= width, 1452);
    check(srcY >= 0 && srcY < height, 1453);
    check(srcY + h <= height, 1454);
    check(dstX >= 0 && dstX < dstWidth, 1456);
    check(dstX + w <= dstWidth, 1457);
    check(dstY >= 0 && dstY < dstHeight, 1458);
    check(dstY + h <= dstHeight, 1459);
    if (w < 0 || h < 0)
        return;
    // A rectangle the assertions named is copied all the same, as far as
    // both canvases' memory goes.
    const CanvasMemory from(this), to(destination);
    if (CopyBlock(from, to, srcX, srcY, dstX, dstY, w, h))
        return;
    for (int i = 0; i < h; ++i) {
        const int64_t src = from.Offset(srcX, srcY + i), dst = to.Offset(dstX, dstY + i);
        const int64_t lo = std::max<int64_t>({0, -src, -dst});
        const int64_t hi = std::min<int64_t>({w, from.Size() - src, to.Size() - dst});
        if (hi > lo)
            std::memmove(to.At(dst + lo), from.At(src + lo), size_t(hi - lo));
    }
}
