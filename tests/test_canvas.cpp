#include "support/pictures.h"
#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>

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
    EXPECT_EQ((std::vector<long>{bottomUp.errorCode, bottomUp.QueryWidth(), bottomUp.QueryHeight(),
                                 bottomUp.QueryRowIncrement(), bottomUp.Validate()}),
              (std::vector<long>{0, 4, 2, -4, 1}));
    bottomUp.QueryRowAddress(1)[2] = 9; // row 1 is first in memory, and lands where GetPixel reads
    EXPECT_EQ(bottomUp.QueryRowAddress(0) - bottomUp.QueryRowAddress(1), 4);
    EXPECT_EQ(Picture(bottomUp), ".... ..9.");
    Canvas topDown(5, 3, 1, CANVAS_MEMORY);
    EXPECT_EQ(topDown.QueryRowAddress(2) - topDown.QueryRowAddress(0), 16);
    topDown.Clear(7); // the whole rounded width
    EXPECT_EQ(Picture(topDown), "77777777 77777777 77777777");
    EXPECT_TRUE(LogEntries().empty());

    // No usable pixels: refused or invalid, and drawing does nothing.
    const unsigned long unusable[][4] = {{16, 16, 0, 0}, {0, 10, CANVAS_MEMORY, 0}, {65535, 1, CANVAS_MEMORY, ERR_CANVAS_CREATE}};
    for (const auto& c : unusable) {
        Canvas canvas(static_cast<unsigned short>(c[0]), static_cast<unsigned short>(c[1]), 1, c[2]);
        EXPECT_EQ(canvas.errorCode, c[3]) << c[0];
        EXPECT_EQ(canvas.Validate(), 0) << c[0];
        canvas.SetDrawColor(3);
        canvas.Clear(1);
        canvas.FilledRectClipped(0, 0, 5, 5);
        canvas.FilledRectUnclipped(0, 0, 5, 5);
        EXPECT_EQ(canvas.GetPixel(1, 1), 0u) << c[0];
    }
}

TEST_F(CanvasTest, SubCanvasesAreNarrowedLockedNestedAndRefusedOutside)
{
    for (int order = 0; order <= 1; ++order) {
        tvxtest::Window window(8, 6, 5, 2, 10, 3, order, 1);
        Canvas& sub = window.canvas;
        EXPECT_EQ(sub.QueryWidth(), 3); // narrowed to the parent's right edge
        EXPECT_EQ(sub.QueryRowAddress(0), window.parent.QueryRowAddress(2) + 5);
        sub.Clear(2);
        sub.SetDrawColor(3);
        sub.PutPixel(0, 0);
        sub.HorizLine(-4, 40, 2);
        sub.PutPixel(3, 0);             // just outside the sub-canvas
        Canvas inner(1, 1, 2, 2, &sub); // sees the grandparent's pixels
        EXPECT_EQ(inner.Validate(), 0); // not usable before the first lock
        tvxtest::LockNow(inner);
        inner.SetDrawColor(6);
        inner.PutPixel(0, 0);
        EXPECT_EQ(Picture(window.parent), "11111111 11111111 11111322 11111262 11111333 11111111") << order;
    }
    EXPECT_TRUE(LogEntries().empty());
    Canvas parent(8, 6, 1, CANVAS_MEMORY);
    Canvas right(8, 0, 2, 2, &parent), below(0, 6, 2, 2, &parent);
    EXPECT_EQ(right.errorCode + below.errorCode, 2 * ERR_CANVAS_CREATE);
    const auto log = LogEntries();
    ASSERT_EQ(log.size(), 4u);
    EXPECT_EQ(log[0], "Debug Message: Tried to create a sub-canvas out of bounds.");
    EXPECT_EQ(log[1].rfind("Assert error in file canvas at line ", 0), 0u);
}

