// palette.h - 256 colours in one of four in-memory layouts.
//
// The display wants four-byte entries, files and library blocks hold 8-bit
// triples and VGA-style data 6-bit ones; the palette converts between them
// in place on demand. Single-colour access converts to 8-bit triples and
// leaves the palette so. Saved palette files start with "QORPAL"; palette
// blocks are 770 bytes (triples) or 771 bytes (entry layouts, with the flag).
#ifndef TOLLIVEX_PALETTE_H
#define TOLLIVEX_PALETTE_H

#include "tvxcommon.h"

#include <cstdio>

class MemManager;
class Library;

// Layout codes of Palette's colour data.
enum : unsigned short {
    PALFMT_NONE = 0, // nothing valid
    PALFMT_RGB8 = 1, // red, green, blue triples, 0-255
    PALFMT_RGB6 = 2, // red, green, blue triples, 0-63
    PALFMT_BGRX = 3, // blue, green, red, flag entries
    PALFMT_RGBX = 4  // red, green, blue, flag entries
};

class TVX_API Palette {
public:
    Palette();
    explicit Palette(MemManager* memory);
    virtual ~Palette();
    Palette(const Palette&) = delete;
    Palette& operator=(const Palette&) = delete;

    ERRORSTATUS AssociateBuffer(unsigned char* buffer, unsigned long size);
    void DissociateBuffer();
    ERRORSTATUS Load();
    ERRORSTATUS Save(FILE* file);

    void Default16();
    void Black();
    virtual void Convert(unsigned long format);
    virtual void SetValuesFromRaw8(unsigned char* triples, unsigned long first, unsigned long count);

    ERRORSTATUS PaletteFromBlock(char* name, unsigned char* block, unsigned long size);
    ERRORSTATUS RequestSaveBlock(unsigned char** block, unsigned long* size);
    ERRORSTATUS ReleaseSaveBlock(unsigned char** block);

    void SetMemManager(MemManager* memory);
    void SetLibManager(Library* library);
    void SetFlag(unsigned char flag);
    unsigned char QueryFlag();

    void CopyPaletteColors(Palette* source);
    void QueryRGB(unsigned long index, unsigned char* red, unsigned char* green, unsigned char* blue);
    void SetRGB(unsigned long index, unsigned char red, unsigned char green, unsigned char blue);

    // The current layout, and the 1024 colour bytes in it (read directly by
    // the display code).
    unsigned short QueryFormat();
    unsigned char* QueryColors();

private:
    void ExpandTriples(bool blueFirst);

    unsigned char* buffer;
    uint32_t bufferSize;
    unsigned char entryFlag;

public:
    unsigned short errorCode;

private:
    MemManager* memManager;
    Library* libManager;
    unsigned char colors[1024];
    uint16_t format;
};

#endif
