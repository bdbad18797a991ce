// pcx4.cpp - PcxPainter, and the module's PCX writer.
//
// Decoding works run by run, each run placed with one byte fill. Every read
// is held to the associated buffer, so truncated or lying files paint less,
// never more: a safety the format never had, kept because files come from
// anywhere. Corrupt run data is not detected: a line ends by its byte count
// alone, and a run crossing the end of a line is finished in that line.
// Writes go where the painter has always put them (a monochrome row past the
// width or below the canvas, an unclipped row wherever x puts it), held only
// to the canvas's memory.
#include "tollivex/pcx4.h"

#include "canvas_memory.h"
#include "pcx4_writer.h"
#include "tollivex/canvas.h"
#include "tollivex/palette.h"

#include <algorithm>
#include <cstring>

namespace {
const char* const kSource = "pcx4";
const uint32_t kHeaderSize = 128;
const uint32_t kPaletteTail = 769; // marker byte and 768 palette bytes
const unsigned char kPaletteMarker = 12;
const uint32_t kPcxTag = 0x32584350; // "PCX2"

unsigned short ReadU16(const unsigned char* p)
{
    return static_cast<unsigned short>(p[0] | p[1] << 8);
}

} // namespace

PcxPainter::PcxPainter() : bytesPerLine(0)
{
    Reset();
}

PcxPainter::PcxPainter(unsigned char* data, unsigned long size) : bytesPerLine(0)
{
    Reset();
    AssociateBuffer(data, size);
}

PcxPainter::PcxPainter(unsigned char* data, unsigned long size, Canvas* target) : bytesPerLine(0)
{
    Reset();
    AssociateBuffer(data, size);
    AssociateCanvas(target);
}

PcxPainter::~PcxPainter() = default;

void PcxPainter::Reset()
{
    monoWhite = 255;
    monoBlack = 0;
    std::memset(palette, 0, sizeof palette);
    buffer = nullptr;
    bufferSize = 0;
    readPosition = 0;
    canvas = nullptr;
    errorCode = 0;
    type = kPcxTag;
}

bool PcxPainter::HasPalette() const
{
    return buffer != nullptr && buffer[3] == 8 && bufferSize >= kPaletteTail &&
           buffer[bufferSize - kPaletteTail] == kPaletteMarker;
}

int PcxPainter::ImageRows() const
{
    return int(ReadU16(buffer + 10)) - int(ReadU16(buffer + 6)) + 1;
}

ERRORSTATUS PcxPainter::AssociateBuffer(unsigned char* data, unsigned long size)
{
    // A missing buffer has no bytes at all.
    if (data == nullptr || size < kHeaderSize + 1) {
        errorCode = ERR_PCX_TOO_SHORT;
        return ERR_FAILURE;
    }
    if (data[0] != 10) {
        errorCode = ERR_PCX_NOT_PCX;
        return ERR_FAILURE;
    }
    if (data[1] >= 6 || (data[3] != 8 && data[3] != 1)) {
        errorCode = ERR_PCX_UNSUPPORTED;
        return ERR_FAILURE;
    }
    bytesPerLine = ReadU16(data + 66);
    buffer = data;
    bufferSize = size > 0xFFFFFFFFul ? 0xFFFFFFFFu : static_cast<uint32_t>(size);
    readPosition = kHeaderSize;
    if (HasPalette())
        std::memcpy(palette, buffer + bufferSize - 768, 768);
    return ERR_OK;
}

