#include "support/pictures.h"
#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

using tvxtest::LogEntries;
using tvxtest::Picture;

namespace {
std::string Assert(unsigned long line)
{
    return tvxtest::AssertLine("canvas", line);
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
    EXPECT_EQ(bottomUp.QueryRowAddress(0) - bottomUp.QueryRowAddress(1), 4); // row 0 is last in memory
    bottomUp.QueryRowAddress(1)[2] = 9; // lands where GetPixel reads
    EXPECT_EQ(Picture(bottomUp), ".... ..9.");

    Canvas topDown(5, 3, 1, CANVAS_MEMORY);
    EXPECT_EQ(topDown.QueryWidth(), 8);
    EXPECT_EQ(topDown.QueryRowIncrement(), 8);
    EXPECT_EQ(topDown.QueryRowAddress(2) - topDown.QueryRowAddress(0), 16);
    EXPECT_EQ(Picture(topDown), "........ ........ ........");
    topDown.Clear(7); // the whole rounded width
    EXPECT_EQ(Picture(topDown), "77777777 77777777 77777777");
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(CanvasTest, CanvasesWithoutUsablePixelsAreRefusedOrInvalidAndIgnoreDrawing)
{
    struct Case {
        const char* what;
        unsigned short width, height;
        unsigned long flags;
        unsigned short code;
    };
    const Case cases[] = {
        {"display", 640, 480, CANVAS_DIRECTDRAW, ERR_CANVAS_CREATE},
        {"row table only", 16, 16, 0, 0},
        {"no width", 0, 10, CANVAS_MEMORY, 0},
        {"width cannot be rounded in 16 bits", 65535, 1, CANVAS_MEMORY, ERR_CANVAS_CREATE},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Canvas canvas(c.width, c.height, 1, c.flags);
        EXPECT_EQ(canvas.errorCode, c.code);
        EXPECT_EQ(canvas.Validate(), 0);
        canvas.SetDrawColor(3);
        canvas.Clear(1);
        canvas.PutPixel(1, 1);
        canvas.FilledRectClipped(0, 0, 5, 5);
        EXPECT_EQ(canvas.GetPixel(1, 1), 0u);
    }
}

TEST_F(CanvasTest, SubCanvasesAreNarrowedLockedNestedAndRefusedOutside)
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
        EXPECT_EQ(Picture(parent), "11111111 11111111 11111322 11111222 11111333 11111111");
        sub.Unlock();

        // A sub-canvas of a sub-canvas sees the grandparent's pixels.
        Canvas inner(1, 1, 2, 2, &sub);
        inner.Lock(&restored, 0);
        inner.SetDrawColor(6);
        inner.PutPixel(0, 0);
        EXPECT_EQ(parent.GetPixel(6, 3), 6u);
    }
    EXPECT_TRUE(LogEntries().empty());

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
}

TEST_F(CanvasTest, PixelsOutsideAreIgnoredAndReadAsZero)
{
    Canvas canvas(4, 4, 1, CANVAS_MEMORY);
    canvas.Clear(5);
    canvas.SetDrawColor(9);
    const short outside[][2] = {{-1, 0}, {0, -1}, {4, 0}, {0, 4}, {-32768, 32767}};
    for (const auto& p : outside) {
        canvas.PutPixel(p[0], p[1]);
        EXPECT_EQ(canvas.GetPixel(p[0], p[1]), 0u);
    }
    canvas.PutPixel(3, 3);
    EXPECT_EQ(Picture(canvas), "5555 5555 5555 5559");
}

TEST_F(CanvasTest, HorizontalAndVerticalLinesClipToTheCanvas)
{
    struct Case {
        short a, b, at;
        std::string line; // the row or column that results
    };
    const Case cases[] = {
        {-5, 2, 0, "999....."}, {10, 3, 0, "...99999"}, {2, 2, 0, "..9....."}, {-9, -1, 0, "........"},
        {8, 12, 0, "........"}, {-100, 100, 5, "99999999"}, {1, 3, -1, "........"}, {1, 3, 8, "........"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.a) + ".." + std::to_string(c.b) + " at " + std::to_string(c.at));
        std::string rows, columns;
        for (short y = 0; y < 8; ++y) {
            std::string column = "........";
            if (c.at >= 0 && c.at < 8)
                column[size_t(c.at)] = c.line[size_t(y)];
            rows += (y ? " " : "") + (y == c.at ? c.line : std::string("........"));
            columns += (y ? " " : "") + column;
        }
        Canvas horizontal(8, 8, 1, CANVAS_MEMORY);
        horizontal.SetDrawColor(9);
        horizontal.HorizLine(c.a, c.b, c.at);
        EXPECT_EQ(Picture(horizontal), rows);
        Canvas vertical(8, 8, 0, CANVAS_MEMORY);
        vertical.SetDrawColor(9);
        vertical.VertLine(c.at, c.a, c.b);
        EXPECT_EQ(Picture(vertical), columns);
    }
}

