#include "support/pictures.h"
#include "test_sprman_helpers.h"

using namespace sprtest;
using tvxtest::LogEntries;

namespace {

const int kTransparent = 0;

class EncodeTest : public SpriteTest {
protected:
    void SetUp() override
    {
        SpriteTest::SetUp();
        source.Clear(kTransparent);
        sprites.AssociateEncodeCanvas(&source);
        table[kTransparent] = 1;
        set = NewSet(4);
    }

    void Put(int x, int y, const std::vector<int>& values)
    {
        unsigned char* row = source.QueryRowAddress(static_cast<unsigned long>(y));
        for (size_t i = 0; i < values.size(); ++i)
            row[x + int(i)] = static_cast<unsigned char>(values[i]);
    }

    Canvas source{640, 64, 1, CANVAS_MEMORY};
    unsigned char table[256] = {};
    unsigned char set = 0;
};

std::vector<int> Repeat(int value, int count)
{
    return std::vector<int>(size_t(count), value);
}

std::vector<int> Join(std::vector<std::vector<int>> parts)
{
    std::vector<int> out;
    for (auto& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

} // namespace

TEST_F(EncodeTest, RowsChooseTheirCommandsInOrder)
{
    std::vector<int> distinct;
    Bytes distinctRow{2, 0x3F};
    for (int i = 0; i < 70; ++i) {
        if (i == 63)
            distinctRow.push_back(0x07);
        distinct.push_back(1 + i % 7);
        distinctRow.push_back(static_cast<unsigned char>(1 + i % 7));
    }

    // Shade sources: 0..31 carry (value & 31) - 16, 32 and above are transparent.
    const struct {
        const char* what;
        bool shade;
        std::vector<int> pixels;
        Bytes row; // empty: a record without rows
        unsigned width;
        int rectWidth = 0; // 0: as wide as the pixels
    } cases[] = {
        {"64 transparent then one pixel", false, Join({Repeat(0, 64), {9}}), {3, 0xFF, 0xC1, 0x01, 9}, 65},
        {"100 equal pixels", false, Repeat(5, 100), {2, 0xBE, 5, 0xA6, 5}, 100},
        {"63 equal pixels: a repeat of 62 and a literal", false, Repeat(5, 63), {2, 0xBE, 5, 0x01, 5}, 63},
        {"two equal pixels", false, {7, 7}, {1, 0x82, 7}, 2},
        {"three different pixels", false, {1, 2, 3}, {1, 0x03, 1, 2, 3}, 3},
        {"a literal stops before the second of two equal pixels", false, {1, 2, 2}, {2, 0x02, 1, 2, 0x01, 2}, 3},
        {"and the pair starts a repeat", false, {1, 2, 2, 2}, {2, 0x02, 1, 2, 0x82, 2}, 4},
        {"literals hold at most 63 pixels", false, distinct, distinctRow, 70},
        {"skips hold at most 63 pixels", false, Join({Repeat(0, 130), {4}}), {4, 0xFF, 0xFF, 0xC4, 0x01, 4}, 131},
        {"opaque pixels only in columns 3..5", false, {0, 0, 0, 8, 8, 9, 0, 0, 0, 0}, {3, 0xC3, 0x82, 8, 0x01, 9}, 6},
        {"inner skips between runs", false, {6, 6, 0, 0, 3}, {3, 0x82, 6, 0xC2, 0x01, 3}, 5},
        {"a capped skip is written even when only transparency follows", false, Join({{5, 5}, Repeat(0, 70)}),
         {2, 0x82, 5, 0xFF}, 2},
        {"an entirely transparent rectangle", false, Repeat(0, 12), {}, 0},
        {"three equal shades", true, {16, 16, 16, 40}, {1, 0x83, 0x00}, 3},
        {"a single shade before a transparent pixel", true, {15, 40}, {1, 0x01, 0xFF}, 1},
        {"pairs of shades", true, {1, 2, 1, 2, 1, 2, 40}, {1, 0x43, 0xF1, 0xF2}, 6},
        {"a repeat takes a follower whose low bits match, transparent or not", true, {16, 48}, {1, 0x82, 0x00}, 2},
        {"a repeat runs on past the rectangle's right edge", true, {5, 5, 5, 40}, {1, 0x83, 0xF5}, 3, 2},
        {"a literal of different shades", true, {0, 31, 7, 40}, {1, 0x03, 0xF0, 0x0F, 0xF7}, 3},
        {"a skip inside the row", true, {3, 40, 40, 9}, {3, 0x01, 0xF3, 0xC2, 0x01, 0xF9}, 4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        source.Clear(c.shade ? 0xFF : kTransparent);
        Put(0, 0, c.pixels);
        const auto w = static_cast<unsigned short>(c.rectWidth ? c.rectWidth : int(c.pixels.size()));
        ASSERT_EQ(c.shade ? sprites.EncodeTransSprite(set, 3, 0, 0, w, 1, 0, 0, table)
                          : sprites.EncodeSprite(set, 3, 0, 0, w, 1, 0, 0, table),
                  ERR_OK);
        const unsigned type = c.shade ? 7 : 6;
        EXPECT_EQ(RecordAt(set, 3), c.row.empty() ? Record(type, 0, 0, 0, 0, {}) : Record(type, c.width, 1, 0, 0, {c.row}));
    }
}

TEST_F(EncodeTest, RectanglesAreTrimmedReadAsTheyLieInMemoryAndClampHotSpots)
{
    Put(2, 1, {4, 4});
    Put(1, 3, {5});
    // Rows 0 and 2 are empty inside, 4 and 5 trail; any colour the table marks is transparent.
    table[0x33] = 1;
    Put(0, 4, {0x33, 0x33});
    ASSERT_EQ(sprites.EncodeSprite(set, 1, 0, 0, 6, 6, -3, 70, table), ERR_OK);
    EXPECT_EQ(RecordAt(set, 1), Record(6, 4, 4, -3, 70, {{0}, {2, 0xC2, 0x82, 4}, {0}, {2, 0xC1, 0x01, 5}}));
    EXPECT_TRUE(LogEntries().empty());

    // A rectangle past a window's right and bottom edges reads the parent's
    // pixels there, asking the window for each row it lacks; past the end of
    // the canvas's memory pixels are transparent.
    tvxtest::Window window(16, 8, 2, 1, 6, 3);
    window.parent.QueryRowAddress(4)[9] = 7;
    std::memcpy(window.parent.QueryRowAddress(2) + 6, "\1\2\3\4", 4);
    std::memcpy(window.parent.QueryRowAddress(7) + 14, "\6\6", 2);
    sprites.AssociateEncodeCanvas(&window.canvas);
    ASSERT_EQ(sprites.EncodeSprite(set, 1, 4, 1, 4, 3, 0, 0, table), ERR_OK);
    EXPECT_EQ(RecordAt(set, 1), Record(6, 4, 3, 0, 0, {{1, 0x04, 1, 2, 3, 4}, {0}, {2, 0xC3, 0x01, 7}}));
    sprites.AssociateEncodeCanvas(&window.parent);
    ASSERT_EQ(sprites.EncodeSprite(set, 1, 14, 7, 4, 2, 0, 0, table), ERR_OK);
    EXPECT_EQ(RecordAt(set, 1), Record(6, 2, 1, 0, 0, {{1, 0x82, 6}}));
    EXPECT_EQ(LogEntries(), (std::vector<std::string>(2, tvxtest::AssertLine("canvas", 399))));

    // A shade run's look past the right edge of a narrow canvas takes in the
    // next row's first pixel. Hot spots are canvas coordinates, made relative
    // and kept in the rectangle.
    Canvas narrow(4, 2, 1, CANVAS_MEMORY);
    narrow.Clear(0xFF);
    std::memcpy(narrow.QueryRowAddress(0) + 2, "\5\5\5", 3);
    sprites.AssociateEncodeCanvas(&narrow);
    ASSERT_EQ(sprites.EncodeTransSprite(set, 0, 2, 0, 2, 1, 100, -50, table), ERR_OK);
    EXPECT_EQ(RecordAt(set, 0), Record(7, 3, 1, 1, 0, {{1, 0x83, 0xF5}}));
    narrow.QueryRowAddress(1)[0] = 0xFF;
    ASSERT_EQ(sprites.EncodeTransSprite(set, 0, 2, 0, 2, 2, 2, 1, table), ERR_OK);
    EXPECT_EQ(RecordAt(set, 0), Record(7, 2, 1, 0, 1, {{1, 0x82, 0xF5}}));
}

TEST_F(EncodeTest, FailuresLeaveTheSlotAsItWas)
{
    Put(0, 0, {1, 2});
    ASSERT_EQ(sprites.EncodeSprite(set, 1, 0, 0, 2, 1, 0, 0, table), ERR_OK);
    const Bytes kept = RecordAt(set, 1);
    auto fails = [&](unsigned char inSet, unsigned short slot, unsigned short w, unsigned short h, int code) {
        EXPECT_EQ(sprites.EncodeSprite(inSet, slot, 0, 0, w, h, 0, 0, table), ERR_FAILURE);
        EXPECT_EQ(sprites.errorCode, code);
        EXPECT_EQ(RecordAt(set, 1), kept);
    };
    fails(set, 4, 2, 1, ERR_SPR_BAD_SPRITE);
    fails(200, 0, 2, 1, ERR_SPR_BAD_SET);
    // More than 255 commands in one row: every other pixel opaque.
    source.Clear(kTransparent);
    for (int x = 0; x < 600; x += 2)
        Put(x, 0, {1 + (x / 2) % 200});
    fails(set, 1, 600, 1, ERR_SPR_ENCODE_COMMANDS);
    // Literal bytes that fill the encode buffer; a buffer exactly as long as a
    // record ending in a literal byte is too short.
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 63; ++x)
            Put(x, y, {1 + x % 2}); // 16 rows of 1 + 1 + 63 bytes: 1050 with the header
    sprites.SetEncodeBufferSize(1050);
    EXPECT_EQ(sprites.QueryEncodeBufferSize(), 1050u);
    fails(set, 1, 63, 16, ERR_SPR_ENCODE_FULL);
    sprites.SetEncodeBufferSize(1051);
    EXPECT_EQ(sprites.EncodeSprite(set, 1, 0, 0, 63, 16, 0, 0, table), ERR_OK);
    EXPECT_EQ(RecordAt(set, 1).size(), 1050u);
    // Repeats alone that would run past the buffer fail the same way.
    sprites.SetEncodeBufferSize(1001);
    Canvas tall(8, 200, 1, CANVAS_MEMORY);
    for (unsigned y = 0; y < 200; ++y)
        std::memcpy(tall.QueryRowAddress(y), "\3\3\4\4\3\3\4\4", 8);
    sprites.AssociateEncodeCanvas(&tall);
    const Bytes full = RecordAt(set, 1);
    EXPECT_EQ(sprites.EncodeSprite(set, 1, 0, 0, 8, 200, 0, 0, table), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, ERR_SPR_ENCODE_FULL);
    EXPECT_EQ(RecordAt(set, 1), full);
    EXPECT_TRUE(LogEntries().empty());
}
