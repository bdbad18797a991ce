// StaticText, WrapText and Highlight, pixel by pixel, and the highlight's
// click.
#include "support/mwin_fixture.h"

using namespace mwintest;

TEST_F(WindowTest, StaticTextAlignsWithinItsMargins)
{
    const std::string shortText = "ABCDEFGHIJKL"; // 48 pixels of the 92 between the margins
    const std::string longText(30, 'W');          // 120 pixels: cut where the next glyph would reach 92
    const struct {
        unsigned long flags;
        const std::string& text;
        int x;
        size_t shown;
    } cases[] = {
        {0, shortText, 14, 12},
        {TEXT_RIGHT << 16, shortText, 58, 12},
        {TEXT_CENTRED << 16, shortText, 36, 12},
        {(TEXT_RIGHT | TEXT_CENTRED) << 16, shortText, 58, 12},
        {TEXT_RIGHT << 16, longText, 14, 22},
        {(TEXT_SHADOW | TEXT_BORDER) << 16, shortText, 14, 12}, // the border in colour 0
    };
    for (const auto& c : cases) {
        StaticText label(&root, &memory, &sprites, 3, c.flags);
        label.SetFont(&fontDef);
        Place(label, 10, 20, 100, 14);
        label.SetText(const_cast<char*>(c.text.c_str()));
        Model expected;
        expected.Fill(10, 20, 109, 33, 2);
        if (c.flags & TEXT_BORDER << 16)
            expected.Frame(10, 20, 109, 33, 0);
        if (c.flags & TEXT_SHADOW << 16)
            expected.Text(c.x + 1, 25, c.text.substr(0, c.shown), 16);
        expected.Text(c.x, 24, c.text.substr(0, c.shown), 15);
        EXPECT_EQ(Frame(), expected.px) << std::hex << c.flags;
    }
}

TEST_F(WindowTest, WrapTextBreaksAtSpaces)
{
    WrapText wrap(&root, &memory, &sprites, 4, 0);
    wrap.SetFont(&fontDef);
    Place(wrap, 10, 60, 40, 30);
    wrap.SetText(const_cast<char*>("abcd efgh ijkl"));
    // Ten characters fill the 40 pixels; the line breaks at the space before
    // the tenth, and lines are 12 pixels apart, each with its shadow.
    Model expected;
    expected.Fill(10, 60, 49, 89, 2);
    for (const auto& [line, y] : {std::make_pair("abcd efgh", 60), std::make_pair("ijkl", 72)}) {
        expected.Text(11, y + 1, line, 16);
        expected.Text(10, y, line, 15);
    }
    EXPECT_EQ(Frame(), expected.px);
    wrap.SetSize(12, 30); // the first word is wider than the window: nothing at all
    expected = Model();
    expected.Fill(10, 60, 21, 89, 2);
    EXPECT_EQ(Frame(), expected.px);
}

TEST_F(WindowTest, HighlightFramesWhileHoveredAndReportsClicks)
{
    Highlight highlight(&root, 8);
    Place(highlight, 5, 5, 20, 10);
    highlight.SetOwner(&owner);
    Model idle, hovered, larger;
    idle.Frame(5, 5, 24, 14, 2);
    hovered.Frame(5, 5, 24, 14, 15);
    larger.Frame(4, 4, 25, 15, 15);
    EXPECT_EQ(Frame(), idle.px);
    Mouse(MWIN_MOVE, 10, 10);
    EXPECT_EQ(Frame(), hovered.px);
    highlight.state |= HIGHLIGHT_LARGER << 16;
    EXPECT_EQ(Frame(), larger.px);
    EXPECT_EQ(Mouse(MWIN_PRESS, 10, 10) + Mouse(MWIN_CLICK, 10, 10), 2u); // the press is swallowed
    EXPECT_EQ(Take(), std::vector<std::string>({"8020:8 0 0"}));
}
