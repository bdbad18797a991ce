// headless_ddraw.cpp - the headless display: DirectDraw 1 and the GDI
// palette calls over surfaces that live in memory.
//
// The screen is the primary surface's memory: the desktop size in windowed
// mode, the display mode's size in full screen, 8 bits a pixel. Blt stretches
// nearest-neighbour, clips to the screen when a clipper is attached and
// refuses rectangles outside the surface otherwise. Locks cover the whole
// surface. Every primary of one DirectDraw object shows the same screen
// memory. Palettes are 256 entries. A surface keeps its palette and clipper
// alive, and releasing the DirectDraw object ends everything it made.
//
// Object shells are never freed, only marked dead (their pixels are): a
// stale pointer then answers DDERR_INVALIDOBJECT instead of touching freed
// memory, which is what a test of a game's error paths needs. Every call is
// traced and may be failed through headless_core.
#include "platform/posix/headless_core.h"
#include "platform/posix/sdl2_device.h"
#include "platform/posix/win_ddraw.h"
#include "tollivex/headless.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

struct Shell {
    virtual ~Shell() = default;
    virtual void Die() { alive = false; }
    bool alive = true;
    ULONG references = 1;
    const Shell* owner = nullptr; // the DirectDraw object that made it
};

struct Device {
    bool sdl2 = false; // a DirectDraw object shows its primary in an SDL window
    int desktopWidth = 640;
    int desktopHeight = 480;
    int pitchPadding = 0;
    std::vector<std::unique_ptr<Shell>> shells;
    Shell* selectedPalette = nullptr;
    UINT systemPaletteUse = SYSPAL_STATIC;
};

Device& TheDevice()
{
    static Device device;
    return device;
}

template <typename T>
T* Make(const Shell* owner)
{
    auto shell = std::make_unique<T>();
    shell->owner = owner;
    T* made = shell.get();
    TheDevice().shells.push_back(std::move(shell));
    return made;
}

void Hold(Shell* shell)
{
    if (shell != nullptr)
        ++shell->references;
}

ULONG Drop(Shell* shell)
{
    if (shell == nullptr || !shell->alive)
        return 0;
    if (--shell->references == 0)
        shell->Die();
    return shell->references;
}

// A failure rule's result for a call that returns a count.
ULONG AsCount(long result)
{
    return static_cast<ULONG>(result);
}

struct HeadlessPalette final : IDirectDrawPalette, Shell {
    PALETTEENTRY entries[256] = {};

    ULONG Release() override
    {
        if (auto failure = headless::Enter("IDirectDrawPalette::Release"))
            return AsCount(*failure);
        return Drop(this);
    }
};

// Every window's client area is the whole screen, so a clipper clips to it.
struct HeadlessClipper final : IDirectDrawClipper, Shell {
    HRESULT SetHWnd(DWORD, HWND) override
    {
        if (auto failure = headless::Enter("IDirectDrawClipper::SetHWnd"))
            return *failure;
        return alive ? DD_OK : DDERR_INVALIDOBJECT;
    }

    ULONG Release() override
    {
        if (auto failure = headless::Enter("IDirectDrawClipper::Release"))
            return AsCount(*failure);
        return Drop(this);
    }
};

std::string RectText(const RECT* rect)
{
    if (rect == nullptr)
        return "null";
    return std::to_string(rect->left) + ' ' + std::to_string(rect->top) + ' ' + std::to_string(rect->right) + ' ' +
           std::to_string(rect->bottom);
}

bool Inside(const RECT& rect, long width, long height)
{
    return rect.left >= 0 && rect.top >= 0 && rect.left <= rect.right && rect.top <= rect.bottom &&
           rect.right <= width && rect.bottom <= height;
}

// Pixel memory: a surface's own, or the screen that every primary of one
// DirectDraw object shows.
struct Pixels {
    int width = 0;
    int height = 0;
    int pitch = 0;
    std::unique_ptr<unsigned char, decltype(&std::free)> bytes{nullptr, &std::free};
};

