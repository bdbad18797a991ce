// The display canvas through the headless device (native only) and, under
// Wine, through the real DirectDraw in a window.
#include "support/pictures.h"
#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

using tvxtest::AssertLine;
using tvxtest::LogEntries;

namespace {
using Lines = std::vector<std::string>;

// What the frame tests draw: a border, a diagonal and a block on colour 0.
void DrawPattern(Canvas& canvas)
{
    canvas.Clear(0);
    canvas.SetDrawColor(3);
    canvas.Rectangle(0, 0, short(canvas.QueryWidth() - 1), short(canvas.QueryHeight() - 1));
    canvas.SetDrawColor(200);
    canvas.Line(2, 2, 20, 11);
    canvas.SetDrawColor(77);
    canvas.FilledRectClipped(30, 5, 40, 9);
}

// Colour i is (i, 255 - i, i / 2).
void MakeRamp(Palette& palette)
{
    std::vector<unsigned char> triples;
    for (int i = 0; i < 256; ++i)
        triples.insert(triples.end(), {(unsigned char)i, (unsigned char)(255 - i), (unsigned char)(i / 2)});
    palette.SetValuesFromRaw8(triples.data(), 0, 256);
}
} // namespace

#ifdef TOLLIVEX_HEADLESS
#include <tollivex/headless.h>

namespace {
// The device calls since the last look.
Lines NewTrace()
{
    static size_t seen = 0;
    const std::string all = HeadlessTrace();
    std::istringstream unseen(all.substr(std::min(seen, all.size())));
    seen = all.size();
    Lines lines;
    for (std::string line; std::getline(unseen, line);)
        lines.push_back(line);
    return lines;
}

// The log's messages without their prefix; an assertion at a line of the
// code's own choosing (not a fixed number) reads "canvas assert".
Lines Log()
{
    Lines log = LogEntries();
    for (auto& line : log) {
        if (line.rfind("Debug Message: ", 0) == 0)
            line.erase(0, 15);
        else if (line != AssertLine("canvas", 1871) && line != AssertLine("canvas", 1795))
            line = "canvas assert";
    }
    return log;
}

const std::string kSurface = "IDirectDrawSurface::", kCreate = "IDirectDraw::CreateSurface ";

class DisplayCanvas : public testing::Test {
protected:
    void SetUp() override { Reset(); }
    void TearDown() override { CanvasUninitialize(); }

    static void Reset()
    {
        DebugInit();
        HeadlessReset();
        NewTrace();
    }

    static void Initialise(unsigned long flags = 0)
    {
        unsigned short status = 99;
        ASSERT_EQ(CanvasInitialize(flags, HeadlessWindow(), 800, 600, 8, &status) + status, 0);
    }

    static std::vector<unsigned char> Screen(int width, int height)
    {
        std::vector<unsigned char> indices(size_t(width) * height);
        EXPECT_EQ(HeadlessReadScreen(indices.data(), nullptr, width, height), 0);
        return indices;
    }
};
} // namespace

