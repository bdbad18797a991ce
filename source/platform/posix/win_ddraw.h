// win_ddraw.h - the DirectDraw 1 subset the display uses, declared for
// systems that are not Windows: the same interface, method, type and flag
// names, argument lists and result codes as the Windows SDK, implemented
// over the headless device (headless_ddraw.cpp).
#ifndef TOLLIVEX_POSIX_WIN_DDRAW_H
#define TOLLIVEX_POSIX_WIN_DDRAW_H

#include "platform/posix/win_gdi.h"
#include "platform/posix/win_types.h"

typedef uint32_t ULONG;
struct IUnknown;
struct _GUID;
typedef struct _GUID GUID;

#define DD_OK 0
#define MAKE_DDHRESULT(code) static_cast<HRESULT>(0x88760000u + (code))
#define DDERR_GENERIC static_cast<HRESULT>(0x80004005u)
#define DDERR_OUTOFMEMORY static_cast<HRESULT>(0x8007000Eu)
#define DDERR_INVALIDPARAMS static_cast<HRESULT>(0x80070057u)
#define DDERR_INVALIDMODE MAKE_DDHRESULT(120)
#define DDERR_INVALIDOBJECT MAKE_DDHRESULT(130)
#define DDERR_INVALIDRECT MAKE_DDHRESULT(150)
#define DDERR_NOCOOPERATIVELEVELSET MAKE_DDHRESULT(212)
#define DDERR_SURFACEBUSY MAKE_DDHRESULT(430)
#define DDERR_SURFACELOST MAKE_DDHRESULT(450)
#define DDERR_WASSTILLDRAWING MAKE_DDHRESULT(540)
#define DDERR_NOTLOCKED MAKE_DDHRESULT(584)

#define DDSCL_FULLSCREEN 0x00000001
#define DDSCL_NORMAL 0x00000008
#define DDSCL_EXCLUSIVE 0x00000010

#define DDSD_CAPS 0x00000001
#define DDSD_HEIGHT 0x00000002
#define DDSD_WIDTH 0x00000004
#define DDSD_PITCH 0x00000008
#define DDSD_LPSURFACE 0x00000800
#define DDSD_PIXELFORMAT 0x00001000

#define DDSCAPS_OFFSCREENPLAIN 0x00000040
#define DDSCAPS_PRIMARYSURFACE 0x00000200
#define DDSCAPS_SYSTEMMEMORY 0x00000800
#define DDSCAPS_VIDEOMEMORY 0x00004000

#define DDPF_PALETTEINDEXED8 0x00000020
#define DDPF_RGB 0x00000040

#define DDLOCK_WAIT 0x00000001
#define DDBLT_WAIT 0x01000000
#define DDPCAPS_8BIT 0x00000004

typedef struct _DDCOLORKEY {
    DWORD dwColorSpaceLowValue;
    DWORD dwColorSpaceHighValue;
} DDCOLORKEY;

typedef struct _DDPIXELFORMAT {
    DWORD dwSize;
    DWORD dwFlags;
    DWORD dwFourCC;
    DWORD dwRGBBitCount;
    DWORD dwRBitMask;
    DWORD dwGBitMask;
    DWORD dwBBitMask;
    DWORD dwRGBAlphaBitMask;
} DDPIXELFORMAT;

typedef struct _DDSCAPS {
    DWORD dwCaps;
} DDSCAPS;

typedef struct _DDSURFACEDESC {
    DWORD dwSize;
    DWORD dwFlags;
    DWORD dwHeight;
    DWORD dwWidth;
    union {
        LONG lPitch;
        DWORD dwLinearSize;
    };
    DWORD dwBackBufferCount;
    union {
        DWORD dwMipMapCount;
        DWORD dwZBufferBitDepth;
        DWORD dwRefreshRate;
    };
    DWORD dwAlphaBitDepth;
    DWORD dwReserved;
    LPVOID lpSurface;
    DDCOLORKEY ddckCKDestOverlay;
    DDCOLORKEY ddckCKDestBlt;
    DDCOLORKEY ddckCKSrcOverlay;
    DDCOLORKEY ddckCKSrcBlt;
    DDPIXELFORMAT ddpfPixelFormat;
    DDSCAPS ddsCaps;
} DDSURFACEDESC, *LPDDSURFACEDESC;

// Blit effects are not used; the type exists for Blt's argument list.
struct _DDBLTFX;
typedef struct _DDBLTFX* LPDDBLTFX;

struct IDirectDrawPalette {
    virtual ULONG Release() = 0;

protected:
    ~IDirectDrawPalette() = default;
};

struct IDirectDrawClipper {
    virtual HRESULT SetHWnd(DWORD dwFlags, HWND hWnd) = 0;
    virtual ULONG Release() = 0;

protected:
    ~IDirectDrawClipper() = default;
};

struct IDirectDrawSurface {
    virtual HRESULT Blt(LPRECT lpDestRect, IDirectDrawSurface* lpDDSrcSurface, LPRECT lpSrcRect, DWORD dwFlags,
                        LPDDBLTFX lpDDBltFx) = 0;
    virtual HRESULT IsLost() = 0;
    virtual HRESULT Lock(LPRECT lpDestRect, LPDDSURFACEDESC lpDDSurfaceDesc, DWORD dwFlags, HANDLE hEvent) = 0;
    virtual HRESULT Restore() = 0;
    virtual HRESULT SetClipper(IDirectDrawClipper* lpDDClipper) = 0;
    virtual HRESULT SetPalette(IDirectDrawPalette* lpDDPalette) = 0;
    virtual HRESULT Unlock(LPVOID lpSurfaceData) = 0;
    virtual ULONG Release() = 0;

protected:
    ~IDirectDrawSurface() = default;
};

struct IDirectDraw {
    virtual HRESULT CreateClipper(DWORD dwFlags, IDirectDrawClipper** lplpDDClipper, IUnknown* pUnkOuter) = 0;
    virtual HRESULT CreatePalette(DWORD dwFlags, LPPALETTEENTRY lpColorTable, IDirectDrawPalette** lplpDDPalette,
                                  IUnknown* pUnkOuter) = 0;
    virtual HRESULT CreateSurface(LPDDSURFACEDESC lpDDSurfaceDesc, IDirectDrawSurface** lplpDDSurface,
                                  IUnknown* pUnkOuter) = 0;
    virtual HRESULT RestoreDisplayMode() = 0;
    virtual HRESULT SetCooperativeLevel(HWND hWnd, DWORD dwFlags) = 0;
    virtual HRESULT SetDisplayMode(DWORD dwWidth, DWORD dwHeight, DWORD dwBPP) = 0;
    virtual ULONG Release() = 0;

protected:
    ~IDirectDraw() = default;
};

typedef IDirectDraw* LPDIRECTDRAW;
typedef IDirectDrawSurface* LPDIRECTDRAWSURFACE;
typedef IDirectDrawClipper* LPDIRECTDRAWCLIPPER;
typedef IDirectDrawPalette* LPDIRECTDRAWPALETTE;

HRESULT WINAPI DirectDrawCreate(GUID* lpGUID, LPDIRECTDRAW* lplpDD, IUnknown* pUnkOuter);

#endif
