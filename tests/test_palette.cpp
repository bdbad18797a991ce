#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

using tvxtest::LogEntries;
using tvxtest::ReadBytes;

namespace {
using Bytes = std::vector<unsigned char>;

Bytes RandomTriples(unsigned seed)
{
    std::mt19937 random(seed);
    Bytes triples(768);
    for (auto& b : triples)
        b = static_cast<unsigned char>(random());
    return triples;
}

Bytes Triples(Palette& palette)
{
    Bytes triples;
    for (unsigned long i = 0; i < 256; ++i) {
        unsigned char rgb[3];
        palette.QueryRGB(i, &rgb[0], &rgb[1], &rgb[2]);
        triples.insert(triples.end(), rgb, rgb + 3);
    }
    return triples;
}

Bytes Colors(Palette& palette, size_t count)
{
    return Bytes(palette.QueryColors(), palette.QueryColors() + count);
}

Bytes PaletteFile(const Bytes& triples, unsigned short version = 0x0101, unsigned char layout = 0,
                  uint32_t dataSize = 768)
{
    const unsigned char header[14] = {'Q', 'O', 'R', 'P', 'A', 'L', static_cast<unsigned char>(version & 0xFF),
                                      static_cast<unsigned char>(version >> 8), layout, 255,
                                      static_cast<unsigned char>(dataSize), static_cast<unsigned char>(dataSize >> 8),
                                      static_cast<unsigned char>(dataSize >> 16),
                                      static_cast<unsigned char>(dataSize >> 24)};
    Bytes file(14 + triples.size());
    std::copy(header, header + 14, file.begin());
    std::copy(triples.begin(), triples.end(), file.begin() + 14);
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
    const Bytes triples = RandomTriples(1);
    Palette palette;
    palette.SetFlag(0x5A);
    palette.SetValuesFromRaw8(const_cast<unsigned char*>(triples.data()), 0, 256);
    // Converting back to layout 0 does nothing, so the triples stay.
    EXPECT_EQ(palette.QueryFormat(), PALFMT_RGB8);
    ASSERT_EQ(Colors(palette, 768), triples);

    palette.Convert(PALFMT_RGBX);
    EXPECT_EQ(palette.QueryFormat(), PALFMT_RGBX);
    const unsigned char* entries = palette.QueryColors();
    for (int i = 0; i < 256; ++i) {
        ASSERT_EQ(entries[i * 4], triples[i * 3]);
        ASSERT_EQ(entries[i * 4 + 1], triples[i * 3 + 1]);
        ASSERT_EQ(entries[i * 4 + 2], triples[i * 3 + 2]);
        ASSERT_EQ(entries[i * 4 + 3], 0x5A);
    }
    palette.Convert(PALFMT_BGRX);
    for (int i = 0; i < 256; ++i) {
        ASSERT_EQ(entries[i * 4], triples[i * 3 + 2]);
        ASSERT_EQ(entries[i * 4 + 2], triples[i * 3]);
        ASSERT_EQ(entries[i * 4 + 3], 0x5A);
    }
    palette.Convert(PALFMT_RGB8);
    EXPECT_EQ(Colors(palette, 768), triples);

    // Through 6 bits and back loses the two low bits of every component.
    palette.Convert(PALFMT_RGBX);
    palette.Convert(PALFMT_RGB6);
    EXPECT_EQ(palette.QueryFormat(), PALFMT_RGB6);
    for (int i = 0; i < 768; ++i)
        ASSERT_EQ(palette.QueryColors()[i], triples[i] >> 2);
    palette.Convert(PALFMT_BGRX);
    palette.Convert(PALFMT_RGB8);
    for (int i = 0; i < 768; ++i)
        ASSERT_EQ(palette.QueryColors()[i], triples[i] & 0xFC);

    // Layout 0 and unknown layouts change nothing; the latter are reported.
    palette.Convert(PALFMT_NONE);
    palette.Convert(5);
    EXPECT_EQ(palette.QueryFormat(), PALFMT_RGB8);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{"Assert error in file palette at line 498."}));
}