TEST_F(DisplayCanvas, WholeFrameThroughTheTraceAndTheScreenHeadless)
{
    HeadlessSetPitchPadding(12);
    Initialise();
    Palette palette;
    MakeRamp(palette);
    {
        Canvas display(62, 32, 0, CANVAS_DIRECTDRAW);
        display.SetSystemVariables(HeadlessWindow());
        display.SetSystemPalette(&palette, 0);
        *QueryCanvasRect() = {8, 4, 72, 36};
        int restored = 5;
        EXPECT_EQ(display.Flip(&restored), 1); // before any Lock: the blank back surface
        ASSERT_EQ(display.Lock(&restored, 0), ERR_OK);
        EXPECT_EQ(restored, 0);
        EXPECT_EQ(display.QueryRowIncrement(), 76); // the pitch, top-down although asked bottom-up
        DrawPattern(display);
        display.Unlock();
        EXPECT_EQ(display.Flip(&restored), 1);

        Canvas model(64, 32, 1, CANVAS_MEMORY);
        DrawPattern(model);
        const auto screen = Screen(80, 40);
        for (int y = 0; y < 40; ++y) {
            for (int x = 0; x < 80; ++x) {
                const bool inside = x >= 8 && x < 72 && y >= 4 && y < 36;
                const unsigned drawn = inside ? model.GetPixel(short(x - 8), short(y - 4)) : 0;
                ASSERT_EQ(screen[y * 80 + x], drawn) << x << "," << y;
            }
        }
        display.ReleaseSystemPalette();
    }
    CanvasUninitialize();
    const std::string blt = kSurface + "Blt 8 4 72 36 16777216";
    const Lines expected = {"DirectDrawCreate", "IDirectDraw::SetCooperativeLevel 8", kCreate + "1 16896 0 0",
                            kCreate + "7 64 64 32", "IDirectDraw::CreateClipper", "IDirectDrawClipper::SetHWnd",
                            kSurface + "SetClipper", kSurface + "SetPalette 0", "IDirectDraw::CreatePalette 4",
                            kSurface + "SetPalette 1", blt, kSurface + "IsLost", kSurface + "Lock 1",
                            kSurface + "Unlock", blt, "IDirectDrawPalette::Release", kSurface + "Release",
                            kSurface + "Release", "IDirectDrawClipper::Release", "IDirectDraw::SetCooperativeLevel 8",
                            "IDirectDraw::Release"};
    EXPECT_EQ(NewTrace(), expected);
    EXPECT_EQ(Log(), Lines{"Setting DirectDraw palette alone"});
    EXPECT_EQ(HeadlessReadScreen(nullptr, nullptr, 1, 1), -1); // no primary left
}

TEST_F(DisplayCanvas, InitialisationPathsAndTheirCodesHeadless)
{
    struct Case {
        unsigned long flags;
        const char* failing;
        unsigned short status;
        Lines log, trace;
        int paletteOnly;
    };
    const std::string level = "IDirectDraw::SetCooperativeLevel ", mode = "IDirectDraw::SetDisplayMode 800 600 8";
    const Case cases[] = {
        {0, "DirectDrawCreate", 1237, {"DirectDraw object creation failed"}, {"DirectDrawCreate"}, 0},
        {0, "IDirectDraw::SetCooperativeLevel", 1238, {"Set cooperative level failed."},
         {"DirectDrawCreate", level + "8", level + "8", "IDirectDraw::Release"}, 0},
        {0x14, "IDirectDraw::SetCooperativeLevel", 1238, {"Set cooperative level failed."},
         {"DirectDrawCreate", level + "9", level + "8", "IDirectDraw::Release"}, 0},
        {0x14, "IDirectDraw::SetDisplayMode", 1238, {"Set video mode failed."},
         {"DirectDrawCreate", level + "9", mode, level + "8", "IDirectDraw::Release"}, 0},
        {0x14, "", 0, {},
         {"DirectDrawCreate", level + "9", mode, "IDirectDraw::RestoreDisplayMode", level + "8", level + "8",
          "IDirectDraw::Release"}, 1},
        {0x10, "", 0, {}, {"DirectDrawCreate", level + "8", level + "8", "IDirectDraw::Release"}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.failing);
        Reset();
        HeadlessFail(c.failing, 0x88760082, 0);
        unsigned short status = 99;
        EXPECT_EQ(CanvasInitialize(c.flags, HeadlessWindow(), 800, 600, 8, &status), c.status ? 1 : 0);
        EXPECT_EQ(status, c.status);
        EXPECT_EQ(QueryDDPaletteOnly(), c.paletteOnly);
        EXPECT_EQ(Log(), c.log);
        // No display canvas without a display.
        EXPECT_TRUE(c.status == 0 || Canvas(64, 32, 1, CANVAS_DIRECTDRAW).errorCode == ERR_CANVAS_CREATE);
        EXPECT_EQ(CanvasUninitialize(), ERR_OK);
        EXPECT_EQ(NewTrace(), c.trace);
    }
}

