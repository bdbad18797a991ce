// sprman_encode.cpp - cutting sprites out of the encode canvas.
//
// Both encoders share one frame: a scratch buffer, the 10-byte header, one
// encoded row per source row, trailing empty rows dropped, and the record
// stored in its slot. They differ in how a row becomes commands. Existing
// data files hold exactly what these produce, so the choice and order of
// commands, the run caps and the buffer checks are kept as they have always
// been. The rectangle is not clipped against the encode canvas: what lies
// beyond its edges is read as it lies in memory (the next row's bytes, or the
// parent's around a sub-canvas). Only pixels outside the canvas's memory
// count as transparent (and match no other pixel), and a command that would
// not fit the scratch buffer fails like an overlong literal does.
#include "sprman_internal.h"

#include "tollivex/canvas.h"
#include "tollivex/memman.h"

#include <algorithm>
#include <vector>

using namespace sprman;

namespace {

const int kNoPixel = -1;     // a source position outside the encode canvas
const int kEmptyRow = -1;    // row result: nothing opaque, stored as one 0 byte

// The scratch buffer; every byte is checked against its size.
class Output {
public:
    Output(unsigned char* buffer, unsigned long capacity) : buffer(buffer), capacity(capacity) {}

    bool Put(int value)
    {
        if (used >= capacity)
            return false;
        buffer[used++] = static_cast<unsigned char>(value);
        return true;
    }
    // An overlong literal fails as soon as one of its bytes fills the buffer.
    bool PutLiteral(int value) { return Put(value) && used < capacity; }
    void Patch(unsigned long at, int value) { buffer[at] = static_cast<unsigned char>(value); }
    unsigned long Used() const { return used; }

private:
    unsigned char* buffer;
    unsigned long capacity;
    unsigned long used = 0;
};

// One source row as ints, with room for the peeks past its right edge.
struct SourceRow {
    std::vector<int> pixels;
    int width = 0;

    void Load(Canvas* canvas, const CanvasMemory& memory, int x, int y, int w)
    {
        width = w;
        pixels.assign(size_t(w) + 4, kNoPixel);
        const int64_t row = memory.Row(canvas, static_cast<unsigned long>(y)) + x;
        for (int i = 0; i < w + 4; ++i) {
            if (memory.Holds(row + i))
                pixels[size_t(i)] = *memory.At(row + i);
        }
    }
    int operator[](int i) const { return pixels[size_t(i)]; }
};

class NormalRowEncoder {
public:
    explicit NormalRowEncoder(const unsigned char* table) : table(table) {}

    bool Transparent(int v) const { return v == kNoPixel || table[v] != 0; }

    // Returns kEmptyRow, 0, or the error code that ends the encoding.
    int Encode(const SourceRow& px, Output& out, int& extent) const
    {
        const int width = px.width;
        int opaque = 0;
        while (opaque < width && Transparent(px[opaque]))
            ++opaque;
        if (opaque == width)
            return out.Put(0) ? kEmptyRow : ERR_SPR_ENCODE_FULL;

        const unsigned long countAt = out.Used();
        if (!out.Put(0))
            return ERR_SPR_ENCODE_FULL;
        unsigned commands = 0;
        int pos = 0;
        while (pos < width) {
            int skip = 0;
            while (skip < 63 && pos + skip < width && Transparent(px[pos + skip]))
                ++skip;
            if (pos + skip >= width)
                break; // trailing transparent pixels need no command
            if (skip > 0) {
                if (!out.Put(0xC0 | skip))
                    return ERR_SPR_ENCODE_FULL;
                pos += skip;
            } else {
                const int value = px[pos];
                int run = 1;
                while (run < 62 && pos + run < width && px[pos + run] == value)
                    ++run;
                if (run >= 2) {
                    if (!out.Put(0x80 | run) || !out.Put(value))
                        return ERR_SPR_ENCODE_FULL;
                    pos += run;
                } else {
                    // A pair is only tried when both its pixels are transparent,
                    // which an opaque pixel here never is: normal sprites hold no
                    // pair commands. A literal stops in front of the second of two
                    // equal pixels, which then starts the next command.
                    const unsigned long lengthAt = out.Used();
                    if (!out.Put(0))
                        return ERR_SPR_ENCODE_FULL;
                    int length = 0;
                    while (pos < width && length < 63 && !Transparent(px[pos]) &&
                           (length == 0 || px[pos] != px[pos - 1])) {
                        if (!out.PutLiteral(px[pos]))
                            return ERR_SPR_ENCODE_FULL;
                        ++length;
                        ++pos;
                    }
                    out.Patch(lengthAt, length);
                }
                extent = std::max(extent, pos);
            }
            if (++commands > 255)
                return ERR_SPR_ENCODE_COMMANDS;
        }
        out.Patch(countAt, int(commands));
        return 0;
    }

private:
    const unsigned char* table;
};

// Shade sources: 0..31 carry a brightness change of (value & 31) - 16, 32 and
// above are transparent. Runs compare the low five bits only, and may look
// one or two pixels past the rectangle's right edge.
class ShadeRowEncoder {
public:
    static bool Carries(int v) { return v >= 0 && v < 32; }
    static bool Same(int a, int b) { return a != kNoPixel && b != kNoPixel && (a & 31) == (b & 31); }
    static int Change(int v) { return ((v & 31) - 16) & 0xFF; }

