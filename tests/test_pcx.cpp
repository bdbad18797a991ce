#include "support/pictures.h"
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

using tvxtest::Bytes;
using tvxtest::LogEntries;
using tvxtest::RandomBytes;
using tvxtest::ReadBytes;
using tvxtest::WriteBytes;

namespace {
using Rows = std::vector<Bytes>;

const unsigned char kSentinel = 0xEE;

struct PcxLayout {
    int width = 0; // pixels
    int height = 0;
    int bitsPerPixel = 8;
    int bytesPerLine = 0; // 0: just enough for the width
    int version = 5;
    bool withPalette = true;
};

void PutWord(Bytes& file, size_t at, int value)
{
    file[at] = static_cast<unsigned char>(value);
    file[at + 1] = static_cast<unsigned char>(value >> 8);
}

// An independent little encoder: greedy runs of up to 63, literals below
// 0xC0 as themselves. Each row must hold bytesPerLine bytes.
Bytes EncodePcx(const PcxLayout& layout, const Rows& lines, const Bytes& palette = Bytes(768, 0))
{
    Bytes file(128, 0);
    file[0] = 10;
    file[1] = static_cast<unsigned char>(layout.version);
    file[2] = 1;
    file[3] = static_cast<unsigned char>(layout.bitsPerPixel);
    file[4] = 3; // a non-zero origin: only the extent counts
    file[6] = 2;
    PutWord(file, 8, 3 + layout.width - 1);
    PutWord(file, 10, 2 + layout.height - 1);
    file[65] = 1;
    PutWord(file, 66, layout.bytesPerLine ? layout.bytesPerLine
                                          : (layout.bitsPerPixel == 8 ? layout.width : (layout.width + 7) / 8));
    for (const Bytes& line : lines)
        for (size_t i = 0, n = 1; i < line.size(); i += n, n = 1) {
            while (i + n < line.size() && n < 63 && line[i + n] == line[i])
                ++n;
            if (n > 1 || (line[i] & 0xC0) == 0xC0)
                file.push_back(static_cast<unsigned char>(0xC0 | n));
            file.push_back(line[i]);
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

Bytes PaletteOf(PcxPainter& painter)
{
    return Bytes(painter.palette, painter.palette + 768);
}

// A parent canvas filled with a sentinel and, inside it, the sub-canvas the
// painter draws on: any write outside the sub-canvas shows in the parent.
struct Fenced {
    Canvas parent;
    Canvas canvas;
    Fenced(int width, int height, int topDown = 1)
        : parent(static_cast<unsigned short>(width + 16), static_cast<unsigned short>(height + 8), topDown,
                 CANVAS_MEMORY),
          canvas(5, 3, static_cast<unsigned short>(width), static_cast<unsigned short>(height), &parent)
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
                const bool inside = x >= 5 && x < 5 + canvas.QueryWidth() && y >= 3 && y < 3 + canvas.QueryHeight();
                if (!inside && parent.GetPixel(x, y) != kSentinel)
                    return false;
            }
        return true;
    }
};

// What an 8-bit paint must leave: each decoded byte at (x + n, y + r) when
// inside, the sentinel elsewhere.
void ExpectPainted8(Canvas& canvas, const Rows& lines, int x, int y)
{
    for (short cy = 0; cy < canvas.QueryHeight(); ++cy)
        for (short cx = 0; cx < canvas.QueryWidth(); ++cx) {
            const int r = cy - y, n = cx - x;
            const bool painted = r >= 0 && r < int(lines.size()) && n >= 0 && n < int(lines[size_t(r)].size());
            ASSERT_EQ(canvas.GetPixel(cx, cy), painted ? lines[size_t(r)][size_t(n)] : kSentinel)
                << "at " << cx << "," << cy;
        }
}

class PcxTest : public testing::Test {
protected:
    void SetUp() override { DebugInit(); }
};
} // namespace

