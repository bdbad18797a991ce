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

// What every display test draws: a frame, a diagonal and a block.
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
Lines Split(const std::string& text)
{
    Lines lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// The trace since the last call, so each step can be checked on its own.
Lines NewTrace()
{
    static size_t seen = 0;
    const std::string all = HeadlessTrace();
    if (all.size() < seen)
        seen = 0;
    Lines lines = Split(all.substr(seen));
    seen = all.size();
    return lines;
}

// The log, with assertions whose line is the code's own read as "canvas assert".
Lines Log()
{
    Lines log = LogEntries();
    for (auto& line : log) {
        if (line.rfind("Assert error in file canvas", 0) == 0 && line != AssertLine("canvas", 1871) &&
            line != AssertLine("canvas", 1795))
            line = "canvas assert";
    }
    return log;
}

const std::string kBlt = "IDirectDrawSurface::Blt ";
const Lines kWindowedCanvas = {"IDirectDraw::CreateSurface 1 16896 0 0", "IDirectDraw::CreateSurface 7 64 64 32",
                               "IDirectDraw::CreateClipper", "IDirectDrawClipper::SetHWnd",
                               "IDirectDrawSurface::SetClipper"};

class DisplayCanvas : public testing::Test {
protected:
    void SetUp() override
    {
        DebugInit();
        HeadlessReset();
        NewTrace();
    }
    void TearDown() override { CanvasUninitialize(); }

    static void Initialise(unsigned long flags = 0, unsigned short width = 640, unsigned short height = 480)
    {
        unsigned short status = 99;
        ASSERT_EQ(CanvasInitialize(flags, HeadlessWindow(), width, height, 8, &status), ERR_OK);
        ASSERT_EQ(status, 0);
    }

    static std::vector<unsigned char> Screen(int width, int height, bool rgb = false)
    {
        std::vector<unsigned char> pixels(size_t(width) * height * (rgb ? 3 : 1));
        EXPECT_EQ(HeadlessReadScreen(rgb ? nullptr : pixels.data(), rgb ? pixels.data() : nullptr, width, height), 0);
        return pixels;
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
        ASSERT_EQ(display.errorCode, 0);
        EXPECT_EQ(display.QueryWidth(), 64);
        display.SetSystemVariables(HeadlessWindow());
        display.SetSystemPalette(&palette, 0);
        *QueryCanvasRect() = {8, 4, 72, 36};
        int restored = 5;
        ASSERT_EQ(display.Lock(&restored, 0), ERR_OK);
        EXPECT_EQ(restored, 0);
        EXPECT_EQ(display.QueryRowIncrement(), 76); // the pitch, top-down although asked bottom-up
        DrawPattern(display);
        display.Unlock();
        EXPECT_EQ(display.Flip(&restored), 1);

        Canvas model(64, 32, 1, CANVAS_MEMORY);
        DrawPattern(model);
        const auto indices = Screen(80, 40);
        const auto rgb = Screen(80, 40, true);
        for (int y = 0; y < 40; ++y) {
            for (int x = 0; x < 80; ++x) {
                const bool inside = x >= 8 && x < 72 && y >= 4 && y < 36;
                const unsigned char index = inside ? (unsigned char)model.GetPixel(short(x - 8), short(y - 4)) : 0;
                const size_t at = size_t(y) * 80 + x;
                ASSERT_EQ(indices[at], index) << x << "," << y;
                ASSERT_EQ(rgb[at * 3] + 1000 * rgb[at * 3 + 1] + 1000000 * rgb[at * 3 + 2],
                          index + 1000 * (255 - index) + 1000000 * (index / 2)) << x << "," << y;
            }
        }
        display.ReleaseSystemPalette();
    }
    CanvasUninitialize();
    Lines expected = {"DirectDrawCreate", "IDirectDraw::SetCooperativeLevel 8"};
    expected.insert(expected.end(), kWindowedCanvas.begin(), kWindowedCanvas.end());
    expected.insert(expected.end(),
                    {"IDirectDrawSurface::SetPalette 0", "IDirectDraw::CreatePalette 4",
                     "IDirectDrawSurface::SetPalette 1", "IDirectDrawSurface::IsLost", "IDirectDrawSurface::Lock 1",
                     "IDirectDrawSurface::Unlock", kBlt + "8 4 72 36 16777216", "IDirectDrawPalette::Release",
                     "IDirectDrawSurface::Release", "IDirectDrawSurface::Release", "IDirectDrawClipper::Release",
                     "IDirectDraw::SetCooperativeLevel 8", "IDirectDraw::Release"});
    EXPECT_EQ(NewTrace(), expected);
    EXPECT_EQ(LogEntries(), Lines{"Debug Message: Setting DirectDraw palette alone"});
    EXPECT_EQ(HeadlessReadScreen(nullptr, nullptr, 1, 1), -1); // no primary left
}

TEST_F(DisplayCanvas, InitialisationPathsAndTheirCodesHeadless)
{
    struct Case {
        unsigned long flags;
        const char* failing;
        int after;
        unsigned short status;
        const char* log;
        Lines trace;
        int paletteOnly;
    };
    const std::string level = "IDirectDraw::SetCooperativeLevel ";
    const Case cases[] = {
        {0, "DirectDrawCreate", 0, 1237, "DirectDraw object creation failed", {"DirectDrawCreate"}, 0},
        {0, "IDirectDraw::SetCooperativeLevel", 0, 1238, "Set cooperative level failed.",
         {"DirectDrawCreate", level + "8", level + "8", "IDirectDraw::Release"}, 0},
        {0x14, "IDirectDraw::SetCooperativeLevel", 0, 1238, "Set cooperative level failed.",
         {"DirectDrawCreate", level + "9", level + "8", "IDirectDraw::Release"}, 0},
        {0x14, "IDirectDraw::SetDisplayMode", 0, 1238, "Set video mode failed.",
         {"DirectDrawCreate", level + "9", "IDirectDraw::SetDisplayMode 800 600 8", level + "8",
          "IDirectDraw::Release"}, 0},
        {0x14, "", 0, 0, nullptr,
         {"DirectDrawCreate", level + "9", "IDirectDraw::SetDisplayMode 800 600 8",
          "IDirectDraw::RestoreDisplayMode", level + "8", level + "8", "IDirectDraw::Release"}, 1},
        {0x10, "", 0, 0, nullptr, {"DirectDrawCreate", level + "8", level + "8", "IDirectDraw::Release"}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.failing);
        DebugInit();
        HeadlessReset();
        HeadlessFail(c.failing, 0x88760082, c.after);
        unsigned short status = 99;
        EXPECT_EQ(CanvasInitialize(c.flags, HeadlessWindow(), 800, 600, 8, &status), c.status ? 1 : 0);
        EXPECT_EQ(status, c.status);
        EXPECT_EQ(QueryDDPaletteOnly(), c.paletteOnly);
        if (c.status != 0) { // no display canvas without a display
            Canvas refused(64, 32, 1, CANVAS_DIRECTDRAW);
            EXPECT_EQ(refused.errorCode, ERR_CANVAS_CREATE);
        }
        EXPECT_EQ(CanvasUninitialize(), ERR_OK);
        EXPECT_EQ(Split(HeadlessTrace()), c.trace);
        EXPECT_EQ(LogEntries().empty() ? "" : LogEntries()[0], c.log ? std::string("Debug Message: ") + c.log : "");
    }
}

TEST_F(DisplayCanvas, SurfaceFailuresGive1236AndReleaseWhatWasMadeHeadless)
{
    struct Case {
        const char* failing;
        int after;
        unsigned long flags;
        unsigned short code;
        const char* log;
        Lines made;      // after the primary's first attempt
        Lines released;  // by the destructor
    };
    const std::string s = "IDirectDrawSurface::", create = "IDirectDraw::CreateSurface ";
    const Lines both = {s + "Release", s + "Release"};
    const Lines all = {s + "Release", s + "Release", "IDirectDrawClipper::Release"};
    const Case cases[] = {
        {"IDirectDraw::CreateSurface", 0, CANVAS_FULLSCREEN, 0, nullptr,
         {create + "1 512 0 0", create + "7 64 64 32"}, {s + "Release"}},
        {"IDirectDraw::CreateSurface", 1, 0, 1236, nullptr, {create + "7 64 64 32"}, {s + "Release"}},
        {"IDirectDraw::CreateClipper", 0, 0, 1236, nullptr, {create + "7 64 64 32", "IDirectDraw::CreateClipper"},
         both},
        {"IDirectDrawClipper::SetHWnd", 0, 0, 1236, "Cannot create clipper object!",
         {create + "7 64 64 32", "IDirectDraw::CreateClipper", "IDirectDrawClipper::SetHWnd"}, all},
        {"IDirectDrawSurface::SetClipper", 0, 0, 1236, "Cannot attach Clipper to primary surface!",
         {create + "7 64 64 32", "IDirectDraw::CreateClipper", "IDirectDrawClipper::SetHWnd", s + "SetClipper"},
         all},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.failing);
        DebugInit();
        HeadlessReset();
        Initialise();
        HeadlessFail(c.failing, 0x80004005, c.after);
        NewTrace();
        {
            Canvas display(64, 32, 1, CANVAS_DIRECTDRAW | c.flags);
            EXPECT_EQ(display.errorCode, c.code);
            Lines made = {create + "1 16896 0 0"};
            made.insert(made.end(), c.made.begin(), c.made.end());
            EXPECT_EQ(NewTrace(), made);
            Lines log;
            if (c.log)
                log.push_back(std::string("Debug Message: ") + c.log);
            if (c.code)
                log.push_back("canvas assert");
            EXPECT_EQ(Log(), log);
        }
        EXPECT_EQ(NewTrace(), c.released);
        CanvasUninitialize();
    }
    // Bad use: no surfaces at all. Lock asserts and fails, Flip blits nothing.
    DebugInit();
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
        int restored;
        Lines log;
    };
    const std::string lost = "Surface Lost.  Now restoring.", error = "Lock Error.";
    const Case cases[] = {
        {0x887601C2, 0, 0, {lost}},
        {0x887601C2, 0x887601C2, 1, {lost, "Surface Lost again.  What's with this?", error, "Surface Lost"}},
        {0, 0x887601C2, 7, {"Surface Lost again.  What's with this?", error, "Surface Lost"}},
        {0, 0x88760082, 0, {error, "Invalid object"}},
        {0, 0x80000002, 0, {error, "Out of memory"}},
        {0, 0x80000003, 0, {error, "Invalid params"}},
        {0, 0x887601AE, 0, {error, "Surface Busy"}},
        {0, 0x8876021C, 0, {error, "Was still drawing"}},
        {0, 0x8007000E, 0, {error}}, // today's spelling of out-of-memory is not in the table
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
        if (!c.lock)
            display.Unlock();
        EXPECT_EQ(restored, c.restored);
        EXPECT_EQ(display.QueryRowAddress(0), buffer);
        Lines log;
        for (const auto& line : c.log)
            log.push_back("Debug Message: " + line);
        EXPECT_EQ(LogEntries(), log);
        Lines trace = {"IDirectDrawSurface::IsLost", "IDirectDrawSurface::Lock 1"};
        if (c.isLost)
            trace.insert(trace.begin() + 1, "IDirectDrawSurface::Restore");
        if (!c.lock)
            trace.push_back("IDirectDrawSurface::Unlock");
        EXPECT_EQ(NewTrace(), trace);
    }
    // Really lost: the primary comes back, the back surface only when the game restores it.
    HeadlessLoseSurfaces();
    restored = 0;
    EXPECT_EQ(display.Lock(&restored, 0), ERR_FAILURE);
    EXPECT_EQ(restored, 1);
    EXPECT_EQ(display.Flip(&restored), 1);
    EXPECT_EQ(restored, 0);
    DebugInit();
    EXPECT_EQ(display.Lock(&restored, 0), ERR_FAILURE);
    EXPECT_EQ(Log().front(), "Debug Message: Surface Lost again.  What's with this?");
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

    ASSERT_EQ(display.Lock(&restored, 0), ERR_OK);
    unsigned char* const top = display.QueryRowAddress(0);
    display.CalculateRowOffsets(8, 4, 0); // scramble: rows bottom-up
    display.Unlock();
    ASSERT_EQ(display.Lock(&restored, 0), ERR_OK); // same pitch: table kept
    EXPECT_EQ(display.QueryRowAddress(0), top + 24);
    display.Unlock();
    padded.Unlock();

    std::swap(display.backSurface, padded.backSurface); // a pitch of 16
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
        int screenWidth, screenHeight;
        tagRECT rect;
        std::string blt;
        int litRight, litBottom; // lit area from the top-left corner or the rectangle's
    };
    const Case cases[] = {
        {CANVASINIT_FULLSCREEN, 800, 600, {}, "0 0 640 480", 640, 480},
        {0, 800, 600, {}, "0 0 0 0", 0, 0}, // the game never set the rectangle
        {0, 800, 600, {760, 580, 860, 680}, "760 580 860 680", 800, 600}, // cut by the clipper
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.blt);
        HeadlessReset();
        HeadlessSetScreen(c.screenWidth, c.screenHeight);
        Initialise(c.flags, 800, 600);
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
        EXPECT_EQ(NewTrace(), Lines{kBlt + c.blt + " 16777216"});
        const auto screen = Screen(800, 600);
        const int left = c.litRight ? c.rect.left : 0, top = c.litRight ? c.rect.top : 0;
        size_t lit = 0;
        for (int y = 0; y < 600; ++y)
            for (int x = 0; x < 800; ++x)
                lit += screen[size_t(y) * 800 + x] == 9 && x >= left && x < c.litRight && y >= top && y < c.litBottom;
        EXPECT_EQ(lit, size_t(c.litRight - left) * (c.litBottom - top));
        EXPECT_EQ(size_t(std::count(screen.begin(), screen.end(), 9)), lit);
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

    const std::string s = "IDirectDrawSurface::SetPalette ";
    struct Case {
        int useGdi;
        bool failGdi;
        int shift; // screen index i shows palette colour i + shift
        Lines log, trace;
    };
    const Lines gdiTrace = {s + "0", "CreatePalette 256", "SelectPalette", "SetSystemPaletteUse 1", "RealizePalette",
                            "IDirectDraw::CreatePalette 4", s + "1"};
    const Case cases[] = {
        {0, false, 0, {"Debug Message: Setting DirectDraw palette alone"},
         {s + "0", "IDirectDraw::CreatePalette 4", s + "1"}},
        {1, false, 10, {"Debug Message: Attempting to create palette", "Debug Message: 256 Palette entries set"},
         gdiTrace},
        {1, true, 10,
         {"Debug Message: Attempting to create palette", AssertLine("canvas", 1795),
          "Debug Message: 0 Palette entries set"},
         gdiTrace},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.shift);
        DebugInit();
        if (c.failGdi)
            HeadlessFail("CreatePalette", 0, 0);
        NewTrace();
        display.SetSystemPalette(&palette, c.useGdi);
        EXPECT_EQ(palette.QueryFormat(), PALFMT_RGBX);
        EXPECT_EQ(palette.QueryFlag(), 5);
        EXPECT_EQ(LogEntries(), c.log);
        EXPECT_EQ(NewTrace(), c.trace);
        const auto rgb = Screen(256, 1, true);
        for (int i = 0; i < 256; ++i) {
            const int colour = i + c.shift;
            const bool set = c.shift == 0 || i < 236;
            ASSERT_EQ(rgb[i * 3], set ? colour : 0) << i;
            ASSERT_EQ(rgb[i * 3 + 1], set ? 255 - colour : 0) << i;
        }
        display.ReleaseSystemPalette();
        EXPECT_EQ(NewTrace().size(), c.useGdi && !c.failGdi ? 5u : 1u);
    }
}
#endif

