#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#ifndef _WIN32
#include "pcx4_writer.h"
#endif

using tvxtest::LogEntries;
using tvxtest::ReadBytes;
using tvxtest::WriteBytes;

namespace {
using Bytes = std::vector<unsigned char>;
using Rows = std::vector<Bytes>;

const unsigned char kSentinel = 0xEE;

struct PcxLayout {
    int width = 0;  // pixels
    int height = 0;
    int bitsPerPixel = 8;
    int bytesPerLine = 0; // 0: just enough for the width
    int version = 5;
    bool withPalette = true;
};

// An independent little encoder: greedy runs of up to 63, literals below
// 0xC0 as themselves. Each row must hold bytesPerLine bytes.
Bytes EncodePcx(const PcxLayout& layout, const Rows& lines, const Bytes& palette = Bytes(768, 0))
{
    const int bpl = layout.bytesPerLine ? layout.bytesPerLine
                                      : (layout.bitsPerPixel == 8 ? layout.width : (layout.width + 7) / 8);
    Bytes file(128, 0);
    file[0] = 10;
    file[1] = static_cast<unsigned char>(layout.version);
    file[2] = 1;
    file[3] = static_cast<unsigned char>(layout.bitsPerPixel);
    file[4] = 3; // a non-zero origin: only the extent counts
    file[6] = 2;
    const int xmax = 3 + layout.width - 1, ymax = 2 + layout.height - 1;
    file[8] = static_cast<unsigned char>(xmax);
    file[9] = static_cast<unsigned char>(xmax >> 8);
    file[10] = static_cast<unsigned char>(ymax);
    file[11] = static_cast<unsigned char>(ymax >> 8);
    file[65] = 1;
    file[66] = static_cast<unsigned char>(bpl);
    file[67] = static_cast<unsigned char>(bpl >> 8);
    for (const Bytes& line : lines) {
        for (size_t i = 0; i < line.size();) {
            size_t n = 1;
            while (i + n < line.size() && n < 63 && line[i + n] == line[i])
                ++n;
            if (n > 1 || (line[i] & 0xC0) == 0xC0) {
                file.push_back(static_cast<unsigned char>(0xC0 | n));
            }
            file.push_back(line[i]);
            i += n;
        }
    }
    if (layout.bitsPerPixel == 8 && layout.withPalette) {
        file.push_back(12);
        file.insert(file.end(), palette.begin(), palette.end());
    }
    return file;
}

Rows RandomRows(int count, int length, unsigned seed)
{
    std::mt19937 random(seed);
    Rows rows(size_t(count), Bytes(static_cast<size_t>(length)));
    for (auto& row : rows)
        for (auto& b : row)
            b = static_cast<unsigned char>(random() % 4 == 0 ? 0xC7 : random() % 3); // runs and marker-like bytes
    return rows;
}

Bytes RandomPalette(unsigned seed)
{
    std::mt19937 random(seed);
    Bytes palette(768);
    for (auto& b : palette)
        b = static_cast<unsigned char>(random());
    return palette;
}

// A parent canvas filled with a sentinel and, inside it, the sub-canvas the
// painter draws on: any write outside the sub-canvas shows in the parent.
struct Fenced {
    Canvas parent;
    Canvas canvas;
    int left, top;
    Fenced(int width, int height, int topDown = 1)
        : parent(static_cast<unsigned short>(width + 16), static_cast<unsigned short>(height + 8), topDown,
                 CANVAS_MEMORY),
          canvas(5, 3, static_cast<unsigned short>(width), static_cast<unsigned short>(height), &parent), left(5),
          top(3)
    {
        parent.Clear(kSentinel);
        int restored = 0;
        canvas.Lock(&restored, 0);
    }
    // Every parent pixel outside the sub-canvas still holds the sentinel.
    bool FenceIntact()
    {
        for (short y = 0; y < parent.QueryHeight(); ++y)
            for (short x = 0; x < parent.QueryWidth(); ++x) {
                const bool inside = x >= left && x < left + canvas.QueryWidth() && y >= top &&
                                    y < top + canvas.QueryHeight();
                if (!inside && parent.GetPixel(x, y) != kSentinel)
                    return false;
            }
        return true;
    }
};

// What a clipped 8-bit paint must leave: each decoded byte at (x + n, y + r)
// when inside, the sentinel elsewhere.
void ExpectPainted8(Canvas& canvas, const Rows& lines, int x, int y)
{
    for (short cy = 0; cy < canvas.QueryHeight(); ++cy)
        for (short cx = 0; cx < canvas.QueryWidth(); ++cx) {
            const int r = cy - y, n = cx - x;
            const bool painted = r >= 0 && r < int(lines.size()) && n >= 0 && n < int(lines[size_t(r)].size());
            const unsigned long expected = painted ? lines[size_t(r)][size_t(n)] : kSentinel;
            ASSERT_EQ(canvas.GetPixel(cx, cy), expected) << "at " << cx << "," << cy;
        }
}

class PcxTest : public testing::Test {
protected:
    void SetUp() override { DebugInit(); }
};
} // namespace