TEST_F(CanvasTest, PointsAndShapesClipToTheCanvasAndKeepTheirCornerCases)
{
    struct Case {
        const char* call;
        void (*draw)(Canvas&);
        std::string picture;
    };
#define SHAPE(call, picture) {#call, [](Canvas& c) { c.call; }, picture}
    const Case cases[] = {
        SHAPE(PutPixel(7, 5), "........ ........ ........ ........ ........ .......1"),
        SHAPE(HorizLine(-5, 2, 0), "111..... ........ ........ ........ ........ ........"),
        SHAPE(HorizLine(10, 3, 1), "........ ...11111 ........ ........ ........ ........"),
        SHAPE(HorizLine(2, 2, 2), "........ ........ ..1..... ........ ........ ........"),
        SHAPE(HorizLine(-100, 100, 5), "........ ........ ........ ........ ........ 11111111"),
        SHAPE(VertLine(0, -5, 2), "1....... 1....... 1....... ........ ........ ........"),
        SHAPE(VertLine(1, 10, 3), "........ ........ ........ .1...... .1...... .1......"),
        SHAPE(VertLine(2, 2, 2), "........ ........ ..1..... ........ ........ ........"),
        SHAPE(VertLine(5, -100, 100), ".....1.. .....1.. .....1.. .....1.. .....1.. .....1.."),
        SHAPE(Rectangle(1, 1, 5, 4), "........ .11111.. .1...1.. .1...1.. .11111.. ........"),
        // With y1 > y2 the sides run one row past each horizontal side.
        SHAPE(Rectangle(5, 4, 1, 1), ".1...1.. .11111.. .1...1.. .1...1.. .11111.. .1...1.."),
        SHAPE(Rectangle(-2, -2, 3, 20), "...1.... ...1.... ...1.... ...1.... ...1.... ...1...."),
        SHAPE(FilledRectClipped(2, 2, 1, 1), "........ .11..... .11..... ........ ........ ........"),
        SHAPE(FilledRectClipped(-5, -5, 1, 0), "11...... ........ ........ ........ ........ ........"),
        SHAPE(FilledRectClipped(6, 4, 20, 20), "........ ........ ........ ........ ......11 ......11"),
        SHAPE(FilledRectClipped(-100, -100, 100, 100), "11111111 11111111 11111111 11111111 11111111 11111111"),
        // Straight and diagonal lines leave out the far end; sloped ones keep both.
        SHAPE(Line(0, 0, 3, 0), "111..... ........ ........ ........ ........ ........"),
        SHAPE(Line(7, 3, 7, 0), ".......1 .......1 .......1 ........ ........ ........"), // drawn downwards
        SHAPE(Line(5, 3, 2, 0), "..1..... ...1.... ....1... ........ ........ ........"),
        SHAPE(Line(0, 0, 5, 2), "11...... ..11.... ....11.. ........ ........ ........"),
        SHAPE(Line(1, 3, 2, 0), "..1..... ..1..... .1...... .1...... ........ ........"),
        // Wholly outside or degenerate: nothing.
        SHAPE(HorizLine(-9, -1, 3), ""), SHAPE(HorizLine(8, 12, 4), ""), SHAPE(HorizLine(1, 3, -1), ""),
        SHAPE(HorizLine(1, 3, 6), ""), SHAPE(VertLine(3, -9, -1), ""), SHAPE(VertLine(4, 6, 12), ""),
        SHAPE(VertLine(-1, 1, 3), ""), SHAPE(VertLine(8, 1, 3), ""), SHAPE(Rectangle(2, 2, 2, 5), ""),
        SHAPE(Rectangle(2, 3, 6, 3), ""), SHAPE(FilledRectClipped(-1, -1, -5, -5), ""),
        SHAPE(FilledRectClipped(8, 0, 9, 3), ""), SHAPE(FilledRectClipped(0, 6, 3, 9), ""),
        SHAPE(Line(0, 0, 0, 0), ""), SHAPE(PutPixel(-1, 0), ""), SHAPE(PutPixel(0, -1), ""), SHAPE(PutPixel(8, 0), ""),
        SHAPE(PutPixel(0, 6), ""), SHAPE(XORHorizLine(8, 9, 1), ""), SHAPE(XORVertLine(0, -5, -1), ""),
        SHAPE(XORHorizLine(0, 7, 6), ""),
        // XOR shapes toggle each pixel once, corners included, and clip alike.
        SHAPE(XORRectangle(1, 1, 6, 4), "........ .111111. .1....1. .1....1. .111111. ........"),
        SHAPE(XORHorizLine(-3, 20, 0), "11111111 ........ ........ ........ ........ ........"),
        SHAPE(XORVertLine(7, -3, 20), ".......1 .......1 .......1 .......1 .......1 .......1"),
    };
#undef SHAPE
    const std::string blank = "........ ........ ........ ........ ........ ........";
    for (const auto& c : cases)
        for (int order = 0; order <= 1; ++order) {
            Canvas drawn(8, 6, order, CANVAS_MEMORY);
            drawn.SetDrawColor(1);
            c.draw(drawn);
            EXPECT_EQ(Picture(drawn), c.picture.empty() ? blank : c.picture) << c.call << " order " << order;
            drawn.Clear(5); // outside reads as zero
            EXPECT_EQ(drawn.GetPixel(-1, 0) + drawn.GetPixel(0, 6) + drawn.GetPixel(-32768, 32767), 0u);
        }
}

TEST_F(CanvasTest, UnclippedRoutinesAssertAndDrawOnPastTheCanvas)
{
    tvxtest::Window window(12, 6, 2, 1, 6, 4);
    Canvas& canvas = window.canvas;
    canvas.SetDrawColor(4);
    canvas.HorizLineUnclipped(5, 2, 0);
    canvas.VertLineUnclipped(5, 3, 1);
    canvas.FilledRectUnclipped(1, 3, 0, 2);
    EXPECT_EQ(Picture(canvas), "..4444 .....4 44...4 44...4");
    EXPECT_TRUE(LogEntries().empty());

    // Past the far edges they run on into the parent; only the negative
    // corner of the rectangle is checked.
    canvas.SetDrawColor(1);
    canvas.HorizLineUnclipped(4, 7, 1);
    canvas.FilledRectUnclipped(5, 3, 6, 4);
    canvas.VertLineUnclipped(0, -1, 0);
    canvas.SetDrawColor(2);
    canvas.Line(0, 0, 9, 0);
    EXPECT_EQ(Picture(window.parent), "..1......... ..222222222. ......1111.. ..44...4.... ..44...11... .......11...");
    // Only the root canvas's memory stops them.
    Canvas small(4, 2, 1, CANVAS_MEMORY);
    small.SetDrawColor(3);
    small.HorizLineUnclipped(-3, 1, 0);
    small.FilledRectUnclipped(2, 1, 300, 300);
    small.Line(3, 0, 0, 300);
    EXPECT_EQ(Picture(small), "33.3 ..33");
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{Assert(1034), Assert(1069), Assert(1134), Assert(1033),
                                                      Assert(1134)}));
}

