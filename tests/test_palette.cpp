#include "support/pictures.h"
#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

using tvxtest::Bytes;
using tvxtest::LogEntries;
using tvxtest::RandomBytes;
using tvxtest::ReadBytes;

namespace {
Bytes Colors(Palette& palette, size_t count)
{
    return Bytes(palette.QueryColors(), palette.QueryColors() + count);
}

std::vector<int> RGB(Palette& palette, unsigned long index)
{
    unsigned char r = 1, g = 1, b = 1;
    palette.QueryRGB(index, &r, &g, &b);
    return {r, g, b};
}

// Triples widened to four-byte entries in either order.
Bytes Entries(const Bytes& triples, bool blueFirst, unsigned char flag)
{
    Bytes entries;
    for (size_t i = 0; i < triples.size(); i += 3)
        entries.insert(entries.end(), {triples[i + (blueFirst ? 2 : 0)], triples[i + 1],
                                       triples[i + (blueFirst ? 0 : 2)], flag});
    return entries;
}

void SetTriples(Palette& palette, const Bytes& triples)
{
    palette.SetValuesFromRaw8(const_cast<unsigned char*>(triples.data()), 0, 256);
}

Bytes PaletteFile(const Bytes& triples, unsigned short version = 0x0101, unsigned char layout = 0,
                  uint32_t dataSize = 768)
{
    Bytes file = {'Q', 'O', 'R', 'P', 'A', 'L', static_cast<unsigned char>(version), static_cast<unsigned char>(version >> 8),
                  layout, 255};
    for (int shift = 0; shift < 32; shift += 8)
        file.push_back(static_cast<unsigned char>(dataSize >> shift));
    file.insert(file.end(), triples.begin(), triples.end());
    return file;
}

class PaletteTest : public testing::Test {
protected:
    void SetUp() override { DebugInit(); }
    MemManager memory;
};
} // namespace

TEST_F(PaletteTest, ConversionsBetweenAllLayouts)
{
    const Bytes triples = RandomBytes(768, 1);
    Bytes sixBit = triples, lowBitsCleared = triples;
    for (size_t i = 0; i < 768; ++i) {
        sixBit[i] = static_cast<unsigned char>(triples[i] >> 2);
        lowBitsCleared[i] = triples[i] & 0xFC;
    }
    Palette palette;
    palette.SetFlag(0x5A);
    SetTriples(palette, triples);
    // Each step converts from the one before; converting to the layout already held does nothing.
    const struct {
        unsigned short layout;
        Bytes colours;
    } steps[] = {
        {PALFMT_RGB8, triples}, {PALFMT_RGBX, Entries(triples, false, 0x5A)}, {PALFMT_BGRX, Entries(triples, true, 0x5A)},
        {PALFMT_RGB8, triples}, {PALFMT_RGBX, Entries(triples, false, 0x5A)}, {PALFMT_RGB6, sixBit},
        {PALFMT_BGRX, Entries(lowBitsCleared, true, 0x5A)}, {PALFMT_RGB8, lowBitsCleared}, // two bits lost
    };
    for (const auto& step : steps) {
        palette.Convert(step.layout);
        EXPECT_EQ(palette.QueryFormat(), step.layout);
        ASSERT_EQ(Colors(palette, step.colours.size()), step.colours) << "to layout " << step.layout;
    }

    // Layout 0 and unknown layouts change nothing; the latter are reported.
    palette.Convert(PALFMT_NONE);
    palette.Convert(5);
    EXPECT_EQ(palette.QueryFormat(), PALFMT_RGB8);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{"Assert error in file palette at line 498."}));
}