TEST_F(PaletteTest, SingleColourAccessLeavesEightBitTriples)
{
    Palette palette;
    palette.Black();
    EXPECT_EQ(palette.QueryFormat(), PALFMT_RGB8);
    unsigned char r = 1, g = 1, b = 1;
    palette.QueryRGB(0, &r, &g, &b);
    EXPECT_EQ(r + g + b, 0);
    palette.QueryRGB(255, &r, &g, &b);
    EXPECT_EQ(r & g & b, 255);

    palette.Default16();
    palette.QueryRGB(6, &r, &g, &b);
    EXPECT_EQ((std::vector<int>{r, g, b}), (std::vector<int>{171, 85, 0}));
    palette.QueryRGB(9, &r, &g, &b);
    EXPECT_EQ((std::vector<int>{r, g, b}), (std::vector<int>{85, 85, 255}));
    palette.QueryRGB(255, &r, &g, &b); // Default16 leaves the rest alone
    EXPECT_EQ(r & g & b, 255);

    palette.Convert(PALFMT_BGRX);
    palette.SetRGB(7, 10, 20, 30);
    EXPECT_EQ(palette.QueryFormat(), PALFMT_RGB8);
    palette.Convert(PALFMT_RGB6);
    palette.QueryRGB(7, &r, &g, &b);
    EXPECT_EQ((std::vector<int>{r, g, b}), (std::vector<int>{8, 20, 28}));

    // A range in the middle keeps the layout the palette was in.
    palette.Convert(PALFMT_RGBX);
    unsigned char two[] = {1, 2, 3, 4, 5, 6};
    palette.SetValuesFromRaw8(two, 254, 2);
    EXPECT_EQ(palette.QueryFormat(), PALFMT_RGBX);
    EXPECT_EQ(Colors(palette, 1024)[254 * 4 + 2], 3);
    EXPECT_EQ(Colors(palette, 1024)[255 * 4 + 0], 4);
    palette.SetValuesFromRaw8(two, 255, 2);
    palette.SetValuesFromRaw8(two, 0, 0);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{"Assert error in file palette at line 516.",
                                                      "Assert error in file palette at line 516."}));
    EXPECT_EQ(Colors(palette, 1024)[255 * 4 + 0], 4);

    // Indexes past the colour table read as zero and are not written.
    palette.SetRGB(100000, 1, 2, 3);
    palette.QueryRGB(100000, &r, &g, &b);
    EXPECT_EQ(r + g + b, 0);
}

TEST_F(PaletteTest, CopyPaletteColorsKeepsTheTargetsLayout)
{
    const Bytes triples = RandomTriples(2);
    Palette source;
    source.SetFlag(9);
    source.SetValuesFromRaw8(const_cast<unsigned char*>(triples.data()), 0, 256);
    source.Convert(PALFMT_RGB8);
    source.Convert(PALFMT_BGRX);

    Palette target;
    target.Convert(PALFMT_RGBX);
    target.CopyPaletteColors(&source);
    EXPECT_EQ(target.QueryFormat(), PALFMT_RGBX);
    EXPECT_EQ(target.QueryFlag(), 9);
    EXPECT_EQ(target.QueryColors()[3], 9);
    EXPECT_EQ(Triples(target), triples);

    Palette fresh; // layout 0: takes the source's layout as it is
    fresh.CopyPaletteColors(&source);
    EXPECT_EQ(fresh.QueryFormat(), PALFMT_BGRX);
}