TEST_F(PcxTest, HeaderChecksGiveTheirCodes)
{
    const Rows lines = RandomRows(2, 4, 1);
    const Bytes good = EncodePcx({4, 2}, lines);
    struct Case {
        const char* what;
        size_t offset;
        unsigned char value;
        unsigned short code;
    };
    const Case cases[] = {
        {"manufacturer", 0, 11, ERR_PCX_NOT_PCX},
        {"version 6", 1, 6, ERR_PCX_UNSUPPORTED},
        {"4 bits per pixel", 3, 4, ERR_PCX_UNSUPPORTED},
        {"24 bits", 3, 24, ERR_PCX_UNSUPPORTED},
    };
    for (const auto& c : cases) {
        Bytes file = good;
        file[c.offset] = c.value;
        PcxPainter painter;
        EXPECT_EQ(painter.AssociateBuffer(file.data(), file.size()), ERR_FAILURE) << c.what;
        EXPECT_EQ(painter.errorCode, c.code) << c.what;
    }

    Bytes header(good.begin(), good.begin() + 128);
    PcxPainter shortOne(header.data(), header.size());
    EXPECT_EQ(shortOne.errorCode, ERR_PCX_TOO_SHORT);
    PcxPainter none(nullptr, 5000);
    EXPECT_EQ(none.errorCode, ERR_PCX_TOO_SHORT);

    // Version 0 and 1-bit files are accepted.
    Bytes old = good;
    old[1] = 0;
    PcxPainter accepted(old.data(), old.size());
    EXPECT_EQ(accepted.errorCode, 0);

    _BITMAPSTATS stats{};
    ASSERT_EQ(accepted.QueryBitmapStats(&stats), ERR_OK);
    EXPECT_EQ(stats.width, 4);
    EXPECT_EQ(stats.height, 2);
    EXPECT_EQ(stats.bitsPerPixel, 8);
    EXPECT_EQ(sizeof(_BITMAPSTATS), 5u);

    PcxPainter empty;
    EXPECT_EQ(empty.QueryBitmapStats(&stats), ERR_FAILURE);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{"Assert error in file pcx4 at line 487."}));
}

