// sprman_internal.h - what the SpriteManager source files share.
//
// The record header layout, little-endian field access, and a bounded reader
// of the row encoding for the walkers that are not on the drawing fast path
// (hit test, remapping). Every reader stops at the end of the set's data area,
// so a damaged record can be misdrawn but never read past its buffer.
#ifndef TOLLIVEX_SPRMAN_INTERNAL_H
#define TOLLIVEX_SPRMAN_INTERNAL_H

#include "canvas_memory.h"
#include "tollivex/canvas.h"
#include "tollivex/sprman.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace sprman {

const char* const kSource = "sprman";
const unsigned long kHeaderSize = 10;
const unsigned long kDefaultEncodeBufferSize = 0x20000;

// Command kinds, the top two bits of a command byte.
enum : unsigned { kLiteral = 0, kPair = 1, kRepeat = 2, kSkip = 3 };

inline unsigned Get16(const unsigned char* p)
{
    return unsigned(p[0]) | unsigned(p[1]) << 8;
}

inline void Put16(unsigned char* p, unsigned value)
{
    p[0] = static_cast<unsigned char>(value);
    p[1] = static_cast<unsigned char>(value >> 8);
}

inline uint32_t Get32(const unsigned char* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

inline void Put32(unsigned char* p, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<unsigned char>(value >> (8 * i));
}

// Bytes needed after a command byte.
inline unsigned OperandBytes(unsigned char command)
{
    const unsigned n = command & 63;
    switch (command >> 6) {
    case kSkip: return 0;
    case kRepeat: return 1;
    case kPair: return 2;
    default: return n;
    }
}

// Pixels a command covers or skips.
inline int CommandPixels(unsigned char command)
{
    const int n = command & 63;
    return (command >> 6) == kPair ? 2 * n : n;
}

// Walks rows and commands over a known number of bytes; a truncated row or
// command ends the walk.
class RowReader {
public:
    RowReader(const unsigned char* rows, size_t available) : p(rows), left(available) {}
    RowReader(const unsigned char* rows, const unsigned char* end)
        : p(rows), left(end > rows ? size_t(end - rows) : 0)
    {
    }

    bool NextRow(unsigned* commands)
    {
        if (left == 0)
            return false;
        *commands = *p++;
        --left;
        return true;
    }

    // The command byte and a pointer to its operands, which are stepped over.
    bool NextCommand(unsigned char* command, const unsigned char** operands)
    {
        if (left == 0)
            return false;
        *command = *p++;
        --left;
        const unsigned need = OperandBytes(*command);
        if (left < need)
            return false;
        *operands = p;
        p += need;
        left -= need;
        return true;
    }

    // Steps over a row's commands; false when the data ends inside it.
    bool SkipCommands(unsigned commands)
    {
        unsigned char command = 0;
        const unsigned char* operands = nullptr;
        for (; commands > 0; --commands) {
            if (!NextCommand(&command, &operands))
                return false;
        }
        return true;
    }

    const unsigned char* Position() const { return p; }

private:
    const unsigned char* p;
    size_t left;
};

} // namespace sprman

// A record found in a set: where it is, how far its set's bytes go, and its
// header fields.
struct SpriteManager::Sprite {
    unsigned char* record;
    const unsigned char* end;
    unsigned type;
    int width;
    int height;
    int hotX;
    int hotY;

    const unsigned char* Rows() const { return record + sprman::kHeaderSize; }
};

// The display canvas with the geometry cached at association, and the
// memory its drawing is held to.
struct SpriteManager::Target {
    Canvas* canvas = nullptr;
    int width = 0;
    int height = 0;
    long rowIncrement = 0;
    CanvasMemory memory{nullptr};

    // The columns [lo, hi) of a canvas row starting at offset `row` that lie
    // inside the memory and, when clipping, inside the cached width.
    void Window(int64_t row, bool clip, int* lo, int* hi) const
    {
        const int64_t first = clip ? 0 : -kReach, end = clip ? width : kReach;
        *lo = int(std::clamp<int64_t>(-row, first, end));
        *hi = int(std::clamp<int64_t>(memory.Size() - row, first, end));
    }

    // Further than any sprite row reaches from its start.
    static const int64_t kReach = 1 << 20;
};

// A rectangle of a texture canvas and the anchor of its tiling.
struct SpriteManager::Texture {
    Canvas* canvas;
    int left;
    int top;
    int width;
    int height;
    int originX;
    int originY;
};

#endif