TEST_F(CanvasTest, RectangleOutlinesKeepTheReversedCornerOvershoot)
{
    struct Case {
        short x1, y1, x2, y2;
        std::string picture;
    };
    const Case cases[] = {
        {1, 1, 5, 4, "........ .11111.. .1...1.. .1...1.. .11111.. ........ ........ ........"},
        // With y1 > y2 the sides run one row past each horizontal side.
        {5, 5, 1, 2, "........ .1...1.. .11111.. .1...1.. .1...1.. .11111.. .1...1.. ........"},
        {2, 2, 2, 6, "........ ........ ........ ........ ........ ........ ........ ........"},
        {2, 3, 6, 3, "........ ........ ........ ........ ........ ........ ........ ........"},
        {-2, -2, 3, 20, "...1.... ...1.... ...1.... ...1.... ...1.... ...1.... ...1.... ...1...."},
    };
    for (const auto& c : cases) {
        Canvas canvas(8, 8, 1, CANVAS_MEMORY);
        canvas.SetDrawColor(1);
        canvas.Rectangle(c.x1, c.y1, c.x2, c.y2);
        EXPECT_EQ(Picture(canvas), c.picture) << c.x1 << "," << c.y1 << " " << c.x2 << "," << c.y2;
    }
}

TEST_F(CanvasTest, XorShapesToggleEachPixelOnceAndUndoThemselves)
{
    Canvas canvas(8, 6, 0, CANVAS_MEMORY);
    canvas.Clear(0x0F);
    canvas.SetDrawColor(0x03);
    canvas.XORRectangle(1, 1, 6, 4);
    EXPECT_EQ(Picture(canvas), "ffffffff fccccccf fcffffcf fcffffcf fccccccf ffffffff");
    canvas.XORRectangle(1, 1, 6, 4);
    EXPECT_EQ(Picture(canvas), "ffffffff ffffffff ffffffff ffffffff ffffffff ffffffff");

    canvas.XORHorizLine(-3, 20, 0);
    canvas.XORVertLine(7, -3, 20);
    canvas.XORHorizLine(8, 9, 1);  // starts past the right edge
    canvas.XORVertLine(0, -5, -1); // ends above the top
    canvas.XORHorizLine(0, 7, 6);  // below the canvas
    EXPECT_EQ(Picture(canvas), "cccccccf fffffffc fffffffc fffffffc fffffffc fffffffc");
}

TEST_F(CanvasTest, FilledRectanglesClipAndAcceptCornersInAnyOrder)
{
    struct Case {
        short x1, y1, x2, y2;
        std::string picture;
    };
    const Case cases[] = {
        {2, 2, 1, 1, "........ .22..... .22..... ........ ........ ........"},
        {-5, -5, 1, 0, "22...... ........ ........ ........ ........ ........"},
        {6, 4, 20, 20, "........ ........ ........ ........ ......22 ......22"},
        {-1, -1, -5, -5, "........ ........ ........ ........ ........ ........"},
        {8, 0, 9, 3, "........ ........ ........ ........ ........ ........"},
        {0, 6, 3, 9, "........ ........ ........ ........ ........ ........"},
        {-100, -100, 100, 100, "22222222 22222222 22222222 22222222 22222222 22222222"},
    };
    for (const auto& c : cases) {
        Canvas canvas(8, 6, 0, CANVAS_MEMORY);
        canvas.SetDrawColor(2);
        canvas.FilledRectClipped(c.x1, c.y1, c.x2, c.y2);
        EXPECT_EQ(Picture(canvas), c.picture) << c.x1 << "," << c.y1 << " " << c.x2 << "," << c.y2;
    }
}

TEST_F(CanvasTest, UnclippedRoutinesDrawInsideAndOnlyLogWhenMisused)
{
    Canvas canvas(8, 4, 1, CANVAS_MEMORY);
    canvas.SetDrawColor(4);
    canvas.HorizLineUnclipped(5, 2, 0);
    canvas.VertLineUnclipped(7, 3, 1);
    canvas.FilledRectUnclipped(1, 3, 0, 2);
    const std::string drawn = "..4444.. .......4 44.....4 44.....4";
    EXPECT_EQ(Picture(canvas), drawn);
    EXPECT_TRUE(LogEntries().empty());

    canvas.HorizLineUnclipped(-1, 3, 0);
    canvas.HorizLineUnclipped(0, 8, 0);
    canvas.HorizLineUnclipped(-1, 8, 0);
    canvas.VertLineUnclipped(0, -1, 2);
    canvas.VertLineUnclipped(8, 0, 2);
    canvas.FilledRectUnclipped(0, 0, -1, 2);
    canvas.FilledRectUnclipped(0, 0, 3, 4);
    canvas.Line(0, 0, 8, 0);
    canvas.Line(-1, 0, 9, 0);
    EXPECT_EQ(Picture(canvas), drawn);
    const auto log = LogEntries();
    ASSERT_EQ(log.size(), 11u);
    const std::vector<std::string> expected = {
        Assert(1033), Assert(1034), Assert(1033), Assert(1034), Assert(1069), Assert(1070), Assert(1654),
    };
    EXPECT_EQ(std::vector<std::string>(log.begin(), log.begin() + 7), expected);
    EXPECT_EQ(log[8], Assert(1134));
    EXPECT_EQ(log[9], Assert(1133));
    EXPECT_EQ(log[10], Assert(1134));
}

