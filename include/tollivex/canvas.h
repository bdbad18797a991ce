// canvas.h - 8-bit drawing surfaces addressed through a row-offset table.
//
// Pixel (x, y) is the byte at buffer + rowOffsets[y] + x. Consecutive rows
// differ by the row increment, which is negative for a bottom-up canvas, so
// drawing code asks for row addresses and the increment and never assumes
// that the pitch equals the width. A memory canvas owns its pixels; a
// sub-canvas looks into a rectangle of another canvas and must be locked
// before use (and again after its parent's buffer or pitch may have moved).
// A display canvas (CANVAS_DIRECTDRAW) draws into an off-screen DirectDraw
// surface between Lock and Unlock and shows it with Flip; the display module
// (CanvasInitialize) must be set up first. Not thread-safe.
#ifndef TOLLIVEX_CANVAS_H
#define TOLLIVEX_CANVAS_H

#include "tvxcommon.h"

struct IDirectDrawSurface;
struct IDirectDrawClipper;
struct IDirectDrawPalette;
class Palette;

// The display's canvas rectangle. On Windows this is the system's RECT.
#ifdef _WIN32
struct tagRECT;
#else
struct tagRECT {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
};
#endif

// Kind bits of Canvas::flags.
enum : unsigned long {
    CANVAS_MEMORY     = 0x01,
    CANVAS_DIRECTDRAW = 0x02,
    CANVAS_FULLSCREEN = 0x04,
    CANVAS_SUBCANVAS  = 0x08
};

// Flags of CanvasInitialize.
enum : unsigned long {
    CANVASINIT_FULLSCREEN    = 0x04,
    CANVASINIT_DDPALETTEONLY = 0x10 // with CANVASINIT_FULLSCREEN
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

    // Display canvases only. Flip blits the back surface to the screen and
    // returns 1 whatever the blit did.
    ERRORSTATUS Flip(int* restored);
    void SetSystemVariables(void* deviceContext);
    void SetSystemPalette(Palette* palette, int useGdi);
    void ReleaseSystemPalette();
    // Hooks for the game's activation messages; nothing to do today.
    void SuspendSystemPalette();
    void RestoreSystemPalette();

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
    bool IsDisplay() const;
    bool CreateDisplaySurfaces();
    void ReleaseDisplaySurfaces();
    ERRORSTATUS LockDisplay(int* restored);
    void UnlockDisplay();

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

public:
    // Display surfaces, open to games that drive DirectDraw further. The
    // surface description is kept as raw storage so this header stays free
    // of platform headers; its size is checked where the display code uses it.
    IDirectDrawSurface* primarySurface;
    IDirectDrawSurface* backSurface;
    IDirectDrawClipper* clipper;
    alignas(8) unsigned char surfaceDesc[128];
    IDirectDrawPalette* ddPalette;
    void* systemVariables;

private:
    unsigned char drawColor;
};

// 1 when the display was initialised full screen with CANVASINIT_DDPALETTEONLY:
// every surface then shows the DirectDraw palette alone, which the window
// system needs to know to repaint changes into enough frames.
TVX_API int QueryDDPaletteOnly();

// Opens DirectDraw on `window`: windowed, or full screen at width x height x
// bitsPerPixel with CANVASINIT_FULLSCREEN. Returns 0, or 1 with the code
// (1237 no DirectDraw, 1238 level or mode refused) also in *status. After a
// failure CanvasUninitialize must still be called.
TVX_API ERRORSTATUS CanvasInitialize(unsigned long flags, void* window, unsigned short width, unsigned short height,
                                     unsigned short bitsPerPixel, unsigned short* status);
TVX_API ERRORSTATUS CanvasUninitialize();
// Where a windowed Flip blits to: the game keeps it set to the window's
// client area in screen coordinates.
TVX_API tagRECT* QueryCanvasRect();

#endif