TEST_F(DisplayCanvas, SurfaceFailuresGive1236AndReleaseWhatWasMadeHeadless)
{
    struct Case {
        const char* failing;
        int after;
        unsigned long flags;
        unsigned short code;
        Lines log, calls; // calls: after the primary's first attempt, through the destructor
    };
    const std::string back = kCreate + "7 64 64 32", release = kSurface + "Release";
    const std::string clipper = "IDirectDraw::CreateClipper", hwnd = "IDirectDrawClipper::SetHWnd";
    const Case cases[] = {
        {"IDirectDraw::CreateSurface", 0, CANVAS_FULLSCREEN, 0, {}, {kCreate + "1 512 0 0", back, release}},
        {"IDirectDraw::CreateSurface", 1, 0, 1236, {"canvas assert"}, {back, release}},
        {"IDirectDraw::CreateClipper", 0, 0, 1236, {"canvas assert"}, {back, clipper, release, release}},
        {"IDirectDrawClipper::SetHWnd", 0, 0, 1236, {"Cannot create clipper object!", "canvas assert"},
         {back, clipper, hwnd, release, release, "IDirectDrawClipper::Release"}},
        {"IDirectDrawSurface::SetClipper", 0, 0, 1236, {"Cannot attach Clipper to primary surface!", "canvas assert"},
         {back, clipper, hwnd, kSurface + "SetClipper", release, release, "IDirectDrawClipper::Release"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.failing);
        Reset();
        Initialise();
        HeadlessFail(c.failing, 0x80004005, c.after);
        NewTrace();
        EXPECT_EQ(Canvas(64, 32, 1, CANVAS_DIRECTDRAW | c.flags).errorCode, c.code);
        Lines calls = {kCreate + "1 16896 0 0"};
        calls.insert(calls.end(), c.calls.begin(), c.calls.end());
        EXPECT_EQ(NewTrace(), calls);
        EXPECT_EQ(Log(), c.log);
        CanvasUninitialize();
    }
    // No surfaces at all: Lock asserts and fails, Flip and Unlock touch nothing.
    Reset();
    Initialise();
    HeadlessFail("IDirectDraw::CreateSurface", 0x80004005, 0);
    HeadlessFail("IDirectDraw::CreateSurface", 0x80004005, 0);
    Canvas broken(64, 32, 1, CANVAS_DIRECTDRAW);
    NewTrace();
    int restored = 3;
    EXPECT_EQ(broken.Lock(&restored, 0), ERR_FAILURE);
    EXPECT_EQ(broken.Flip(&restored), 1);
    broken.Unlock();
    EXPECT_EQ(restored, 0);
    EXPECT_TRUE(NewTrace().empty());
    EXPECT_EQ(Log(), (Lines{"canvas assert", AssertLine("canvas", 1871)}));
}

TEST_F(DisplayCanvas, LockReportsLostSurfacesAndEveryErrorHeadless)
{
    Initialise();
    Canvas display(64, 32, 1, CANVAS_DIRECTDRAW);
    int restored = 0;
    ASSERT_EQ(display.Lock(&restored, 0), ERR_OK);
    unsigned char* const buffer = display.QueryRowAddress(0);
    display.Unlock();
    struct Case {
        long isLost, lock;
        int restored; // starting from 7
        Lines log;
    };
    const std::string restoring = "Surface Lost.  Now restoring.", again = "Surface Lost again.  What's with this?";
    const Case cases[] = {
        {0x887601C2, 0, 0, {restoring}},
        {0x887601C2, 0x887601C2, 1, {restoring, again, "Lock Error.", "Surface Lost"}},
        {0, 0x887601C2, 7, {again, "Lock Error.", "Surface Lost"}},
        {0, 0x88760082, 0, {"Lock Error.", "Invalid object"}},
        {0, 0x80000002, 0, {"Lock Error.", "Out of memory"}},
        {0, 0x80000003, 0, {"Lock Error.", "Invalid params"}},
        {0, 0x887601AE, 0, {"Lock Error.", "Surface Busy"}},
        {0, 0x8876021C, 0, {"Lock Error.", "Was still drawing"}},
        {0, 0x8007000E, 0, {"Lock Error."}}, // today's out-of-memory code is not in the table
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.lock);
        DebugInit();
        NewTrace();
        if (c.isLost)
            HeadlessFail("IDirectDrawSurface::IsLost", c.isLost, 0);
        if (c.lock)
            HeadlessFail("IDirectDrawSurface::Lock", c.lock, 0);
        restored = 7;
        EXPECT_EQ(display.Lock(&restored, 0), c.lock ? ERR_FAILURE : ERR_OK);
        display.Unlock();
        EXPECT_EQ(restored, c.restored);
        EXPECT_EQ(display.QueryRowAddress(0), buffer);
        EXPECT_EQ(Log(), c.log);
        Lines trace = {kSurface + "IsLost", kSurface + "Lock 1", kSurface + "Unlock"};
        if (c.isLost)
            trace.insert(trace.begin() + 1, kSurface + "Restore");
        EXPECT_EQ(NewTrace(), trace);
    }
    // Really lost: Lock restores the primary only; the back surface stays
    // lost, and Flip's blit fails unexamined.
    HeadlessLoseSurfaces();
    restored = 0;
    EXPECT_EQ(display.Lock(&restored, 0), ERR_FAILURE);
    EXPECT_EQ(restored, 1);
    EXPECT_EQ(display.Flip(&restored), 1);
    EXPECT_EQ(restored, 0);
    EXPECT_EQ(display.Lock(&restored, 0), ERR_FAILURE);
    EXPECT_EQ(restored, 0);
}

