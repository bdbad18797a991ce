#include "test_sprman_helpers.h"

using namespace sprtest;
using tvxtest::LogEntries;

namespace {

// A glyph: a filled box of one colour, one repeat per row.
Bytes Glyph(unsigned width, unsigned height, unsigned char colour)
{
    std::vector<Bytes> rows(height, Bytes{1, static_cast<unsigned char>(0x80 | width), colour});
    return Record(6, width, height, 0, 0, rows);
}

class FontTest : public SpriteTest {
protected:
    void SetUp() override
    {
        SpriteTest::SetUp();
        glyphs = NewSet(256, "FONT");
        AddGlyph('a', Glyph(5, 3, 0xA1));
        AddGlyph('b', Glyph(3, 2, 0xB2));
        AddGlyph('c', Glyph(4, 4, 0xC3));
        AddGlyph(0, Glyph(2, 2, 0x01));
        canvas.Clear(0);
        font.AssociateCanvas(&canvas);
    }

    void AddGlyph(unsigned short c, Bytes record)
    {
        sprites.EraseSprite(glyphs, c);
        ASSERT_EQ(sprites.SetSprite(record.data(), record.size(), glyphs, c), ERR_OK);
    }

    _FontDef Def(unsigned long flags, unsigned short fixed = 6, unsigned short spacing = 1)
    {
        return _FontDef{glyphs, fixed, spacing, static_cast<uint32_t>(flags)};
    }

    // The expected canvas: glyph boxes at the given columns, row y.
    std::vector<Bytes> Boxes(const std::vector<std::tuple<int, int, int, int, int>>& boxes)
    {
        std::vector<Bytes> rows(canvas.QueryHeight(), Bytes(canvas.QueryWidth(), 0));
        for (auto [x, y, w, h, colour] : boxes)
            for (int r = y; r < y + h; ++r)
                for (int c = x; c < x + w; ++c)
                    rows[size_t(r)][size_t(c)] = static_cast<unsigned char>(colour);
        return rows;
    }

    unsigned char glyphs = 0;
    Canvas canvas{48, 12, 1, CANVAS_MEMORY};
    Font font{&sprites};
};

} // namespace

