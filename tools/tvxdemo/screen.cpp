// screen.cpp - the demo's window and its read-back. Natively the headless
// device's screen; on Windows a popup window over the real DirectDraw.
//
// On Windows the frame is read from the primary surface, the screen's own
// memory, and turned into colours through the game's palette. Reading the
// window through GDI would be no better a witness: on an 8-bit desktop GDI
// reports each colour as the nearest the screen can show (under Wine and
// Xvfb a shared colour cube), and DirectDraw keeps entries 0 and 255 for the
// system's black and white, so GDI's colours differ from the palette's by
// design while the indices on the screen are exact.
#include "screen.h"

#include <tollivex.h>

#include <cstdio>

#ifdef _WIN32
#include <windows.h>
#include <ddraw.h>

namespace {
void PumpMessages()
{
    MSG message;
    while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageA(&message);
    }
}
} // namespace

void* OpenScreen(int width, int height)
{
    WNDCLASSA windowClass = {};
    windowClass.lpfnWndProc = DefWindowProcA;
    windowClass.hInstance = GetModuleHandleA(nullptr);
    windowClass.lpszClassName = "tvxdemo";
    RegisterClassA(&windowClass);
    // A popup has no frame: its client area is the whole window.
    HWND window = CreateWindowA("tvxdemo", "Tollivex demo", WS_POPUP | WS_VISIBLE, 0, 0, width, height, nullptr,
                                nullptr, windowClass.hInstance, nullptr);
    if (window == nullptr)
        return nullptr;
    UpdateWindow(window);
    PumpMessages();
    RECT client;
    GetClientRect(window, &client);
    MapWindowPoints(window, nullptr, reinterpret_cast<POINT*>(&client), 2); // to screen coordinates
    *QueryCanvasRect() = client;
    return window;
}

void* ScreenDeviceContext(void* window)
{
    return GetDC(static_cast<HWND>(window));
}

bool ReadScreen(Canvas& display, Palette& palette, unsigned char* rgb, int width, int height)
{
    PumpMessages();
    DDSURFACEDESC screen = {};
    screen.dwSize = sizeof screen;
    if (display.primarySurface == nullptr ||
        display.primarySurface->Lock(nullptr, &screen, DDLOCK_WAIT, nullptr) != DD_OK)
        return false;
    const RECT& window = *QueryCanvasRect();
    const bool readable = screen.ddpfPixelFormat.dwRGBBitCount == 8 && window.left >= 0 && window.top >= 0 &&
                          window.left + width <= int(screen.dwWidth) && window.top + height <= int(screen.dwHeight);
    for (int y = 0; y < height && readable; ++y) {
        const auto* row =
            static_cast<const unsigned char*>(screen.lpSurface) + (window.top + y) * screen.lPitch + window.left;
        for (int x = 0; x < width; ++x, rgb += 3)
            palette.QueryRGB(row[x], &rgb[0], &rgb[1], &rgb[2]);
    }
    display.primarySurface->Unlock(nullptr);
    if (!readable)
        std::fprintf(stderr, "tvxdemo: the desktop is not 8 bits a pixel\n");
    return readable;
}

void CloseScreen(void* window)
{
    DestroyWindow(static_cast<HWND>(window));
}

#else
#include <tollivex/headless.h>

void* OpenScreen(int width, int height)
{
    HeadlessReset();
    HeadlessSetScreen(width, height);
    *QueryCanvasRect() = {0, 0, width, height};
    return HeadlessWindow();
}

void* ScreenDeviceContext(void* window)
{
    return window;
}

bool ReadScreen(Canvas&, Palette&, unsigned char* rgb, int width, int height)
{
    return HeadlessReadScreen(nullptr, rgb, width, height) == 0;
}

void CloseScreen(void*) {}
#endif