std::shared_ptr<Pixels> NewPixels(int width, int height)
{
    auto pixels = std::make_shared<Pixels>();
    pixels->width = width;
    pixels->height = height;
    pixels->pitch = width + TheDevice().pitchPadding;
    pixels->bytes.reset(static_cast<unsigned char*>(std::calloc(size_t(pixels->pitch) * size_t(height) + 1, 1)));
    return pixels->bytes ? pixels : nullptr;
}

void LoseAllSurfaces();

// In an SDL window, minimising takes the screen away as switching away from a
// full-screen DirectDraw game does: every surface is lost until restored.
void LoseWithMinimisedWindow()
{
    if (TheDevice().sdl2 && sdl2::Minimised())
        LoseAllSurfaces();
}

struct HeadlessSurface final : IDirectDrawSurface, Shell {
    std::shared_ptr<Pixels> memory;
    int width = 0;
    int height = 0;
    int pitch = 0;
    DWORD caps = 0;
    bool lost = false;
    bool locked = false;
    HeadlessPalette* palette = nullptr;
    HeadlessClipper* clipper = nullptr;

    void Take(std::shared_ptr<Pixels> pixels)
    {
        memory = std::move(pixels);
        width = memory->width;
        height = memory->height;
        pitch = memory->pitch;
    }

    unsigned char* Row(long y) const { return memory->bytes.get() + size_t(y) * size_t(pitch); }

    bool Primary() const { return alive && (caps & DDSCAPS_PRIMARYSURFACE); }

    void Die() override
    {
        alive = false;
        memory.reset();
        Drop(palette);
        Drop(clipper);
        palette = nullptr;
        clipper = nullptr;
    }

    HRESULT Blt(LPRECT lpDestRect, IDirectDrawSurface* lpDDSrcSurface, LPRECT lpSrcRect, DWORD dwFlags,
                LPDDBLTFX) override
    {
        if (auto failure = headless::Enter("IDirectDrawSurface::Blt",
                                           RectText(lpDestRect) + ' ' + std::to_string(dwFlags)))
            return *failure;
        auto* source = static_cast<HeadlessSurface*>(lpDDSrcSurface);
        if (!alive || (source != nullptr && !source->alive))
            return DDERR_INVALIDOBJECT;
        if (source == nullptr)
            return DDERR_INVALIDPARAMS; // colour fills and effects are not modelled
        LoseWithMinimisedWindow();
        if (lost || source->lost)
            return DDERR_SURFACELOST;
        if (locked || source->locked)
            return DDERR_SURFACEBUSY;
        const RECT from = lpSrcRect ? *lpSrcRect : RECT{0, 0, source->width, source->height};
        const RECT to = lpDestRect ? *lpDestRect : RECT{0, 0, width, height};
        if (!Inside(from, source->width, source->height) || to.right < to.left || to.bottom < to.top)
            return DDERR_INVALIDRECT;
        if (clipper == nullptr && !Inside(to, width, height))
            return DDERR_INVALIDRECT;
        Stretch(*source, from, to);
        if (Primary() && TheDevice().sdl2)
            Present();
        return DD_OK;
    }

    // The screen as the player sees it: through the primary's palette.
    void Present() const
    {
        unsigned char colours[256 * 4] = {};
        if (palette != nullptr)
            std::memcpy(colours, palette->entries, sizeof colours);
        sdl2::Present(memory->bytes.get(), pitch, width, height, colours);
    }

    // Nearest-neighbour copy of `from` onto `to`, cut to this surface.
    void Stretch(const HeadlessSurface& source, const RECT& from, const RECT& to)
    {
        const long long toWidth = to.right - to.left;
        const long long toHeight = to.bottom - to.top;
        if (toWidth == 0 || toHeight == 0 || from.right == from.left || from.bottom == from.top)
            return;
        for (long y = std::max<long>(to.top, 0); y < std::min<long>(to.bottom, height); ++y) {
            const long sourceY = long(from.top + (y - to.top) * (from.bottom - from.top) / toHeight);
            const unsigned char* in = source.Row(sourceY);
            unsigned char* out = Row(y);
            for (long x = std::max<long>(to.left, 0); x < std::min<long>(to.right, width); ++x)
                out[x] = in[from.left + (x - to.left) * (from.right - from.left) / toWidth];
        }
    }