TEST_F(PcxTest, HeadersAndMissingInputsGiveTheirCodes)
{
    Bytes good = EncodePcx({4, 2}, RandomRows(2, 4, 1));
    const struct {
        const char* what;
        size_t offset;
        unsigned char value;
        unsigned short code;
    } cases[] = {
        {"manufacturer", 0, 11, ERR_PCX_NOT_PCX},
        {"version 6", 1, 6, ERR_PCX_UNSUPPORTED},
        {"4 bits per pixel", 3, 4, ERR_PCX_UNSUPPORTED},
        {"24 bits", 3, 24, ERR_PCX_UNSUPPORTED},
        {"version 0 is accepted", 1, 0, 0},
    };
    for (const auto& c : cases) {
        Bytes file = good;
        file[c.offset] = c.value;
        PcxPainter painter;
        EXPECT_EQ(painter.AssociateBuffer(file.data(), file.size()), c.code ? ERR_FAILURE : ERR_OK) << c.what;
        EXPECT_EQ(painter.errorCode, c.code) << c.what;
    }
    Bytes header(good.begin(), good.begin() + 128);
    PcxPainter headerOnly(header.data(), header.size());
    EXPECT_EQ(headerOnly.errorCode, ERR_PCX_TOO_SHORT);
    PcxPainter none(nullptr, 5000);
    EXPECT_EQ(none.errorCode, ERR_PCX_TOO_SHORT);

    PcxPainter painter(good.data(), good.size());
    _BITMAPSTATS stats{};
    ASSERT_EQ(painter.QueryBitmapStats(&stats), ERR_OK);
    EXPECT_EQ(sizeof(_BITMAPSTATS), 5u);
    EXPECT_EQ((std::vector<int>{stats.width, stats.height, stats.bitsPerPixel}), (std::vector<int>{4, 2, 8}));
    PcxPainter empty;
    EXPECT_EQ(empty.QueryBitmapStats(&stats), ERR_FAILURE);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{"Assert error in file pcx4 at line 487."}));

    // Painting needs a buffer and a valid canvas.
    EXPECT_EQ(painter.PaintCanvas(0, 1), ERR_FAILURE);
    EXPECT_EQ(painter.errorCode, ERR_PCX_NO_INPUT);
    Canvas canvas(8, 8, 1, CANVAS_MEMORY);
    PcxPainter noBuffer;
    noBuffer.AssociateCanvas(&canvas);
    EXPECT_EQ(noBuffer.PaintCanvas(0, 1), ERR_FAILURE);
    EXPECT_EQ(noBuffer.errorCode, ERR_PCX_NO_INPUT);
    Canvas unlocked(0, 0, 4, 4, &canvas);
    painter.AssociateCanvas(&unlocked);
    EXPECT_EQ(painter.PaintCanvas(0, 1), ERR_FAILURE);
    EXPECT_EQ(painter.errorCode, ERR_PCX_BAD_CANVAS);
    painter.AssociateCanvas(&canvas);
    EXPECT_EQ(painter.PaintCanvas(0, 1), ERR_OK);
    painter.DissociateBuffer();
    EXPECT_EQ(painter.PaintCanvas(0, 1), ERR_FAILURE);
    EXPECT_EQ(painter.errorCode, ERR_PCX_NO_INPUT);
    // The base painter refuses an empty buffer too.
    EXPECT_EQ(static_cast<BitmapPainter&>(painter).AssociateBuffer(good.data(), 0), ERR_FAILURE);
}

