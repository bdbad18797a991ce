#include "support/pictures.h"
#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
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

// An independent little encoder: greedy runs of up to 63, literals below
// 0xC0 as themselves, lines as long as given, the window from (3, 2) (only
// its extent counts), and the palette after a marker unless it is empty.
Bytes EncodePcx(int width, int height, const Rows& lines, int bits = 8, const Bytes& palette = Bytes(768, 0))
{
    Bytes file(128, 0);
    const std::pair<int, int> fields[] = {{0, 10}, {1, 5}, {2, 1}, {3, bits}, {4, 3}, {6, 2}, {8, 2 + width},
                                          {10, 1 + height}, {65, 1}, {66, int(lines[0].size())}};
    for (auto [at, value] : fields) {
        file[size_t(at)] = static_cast<unsigned char>(value);
        file[size_t(at) + 1] = static_cast<unsigned char>(value >> 8);
    }
    for (const Bytes& line : lines)
        for (size_t i = 0, n = 1; i < line.size(); i += n, n = 1) {
            while (i + n < line.size() && n < 63 && line[i + n] == line[i])
                ++n;
            if (n > 1 || (line[i] & 0xC0) == 0xC0)
                file.push_back(static_cast<unsigned char>(0xC0 | n));
            file.push_back(line[i]);
        }
    if (bits == 8 && !palette.empty()) {
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

// The parent's memory, row by row as it lies, after painting a window at
// (left, top): pixel (column, row) of the window is a byte of the parent's
// memory wherever the window's rows and the parent's pitch take it.
struct Memory {
    int width, height, left, top;
    bool topDown;
    Bytes bytes;
    void Put(long column, long row, unsigned char value)
    {
        const long r = top + row;
        const long at = (topDown ? r : height - 1 - r) * width + left + column;
        if (at >= 0 && at < long(bytes.size()))
            bytes[size_t(at)] = value;
    }
};

Bytes MemoryOf(Canvas& parent, bool topDown)
{
    const unsigned char* first = parent.QueryRowAddress(topDown ? 0 : parent.QueryHeight() - 1u);
    return Bytes(first, first + parent.QueryWidth() * parent.QueryHeight());
}

class PcxTest : public testing::Test {
protected:
    void SetUp() override { DebugInit(); }
};
} // namespace

TEST_F(PcxTest, HeadersAndMissingInputsGiveTheirCodes)
{
    Bytes good = EncodePcx(4, 2, RandomRows(2, 4, 1));
    // Offset, value, code: manufacturer, version 6, 4 bits, version 0 (accepted).
    const int cases[][3] = {{0, 11, ERR_PCX_NOT_PCX}, {1, 6, ERR_PCX_UNSUPPORTED}, {3, 4, ERR_PCX_UNSUPPORTED}, {1, 0, 0}};
    for (const auto& c : cases) {
        Bytes file = good;
        file[size_t(c[0])] = static_cast<unsigned char>(c[1]);
        PcxPainter painter;
        EXPECT_EQ(painter.AssociateBuffer(file.data(), file.size()), c[2] ? ERR_FAILURE : ERR_OK) << c[0];
        EXPECT_EQ(painter.errorCode, c[2]) << c[0];
    }
    PcxPainter headerOnly(good.data(), 128), none(nullptr, 5000), empty;
    EXPECT_EQ(headerOnly.errorCode + none.errorCode, 2 * ERR_PCX_TOO_SHORT);
    PcxPainter painter(good.data(), good.size());
    _BITMAPSTATS stats{};
    ASSERT_EQ(painter.QueryBitmapStats(&stats), ERR_OK);
    EXPECT_EQ((std::vector<int>{stats.width, stats.height, stats.bitsPerPixel}), (std::vector<int>{4, 2, 8}));
    // Without a buffer: reported, failed, and no code of its own.
    empty.errorCode = 7;
    EXPECT_EQ(empty.QueryBitmapStats(&stats) * 100 + empty.errorCode, ERR_FAILURE * 100 + 7);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{"Assert error in file pcx4 at line 487."}));

    // Painting needs a buffer and a valid canvas.
    Canvas canvas(8, 8, 1, CANVAS_MEMORY), unlocked(0, 0, 4, 4, &canvas);
    const std::pair<Canvas*, int> targets[] = {{nullptr, ERR_PCX_NO_INPUT}, {&unlocked, ERR_PCX_BAD_CANVAS}, {&canvas, 0}};
    for (auto [target, code] : targets) {
        painter.AssociateCanvas(target);
        EXPECT_EQ(painter.PaintCanvas(0, 1), code ? ERR_FAILURE : ERR_OK);
        EXPECT_EQ(painter.errorCode, code);
        painter.errorCode = 0;
    }
    painter.DissociateBuffer();
    EXPECT_EQ(painter.PaintCanvas(0, 1), ERR_FAILURE);
    EXPECT_EQ(painter.errorCode, ERR_PCX_NO_INPUT);
    EXPECT_EQ(static_cast<BitmapPainter&>(painter).AssociateBuffer(good.data(), 0), ERR_FAILURE);
}

