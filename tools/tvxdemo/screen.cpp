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

void* OpenScreen(int width, int height, bool)
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
    if (window != nullptr)
        DestroyWindow(static_cast<HWND>(window));
}

// On Windows the script plays: the window is there to be seen.
void PollInput(void*, std::vector<InputEvent>*, Controls*, bool*)
{
    PumpMessages();
}

void Pace(void*, int, int) {}

bool ReadSound(std::vector<unsigned char>*)
{
    return false;
}

#else
#include <tollivex/headless.h>

#ifdef TVXDEMO_WITH_SDL2
#include <SDL.h>
#endif

namespace {
bool inWindow = false;
}

void* OpenScreen(int width, int height, bool window)
{
    HeadlessReset();
    *QueryCanvasRect() = {0, 0, width, height};
    if (!window) {
        HeadlessSetScreen(width, height);
        return HeadlessWindow();
    }
#ifdef TVXDEMO_WITH_SDL2
    if (SetPortableDevice("sdl2") != 0 || SDL_Init(SDL_INIT_VIDEO | SDL_INIT_AUDIO) != 0) {
        std::fprintf(stderr, "tvxdemo: no SDL window: %s\n", SDL_GetError());
        return nullptr;
    }
    inWindow = true;
    return SDL_CreateWindow("Tollivex demo", SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED, width, height, 0);
#else
    std::fputs("tvxdemo: this build has no SDL2 for a window\n", stderr);
    return nullptr;
#endif
}

void* ScreenDeviceContext(void* window)
{
    return window;
}

bool ReadScreen(Canvas&, Palette&, unsigned char* rgb, int width, int height)
{
    return HeadlessReadScreen(nullptr, rgb, width, height) == 0;
}

bool ReadSound(std::vector<unsigned char>* samples)
{
    samples->resize(HeadlessReadSound(nullptr, 0));
    HeadlessReadSound(samples->data(), static_cast<unsigned long>(samples->size()));
    return true;
}

#ifdef TVXDEMO_WITH_SDL2
namespace {
// Keys as the entry field takes them; 0 for keys it does not.
unsigned short EntryKey(const SDL_KeyboardEvent& key)
{
    switch (key.keysym.sym) {
    case SDLK_BACKSPACE: return ENTRY_KEY_BACKSPACE;
    case SDLK_DELETE: return ENTRY_KEY_DELETE;
    case SDLK_LEFT: return ENTRY_KEY_LEFT;
    case SDLK_RIGHT: return ENTRY_KEY_RIGHT;
    case SDLK_HOME: return ENTRY_KEY_HOME;
    case SDLK_END: return ENTRY_KEY_END;
    case SDLK_INSERT: return ENTRY_KEY_INSERT;
    case SDLK_RETURN: return ENTRY_KEY_ENTER;
    default: break;
    }
    const SDL_Keycode code = key.keysym.sym;
    if ((code >= SDLK_a && code <= SDLK_z) || (code >= SDLK_0 && code <= SDLK_9) || code == SDLK_SPACE)
        return static_cast<unsigned short>(code >= SDLK_a && code <= SDLK_z ? code - 32 : code);
    return 0;
}
} // namespace
#endif

void PollInput(void*, std::vector<InputEvent>* events, Controls* controls, bool* quit)
{
#ifdef TVXDEMO_WITH_SDL2
    if (!inWindow)
        return;
    SDL_Event event;
    while (SDL_PollEvent(&event)) {
        if (event.type == SDL_QUIT || (event.type == SDL_KEYDOWN && event.key.keysym.sym == SDLK_ESCAPE))
            *quit = true;
        else if (event.type == SDL_MOUSEMOTION)
            events->push_back({MWIN_MOVE, short(event.motion.x), short(event.motion.y)});
        else if (event.type == SDL_MOUSEBUTTONDOWN)
            events->push_back({MWIN_PRESS, short(event.button.x), short(event.button.y)}),
                events->push_back({MWIN_CLICK, short(event.button.x), short(event.button.y)});
        else if (event.type == SDL_MOUSEBUTTONUP)
            events->push_back({MWIN_RELEASE, short(event.button.x), short(event.button.y)});
        else if (event.type == SDL_KEYDOWN && EntryKey(event.key) != 0)
            events->push_back({MWIN_KEY, short(EntryKey(event.key)), 0});
    }
    const Uint8* keys = SDL_GetKeyboardState(nullptr);
    controls->left = keys[SDL_SCANCODE_LEFT] != 0;
    controls->right = keys[SDL_SCANCODE_RIGHT] != 0;
#else
    (void)events, (void)controls, (void)quit;
#endif
}

void Pace(void*, int frame, int framesPerSecond)
{
    if (!inWindow) {
        HeadlessAdvance(1000 / framesPerSecond);
        return;
    }
#ifdef TVXDEMO_WITH_SDL2
    static Uint32 start = SDL_GetTicks();
    const Uint32 due = start + Uint32((frame + 1) * 1000 / framesPerSecond);
    const Uint32 now = SDL_GetTicks();
    if (due > now)
        SDL_Delay(due - now);
#else
    (void)frame;
#endif
}

void CloseScreen(void* window)
{
#ifdef TVXDEMO_WITH_SDL2
    if (inWindow) {
        if (window != nullptr)
            SDL_DestroyWindow(static_cast<SDL_Window*>(window));
        SDL_Quit();
        inWindow = false;
    }
#else
    (void)window;
#endif
}
#endif