TEST_F(DisplayCanvas, RowTableFollowsThePitchAndClearIgnoresItHeadless)
{
    Initialise();
    Canvas display(8, 4, 1, CANVAS_DIRECTDRAW);
    HeadlessSetPitchPadding(8);
    Canvas padded(8, 4, 1, CANVAS_DIRECTDRAW);
    int restored = 0;
    ASSERT_EQ(padded.Lock(&restored, 0), ERR_OK);
    padded.Clear(3); // 32 bytes from the start: two padded rows, not four
    padded.SetDrawColor(5);
    padded.HorizLine(0, 7, 3);
    EXPECT_EQ(tvxtest::Picture(padded), "33333333 33333333 ........ 55555555");
    padded.Unlock();

    ASSERT_EQ(display.Lock(&restored, 0), ERR_OK);
    unsigned char* const top = display.QueryRowAddress(0);
    display.CalculateRowOffsets(8, 4, 0); // rows bottom-up from now on
    display.Unlock();
    ASSERT_EQ(display.Lock(&restored, 0), ERR_OK); // same pitch: the table is kept
    EXPECT_EQ(display.QueryRowAddress(0), top + 24);
    display.Unlock();
    std::swap(display.backSurface, padded.backSurface); // a pitch of 16: rebuilt
    ASSERT_EQ(display.Lock(&restored, 0), ERR_OK);
    EXPECT_EQ(display.QueryRowIncrement(), 16);
    EXPECT_EQ(display.QueryRowAddress(3) - display.QueryRowAddress(0), 48);
    EXPECT_EQ(display.GetPixel(0, 3), 5u);
    display.Unlock();
    std::swap(display.backSurface, padded.backSurface);
}

TEST_F(DisplayCanvas, FlipBlitsTo640By480FullScreenAndToTheRectangleWindowedHeadless)
{
    struct Case {
        unsigned long flags;
        tagRECT rect, lit; // lit: where the screen shows the canvas
        std::string blt;
    };
    const Case cases[] = {
        {CANVASINIT_FULLSCREEN, {}, {0, 0, 640, 480}, "0 0 640 480"},
        {0, {}, {}, "0 0 0 0"}, // the game never set the rectangle
        {0, {760, 580, 860, 680}, {760, 580, 800, 600}, "760 580 860 680"}, // cut by the clipper
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.blt);
        Reset();
        HeadlessSetScreen(800, 600);
        Initialise(c.flags);
        *QueryCanvasRect() = c.rect;
        {
            Canvas display(800, 600, 1, CANVAS_DIRECTDRAW | (c.flags ? CANVAS_FULLSCREEN : 0ul));
            int restored = 4;
            ASSERT_EQ(display.Lock(&restored, 0), ERR_OK);
            display.Clear(9);
            display.Unlock();
            NewTrace();
            EXPECT_EQ(display.Flip(&restored), 1);
            EXPECT_EQ(restored, 0);
            EXPECT_EQ(NewTrace(), Lines{kSurface + "Blt " + c.blt + " 16777216"});
            const auto screen = Screen(800, 600);
            for (int y = 0; y < 600; ++y) {
                for (int x = 0; x < 800; ++x) {
                    const bool lit = x >= c.lit.left && x < c.lit.right && y >= c.lit.top && y < c.lit.bottom;
                    ASSERT_EQ(screen[y * 800 + x], lit ? 9 : 0) << x << "," << y;
                }
            }
        }
        CanvasUninitialize();
    }
}