TEST_F(CanvasTest, LinesInRunsAndStraightOnesLeaveOutTheFarEnd)
{
    struct Case {
        short x1, y1, x2, y2;
        std::string picture;
    };
    const Case cases[] = {
        {0, 0, 0, 0, "........ ........ ........ ........"},
        {0, 0, 3, 0, "111..... ........ ........ ........"},
        {7, 3, 7, 0, ".......1 .......1 .......1 ........"}, // drawn downwards from the upper end
        {5, 3, 2, 0, "..1..... ...1.... ....1... ........"},
        {0, 0, 5, 2, "11...... ..11.... ....11.. ........"}, // sloped lines keep both ends
        {1, 3, 2, 0, "..1..... ..1..... .1...... .1......"},
    };
    for (const auto& c : cases) {
        for (int order = 0; order <= 1; ++order) {
            Canvas canvas(8, 4, order, CANVAS_MEMORY);
            canvas.SetDrawColor(1);
            canvas.Line(c.x1, c.y1, c.x2, c.y2);
            EXPECT_EQ(Picture(canvas), c.picture) << c.x1 << "," << c.y1 << "-" << c.x2 << "," << c.y2;
        }
    }

    // Every sloped line in a small grid: one pixel per step along the major
    // axis inside the bounding box, both ends drawn, and the same pixels
    // whichever end is given first.
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
                    const std::string forward = Picture(grid);
                    std::set<int> majors;
                    int pixels = 0;
                    for (short y = 0; y < 12; ++y)
                        for (short x = 0; x < 12; ++x) {
                            if (!grid.GetPixel(x, y))
                                continue;
                            ++pixels;
                            majors.insert(dx > dy ? x : y);
                            ASSERT_TRUE(x >= std::min(x1, x2) && x <= std::max(x1, x2) && y >= std::min(y1, y2) &&
                                        y <= std::max(y1, y2));
                        }
                    const size_t steps = size_t(std::max(dx, dy)) + 1;
                    ASSERT_EQ(size_t(pixels), steps) << x1 << "," << y1 << "-" << x2 << "," << y2;
                    ASSERT_EQ(majors.size(), steps) << x1 << "," << y1 << "-" << x2 << "," << y2;
                    ASSERT_TRUE(grid.GetPixel(x1, y1) && grid.GetPixel(x2, y2));
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
    EXPECT_EQ(Picture(parent), "............ ............ ............ ............ ............ .....4567... "
                               ".....5678... .....6789... ............ ............");
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(CanvasTest, CopyDirtyRecClipsAgainstEitherCanvas)
{
    Canvas source(8, 4, 1, CANVAS_MEMORY);
    for (short x = 0; x < 8; ++x) {
        source.SetDrawColor(static_cast<unsigned char>(x + 1));
        source.VertLine(x, 0, 3);
    }
    struct Case {
        const char* what;
        short srcX, srcY, dstX, dstY, width, height;
        int flags;
        std::string picture;
    };
    const Case cases[] = {
        // Clipping against the source moves the destination with it.
        {"left of the source", -2, 0, 0, 0, 5, 1, 1, "..123... ........ ........ ........"},
        {"past the source's corner", 6, 3, 0, 1, 5, 5, 1, "........ 78...... ........ ........"},
        // Clipping against the destination leaves the source where it was.
        {"left of the destination", 0, 0, -2, 0, 5, 1, 2, "123..... ........ ........ ........"},
        {"above the destination", 0, 0, 6, -1, 5, 3, 2, "......12 ......12 ........ ........"},
        // Wholly outside either canvas: nothing, and nothing logged.
        {"right of the source", 8, 0, 0, 0, 2, 2, 1, "........ ........ ........ ........"},
        {"far left of the source", -3, 0, 0, 0, 2, 2, 1, "........ ........ ........ ........"},
        {"below the destination", 0, 0, 0, 4, 2, 2, 2, "........ ........ ........ ........"},
        {"far above the destination", 0, 0, 0, -3, 2, 2, 3, "........ ........ ........ ........"},
    };
    for (const auto& c : cases) {
        Canvas destination(8, 4, 1, CANVAS_MEMORY);
        source.CopyDirtyRec(c.srcX, c.srcY, c.dstX, c.dstY, c.width, c.height, &destination, c.flags);
        EXPECT_EQ(Picture(destination), c.picture) << c.what;
    }
    EXPECT_TRUE(LogEntries().empty());

    // Without clipping an overhanging rectangle is reported and not copied.
    Canvas destination(8, 4, 1, CANVAS_MEMORY);
    source.CopyDirtyRec(6, 0, 0, 0, 4, 1, &destination, 0);
    source.CopyDirtyRec(0, 0, 6, 3, 4, 2, &destination, 0);
    EXPECT_EQ(Picture(destination), "........ ........ ........ ........");
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{Assert(1452), Assert(1457), Assert(1459)}));
}
