// bitmap.h - painters that decode an image held in memory onto a Canvas.
//
// A painter is given the whole image file (not owned, it must outlive the
// association), a canvas and a position, and paints on request. It never
// touches the display palette: the image's colours are left in `palette`
// for the caller to take.
#ifndef TOLLIVEX_BITMAP_H
#define TOLLIVEX_BITMAP_H

#include "tvxcommon.h"

class Canvas;

#pragma pack(push, 1)
struct _BITMAPSTATS {
    uint16_t width;
    uint16_t height;
    uint8_t bitsPerPixel;
};
#pragma pack(pop)

class TVX_API BitmapPainter {
public:
    BitmapPainter();
    virtual ~BitmapPainter();
    BitmapPainter(const BitmapPainter&) = delete;
    BitmapPainter& operator=(const BitmapPainter&) = delete;

    virtual ERRORSTATUS PaintCanvas(int updatePalette, int clipped) = 0;

    ERRORSTATUS AssociateBuffer(unsigned char* buffer, unsigned long size);
    void DissociateBuffer();
    void AssociateCanvas(Canvas* canvas);
    void SetPosition(short x, short y);
    void SetType(unsigned long type);
    void MonoSetBlack(unsigned char index);
    void MonoSetWhite(unsigned char index);

protected:
    uint32_t type;
    uint8_t monoWhite;
    uint8_t monoBlack;

public:
    // The image's 256 red, green, blue triples (8 bits each), zero until read.
    unsigned char palette[768];

protected:
    unsigned char* buffer;
    uint32_t bufferSize;
    uint32_t readPosition;
    Canvas* canvas;

public:
    unsigned short errorCode;

protected:
    int16_t x;
    int16_t y;
};

#endif
