// screen.cpp - the demo's window and its read-back. Natively the headless
// device's screen; on Windows a popup window whose pixels come back through
// GDI, so the frame is checked as the player would see it.
#include "screen.h"

#include <tollivex.h>

#ifdef _WIN32
#include <windows.h>

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

bool ReadScreen(void* window, unsigned char* rgb, int width, int height)
{
    PumpMessages();
    HDC windowDc = GetDC(static_cast<HWND>(window));
    HDC memoryDc = CreateCompatibleDC(windowDc);
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height; // top-down rows
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 24;
    void* bits = nullptr;
    HBITMAP bitmap = CreateDIBSection(memoryDc, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
    bool read = false;
    if (bitmap != nullptr) {
        HGDIOBJ old = SelectObject(memoryDc, bitmap);
        read = BitBlt(memoryDc, 0, 0, width, height, windowDc, 0, 0, SRCCOPY) != 0;
        GdiFlush();
        const int stride = (width * 3 + 3) & ~3;
        for (int y = 0; y < height && read; ++y) {
            const auto* row = static_cast<const unsigned char*>(bits) + y * stride;
            for (int x = 0; x < width; ++x) { // DIB rows are blue, green, red
                rgb[(y * width + x) * 3] = row[x * 3 + 2];
                rgb[(y * width + x) * 3 + 1] = row[x * 3 + 1];
                rgb[(y * width + x) * 3 + 2] = row[x * 3];
            }
        }
        SelectObject(memoryDc, old);
        DeleteObject(bitmap);
    }
    DeleteDC(memoryDc);
    ReleaseDC(static_cast<HWND>(window), windowDc);
    return read;
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

bool ReadScreen(void*, unsigned char* rgb, int width, int height)
{
    return HeadlessReadScreen(nullptr, rgb, width, height) == 0;
}

void CloseScreen(void*) {}
#endif