TEST_F(PcxTest, PaintCanvasNeedsABufferAndAValidCanvas)
{
    const Rows lines = RandomRows(2, 4, 2);
    Bytes file = EncodePcx({4, 2}, lines);
    Canvas canvas(8, 8, 1, CANVAS_MEMORY);

    PcxPainter noCanvas(file.data(), file.size());
    EXPECT_EQ(noCanvas.PaintCanvas(0, 1), ERR_FAILURE);
    EXPECT_EQ(noCanvas.errorCode, ERR_PCX_NO_INPUT);

    PcxPainter noBuffer;
    noBuffer.AssociateCanvas(&canvas);
    EXPECT_EQ(noBuffer.PaintCanvas(0, 1), ERR_FAILURE);
    EXPECT_EQ(noBuffer.errorCode, ERR_PCX_NO_INPUT);

    Canvas unlocked(0, 0, 4, 4, &canvas);
    PcxPainter invalid(file.data(), file.size(), &unlocked);
    EXPECT_EQ(invalid.PaintCanvas(0, 1), ERR_FAILURE);
    EXPECT_EQ(invalid.errorCode, ERR_PCX_BAD_CANVAS);

    PcxPainter painter(file.data(), file.size(), &canvas);
    EXPECT_EQ(painter.PaintCanvas(0, 1), ERR_OK);
    painter.DissociateBuffer();
    EXPECT_EQ(painter.PaintCanvas(0, 1), ERR_FAILURE);
    EXPECT_EQ(painter.errorCode, ERR_PCX_NO_INPUT);

    // The base painter refuses an empty buffer too.
    EXPECT_EQ(static_cast<BitmapPainter&>(painter).AssociateBuffer(file.data(), 0), ERR_FAILURE);
}

TEST_F(PcxTest, EightBitImagesAreClippedOnEveryEdge)
{
    // 11 pixels wide with an even 12-byte line: the pad byte is painted too.
    const Rows lines = RandomRows(9, 12, 3);
    Bytes file = EncodePcx({11, 9, 8, 12}, lines);
    struct Case {
        short x, y;
    };
    const Case positions[] = {{0, 0}, {2, 1}, {0, -3}, {-5, 0}, {-4, -8}, {6, 2}, {3, 5}, {-20, 0}, {0, -20}};
    for (const auto& p : positions) {
        SCOPED_TRACE(std::to_string(p.x) + "," + std::to_string(p.y));
        for (int order = 0; order <= 1; ++order) {
            Fenced fence(13, 7, order);
            fence.canvas.Clear(kSentinel);
            PcxPainter painter(file.data(), file.size(), &fence.canvas);
            painter.SetPosition(p.x, p.y);
            ASSERT_EQ(painter.PaintCanvas(0, 1), ERR_OK);
            ExpectPainted8(fence.canvas, lines, p.x, p.y);
            EXPECT_TRUE(fence.FenceIntact());
        }
    }
    // Starting below the canvas paints nothing and reports the bad row.
    Fenced fence(13, 7);
    fence.canvas.Clear(kSentinel);
    PcxPainter painter(file.data(), file.size(), &fence.canvas);
    painter.SetPosition(0, 7);
    EXPECT_EQ(painter.PaintCanvas(0, 1), ERR_OK);
    ExpectPainted8(fence.canvas, Rows{}, 0, 0);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{"Assert error in file canvas at line 399."}));
}

TEST_F(PcxTest, UnclippedPaintingMatchesInsideAndStartsAtRowZero)
{
    const Rows lines = RandomRows(5, 6, 4);
    Bytes file = EncodePcx({6, 5}, lines);
    Fenced fence(13, 7);
    fence.canvas.Clear(kSentinel);
    PcxPainter painter(file.data(), file.size(), &fence.canvas);
    painter.SetPosition(4, 1);
    ASSERT_EQ(painter.PaintCanvas(0, 0), ERR_OK);
    ExpectPainted8(fence.canvas, lines, 4, 1);

    // A negative y is not skipped: the image starts at row 0 whole.
    fence.canvas.Clear(kSentinel);
    painter.SetPosition(2, -3);
    ASSERT_EQ(painter.PaintCanvas(0, 0), ERR_OK);
    ExpectPainted8(fence.canvas, lines, 2, 0);

    // Misplaced anyway: it stays inside the canvas.
    fence.canvas.Clear(kSentinel);
    painter.SetPosition(10, 4);
    ASSERT_EQ(painter.PaintCanvas(0, 0), ERR_OK);
    ExpectPainted8(fence.canvas, lines, 10, 4);
    painter.SetPosition(-3, 0);
    ASSERT_EQ(painter.PaintCanvas(0, 2), ERR_OK);
    EXPECT_TRUE(fence.FenceIntact());
}