    HRESULT IsLost() override
    {
        if (auto failure = headless::Enter("IDirectDrawSurface::IsLost"))
            return *failure;
        if (!alive)
            return DDERR_INVALIDOBJECT;
        LoseWithMinimisedWindow();
        return lost ? DDERR_SURFACELOST : DD_OK;
    }

    HRESULT Lock(LPRECT lpDestRect, LPDDSURFACEDESC lpDDSurfaceDesc, DWORD dwFlags, HANDLE) override
    {
        if (auto failure = headless::Enter("IDirectDrawSurface::Lock", {dwFlags}))
            return *failure;
        if (!alive)
            return DDERR_INVALIDOBJECT;
        if (lpDestRect != nullptr || lpDDSurfaceDesc == nullptr || lpDDSurfaceDesc->dwSize != sizeof(DDSURFACEDESC))
            return DDERR_INVALIDPARAMS;
        LoseWithMinimisedWindow();
        if (lost)
            return DDERR_SURFACELOST;
        if (locked)
            return DDERR_SURFACEBUSY;
        locked = true;
        Describe(*lpDDSurfaceDesc);
        return DD_OK;
    }

    void Describe(DDSURFACEDESC& description) const
    {
        description.dwFlags = DDSD_CAPS | DDSD_HEIGHT | DDSD_WIDTH | DDSD_PITCH | DDSD_LPSURFACE | DDSD_PIXELFORMAT;
        description.dwWidth = DWORD(width);
        description.dwHeight = DWORD(height);
        description.lPitch = pitch;
        description.lpSurface = memory->bytes.get();
        description.ddpfPixelFormat = DDPIXELFORMAT{};
        description.ddpfPixelFormat.dwSize = sizeof(DDPIXELFORMAT);
        description.ddpfPixelFormat.dwFlags = DDPF_PALETTEINDEXED8 | DDPF_RGB;
        description.ddpfPixelFormat.dwRGBBitCount = 8;
        description.ddsCaps.dwCaps = caps;
    }

    HRESULT Restore() override
    {
        if (auto failure = headless::Enter("IDirectDrawSurface::Restore"))
            return *failure;
        if (!alive)
            return DDERR_INVALIDOBJECT;
        // A minimised window has no screen to give back yet.
        if (TheDevice().sdl2 && sdl2::Minimised())
            return DDERR_SURFACELOST;
        lost = false;
        return DD_OK;
    }

    HRESULT SetClipper(IDirectDrawClipper* lpDDClipper) override
    {
        if (auto failure = headless::Enter("IDirectDrawSurface::SetClipper"))
            return *failure;
        auto* attached = static_cast<HeadlessClipper*>(lpDDClipper);
        if (!alive || (attached != nullptr && !attached->alive))
            return DDERR_INVALIDOBJECT;
        Hold(attached);
        Drop(clipper);
        clipper = attached;
        return DD_OK;
    }

    HRESULT SetPalette(IDirectDrawPalette* lpDDPalette) override
    {
        if (auto failure = headless::Enter("IDirectDrawSurface::SetPalette", {lpDDPalette != nullptr ? 1 : 0}))
            return *failure;
        auto* attached = static_cast<HeadlessPalette*>(lpDDPalette);
        if (!alive || (attached != nullptr && !attached->alive))
            return DDERR_INVALIDOBJECT;
        Hold(attached);
        Drop(palette);
        palette = attached;
        return DD_OK;
    }

    HRESULT Unlock(LPVOID) override
    {
        if (auto failure = headless::Enter("IDirectDrawSurface::Unlock"))
            return *failure;
        if (!alive)
            return DDERR_INVALIDOBJECT;
        if (!locked)
            return DDERR_NOTLOCKED;
        locked = false;
        return DD_OK;
    }