ERRORSTATUS PcxPainter::QueryBitmapStats(_BITMAPSTATS* stats)
{
    if (buffer == nullptr) {
        _AssertMsg(kSource, 487);
        return ERR_FAILURE;
    }
    if (stats == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    stats->width = static_cast<uint16_t>(ReadU16(buffer + 8) - ReadU16(buffer + 4) + 1);
    stats->height = static_cast<uint16_t>(ReadU16(buffer + 10) - ReadU16(buffer + 6) + 1);
    stats->bitsPerPixel = buffer[3];
    return ERR_OK;
}

ERRORSTATUS PcxPainter::PaintCanvas(int updatePalette, int clipped)
{
    if (buffer == nullptr || canvas == nullptr) {
        errorCode = ERR_PCX_NO_INPUT;
        return ERR_FAILURE;
    }
    if (!canvas->Validate()) {
        errorCode = ERR_PCX_BAD_CANVAS;
        return ERR_FAILURE;
    }
    if (clipped == 1)
        UnpackBuffer();
    else
        UnpackBufferUnclipped();
    if (updatePalette == 1 && HasPalette())
        std::memcpy(palette, buffer + bufferSize - 768, 768);
    return ERR_OK;
}

// Hands each decoded run to sink(offset in line, value, count) until the
// line has its bytes or the buffer ends. A run marker without its value
// byte ends the data.
template <typename Sink>
void PcxPainter::DecodeLine(Sink&& sink)
{
    // Locals, because every pixel store may alias the members as far as
    // the compiler knows.
    const unsigned char* const data = buffer;
    const uint32_t end = bufferSize;
    const uint32_t lineBytes = bytesPerLine;
    uint32_t at = readPosition;
    uint32_t produced = 0;
    while (produced < lineBytes && at < end) {
        unsigned char value = data[at++];
        uint32_t count = 1;
        if ((value & 0xC0) == 0xC0) {
            if (at >= end)
                break;
            count = value & 0x3F;
            value = data[at++];
        }
        sink(produced, value, count);
        produced += count;
    }
    readPosition = at;
}

void PcxPainter::ReadPcxLine8(unsigned char* row, short width, int draw)
{
    const CanvasMemory memory(canvas);
    PaintLine8(memory, memory.Locate(row), width, draw == 1, true);
}

void PcxPainter::ReadPcxLine8Unclipped(unsigned char* row, short width, int draw)
{
    const CanvasMemory memory(canvas);
    PaintLine8(memory, memory.Locate(row), width, draw == 1, false);
}

void PcxPainter::ReadPcxLine1(unsigned char* row, short width)
{
    const CanvasMemory memory(canvas);
    PaintLine1(memory, memory.Locate(row), width);
}

// Byte n of the line lands at column x + n: clipped, only inside [0, width);
// unclipped, wherever that is.
void PcxPainter::PaintLine8(const CanvasMemory& memory, int64_t row, short width, bool draw, bool clip)
{
    if (buffer == nullptr)
        return;
    const int64_t left = x;
    DecodeLine([&](uint32_t offset, unsigned char value, uint32_t count) {
        if (!draw)
            return;
        int64_t from = left + offset, end = from + count;
        if (clip) {
            from = std::max<int64_t>(from, 0);
            end = std::min<int64_t>(end, width);
        }
        if (end > from)
            memory.Fill(row + from, end - from, value);
    });
}

// Each byte is a group of 8 pixels, most significant bit first, counted from
// column 0 whatever x is: x only cuts groups off on the left. A group that
// starts inside the width is written whole, up to 7 pixels past it.
void PcxPainter::PaintLine1(const CanvasMemory& memory, int64_t row, short width)
{
    if (buffer == nullptr)
        return;
    const long cutOff = x;
    DecodeLine([&](uint32_t offset, unsigned char value, uint32_t count) {
        for (uint32_t n = 0; n < count; ++n) {
            const long column = (long(offset) + long(n)) * 8;
            if (column >= width)
                return;
            if (column < cutOff)
                continue;
            for (int bit = 0; bit < 8; ++bit)
                memory.Fill(row + column + bit, 1, (value & (0x80 >> bit)) ? monoWhite : monoBlack);
        }
    });
}

void PcxPainter::UnpackBuffer()
{
    PaintRows(true);
}

void PcxPainter::UnpackBufferUnclipped()
{
    PaintRows(false);
}

// Both paths start on the canvas row of the image's top edge, or row 0 when
// that edge lies above the canvas. Clipped 8-bit rows skip what lies above
// the canvas and stop at its bottom; every other row is painted one row step
// further down, however far that goes.
void PcxPainter::PaintRows(bool clipped)
{
    if (buffer == nullptr || canvas == nullptr)
        return;
    const CanvasMemory memory(canvas);
    int64_t row = memory.Row(canvas, static_cast<unsigned long>(y >= 0 ? y : 0));
    const int64_t step = canvas->QueryRowIncrement();
    const short width = static_cast<short>(std::min<int>(canvas->QueryWidth(), 0x7FFF));
    const int rows = ImageRows();
    const int height = canvas->QueryHeight();
    readPosition = kHeaderSize;
    for (int i = 0; i < rows; ++i) {
        if (!clipped) {
            PaintLine8(memory, row, width, true, false);
        } else if (buffer[3] == 1) {
            PaintLine1(memory, row, width);
        } else if (y + i >= height) {
            break;
        } else if (y + i < 0) {
            PaintLine8(memory, row, width, false, true);
            continue;
        } else {
            PaintLine8(memory, row, width, true, true);
        }
        row += step;
    }
}

// --- writer -------------------------------------------------------------

namespace {
bool Put(FILE* file, const unsigned char* bytes, size_t count)
{
    return std::fwrite(bytes, 1, count, file) == count;
}

// One row, run-length encoded. A run counts the positions whose byte equals
// the next one, so the run's last byte starts the next step; the last
// comparison reads the byte just past the row, which is whatever follows it
// in the canvas's memory (nothing past the memory's end equals a pixel).
bool PutRow(FILE* file, const CanvasMemory& memory, int64_t row, int width)
{
    auto at = [&](int i) { return memory.Holds(row + i) ? int(*memory.At(row + i)) : -1; };
    unsigned char out[2];
    int i = 0;
    while (i < width) {
        int n = 0;
        while (n < 63 && i + n < width && at(i + n) == at(i + n + 1))
            ++n;
        const unsigned char value = static_cast<unsigned char>(at(i));
        if (n > 0) {
            out[0] = static_cast<unsigned char>(0xC0 | n);
            out[1] = value;
            if (!Put(file, out, 2))
                return false;
            i += n;
            continue;
        }
        out[0] = 0xC1;
        out[1] = value;
        if ((value & 0xC0) == 0xC0 ? !Put(file, out, 2) : !Put(file, &value, 1))
            return false;
        ++i;
    }
    return true;
}
} // namespace

unsigned short WritePcxCanvas(FILE* file, Canvas* canvas, Palette* colours, int showProgress)
{
    if (file == nullptr || canvas == nullptr || colours == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_DISK_WRITE;
    }
    const int width = canvas->QueryWidth();
    const int height = canvas->QueryHeight();
    unsigned char header[kHeaderSize] = {};
    header[0] = 10;
    header[1] = 5;
    header[2] = 1;
    header[3] = 8;
    header[8] = static_cast<unsigned char>((width - 1) & 0xFF);
    header[9] = static_cast<unsigned char>(((width - 1) >> 8) & 0xFF);
    header[10] = static_cast<unsigned char>((height - 1) & 0xFF);
    header[11] = static_cast<unsigned char>(((height - 1) >> 8) & 0xFF);
    header[65] = 1;
    header[66] = static_cast<unsigned char>(width & 0xFF);
    header[67] = static_cast<unsigned char>(width >> 8);
    header[68] = 2;
    if (!Put(file, header, kHeaderSize))
        return ERR_DISK_WRITE;

    const CanvasMemory memory(canvas);
    for (int row = 0; row < height && memory.Holds(memory.Offset(0, row)); ++row) {
        if (!PutRow(file, memory, memory.Offset(0, row), width))
            return ERR_DISK_WRITE;
        if (showProgress)
            std::printf("\rWriting Line %d of %d", row + 1, height);
    }

    // Read the colours from a copy so the caller's palette keeps its layout.
    Palette triples;
    triples.CopyPaletteColors(colours);
    triples.Convert(PALFMT_RGB8);
    const unsigned char marker = kPaletteMarker;
    if (!Put(file, &marker, 1) || !Put(file, triples.QueryColors(), 768))
        return ERR_DISK_WRITE;
    return 0;
}