#ifdef _WIN32
#include <windows.h>
#include <ddraw.h>

namespace {
// A borderless window at the screen's top-left, so client and screen
// coordinates agree.
HWND OpenWindow(int width, int height)
{
    WNDCLASSA windowClass = {};
    windowClass.lpfnWndProc = DefWindowProcA;
    windowClass.hInstance = GetModuleHandleA(nullptr);
    windowClass.lpszClassName = "TollivexDisplayTest";
    RegisterClassA(&windowClass);
    return CreateWindowA("TollivexDisplayTest", "display", WS_POPUP | WS_VISIBLE, 0, 0, width, height, nullptr,
                         nullptr, windowClass.hInstance, nullptr);
}
} // namespace

// The real DirectDraw under Wine on an 8-bit X screen: the primary holds the
// drawn indices, and the window shows them through the palette. Entries 0
// and 255 stay the system's black and white (no DDPCAPS_ALLOW256), and GDI
// shows every colour as the nearest one the 8-bit screen can.
TEST(DisplayWindows, FrameOnTheScreenMatchesWhatWasDrawn)
{
    DebugInit();
    HWND window = OpenWindow(64, 32);
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
        ASSERT_EQ(screen.ddpfPixelFormat.dwRGBBitCount, 8u) << "the X screen must be 8-bit";
        std::vector<unsigned char> indices(64 * 32);
        for (int y = 0; y < 32; ++y)
            std::memcpy(&indices[y * 64], static_cast<unsigned char*>(screen.lpSurface) + y * screen.lPitch, 64);
        display.primarySurface->Unlock(nullptr);
        for (int y = 0; y < 32; ++y) {
            for (int x = 0; x < 64; ++x) {
                const unsigned index = model.GetPixel(short(x), short(y));
                ASSERT_EQ(indices[y * 64 + x], index) << x << "," << y;
                const COLORREF shown = index == 0     ? RGB(0, 0, 0)
                                       : index == 255 ? RGB(255, 255, 255)
                                                      : GetNearestColor(dc, RGB(index, 255 - index, index / 2));
                ASSERT_EQ(GetPixel(dc, x, y), shown) << x << "," << y;
            }
        }
        display.ReleaseSystemPalette();
    }
    ReleaseDC(window, dc);
    CanvasUninitialize();
    DestroyWindow(window);
}