TEST_F(DisplayCanvas, SystemPaletteThroughGdiOrDirectDrawAloneHeadless)
{
    Initialise();
    Palette palette;
    MakeRamp(palette);
    Canvas display(256, 1, 1, CANVAS_DIRECTDRAW);
    display.SetSystemVariables(HeadlessWindow());
    *QueryCanvasRect() = {0, 0, 256, 1};
    int restored = 0;
    ASSERT_EQ(display.Lock(&restored, 0), ERR_OK);
    for (short x = 0; x < 256; ++x) {
        display.SetDrawColor((unsigned char)x);
        display.PutPixel(x, 0);
    }
    display.Unlock();
    display.Flip(&restored);

    struct Case {
        int useGdi;
        bool failGdi;
        Lines log, trace;
        size_t released; // calls made by ReleaseSystemPalette
    };
    const std::string palette0 = kSurface + "SetPalette 0", palette1 = kSurface + "SetPalette 1";
    const Lines gdi = {palette0, "CreatePalette 256", "SelectPalette", "SetSystemPaletteUse 1", "RealizePalette",
                       "IDirectDraw::CreatePalette 4", palette1};
    const Case cases[] = {
        {0, false, {"Setting DirectDraw palette alone"}, {palette0, "IDirectDraw::CreatePalette 4", palette1}, 1},
        {1, false, {"Attempting to create palette", "256 Palette entries set"}, gdi, 5},
        {1, true, {"Attempting to create palette", AssertLine("canvas", 1795), "0 Palette entries set"}, gdi, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.log.back());
        DebugInit();
        if (c.failGdi)
            HeadlessFail("CreatePalette", 0, 0);
        NewTrace();
        display.SetSystemPalette(&palette, c.useGdi);
        EXPECT_EQ(palette.QueryFormat(), PALFMT_RGBX);
        EXPECT_EQ(palette.QueryFlag(), 5);
        EXPECT_EQ(Log(), c.log);
        EXPECT_EQ(NewTrace(), c.trace);
        // Through GDI the game's entries from 10 on fill the palette from 0.
        const int shift = c.useGdi ? 10 : 0;
        unsigned char rgb[256 * 3];
        ASSERT_EQ(HeadlessReadScreen(nullptr, rgb, 256, 1), 0);
        for (int i = 0; i < 256; ++i) {
            const bool set = shift == 0 || i < 236;
            ASSERT_EQ(rgb[i * 3], set ? i + shift : 0) << i;
            ASSERT_EQ(rgb[i * 3 + 1], set ? 255 - i - shift : 0) << i;
        }
        display.ReleaseSystemPalette();
        EXPECT_EQ(NewTrace().size(), c.released);
    }
    // A new palette frees the ones it replaces, the GDI one once deselected.
    display.SetSystemPalette(&palette, 1);
    NewTrace();
    display.SetSystemPalette(&palette, 1);
    const Lines again = NewTrace();
    ASSERT_EQ(again.size(), 9u);
    EXPECT_EQ(again[1], "IDirectDrawPalette::Release");
    EXPECT_EQ(again[4], "DeleteObject");
}
#endif

#ifdef _WIN32
#include <windows.h>
#include <ddraw.h>