    int Encode(const SourceRow& px, Output& out, int& extent) const
    {
        const int width = px.width;
        int shaded = 0;
        while (shaded < width && !Carries(px[shaded]))
            ++shaded;
        if (shaded == width)
            return out.Put(0) ? kEmptyRow : ERR_SPR_ENCODE_FULL;

        const unsigned long countAt = out.Used();
        if (!out.Put(0))
            return ERR_SPR_ENCODE_FULL;
        unsigned commands = 0;
        int pos = 0;
        while (pos < width) {
            int skip = 0;
            while (skip < 63 && pos + skip < width && !Carries(px[pos + skip]))
                ++skip;
            if (pos + skip >= width)
                break;
            if (skip > 0) {
                if (!out.Put(0xC0 | skip))
                    return ERR_SPR_ENCODE_FULL;
                pos += skip;
            } else if (int status = EncodeRun(px, out, pos)) {
                return status;
            } else {
                extent = std::max(extent, pos);
            }
            if (++commands > 255)
                return ERR_SPR_ENCODE_COMMANDS;
        }
        out.Patch(countAt, int(commands));
        return 0;
    }

private:
    // A repeat, a pair run or a literal starting at a shading pixel.
    static int EncodeRun(const SourceRow& px, Output& out, int& pos)
    {
        const int width = px.width;
        int same = 0;
        while (same < 62 && pos + same < width && Carries(px[pos + same]) && Same(px[pos + same], px[pos + same + 1]))
            ++same;
        if (same >= 1) {
            if (!out.Put(0x80 | (same + 1)) || !out.Put(Change(px[pos + same])))
                return ERR_SPR_ENCODE_FULL;
            pos += same + 1;
            return 0;
        }

        int pairs = 0;
        int at = pos;
        while (at < width - 1 && Carries(px[at]) && Carries(px[at + 1]) && Same(px[at], px[at + 2]) &&
               Same(px[at + 1], px[at + 3]) && pairs < 62) {
            ++pairs;
            at += 2;
        }
        if (pairs >= 1) {
            if (!out.Put(0x40 | (pairs + 1)) || !out.Put(Change(px[at])) || !out.Put(Change(px[at + 1])))
                return ERR_SPR_ENCODE_FULL;
            pos = at + 2;
            return 0;
        }

        const unsigned long lengthAt = out.Used();
        if (!out.Put(0))
            return ERR_SPR_ENCODE_FULL;
        int length = 0;
        while (pos < width && Carries(px[pos]) && !Same(px[pos], px[pos + 1]) && length < 63) {
            if (!out.PutLiteral(Change(px[pos])))
                return ERR_SPR_ENCODE_FULL;
            ++length;
            ++pos;
        }
        out.Patch(lengthAt, length);
        return 0;
    }
};

} // namespace

void SpriteManager::SetEncodeBufferSize(unsigned long size)
{
    if (size <= 1000)
        _AssertMsg(kSource, __LINE__);
    encodeBufferSize = size;
}

unsigned long SpriteManager::QueryEncodeBufferSize()
{
    return encodeBufferSize;
}