TEST_F(PcxTest, RowsLandWhereTheImageTakesThemAndOnlyClippedEightBitRowsStayInside)
{
    // 11 pixels with an even 12-byte line (the pad byte is painted too); a
    // monochrome image of 20 pixels in 3 bytes and a pad byte.
    const Rows eight = RandomRows(9, 12, 3);
    const Rows mono = {{0xF0, 0x0F, 0xA5, 0xFF}, {0x81, 0xC3, 0xE0, 0x00}, {0xFF, 0xFF, 0xFF, 0xFF}};
    Bytes files[2] = {EncodePcx(11, 9, eight), EncodePcx(20, 3, mono, 1)};
    const struct {
        bool mono, clipped;
        short x, y, width;
    } cases[] = {
        // 8-bit, clipped: cut at every edge.
        {false, true, 0, 0, 13}, {false, true, 2, 1, 13}, {false, true, 0, -3, 13}, {false, true, -5, 0, 13},
        {false, true, -4, -8, 13}, {false, true, 6, 2, 13}, {false, true, 3, 5, 13}, {false, true, -20, 0, 13},
        {false, true, 0, -20, 13}, {false, true, 0, 7, 13},
        // Unclipped: every byte at (x + n) of a row from the top one on, past the width into the
        // next row or the parent, past the bottom, and monochrome bytes as they are.
        {false, false, 4, 1, 13}, {false, false, 2, -3, 13}, {false, false, 10, 4, 13}, {true, false, 1, 2, 40},
        // Monochrome: from column 0 with x as a cut-off, groups of 8 spilling past the
        // width, rows from the top one on, past the bottom.
        {true, true, 0, 0, 40}, {true, true, 16, 0, 40}, {true, true, 5, 1, 40}, {true, true, -9, 0, 40},
        {true, true, 0, -2, 40}, {true, true, 0, 0, 13}, {true, true, 8, 5, 13},
    };
    for (const auto& c : cases)
        for (int order = 0; order <= 1; ++order) {
            SCOPED_TRACE(std::to_string(c.x) + "," + std::to_string(c.y) + (c.mono ? " mono" : "") +
                         (c.clipped ? " clipped" : "") + " order " + std::to_string(order));
            tvxtest::Window window(48, 16, 5, 3, c.width, 7, order, kSentinel);
            Bytes& file = files[c.mono];
            PcxPainter painter(file.data(), file.size(), &window.canvas);
            painter.MonoSetWhite(7);
            painter.MonoSetBlack(2);
            painter.SetPosition(c.x, c.y);
            ASSERT_EQ(painter.PaintCanvas(0, c.clipped), ERR_OK);
            Memory expected{48, 16, 5, 3, order == 1, MemoryOf(window.parent, order == 1)};
            std::fill(expected.bytes.begin(), expected.bytes.end(), kSentinel);
            const Rows& lines = c.mono ? mono : eight;
            const long top = std::max<short>(c.y, 0);
            for (long r = 0; r < long(lines.size()); ++r)
                for (long n = 0; n < long(lines[size_t(r)].size()); ++n) {
                    const unsigned char value = lines[size_t(r)][size_t(n)];
                    if (!c.clipped)
                        expected.Put(c.x + n, top + r, value);
                    else if (!c.mono && c.y + r >= 0 && c.y + r < 7 && c.x + n >= 0 && c.x + n < c.width)
                        expected.Put(c.x + n, c.y + r, value);
                    else if (c.mono && n * 8 < c.width && n * 8 >= c.x)
                        for (int bit = 0; bit < 8; ++bit)
                            expected.Put(n * 8 + bit, top + r, (value >> (7 - bit)) & 1 ? 7 : 2);
                }
            EXPECT_EQ(MemoryOf(window.parent, order == 1), expected.bytes);
        }
    // Only the 8-bit image starting below the canvas asks for a row the canvas lacks.
    EXPECT_EQ(LogEntries(), (std::vector<std::string>(2, "Assert error in file canvas at line 399.")));
}

