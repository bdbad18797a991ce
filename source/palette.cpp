// palette.cpp - Palette: layouts, palette files and palette blocks.
//
// Conversions work in place: expanding triples to four-byte entries walks
// from the last entry down so no second buffer is needed. Loading a palette
// file copies it from its first byte, header included, so the colours land
// shifted by the 14 header bytes; saved games and tools depend on that, so it
// stays. Save blocks come from the MemManager and go back through
// ReleaseSaveBlock.
#include "tollivex/palette.h"

#include "tollivex/memman.h"

#include <algorithm>
#include <cstring>

namespace {
const char* const kSource = "palette";
const unsigned long kColorBytes = 1024;
const unsigned long kTripleBytes = 768;
const unsigned long kHeaderBytes = 14;
const unsigned short kVersion = 0x0101;
const char kMagic[] = "QORPAL";

const unsigned char kDefault16[16][3] = {
    {0, 0, 0},      {0, 0, 171},    {0, 171, 0},    {0, 171, 171},  {171, 0, 0},     {171, 0, 171},
    {171, 85, 0},   {171, 171, 171}, {85, 85, 85},  {85, 85, 255},  {85, 255, 85},   {85, 255, 255},
    {255, 85, 85},  {255, 85, 255}, {255, 255, 85}, {255, 255, 255},
};

unsigned short ReadU16(const unsigned char* p)
{
    return static_cast<unsigned short>(p[0] | p[1] << 8);
}

uint32_t ReadU32(const unsigned char* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}
} // namespace

Palette::Palette()
    : buffer(nullptr), bufferSize(0), entryFlag(0), errorCode(0), memManager(nullptr), libManager(nullptr),
      colors{}, format(PALFMT_NONE)
{
}

// The flag starts at zero here too: an undefined fourth byte would end up in
// the display's palette entries.
Palette::Palette(MemManager* memory)
    : buffer(nullptr), bufferSize(0), entryFlag(0), errorCode(0), memManager(memory), libManager(nullptr),
      colors{}, format(PALFMT_NONE)
{
    if (memory == nullptr)
        _AssertMsg(kSource, 140);
}

Palette::~Palette()
{
    buffer = nullptr;
    bufferSize = 0;
    format = PALFMT_NONE;
}

ERRORSTATUS Palette::AssociateBuffer(unsigned char* data, unsigned long size)
{
    if (size == 0) {
        errorCode = ERR_PAL_EMPTY_BUFFER;
        return ERR_FAILURE;
    }
    buffer = data;
    bufferSize = static_cast<uint32_t>(std::min<unsigned long>(size, 0xFFFFFFFFul));
    return ERR_OK;
}

void Palette::DissociateBuffer()
{
    buffer = nullptr;
    bufferSize = 0;
}

ERRORSTATUS Palette::Load()
{
    if (buffer == nullptr) {
        errorCode = ERR_PAL_NO_BUFFER;
        return ERR_FAILURE;
    }
    // Shorter than a header cannot be a palette file.
    if (bufferSize < kHeaderBytes || std::memcmp(buffer, kMagic, 6) != 0) {
        errorCode = ERR_PAL_NOT_PALETTE;
        return ERR_FAILURE;
    }
    if (ReadU16(buffer + 6) > kVersion) {
        errorCode = ERR_PAL_VERSION;
        return ERR_FAILURE;
    }
    // The header's size is trusted only as far as both buffers reach.
    const uint32_t count = std::min<uint32_t>({ReadU32(buffer + 10), uint32_t(kColorBytes), bufferSize});
    std::memset(colors, 0, kColorBytes);
    std::memcpy(colors, buffer, count);
    if (buffer[8] != 0) {
        format = PALFMT_NONE;
        return ERR_FAILURE;
    }
    format = PALFMT_RGB8;
    return ERR_OK;
}