    ULONG Release() override
    {
        if (auto failure = headless::Enter("IDirectDrawSurface::Release"))
            return AsCount(*failure);
        return Drop(this);
    }
};

// The newest primary still alive: what the screen shows now.
const HeadlessSurface* LivePrimary()
{
    const auto& shells = TheDevice().shells;
    for (auto shell = shells.rbegin(); shell != shells.rend(); ++shell) {
        auto* surface = dynamic_cast<const HeadlessSurface*>(shell->get());
        if (surface != nullptr && surface->Primary())
            return surface;
    }
    return nullptr;
}

struct HeadlessDirectDraw final : IDirectDraw, Shell {
    bool showsWindow = false; // made while the sdl2 device was chosen
    DWORD level = 0;
    int modeWidth = 0; // 0: the desktop
    int modeHeight = 0;
    std::weak_ptr<Pixels> screen;

    void Die() override
    {
        alive = false;
        for (auto& shell : TheDevice().shells) {
            if (shell->owner == this && shell->alive)
                shell->Die();
        }
        if (showsWindow) {
            sdl2::CloseVideo();
            TheDevice().sdl2 = false;
        }
    }

    HRESULT CreateClipper(DWORD, IDirectDrawClipper** lplpDDClipper, IUnknown*) override
    {
        if (auto failure = headless::Enter("IDirectDraw::CreateClipper"))
            return *failure;
        if (!alive)
            return DDERR_INVALIDOBJECT;
        if (lplpDDClipper == nullptr)
            return DDERR_INVALIDPARAMS;
        *lplpDDClipper = Make<HeadlessClipper>(this);
        return DD_OK;
    }

    HRESULT CreatePalette(DWORD dwFlags, LPPALETTEENTRY lpColorTable, IDirectDrawPalette** lplpDDPalette,
                          IUnknown*) override
    {
        if (auto failure = headless::Enter("IDirectDraw::CreatePalette", {dwFlags}))
            return *failure;
        if (!alive)
            return DDERR_INVALIDOBJECT;
        if (!(dwFlags & DDPCAPS_8BIT) || lpColorTable == nullptr || lplpDDPalette == nullptr)
            return DDERR_INVALIDPARAMS;
        auto* palette = Make<HeadlessPalette>(this);
        std::memcpy(palette->entries, lpColorTable, sizeof palette->entries);
        *lplpDDPalette = palette;
        return DD_OK;
    }

    HRESULT CreateSurface(LPDDSURFACEDESC lpDDSurfaceDesc, IDirectDrawSurface** lplpDDSurface, IUnknown*) override
    {
        const DDSURFACEDESC empty{};
        const DDSURFACEDESC& asked = lpDDSurfaceDesc ? *lpDDSurfaceDesc : empty;
        if (auto failure = headless::Enter("IDirectDraw::CreateSurface",
                                           {asked.dwFlags, asked.ddsCaps.dwCaps, asked.dwWidth, asked.dwHeight}))
            return *failure;
        if (!alive)
            return DDERR_INVALIDOBJECT;
        if (lpDDSurfaceDesc == nullptr || lplpDDSurface == nullptr || asked.dwSize != sizeof(DDSURFACEDESC))
            return DDERR_INVALIDPARAMS;
        if (level == 0)
            return DDERR_NOCOOPERATIVELEVELSET;
        const bool primary = asked.ddsCaps.dwCaps & DDSCAPS_PRIMARYSURFACE;
        const bool sized = (asked.dwFlags & (DDSD_WIDTH | DDSD_HEIGHT)) == (DDSD_WIDTH | DDSD_HEIGHT);
        if (primary ? (asked.dwFlags & (DDSD_WIDTH | DDSD_HEIGHT)) != 0
                    : !sized || asked.dwWidth == 0 || asked.dwHeight == 0)
            return DDERR_INVALIDPARAMS;
        auto pixels = primary ? Screen() : NewPixels(int(asked.dwWidth), int(asked.dwHeight));
        if (pixels == nullptr)
            return DDERR_OUTOFMEMORY;
        auto* surface = Make<HeadlessSurface>(this);
        surface->caps = asked.ddsCaps.dwCaps;
        surface->Take(std::move(pixels));
        *lplpDDSurface = surface;
        return DD_OK;
    }