TEST_F(CanvasTest, SlopedLinesTakeOnePixelPerStepWhicheverEndComesFirst)
{
    Canvas grid(12, 12, 1, CANVAS_MEMORY);
    grid.SetDrawColor(1);
    for (int i = 0; i < 12 * 12 * 12 * 12; ++i) {
        const short x1 = short(i % 12), y1 = short(i / 12 % 12), x2 = short(i / 144 % 12), y2 = short(i / 1728);
        const int dx = std::abs(x2 - x1), dy = std::abs(y2 - y1);
        if (dx == 0 || dy == 0 || dx == dy)
            continue;
        grid.Clear(0);
        grid.Line(x1, y1, x2, y2);
        const std::string forward = Picture(grid);
        // One pixel per step of the major axis, inside the box, both ends among them.
        std::set<int> steps;
        for (short y = std::min(y1, y2); y <= std::max(y1, y2); ++y)
            for (short x = std::min(x1, x2); x <= std::max(x1, x2); ++x)
                if (grid.GetPixel(x, y))
                    steps.insert(dx > dy ? x : y);
        ASSERT_EQ(std::count(forward.begin(), forward.end(), '1'), std::max(dx, dy) + 1) << i;
        ASSERT_EQ(int(steps.size()), std::max(dx, dy) + 1) << i;
        ASSERT_TRUE(grid.GetPixel(x1, y1) && grid.GetPixel(x2, y2)) << i;
        grid.Clear(0);
        grid.Line(x2, y2, x1, y1);
        ASSERT_EQ(Picture(grid), forward) << i;
    }
}

TEST_F(CanvasTest, CopyDirtyRecCrossesOrientationsAndClipsAgainstEitherCanvas)
{
    Canvas source(8, 6, 1, CANVAS_MEMORY);
    for (short y = 0; y < 6; ++y)
        for (short x = 0; x < 8; ++x)
            source.QueryRowAddress(static_cast<unsigned long>(y))[x] = static_cast<unsigned char>((x + y) % 15 + 1);
    // Into a bottom-up sub-canvas of a wider parent.
    tvxtest::Window window(12, 10, 2, 1, 9, 8, 0);
    source.CopyDirtyRec(2, 1, 3, 4, 4, 3, &window.canvas, 0);
    EXPECT_EQ(Picture(window.parent), "............ ............ ............ ............ ............ .....4567... "
                                      ".....5678... .....6789... ............ ............");
    EXPECT_TRUE(LogEntries().empty());

    const struct {
        short srcX, srcY, dstX, dstY, width, height;
        int flags;
        std::string picture;
    } cases[] = {
        // Clipping against the source moves the destination with it.
        {-2, 0, 0, 0, 5, 1, 1, "..123... ........ ........ ........"},
        {6, 5, 0, 1, 5, 5, 1, "........ cd...... ........ ........"},
        // Clipping against the destination leaves the source where it was.
        {0, 0, -2, 0, 5, 1, 2, "123..... ........ ........ ........"},
        {0, 0, 6, -1, 5, 3, 2, "......12 ......23 ........ ........"},
        // Whole rows, back to back in both canvases.
        {0, 2, 0, 1, 8, 2, 3, "........ 3456789a 456789ab ........"},
        // Wholly outside either canvas: nothing, and nothing logged.
        {8, 0, 0, 0, 2, 2, 1, ""}, {-3, 0, 0, 0, 2, 2, 1, ""}, {0, 0, 0, 4, 2, 2, 2, ""}, {0, 0, 0, -3, 2, 2, 3, ""},
        // Without clipping an overhanging rectangle is reported and copied on
        // into the next row, as far as each canvas's memory goes.
        {6, 0, 0, 0, 4, 1, 0, "7823.... ........ ........ ........"},
        {0, 0, 6, 3, 4, 2, 0, "........ ........ ........ ......12"},
    };
    for (const auto& c : cases) {
        Canvas destination(8, 4, 1, CANVAS_MEMORY);
        source.CopyDirtyRec(c.srcX, c.srcY, c.dstX, c.dstY, c.width, c.height, &destination, c.flags);
        EXPECT_EQ(Picture(destination), c.picture.empty() ? "........ ........ ........ ........" : c.picture)
            << c.srcX << "," << c.srcY << " to " << c.dstX << "," << c.dstY;
    }
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{Assert(1452), Assert(1457), Assert(1459)}));
}
