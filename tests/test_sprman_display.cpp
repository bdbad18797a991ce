#include "support/pictures.h"
#include "test_sprman_helpers.h"

#include <algorithm>
#include <functional>

using namespace sprtest;
using tvxtest::LogEntries;
using tvxtest::LockNow;

namespace {

enum class Kind { Normal, Solid, Shade, ShadeSolid, Texture, Mirrored };

// A texture rectangle and its anchor, over a copy of the texture's pixels.
struct TextureModel {
    std::vector<Bytes> pixels;
    int left, top, width, height, originX, originY;

    unsigned char At(int x, int y) const
    {
        return pixels[size_t(top + ((y - originY) % height + height) % height)]
                     [size_t(left + ((x - originX) % width + width) % width)];
    }
};

struct Box {
    int left, top, width, height;
};

// The test's own idea of drawing a record at (x, y) of a window `box` of a
// larger grid, pixel by pixel.
void Paint(std::vector<Bytes>& grid, const Bytes& record, int x, int y, Kind kind, Box box, int colour = 0,
           const TextureModel* texture = nullptr)
{
    const Bitmap sprite = Decode(record);
    for (int r = 0; r < sprite.height; ++r)
        for (int c = 0; c < sprite.width; ++c) {
            const int v = sprite.at(c, r);
            const int cx = kind == Kind::Mirrored ? x + (record[2] | record[3] << 8) - c : x + c, cy = y + r;
            if (v < 0 || cx < 0 || cy < 0 || cx >= box.width || cy >= box.height)
                continue;
            unsigned char& d = grid[size_t(box.top + cy)][size_t(box.left + cx)];
            const int shaded = (d & 0xF0) + std::clamp((d & 0x0F) + int(static_cast<signed char>(v)), 0, 15);
            const int values[] = {v, colour, shaded, v + 16, texture ? texture->At(cx, cy) : 0, v};
            d = static_cast<unsigned char>(values[int(kind)]);
        }
}

void Background(Canvas& canvas, int seed = 0)
{
    for (unsigned y = 0; y < canvas.QueryHeight(); ++y)
        for (unsigned x = 0; x < canvas.QueryWidth(); ++x)
            canvas.QueryRowAddress(y)[x] = static_cast<unsigned char>((x * 7 + y * 13 + unsigned(seed)) & 0xFF);
}

// A record of random commands, all four kinds, as wide as maxWidth at most.
Bytes RandomRecord(std::mt19937& random, unsigned type, int maxWidth, int maxHeight)
{
    const int height = 1 + int(random() % unsigned(maxHeight));
    std::vector<Bytes> rows;
    int extent = 0;
    for (int r = 0; r < height; ++r) {
        Bytes row{0};
        for (int k = int(random() % 6), column = 0; k > 0; --k) {
            const int kind = int(random() % 4), n = 1 + int(random() % 9); // literal, pair, repeat, skip
            if ((column += kind == 1 ? 2 * n : n) > maxWidth)
                break;
            ++row[0];
            row.push_back(static_cast<unsigned char>(kind << 6 | n));
            for (int i = kind == 0 ? n : 3 - kind; i > 0; --i)
                row.push_back(static_cast<unsigned char>(type == 7 ? (int(random() % 32) - 16) & 0xFF : int(random() % 256)));
            if (kind != 3)
                extent = std::max(extent, column);
        }
        rows.push_back(row);
    }
    return Record(type, unsigned(extent), unsigned(height), int(random() % 9) - 4, int(random() % 9) - 4, rows);
}

class DisplayTest : public SpriteTest {
protected:
    // One row of every command: skip 1, repeat 2, pair 1, literal 3; an empty
    // row; then a lone pixel.
    const Bytes all = Record(6, 8, 3, 2, 1, {{4, 0xC1, 0x82, 5, 0x41, 7, 8, 0x03, 1, 2, 3}, {0}, {1, 0x01, 9}});
};

} // namespace