TEST_F(PcxTest, MonochromeImagesPaintFromTheLeftEdgeWithACutOff)
{
    // 20 pixels, 3 bytes a line plus one pad byte.
    const Rows lines = {{0xF0, 0x0F, 0xA5, 0xFF}, {0x81, 0xC3, 0xE0, 0x00}, {0xFF, 0xFF, 0xFF, 0xFF}};
    Bytes file = EncodePcx({20, 3, 1, 4}, lines);
    auto bit = [&](size_t row, int column) {
        return (lines[row][size_t(column / 8)] >> (7 - column % 8)) & 1;
    };

    struct Case {
        short x, y;
        int canvasWidth;
    };
    const Case cases[] = {{0, 0, 40}, {16, 0, 40}, {5, 1, 40}, {-9, 0, 40}, {0, -2, 40}, {0, 0, 13}, {8, 5, 13}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.x) + "," + std::to_string(c.y) + " on " + std::to_string(c.canvasWidth));
        Fenced fence(c.canvasWidth, 6);
        fence.canvas.Clear(kSentinel);
        PcxPainter painter(file.data(), file.size(), &fence.canvas);
        painter.MonoSetWhite(7);
        painter.MonoSetBlack(2);
        painter.SetPosition(c.x, c.y);
        ASSERT_EQ(painter.PaintCanvas(1, 1), ERR_OK);
        const int top = c.y >= 0 ? c.y : 0; // every row is painted, from row 0 up
        for (short cy = 0; cy < 6; ++cy)
            for (short cx = 0; cx < c.canvasWidth; ++cx) {
                const int r = cy - top;
                const int groupStart = cx / 8 * 8;
                const bool painted = r >= 0 && r < 3 && cx < 32 && groupStart >= c.x;
                const unsigned long expected = !painted ? kSentinel : bit(size_t(r), cx) ? 7 : 2;
                ASSERT_EQ(fence.canvas.GetPixel(cx, cy), expected) << cx << "," << cy;
            }
        EXPECT_TRUE(fence.FenceIntact());
    }

    // Unclipped, a monochrome line is painted as its raw bytes.
    Fenced fence(40, 6);
    fence.canvas.Clear(kSentinel);
    PcxPainter raw(file.data(), file.size(), &fence.canvas);
    raw.SetPosition(1, 2);
    ASSERT_EQ(raw.PaintCanvas(0, 0), ERR_OK);
    ExpectPainted8(fence.canvas, lines, 1, 2);
}

TEST_F(PcxTest, PaletteIsTakenFromTheMarkedTailOnly)
{
    const Rows lines = RandomRows(2, 4, 5);
    const Bytes first = RandomPalette(1), second = RandomPalette(2);
    Bytes withPalette = EncodePcx({4, 2}, lines, first);
    Bytes other = EncodePcx({4, 2}, lines, second);
    PcxLayout plain{4, 2};
    plain.withPalette = false;
    Bytes withoutPalette = EncodePcx(plain, lines);

    Canvas canvas(8, 8, 1, CANVAS_MEMORY);
    PcxPainter painter(withPalette.data(), withPalette.size(), &canvas);
    EXPECT_EQ(Bytes(painter.palette, painter.palette + 768), first);

    // No marker: the palette read before stays.
    ASSERT_EQ(painter.AssociateBuffer(withoutPalette.data(), withoutPalette.size()), ERR_OK);
    ASSERT_EQ(painter.PaintCanvas(1, 1), ERR_OK);
    EXPECT_EQ(Bytes(painter.palette, painter.palette + 768), first);

    // A marker one byte off is no marker.
    Bytes shifted = withPalette;
    shifted.push_back(0);
    ASSERT_EQ(painter.AssociateBuffer(shifted.data(), shifted.size()), ERR_OK);
    EXPECT_EQ(Bytes(painter.palette, painter.palette + 768), first);

    // Painting re-reads it only when asked to.
    ASSERT_EQ(painter.AssociateBuffer(other.data(), other.size()), ERR_OK);
    std::fill(painter.palette, painter.palette + 768, 0);
    ASSERT_EQ(painter.PaintCanvas(0, 1), ERR_OK);
    EXPECT_EQ(painter.palette[5], 0);
    ASSERT_EQ(painter.PaintCanvas(1, 1), ERR_OK);
    EXPECT_EQ(Bytes(painter.palette, painter.palette + 768), second);

    // A fresh painter starts black; 1-bit files never carry one.
    Bytes mono = EncodePcx({8, 1, 1}, Rows{{0x55}});
    mono.push_back(12);
    mono.insert(mono.end(), first.begin(), first.end());
    PcxPainter monoPainter(mono.data(), mono.size(), &canvas);
    EXPECT_EQ(Bytes(monoPainter.palette, monoPainter.palette + 768), Bytes(768, 0));
}

