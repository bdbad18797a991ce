#include "test_sprman_helpers.h"

#include <algorithm>
#include <memory>

using namespace sprtest;
using tvxtest::LogEntries;

namespace {

enum class Kind { Normal, Solid, Shade, ShadeSolid, Texture, Mirrored };

// A texture rectangle and its anchor, over a copy of the texture's pixels.
struct TextureModel {
    std::vector<Bytes> pixels;
    int left, top, width, height, originX, originY;

    unsigned char At(int x, int y) const
    {
        const int column = left + ((x - originX) % width + width) % width;
        const int row = top + ((y - originY) % height + height) % height;
        return pixels[size_t(row)][size_t(column)];
    }
};

// The test's own idea of what drawing a record does, pixel by pixel.
void Paint(std::vector<Bytes>& canvas, const Bytes& record, int x, int y, Kind kind, int colour = 0,
           const TextureModel* texture = nullptr)
{
    const Bitmap sprite = Decode(record);
    const int headerWidth = record[2] | record[3] << 8;
    const int height = int(canvas.size());
    const int width = height > 0 ? int(canvas[0].size()) : 0;
    for (int r = 0; r < sprite.height; ++r) {
        for (int c = 0; c < sprite.width; ++c) {
            const int v = sprite.at(c, r);
            const int cx = kind == Kind::Mirrored ? x + headerWidth - c : x + c;
            const int cy = y + r;
            if (v < 0 || cx < 0 || cy < 0 || cx >= width || cy >= height)
                continue;
            unsigned char& d = canvas[size_t(cy)][size_t(cx)];
            switch (kind) {
            case Kind::Normal:
            case Kind::Mirrored: d = static_cast<unsigned char>(v); break;
            case Kind::Solid: d = static_cast<unsigned char>(colour); break;
            case Kind::Shade:
                d = static_cast<unsigned char>((d & 0xF0) + std::clamp((d & 0x0F) + int(static_cast<signed char>(v)), 0, 15));
                break;
            case Kind::ShadeSolid: d = static_cast<unsigned char>(v + 16); break;
            case Kind::Texture: d = texture->At(cx, cy); break;
            }
        }
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
    auto value = [&]() {
        return static_cast<unsigned char>(type == 7 ? (int(random() % 32) - 16) & 0xFF : int(random() % 256));
    };
    for (int r = 0; r < height; ++r) {
        Bytes row{0};
        int column = 0;
        for (int k = int(random() % 6); k > 0; --k) {
            const int kind = int(random() % 4); // literal, pair, repeat, skip
            const int n = 1 + int(random() % 9);
            const int pixels = kind == 1 ? 2 * n : n;
            if (column + pixels > maxWidth)
                break;
            ++row[0];
            row.push_back(static_cast<unsigned char>(kind << 6 | n));
            const int values[] = {n, 2, 1, 0};
            for (int i = values[kind]; i > 0; --i)
                row.push_back(value());
            column += pixels;
            if (kind != 3)
                extent = std::max(extent, column);
        }
        rows.push_back(row);
    }
    return Record(type, unsigned(extent), unsigned(height), int(random() % 9) - 4, int(random() % 9) - 4, rows);
}

void LockNow(Canvas& canvas)
{
    int restored = 0;
    canvas.Lock(&restored, 0);
}

class DisplayTest : public SpriteTest {
protected:
    // One row of every command: skip 1, repeat 2, pair 1, literal 3; an empty
    // row; then a lone pixel.
    const Bytes all = Record(6, 8, 3, 2, 1,
                             {{4, 0xC1, 0x82, 5, 0x41, 7, 8, 0x03, 1, 2, 3}, {0}, {1, 0x01, 9}});
};

} // namespace

TEST_F(DisplayTest, FlagBitsShiftByTheHotSpot)
{
    Canvas canvas(200, 200, 1, CANVAS_MEMORY);
    const unsigned char set = SetOf({Record(6, 1, 1, 5, 7, {{1, 0x01, 42}})});
    sprites.AssociateCanvas(&canvas);
    canvas.SetDrawColor(77);
    // Bit 0 moves back by the hot spot, bit 1 forward; both cancel out.
    const struct {
        unsigned long flags;
        short x, y;
    } cases[] = {{0, 100, 100}, {1, 95, 93}, {2, 105, 107}, {3, 100, 100}, {4, 100, 100}};
    for (const auto& c : cases) {
        canvas.Clear(0);
        sprites.DisplaySprite(100, 100, set, 0, c.flags);
        EXPECT_EQ(canvas.GetPixel(c.x, c.y), 42u) << "flags " << c.flags;
        canvas.Clear(0);
        sprites.DisplaySpriteSolid(100, 100, set, 0, c.flags);
        EXPECT_EQ(canvas.GetPixel(c.x, c.y), 77u) << "flags " << c.flags;
    }
    // The paths apply bit 0 themselves and ignore bit 1.
    canvas.Clear(0);
    sprites.DisplayClippedSprite(100, 100, set, 0, 3);
    EXPECT_EQ(canvas.GetPixel(95, 93), 42u);
    canvas.Clear(0);
    sprites.DisplayUnclippedSprite(100, 100, set, 0, 2);
    EXPECT_EQ(canvas.GetPixel(100, 100), 42u);
}

TEST_F(DisplayTest, ClippedAtEveryEdgeOnEveryKindOfCanvas)
{
    const unsigned char set = SetOf({all});
    const int w = 8, h = 3;
    const struct {
        const char* what;
        int x, y;
    } positions[] = {
        {"inside", 5, 3}, {"left", -2, 3}, {"right", 18, 3}, {"top", 5, -2}, {"bottom", 5, 10},
        {"top left", -3, -1}, {"bottom right", 19, 10}, {"top right", 20, -2}, {"bottom left", -4, 11},
        {"touching right", 20 - w, 2}, {"touching bottom", 3, 12 - h}, {"rightmost column only", -w + 1, 2},
        {"one pixel", -w + 1, -h + 1}, {"gone left", -w, 2}, {"gone right", 20, 2}, {"gone up", 4, -h},
        {"gone down", 4, 12},
    };
    Canvas parent(32, 20, 1, CANVAS_MEMORY);
    for (const char* setup : {"top-down", "bottom-up", "sub-canvas"}) {
        const bool sub = setup[0] == 's';
        for (const auto& at : positions) {
            SCOPED_TRACE(std::string(setup) + ", " + at.what);
            Background(parent, 3);
            auto canvas = sub ? std::make_unique<Canvas>(5, 4, 20, 12, &parent)
                              : std::make_unique<Canvas>(20, 12, setup[0] == 't' ? 1 : 0, CANVAS_MEMORY);
            if (sub)
                LockNow(*canvas);
            Background(*canvas);
            auto parentExpected = Pixels(parent);
            auto expected = Pixels(*canvas);
            sprites.AssociateCanvas(canvas.get());
            sprites.DisplaySprite(short(at.x), short(at.y), set, 0, 0);
            Paint(expected, all, at.x, at.y, Kind::Normal);
            EXPECT_EQ(Pixels(*canvas), expected);
            if (at.x == 5 && at.y == 3) { // pins the model: repeat, pair order, literal
                EXPECT_EQ(Bytes(expected[3].begin() + 6, expected[3].begin() + 13), (Bytes{5, 5, 7, 8, 1, 2, 3}));
            }
            if (sub) { // only the window changed in the parent
                for (int y = 0; y < 12; ++y)
                    std::copy(expected[y].begin(), expected[y].end(), parentExpected[y + 4].begin() + 5);
                EXPECT_EQ(Pixels(parent), parentExpected);
            }
        }
    }
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(DisplayTest, ClippedPathsDrawWhatTheInsidePathsDraw)
{
    // The clipped paths draw into a window (a sub-canvas) and must agree with
    // the model; the inside paths draw the same sprite at the same place on a
    // canvas large enough to hold it whole, and must agree with them inside
    // the window. Outside it nothing changes.
    const int W = 40, H = 30;
    Canvas whole(3 * W, 3 * H, 1, CANVAS_MEMORY);
    Canvas framed(3 * W, 3 * H, 0, CANVAS_MEMORY);
    Canvas window(W, H, W, H, &framed);
    Canvas textureCanvas(16, 8, 1, CANVAS_MEMORY);
    Background(textureCanvas, 99);
    LockNow(window);

    std::mt19937 random(20240601);
    std::vector<Bytes> normal, shade;
    for (int i = 0; i < 40; ++i) {
        normal.push_back(RandomRecord(random, 6, W - 4, H - 4));
        shade.push_back(RandomRecord(random, 7, W - 4, H - 4));
    }
    const unsigned char normalSet = SetOf(normal, "NORMAL");
    const unsigned char shadeSet = SetOf(shade, "SHADE");

    for (int round = 0; round < 600; ++round) {
        const Kind kind = static_cast<Kind>(round % 5);
        const bool shading = kind == Kind::Shade || kind == Kind::ShadeSolid;
        const unsigned short index = static_cast<unsigned short>(random() % 40);
        const Bytes& record = shading ? shade[index] : normal[index];
        const unsigned char set = shading ? shadeSet : normalSet;
        const short x = short(int(random() % (W + 4)) - (W - 4) / 2 - 2);
        const short y = short(int(random() % (H + 4)) - (H - 4) / 2 - 2);
        const short ox = short(int(random() % 50) - 25), oy = short(int(random() % 50) - 25);
        const TextureModel texture{Pixels(textureCanvas), 2, 1, 11, 5, ox, oy};
        Background(whole, round);
        Background(framed, round);
        window.SetDrawColor(static_cast<unsigned char>(round));
        whole.SetDrawColor(static_cast<unsigned char>(round));
        const auto framedBefore = Pixels(framed);

        sprites.AssociateCanvas(&whole);
        const short wx = short(x + W), wy = short(y + H), wox = short(ox + W), woy = short(oy + H);
        switch (kind) {
        case Kind::Normal: sprites.DisplayUnclippedSprite(wx, wy, set, index, 0); break;
        case Kind::Solid: sprites.DisplayUnclippedSpriteSolid(wx, wy, set, index, 0); break;
        case Kind::Shade: sprites.DisplayUnclippedTransSprite(wx, wy, set, index); break;
        case Kind::ShadeSolid: sprites.DisplayAnySpriteTransSolid(wx, wy, set, index); break;
        default: sprites.DisplayUnclippedSpriteTexture(wx, wy, set, index, wox, woy, 2, 1, 11, 5, &textureCanvas, 0);
        }
        sprites.AssociateCanvas(&window);
        auto expected = Pixels(window);
        switch (kind) {
        case Kind::Normal: sprites.DisplayClippedSprite(x, y, set, index, 0); break;
        case Kind::Solid: sprites.DisplayClippedSpriteSolid(x, y, set, index, 0); break;
        case Kind::Shade: sprites.DisplayClippedTransSprite(x, y, set, index); break;
        case Kind::ShadeSolid: sprites.DisplayClippedTransSpriteSolid(x, y, set, index); break;
        default: sprites.DisplayClippedSpriteTexture(x, y, set, index, ox, oy, 2, 1, 11, 5, &textureCanvas, 0);
        }
        Paint(expected, record, x, y, kind, round & 0xFF, &texture);
        ASSERT_EQ(Pixels(window), expected) << "round " << round;
        const auto big = Pixels(whole);
        const auto small = Pixels(framed);
        for (int cy = 0; cy < 3 * H; ++cy) {
            for (int cx = 0; cx < 3 * W; ++cx) {
                const bool inWindow = cx >= W && cx < 2 * W && cy >= H && cy < 2 * H;
                ASSERT_EQ(small[cy][cx], inWindow ? big[cy][cx] : framedBefore[cy][cx])
                    << "round " << round << " at " << cx << "," << cy;
            }
        }
    }
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(DisplayTest, MirroredSprites)
{
    Canvas canvas(64, 6, 1, CANVAS_MEMORY);
    sprites.AssociateCanvas(&canvas);
    // The clipped path mirrors into x + 1 .. x + width, at every edge.
    const unsigned char set = SetOf({all});
    for (int x : {-8, -5, 0, 10, 55, 57, 63}) {
        Background(canvas);
        auto expected = Pixels(canvas);
        sprites.DisplayClippedSpriteRev(short(x), 2, set, 0);
        Paint(expected, all, x, 2, Kind::Mirrored);
        EXPECT_EQ(Pixels(canvas), expected) << "x " << x;
    }

    // The inside path as it has always drawn, one command kind per record;
    // each row's right edge comes from the two bytes after its count.
    const struct {
        const char* what;
        Bytes record;
        std::vector<std::pair<int, int>> pixels; // column offset from x, value
    } cases[] = {
        {"repeat: left n, then filled rightwards", Record(6, 3, 1, 0, 0, {{1, 0x83, 0x0A, 0x00}}),
         {{7, 0x0A}, {8, 0x0A}, {9, 0x0A}}},
        {"literal: every byte on one pixel", Record(6, 3, 1, 0, 0, {{1, 0x03, 4, 0, 9}}), {{4, 9}}},
        {"pair: c2 and the low nibble of c1, leftwards", Record(6, 4, 1, 0, 0, {{1, 0x42, 0x36, 0x00}}),
         {{51, 0}, {52, 6}, {53, 0}, {54, 6}}},
        {"skip moves left", Record(6, 4, 1, 0, 0, {{3, 0xC2, 0x02, 0x00, 0x07, 0x81, 0x09}}), {{0, 7}, {-1, 9}}},
    };
    for (const auto& c : cases) {
        const unsigned char one = SetOf({c.record}, "REV");
        for (int route = 0; route < 2; ++route) {
            Background(canvas);
            auto expected = Pixels(canvas);
            for (auto [dx, v] : c.pixels)
                expected[1][size_t(2 + dx)] = static_cast<unsigned char>(v);
            if (route == 0)
                sprites.DisplayUnclippedSpriteRev(2, 1, one, 0);
            else
                sprites.DisplaySpriteRev(2, 1, one, 0); // wholly inside: the same path
            EXPECT_EQ(Pixels(canvas), expected) << c.what;
        }
        sprites.ReleaseDataset(const_cast<char*>("REV"));
    }

    // A right edge far past the canvas writes nothing outside it.
    Canvas framed(128, 8, 1, CANVAS_MEMORY);
    Canvas window(0, 2, 64, 3, &framed);
    LockNow(window);
    Background(framed);
    const auto before = Pixels(framed);
    const unsigned char far = SetOf({Record(6, 3, 1, 0, 0, {{1, 0x83, 0x50, 0x00}})}, "FAR");
    sprites.AssociateCanvas(&window);
    sprites.DisplayUnclippedSpriteRev(2, 1, far, 0);
    EXPECT_EQ(Pixels(framed), before);
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(DisplayTest, ShadesKeepTheRampAndAnySpriteFollowsTheType)
{
    Canvas canvas(8, 2, 1, CANVAS_MEMORY);
    const Bytes shade = Record(7, 8, 1, 0, 0, {{2, 0x03, 0xFD, 0xFD, 0x05, 0x45, 0xF0, 0x0F}});
    const unsigned char set = SetOf({shade});
    sprites.AssociateCanvas(&canvas);
    std::memcpy(canvas.QueryRowAddress(0), "\x47\x42\x4D\x30\x3F\x00\xF8\x12", 8);
    sprites.DisplayUnclippedTransSprite(0, 0, set, 0);
    // The pair run alternates -16 and +15 over 0x30 0x3F 0x00 0xF8 0x12 (cut at the edge).
    EXPECT_EQ(Pixels(canvas)[0], (Bytes{0x44, 0x40, 0x4F, 0x30, 0x3F, 0x00, 0xFF, 0x10}));
    // Shown solid, the stored changes become their source values 0..31.
    sprites.DisplayClippedTransSpriteSolid(0, 0, set, 0);
    EXPECT_EQ(Pixels(canvas)[0], (Bytes{13, 13, 21, 0, 31, 0, 31, 0}));

    const unsigned char any = SetOf({Record(6, 2, 1, 0, 0, {{1, 0x82, 0x21}}), Record(7, 2, 1, 0, 0, {{1, 0x82, 0x02}}),
                                     Record(9, 2, 1, 0, 0, {{1, 0x82, 0x21}})}, "ANY");
    for (int solid = 0; solid < 2; ++solid) {
        canvas.Clear(0x44);
        for (unsigned short i = 0; i < 3; ++i) {
            if (solid)
                sprites.DisplayAnySpriteTransSolid(short(3 * i), short(i % 2), any, i);
            else
                sprites.DisplayAnySprite(short(3 * i), short(i % 2), any, i);
        }
        const Bytes shaded(2, solid ? 0x12 : 0x46);
        EXPECT_EQ(Pixels(canvas), (std::vector<Bytes>{{0x21, 0x21, 0x44, 0x44, 0x44, 0x44, 0x44, 0x44}, // type 9 draws nothing
                                                      {0x44, 0x44, 0x44, shaded[0], shaded[1], 0x44, 0x44, 0x44}}))
            << "solid " << solid;
    }
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(DisplayTest, TexturesAreAnchoredToTheCanvas)
{
    Canvas canvas(64, 16, 0, CANVAS_MEMORY);
    Canvas texture(12, 6, 1, CANVAS_MEMORY);
    Background(texture, 50);
    const Bytes block = Record(6, 4, 2, 1, 1, {{2, 0x82, 0, 0x41, 0, 0}, {2, 0xC1, 0x03, 0, 0, 0}});
    const unsigned char set = SetOf({block});
    sprites.AssociateCanvas(&canvas);
    const TextureModel model{Pixels(texture), 3, 2, 7, 3, -5, 9};

    canvas.Clear(0);
    sprites.DisplaySpriteTexture(10, 4, set, 0, -5, 9, 3, 2, 7, 3, &texture, 1); // placed by the hot spot
    std::vector<Bytes> expected(16, Bytes(64, 0));
    Paint(expected, block, 9, 3, Kind::Texture, 0, &model);
    EXPECT_EQ(Pixels(canvas), expected);

    // A texture rectangle that does not fit its canvas draws nothing.
    canvas.Clear(0);
    sprites.DisplaySpriteTexture(10, 4, set, 0, 0, 0, 8, 0, 5, 3, &texture, 0);
    sprites.DisplaySpriteTexture(10, 4, set, 0, 0, 0, 0, 0, 0, 3, &texture, 0);
    sprites.DisplayClippedSpriteTexture(10, 4, set, 0, 0, 0, 0, 0, 3, 3, nullptr, 0);
    EXPECT_EQ(Pixels(canvas), std::vector<Bytes>(16, Bytes(64, 0)));
    const auto log = LogEntries();
    ASSERT_EQ(log.size(), 3u);
    for (const auto& line : log)
        EXPECT_TRUE(IsAssertFrom(line, "sprman")) << line;
}

TEST_F(DisplayTest, MissingSpritesAndStaleCanvasesAreReportedNotDrawn)
{
    Canvas canvas(16, 8, 1, CANVAS_MEMORY);
    Canvas texture(4, 4, 1, CANVAS_MEMORY);
    const unsigned char set = SetOf({all, {}}, "GLYPHS");
    sprites.AssociateCanvas(&canvas);
    canvas.Clear(3);
    sprites.DisplaySpriteSolid(0, 0, set, 5, 0);
    sprites.DisplaySpriteSolid(0, 0, set, 1, 0);
    sprites.DisplaySpriteTexture(0, 0, set, 7, 0, 0, 0, 0, 4, 4, &texture, 0);
    sprites.DisplaySpriteTexture(0, 0, set, 1, 0, 0, 0, 0, 4, 4, &texture, 0);
    sprites.DisplaySprite(0, 0, set, 1, 0);
    auto log = LogEntries();
    ASSERT_EQ(log.size(), 7u);
    for (size_t i : {0u, 3u, 6u})
        EXPECT_TRUE(IsAssertFrom(log[i], "sprman")) << log[i];
    EXPECT_EQ(log[1], "Debug Message: Displaying sprite GLYPHS, 5");
    EXPECT_EQ(log[2], "Debug Message: Displaying null sprite GLYPHS, 1");
    EXPECT_EQ(log[4], "Debug Message: Displaying sprite GLYPHS, 7");
    EXPECT_EQ(log[5], "Debug Message: Displaying null sprite GLYPHS, 1");
    EXPECT_EQ(Pixels(canvas), std::vector<Bytes>(8, Bytes(16, 3)));

    // Associated before its first lock, a window has no pitch yet.
    Canvas window(2, 2, 8, 4, &canvas);
    sprites.AssociateCanvas(&window);
    LockNow(window);
    sprites.DisplaySprite(0, 0, set, 0, 0);
    EXPECT_EQ(Pixels(canvas), std::vector<Bytes>(8, Bytes(16, 3)));
    EXPECT_EQ(LogEntries().size(), 8u);
    sprites.AssociateCanvas(&window);
    sprites.DisplaySprite(0, 0, set, 0, 0);
    EXPECT_EQ(canvas.GetPixel(3, 2), 5u);
    EXPECT_EQ(LogEntries().size(), 8u);
    // Without a canvas nothing is drawn either.
    sprites.DissociateCanvas();
    sprites.DisplaySprite(0, 0, set, 0, 0);
    EXPECT_EQ(LogEntries().size(), 9u);
}

TEST_F(DisplayTest, DamagedRecordsAndMisuseStayInsideTheCanvas)
{
    Canvas framed(48, 12, 1, CANVAS_MEMORY);
    Canvas window(8, 3, 32, 6, &framed);
    LockNow(window);
    // The header claims width 2, the row covers 40 pixels; the second record's
    // literal runs past the end of the data area.
    const Bytes wide = Record(6, 2, 2, 0, 0, {{1, 0xA8, 0x11}, {1, 0xA8, 0x12}});
    const Bytes cut = Record(6, 4, 3, 0, 0, {{1, 0x04, 1, 2, 3, 4}, {1, 0x3F, 5, 6}});
    const unsigned char set = SetOf({wide, cut});
    sprites.AssociateCanvas(&window);
    Background(framed);
    auto expected = Pixels(framed);
    sprites.DisplaySprite(20, 2, set, 0, 0);
    sprites.DisplaySprite(0, 0, set, 1, 0);
    // Called directly with a position that does not fit, the inside path clips.
    sprites.DisplayUnclippedSprite(-30, -1, set, 0, 0);
    std::fill(expected[5].begin() + 28, expected[5].begin() + 40, 0x11);
    std::fill(expected[6].begin() + 28, expected[6].begin() + 40, 0x12);
    std::fill(expected[3].begin() + 8, expected[3].begin() + 18, 0x12);
    EXPECT_EQ(Pixels(framed), expected);
    const auto log = LogEntries();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_TRUE(IsAssertFrom(log[0], "sprman"));
}