TEST_F(PcxTest, EightBitImagesClipOnEveryEdgeOrStayInsideUnclipped)
{
    // 11 pixels wide with an even 12-byte line: the pad byte is painted too.
    const Rows lines = RandomRows(9, 12, 3);
    Bytes file = EncodePcx({11, 9, 8, 12}, lines);
    const short positions[][2] = {{0, 0}, {2, 1}, {0, -3}, {-5, 0}, {-4, -8}, {6, 2}, {3, 5}, {-20, 0}, {0, -20}};
    for (const auto& p : positions)
        for (int order = 0; order <= 1; ++order) {
            SCOPED_TRACE(std::to_string(p[0]) + "," + std::to_string(p[1]) + " order " + std::to_string(order));
            Fenced fence(13, 7, order);
            PcxPainter painter(file.data(), file.size(), &fence.canvas);
            painter.SetPosition(p[0], p[1]);
            ASSERT_EQ(painter.PaintCanvas(0, 1), ERR_OK);
            ExpectPainted8(fence.canvas, lines, p[0], p[1]);
            EXPECT_TRUE(fence.FenceIntact());
        }
    // Starting below the canvas paints nothing and reports the bad row.
    Fenced below(13, 7);
    PcxPainter painter(file.data(), file.size(), &below.canvas);
    painter.SetPosition(0, 7);
    EXPECT_EQ(painter.PaintCanvas(0, 1), ERR_OK);
    ExpectPainted8(below.canvas, Rows{}, 0, 0);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{"Assert error in file canvas at line 399."}));

    // Unclipped, a negative y is not skipped: the image starts at row 0 whole;
    // misplaced anyway, it stays inside the canvas.
    const Rows small = RandomRows(5, 6, 4);
    Bytes smallFile = EncodePcx({6, 5}, small);
    const short unclipped[][4] = {{4, 1, 4, 1}, {2, -3, 2, 0}, {10, 4, 10, 4}}; // asked for, painted at
    for (const auto& u : unclipped) {
        Fenced fence(13, 7);
        PcxPainter raw(smallFile.data(), smallFile.size(), &fence.canvas);
        raw.SetPosition(u[0], u[1]);
        ASSERT_EQ(raw.PaintCanvas(0, 0), ERR_OK);
        ExpectPainted8(fence.canvas, small, u[2], u[3]);
        raw.SetPosition(-3, 0);
        ASSERT_EQ(raw.PaintCanvas(0, 2), ERR_OK);
        EXPECT_TRUE(fence.FenceIntact());
    }
}

TEST_F(PcxTest, MonochromeImagesPaintFromTheLeftEdgeWithACutOff)
{
    // 20 pixels, 3 bytes a line plus one pad byte.
    const Rows lines = {{0xF0, 0x0F, 0xA5, 0xFF}, {0x81, 0xC3, 0xE0, 0x00}, {0xFF, 0xFF, 0xFF, 0xFF}};
    Bytes file = EncodePcx({20, 3, 1, 4}, lines);
    const short cases[][3] = {{0, 0, 40}, {16, 0, 40}, {5, 1, 40}, {-9, 0, 40}, {0, -2, 40}, {0, 0, 13}, {8, 5, 13}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c[0]) + "," + std::to_string(c[1]) + " on " + std::to_string(c[2]));
        Fenced fence(c[2], 6);
        PcxPainter painter(file.data(), file.size(), &fence.canvas);
        painter.MonoSetWhite(7);
        painter.MonoSetBlack(2);
        painter.SetPosition(c[0], c[1]);
        ASSERT_EQ(painter.PaintCanvas(1, 1), ERR_OK);
        const int top = std::max<int>(c[1], 0); // a negative y paints every row from row 0
        for (short cy = 0; cy < 6; ++cy)
            for (short cx = 0; cx < c[2]; ++cx) {
                const int r = cy - top;
                const bool painted = r >= 0 && r < 3 && cx < 32 && cx / 8 * 8 >= c[0]; // whole bytes from x on
                const int bit = painted ? (lines[size_t(r)][size_t(cx / 8)] >> (7 - cx % 8)) & 1 : 0;
                ASSERT_EQ(fence.canvas.GetPixel(cx, cy), !painted ? kSentinel : bit ? 7u : 2u) << cx << "," << cy;
            }
        EXPECT_TRUE(fence.FenceIntact());
    }

    // Unclipped, a monochrome line is painted as its raw bytes.
    Fenced fence(40, 6);
    PcxPainter raw(file.data(), file.size(), &fence.canvas);
    raw.SetPosition(1, 2);
    ASSERT_EQ(raw.PaintCanvas(0, 0), ERR_OK);
    ExpectPainted8(fence.canvas, lines, 1, 2);
}

