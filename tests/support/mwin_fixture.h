// Window-system tests: a root window over a memory canvas, a solid font of
// 3 x 5 boxes on a 4-pixel pitch made by the sprite encoder, windows whose
// handlers write down every message they hear, and a plain pixel model.
#ifndef TOLLIVEX_TESTS_MWIN_FIXTURE_H
#define TOLLIVEX_TESTS_MWIN_FIXTURE_H

#include "test_sprman_helpers.h"

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace mwintest {

using sprtest::Bytes;
using tvxtest::LogEntries;

// "code:id x,y" for mouse messages (param1 is then the sender's record),
// "code:id param1 param2" in hexadecimal and decimal for the rest.
inline std::vector<std::string> heard;

inline unsigned long Record(void*, unsigned long message, unsigned long param1, unsigned long param2)
{
    char line[64];
    if (param1 > 0xFFFF)
        std::snprintf(line, sizeof line, "%lx:%lu %d,%d", message >> 16, message & 0xFFFF, short(param2 & 0xFFFF),
                      short(param2 >> 16));
    else
        std::snprintf(line, sizeof line, "%lx:%lu %lx %lu", message >> 16, message & 0xFFFF, param1, param2);
    heard.emplace_back(line);
    return 1;
}

inline std::vector<std::string> Take()
{
    return std::exchange(heard, {});
}

inline void Place(MWin& window, short x, short y, short width, short height)
{
    window.SetSize(width, height);
    window.SetPosition(x, y);
}

// A window that records what reaches it.
struct Recorder : MWin {
    Recorder(MWin* parent, unsigned short id, short x = 0, short y = 0, short w = 1, short h = 1) : MWin(parent)
    {
        callback = Record;
        hotSpot.id = id;
        Place(*this, x, y, w, h);
    }
};

// The canvas as expected, from black: fills, outlines and the fixture font's boxes.
struct Model {
    std::vector<Bytes> px = std::vector<Bytes>(120, Bytes(160, 0));

    void Fill(int x0, int y0, int x1, int y1, int c)
    {
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x)
                px.at(size_t(y)).at(size_t(x)) = static_cast<unsigned char>(c);
    }
    void Frame(int x0, int y0, int x1, int y1, int c)
    {
        Fill(x0, y0, x1, y0, c);
        Fill(x0, y1, x1, y1, c);
        Fill(x0, y0, x0, y1, c);
        Fill(x1, y0, x1, y1, c);
    }
    // Each character a 3 x 5 box on a 4-pixel pitch; a space is only advanced over.
    void Text(int x, int y, const std::string& text, int c)
    {
        for (size_t i = 0; i < text.size(); ++i)
            if (text[i] != ' ')
                Fill(x + 4 * int(i), y, x + 4 * int(i) + 2, y + 4, c);
    }
};

class WindowTest : public sprtest::SpriteTest {
protected:
    void SetUp() override
    {
        SpriteTest::SetUp();
        heard.clear();
        Canvas glyph(4, 5, 1, CANVAS_MEMORY);
        glyph.SetDrawColor(1);
        glyph.FilledRectUnclipped(0, 0, 2, 4);
        unsigned char transparent[256] = {1};
        glyphs = NewSet(128, "FONT");
        sprites.AssociateEncodeCanvas(&glyph);
        for (unsigned short c = 33; c < 128; ++c)
            ASSERT_EQ(sprites.EncodeSprite(glyphs, c, 0, 0, 3, 5, 0, 0, transparent), ERR_OK);
        sprites.DissociateEncodeCanvas();
        fontDef = _FontDef{glyphs, 4, 0, FONT_FIXED_PITCH | FONT_SOLID};
        root.SetCanvas(&canvas);
        root.SetSize(160, 120);
        SetRefreshNeeded(0);
    }

    // A test that provokes assertions says so; any other assertion is a fault.
    void TearDown() override
    {
        HotSpotSetMouseSet(nullptr);
        SetMWinDigimix(nullptr);
        for (const std::string& line : assertionsExpected ? std::vector<std::string>() : LogEntries()) {
            EXPECT_NE(line.rfind("Assert error", 0), 0u) << line;
        }
    }

    // Mouse events enter at the root, as a game feeds them.
    unsigned long Mouse(unsigned short code, int x, int y)
    {
        return DefaultCallback(&root, static_cast<unsigned long>(code) << 16, 0,
                               static_cast<unsigned long>(x & 0xFFFF) | static_cast<unsigned long>(y) << 16);
    }

    unsigned long Key(unsigned short key)
    {
        MWin* focus = QueryKeyboardFocus();
        return focus->callback(focus, static_cast<unsigned long>(MWIN_KEY) << 16, key, 0);
    }

    // A press and a release at one point, after a move there.
    void Click(int x, int y)
    {
        Mouse(MWIN_MOVE, x, y);
        Mouse(MWIN_PRESS, x, y);
        Mouse(MWIN_RELEASE, x, y);
    }

    // One frame painted from a clean canvas.
    std::vector<Bytes> Frame()
    {
        canvas.Clear(0);
        root.Update(MWIN_UPDATE_FORCE);
        return sprtest::Pixels(canvas);
    }

    bool assertionsExpected = false;
    unsigned char glyphs = 0;
    _FontDef fontDef{};
    Canvas canvas{160, 120, 1, CANVAS_MEMORY};
    MWin root{nullptr};
    Recorder owner{nullptr, 50}; // for the widgets whose reports a test reads
};

} // namespace mwintest

#endif
