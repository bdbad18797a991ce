// pcx4.h - PcxPainter: PCX images of one plane, 8 bits or 1 bit per pixel.
//
// 8-bit images carry their palette at the end of the file (marker byte 12
// and 768 bytes); 1-bit images are painted with two chosen palette indices
// and always from the canvas's left edge, the position's x acting as a left
// cut-off. The clipped painter never writes outside the canvas and never
// reads outside the file; the unclipped one trusts the caller to place the
// image inside the canvas.
#ifndef TOLLIVEX_PCX4_H
#define TOLLIVEX_PCX4_H

#include "bitmap.h"

class TVX_API PcxPainter : public BitmapPainter {
public:
    PcxPainter();
    PcxPainter(unsigned char* buffer, unsigned long size);
    PcxPainter(unsigned char* buffer, unsigned long size, Canvas* canvas);
    ~PcxPainter() override;

    ERRORSTATUS AssociateBuffer(unsigned char* buffer, unsigned long size);
    ERRORSTATUS QueryBitmapStats(_BITMAPSTATS* stats);
    ERRORSTATUS PaintCanvas(int updatePalette, int clipped) override;

    // The decoding steps behind PaintCanvas.
    bool StartUnpacking(int* target, short* width);
    void UnpackBuffer();
    void UnpackBufferUnclipped();
    void ReadPcxLine8(unsigned char* row, short width, int draw);
    void ReadPcxLine8Unclipped(unsigned char* row, short width, int draw);
    void ReadPcxLine1(unsigned char* row, short width);

protected:
    uint16_t bytesPerLine;

private:
    void Reset();
    bool HasPalette() const;
    int ImageRows() const;
    template <typename Sink>
    void DecodeLine(Sink&& sink);
};

#endif
