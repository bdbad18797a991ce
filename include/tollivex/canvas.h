// canvas.h - 8-bit drawing surfaces addressed through a row-offset table.
//
// Pixel (x, y) is the byte at buffer + rowOffsets[y] + x. Consecutive rows
// differ by the row increment, which is negative for a bottom-up canvas, so
// drawing code asks for row addresses and the increment and never assumes
// that the pitch equals the width. A memory canvas owns its pixels; a
// sub-canvas looks into a rectangle of another canvas and must be locked
// before use (and again after its parent's buffer or pitch may have moved).
// Construction with CANVAS_DIRECTDRAW is refused until the display layer is
// in place. Not thread-safe.
#ifndef TOLLIVEX_CANVAS_H
#define TOLLIVEX_CANVAS_H

#include "tvxcommon.h"

struct IDirectDrawSurface;
struct IDirectDrawClipper;
struct IDirectDrawPalette;

// Kind bits of Canvas::flags.
enum : unsigned long {
    CANVAS_MEMORY     = 0x01,
    CANVAS_DIRECTDRAW = 0x02,
    CANVAS_FULLSCREEN = 0x04,
    CANVAS_SUBCANVAS  = 0x08
};

class TVX_API Canvas {
public:
    unsigned short errorCode;

    // Memory canvas (CANVAS_MEMORY) or display canvas (CANVAS_DIRECTDRAW).
    Canvas(unsigned short width, unsigned short height, int topDown, unsigned long flags);
    // Sub-canvas: a view of parent's rectangle at (x, y), narrowed to fit.
    Canvas(unsigned short x, unsigned short y, unsigned short width, unsigned short height, Canvas* parent);
    ~Canvas();
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    int Validate();
    ERRORSTATUS Lock(int* restored, unsigned long reserved);
    void Unlock();

    unsigned short QueryWidth();
    unsigned short QueryHeight();
    long QueryRowIncrement();
    unsigned char* QueryRowAddress(unsigned long row);
    void SetDrawColor(unsigned char color);
    unsigned char QueryDrawColor();

    void CalculateRowOffsets(short rowIncrement, short rows, int topDown);

    void Clear(unsigned char color);
    void PutPixel(short x, short y);
    unsigned long GetPixel(short x, short y);
    void HorizLine(short x1, short x2, short y);
    void VertLine(short x, short y1, short y2);
    void Rectangle(short x1, short y1, short x2, short y2);
    void XORHorizLine(short x1, short x2, short y);
    void XORVertLine(short x, short y1, short y2);
    void XORRectangle(short x1, short y1, short x2, short y2);
    void HorizLineUnclipped(short x1, short x2, short y);
    void VertLineUnclipped(short x, short y1, short y2);
    void Line(short x1, short y1, short x2, short y2);
    void FilledRectUnclipped(short x1, short y1, short x2, short y2);
    void FilledRectClipped(short x1, short y1, short x2, short y2);
    // clipFlags bit 0 clips against this canvas, bit 1 against destination.
    void CopyDirtyRec(short srcX, short srcY, short dstX, short dstY, short width, short height,
                      Canvas* destination, unsigned short clipFlags);

private:
    void BuildRowTable(uint32_t step, uint32_t rows, bool topDownOrder);
    bool Drawable() const;
    unsigned char* Pixel(int x, int y) const;
    friend class CanvasMemory; // the library's bounds on drawing that may leave the canvas

    uint16_t width;
    uint16_t height;
    uint32_t size;
    unsigned char* buffer;
    uint32_t* rowOffsets;
    int32_t rowIncrement;
    uint32_t flags;
    int32_t topDown;
    int32_t ownsBuffer;
    Canvas* parent;
    uint16_t originX;
    uint16_t originY;

    // Display surfaces. The surface description is kept as raw storage so
    // this header stays free of platform headers; its size is checked where
    // the display code uses it.
    IDirectDrawSurface* primarySurface;
    IDirectDrawSurface* backSurface;
    IDirectDrawClipper* clipper;
    alignas(8) unsigned char surfaceDesc[128];
    IDirectDrawPalette* ddPalette;
    void* systemVariables;

    unsigned char drawColor;
};

// 1 when the display was initialised full screen with CANVASINIT_DDPALETTEONLY:
// every surface then shows the DirectDraw palette alone, which the window
// system needs to know to repaint changes into enough frames.
TVX_API int QueryDDPaletteOnly();

#endif