void SpriteManager::AssociateEncodeCanvas(Canvas* canvas)
{
    if (canvas == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    encodeCanvas = canvas;
}

void SpriteManager::DissociateEncodeCanvas()
{
    encodeCanvas = nullptr;
}

namespace {

struct EncodeRequest {
    unsigned type;
    unsigned short x, y, width, height;
    short hotX, hotY;
};

// Runs the row encoder over the rectangle into `buffer`; on success returns 0
// and the record's length, else the error code.
template <class RowEncoder>
int EncodeRecord(Canvas* canvas, const EncodeRequest& request, const RowEncoder& rows, unsigned char* buffer,
                 unsigned long capacity, unsigned long* length)
{
    Output out(buffer, capacity);
    const unsigned header[5] = {request.type, request.width, request.height, static_cast<unsigned short>(request.hotX),
                                static_cast<unsigned short>(request.hotY)};
    for (unsigned field : header) {
        if (!out.Put(field & 0xFF) || !out.Put(field >> 8))
            return ERR_SPR_ENCODE_FULL;
    }
    int extent = 0;
    unsigned long storedEnd = kHeaderSize;
    int storedRows = 0;
    SourceRow px;
    const CanvasMemory memory(canvas);
    for (int r = 0; r < request.height; ++r) {
        px.Load(canvas, memory, request.x, request.y + r, request.width);
        const int status = rows.Encode(px, out, extent);
        if (status == kEmptyRow)
            continue;
        if (status != 0)
            return status;
        storedEnd = out.Used();
        storedRows = r + 1;
    }
    // Trailing empty rows are dropped; leading and inner ones stay as 0 bytes.
    Put16(buffer + 2, unsigned(extent));
    Put16(buffer + 4, unsigned(storedRows));
    *length = storedEnd;
    return 0;
}

} // namespace

template <class RowEncoder>
static ERRORSTATUS EncodeInto(SpriteManager& manager, unsigned short* errorCode, MemManager* memory,
                              unsigned long bufferSize, Canvas* canvas, unsigned char set, unsigned short sprite,
                              const EncodeRequest& request, const RowEncoder& rows)
{
    void* scratch = nullptr;
    if (memory->Allocate(&scratch, bufferSize) == ERR_FAILURE) {
        *errorCode = ERR_SPR_NO_MEMORY;
        return ERR_FAILURE;
    }
    auto* buffer = static_cast<unsigned char*>(scratch);
    unsigned long length = 0;
    const int status = EncodeRecord(canvas, request, rows, buffer, bufferSize, &length);
    if (status != 0) {
        memory->Free(&scratch);
        *errorCode = static_cast<unsigned short>(status);
        return ERR_FAILURE;
    }
    manager.EraseSprite(set, sprite);
    const ERRORSTATUS stored = manager.SetSprite(buffer, length, set, sprite);
    // The scratch buffer goes back on either outcome; keeping it after a
    // failed store would only leak it.
    memory->Free(&scratch);
    return stored;
}

// What both encoders need before they read a pixel: their table, an encode
// canvas, a memory manager, and a slot of a set in use.
bool SpriteManager::CanEncode(const unsigned char* table, unsigned char set, unsigned short sprite,
                              unsigned short width, unsigned short height)
{
    if (table == nullptr || encodeCanvas == nullptr || memManager == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return false;
    }
    if (width == 0 || height == 0)
        _AssertMsg(kSource, __LINE__);
    if (!SetInUse(set)) {
        errorCode = ERR_SPR_BAD_SET;
        return false;
    }
    if (sprite >= itemCounts[set]) {
        errorCode = ERR_SPR_BAD_SPRITE;
        return false;
    }
    if (encodeCanvas->Validate() == 0) {
        _AssertMsg(kSource, __LINE__);
        return false;
    }
    return true;
}

ERRORSTATUS SpriteManager::EncodeSprite(unsigned char set, unsigned short sprite, unsigned short x, unsigned short y,
                                        unsigned short width, unsigned short height, short hotX, short hotY,
                                        unsigned char* transparent)
{
    if (!CanEncode(transparent, set, sprite, width, height))
        return ERR_FAILURE;
    const EncodeRequest request{SPRITE_NORMAL, x, y, width, height, hotX, hotY};
    return EncodeInto(*this, &errorCode, memManager, encodeBufferSize, encodeCanvas, set, sprite, request,
                      NormalRowEncoder(transparent));
}

namespace {
// The hot spot given in canvas coordinates, made relative and kept inside
// the rectangle.
short ClampHotSpot(short canvasValue, unsigned short origin, unsigned short size)
{
    int value = static_cast<short>(canvasValue - origin);
    if (value > int(size) - 1)
        value = int(size) - 1;
    return static_cast<short>(std::max(value, 0));
}
} // namespace

ERRORSTATUS SpriteManager::EncodeTransSprite(unsigned char set, unsigned short sprite, unsigned short x,
                                             unsigned short y, unsigned short width, unsigned short height,
                                             short hotX, short hotY, unsigned char* table)
{
    if (!CanEncode(table, set, sprite, width, height))
        return ERR_FAILURE;
    const EncodeRequest request{SPRITE_SHADE, x, y, width, height, ClampHotSpot(hotX, x, width),
                                ClampHotSpot(hotY, y, height)};
    return EncodeInto(*this, &errorCode, memManager, encodeBufferSize, encodeCanvas, set, sprite, request,
                      ShadeRowEncoder());
}