TEST_F(FontTest, WidthsFollowThePitchFlagsAndAreMeasuredOncePerDefinition)
{
    const struct {
        unsigned long flags;
        short a, space, nul, missing;
    } cases[] = {{FONT_PROPORTIONAL, 5, 6, 6, 0}, {FONT_FIXED_PITCH, 6, 6, 6, 6},
                 {FONT_FIXED_PITCH | FONT_PROPORTIONAL, 6, 6, 6, 6}, {0, 0, 6, 6, 0}};
    for (const auto& c : cases) {
        _FontDef def = Def(c.flags);
        font.ActivateFont(&def);
        EXPECT_EQ(std::vector<short>({font.QueryCharWidth('a'), font.QueryCharWidth(' '), font.QueryCharWidth(0),
                                      font.QueryCharWidth('z')}),
                  std::vector<short>({c.a, c.space, c.nul, c.missing}))
            << c.flags;
    }
    _FontDef def = Def(FONT_PROPORTIONAL);
    font.ActivateFont(&def);
    // A NUL among the counted characters counts with the fixed width.
    EXPECT_EQ(font.QueryStringWidth(const_cast<char*>("a\0bc"), 4), 5 + 1 + 6 + 1 + 3 + 1 + 4 + 1);
    EXPECT_EQ(font.QueryCharHeight('c') * 100 + font.QueryCharHeight(' '), 4 * 100 + 0);
    // The same definition, active or not, is not measured again; space and
    // NUL take the height of glyph 127.
    AddGlyph(127, Glyph(1, 9, 7));
    AddGlyph('a', Glyph(8, 3, 0xA1));
    _FontDef same = def;
    same.flags |= FONT_ACTIVE;
    for (_FontDef* again : {&def, &same}) {
        font.ActivateFont(again);
        EXPECT_EQ(font.QueryCharWidth('a'), 5);
    }
    _FontDef other = Def(FONT_PROPORTIONAL, 6, 2);
    font.ActivateFont(&other);
    EXPECT_EQ((std::vector<short>{font.QueryCharWidth('a'), font.QueryCharHeight(' '), font.QueryCharHeight(0)}),
              (std::vector<short>{8, 9, 9}));
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(FontTest, StringsAdvanceByWidthAndSpacingAndClipBeforeMaxWidth)
{
    _FontDef def = Def(FONT_PROPORTIONAL, 4, 1);
    font.ActivateFont(&def);
    // A space advances without drawing; NUL is a glyph like any other.
    font.PutString(2, 1, const_cast<char*>("ab c"));
    short advance = 0;
    font.PutCharacter(40, 5, 0, &advance);
    EXPECT_EQ(advance, 4);
    EXPECT_EQ(Pixels(canvas), Boxes({{2, 1, 5, 3, 0xA1}, {8, 1, 3, 2, 0xB2}, {17, 1, 4, 4, 0xC3}, {40, 5, 2, 2, 0x01}}));
    // Clipped: a glyph is drawn only if it ends strictly left of maxWidth.
    const std::pair<short, int> cases[] = {{5, 0}, {6, 1}, {9, 1}, {10, 2}};
    for (auto [maxWidth, glyphs] : cases) {
        canvas.Clear(0);
        font.PutClippedString(0, 0, maxWidth, const_cast<char*>("abc"));
        std::vector<std::tuple<int, int, int, int, int>> drawn{{0, 0, 5, 3, 0xA1}, {6, 0, 3, 2, 0xB2}};
        drawn.resize(size_t(glyphs));
        EXPECT_EQ(Pixels(canvas), Boxes(drawn)) << maxWidth;
    }
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(FontTest, ShadowsAreSolidOnlyInSolidFonts)
{
    _FontDef def = Def(FONT_FIXED_PITCH | FONT_SOLID, 6, 0), plain = Def(FONT_FIXED_PITCH, 6, 0);
    font.ActivateFont(&def);
    font.PutClippedShadowString(1, 1, 7, const_cast<char*>("ab"), 0x30, 0x40, &canvas);
    EXPECT_EQ(Pixels(canvas), Boxes({{2, 2, 5, 3, 0x40}, {1, 1, 5, 3, 0x30}}));
    EXPECT_EQ(canvas.QueryDrawColor(), 0x30);
    font.ActivateFont(&plain);
    canvas.Clear(0);
    font.PutShadowString(0, 0, const_cast<char*>("b"), 0x30, 0x40, &canvas);
    EXPECT_EQ(Pixels(canvas), Boxes({{1, 1, 3, 2, 0xB2}, {0, 0, 3, 2, 0xB2}}));
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(FontTest, InactiveFontsAndMissingCollaborators)
{
    font.PutString(0, 0, const_cast<char*>("abc"));
    EXPECT_TRUE(LogEntries().empty());
    short advance = 9;
    font.PutCharacter(0, 0, 'z', &advance);
    EXPECT_EQ(advance, 0);
    EXPECT_EQ(Pixels(canvas), Boxes({}));
    Font lonely;
    _FontDef def = Def(FONT_PROPORTIONAL);
    lonely.ActivateFont(&def); // without a sprite manager: nothing happens
    EXPECT_EQ(lonely.QueryCharWidth('a'), 0);
    lonely.AssociateSpriteManager(&sprites);
    lonely.ActivateFont(&def);
    EXPECT_EQ(lonely.QueryCharWidth('a'), 5);
    // A null canvas is reported and still handed to the manager, which then
    // has none to draw on.
    Font broken(nullptr);
    lonely.AssociateCanvas(nullptr);
    sprites.DisplaySprite(0, 0, glyphs, 'a', 0);
    EXPECT_EQ(Pixels(canvas), Boxes({}));
    const auto log = LogEntries();
    ASSERT_EQ(log.size(), 5u);
    const char* sources[] = {"font", "sprman", "font", "font", "sprman"}; // the inactive glyph is missing too
    for (size_t i = 0; i < 5; ++i)
        EXPECT_TRUE(IsAssertFrom(log[i], sources[i])) << log[i];
}