TEST_F(PaletteTest, SingleColoursRangesAndCopiesKeepTheirLayouts)
{
    Palette palette;
    palette.Black();
    EXPECT_EQ(palette.QueryFormat(), PALFMT_RGB8);
    EXPECT_EQ(RGB(palette, 0), (std::vector<int>{0, 0, 0}));
    palette.Default16();
    EXPECT_EQ(RGB(palette, 6), (std::vector<int>{171, 85, 0}));
    EXPECT_EQ(RGB(palette, 9), (std::vector<int>{85, 85, 255}));
    EXPECT_EQ(RGB(palette, 255), (std::vector<int>{255, 255, 255})); // left by Black
    palette.Convert(PALFMT_BGRX);
    palette.SetRGB(7, 10, 20, 30);
    EXPECT_EQ(palette.QueryFormat(), PALFMT_RGB8);
    palette.Convert(PALFMT_RGB6);
    EXPECT_EQ(RGB(palette, 7), (std::vector<int>{8, 20, 28}));

    // A range keeps the layout; one reaching past 255, or empty, is reported.
    palette.Convert(PALFMT_RGBX);
    unsigned char two[] = {1, 2, 3, 4, 5, 6};
    palette.SetValuesFromRaw8(two, 254, 2);
    palette.SetValuesFromRaw8(two, 255, 2);
    palette.SetValuesFromRaw8(two, 0, 0);
    EXPECT_EQ(palette.QueryFormat(), PALFMT_RGBX);
    EXPECT_EQ(Colors(palette, 1024)[254 * 4 + 2] + Colors(palette, 1024)[255 * 4], 3 + 4);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>(2, "Assert error in file palette at line 516.")));
    palette.SetRGB(100000, 1, 2, 3); // past the table: neither written nor read
    EXPECT_EQ(RGB(palette, 100000), (std::vector<int>{0, 0, 0}));

    // A copy keeps the target's layout, or takes the source's into layout 0.
    const Bytes triples = RandomBytes(768, 2);
    Palette source, target, fresh;
    source.SetFlag(9);
    SetTriples(source, triples);
    source.Convert(PALFMT_BGRX);
    target.Convert(PALFMT_RGBX);
    target.CopyPaletteColors(&source);
    fresh.CopyPaletteColors(&source);
    EXPECT_EQ(Colors(target, 1024), Entries(triples, false, 9));
    EXPECT_EQ(fresh.QueryFormat(), PALFMT_BGRX);
}

TEST_F(PaletteTest, SavedFileBytesTheShiftedLoadAndRefusedFiles)
{
    const Bytes triples = RandomBytes(768, 3);
    Palette palette;
    SetTriples(palette, triples);
    palette.Convert(PALFMT_RGBX);
    FILE* file = std::fopen("game.pal", "wb");
    ASSERT_EQ(palette.Save(file), ERR_OK);
    std::fclose(file);
    EXPECT_EQ(palette.QueryFormat(), PALFMT_RGB8);
    const Bytes saved = ReadBytes("game.pal");
    EXPECT_EQ(saved, PaletteFile(triples));
    file = std::fopen("game.pal", "rb"); // a read-only stream takes no bytes
    EXPECT_EQ(palette.Save(file), ERR_FAILURE);
    EXPECT_EQ(palette.errorCode, ERR_PAL_WRITE);
    std::fclose(file);

    // Load copies from the file's first byte: the colours move by 14 bytes.
    // Sizes that lie are held to the file and the colour table.
    Bytes huge = PaletteFile(triples, 0x0101, 0, 0xFFFFFFFF), cut(huge.begin(), huge.begin() + 100);
    for (Bytes image : {saved, huge, cut}) {
        Palette loaded;
        ASSERT_EQ(loaded.AssociateBuffer(image.data(), image.size()), ERR_OK);
        ASSERT_EQ(loaded.Load(), ERR_OK);
        EXPECT_EQ(loaded.QueryFormat(), PALFMT_RGB8);
        const size_t copied = std::min<size_t>(image.size(), image[13] ? 1024 : 768);
        EXPECT_EQ(Colors(loaded, 1024), [&] { Bytes b(image.begin(), image.begin() + long(copied)); b.resize(1024); return b; }());
    }

    Palette empty;
    EXPECT_EQ(empty.Load(), ERR_FAILURE);
    EXPECT_EQ(empty.errorCode, ERR_PAL_NO_BUFFER);
    EXPECT_EQ(empty.AssociateBuffer(huge.data(), 0), ERR_FAILURE);
    EXPECT_EQ(empty.errorCode, ERR_PAL_EMPTY_BUFFER);
    Bytes wrongMagic = PaletteFile(triples);
    wrongMagic[5] = 'X';
    // An unknown data layout fails with no code and leaves no format.
    const struct {
        Bytes file;
        unsigned short code, format;
    } cases[] = {
        {wrongMagic, ERR_PAL_NOT_PALETTE, PALFMT_RGB8},
        {Bytes{'Q', 'O', 'R', 'P', 'A', 'L', 1, 1}, ERR_PAL_NOT_PALETTE, PALFMT_RGB8},
        {PaletteFile(triples, 0x0102), ERR_PAL_VERSION, PALFMT_RGB8},
        {PaletteFile(triples, 0x0100, 1), 0, PALFMT_NONE},
    };
    for (auto c : cases) {
        Palette p;
        p.Default16();
        ASSERT_EQ(p.AssociateBuffer(c.file.data(), c.file.size()), ERR_OK);
        EXPECT_EQ(p.Load(), ERR_FAILURE) << c.code;
        EXPECT_EQ(p.errorCode * 10 + p.QueryFormat(), c.code * 10 + c.format);
    }
}