TEST_F(PaletteTest, SavedFileBytesAndTheShiftedLoad)
{
    const Bytes triples = RandomTriples(3);
    Palette palette;
    palette.SetValuesFromRaw8(const_cast<unsigned char*>(triples.data()), 0, 256);
    palette.Convert(PALFMT_RGB8);
    palette.Convert(PALFMT_RGBX);

    FILE* file = std::fopen("game.pal", "wb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(palette.Save(file), ERR_OK);
    std::fclose(file);
    EXPECT_EQ(palette.QueryFormat(), PALFMT_RGB8);
    const Bytes saved = ReadBytes("game.pal");
    EXPECT_EQ(saved, PaletteFile(triples));

    // Load copies from the file's first byte: the colours move by 14 bytes.
    Palette loaded;
    Bytes image = saved;
    ASSERT_EQ(loaded.AssociateBuffer(image.data(), image.size()), ERR_OK);
    ASSERT_EQ(loaded.Load(), ERR_OK);
    EXPECT_EQ(loaded.QueryFormat(), PALFMT_RGB8);
    EXPECT_EQ(Colors(loaded, 768), Bytes(saved.begin(), saved.begin() + 768));
    EXPECT_EQ(Colors(loaded, 1024)[768], 0);

    // A read-only stream takes no bytes.
    FILE* readOnly = std::fopen("game.pal", "rb");
    ASSERT_NE(readOnly, nullptr);
    EXPECT_EQ(palette.Save(readOnly), ERR_FAILURE);
    EXPECT_EQ(palette.errorCode, ERR_PAL_WRITE);
    std::fclose(readOnly);
}

TEST_F(PaletteTest, LoadRefusesWhatIsNotAPaletteFile)
{
    const Bytes triples = RandomTriples(4);
    Palette palette;
    EXPECT_EQ(palette.Load(), ERR_FAILURE);
    EXPECT_EQ(palette.errorCode, ERR_PAL_NO_BUFFER);

    unsigned char one = 0;
    EXPECT_EQ(palette.AssociateBuffer(&one, 0), ERR_FAILURE);
    EXPECT_EQ(palette.errorCode, ERR_PAL_EMPTY_BUFFER);

    struct Case {
        const char* what;
        Bytes file;
        unsigned short code;
    };
    Bytes wrongMagic = PaletteFile(triples);
    wrongMagic[5] = 'X';
    const Case cases[] = {
        {"wrong magic", wrongMagic, ERR_PAL_NOT_PALETTE},
        {"shorter than a header", Bytes{'Q', 'O', 'R', 'P', 'A', 'L', 1, 1}, ERR_PAL_NOT_PALETTE},
        {"newer version", PaletteFile(triples, 0x0102), ERR_PAL_VERSION},
    };
    for (const auto& c : cases) {
        Palette p;
        p.Default16();
        Bytes image = c.file;
        ASSERT_EQ(p.AssociateBuffer(image.data(), image.size()), ERR_OK);
        EXPECT_EQ(p.Load(), ERR_FAILURE) << c.what;
        EXPECT_EQ(p.errorCode, c.code) << c.what;
        EXPECT_EQ(p.QueryFormat(), PALFMT_RGB8) << c.what; // untouched
    }

    // An unknown data layout fails with no code and leaves no format.
    Bytes sixBit = PaletteFile(triples, 0x0100, 1);
    Palette p;
    p.Default16();
    p.AssociateBuffer(sixBit.data(), sixBit.size());
    EXPECT_EQ(p.Load(), ERR_FAILURE);
    EXPECT_EQ(p.errorCode, 0);
    EXPECT_EQ(p.QueryFormat(), PALFMT_NONE);

    // Sizes that lie are held to the file and the colour table.
    Bytes huge = PaletteFile(triples, 0x0101, 0, 0xFFFFFFFF);
    Bytes shortFile(huge.begin(), huge.begin() + 100);
    for (Bytes* image : {&huge, &shortFile}) {
        Palette q;
        q.AssociateBuffer(image->data(), image->size());
        EXPECT_EQ(q.Load(), ERR_OK);
        const size_t copied = std::min<size_t>(image->size(), 1024);
        EXPECT_EQ(Colors(q, copied), Bytes(image->begin(), image->begin() + copied));
    }
}

TEST_F(PaletteTest, SaveBlocksRoundTripInEveryLayout)
{
    const Bytes triples = RandomTriples(5);
    for (unsigned short layout = PALFMT_RGB8; layout <= PALFMT_RGBX; ++layout) {
        SCOPED_TRACE(layout);
        Palette palette(&memory);
        palette.SetFlag(0x33);
        palette.SetValuesFromRaw8(const_cast<unsigned char*>(triples.data()), 0, 256);
        palette.Convert(PALFMT_RGB8);
        palette.Convert(layout);
        const Bytes before = Colors(palette, 1024);

        unsigned char* block = nullptr;
        unsigned long size = 0;
        ASSERT_EQ(palette.RequestSaveBlock(&block, &size), ERR_OK);
        EXPECT_EQ(palette.QueryFormat(), layout);
        EXPECT_EQ(Colors(palette, 1024), before);
        const bool entries = layout >= PALFMT_BGRX;
        ASSERT_EQ(size, entries ? 771u : 770u);
        EXPECT_EQ(block[0], layout);
        EXPECT_EQ(block[1], 0);
        if (entries) {
            EXPECT_EQ(block[2], 0x33);
        }
        const unsigned char* data = block + (entries ? 3 : 2);
        const Bytes held = layout == PALFMT_RGB6 ? Colors(palette, 768) : triples;
        EXPECT_EQ(Bytes(data, data + 768), held);

        Palette restored;
        char name[] = "GAMEPAL";
        ASSERT_EQ(restored.PaletteFromBlock(name, block, size), ERR_OK);
        EXPECT_EQ(restored.QueryFormat(), layout);
        EXPECT_EQ(restored.QueryFlag(), entries ? 0x33 : 0);
        EXPECT_EQ(Colors(restored, entries ? 1024 : 768), Bytes(before.begin(), before.begin() + (entries ? 1024 : 768)));

        palette.ReleaseSaveBlock(&block);
        EXPECT_EQ(block, nullptr);
    }
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 1);
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(PaletteTest, BadBlocksAreRefusedAndChangeNothing)
{
    Palette palette(&memory);
    unsigned char* block = nullptr;
    unsigned long size = 0;
    EXPECT_EQ(palette.RequestSaveBlock(&block, &size), ERR_FAILURE);
    EXPECT_EQ(palette.errorCode, ERR_PAL_NO_FORMAT);
    EXPECT_EQ(block, nullptr);

    palette.Default16();
    palette.SetFlag(7);
    const Bytes before = Colors(palette, 1024);
    char name[] = "BAD";
    struct Case {
        const char* what;
        Bytes block;
    };
    Bytes tooBig1(1027, 0);
    tooBig1[0] = 1;
    Bytes tooBig4(1028, 0);
    tooBig4[0] = 4;
    const Case cases[] = {
        {"unknown layout", Bytes(770, 0)},
        {"layout 5", Bytes{5, 0, 1, 2, 3}},
        {"high byte of the layout", Bytes{1, 1, 1, 2, 3}},
        {"one byte", Bytes{1}},
        {"entry layout without its flag", Bytes{4, 0}},
        {"triples larger than the table", tooBig1},
        {"entries larger than the table", tooBig4},
    };
    for (const auto& c : cases) {
        Bytes copy = c.block;
        EXPECT_EQ(palette.PaletteFromBlock(name, copy.data(), copy.size()), ERR_FAILURE) << c.what;
        EXPECT_EQ(palette.errorCode, ERR_PAL_BAD_BLOCK) << c.what;
        EXPECT_EQ(palette.QueryFormat(), PALFMT_RGB8) << c.what;
        EXPECT_EQ(palette.QueryFlag(), 7) << c.what;
        EXPECT_EQ(Colors(palette, 1024), before) << c.what;
    }
    EXPECT_EQ(palette.PaletteFromBlock(name, nullptr, 770), ERR_FAILURE);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{"Assert error in file palette at line 548."}));

    // Short blocks of triples are accepted and the rest reads as black.
    Bytes small = {1, 0, 9, 8, 7};
    ASSERT_EQ(palette.PaletteFromBlock(name, small.data(), small.size()), ERR_OK);
    unsigned char r, g, b;
    palette.QueryRGB(0, &r, &g, &b);
    EXPECT_EQ((std::vector<int>{r, g, b}), (std::vector<int>{9, 8, 7}));
    palette.QueryRGB(1, &r, &g, &b);
    EXPECT_EQ(r + g + b, 0);
}