TEST_F(PcxTest, PaletteIsTakenFromTheMarkedTailOnly)
{
    const Rows lines = RandomRows(2, 4, 5);
    const Bytes first = RandomBytes(768, 1), second = RandomBytes(768, 2);
    Bytes withPalette = EncodePcx(4, 2, lines, 8, first), other = EncodePcx(4, 2, lines, 8, second);
    Bytes withoutPalette = EncodePcx(4, 2, lines, 8, {}), shifted = withPalette;
    shifted.push_back(0); // a marker one byte off is no marker

    Canvas canvas(8, 8, 1, CANVAS_MEMORY);
    PcxPainter painter(withPalette.data(), withPalette.size(), &canvas);
    EXPECT_EQ(PaletteOf(painter), first);
    for (Bytes* file : {&withoutPalette, &shifted}) { // the palette read before stays
        ASSERT_EQ(painter.AssociateBuffer(file->data(), file->size()), ERR_OK);
        ASSERT_EQ(painter.PaintCanvas(1, 1), ERR_OK);
        EXPECT_EQ(PaletteOf(painter), first);
    }
    // Painting re-reads it only when asked to.
    ASSERT_EQ(painter.AssociateBuffer(other.data(), other.size()), ERR_OK);
    std::fill(painter.palette, painter.palette + 768, 0);
    ASSERT_EQ(painter.PaintCanvas(0, 1), ERR_OK);
    EXPECT_EQ(PaletteOf(painter), Bytes(768, 0));
    ASSERT_EQ(painter.PaintCanvas(1, 1), ERR_OK);
    EXPECT_EQ(PaletteOf(painter), second);
    // 1-bit files never carry one.
    Bytes mono = EncodePcx(8, 1, Rows{{0x55}}, 1);
    mono.push_back(12);
    mono.insert(mono.end(), first.begin(), first.end());
    PcxPainter monoPainter(mono.data(), mono.size(), &canvas);
    EXPECT_EQ(PaletteOf(monoPainter), Bytes(768, 0));
}

TEST_F(PcxTest, DamagedFilesNeverReadPastTheirBytes)
{
    const Rows lines = RandomRows(6, 10, 6);
    const Bytes good = EncodePcx(10, 6, lines, 8, RandomBytes(768, 3));
    // Cut short (once inside a run), runs crossing line ends, and lying sizes,
    // palette marker and depth; each exactly sized, so the sanitizers see any overread.
    std::vector<Bytes> files;
    for (long cut : {129, 130, 150, 200, 140})
        files.emplace_back(good.begin(), good.begin() + cut);
    files.back().push_back(0xC5);
    files.emplace_back(good.begin(), good.begin() + 128);
    for (int i = 0; i < 400; ++i)
        files.back().insert(files.back().end(), {0xFF, static_cast<unsigned char>(i)});
    const std::vector<std::pair<size_t, unsigned char>> lies[] = {
        {{10, 0xFF}, {11, 0xFF}}, {{66, 0xFF}, {67, 0xFF}}, {{66, 0}, {67, 0}}, {{good.size() - 769, 0}, {good.size() - 400, 12}},
        {{3, 1}}, {{3, 1}, {10, 0xFF}, {11, 0xFF}}};
    for (const auto& changes : lies) {
        files.push_back(good);
        for (auto [at, value] : changes)
            files.back()[at] = value;
    }
    for (Bytes& file : files)
        for (int clipped = 0; clipped <= 1; ++clipped)
            for (short at : {-3, 0, 3, 7}) {
                tvxtest::Window window(24, 12, 5, 3, 9, 5);
                PcxPainter painter(file.data(), file.size(), &window.canvas);
                painter.SetPosition(at, short(at - 1));
                ASSERT_EQ(painter.PaintCanvas(1, clipped), ERR_OK) << file.size();
            }
    // What was decoded before the cut is painted; the rest is left alone.
    Canvas canvas(12, 8, 1, CANVAS_MEMORY);
    PcxPainter painter(files[3].data(), 128 + 25, &canvas);
    ASSERT_EQ(painter.PaintCanvas(0, 1), ERR_OK);
    EXPECT_EQ(canvas.GetPixel(0, 0) * 1000 + canvas.GetPixel(9, 5), lines[0][0] * 1000u);
}

