// The sdl2 device: the same drawing shown in an SDL window through SDL's
// dummy video driver, and the same sound written by its disk audio driver.
// Native only, and only where the library was built with SDL2.
#include "support/workdir.h"
#include "test_digimix_helpers.h"

#include <gtest/gtest.h>

#if defined(TOLLIVEX_HEADLESS) && defined(TOLLIVEX_HAVE_SDL2)

#include <tollivex.h>
#include <tollivex/headless.h>

#include <SDL.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

class Sdl2Device : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("SDL_VIDEODRIVER", "dummy", 1);
        setenv("SDL_AUDIODRIVER", "dummy", 1);
        DebugInit();
        HeadlessReset();
        ASSERT_EQ(SetPortableDevice("sdl2"), 0);
        ASSERT_EQ(SDL_InitSubSystem(SDL_INIT_VIDEO), 0) << SDL_GetError();
    }
    void TearDown() override
    {
        CanvasUninitialize();
        SetPortableDevice("headless");
        if (window != nullptr)
            SDL_DestroyWindow(window);
        SDL_QuitSubSystem(SDL_INIT_VIDEO);
    }

    // Draws a pattern through colour i = (i, 255 - i, 7i) and flips it; keeps
    // what the headless screen holds and what the window shows, then locks
    // once more with the window hidden.
    void Frame(unsigned long initFlags, int width, int height)
    {
        window = SDL_CreateWindow("tollivex", 0, 0, width, height, 0);
        unsigned short status = 0;
        ASSERT_EQ(CanvasInitialize(initFlags, window, 640, 480, 8, &status), ERR_OK) << status;
        Canvas display(static_cast<unsigned short>(width), static_cast<unsigned short>(height), 1,
                       CANVAS_DIRECTDRAW | (initFlags ? static_cast<unsigned long>(CANVAS_FULLSCREEN) : 0ul));
        Palette palette;
        Bytes triples;
        for (int i = 0; i < 256; ++i)
            triples.insert(triples.end(), {(unsigned char)i, (unsigned char)(255 - i), (unsigned char)(i * 7)});
        palette.SetValuesFromRaw8(triples.data(), 0, 256);
        display.SetSystemPalette(&palette, 0);
        int restored = 0;
        ASSERT_EQ(display.Lock(&restored, 0), ERR_OK);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                display.QueryRowAddress(y)[x] = static_cast<unsigned char>(x * 3 + y * 5);
        display.Unlock();
        *QueryCanvasRect() = {0, 0, width, height};
        display.Flip(&restored);
        screen.resize(size_t(width) * height * 3);
        ASSERT_EQ(HeadlessReadScreen(nullptr, screen.data(), width, height), 0);
        SDL_Surface* surface = SDL_GetWindowSurface(window);
        shownWidth = surface->w;
        shownHeight = surface->h;
        for (int y = 0; y < surface->h; ++y)
            for (int x = 0; x < surface->w; ++x) {
                Uint32 pixel = 0;
                std::memcpy(&pixel, static_cast<Uint8*>(surface->pixels) + y * surface->pitch + x * 4, 4);
                Uint8 rgb[3] = {};
                SDL_GetRGB(pixel, surface->format, &rgb[0], &rgb[1], &rgb[2]);
                shown.insert(shown.end(), rgb, rgb + 3);
            }
        SDL_HideWindow(window);
        lostWhileHidden = display.Lock(&restored, 0) == ERR_FAILURE && restored == 1;
        SDL_ShowWindow(window);
        display.ReleaseSystemPalette();
    }

    Bytes Shown(int x, int y) const { return Bytes(&shown[(size_t(y) * shownWidth + x) * 3], &shown[(size_t(y) * shownWidth + x) * 3 + 3]); }
    Bytes Drawn(int x, int y, int width) const { return Bytes(&screen[(size_t(y) * width + x) * 3], &screen[(size_t(y) * width + x) * 3 + 3]); }

    SDL_Window* window = nullptr;
    Bytes screen, shown;
    int shownWidth = 0, shownHeight = 0;
    bool lostWhileHidden = false;
};