    // The screen the primaries share, made anew when the mode has changed.
    std::shared_ptr<Pixels> Screen()
    {
        auto current = screen.lock();
        if (current == nullptr || current->width != ScreenWidth() || current->height != ScreenHeight()) {
            current = NewPixels(ScreenWidth(), ScreenHeight());
            screen = current;
        }
        return current;
    }

    int ScreenWidth() const { return modeWidth ? modeWidth : TheDevice().desktopWidth; }
    int ScreenHeight() const { return modeHeight ? modeHeight : TheDevice().desktopHeight; }

    HRESULT RestoreDisplayMode() override
    {
        if (auto failure = headless::Enter("IDirectDraw::RestoreDisplayMode"))
            return *failure;
        if (!alive)
            return DDERR_INVALIDOBJECT;
        modeWidth = modeHeight = 0;
        if (showsWindow)
            sdl2::SetFullScreen(false);
        return DD_OK;
    }

    HRESULT SetCooperativeLevel(HWND hWnd, DWORD dwFlags) override
    {
        if (auto failure = headless::Enter("IDirectDraw::SetCooperativeLevel", {dwFlags}))
            return *failure;
        if (!alive)
            return DDERR_INVALIDOBJECT;
        if (dwFlags == 0)
            return DDERR_INVALIDPARAMS;
        if (showsWindow && !sdl2::AttachWindow(hWnd, &TheDevice().desktopWidth, &TheDevice().desktopHeight))
            return DDERR_INVALIDPARAMS;
        level = dwFlags;
        return DD_OK;
    }

    // The headless screen is 8 bits a pixel; other depths are refused.
    HRESULT SetDisplayMode(DWORD dwWidth, DWORD dwHeight, DWORD dwBPP) override
    {
        if (auto failure = headless::Enter("IDirectDraw::SetDisplayMode", {dwWidth, dwHeight, dwBPP}))
            return *failure;
        if (!alive)
            return DDERR_INVALIDOBJECT;
        if (level == 0)
            return DDERR_NOCOOPERATIVELEVELSET;
        if (dwBPP != 8 || dwWidth == 0 || dwHeight == 0 || dwWidth > 16384 || dwHeight > 16384)
            return DDERR_INVALIDMODE;
        modeWidth = int(dwWidth);
        modeHeight = int(dwHeight);
        if (showsWindow)
            sdl2::SetFullScreen(true);
        return DD_OK;
    }

    ULONG Release() override
    {
        if (auto failure = headless::Enter("IDirectDraw::Release"))
            return AsCount(*failure);
        return Drop(this);
    }
};

struct GdiPalette final : Shell {
    WORD entries = 0;
};

GdiPalette* FindGdiPalette(HGDIOBJ handle)
{
    for (auto& shell : TheDevice().shells) {
        if (shell.get() == handle && shell->alive)
            return dynamic_cast<GdiPalette*>(shell.get());
    }
    return nullptr;
}

void Forget()
{
    Device& device = TheDevice();
    for (auto& shell : device.shells) {
        if (shell->alive)
            shell->Die();
    }
    if (device.sdl2)
        sdl2::CloseVideo();
    device.sdl2 = false;
    device.desktopWidth = 640;
    device.desktopHeight = 480;
    device.pitchPadding = 0;
    device.selectedPalette = nullptr;
    device.systemPaletteUse = SYSPAL_STATIC;
}

const bool registered = headless::OnReset(&Forget);

} // namespace

HRESULT WINAPI DirectDrawCreate(GUID*, LPDIRECTDRAW* lplpDD, IUnknown*)
{
    if (auto failure = headless::Enter("DirectDrawCreate"))
        return *failure;
    if (lplpDD == nullptr)
        return DDERR_INVALIDPARAMS;
    const bool showsWindow = sdl2::Selected();
    if (showsWindow && !sdl2::OpenVideo())
        return DDERR_GENERIC;
    auto* object = Make<HeadlessDirectDraw>(nullptr);
    object->showsWindow = showsWindow;
    TheDevice().sdl2 = showsWindow;
    *lplpDD = object;
    return DD_OK;
}