// The real DirectDraw under Wine on an 8-bit X screen. The primary holds
// the drawn indices exactly; the window shows them through the palette,
// except that entries 0 and 255 stay the system's black and white (no
// DDPCAPS_ALLOW256), and GDI reports the nearest colour the screen can show.
// A full-screen mode the X server cannot switch to is refused as stated.
TEST(DisplayWindows, FrameOnTheScreenAndFullScreenModes)
{
    DebugInit();
    WNDCLASSA windowClass = {};
    windowClass.lpfnWndProc = DefWindowProcA;
    windowClass.hInstance = GetModuleHandleA(nullptr);
    windowClass.lpszClassName = "TollivexDisplayTest";
    RegisterClassA(&windowClass);
    HWND window = CreateWindowA("TollivexDisplayTest", "display", WS_POPUP | WS_VISIBLE, 0, 0, 64, 32, nullptr,
                                nullptr, windowClass.hInstance, nullptr); // client and screen coordinates agree
    ASSERT_NE(window, nullptr);
    unsigned short status = 0;
    ASSERT_EQ(CanvasInitialize(0, window, 64, 32, 8, &status), ERR_OK) << status;
    Palette palette;
    MakeRamp(palette);
    HDC dc = GetDC(window);
    {
        Canvas display(64, 32, 1, CANVAS_DIRECTDRAW);
        ASSERT_EQ(display.errorCode, 0);
        display.SetSystemVariables(dc);
        display.SetSystemPalette(&palette, 0);
        *QueryCanvasRect() = {0, 0, 64, 32};
        int restored = 0;
        ASSERT_EQ(display.Lock(&restored, 0), ERR_OK);
        DrawPattern(display);
        display.Unlock();
        display.Flip(&restored);

        Canvas model(64, 32, 1, CANVAS_MEMORY);
        DrawPattern(model);
        DDSURFACEDESC screen = {};
        screen.dwSize = sizeof screen;
        ASSERT_EQ(display.primarySurface->Lock(nullptr, &screen, DDLOCK_WAIT, nullptr), DD_OK);
        std::vector<unsigned char> indices(64 * 32);
        for (int y = 0; y < 32 && screen.ddpfPixelFormat.dwRGBBitCount == 8; ++y)
            std::memcpy(&indices[y * 64], static_cast<unsigned char*>(screen.lpSurface) + y * screen.lPitch, 64);
        display.primarySurface->Unlock(nullptr);
        ASSERT_EQ(screen.ddpfPixelFormat.dwRGBBitCount, 8u) << "the X screen must be 8-bit";
        for (int y = 0; y < 32; ++y) {
            for (int x = 0; x < 64; ++x) {
                const unsigned i = model.GetPixel(short(x), short(y));
                ASSERT_EQ(indices[y * 64 + x], i) << x << "," << y;
                const COLORREF shown = i == 0 ? RGB(0, 0, 0) : GetNearestColor(dc, RGB(i, 255 - i, i / 2));
                ASSERT_EQ(GetPixel(dc, x, y), shown) << x << "," << y;
            }
        }
        display.ReleaseSystemPalette();
    }
    ReleaseDC(window, dc);
    CanvasUninitialize();

    const unsigned short modes[][3] = {{640, 480, 8}, {800, 600, 8}, {640, 480, 16}};
    for (const auto& mode : modes) {
        DebugInit();
        if (CanvasInitialize(CANVASINIT_FULLSCREEN, window, mode[0], mode[1], mode[2], &status) == ERR_OK) {
            Canvas display(640, 480, 1, CANVAS_DIRECTDRAW | CANVAS_FULLSCREEN);
            int restored = 0;
            EXPECT_EQ(display.Lock(&restored, 0), ERR_OK);
            display.Unlock();
        } else {
            EXPECT_EQ(status, ERR_CANVAS_MODE) << mode[0] << "x" << mode[1] << "x" << mode[2];
            EXPECT_EQ(LogEntries(), Lines{"Debug Message: Set video mode failed."});
        }
        CanvasUninitialize();
    }
    DestroyWindow(window);
}
#endif