TEST_F(Sdl2Device, WindowShowsTheFrameAndHidingLosesTheSurfacesHeadless)
{
    Frame(0, 320, 200);
    ASSERT_EQ(shownWidth * 1000 + shownHeight, 320200);
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 320; ++x)
            ASSERT_EQ(Shown(x, y), Drawn(x, y, 320)) << x << "," << y;
    EXPECT_TRUE(lostWhileHidden);
    const auto log = tvxtest::LogEntries();
    EXPECT_NE(std::find(log.begin(), log.end(), "Debug Message: Surface Lost.  Now restoring."), log.end());
}

// Full screen takes the whole desktop (1024 x 768 on the dummy driver): the
// 640 x 480 mode is scaled up with nearest pixels.
TEST_F(Sdl2Device, FullScreenScalesTheModeToTheDesktopHeadless)
{
    Frame(CANVASINIT_FULLSCREEN, 640, 480);
    ASSERT_GT(shownWidth, 640);
    ASSERT_EQ(shownWidth * 480, shownHeight * 640);
    for (int y = 0; y < shownHeight; y += 7)
        for (int x = 0; x < shownWidth; x += 5)
            ASSERT_EQ(Shown(x, y), Drawn(x * 640 / shownWidth, y * 480 / shownHeight, 640)) << x << "," << y;
}

// No video, no audio or a window that is no SDL window: the stated codes,
// never a crash.
TEST_F(Sdl2Device, MissingDevicesFailTheirSetUpHeadless)
{
    unsigned short status = 0;
    EXPECT_EQ(CanvasInitialize(0, HeadlessWindow(), 640, 480, 8, &status), ERR_FAILURE);
    EXPECT_EQ(status, 1238);
    CanvasUninitialize();
    SDL_QuitSubSystem(SDL_INIT_VIDEO);
    setenv("SDL_VIDEODRIVER", "no-such-driver", 1);
    DebugInit();
    EXPECT_EQ(CanvasInitialize(0, HeadlessWindow(), 640, 480, 8, &status), ERR_FAILURE);
    EXPECT_EQ(status, 1237);
    EXPECT_EQ(tvxtest::LogEntries(), std::vector<std::string>{"Debug Message: DirectDraw object creation failed"});
    setenv("SDL_AUDIODRIVER", "no-such-driver", 1);
    tvxtest::OpenMixer open;
    EXPECT_EQ(open.opened, ERR_FAILURE);
    SDL_InitSubSystem(SDL_INIT_VIDEO);
}

// The card pulls what the headless device captures, byte for byte; both
// start with silence of their own length, so they are compared from the
// first sound on.
TEST_F(Sdl2Device, DiskAudioWritesWhatTheDeviceCapturesHeadless)
{
    setenv("SDL_AUDIODRIVER", "disk", 1);
    setenv("SDL_DISKAUDIOFILE", "card.raw", 1);
    Bytes captured;
    {
        tvxtest::OpenMixer open(22050, 1, 8);
        ASSERT_EQ(open.opened, ERR_OK);
        const size_t opened = HeadlessReadSound(nullptr, 0);
        Bytes samples(3000);
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<unsigned char>(100 + i % 57);
        const unsigned long handle = open.mix.CreateSound(samples.data(), 3000, 0, nullptr, nullptr);
        open.mix.PlaySound(handle, 0, 0, 0, 0);
        SDL_Delay(400); // 0.14 s of sound at the card's own pace
        open.mix.Poll();
        open.mix.DeleteSound(handle);
        captured = tvxtest::Captured(opened);
    }
    auto sound = [](const Bytes& bytes) {
        return Bytes(std::find_if(bytes.begin(), bytes.end(), [](unsigned char b) { return b != 0x80; }), bytes.end());
    };
    const Bytes heard = sound(tvxtest::ReadBytes("card.raw")), kept = sound(captured);
    ASSERT_GE(kept.size(), 3000u);
    ASSERT_GE(heard.size(), kept.size());
    EXPECT_TRUE(std::equal(kept.begin(), kept.end(), heard.begin()));
    EXPECT_EQ(kept[0], 100);
}

}

#endif