TEST_F(PcxTest, PaletteIsTakenFromTheMarkedTailOnly)
{
    const Rows lines = RandomRows(2, 4, 5);
    const Bytes first = RandomBytes(768, 1), second = RandomBytes(768, 2);
    Bytes withPalette = EncodePcx({4, 2}, lines, first), other = EncodePcx({4, 2}, lines, second);
    PcxLayout plain{4, 2};
    plain.withPalette = false;
    Bytes withoutPalette = EncodePcx(plain, lines);

    Canvas canvas(8, 8, 1, CANVAS_MEMORY);
    PcxPainter painter(withPalette.data(), withPalette.size(), &canvas);
    EXPECT_EQ(PaletteOf(painter), first);
    // No marker: the palette read before stays.
    ASSERT_EQ(painter.AssociateBuffer(withoutPalette.data(), withoutPalette.size()), ERR_OK);
    ASSERT_EQ(painter.PaintCanvas(1, 1), ERR_OK);
    EXPECT_EQ(PaletteOf(painter), first);
    // A marker one byte off is no marker.
    Bytes shifted = withPalette;
    shifted.push_back(0);
    ASSERT_EQ(painter.AssociateBuffer(shifted.data(), shifted.size()), ERR_OK);
    EXPECT_EQ(PaletteOf(painter), first);
    // Painting re-reads it only when asked to.
    ASSERT_EQ(painter.AssociateBuffer(other.data(), other.size()), ERR_OK);
    std::fill(painter.palette, painter.palette + 768, 0);
    ASSERT_EQ(painter.PaintCanvas(0, 1), ERR_OK);
    EXPECT_EQ(painter.palette[5], 0);
    ASSERT_EQ(painter.PaintCanvas(1, 1), ERR_OK);
    EXPECT_EQ(PaletteOf(painter), second);

    // A fresh painter starts black; 1-bit files never carry one.
    Bytes mono = EncodePcx({8, 1, 1}, Rows{{0x55}});
    mono.push_back(12);
    mono.insert(mono.end(), first.begin(), first.end());
    PcxPainter monoPainter(mono.data(), mono.size(), &canvas);
    EXPECT_EQ(PaletteOf(monoPainter), Bytes(768, 0));
}