TEST_F(DisplayTest, EveryKindAndPathMatchesTheModelAtEveryEdgeOfAWindow)
{
    // Dispatchers, clipped paths and (where the sprite fits) inside paths draw
    // into a window of a larger canvas and must agree with the model, the
    // parent around the window untouched.
    const int W = 40, H = 30;
    Canvas textureCanvas(16, 8, 1, CANVAS_MEMORY);
    Background(textureCanvas, 99);
    std::mt19937 random(20240601);
    std::vector<Bytes> normal{all}, shade;
    for (int i = 0; i < 40; ++i) {
        normal.push_back(RandomRecord(random, 6, W - 4, H - 4));
        shade.push_back(RandomRecord(random, 7, W - 4, H - 4));
    }
    const unsigned char normalSet = SetOf(normal, "NORMAL"), shadeSet = SetOf(shade, "SHADE");
    for (int round = 0; round < 1200; ++round) {
        const Kind kind = static_cast<Kind>(round % 6);
        const bool shading = kind == Kind::Shade || kind == Kind::ShadeSolid;
        const unsigned short index = static_cast<unsigned short>(round < 120 ? 0 : random() % 40);
        const Bytes& record = shading ? shade[index] : normal[index];
        const unsigned char set = shading ? shadeSet : normalSet;
        const int w = record[2], h = record[4];
        // Exact edges first (touching, one pixel in, just gone), then anywhere.
        const int xs[] = {W - w, -w + 1, -w, W - 1, W, 0, 5}, ys[] = {H - h, -h + 1, -h, H - 1, H, 0};
        const short x = short(round < 600 ? xs[round / 6 % 7] : int(random() % (W + 8)) - W / 2);
        const short y = short(round < 600 ? ys[round / 42 % 6] : int(random() % (H + 8)) - H / 2);
        const bool inside = x >= 0 && y >= 0 && x < W - w && y < H - h;
        const int route = round % 3 == 2 && !inside ? 1 : round % 3; // 0 dispatcher, 1 clipped, 2 inside
        const short ox = short(int(random() % 50) - 25), oy = short(int(random() % 50) - 25);
        const TextureModel texture{Pixels(textureCanvas), 2, 1, 11, 5, ox, oy};
        tvxtest::Window window(3 * W, 3 * H, W, H, W, H, round / 6 % 2);
        Background(window.parent, round);
        window.canvas.SetDrawColor(static_cast<unsigned char>(round));
        auto expected = Pixels(window.parent);
        sprites.AssociateCanvas(&window.canvas);
        switch (kind) {
        case Kind::Normal:
            route == 0 ? sprites.DisplaySprite(x, y, set, index, 0)
            : route == 1 ? sprites.DisplayClippedSprite(x, y, set, index, 0)
                         : sprites.DisplayUnclippedSprite(x, y, set, index, 0);
            break;
        case Kind::Solid:
            route == 0 ? sprites.DisplaySpriteSolid(x, y, set, index, 0)
            : route == 1 ? sprites.DisplayClippedSpriteSolid(x, y, set, index, 0)
                         : sprites.DisplayUnclippedSpriteSolid(x, y, set, index, 0);
            break;
        case Kind::Shade:
            route == 0 ? sprites.DisplayTransSprite(x, y, set, index)
            : route == 1 ? sprites.DisplayClippedTransSprite(x, y, set, index)
                         : sprites.DisplayUnclippedTransSprite(x, y, set, index);
            break;
        case Kind::ShadeSolid:
            route == 0 ? sprites.DisplayAnySpriteTransSolid(x, y, set, index)
                       : sprites.DisplayClippedTransSpriteSolid(x, y, set, index);
            break;
        case Kind::Texture:
            route == 0 ? sprites.DisplaySpriteTexture(x, y, set, index, ox, oy, 2, 1, 11, 5, &textureCanvas, 0)
            : route == 1 ? sprites.DisplayClippedSpriteTexture(x, y, set, index, ox, oy, 2, 1, 11, 5, &textureCanvas, 0)
                         : sprites.DisplayUnclippedSpriteTexture(x, y, set, index, ox, oy, 2, 1, 11, 5, &textureCanvas, 0);
            break;
        case Kind::Mirrored: sprites.DisplayClippedSpriteRev(x, y, set, index); break;
        }
        Paint(expected, record, x, y, kind, {W, H, W, H}, round & 0xFF, &texture);
        ASSERT_EQ(Pixels(window.parent), expected) << "round " << round << " at " << x << "," << y;
    }
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(DisplayTest, FlagBitsShiftByTheHotSpotAndAnySpriteFollowsTheType)
{
    Canvas canvas(200, 200, 1, CANVAS_MEMORY), texture(12, 6, 1, CANVAS_MEMORY);
    texture.Clear(55);
    const unsigned char set = SetOf({Record(6, 1, 1, 5, 7, {{1, 0x01, 42}}), Record(9, 1, 1, 0, 0, {{1, 0x01, 42}})});
    sprites.AssociateCanvas(&canvas);
    canvas.SetDrawColor(77);
    // Bit 0 moves back by the hot spot, bit 1 forward; the paths apply bit 0
    // themselves and ignore bit 1. (The dispatcher's flags: the scene test.)
    const struct {
        int call;
        unsigned long flags;
        short x, y;
        unsigned long pixel;
    } cases[] = {{0, 1, 95, 93, 77}, {0, 2, 105, 107, 77}, {0, 3, 100, 100, 77}, {1, 3, 95, 93, 42},
                 {2, 2, 100, 100, 42}, {3, 1, 95, 93, 55}, {3, 2, 105, 107, 55}};
    for (const auto& c : cases) {
        canvas.Clear(0);
        c.call == 0   ? sprites.DisplaySpriteSolid(100, 100, set, 0, c.flags)
        : c.call == 1 ? sprites.DisplayClippedSprite(100, 100, set, 0, c.flags)
        : c.call == 2 ? sprites.DisplayUnclippedSprite(100, 100, set, 0, c.flags)
                      : sprites.DisplaySpriteTexture(100, 100, set, 0, 0, 0, 1, 1, 4, 4, &texture, c.flags);
        EXPECT_EQ(canvas.GetPixel(c.x, c.y), c.pixel) << c.call << " flags " << c.flags;
    }
    EXPECT_TRUE(LogEntries().empty());
    // A record neither normal nor shading is not drawn by the either-type
    // entries; a texture rectangle that does not fit its canvas (or is
    // empty, or missing) gives no pixels.
    canvas.Clear(0);
    sprites.DisplayAnySprite(0, 0, set, 1);
    sprites.DisplayAnySpriteTransSolid(0, 0, set, 1);
    sprites.DisplaySpriteTexture(0, 0, set, 0, 0, 0, 8, 0, 5, 3, &texture, 0);
    sprites.DisplaySpriteTexture(0, 0, set, 0, 0, 0, 0, 0, 0, 3, &texture, 0);
    sprites.DisplayClippedSpriteTexture(0, 0, set, 0, 0, 0, 0, 0, 3, 3, nullptr, 0);
    EXPECT_EQ(canvas.GetPixel(0, 0), 0u);
    EXPECT_EQ(LogEntries().size(), 3u);
}

TEST_F(DisplayTest, MirroredInsidePathKeepsItsHistoricalWalk)
{
    // One command kind per record; each row's right edge comes from the two
    // bytes after its count.
    const struct {
        Bytes record;
        std::vector<std::pair<int, int>> pixels; // column offset from x, value
    } cases[] = {
        {Record(6, 3, 1, 0, 0, {{1, 0x83, 0x0A, 0x00}}), {{7, 0x0A}, {8, 0x0A}, {9, 0x0A}}}, // left n, fill rightwards
        {Record(6, 3, 1, 0, 0, {{1, 0x03, 4, 0, 9}}), {{4, 9}}},                              // all bytes on one pixel
        {Record(6, 4, 1, 0, 0, {{1, 0x42, 0x36, 0x00}}), {{51, 0}, {52, 6}, {53, 0}, {54, 6}}}, // c2, c1 & 0x0F leftwards
        {Record(6, 4, 1, 0, 0, {{3, 0xC2, 0x02, 0x00, 0x07, 0x81, 0x09}}), {{0, 7}, {-1, 9}}}, // skip moves left
        {Record(6, 3, 1, 0, 0, {{1, 0x83, 0x50, 0x00}}), {{77, 0x50}, {78, 0x50}, {79, 0x50}}}, // past the window
    };
    tvxtest::Window window(128, 8, 0, 2, 64, 3);
    sprites.AssociateCanvas(&window.canvas);
    for (const auto& c : cases) {
        const unsigned char one = SetOf({c.record}, "REV");
        for (int route = 0; route < 2; ++route) {
            Background(window.parent);
            auto expected = Pixels(window.parent);
            for (auto [dx, v] : c.pixels)
                expected[3][size_t(2 + dx)] = static_cast<unsigned char>(v);
            route ? sprites.DisplaySpriteRev(2, 1, one, 0) : sprites.DisplayUnclippedSpriteRev(2, 1, one, 0);
            EXPECT_EQ(Pixels(window.parent), expected) << int(c.record[10]);
        }
        sprites.ReleaseDataset(const_cast<char*>("REV"));
    }
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(DisplayTest, CachedGeometryIdleSetsAndMissingSprites)
{
    Canvas canvas(16, 8, 1, CANVAS_MEMORY), texture(4, 4, 1, CANVAS_MEMORY);
    const unsigned char set = SetOf({all, {}}, "GLYPHS");
    // Associated before its first lock, a window keeps the row step it had
    // then (none): every row of the sprite lands on its first.
    Canvas window(2, 2, 8, 4, &canvas);
    sprites.AssociateCanvas(&window);
    LockNow(window);
    sprites.DisplaySprite(0, 0, set, 0, 0);
    EXPECT_EQ(tvxtest::Picture(canvas), "................ ................ ..95578123...... ................ "
                                        "................ ................ ................ ................");
    EXPECT_TRUE(LogEntries().empty());

    // Idle sets are reported and still drawn; free ones are reported, and the
    // solid and textured kinds log the missing index and empty slots.
    sprites.AssociateCanvas(&canvas);
    canvas.Clear(3);
    sprites.SetIdleMemoryLimit(1000);
    sprites.ReleaseDataset(const_cast<char*>("GLYPHS"));
    sprites.DisplaySprite(0, 0, set, 0, 0);
    EXPECT_EQ(canvas.GetPixel(1, 0), 5u);
    unsigned char again = 0;
    sprites.RequestDataset(const_cast<char*>("GLYPHS"), &again);
    canvas.Clear(3);
    sprites.DisplaySpriteSolid(0, 0, set, 5, 0);
    sprites.DisplaySpriteSolid(0, 0, set, 1, 0);
    sprites.DisplaySpriteTexture(0, 0, set, 1, 0, 0, 0, 0, 4, 4, &texture, 0);
    sprites.DisplaySpriteSolid(0, 0, 9, 0, 0);
    sprites.DisplaySprite(0, 0, set, 1, 0);
    sprites.DissociateCanvas();
    sprites.DisplaySprite(0, 0, set, 0, 0);
    EXPECT_EQ(Pixels(canvas), std::vector<Bytes>(8, Bytes(16, 3)));
    auto log = LogEntries();
    ASSERT_EQ(log.size(), 10u);
    const std::string null = "Debug Message: Displaying null sprite GLYPHS, 1";
    EXPECT_EQ((std::vector<std::string>{log[2], log[3], log[4], log[7]}),
              (std::vector<std::string>{"Debug Message: Displaying sprite GLYPHS, 5", null, null,
                                        "Debug Message: Displaying sprite 00000000000000000000, 0"}));
    for (size_t i : {0u, 1u, 5u, 6u, 8u, 9u})
        EXPECT_TRUE(IsAssertFrom(log[i], "sprman")) << log[i];
}

TEST_F(DisplayTest, InsidePathsReachWhereTheRecordTakesThemWithinTheCanvasMemory)
{
    tvxtest::Window window(48, 12, 8, 3, 32, 6);
    // The header claims width 2, the rows cover 40 pixels; the second record's
    // literal runs past the end of the data area.
    const unsigned char set = SetOf({Record(6, 2, 2, 0, 0, {{1, 0xA8, 0x11}, {1, 0xA8, 0x12}}),
                                     Record(6, 4, 3, 0, 0, {{1, 0x04, 1, 2, 3, 4}, {1, 0x3F, 5, 6}})});
    sprites.AssociateCanvas(&window.canvas);
    Background(window.parent);
    const unsigned char* memory = window.parent.QueryRowAddress(0);
    Bytes expected(memory, memory + 48 * 12);
    auto fill = [&](int row, int column, unsigned char value) {
        std::fill(expected.begin() + row * 48 + column, expected.begin() + row * 48 + column + 40, value);
    };
    // Inside by its header, a sprite runs on past the window into the next rows.
    sprites.DisplaySprite(20, 2, set, 0, 0);
    fill(5, 28, 0x11);
    fill(6, 28, 0x12);
    sprites.DisplaySprite(0, 0, set, 1, 0);
    std::copy_n("\1\2\3\4", 4, expected.begin() + 3 * 48 + 8);
    // Called directly, the inside path goes where it is put, but no further
    // than the canvas's memory.
    sprites.DisplayUnclippedSprite(-30, -1, set, 0, 0);
    fill(1, 26, 0x11);
    fill(2, 26, 0x12);
    sprites.DisplayUnclippedSprite(0, 20, set, 0, 0);
    EXPECT_EQ(Bytes(memory, memory + 48 * 12), expected);
    const auto log = LogEntries();
    ASSERT_EQ(log.size(), 3u);
    EXPECT_TRUE(IsAssertFrom(log[0], "sprman"));
    EXPECT_EQ(log[1] + log[2], tvxtest::AssertLine("canvas", 399) + tvxtest::AssertLine("canvas", 399));
}

TEST_F(DisplayTest, EveryChangeToASetDropsTheDisplayFormsBuiltFromIt)
{
    // Slot 0 is drawn (so its display form exists), the set is changed, and
    // slot 0 drawn again must show the record as it is now.
    std::mt19937 random(31);
    std::vector<Bytes> records;
    for (int i = 0; i < 3; ++i)
        records.push_back(RandomRecord(random, 6, 20, 10));
    unsigned char set = SetOf(records, "CHANGES");
    Canvas canvas(40, 30, 1, CANVAS_MEMORY), source(20, 10, 1, CANVAS_MEMORY);
    Background(source, 5);
    sprites.AssociateCanvas(&canvas);
    sprites.AssociateEncodeCanvas(&source);
    unsigned char inverse[256], transparent[256] = {1};
    for (int i = 0; i < 256; ++i)
        inverse[i] = static_cast<unsigned char>(255 - i);
    Bytes replacement = RandomRecord(random, 6, 20, 10);
    const std::vector<std::function<void()>> changes = {
        [&] { sprites.SetSprite(replacement.data(), replacement.size(), set, 0); },
        [&] { sprites.SetRemapMatrix(inverse), sprites.RemapSpriteset(set); },
        [&] { unsigned char* r = nullptr; unsigned long n = 0; sprites.QuerySprite(&r, &n, set, 0), sprites.RemapSprite(r); },
        [&] { sprites.MoveSprites(set, 1, 0, 1); },
        [&] { sprites.ResizeSpriteset(set, 7); },
        [&] { sprites.EncodeSprite(set, 0, 0, 0, 20, 10, 0, 0, transparent); },
        [&] { sprites.DiscardDataset(set), set = SetOf(records, "AGAIN"); },
    };
    for (size_t i = 0; i <= changes.size(); ++i) {
        Background(canvas, int(i));
        auto expected = Pixels(canvas);
        sprites.DisplaySprite(5, 5, set, 0, 0);
        Paint(expected, RecordAt(set, 0), 5, 5, Kind::Normal, {0, 0, 40, 30});
        ASSERT_EQ(Pixels(canvas), expected) << "after change " << i;
        if (i < changes.size())
            changes[i]();
    }
    EXPECT_GT(sprites.QueryDisplayFormBytes(), 0ul);
    sprites.DiscardDataset(set);
    EXPECT_EQ(sprites.QueryDisplayFormBytes(), 0ul);
}
