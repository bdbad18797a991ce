#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

using tvxtest::LogEntries;

namespace {
std::string Assert(unsigned long line)
{
    return "Assert error in file canvas at line " + std::to_string(line) + ".";
}

// The canvas as text, one string per row: '.' for 0, otherwise the colour
// as a hexadecimal digit (tests draw with small colours).
std::vector<std::string> Picture(Canvas& canvas)
{
    std::vector<std::string> rows;
    for (int y = 0; y < canvas.QueryHeight(); ++y) {
        std::string row;
        for (int x = 0; x < canvas.QueryWidth(); ++x) {
            const unsigned long pixel = canvas.GetPixel(short(x), short(y));
            row += pixel == 0 ? '.' : "0123456789abcdef"[pixel & 15];
        }
        rows.push_back(row);
    }
    return rows;
}

int CountColour(Canvas& canvas, unsigned long colour)
{
    int count = 0;
    for (int y = 0; y < canvas.QueryHeight(); ++y)
        for (int x = 0; x < canvas.QueryWidth(); ++x)
            count += canvas.GetPixel(short(x), short(y)) == colour;
    return count;
}

class CanvasTest : public testing::Test {
protected:
    void SetUp() override { DebugInit(); }
};
} // namespace

TEST_F(CanvasTest, MemoryCanvasRoundsWidthAndLaysOutRowsInBothOrders)
{
    Canvas bottomUp(3, 2, 0, CANVAS_MEMORY);
    ASSERT_EQ(bottomUp.errorCode, 0);
    EXPECT_EQ(bottomUp.QueryWidth(), 4);
    EXPECT_EQ(bottomUp.QueryHeight(), 2);
    EXPECT_EQ(bottomUp.QueryRowIncrement(), -4);
    EXPECT_EQ(bottomUp.Validate(), 1);
    // Row 0 is the last row in memory.
    EXPECT_EQ(bottomUp.QueryRowAddress(0) - bottomUp.QueryRowAddress(1), 4);

    Canvas topDown(5, 3, 1, CANVAS_MEMORY);
    EXPECT_EQ(topDown.QueryWidth(), 8);
    EXPECT_EQ(topDown.QueryRowIncrement(), 8);
    EXPECT_EQ(topDown.QueryRowAddress(2) - topDown.QueryRowAddress(0), 16);

    // Fresh pixels are zero; Clear fills the whole rounded width.
    EXPECT_EQ(Picture(topDown), (std::vector<std::string>{"........", "........", "........"}));
    topDown.Clear(7);
    EXPECT_EQ(CountColour(topDown, 7), 24);

    // Writing through the row address lands where GetPixel reads.
    bottomUp.QueryRowAddress(1)[2] = 9;
    EXPECT_EQ(bottomUp.GetPixel(2, 1), 9u);
    EXPECT_EQ(bottomUp.QueryRowAddress(1), bottomUp.QueryRowAddress(0) + bottomUp.QueryRowIncrement());
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(CanvasTest, CanvasesWithoutUsablePixelsAreRefusedOrInvalid)
{
    Canvas display(640, 480, 1, CANVAS_DIRECTDRAW);
    EXPECT_EQ(display.errorCode, ERR_CANVAS_CREATE);
    EXPECT_EQ(display.Validate(), 0);

    Canvas tableOnly(16, 16, 1, 0);
    EXPECT_EQ(tableOnly.errorCode, 0);
    EXPECT_EQ(tableOnly.Validate(), 0);
    // Nothing to draw on: every primitive is a no-op.
    tableOnly.SetDrawColor(3);
    tableOnly.Clear(1);
    tableOnly.PutPixel(1, 1);
    tableOnly.FilledRectClipped(0, 0, 5, 5);
    EXPECT_EQ(tableOnly.GetPixel(1, 1), 0u);

    Canvas empty(0, 10, 1, CANVAS_MEMORY);
    EXPECT_EQ(empty.errorCode, 0);
    EXPECT_EQ(empty.Validate(), 0);

    // The largest width cannot be rounded up into 16 bits.
    Canvas tooWide(65535, 1, 1, CANVAS_MEMORY);
    EXPECT_EQ(tooWide.errorCode, ERR_CANVAS_CREATE);
    EXPECT_EQ(tooWide.Validate(), 0);
}

TEST_F(CanvasTest, SubCanvasIsNarrowedLockedAndDrawsIntoItsParent)
{
    for (int order = 0; order <= 1; ++order) {
        SCOPED_TRACE(order ? "top-down parent" : "bottom-up parent");
        Canvas parent(8, 6, order, CANVAS_MEMORY);
        Canvas sub(5, 2, 10, 3, &parent);
        ASSERT_EQ(sub.errorCode, 0);
        EXPECT_EQ(sub.QueryWidth(), 3); // narrowed to the parent's right edge
        EXPECT_EQ(sub.QueryHeight(), 3);
        EXPECT_EQ(sub.Validate(), 0); // not usable before the first lock

        int restored = 5;
        EXPECT_EQ(sub.Lock(&restored, 0), ERR_OK);
        EXPECT_EQ(sub.Validate(), 1);
        EXPECT_EQ(sub.QueryRowIncrement(), parent.QueryRowIncrement());
        EXPECT_EQ(sub.QueryRowAddress(0), parent.QueryRowAddress(2) + 5);

        parent.Clear(1);
        sub.Clear(2);
        sub.SetDrawColor(3);
        sub.PutPixel(0, 0);
        sub.HorizLine(-4, 40, 2);
        sub.PutPixel(3, 0); // just outside the sub-canvas
        EXPECT_EQ(Picture(parent), (std::vector<std::string>{
                                       "11111111", "11111111", "11111322", "11111222", "11111333", "11111111",
                                   }));
        sub.Unlock();
    }
}

TEST_F(CanvasTest, SubCanvasOutsideItsParentIsRefused)
{
    Canvas parent(8, 6, 1, CANVAS_MEMORY);
    Canvas right(8, 0, 2, 2, &parent);
    EXPECT_EQ(right.errorCode, ERR_CANVAS_CREATE);
    Canvas below(0, 6, 2, 2, &parent);
    EXPECT_EQ(below.errorCode, ERR_CANVAS_CREATE);
    EXPECT_EQ(below.Validate(), 0);
    const auto log = LogEntries();
    ASSERT_EQ(log.size(), 4u);
    EXPECT_EQ(log[0], "Debug Message: Tried to create a sub-canvas out of bounds.");
    EXPECT_EQ(log[1].rfind("Assert error in file canvas at line ", 0), 0u);

    // A sub-canvas of a sub-canvas sees the grandparent's pixels.
    Canvas middle(2, 1, 4, 4, &parent);
    Canvas inner(1, 1, 2, 2, &middle);
    int restored = 0;
    middle.Lock(&restored, 0);
    inner.Lock(&restored, 0);
    inner.SetDrawColor(6);
    inner.PutPixel(0, 0);
    EXPECT_EQ(parent.GetPixel(3, 2), 6u);
}

TEST_F(CanvasTest, PixelsOutsideAreIgnoredAndReadAsZero)
{
    Canvas canvas(4, 4, 1, CANVAS_MEMORY);
    canvas.Clear(5);
    canvas.SetDrawColor(9);
    EXPECT_EQ(canvas.QueryDrawColor(), 9);
    const short outside[][2] = {{-1, 0}, {0, -1}, {4, 0}, {0, 4}, {-32768, 32767}};
    for (const auto& p : outside) {
        canvas.PutPixel(p[0], p[1]);
        EXPECT_EQ(canvas.GetPixel(p[0], p[1]), 0u);
    }
    EXPECT_EQ(CountColour(canvas, 5), 16);
    canvas.PutPixel(3, 3);
    EXPECT_EQ(canvas.GetPixel(3, 3), 9u);
}

TEST_F(CanvasTest, HorizontalAndVerticalLinesClipToTheCanvas)
{
    struct Case {
        short a, b, at;
        std::string row; // the row or column that results
    };
    const Case horizontal[] = {
        {-5, 2, 0, "999....."}, {10, 3, 0, "...99999"}, {2, 2, 0, "..9....."},
        {-9, -1, 0, "........"}, {8, 12, 0, "........"}, {-100, 100, 0, "99999999"},
        {1, 3, -1, "........"}, {1, 3, 8, "........"},
    };
    for (const auto& c : horizontal) {
        Canvas canvas(8, 8, 1, CANVAS_MEMORY);
        canvas.SetDrawColor(9);
        canvas.HorizLine(c.a, c.b, c.at);
        const short row = c.at < 0 || c.at >= 8 ? 0 : c.at;
        EXPECT_EQ(Picture(canvas)[row], c.row) << c.a << ".." << c.b << " at " << c.at;
        if (c.at < 0 || c.at >= 8) {
            EXPECT_EQ(CountColour(canvas, 9), 0);
        }
    }
    for (const auto& c : horizontal) {
        Canvas canvas(8, 8, 0, CANVAS_MEMORY);
        canvas.SetDrawColor(9);
        canvas.VertLine(c.at, c.a, c.b);
        std::string column;
        const short x = c.at < 0 || c.at >= 8 ? 0 : c.at;
        for (short y = 0; y < 8; ++y)
            column += canvas.GetPixel(x, y) ? '9' : '.';
        EXPECT_EQ(column, c.row) << c.a << ".." << c.b << " at " << c.at;
    }
}

TEST_F(CanvasTest, RectangleOutlinesKeepTheReversedCornerOvershoot)
{
    Canvas canvas(8, 8, 1, CANVAS_MEMORY);
    canvas.SetDrawColor(1);
    canvas.Rectangle(1, 1, 5, 4);
    EXPECT_EQ(Picture(canvas), (std::vector<std::string>{
                                   "........", ".11111..", ".1...1..", ".1...1..", ".11111..", "........",
                                   "........", "........",
                               }));

    // With y1 > y2 the sides run one row past each horizontal side.
    Canvas reversed(8, 8, 1, CANVAS_MEMORY);
    reversed.SetDrawColor(1);
    reversed.Rectangle(5, 5, 1, 2);
    EXPECT_EQ(Picture(reversed), (std::vector<std::string>{
                                     "........", ".1...1..", ".11111..", ".1...1..", ".1...1..", ".11111..",
                                     ".1...1..", "........",
                                 }));

    // Degenerate rectangles draw nothing; partly outside ones are clipped.
    Canvas clipped(8, 8, 1, CANVAS_MEMORY);
    clipped.SetDrawColor(1);
    clipped.Rectangle(2, 2, 2, 6);
    clipped.Rectangle(2, 3, 6, 3);
    EXPECT_EQ(CountColour(clipped, 1), 0);
    clipped.Rectangle(-2, -2, 3, 20);
    EXPECT_EQ(Picture(clipped), (std::vector<std::string>{
                                    "...1....", "...1....", "...1....", "...1....",
                                    "...1....", "...1....", "...1....", "...1....",
                                }));
}

TEST_F(CanvasTest, XorShapesToggleEachPixelOnceAndUndoThemselves)
{
    Canvas canvas(8, 6, 0, CANVAS_MEMORY);
    canvas.Clear(0x0F);
    canvas.SetDrawColor(0x03);
    canvas.XORRectangle(1, 1, 6, 4);
    EXPECT_EQ(Picture(canvas), (std::vector<std::string>{
                                   "ffffffff", "fccccccf", "fcffffcf", "fcffffcf", "fccccccf", "ffffffff",
                               }));
    canvas.XORRectangle(1, 1, 6, 4);
    EXPECT_EQ(CountColour(canvas, 0x0F), 48);

    canvas.XORHorizLine(-3, 20, 0);
    canvas.XORVertLine(7, -3, 20);
    canvas.XORHorizLine(8, 9, 1);   // starts past the right edge
    canvas.XORVertLine(0, -5, -1);  // ends above the top
    canvas.XORHorizLine(0, 7, 6);   // below the canvas
    EXPECT_EQ(Picture(canvas), (std::vector<std::string>{
                                   "cccccccf", "fffffffc", "fffffffc", "fffffffc", "fffffffc", "fffffffc",
                               }));
}

TEST_F(CanvasTest, FilledRectanglesClipAndAcceptCornersInAnyOrder)
{
    struct Case {
        short x1, y1, x2, y2;
        int pixels;
    };
    const Case cases[] = {
        {1, 1, 2, 2, 4}, {2, 2, 1, 1, 4}, {-5, -5, 1, 0, 2}, {6, 4, 20, 20, 4},
        {-1, -1, -5, -5, 0}, {8, 0, 9, 3, 0}, {0, 6, 3, 9, 0}, {-100, -100, 100, 100, 48},
    };
    for (const auto& c : cases) {
        Canvas canvas(8, 6, 0, CANVAS_MEMORY);
        canvas.SetDrawColor(2);
        canvas.FilledRectClipped(c.x1, c.y1, c.x2, c.y2);
        EXPECT_EQ(CountColour(canvas, 2), c.pixels) << c.x1 << "," << c.y1 << " " << c.x2 << "," << c.y2;
    }
    Canvas canvas(8, 6, 0, CANVAS_MEMORY);
    canvas.SetDrawColor(2);
    canvas.FilledRectClipped(6, 4, 20, 20);
    EXPECT_EQ(Picture(canvas)[4], "......22");
    EXPECT_EQ(Picture(canvas)[5], "......22");
}

TEST_F(CanvasTest, UnclippedRoutinesDrawInsideAndOnlyLogWhenMisused)
{
    Canvas canvas(8, 4, 1, CANVAS_MEMORY);
    canvas.SetDrawColor(4);
    canvas.HorizLineUnclipped(5, 2, 0);
    canvas.VertLineUnclipped(7, 3, 1);
    canvas.FilledRectUnclipped(1, 3, 0, 2);
    EXPECT_EQ(Picture(canvas), (std::vector<std::string>{
                                   "..4444..", ".......4", "44.....4", "44.....4",
                               }));
    EXPECT_TRUE(LogEntries().empty());

    const auto before = Picture(canvas);
    canvas.HorizLineUnclipped(-1, 3, 0);
    canvas.HorizLineUnclipped(0, 8, 0);
    canvas.HorizLineUnclipped(-1, 8, 0);
    canvas.VertLineUnclipped(0, -1, 2);
    canvas.VertLineUnclipped(8, 0, 2);
    canvas.FilledRectUnclipped(0, 0, -1, 2);
    canvas.FilledRectUnclipped(0, 0, 3, 4);
    canvas.Line(0, 0, 8, 0);
    canvas.Line(-1, 0, 9, 0);
    EXPECT_EQ(Picture(canvas), before);
    const auto log = LogEntries();
    const std::vector<std::string> expected = {
        Assert(1033), Assert(1034), Assert(1033), Assert(1034), Assert(1069), Assert(1070), Assert(1654),
    };
    ASSERT_EQ(log.size(), 11u);
    EXPECT_EQ(std::vector<std::string>(log.begin(), log.begin() + 7), expected);
    EXPECT_EQ(log[8], Assert(1134));
    EXPECT_EQ(log[9], Assert(1133));
    EXPECT_EQ(log[10], Assert(1134));
}

TEST_F(CanvasTest, StraightAndDiagonalLinesLeaveOutTheFarEnd)
{
    Canvas canvas(8, 8, 1, CANVAS_MEMORY);
    canvas.SetDrawColor(1);
    canvas.Line(0, 0, 0, 0);
    EXPECT_EQ(CountColour(canvas, 1), 0);

    canvas.Line(0, 0, 3, 0);
    EXPECT_EQ(Picture(canvas)[0], "111.....");
    canvas.Clear(0);
    canvas.Line(7, 7, 7, 4); // drawn downwards from the upper end
    EXPECT_EQ(CountColour(canvas, 1), 3);
    EXPECT_EQ(canvas.GetPixel(7, 4), 1u);
    EXPECT_EQ(canvas.GetPixel(7, 7), 0u);
    canvas.Clear(0);
    canvas.Line(5, 3, 2, 0);
    EXPECT_EQ(Picture(canvas), (std::vector<std::string>{
                                   "..1.....", "...1....", "....1...", "........", "........", "........",
                                   "........", "........",
                               }));
}

TEST_F(CanvasTest, SlopedLinesAreDrawnInRunsBetweenBothEndpoints)
{
    Canvas canvas(8, 4, 0, CANVAS_MEMORY);
    canvas.SetDrawColor(1);
    canvas.Line(0, 0, 5, 2);
    EXPECT_EQ(Picture(canvas), (std::vector<std::string>{"11......", "..11....", "....11..", "........"}));

    canvas.Clear(0);
    canvas.Line(1, 3, 2, 0);
    EXPECT_EQ(Picture(canvas), (std::vector<std::string>{"..1.....", "..1.....", ".1......", ".1......"}));

    // Every sloped line in a small grid: one pixel per step along the major
    // axis, both endpoints drawn, nothing outside the bounding box, and the
    // same pixels whichever end is given first.
    Canvas grid(12, 12, 1, CANVAS_MEMORY);
    grid.SetDrawColor(1);
    for (short x1 = 0; x1 < 12; ++x1)
        for (short y1 = 0; y1 < 12; ++y1)
            for (short x2 = 0; x2 < 12; ++x2)
                for (short y2 = 0; y2 < 12; ++y2) {
                    const int dx = std::abs(x2 - x1), dy = std::abs(y2 - y1);
                    if (dx == 0 || dy == 0 || dx == dy)
                        continue;
                    grid.Clear(0);
                    grid.Line(x1, y1, x2, y2);
                    const auto forward = Picture(grid);
                    ASSERT_EQ(CountColour(grid, 1), std::max(dx, dy) + 1) << x1 << "," << y1 << "-" << x2 << "," << y2;
                    ASSERT_EQ(grid.GetPixel(x1, y1), 1u);
                    ASSERT_EQ(grid.GetPixel(x2, y2), 1u);
                    for (short y = 0; y < 12; ++y)
                        for (short x = 0; x < 12; ++x) {
                            const bool inside = x >= std::min(x1, x2) && x <= std::max(x1, x2) &&
                                                y >= std::min(y1, y2) && y <= std::max(y1, y2);
                            if (!inside) {
                                ASSERT_EQ(grid.GetPixel(x, y), 0u);
                            }
                        }
                    for (short major = 0; major <= std::max(dx, dy); ++major) {
                        int hits = 0;
                        for (short minor = 0; minor < 12; ++minor) {
                            const short x = dx > dy ? short(std::min(x1, x2) + major) : minor;
                            const short y = dx > dy ? minor : short(std::min(y1, y2) + major);
                            hits += grid.GetPixel(x, y) == 1u;
                        }
                        ASSERT_EQ(hits, 1) << x1 << "," << y1 << "-" << x2 << "," << y2;
                    }
                    grid.Clear(0);
                    grid.Line(x2, y2, x1, y1);
                    ASSERT_EQ(Picture(grid), forward);
                }
}

TEST_F(CanvasTest, CopyDirtyRecBetweenOrientationsAndPitches)
{
    Canvas source(8, 6, 1, CANVAS_MEMORY);
    for (short y = 0; y < 6; ++y)
        for (short x = 0; x < 8; ++x) {
            source.SetDrawColor(static_cast<unsigned char>((x + y) % 15 + 1));
            source.PutPixel(x, y);
        }
    Canvas parent(12, 10, 0, CANVAS_MEMORY);
    Canvas destination(2, 1, 9, 8, &parent);
    int restored = 0;
    destination.Lock(&restored, 0);

    source.CopyDirtyRec(2, 1, 3, 4, 4, 3, &destination, 0);
    for (short y = 0; y < 8; ++y)
        for (short x = 0; x < 9; ++x) {
            const bool inside = x >= 3 && x < 7 && y >= 4 && y < 7;
            const unsigned long expected = inside ? source.GetPixel(short(x - 1), short(y - 3)) : 0;
            ASSERT_EQ(destination.GetPixel(x, y), expected) << x << "," << y;
        }
    EXPECT_EQ(CountColour(parent, 0), 120 - 12);
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(CanvasTest, CopyDirtyRecClipsAgainstEitherCanvas)
{
    Canvas source(8, 4, 1, CANVAS_MEMORY);
    for (short x = 0; x < 8; ++x) {
        source.SetDrawColor(static_cast<unsigned char>(x + 1));
        source.VertLine(x, 0, 3);
    }

    // Clipping against the source moves the destination with it.
    Canvas a(8, 4, 1, CANVAS_MEMORY);
    source.CopyDirtyRec(-2, 0, 0, 0, 5, 1, &a, 1);
    EXPECT_EQ(Picture(a)[0], "..123...");
    source.CopyDirtyRec(6, 3, 0, 1, 5, 5, &a, 1);
    EXPECT_EQ(Picture(a)[1], "78......");
    EXPECT_EQ(Picture(a)[2], "........");

    // Clipping against the destination leaves the source where it was.
    Canvas b(8, 4, 1, CANVAS_MEMORY);
    source.CopyDirtyRec(0, 0, -2, 0, 5, 1, &b, 2);
    EXPECT_EQ(Picture(b)[0], "123.....");
    source.CopyDirtyRec(0, 0, 6, -1, 5, 3, &b, 2);
    EXPECT_EQ(Picture(b)[0], "123...12");
    EXPECT_EQ(Picture(b)[1], "......12");
    EXPECT_EQ(Picture(b)[2], "........");

    // Wholly outside either canvas: nothing, and nothing logged.
    Canvas c(8, 4, 1, CANVAS_MEMORY);
    source.CopyDirtyRec(8, 0, 0, 0, 2, 2, &c, 1);
    source.CopyDirtyRec(-3, 0, 0, 0, 2, 2, &c, 1);
    source.CopyDirtyRec(0, 0, 0, 4, 2, 2, &c, 2);
    source.CopyDirtyRec(0, 0, 0, -3, 2, 2, &c, 3);
    EXPECT_EQ(CountColour(c, 0), 32);
    EXPECT_TRUE(LogEntries().empty());

    // Without clipping an overhanging rectangle is reported and not copied.
    source.CopyDirtyRec(6, 0, 0, 0, 4, 1, &c, 0);
    source.CopyDirtyRec(0, 0, 6, 3, 4, 2, &c, 0);
    EXPECT_EQ(CountColour(c, 0), 32);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{Assert(1452), Assert(1457), Assert(1459)}));
}
