// win_gdi.h - the GDI and USER subset the display uses for the system
// palette, declared for systems that are not Windows. The calls act on the
// headless device (headless_ddraw.cpp), which accepts any device context.
#ifndef TOLLIVEX_POSIX_WIN_GDI_H
#define TOLLIVEX_POSIX_WIN_GDI_H

#include "platform/posix/win_types.h"
#include "tollivex/canvas.h" // the portable RECT is the public tagRECT

typedef struct tagRECT RECT;
typedef RECT* LPRECT;

typedef void* HWND;
typedef void* HDC;
typedef void* HGDIOBJ;
typedef HGDIOBJ HPALETTE;

typedef struct tagPALETTEENTRY {
    BYTE peRed;
    BYTE peGreen;
    BYTE peBlue;
    BYTE peFlags;
} PALETTEENTRY, *LPPALETTEENTRY;

typedef struct tagLOGPALETTE {
    WORD palVersion;
    WORD palNumEntries;
    PALETTEENTRY palPalEntry[1];
} LOGPALETTE;

#define PC_RESERVED 0x01
#define PC_NOCOLLAPSE 0x04

#define SYSPAL_STATIC 1
#define SYSPAL_NOSTATIC 2

HPALETTE CreatePalette(const LOGPALETTE* logical);
HPALETTE SelectPalette(HDC dc, HPALETTE palette, BOOL forceBackground);
UINT SetSystemPaletteUse(HDC dc, UINT use);
UINT RealizePalette(HDC dc);
BOOL DeleteObject(HGDIOBJ object);
BOOL InvalidateRect(HWND window, const RECT* rect, BOOL erase);

#endif
