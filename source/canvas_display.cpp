// canvas_display.cpp - the display module and the display canvas.
//
// CanvasInitialize opens DirectDraw, windowed or full screen. A canvas made
// with CANVAS_DIRECTDRAW then owns a primary surface and an off-screen back
// surface of its own size; drawing goes to the back surface between Lock and
// Unlock, and Flip blits it to the screen (never a page flip, so the canvas
// may be smaller than the mode). The system palette is a DirectDraw palette
// on the primary, optionally preceded by a GDI palette selected into the
// window's device context. DirectDraw failures go to the debug log in the
// words testers search for. Depends on the platform layer (DirectDraw 1 and
// GDI) and on Palette for the colours.
#include "tollivex/canvas.h"

#include "platform/platform.h"
#include "tollivex/palette.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>

namespace {
const char* const kSource = "canvas";

// The logical palette: a LOGPALETTE with room for all 256 entries. It lives
// with the module state rather than on the heap, so no set-up step can fail
// for want of it and a palette set before initialisation has somewhere to go.
const size_t kLogicalPaletteBytes = 8 + 256 * 4;
// The system keeps its 10 static colours at each end; the game's colours
// from entry 10 on fill the 236 entries GDI leaves to applications.
const size_t kFirstGameEntry = 10;
const size_t kGameEntries = 236;

struct Display {
    IDirectDraw* object = nullptr;
    HWND window = nullptr;
    int fullScreen = 0;
    RECT canvasRect = {};
    HPALETTE gdiPalette = nullptr;
    alignas(LOGPALETTE) unsigned char logicalPalette[kLogicalPaletteBytes] = {};
    // Set by a full-screen initialisation that asked for the DirectDraw
    // palette alone; read by the window system.
    int ddPaletteOnly = 0;
    int initialised = 0;
};

Display display;

void Assert(unsigned long line)
{
    _AssertMsg(kSource, line);
}

template <typename Interface>
void ReleaseObject(Interface*& object)
{
    if (object != nullptr)
        object->Release();
    object = nullptr;
}

ERRORSTATUS Refuse(const char* message, unsigned short code, unsigned short& status)
{
    _DebugMessage(message);
    status = code;
    return ERR_FAILURE;
}

// The windowed and the full-screen set-up; 0 or the status code.
ERRORSTATUS EnterMode(unsigned long flags, unsigned short width, unsigned short height, unsigned short bitsPerPixel,
                      unsigned short& status)
{
    if (!(flags & CANVASINIT_FULLSCREEN)) {
        if (display.object->SetCooperativeLevel(display.window, DDSCL_NORMAL) != DD_OK)
            return Refuse("Set cooperative level failed.", ERR_CANVAS_MODE, status);
        display.fullScreen = 0;
        return ERR_OK;
    }
    // Full screen without DDSCL_EXCLUSIVE is what games have always asked for.
    if (display.object->SetCooperativeLevel(display.window, DDSCL_FULLSCREEN | DDSCL_NORMAL) != DD_OK)
        return Refuse("Set cooperative level failed.", ERR_CANVAS_MODE, status);
    if (display.object->SetDisplayMode(width, height, bitsPerPixel) != DD_OK)
        return Refuse("Set video mode failed.", ERR_CANVAS_MODE, status);
    display.fullScreen = 1;
    display.ddPaletteOnly = (flags & CANVASINIT_DDPALETTEONLY) ? 1 : 0;
    return ERR_OK;
}

// A fresh surface description in the canvas's storage for it.
DDSURFACEDESC& FreshDescription(unsigned char* storage)
{
    static_assert(sizeof(DDSURFACEDESC) <= sizeof(Canvas::surfaceDesc), "surface description storage too small");
    std::memset(storage, 0, sizeof(DDSURFACEDESC));
    auto* description = new (storage) DDSURFACEDESC{};
    description->dwSize = sizeof(DDSURFACEDESC);
    return *description;
}

IDirectDrawSurface* NewSurface(DDSURFACEDESC& description)
{
    IDirectDrawSurface* surface = nullptr;
    if (display.object->CreateSurface(&description, &surface, nullptr) != DD_OK)
        return nullptr;
    return surface;
}

// The primary, in video memory where the card has room, else anywhere.
IDirectDrawSurface* NewPrimarySurface()
{
    DDSURFACEDESC description{};
    description.dwSize = sizeof(DDSURFACEDESC);
    description.dwFlags = DDSD_CAPS;
    description.ddsCaps.dwCaps = DDSCAPS_PRIMARYSURFACE | DDSCAPS_VIDEOMEMORY;
    if (IDirectDrawSurface* surface = NewSurface(description))
        return surface;
    description.ddsCaps.dwCaps &= ~DWORD(DDSCAPS_VIDEOMEMORY);
    return NewSurface(description);
}

IDirectDrawSurface* NewBackSurface(unsigned short width, unsigned short height)
{
    DDSURFACEDESC description{};
    description.dwSize = sizeof(DDSURFACEDESC);
    description.dwFlags = DDSD_CAPS | DDSD_HEIGHT | DDSD_WIDTH;
    description.ddsCaps.dwCaps = DDSCAPS_OFFSCREENPLAIN;
    description.dwWidth = width;
    description.dwHeight = height;
    return NewSurface(description);
}

// Keeps windowed blits inside the window. The clipper lands in `clipper`
// as soon as it exists, so the canvas releases it even when a later step fails.
bool AttachClipper(IDirectDrawSurface* primary, IDirectDrawClipper*& clipper)
{
    if (display.object->CreateClipper(0, &clipper, nullptr) != DD_OK) {
        clipper = nullptr;
        return false;
    }
    if (clipper->SetHWnd(0, display.window) != DD_OK) {
        _DebugMessage("Cannot create clipper object!");
        return false;
    }
    if (primary->SetClipper(clipper) != DD_OK) {
        _DebugMessage("Cannot attach Clipper to primary surface!");
        return false;
    }
    return true;
}

// Lock's second log line, by result. The two general codes are compared as
// DirectDraw's first headers numbered them.
void ReportLockError(HRESULT result)
{
    static const struct {
        uint32_t code;
        const char* text;
    } kLockErrors[] = {{0x88760082u, "Invalid object"}, {0x887601C2u, "Surface Lost"},
                       {0x80000002u, "Out of memory"},  {0x80000003u, "Invalid params"},
                       {0x887601AEu, "Surface Busy"},   {0x8876021Cu, "Was still drawing"}};
    _DebugMessage("Lock Error.");
    for (const auto& error : kLockErrors) {
        if (static_cast<uint32_t>(result) == error.code)
            _DebugMessage(error.text);
    }
}

// Selects a GDI palette of the game's colours into `dc` and realises it;
// returns the entries for the matching DirectDraw palette.
PALETTEENTRY* SelectGdiPalette(HDC dc)
{
    _DebugMessage("Attempting to create palette");
    auto* logical = reinterpret_cast<LOGPALETTE*>(display.logicalPalette);
    logical->palVersion = 0x300;
    logical->palNumEntries = 256;
    const HPALETTE previous = display.gdiPalette;
    display.gdiPalette = CreatePalette(logical);
    if (display.gdiPalette == nullptr)
        Assert(1795);
    SelectPalette(dc, display.gdiPalette, FALSE);
    if (previous != nullptr)
        DeleteObject(previous); // no longer selected anywhere
    SetSystemPaletteUse(dc, SYSPAL_STATIC);
    char message[64];
    std::snprintf(message, sizeof message, "%d Palette entries set", static_cast<int>(RealizePalette(dc)));
    _DebugMessage(message);
    return logical->palPalEntry;
}

// The logical palette, cleared, with the game's entries 10.. at 0.. .
void FillLogicalPalette(const unsigned char* entries)
{
    std::memset(display.logicalPalette, 0, sizeof display.logicalPalette);
    std::memcpy(display.logicalPalette + offsetof(LOGPALETTE, palPalEntry), entries + kFirstGameEntry * 4,
                kGameEntries * 4);
}
} // namespace