// Full screen: a mode the X server cannot switch to is refused as stated.
TEST(DisplayWindows, FullScreenModesAreTakenOrRefusedAsStated)
{
    HWND window = OpenWindow(64, 32);
    ASSERT_NE(window, nullptr);
    const unsigned short modes[][3] = {{640, 480, 8}, {800, 600, 8}, {640, 480, 16}};
    for (const auto& mode : modes) {
        DebugInit();
        unsigned short status = 0;
        if (CanvasInitialize(CANVASINIT_FULLSCREEN, window, mode[0], mode[1], mode[2], &status) == ERR_OK) {
            Canvas display(640, 480, 1, CANVAS_DIRECTDRAW | CANVAS_FULLSCREEN);
            int restored = 0;
            EXPECT_EQ(display.errorCode, 0);
            EXPECT_EQ(display.Lock(&restored, 0), ERR_OK);
            display.Unlock();
            EXPECT_EQ(display.Flip(&restored), 1);
        } else {
            EXPECT_EQ(status, ERR_CANVAS_MODE) << mode[0] << "x" << mode[1] << "x" << mode[2];
            const Lines log = LogEntries();
            ASSERT_FALSE(log.empty());
            EXPECT_TRUE(log.back() == "Debug Message: Set video mode failed." ||
                        log.back() == "Debug Message: Set cooperative level failed.") << log.back();
        }
        CanvasUninitialize();
    }
    DestroyWindow(window);
}
#endif