#ifndef _WIN32
namespace {
void WritePpm(const std::string& path, int width, int height, const Bytes& rgb)
{
    const std::string header = "P6\n" + std::to_string(width) + " " + std::to_string(height) + "\n255\n";
    Bytes file(header.begin(), header.end());
    file.insert(file.end(), rgb.begin(), rgb.end());
    WriteBytes(path, file);
}

// Runs a netpbm program (the netpbm package must be installed) and returns
// the file it wrote.
Bytes RunTool(const std::string& command, const std::string& output)
{
    EXPECT_EQ(std::system((command + " > " + output).c_str()), 0) << command;
    return ReadBytes(output);
}
} // namespace

TEST_F(PcxTest, NativeOnlyPaintsFilesFromNetpbm)
{
    // 256 distinct colours, so a pixel's colour names its index.
    Bytes palette;
    for (int i = 0; i < 256; ++i)
        palette.insert(palette.end(), {static_cast<unsigned char>(i), static_cast<unsigned char>(i * 7),
                                       static_cast<unsigned char>(255 - i)});
    WritePpm("palette.ppm", 256, 1, palette);
    std::mt19937 random(7);
    const int height = 11;
    // Widths of 8-bit images, then negative ones of monochrome images.
    for (int request : {37, 64, 1, -29, -16, -5}) {
        SCOPED_TRACE(request);
        const bool mono = request < 0;
        const int width = std::abs(request);
        Bytes indices(size_t(width * height)), rgb;
        for (auto& index : indices) {
            index = static_cast<unsigned char>(mono ? random() & 1 : random() % 5 == 0 ? 200 : random());
            rgb.insert(rgb.end(), palette.begin() + index * 3, palette.begin() + index * 3 + 3);
        }
        WritePpm("image.ppm", width, height, rgb);
        Bytes file = RunTool(mono ? "ppmtopcx -quiet image.ppm" : "ppmtopcx -quiet -8bit -palette=palette.ppm image.ppm",
                             "image.pcx");
        ASSERT_GT(file.size(), 128u);
        ASSERT_EQ(file[3], mono ? 1 : 8);
        // A monochrome header's colour map says which bit value is the first colour.
        const bool oneIsFirst = mono && file[16 + 3] == palette[0];
        Canvas canvas(80, 16, 0, CANVAS_MEMORY);
        PcxPainter painter(file.data(), file.size(), &canvas);
        _BITMAPSTATS stats{};
        painter.QueryBitmapStats(&stats);
        EXPECT_EQ(stats.width * 100 + stats.height, width * 100 + height);
        painter.MonoSetWhite(9);
        painter.MonoSetBlack(4);
        painter.SetPosition(mono ? 0 : 2, 1);
        ASSERT_EQ(painter.PaintCanvas(1, 1), ERR_OK);
        if (!mono) {
            EXPECT_EQ(PaletteOf(painter), palette);
        }
        for (short y = 0; y < height; ++y)
            for (short x = 0; x < width; ++x) {
                const unsigned index = indices[size_t(y * width + x)];
                const unsigned long expected = !mono ? index : (index == 0) == oneIsFirst ? 9u : 4u;
                ASSERT_EQ(canvas.GetPixel(short(x + (mono ? 0 : 2)), short(y + 1)), expected) << x << "," << y;
            }
    }
}