int QueryDDPaletteOnly()
{
    return display.ddPaletteOnly;
}

ERRORSTATUS CanvasInitialize(unsigned long flags, void* window, unsigned short width, unsigned short height,
                             unsigned short bitsPerPixel, unsigned short* status)
{
    unsigned short unused = 0;
    unsigned short& code = status != nullptr ? *status : unused;
    code = 0;
    display.window = static_cast<HWND>(window);
    if (DirectDrawCreate(nullptr, &display.object, nullptr) != DD_OK) {
        display.object = nullptr;
        return Refuse("DirectDraw object creation failed", ERR_CANVAS_DIRECTDRAW, code);
    }
    display.ddPaletteOnly = 0;
    if (EnterMode(flags, width, height, bitsPerPixel, code) != ERR_OK)
        return ERR_FAILURE; // the object stays until CanvasUninitialize
    display.initialised = 1;
    return ERR_OK;
}

ERRORSTATUS CanvasUninitialize()
{
    if (display.object != nullptr) {
        if (display.fullScreen) {
            display.object->RestoreDisplayMode();
            display.object->SetCooperativeLevel(display.window, DDSCL_NORMAL);
            display.fullScreen = 0;
        }
        display.object->SetCooperativeLevel(display.window, DDSCL_NORMAL);
        ReleaseObject(display.object);
    }
    display.initialised = 0;
    return ERR_OK;
}

tagRECT* QueryCanvasRect()
{
    return &display.canvasRect;
}

bool Canvas::IsDisplay() const
{
    return (flags & (CANVAS_MEMORY | CANVAS_DIRECTDRAW | CANVAS_SUBCANVAS)) == CANVAS_DIRECTDRAW;
}