HPALETTE CreatePalette(const LOGPALETTE* logical)
{
    if (auto failure = headless::Enter("CreatePalette", {logical ? logical->palNumEntries : 0}))
        return reinterpret_cast<HPALETTE>(static_cast<intptr_t>(*failure));
    if (logical == nullptr || logical->palNumEntries == 0)
        return nullptr;
    auto* palette = Make<GdiPalette>(nullptr);
    palette->entries = logical->palNumEntries;
    return palette;
}

HPALETTE SelectPalette(HDC, HPALETTE palette, BOOL)
{
    if (auto failure = headless::Enter("SelectPalette"))
        return reinterpret_cast<HPALETTE>(static_cast<intptr_t>(*failure));
    Device& device = TheDevice();
    if (palette != nullptr && FindGdiPalette(palette) == nullptr)
        return nullptr;
    Shell* previous = device.selectedPalette;
    device.selectedPalette = static_cast<Shell*>(palette);
    return previous;
}

UINT SetSystemPaletteUse(HDC, UINT use)
{
    if (auto failure = headless::Enter("SetSystemPaletteUse", {use}))
        return static_cast<UINT>(*failure);
    const UINT previous = TheDevice().systemPaletteUse;
    TheDevice().systemPaletteUse = use;
    return previous;
}

UINT RealizePalette(HDC)
{
    if (auto failure = headless::Enter("RealizePalette"))
        return static_cast<UINT>(*failure);
    const GdiPalette* selected = FindGdiPalette(TheDevice().selectedPalette);
    return selected != nullptr ? selected->entries : 0;
}

BOOL DeleteObject(HGDIOBJ object)
{
    if (auto failure = headless::Enter("DeleteObject"))
        return static_cast<BOOL>(*failure);
    GdiPalette* palette = FindGdiPalette(object);
    if (palette == nullptr)
        return FALSE;
    palette->Die();
    if (TheDevice().selectedPalette == palette)
        TheDevice().selectedPalette = nullptr;
    return TRUE;
}

BOOL InvalidateRect(HWND, const RECT*, BOOL)
{
    if (auto failure = headless::Enter("InvalidateRect"))
        return static_cast<BOOL>(*failure);
    return TRUE;
}

void HeadlessSetScreen(int width, int height)
{
    TheDevice().desktopWidth = std::max(width, 0);
    TheDevice().desktopHeight = std::max(height, 0);
}

void HeadlessSetPitchPadding(int bytes)
{
    TheDevice().pitchPadding = std::max(bytes, 0);
}

namespace {
void LoseAllSurfaces()
{
    for (auto& shell : TheDevice().shells) {
        if (auto* surface = dynamic_cast<HeadlessSurface*>(shell.get()); surface != nullptr && surface->alive)
            surface->lost = true;
    }
}
}

void HeadlessLoseSurfaces()
{
    LoseAllSurfaces();
}

int HeadlessReadScreen(unsigned char* indices, unsigned char* rgb, int width, int height)
{
    const HeadlessSurface* primary = LivePrimary();
    if (primary == nullptr || width < 0 || height < 0 || width > primary->width || height > primary->height)
        return -1;
    for (int y = 0; y < height; ++y) {
        const unsigned char* row = primary->Row(y);
        for (int x = 0; x < width; ++x) {
            const size_t at = size_t(y) * size_t(width) + size_t(x);
            if (indices != nullptr)
                indices[at] = row[x];
            if (rgb == nullptr)
                continue;
            const PALETTEENTRY colour = primary->palette ? primary->palette->entries[row[x]] : PALETTEENTRY{};
            rgb[at * 3] = colour.peRed;
            rgb[at * 3 + 1] = colour.peGreen;
            rgb[at * 3 + 2] = colour.peBlue;
        }
    }
    return 0;
}