TEST_F(PcxTest, DamagedFilesNeverLeaveTheBufferOrTheCanvas)
{
    const Rows lines = RandomRows(6, 10, 6);
    const Bytes good = EncodePcx({10, 6}, lines, RandomPalette(3));

    std::vector<std::pair<std::string, Bytes>> files;
    for (size_t cut : {129u, 130u, 150u, 200u})
        files.emplace_back("cut at " + std::to_string(cut), Bytes(good.begin(), good.begin() + long(cut)));
    Bytes endsInRun(good.begin(), good.begin() + 140);
    endsInRun.push_back(0xC5); // a run marker whose value is missing
    files.emplace_back("ends inside a run", endsInRun);
    Bytes tallLie = good;
    tallLie[10] = 0xFF;
    tallLie[11] = 0xFF; // 65000 rows claimed
    files.emplace_back("lies about its height", tallLie);
    Bytes wideLie = good;
    wideLie[66] = 0xFF;
    wideLie[67] = 0xFF; // every line claims 65535 bytes
    files.emplace_back("lies about its line length", wideLie);
    Bytes zeroLines = good;
    zeroLines[66] = 0;
    zeroLines[67] = 0;
    files.emplace_back("zero bytes per line", zeroLines);
    Bytes longRuns(128, 0);
    std::copy(good.begin(), good.begin() + 128, longRuns.begin());
    for (int i = 0; i < 400; ++i) {
        longRuns.push_back(0xFF); // runs of 63 crossing every line end
        longRuns.push_back(static_cast<unsigned char>(i));
    }
    files.emplace_back("runs crossing line ends", longRuns);
    Bytes badMarker = good;
    badMarker[badMarker.size() - 769] = 0;
    badMarker[badMarker.size() - 400] = 12;
    files.emplace_back("palette marker in the wrong place", badMarker);
    Bytes mono = good;
    mono[3] = 1;
    files.emplace_back("monochrome with lying sizes", mono);
    Bytes monoTall = tallLie;
    monoTall[3] = 1;
    files.emplace_back("monochrome taller than the canvas", monoTall);

    for (auto& [what, bytes] : files) {
        SCOPED_TRACE(what);
        // An exact-size copy, so a read past its end is a read past the file.
        std::vector<unsigned char> exact(bytes);
        for (int clipped = 0; clipped <= 1; ++clipped)
            for (short x : {-3, 0, 7})
                for (short y : {-2, 0, 3}) {
                    Fenced fence(9, 5);
                    PcxPainter painter(exact.data(), exact.size(), &fence.canvas);
                    ASSERT_EQ(painter.errorCode, 0);
                    painter.SetPosition(x, y);
                    EXPECT_EQ(painter.PaintCanvas(1, clipped), ERR_OK);
                    ASSERT_TRUE(fence.FenceIntact()) << "clipped " << clipped << " at " << x << "," << y;
                }
    }

    // What was decoded before the cut is painted; the rest is left alone.
    Bytes cut(good.begin(), good.begin() + 128 + 25);
    Fenced fence(12, 8);
    fence.canvas.Clear(kSentinel);
    PcxPainter painter(cut.data(), cut.size(), &fence.canvas);
    ASSERT_EQ(painter.PaintCanvas(0, 1), ERR_OK);
    EXPECT_EQ(fence.canvas.GetPixel(0, 0), lines[0][0]);
    EXPECT_EQ(fence.canvas.GetPixel(9, 5), kSentinel);
}