TEST_F(PcxTest, NativeOnlyWriterEncodesRunsAsTheModuleAlwaysHasAndNetpbmReadsThem)
{
    Palette palette;
    palette.Default16();
    palette.Convert(PALFMT_BGRX);
    auto write = [&](const char* path, Canvas& canvas, Palette& colours) {
        FILE* file = std::fopen(path, "wb");
        EXPECT_EQ(WritePcxCanvas(file, &canvas, &colours, 0), 0);
        std::fclose(file);
        return ReadBytes(path);
    };
    // Rows of a window whose parent holds more: a run's count may take in the
    // byte just past the row, which is the parent's.
    tvxtest::Window window(12, 3, 0, 0, 8, 3, 1, 1);
    const unsigned char rows[3][8] = {{5, 5, 5, 0xC3, 7, 8, 8, 9}, {1, 1, 1, 1, 1, 1, 1, 1}, {2, 2, 2, 2, 2, 2, 2, 2}};
    for (unsigned long y = 0; y < 3; ++y)
        std::copy(rows[y], rows[y] + 8, window.canvas.QueryRowAddress(y));
    const Bytes bytes = write("small.pcx", window.canvas, palette);
    EXPECT_EQ(palette.QueryFormat(), PALFMT_BGRX); // the caller's palette is left as it was
    ASSERT_EQ(bytes.size(), 128u + 15u + 769u);
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 12), (Bytes{10, 5, 1, 8, 0, 0, 0, 0, 7, 0, 2, 0}));
    EXPECT_EQ((Bytes{bytes[65], bytes[66], bytes[68]}), (Bytes{1, 8, 2}));
    // A run leaves its last byte to start the next step; the parent's 1 after
    // each row joins the run of 1s, not that of 2s.
    EXPECT_EQ(Bytes(bytes.begin() + 128, bytes.begin() + 143),
              (Bytes{0xC2, 5, 5, 0xC1, 0xC3, 7, 0xC1, 8, 8, 9, 0xC8, 1, 0xC7, 2, 2}));
    EXPECT_EQ(bytes[bytes.size() - 769], 12);
    EXPECT_EQ(bytes[bytes.size() - 768 + 9 * 3 + 2], 255); // entry 9: 85, 85, 255
    // A long run is split at 63; a stream that takes nothing fails.
    Canvas wide(100, 1, 1, CANVAS_MEMORY);
    wide.Clear(3);
    const Bytes wideBytes = write("wide.pcx", wide, palette);
    EXPECT_EQ(Bytes(wideBytes.begin() + 128, wideBytes.end() - 769), (Bytes{0xFF, 3, 0xE4, 3, 3}));
    FILE* readOnly = std::fopen("wide.pcx", "rb");
    EXPECT_EQ(WritePcxCanvas(readOnly, &wide, &palette, 0), ERR_DISK_WRITE);
    std::fclose(readOnly);

    // A bottom-up window with an odd width: netpbm and the painter both read
    // back what was written.
    tvxtest::Window odd(64, 40, 3, 2, 45, 31, 0);
    std::mt19937 random(9);
    for (short y = 0; y < 31; ++y)
        for (short x = 0; x < 45; ++x)
            odd.canvas.QueryRowAddress(static_cast<unsigned long>(y))[x] = static_cast<unsigned char>(random() % 3 ? random() : y);
    const Bytes colours = RandomBytes(768, 10);
    Palette random8;
    random8.SetValuesFromRaw8(const_cast<unsigned char*>(colours.data()), 0, 256);
    Bytes written = write("canvas.pcx", odd.canvas, random8);
    const Bytes ppm = RunTool("pcxtoppm -quiet canvas.pcx", "canvas.ppm");
    ASSERT_GE(ppm.size(), size_t(45 * 31 * 3));
    const Bytes rgb(ppm.end() - 45 * 31 * 3, ppm.end()); // after a header without comments
    Canvas copy(45, 31, 1, CANVAS_MEMORY);
    PcxPainter painter(written.data(), written.size(), &copy);
    ASSERT_EQ(painter.PaintCanvas(1, 1), ERR_OK);
    EXPECT_EQ(PaletteOf(painter), colours);
    for (short y = 0; y < 31; ++y)
        for (short x = 0; x < 45; ++x) {
            const unsigned long index = odd.canvas.GetPixel(x, y);
            ASSERT_EQ(Bytes(rgb.begin() + (y * 45 + x) * 3, rgb.begin() + (y * 45 + x) * 3 + 3),
                      Bytes(colours.begin() + long(index) * 3, colours.begin() + long(index) * 3 + 3))
                << x << "," << y;
            ASSERT_EQ(copy.GetPixel(x, y), index) << x << "," << y;
        }
}
#endif