bool Canvas::CreateDisplaySurfaces()
{
    if (!display.initialised)
        return false;
    primarySurface = NewPrimarySurface();
    if (primarySurface == nullptr)
        return false;
    backSurface = NewBackSurface(width, height);
    if (backSurface == nullptr)
        return false;
    if (!(flags & CANVAS_FULLSCREEN) && !AttachClipper(primarySurface, clipper))
        return false;
    rowIncrement = 0; // the first Lock always builds the row table
    return true;
}

void Canvas::ReleaseDisplaySurfaces()
{
    ReleaseObject(primarySurface);
    // Full screen, the back surface goes with the DirectDraw object.
    if (!(flags & CANVAS_FULLSCREEN)) {
        ReleaseObject(backSurface);
        ReleaseObject(clipper);
    }
}

ERRORSTATUS Canvas::LockDisplay(int* restored)
{
    if (primarySurface == nullptr || backSurface == nullptr) {
        Assert(1871);
        return ERR_FAILURE;
    }
    int unused = 0;
    int& report = restored != nullptr ? *restored : unused;
    if (primarySurface->IsLost() == DDERR_SURFACELOST) {
        _DebugMessage("Surface Lost.  Now restoring.");
        primarySurface->Restore();
        report = 1;
    }
    DDSURFACEDESC& description = FreshDescription(surfaceDesc);
    const HRESULT result = backSurface->Lock(nullptr, &description, DDLOCK_WAIT, nullptr);
    // 1 survives only when the primary came back but the back surface did not.
    if (result == DDERR_SURFACELOST)
        _DebugMessage("Surface Lost again.  What's with this?");
    else
        report = 0;
    if (result != DD_OK) {
        ReportLockError(result);
        return ERR_FAILURE;
    }
    buffer = static_cast<unsigned char*>(description.lpSurface);
    if (rowIncrement != description.lPitch) {
        rowIncrement = description.lPitch;
        // Display surfaces are top-down whatever the canvas was asked for.
        CalculateRowOffsets(static_cast<short>(description.lPitch), static_cast<short>(height), 1);
    }
    return ERR_OK;
}

void Canvas::UnlockDisplay()
{
    if (backSurface != nullptr)
        backSurface->Unlock(nullptr);
}

ERRORSTATUS Canvas::Flip(int* restored)
{
    if (restored != nullptr)
        *restored = 0;
    if (primarySurface != nullptr && backSurface != nullptr) {
        // Full screen always fills the top-left 640 x 480, whatever the mode.
        RECT fullScreen = {0, 0, 640, 480};
        RECT* destination = display.fullScreen ? &fullScreen : &display.canvasRect;
        primarySurface->Blt(destination, backSurface, nullptr, DDBLT_WAIT, nullptr);
    }
    // The blit's outcome is not examined; games treat Flip's answer as void.
    return ERR_FAILURE;
}

void Canvas::SetSystemVariables(void* deviceContext)
{
    systemVariables = deviceContext;
}

void Canvas::SetSystemPalette(Palette* palette, int useGdi)
{
    if (palette == nullptr) {
        Assert(__LINE__);
        return;
    }
    if (primarySurface != nullptr)
        primarySurface->SetPalette(nullptr);
    ReleaseObject(ddPalette); // detached above, so this one is ours alone
    // Reserved, never collapsed onto system colours: the game animates them.
    palette->SetFlag(PC_RESERVED | PC_NOCOLLAPSE);
    palette->Convert(PALFMT_RGBX);
    FillLogicalPalette(palette->QueryColors());

    PALETTEENTRY* entries = nullptr;
    if (useGdi == 1) {
        entries = SelectGdiPalette(static_cast<HDC>(systemVariables));
    } else {
        _DebugMessage("Setting DirectDraw palette alone");
        entries = reinterpret_cast<PALETTEENTRY*>(palette->QueryColors());
    }
    IDirectDrawPalette* made = nullptr;
    if (display.object != nullptr && display.object->CreatePalette(DDPCAPS_8BIT, entries, &made, nullptr) == DD_OK)
        ddPalette = made;
    if (ddPalette != nullptr && primarySurface != nullptr)
        primarySurface->SetPalette(ddPalette);
}

void Canvas::ReleaseSystemPalette()
{
    ReleaseObject(ddPalette);
    if (display.gdiPalette == nullptr)
        return;
    const auto dc = static_cast<HDC>(systemVariables);
    SelectPalette(dc, nullptr, FALSE);
    DeleteObject(display.gdiPalette);
    display.gdiPalette = nullptr;
    SetSystemPaletteUse(dc, SYSPAL_STATIC);
    InvalidateRect(nullptr, nullptr, TRUE); // every window repaints in the system colours
}

void Canvas::SuspendSystemPalette() {}

void Canvas::RestoreSystemPalette() {}