#ifndef _WIN32
namespace {
struct Ppm {
    int width = 0, height = 0;
    Bytes rgb;
};

// pcxtoppm writes a plain "P6 width height 255" header without comments.
Ppm ReadPpm(const std::string& path)
{
    const Bytes bytes = ReadBytes(path);
    Ppm image;
    std::istringstream header(std::string(bytes.begin(), bytes.begin() + long(std::min<size_t>(bytes.size(), 64))));
    std::string magic;
    int maxValue = 0;
    header >> magic >> image.width >> image.height >> maxValue;
    if (magic != "P6" || maxValue != 255)
        return Ppm{};
    const size_t start = size_t(header.tellg()) + 1;
    image.rgb.assign(bytes.begin() + long(start), bytes.end());
    return image;
}

void WritePpm(const std::string& path, int width, int height, const Bytes& rgb)
{
    const std::string header = "P6\n" + std::to_string(width) + " " + std::to_string(height) + "\n255\n";
    Bytes file(header.begin(), header.end());
    file.insert(file.end(), rgb.begin(), rgb.end());
    WriteBytes(path, file);
}

// Runs a netpbm program; it has to be there.
void RunTool(const std::string& command)
{
    const int status = std::system(command.c_str());
    ASSERT_EQ(status, 0) << command << " (the netpbm package must be installed)";
}

// 256 distinct colours, so a pixel's colour names its index.
Bytes DistinctPalette()
{
    Bytes palette(768);
    for (int i = 0; i < 256; ++i) {
        palette[size_t(i) * 3] = static_cast<unsigned char>(i);
        palette[size_t(i) * 3 + 1] = static_cast<unsigned char>(i * 7);
        palette[size_t(i) * 3 + 2] = static_cast<unsigned char>(255 - i);
    }
    return palette;
}
} // namespace

TEST_F(PcxTest, NativeOnlyPaintsEightBitFilesFromNetpbm)
{
    const Bytes palette = DistinctPalette();
    WritePpm("palette.ppm", 256, 1, palette);
    std::mt19937 random(7);
    for (int width : {37, 64, 1}) {
        SCOPED_TRACE(width);
        const int height = 23;
        Bytes indices(size_t(width * height)), rgb;
        for (auto& index : indices) {
            index = static_cast<unsigned char>(random() % 5 == 0 ? 200 : random());
            rgb.insert(rgb.end(), palette.begin() + index * 3, palette.begin() + index * 3 + 3);
        }
        WritePpm("image.ppm", width, height, rgb);
        RunTool("ppmtopcx -quiet -8bit -palette=palette.ppm image.ppm > image.pcx");
        Bytes file = ReadBytes("image.pcx");
        ASSERT_GT(file.size(), 128u);
        ASSERT_EQ(file[3], 8);
        ASSERT_EQ(file[65], 1);

        Fenced fence(width + 3, height + 2);
        fence.canvas.Clear(kSentinel);
        PcxPainter painter(file.data(), file.size(), &fence.canvas);
        ASSERT_EQ(painter.errorCode, 0);
        _BITMAPSTATS stats{};
        painter.QueryBitmapStats(&stats);
        EXPECT_EQ(stats.width, width);
        EXPECT_EQ(stats.height, height);
        painter.SetPosition(2, 1);
        ASSERT_EQ(painter.PaintCanvas(1, 1), ERR_OK);
        EXPECT_EQ(Bytes(painter.palette, painter.palette + 768), palette);
        const int bytesPerLine = file[66] | file[67] << 8;
        for (short y = 0; y < height; ++y)
            for (short x = 0; x < width; ++x)
                ASSERT_EQ(fence.canvas.GetPixel(short(x + 2), short(y + 1)), indices[size_t(y * width + x)])
                    << x << "," << y;
        // Nothing beyond the line's own bytes.
        for (short y = 0; y < fence.canvas.QueryHeight(); ++y)
            for (short x = short(2 + bytesPerLine); x < fence.canvas.QueryWidth(); ++x)
                ASSERT_EQ(fence.canvas.GetPixel(x, y), kSentinel);
        EXPECT_TRUE(fence.FenceIntact());
    }
}