ERRORSTATUS Palette::Save(FILE* file)
{
    if (file == nullptr) {
        _AssertMsg(kSource, __LINE__);
        errorCode = ERR_PAL_WRITE;
        return ERR_FAILURE;
    }
    Convert(PALFMT_RGB8);
    unsigned char header[kHeaderBytes] = {'Q', 'O', 'R', 'P', 'A', 'L', kVersion & 0xFF, kVersion >> 8, 0, 255,
                                          kTripleBytes & 0xFF, kTripleBytes >> 8, 0, 0};
    if (std::fwrite(header, 1, kHeaderBytes, file) != kHeaderBytes ||
        std::fwrite(colors, 1, kTripleBytes, file) != kTripleBytes) {
        errorCode = ERR_PAL_WRITE;
        return ERR_FAILURE;
    }
    return ERR_OK;
}

void Palette::Default16()
{
    std::memcpy(colors, kDefault16, sizeof kDefault16);
    format = PALFMT_RGB8;
}

void Palette::Black()
{
    std::memset(colors, 0, kColorBytes);
    format = PALFMT_RGB8;
    std::memset(colors + 255 * 3, 255, 3);
}

void Palette::ExpandTriples(bool blueFirst)
{
    for (int i = 255; i >= 0; --i) {
        const unsigned char r = colors[i * 3], g = colors[i * 3 + 1], b = colors[i * 3 + 2];
        unsigned char* entry = colors + i * 4;
        entry[0] = blueFirst ? b : r;
        entry[1] = g;
        entry[2] = blueFirst ? r : b;
        entry[3] = entryFlag;
    }
}

void Palette::Convert(unsigned long target)
{
    if (target == format)
        return;
    switch (target) {
    case PALFMT_NONE:
        return;
    case PALFMT_RGB8:
        if (format == PALFMT_BGRX || format == PALFMT_RGBX) {
            const bool blueFirst = format == PALFMT_BGRX;
            // Upward: triple i never overtakes entry i + 1.
            for (int i = 0; i < 256; ++i) {
                const unsigned char* entry = colors + i * 4;
                const unsigned char r = blueFirst ? entry[2] : entry[0], g = entry[1], b = blueFirst ? entry[0] : entry[2];
                colors[i * 3] = r;
                colors[i * 3 + 1] = g;
                colors[i * 3 + 2] = b;
            }
        } else if (format == PALFMT_RGB6) {
            for (unsigned long i = 0; i < kTripleBytes; ++i)
                colors[i] = static_cast<unsigned char>(colors[i] << 2);
        }
        format = PALFMT_RGB8;
        return;
    case PALFMT_RGB6:
        if (format == PALFMT_BGRX || format == PALFMT_RGBX)
            Convert(PALFMT_RGB8);
        if (format == PALFMT_RGB8) {
            for (unsigned long i = 0; i < kTripleBytes; ++i)
                colors[i] = static_cast<unsigned char>(colors[i] >> 2);
        }
        format = PALFMT_RGB6;
        return;
    case PALFMT_BGRX:
    case PALFMT_RGBX:
        if (format == PALFMT_RGB6 || format == PALFMT_BGRX || format == PALFMT_RGBX)
            Convert(PALFMT_RGB8);
        if (format == PALFMT_RGB8)
            ExpandTriples(target == PALFMT_BGRX);
        format = static_cast<uint16_t>(target);
        return;
    default:
        _AssertMsg(kSource, 498);
        return;
    }
}