TEST_F(PcxTest, DamagedFilesNeverLeaveTheBufferOrTheCanvas)
{
    const Rows lines = RandomRows(6, 10, 6);
    const Bytes good = EncodePcx({10, 6}, lines, RandomBytes(768, 3));
    auto patched = [&](std::initializer_list<std::pair<size_t, unsigned char>> changes) {
        Bytes file = good;
        for (const auto& [at, value] : changes)
            file[at] = value;
        return file;
    };
    std::vector<std::pair<std::string, Bytes>> files;
    for (long cut : {129, 130, 150, 200})
        files.emplace_back("cut at " + std::to_string(cut), Bytes(good.begin(), good.begin() + cut));
    Bytes endsInRun(good.begin(), good.begin() + 140);
    endsInRun.push_back(0xC5); // a run marker whose value is missing
    files.emplace_back("ends inside a run", endsInRun);
    files.emplace_back("lies about its height", patched({{10, 0xFF}, {11, 0xFF}}));
    files.emplace_back("lies about its line length", patched({{66, 0xFF}, {67, 0xFF}}));
    files.emplace_back("zero bytes per line", patched({{66, 0}, {67, 0}}));
    Bytes longRuns(good.begin(), good.begin() + 128);
    for (int i = 0; i < 400; ++i)
        longRuns.insert(longRuns.end(), {0xFF, static_cast<unsigned char>(i)}); // runs of 63 across line ends
    files.emplace_back("runs crossing line ends", longRuns);
    files.emplace_back("palette marker in the wrong place", patched({{good.size() - 769, 0}, {good.size() - 400, 12}}));
    files.emplace_back("monochrome with lying sizes", patched({{3, 1}}));
    files.emplace_back("monochrome taller than the canvas", patched({{3, 1}, {10, 0xFF}, {11, 0xFF}}));

    for (const auto& [what, bytes] : files) {
        SCOPED_TRACE(what);
        Bytes exact(bytes); // no spare capacity: a read past its end is a read past the file
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
    PcxPainter painter(cut.data(), cut.size(), &fence.canvas);
    ASSERT_EQ(painter.PaintCanvas(0, 1), ERR_OK);
    EXPECT_EQ(fence.canvas.GetPixel(0, 0), lines[0][0]);
    EXPECT_EQ(fence.canvas.GetPixel(9, 5), kSentinel);
}

#ifndef _WIN32
namespace {
// pcxtoppm writes a plain "P6 width height 255" header without comments.
Bytes ReadPpm(const std::string& path, int width, int height)
{
    const Bytes bytes = ReadBytes(path);
    std::istringstream header(std::string(bytes.begin(), bytes.begin() + long(std::min<size_t>(bytes.size(), 64))));
    std::string magic;
    int w = 0, h = 0, maxValue = 0;
    header >> magic >> w >> h >> maxValue;
    if (magic != "P6" || w != width || h != height || maxValue != 255)
        return Bytes{};
    return Bytes(bytes.begin() + long(header.tellg()) + 1, bytes.end());
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
    ASSERT_EQ(std::system(command.c_str()), 0) << command << " (the netpbm package must be installed)";
}
} // namespace

TEST_F(PcxTest, NativeOnlyPaintsEightBitFilesFromNetpbm)
{
    // 256 distinct colours, so a pixel's colour names its index.
    Bytes palette;
    for (int i = 0; i < 256; ++i)
        palette.insert(palette.end(), {static_cast<unsigned char>(i), static_cast<unsigned char>(i * 7),
                                       static_cast<unsigned char>(255 - i)});
    WritePpm("palette.ppm", 256, 1, palette);
    std::mt19937 random(7);
    const int height = 23;
    for (int width : {37, 64, 1}) {
        SCOPED_TRACE(width);
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
        PcxPainter painter(file.data(), file.size(), &fence.canvas);
        ASSERT_EQ(painter.errorCode, 0);
        _BITMAPSTATS stats{};
        painter.QueryBitmapStats(&stats);
        EXPECT_EQ(stats.width, width);
        EXPECT_EQ(stats.height, height);
        painter.SetPosition(2, 1);
        ASSERT_EQ(painter.PaintCanvas(1, 1), ERR_OK);
        EXPECT_EQ(PaletteOf(painter), palette);
        // The image where asked, and nothing beyond the line's own bytes.
        const int bytesPerLine = file[66] | file[67] << 8;
        for (short y = 0; y < fence.canvas.QueryHeight(); ++y)
            for (short x = 0; x < fence.canvas.QueryWidth(); ++x) {
                const bool image = x >= 2 && x < 2 + width && y >= 1 && y < 1 + height;
                if (image) {
                    ASSERT_EQ(fence.canvas.GetPixel(x, y), indices[size_t((y - 1) * width + x - 2)]) << x << "," << y;
                } else if (x >= 2 + bytesPerLine) {
                    ASSERT_EQ(fence.canvas.GetPixel(x, y), kSentinel) << x << "," << y;
                }
            }
        EXPECT_TRUE(fence.FenceIntact());
    }
}

TEST_F(PcxTest, NativeOnlyPaintsMonochromeFilesFromNetpbm)
{
    std::mt19937 random(8);
    const int height = 11;
    for (int width : {29, 16, 5}) {
        SCOPED_TRACE(width);
        Bytes white(size_t(width * height)), rgb;
        for (auto& w : white)
            w = static_cast<unsigned char>(random() & 1);
        white[0] = 1;
        white[1] = 0; // both colours present
        for (auto w : white)
            rgb.insert(rgb.end(), 3, w ? 255 : 0);
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

TEST_F(PcxTest, NativeOnlyWriterEncodesRunsAsTheModuleAlwaysHasAndNetpbmReadsThem)
{
    Canvas small(8, 2, 1, CANVAS_MEMORY);
    const unsigned char rows[2][8] = {{5, 5, 5, 0xC3, 7, 8, 8, 9}, {1, 1, 1, 1, 1, 1, 1, 1}};
    for (unsigned long y = 0; y < 2; ++y)
        std::copy(rows[y], rows[y] + 8, small.QueryRowAddress(y));
    Canvas wide(100, 1, 1, CANVAS_MEMORY);
    wide.Clear(3);
    Palette palette;
    palette.Default16();
    palette.Convert(PALFMT_BGRX);
    auto write = [&](const char* path, Canvas& canvas, Palette& colours) {
        FILE* file = std::fopen(path, "wb");
        if (!file)
            return Bytes{};
        EXPECT_EQ(WritePcxCanvas(file, &canvas, &colours, 0), 0);
        std::fclose(file);
        return ReadBytes(path);
    };

    const Bytes bytes = write("small.pcx", small, palette);
    EXPECT_EQ(palette.QueryFormat(), PALFMT_BGRX); // the caller's palette is left as it was
    ASSERT_EQ(bytes.size(), 128u + 13u + 769u);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 12), (Bytes{10, 5, 1, 8, 0, 0, 0, 0, 7, 0, 1, 0}));
    EXPECT_EQ((Bytes{bytes[65], bytes[66], bytes[68]}), (Bytes{1, 8, 2}));
    // A run leaves its last byte to start the next step.
    EXPECT_EQ(Bytes(bytes.begin() + 128, bytes.begin() + 128 + 13),
              (Bytes{0xC2, 5, 5, 0xC1, 0xC3, 7, 0xC1, 8, 8, 9, 0xC7, 1, 1}));
    EXPECT_EQ(bytes[bytes.size() - 769], 12);
    EXPECT_EQ(bytes[bytes.size() - 768 + 9 * 3 + 2], 255); // entry 9: 85, 85, 255
    // A long run is split at 63.
    const Bytes wideBytes = write("wide.pcx", wide, palette);
    EXPECT_EQ(Bytes(wideBytes.begin() + 128, wideBytes.end() - 769), (Bytes{0xFF, 3, 0xE4, 3, 3}));
    // A stream that takes nothing reports the write failure.
    FILE* readOnly = std::fopen("wide.pcx", "rb");
    EXPECT_EQ(WritePcxCanvas(readOnly, &wide, &palette, 0), ERR_DISK_WRITE);
    std::fclose(readOnly);

    // A bottom-up sub-canvas with an odd width: odd bytes per line. netpbm
    // and the painter must both read back what was written.
    Canvas parent(64, 40, 0, CANVAS_MEMORY);
    Canvas canvas(3, 2, 45, 31, &parent);
    int restored = 0;
    canvas.Lock(&restored, 0);
    std::mt19937 random(9);
    for (short y = 0; y < 31; ++y)
        for (short x = 0; x < 45; ++x) {
            canvas.SetDrawColor(static_cast<unsigned char>(random() % 3 ? random() : y));
            canvas.PutPixel(x, y);
        }
    const Bytes colours = RandomBytes(768, 10);
    Palette random8;
    random8.SetValuesFromRaw8(const_cast<unsigned char*>(colours.data()), 0, 256);
    Bytes written = write("canvas.pcx", canvas, random8);
    RunTool("pcxtoppm -quiet canvas.pcx > canvas.ppm");
    const Bytes rgb = ReadPpm("canvas.ppm", 45, 31);
    ASSERT_EQ(rgb.size(), size_t(45 * 31 * 3));
    Canvas copy(45, 31, 1, CANVAS_MEMORY);
    PcxPainter painter(written.data(), written.size(), &copy);
    ASSERT_EQ(painter.PaintCanvas(1, 1), ERR_OK);
    EXPECT_EQ(PaletteOf(painter), colours);
    for (short y = 0; y < 31; ++y)
        for (short x = 0; x < 45; ++x) {
            const unsigned long index = canvas.GetPixel(x, y);
            ASSERT_EQ(Bytes(rgb.begin() + (y * 45 + x) * 3, rgb.begin() + (y * 45 + x) * 3 + 3),
                      Bytes(colours.begin() + long(index) * 3, colours.begin() + long(index) * 3 + 3))
                << x << "," << y;
            ASSERT_EQ(copy.GetPixel(x, y), index) << x << "," << y;
        }
}
#endif
