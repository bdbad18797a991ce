// sdl2_device.cpp - presenting the headless screen in an SDL window and
// feeding an SDL audio device from the headless sound rings.
#include "platform/posix/sdl2_device.h"

#include "tollivex/headless.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#ifdef TOLLIVEX_HAVE_SDL2
#include <SDL.h>
#endif

namespace {

std::string& ChosenDevice()
{
    static std::string chosen;
    return chosen;
}

}

int SetPortableDevice(const char* name)
{
    const std::string wanted = name ? name : "";
    if (wanted != "headless" && wanted != "sdl2")
        return -1;
#ifndef TOLLIVEX_HAVE_SDL2
    if (wanted == "sdl2")
        return -1;
#endif
    ChosenDevice() = wanted;
    return 0;
}

namespace sdl2 {

bool Selected()
{
    if (!ChosenDevice().empty())
        return ChosenDevice() == "sdl2";
    const char* environment = std::getenv("TOLLIVEX_DEVICE");
    return environment != nullptr && std::strcmp(environment, "sdl2") == 0;
}

#ifdef TOLLIVEX_HAVE_SDL2

namespace {

struct Video {
    bool open = false;
    SDL_Window* window = nullptr;
    bool fullScreen = false;
};

Video& TheVideo()
{
    static Video video;
    return video;
}

struct Audio {
    bool initialised = false;
    SDL_AudioDeviceID device = 0;
    Producer producer = nullptr;
};

Audio& TheAudio()
{
    static Audio audio;
    return audio;
}

void Pull(void*, Uint8* stream, int length)
{
    TheAudio().producer(stream, static_cast<unsigned long>(length));
}

// The largest whole-pixel-free scale that fits, centred: letter-boxed.
SDL_Rect FitInside(int width, int height, int areaWidth, int areaHeight)
{
    SDL_Rect target{0, 0, areaWidth, areaHeight};
    if (static_cast<long>(areaWidth) * height > static_cast<long>(areaHeight) * width)
        target.w = static_cast<int>(static_cast<long>(areaHeight) * width / height);
    else
        target.h = static_cast<int>(static_cast<long>(areaWidth) * height / width);
    target.x = (areaWidth - target.w) / 2;
    target.y = (areaHeight - target.h) / 2;
    return target;
}

}

bool OpenVideo()
{
    Video& video = TheVideo();
    if (!video.open && SDL_InitSubSystem(SDL_INIT_VIDEO) == 0)
        video.open = true;
    return video.open;
}

bool AttachWindow(void* window, int* width, int* height)
{
    Video& video = TheVideo();
    // Only a window SDL knows has an id; anything else is no window.
    if (!video.open || window == nullptr || SDL_GetWindowID(static_cast<SDL_Window*>(window)) == 0)
        return false;
    video.window = static_cast<SDL_Window*>(window);
    SDL_GetWindowSize(video.window, width, height);
    return true;
}

void CloseVideo()
{
    Video& video = TheVideo();
    if (!video.open)
        return;
    if (video.window != nullptr && video.fullScreen)
        SDL_SetWindowFullscreen(video.window, 0);
    video = Video{};
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
}

void SetFullScreen(bool fullScreen)
{
    Video& video = TheVideo();
    if (video.window == nullptr || video.fullScreen == fullScreen)
        return;
    SDL_SetWindowFullscreen(video.window, fullScreen ? SDL_WINDOW_FULLSCREEN_DESKTOP : 0);
    video.fullScreen = fullScreen;
}

void Present(const uint8_t* pixels, long pitch, int width, int height, const uint8_t* rgbx)
{
    Video& video = TheVideo();
    if (video.window == nullptr || width <= 0 || height <= 0)
        return;
    SDL_Surface* surface = SDL_GetWindowSurface(video.window);
    if (surface == nullptr)
        return;
    SDL_Rect target{0, 0, width, height};
    if (video.fullScreen)
        target = FitInside(width, height, surface->w, surface->h);
    Uint32 colours[256];
    for (int i = 0; i < 256; ++i)
        colours[i] = SDL_MapRGB(surface->format, rgbx[i * 4], rgbx[i * 4 + 1], rgbx[i * 4 + 2]);
    SDL_LockSurface(surface);
    if (video.fullScreen)
        SDL_memset(surface->pixels, 0, static_cast<size_t>(surface->pitch) * surface->h);
    const int rows = std::min(target.h, surface->h - target.y);
    const int columns = std::min(target.w, surface->w - target.x);
    for (int y = 0; y < rows; ++y) {
        const uint8_t* source = pixels + static_cast<long>(y * height / target.h) * pitch;
        auto* row = reinterpret_cast<Uint8*>(surface->pixels) + (target.y + y) * surface->pitch;
        for (int x = 0; x < columns; ++x) {
            const Uint32 colour = colours[source[x * width / target.w]];
            std::memcpy(row + (target.x + x) * surface->format->BytesPerPixel, &colour,
                        surface->format->BytesPerPixel);
        }
    }
    SDL_UnlockSurface(surface);
    SDL_UpdateWindowSurface(video.window);
}

bool Minimised()
{
    Video& video = TheVideo();
    const Uint32 gone = SDL_WINDOW_MINIMIZED | SDL_WINDOW_HIDDEN;
    return video.window != nullptr && (SDL_GetWindowFlags(video.window) & gone) != 0;
}

bool InitAudio()
{
    Audio& audio = TheAudio();
    if (!audio.initialised && SDL_InitSubSystem(SDL_INIT_AUDIO) == 0)
        audio.initialised = true;
    return audio.initialised;
}

bool OpenAudio(unsigned long rate, unsigned channels, unsigned bits, Producer producer)
{
    CloseAudio();
    if (producer == nullptr || !InitAudio())
        return false;
    SDL_AudioSpec wanted{};
    wanted.freq = static_cast<int>(rate);
    wanted.format = bits == 16 ? AUDIO_S16LSB : AUDIO_U8;
    wanted.channels = static_cast<Uint8>(channels);
    wanted.samples = 1024;
    wanted.callback = Pull;
    Audio& audio = TheAudio();
    audio.producer = producer;
    audio.device = SDL_OpenAudioDevice(nullptr, 0, &wanted, nullptr, 0);
    if (audio.device == 0)
        return false;
    SDL_PauseAudioDevice(audio.device, 0);
    return true;
}

// Closes the device and lets go of SDL's audio, which InitAudio took.
void CloseAudio()
{
    Audio& audio = TheAudio();
    if (audio.device != 0)
        SDL_CloseAudioDevice(audio.device);
    if (audio.initialised)
        SDL_QuitSubSystem(SDL_INIT_AUDIO);
    audio = Audio{};
}

#else // built without SDL2: the device can be asked for but never opens

bool OpenVideo() { return false; }
bool AttachWindow(void*, int*, int*) { return false; }
void CloseVideo() {}
void SetFullScreen(bool) {}
void Present(const uint8_t*, long, int, int, const uint8_t*) {}
bool Minimised() { return false; }
bool InitAudio() { return false; }
bool OpenAudio(unsigned long, unsigned, unsigned, Producer) { return false; }
void CloseAudio() {}

#endif

}