void Palette::SetValuesFromRaw8(unsigned char* triples, unsigned long first, unsigned long count)
{
    if (count == 0 || first > 256 || count > 256 - first) {
        _AssertMsg(kSource, 516);
        return; // the range would leave the table
    }
    if (triples == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    const unsigned short previous = format;
    Convert(PALFMT_RGB8);
    std::memcpy(colors + first * 3, triples, count * 3);
    Convert(previous);
}

ERRORSTATUS Palette::PaletteFromBlock(char* name, unsigned char* block, unsigned long size)
{
    if (name == nullptr || block == nullptr || size == 0)
        _AssertMsg(kSource, 548);
    if (block == nullptr || size < 2) {
        errorCode = ERR_PAL_BAD_BLOCK;
        return ERR_FAILURE;
    }
    const unsigned short stored = ReadU16(block);
    if (stored == PALFMT_RGB8 || stored == PALFMT_RGB6) {
        const unsigned long dataSize = size - 2;
        if (dataSize > kColorBytes) {
            errorCode = ERR_PAL_BAD_BLOCK;
            return ERR_FAILURE;
        }
        format = stored;
        std::memset(colors, 0, kColorBytes);
        std::memcpy(colors, block + 2, dataSize);
        return ERR_OK;
    }
    if (stored == PALFMT_BGRX || stored == PALFMT_RGBX) {
        // Sizes are checked before anything changes, so a refused block
        // leaves the palette exactly as it was.
        if (size < 3 || size - 3 > kColorBytes) {
            errorCode = ERR_PAL_BAD_BLOCK;
            return ERR_FAILURE;
        }
        format = PALFMT_RGB8;
        SetFlag(block[2]);
        std::memset(colors, 0, kColorBytes);
        std::memcpy(colors, block + 3, size - 3);
        Convert(stored);
        return ERR_OK;
    }
    errorCode = ERR_PAL_BAD_BLOCK;
    return ERR_FAILURE;
}

ERRORSTATUS Palette::RequestSaveBlock(unsigned char** block, unsigned long* size)
{
    if (format == PALFMT_NONE) {
        errorCode = ERR_PAL_NO_FORMAT;
        return ERR_FAILURE;
    }
    if (block == nullptr || size == nullptr || memManager == nullptr) {
        _AssertMsg(kSource, __LINE__);
        errorCode = ERR_NO_MEMORY;
        return ERR_FAILURE;
    }
    const bool entries = format == PALFMT_BGRX || format == PALFMT_RGBX;
    const unsigned long length = entries ? 771 : 770;
    void* memory = nullptr;
    if (memManager->Allocate(&memory, length) == ERR_FAILURE || memory == nullptr) {
        errorCode = ERR_NO_MEMORY;
        return ERR_FAILURE;
    }
    auto* out = static_cast<unsigned char*>(memory);
    const unsigned short held = format;
    out[0] = static_cast<unsigned char>(held & 0xFF);
    out[1] = static_cast<unsigned char>(held >> 8);
    if (entries) {
        Convert(PALFMT_RGB8);
        out[2] = entryFlag;
        std::memcpy(out + 3, colors, kTripleBytes);
        Convert(held);
    } else {
        std::memcpy(out + 2, colors, kTripleBytes);
    }
    *block = out;
    *size = length;
    return ERR_OK;
}

ERRORSTATUS Palette::ReleaseSaveBlock(unsigned char** block)
{
    if (block == nullptr || memManager == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_OK;
    }
    void* memory = *block;
    memManager->Free(&memory);
    *block = static_cast<unsigned char*>(memory);
    return ERR_OK;
}

void Palette::SetMemManager(MemManager* memory)
{
    memManager = memory;
}

void Palette::SetLibManager(Library* library)
{
    libManager = library;
}

void Palette::SetFlag(unsigned char flag)
{
    entryFlag = flag;
}

unsigned char Palette::QueryFlag()
{
    return entryFlag;
}

void Palette::CopyPaletteColors(Palette* source)
{
    if (source == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    const unsigned short previous = format;
    std::memcpy(colors, source->colors, kColorBytes);
    entryFlag = source->entryFlag;
    format = source->format;
    Convert(previous);
}

// Indexes are not checked against 255; those past the end of the colour
// table read zero and write nothing.
void Palette::QueryRGB(unsigned long index, unsigned char* red, unsigned char* green, unsigned char* blue)
{
    Convert(PALFMT_RGB8);
    const bool inside = index < kColorBytes / 3;
    const unsigned char* triple = colors + (inside ? index * 3 : 0);
    if (red != nullptr)
        *red = inside ? triple[0] : 0;
    if (green != nullptr)
        *green = inside ? triple[1] : 0;
    if (blue != nullptr)
        *blue = inside ? triple[2] : 0;
}

void Palette::SetRGB(unsigned long index, unsigned char red, unsigned char green, unsigned char blue)
{
    Convert(PALFMT_RGB8);
    if (index >= kColorBytes / 3)
        return;
    colors[index * 3] = red;
    colors[index * 3 + 1] = green;
    colors[index * 3 + 2] = blue;
}

unsigned short Palette::QueryFormat()
{
    return format;
}

unsigned char* Palette::QueryColors()
{
    return colors;
}