TEST_F(PcxTest, NativeOnlyPaintsMonochromeFilesFromNetpbm)
{
    std::mt19937 random(8);
    for (int width : {29, 16, 5}) {
        SCOPED_TRACE(width);
        const int height = 11;
        Bytes white(size_t(width * height)), rgb;
        for (auto& w : white) {
            w = static_cast<unsigned char>(random() & 1);
            rgb.insert(rgb.end(), 3, w ? 255 : 0);
        }
        white[0] = 1;
        white[1] = 0; // both colours present
        rgb[0] = rgb[1] = rgb[2] = 255;
        rgb[3] = rgb[4] = rgb[5] = 0;
        WritePpm("mono.ppm", width, height, rgb);
        RunTool("ppmtopcx -quiet mono.ppm > mono.pcx");
        Bytes file = ReadBytes("mono.pcx");
        ASSERT_GT(file.size(), 128u);
        ASSERT_EQ(file[3], 1);
        ASSERT_EQ(file[65], 1);
        // The header's colour map says which bit value is white.
        const bool oneIsWhite = file[16 + 3] == 255;
        ASSERT_EQ(file[16 + (oneIsWhite ? 0 : 3)], 0);

        Fenced fence(40, 13);
        fence.canvas.Clear(kSentinel);
        PcxPainter painter(file.data(), file.size(), &fence.canvas);
        painter.MonoSetWhite(9);
        painter.MonoSetBlack(4);
        painter.SetPosition(0, 2);
        ASSERT_EQ(painter.PaintCanvas(0, 1), ERR_OK);
        for (short y = 0; y < height; ++y)
            for (short x = 0; x < width; ++x) {
                const bool set = white[size_t(y * width + x)] == (oneIsWhite ? 1 : 0);
                ASSERT_EQ(fence.canvas.GetPixel(x, short(y + 2)), set ? 9u : 4u) << x << "," << y;
            }
        EXPECT_EQ(fence.canvas.GetPixel(0, 0), kSentinel);
        EXPECT_TRUE(fence.FenceIntact());
    }
}

