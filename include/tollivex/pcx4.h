// pcx4.h - PcxPainter: PCX images of one plane, 8 bits or 1 bit per pixel.
//
// 8-bit images carry their palette at the end of the file (marker byte 12
// and 768 bytes); 1-bit images are painted with two chosen palette indices
// and always from the canvas's left edge, the position's x acting as a left
// cut-off. The clipped painter keeps 8-bit rows inside the canvas; the
// unclipped one and monochrome rows go where the image's size takes them,
// stopped only by the canvas's memory. Reading never leaves the file.
#ifndef TOLLIVEX_PCX4_H
#define TOLLIVEX_PCX4_H

#include "bitmap.h"

class CanvasMemory;

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
    void PaintLine8(const CanvasMemory& memory, int64_t row, short width, bool draw, bool clip);
    void PaintLine1(const CanvasMemory& memory, int64_t row, short width);
    void PaintRows(bool clipped);
};

#endif
