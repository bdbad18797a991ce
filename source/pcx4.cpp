// pcx4.cpp - PcxPainter, and the module's PCX writer.
//
// Decoding works run by run: a run is clipped against the row once and
// filled with one byte fill, so clipped painting costs little more than
// unclipped. Every read is held to the associated buffer, so truncated or
// lying files paint less, never more. Corrupt run data is not detected: a
// line ends by its byte count alone, and a run crossing the end of a line is
// finished in that line. Writes never leave the canvas rows, even on the
// unclipped path, which differs from the clipped one only where the two
// place rows (a negative y) and in painting 1-bit images as raw bytes.
#include "tollivex/pcx4.h"

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

// Fills columns [from, from + count) of a row `width` wide, dropping what
// falls outside it.
void FillClipped(unsigned char* row, int width, long from, long count, unsigned char value)
{
    if (count == 1) { // most bytes of a busy image are single pixels
        if (row != nullptr && from >= 0 && from < width)
            row[from] = value;
        return;
    }
    const long lo = std::max<long>(from, 0);
    const long hi = std::min<long>(from + count, width);
    if (row != nullptr && hi > lo)
        std::memset(row + lo, value, size_t(hi - lo));
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
        errorCode = ERR_PCX_NO_INPUT;
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
    if (buffer == nullptr)
        return;
    const long left = x;
    DecodeLine([&](uint32_t offset, unsigned char value, uint32_t count) {
        if (draw != 0)
            FillClipped(row, width, left + long(offset), long(count), value);
    });
}

// Lands each byte at row[x + n] like the clipped reader; bytes that would
// leave the row are dropped all the same, since past the row lies another
// row or memory that is not the canvas's.
void PcxPainter::ReadPcxLine8Unclipped(unsigned char* row, short width, int draw)
{
    ReadPcxLine8(row, width, draw);
}

// Each byte is a group of 8 pixels, most significant bit first, counted from
// column 0 whatever x is: x only cuts groups off on the left. A group that
// straddles the right edge is cut there rather than spilling past the row.
void PcxPainter::ReadPcxLine1(unsigned char* row, short width)
{
    if (buffer == nullptr)
        return;
    const long cutOff = x;
    DecodeLine([&](uint32_t offset, unsigned char value, uint32_t count) {
        for (uint32_t n = 0; n < count; ++n) {
            const long column = (long(offset) + long(n)) * 8;
            if (column >= width)
                return;
            if (column < cutOff || row == nullptr)
                continue;
            const long end = std::min<long>(column + 8, width);
            for (long c = column; c < end; ++c)
                row[c] = (value & (0x80 >> (c - column))) ? monoWhite : monoBlack;
        }
    });
}

// Both painting paths start at the first data byte and on the canvas row of
// the image's top edge, or row 0 when that edge lies above the canvas.
bool PcxPainter::StartUnpacking(int* target, short* width)
{
    if (buffer == nullptr || canvas == nullptr)
        return false;
    *target = y >= 0 ? y : 0;
    if (canvas->QueryRowAddress(static_cast<unsigned long>(*target)) == nullptr)
        return false;
    *width = static_cast<short>(std::min<int>(canvas->QueryWidth(), 0x7FFF));
    readPosition = kHeaderSize;
    return true;
}

void PcxPainter::UnpackBuffer()
{
    int target = 0;
    short width = 0;
    if (!StartUnpacking(&target, &width))
        return;
    const int rows = ImageRows();
    const int height = canvas->QueryHeight();

    if (buffer[3] == 8) {
        for (int i = 0; i < rows; ++i) {
            if (y + i >= height)
                break;
            if (y + i < 0) {
                ReadPcxLine8(nullptr, width, 0);
                continue;
            }
            ReadPcxLine8(canvas->QueryRowAddress(static_cast<unsigned long>(target++)), width, 1);
        }
        return;
    }
    // Monochrome rows go down from the start row one by one; those that
    // would fall below the canvas are not painted.
    for (int i = 0; i < rows && target < height; ++i)
        ReadPcxLine1(canvas->QueryRowAddress(static_cast<unsigned long>(target++)), width);
}

void PcxPainter::UnpackBufferUnclipped()
{
    int target = 0;
    short width = 0;
    if (!StartUnpacking(&target, &width))
        return;
    const int rows = ImageRows();
    const int height = canvas->QueryHeight();
    for (int i = 0; i < rows && target < height; ++i)
        ReadPcxLine8Unclipped(canvas->QueryRowAddress(static_cast<unsigned long>(target++)), width, 1);
}

// --- writer -------------------------------------------------------------

namespace {
bool Put(FILE* file, const unsigned char* bytes, size_t count)
{
    return std::fwrite(bytes, 1, count, file) == count;
}

// One row, run-length encoded. A run counts the positions whose byte equals
// the next one, so the run's last byte starts the next step. The comparison
// stops at the row's last byte rather than reading the byte after the row.
bool PutRow(FILE* file, const unsigned char* row, int width)
{
    unsigned char out[2];
    int i = 0;
    while (i < width) {
        int n = 0;
        while (n < 63 && i + n + 1 < width && row[i + n] == row[i + n + 1])
            ++n;
        if (n > 0) {
            out[0] = static_cast<unsigned char>(0xC0 | n);
            out[1] = row[i];
            if (!Put(file, out, 2))
                return false;
            i += n;
            continue;
        }
        if ((row[i] & 0xC0) == 0xC0) {
            out[0] = 0xC1;
            out[1] = row[i];
            if (!Put(file, out, 2))
                return false;
        } else if (!Put(file, row + i, 1)) {
            return false;
        }
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

    for (int row = 0; row < height; ++row) {
        const unsigned char* pixels = canvas->QueryRowAddress(static_cast<unsigned long>(row));
        if (pixels == nullptr)
            break;
        if (!PutRow(file, pixels, width))
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