TEST_F(PcxTest, NativeOnlyWriterEncodesRunsAsTheModuleAlwaysHas)
{
    Canvas canvas(8, 2, 1, CANVAS_MEMORY);
    const unsigned char rows[2][8] = {{5, 5, 5, 0xC3, 7, 8, 8, 9}, {1, 1, 1, 1, 1, 1, 1, 1}};
    for (int y = 0; y < 2; ++y)
        std::copy(rows[y], rows[y] + 8, canvas.QueryRowAddress(static_cast<unsigned long>(y)));
    Palette palette;
    palette.Default16();
    palette.Convert(PALFMT_BGRX);

    FILE* file = std::fopen("out.pcx", "wb");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(WritePcxCanvas(file, &canvas, &palette, 0), 0);
    std::fclose(file);
    EXPECT_EQ(palette.QueryFormat(), PALFMT_BGRX); // the caller's palette is left as it was

    const Bytes bytes = ReadBytes("out.pcx");
    ASSERT_EQ(bytes.size(), 128u + 13u + 769u);
    const Bytes header = {10, 5, 1, 8, 0, 0, 0, 0, 7, 0, 1, 0};
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 12), header);
    EXPECT_EQ(bytes[65], 1);
    EXPECT_EQ(bytes[66], 8);
    EXPECT_EQ(bytes[68], 2);
    // A run leaves its last byte to start the next step.
    const Bytes data = {0xC2, 5, 5, 0xC1, 0xC3, 7, 0xC1, 8, 8, 9, 0xC7, 1, 1};
    EXPECT_EQ(Bytes(bytes.begin() + 128, bytes.begin() + 128 + 13), data);
    EXPECT_EQ(bytes[bytes.size() - 769], 12);
    EXPECT_EQ(bytes[bytes.size() - 768 + 9 * 3 + 2], 255); // entry 9: 85, 85, 255

    // A long run is split at 63.
    Canvas wide(100, 1, 1, CANVAS_MEMORY);
    wide.Clear(3);
    file = std::fopen("wide.pcx", "wb");
    ASSERT_EQ(WritePcxCanvas(file, &wide, &palette, 0), 0);
    std::fclose(file);
    const Bytes wideBytes = ReadBytes("wide.pcx");
    const Bytes wideData = {0xFF, 3, 0xE4, 3, 3};
    EXPECT_EQ(Bytes(wideBytes.begin() + 128, wideBytes.end() - 769), wideData);

    // A stream that takes nothing reports the write failure.
    FILE* readOnly = std::fopen("wide.pcx", "rb");
    EXPECT_EQ(WritePcxCanvas(readOnly, &wide, &palette, 0), ERR_DISK_WRITE);
    std::fclose(readOnly);
}

TEST_F(PcxTest, NativeOnlyWriterOutputDecodesWithNetpbmAndThePainter)
{
    Canvas parent(64, 40, 0, CANVAS_MEMORY);
    Canvas canvas(3, 2, 45, 31, &parent); // odd width: odd bytes per line
    int restored = 0;
    canvas.Lock(&restored, 0);
    std::mt19937 random(9);
    for (short y = 0; y < canvas.QueryHeight(); ++y)
        for (short x = 0; x < canvas.QueryWidth(); ++x) {
            canvas.SetDrawColor(static_cast<unsigned char>(random() % 3 ? random() : y));
            canvas.PutPixel(x, y);
        }
    const Bytes colours = RandomPalette(10);
    Palette palette;
    palette.SetValuesFromRaw8(const_cast<unsigned char*>(colours.data()), 0, 256);

    FILE* file = std::fopen("canvas.pcx", "wb");
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(WritePcxCanvas(file, &canvas, &palette, 0), 0);
    std::fclose(file);
    RunTool("pcxtoppm -quiet canvas.pcx > canvas.ppm");
    const Ppm image = ReadPpm("canvas.ppm");
    ASSERT_EQ(image.width, 45);
    ASSERT_EQ(image.height, 31);
    ASSERT_EQ(image.rgb.size(), size_t(45 * 31 * 3));
    for (short y = 0; y < 31; ++y)
        for (short x = 0; x < 45; ++x) {
            const unsigned long index = canvas.GetPixel(x, y);
            const unsigned char* rgb = &image.rgb[size_t((y * 45 + x) * 3)];
            ASSERT_EQ((std::vector<int>{rgb[0], rgb[1], rgb[2]}),
                      (std::vector<int>{colours[index * 3], colours[index * 3 + 1], colours[index * 3 + 2]}))
                << x << "," << y;
        }

    // And back through the painter, palette included.
    Bytes bytes = ReadBytes("canvas.pcx");
    Canvas copy(45, 31, 1, CANVAS_MEMORY);
    PcxPainter painter(bytes.data(), bytes.size(), &copy);
    ASSERT_EQ(painter.PaintCanvas(1, 1), ERR_OK);
    EXPECT_EQ(Bytes(painter.palette, painter.palette + 768), colours);
    for (short y = 0; y < 31; ++y)
        for (short x = 0; x < 45; ++x)
            ASSERT_EQ(copy.GetPixel(x, y), canvas.GetPixel(x, y));
}
#endif
