// canvas_memory.h - the bytes a canvas's drawing may touch.
//
// A sub-canvas draws into its parent's pixels, so what bounds a write is not
// the canvas's own width but the pixel memory of the canvas at the root of
// its chain. Routines that keep their historical reach (an unclipped line
// past the far edge, a monochrome PCX row spilling past the width, an encoder
// reading beyond its rectangle, a sprite drawn with the pitch cached before
// the first lock) address pixels here as offsets into that memory: rows
// outside the canvas continue its row step, and only what would leave the
// memory is dropped.
#ifndef TOLLIVEX_CANVAS_MEMORY_H
#define TOLLIVEX_CANVAS_MEMORY_H

#include "tollivex/canvas.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

class CanvasMemory {
public:
    explicit CanvasMemory(const Canvas* canvas)
    {
        if (canvas == nullptr || canvas->buffer == nullptr || canvas->rowOffsets == nullptr || canvas->height == 0)
            return;
        const Canvas* root = canvas;
        while ((root->flags & CANVAS_SUBCANVAS) && root->parent != nullptr)
            root = root->parent;
        if (root->buffer == nullptr || root->rowOffsets == nullptr || root->height == 0)
            return;
        if (root->ownsBuffer == 1) {
            base = root->buffer;
            size = root->size;
        } else {
            // A surface: the rows as its table lays them out, the last one
            // only as wide as the canvas.
            const uint32_t first = root->rowOffsets[0], last = root->rowOffsets[root->height - 1];
            base = root->buffer + std::min(first, last);
            size = int64_t(std::max(first, last)) - std::min(first, last) + root->width;
        }
        origin = Distance(canvas->buffer);
        table = canvas->rowOffsets;
        rows = canvas->height;
        step = canvas->rowIncrement;
    }

    // Where `address` lies, as an offset into the memory (outside: < 0 or >= Size()).
    int64_t Locate(const unsigned char* address) const { return address == nullptr ? -1 : Distance(address); }

    // Pixel (x, y) of the canvas; rows outside it continue its row step.
    int64_t Offset(int64_t x, int64_t y) const
    {
        if (table == nullptr)
            return -1;
        if (y < 0)
            return origin + table[0] + y * step + x;
        if (y >= rows)
            return origin + table[rows - 1] + (y - rows + 1) * step + x;
        return origin + table[y] + x;
    }

    // A row as the canvas's row query gives it, which asserts for a row
    // outside the canvas; past the table the row step goes on.
    int64_t Row(Canvas* canvas, int64_t row) const
    {
        const unsigned char* address = canvas->QueryRowAddress(static_cast<unsigned long>(row));
        return address != nullptr ? Locate(address) : Offset(0, row);
    }

    int64_t Size() const { return size; }
    int64_t Step() const { return step; }
    bool Holds(int64_t at) const { return at >= 0 && at < size; }
    unsigned char* At(int64_t at) const { return base + at; }

    // [from, from + count) cut to the memory: the first and one past the last.
    void Cut(int64_t* from, int64_t* end) const
    {
        *from = std::max<int64_t>(*from, 0);
        *end = std::min<int64_t>(*end, size);
    }

    void Fill(int64_t from, int64_t count, unsigned char value) const
    {
        if (count == 1) { // most runs of a busy picture are single pixels
            if (Holds(from))
                base[from] = value;
            return;
        }
        int64_t end = from + count;
        Cut(&from, &end);
        if (end > from)
            std::memset(base + from, value, size_t(end - from));
    }

private:
    int64_t Distance(const unsigned char* address) const
    {
        return int64_t(std::ptrdiff_t(uintptr_t(address) - uintptr_t(base)));
    }

    unsigned char* base = nullptr;
    int64_t size = 0;
    int64_t origin = 0; // the canvas's buffer
    const uint32_t* table = nullptr;
    int64_t rows = 0;
    int64_t step = 0;
};

#endif