TEST_F(PaletteTest, SaveBlocksRoundTripInEveryLayoutAndBadOnesChangeNothing)
{
    const Bytes triples = RandomBytes(768, 5);
    for (unsigned short layout = PALFMT_RGB8; layout <= PALFMT_RGBX; ++layout) {
        Palette palette(&memory), restored;
        palette.SetFlag(0x33);
        SetTriples(palette, triples);
        palette.Convert(layout);
        const Bytes before = Colors(palette, 1024);
        unsigned char* block = nullptr;
        unsigned long size = 0;
        ASSERT_EQ(palette.RequestSaveBlock(&block, &size), ERR_OK);
        EXPECT_EQ(Colors(palette, 1024), before);
        // Layout, high byte, the flag for entry layouts, then triples.
        const bool entries = layout >= PALFMT_BGRX;
        Bytes expected = {static_cast<unsigned char>(layout), 0};
        if (entries)
            expected.push_back(0x33);
        const Bytes held = layout == PALFMT_RGB6 ? Colors(palette, 768) : triples;
        expected.insert(expected.end(), held.begin(), held.end());
        ASSERT_EQ(Bytes(block, block + size), expected) << layout;
        char name[] = "GAMEPAL";
        ASSERT_EQ(restored.PaletteFromBlock(name, block, size), ERR_OK);
        EXPECT_EQ(restored.QueryFormat() * 256 + restored.QueryFlag(), layout * 256 + (entries ? 0x33 : 0));
        EXPECT_EQ(Colors(restored, entries ? 1024 : 768), Bytes(before.begin(), before.begin() + (entries ? 1024 : 768)));
        palette.ReleaseSaveBlock(&block);
        EXPECT_EQ(block, nullptr);
    }
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 1);

    Palette palette(&memory);
    unsigned char* block = nullptr;
    unsigned long size = 0;
    EXPECT_EQ(palette.RequestSaveBlock(&block, &size), ERR_FAILURE);
    EXPECT_EQ(palette.errorCode, ERR_PAL_NO_FORMAT);
    // Bad blocks are refused and change nothing.
    palette.Default16();
    palette.SetFlag(7);
    const Bytes before = Colors(palette, 1024);
    char name[] = "BAD";
    Bytes tooBig1(1027, 0), tooBig4(1028, 0);
    tooBig1[0] = 1;
    tooBig4[0] = 4;
    for (Bytes bad : {Bytes(770, 0), Bytes{5, 0, 1, 2, 3}, Bytes{1, 1, 1, 2, 3}, Bytes{1}, Bytes{4, 0}, tooBig1, tooBig4}) {
        EXPECT_EQ(palette.PaletteFromBlock(name, bad.data(), bad.size()), ERR_FAILURE) << bad.size();
        EXPECT_EQ(palette.errorCode, ERR_PAL_BAD_BLOCK);
        EXPECT_EQ(palette.QueryFormat() * 256 + palette.QueryFlag(), PALFMT_RGB8 * 256 + 7);
        EXPECT_EQ(Colors(palette, 1024), before);
    }
    EXPECT_EQ(palette.PaletteFromBlock(name, nullptr, 770), ERR_FAILURE);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{"Assert error in file palette at line 548."}));
    // Short blocks of triples are accepted and the rest reads as black.
    Bytes small = {1, 0, 9, 8, 7};
    ASSERT_EQ(palette.PaletteFromBlock(name, small.data(), small.size()), ERR_OK);
    EXPECT_EQ(Colors(palette, 6), (Bytes{9, 8, 7, 0, 0, 0}));
}
