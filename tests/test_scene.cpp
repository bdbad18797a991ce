// A whole frame: sprites of every kind and lines of text, overlapping and
// running off every edge, drawn by the library and, pixel by pixel, by a
// plain model of the same scene that works from the source pictures.
#include "test_sprman_helpers.h"

#include <algorithm>

using namespace sprtest;
using tvxtest::LogEntries;

namespace {

const int kWidth = 160, kHeight = 120;
const int kTransparent = 0;     // in normal sources and glyphs
const int kNoShade = 0xFF;      // in shade sources: transparent, and its low bits match no shade used

using Picture = Bitmap; // -1 transparent

Picture RandomPicture(std::mt19937& random, int width, int height, bool shade)
{
    Picture p(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width;) {
            const int length = 1 + int(random() % 12);
            const int kind = int(random() % 4); // hole, run, noise, noise
            const int run = shade ? 1 + int(random() % 30) : 1 + int(random() % 255);
            for (int i = 0; i < length && x < width; ++i, ++x) {
                const int noise = shade ? 1 + int(random() % 30) : 1 + int(random() % 255);
                p.at(x, y) = kind == 0 ? -1 : kind == 1 ? run : noise;
            }
        }
    }
    // Something opaque in the last column, so the box is the picture's.
    p.at(width - 1, int(random() % unsigned(height))) = shade ? 7 : 99;
    return p;
}

struct Model {
    std::vector<Bytes> px;

    static bool Inside(int x, int y) { return x >= 0 && y >= 0 && x < kWidth && y < kHeight; }
    void Put(int x, int y, unsigned char v)
    {
        if (Inside(x, y))
            px[size_t(y)][size_t(x)] = v;
    }
    unsigned char Get(int x, int y) const { return px[size_t(y)][size_t(x)]; }
};

class SceneTest : public SpriteTest {
protected:
    void Encode(const Picture& p, unsigned char set, unsigned short slot, short hotX, short hotY, bool shade)
    {
        source.Clear(shade ? kNoShade : kTransparent);
        for (int y = 0; y < p.height; ++y)
            for (int x = 0; x < p.width; ++x)
                if (p.at(x, y) >= 0)
                    source.QueryRowAddress(unsigned(y))[x] = static_cast<unsigned char>(p.at(x, y));
        const unsigned short w = static_cast<unsigned short>(p.width), h = static_cast<unsigned short>(p.height);
        if (shade)
            ASSERT_EQ(sprites.EncodeTransSprite(set, slot, 0, 0, w, h, hotX, hotY, table), ERR_OK);
        else
            ASSERT_EQ(sprites.EncodeSprite(set, slot, 0, 0, w, h, hotX, hotY, table), ERR_OK);
    }

    Canvas source{64, 48, 1, CANVAS_MEMORY};
    unsigned char table[256] = {1};
};

} // namespace

TEST_F(SceneTest, EveryPixelMatchesThePlainModel)
{
    std::mt19937 random(8675309);
    sprites.AssociateEncodeCanvas(&source);

    // Sprites: normal pictures with hot spots, shade pictures, and glyphs.
    const unsigned char set = NewSet(12, "SCENE");
    std::vector<Picture> pictures;
    std::vector<std::pair<int, int>> hotSpots;
    for (unsigned short i = 0; i < 8; ++i) {
        const bool shade = i >= 6;
        pictures.push_back(RandomPicture(random, 4 + int(random() % 44), 3 + int(random() % 40), shade));
        const int hx = int(random() % 9) - 2, hy = int(random() % 9) - 2;
        hotSpots.push_back({shade ? 0 : hx, shade ? 0 : hy});
        Encode(pictures.back(), set, i, short(hotSpots.back().first), short(hotSpots.back().second), shade);
    }

    const unsigned char glyphSet = NewSet(128, "GLYPHS");
    std::vector<Picture> glyphs(128);
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789!?";
    for (char c : alphabet) {
        glyphs[size_t(c)] = RandomPicture(random, 2 + int(random() % 6), 8, false);
        Encode(glyphs[size_t(c)], glyphSet, static_cast<unsigned short>(c), 0, 0, false);
    }
    Font proportional(&sprites), solid(&sprites);
    _FontDef ownColours{glyphSet, 5, 1, FONT_PROPORTIONAL};
    _FontDef oneColour{glyphSet, 7, 0, FONT_FIXED_PITCH | FONT_SOLID};

    Canvas texture(24, 16, 1, CANVAS_MEMORY);
    for (unsigned y = 0; y < 16; ++y)
        for (unsigned x = 0; x < 24; ++x)
            texture.QueryRowAddress(y)[x] = static_cast<unsigned char>(random());

    // The frame: a bottom-up canvas with a background of every brightness step.
    Canvas canvas(kWidth, kHeight, 0, CANVAS_MEMORY);
    for (unsigned y = 0; y < kHeight; ++y)
        for (unsigned x = 0; x < kWidth; ++x)
            canvas.QueryRowAddress(y)[x] = static_cast<unsigned char>(x * 3 + y * 17);
    Model model{Pixels(canvas)};
    const auto background = model.px;
    sprites.AssociateCanvas(&canvas);
    proportional.AssociateCanvas(&canvas);
    proportional.ActivateFont(&ownColours);
    solid.ActivateFont(&oneColour);

    auto paintPicture = [](const Picture& p, auto&& pixel) {
        for (int i = 0; i < p.width * p.height; ++i)
            if (p.pixels[size_t(i)] >= 0)
                pixel(i % p.width, i / p.width, p.pixels[size_t(i)]);
    };

    auto paintText = [&](const std::string& text, int x, int y, bool isSolid, int colour) {
        int offset = 0;
        for (char ch : text) {
            if (ch != ' ') {
                paintPicture(glyphs[size_t(ch)], [&](int c, int r, int v) {
                    model.Put(x + offset + c, y + r, static_cast<unsigned char>(isSolid ? colour : v));
                });
            }
            offset += isSolid ? 7 : (ch == ' ' ? 5 : Extent(glyphs[size_t(ch)])) + (isSolid ? 0 : 1);
        }
    };

    for (int op = 0; op < 120; ++op) {
        const int kind = int(random() % 6);
        const int x = int(random() % 220) - 50, y = int(random() % 170) - 40;
        const unsigned short index = static_cast<unsigned short>(random() % 6);
        const Picture& picture = pictures[index];
        const unsigned char colour = static_cast<unsigned char>(random());
        switch (kind) {
        case 0: { // normal, positioned by any flag combination, or through the either-type entry
            const unsigned long flags = random() % 5;
            const int sign = (flags & 2 ? 1 : 0) - (flags & 1 ? 1 : 0);
            const int px = x + sign * hotSpots[index].first, py = y + sign * hotSpots[index].second;
            if (flags == 4)
                sprites.DisplayAnySprite(short(x), short(y), set, index);
            else
                sprites.DisplaySprite(short(x), short(y), set, index, flags);
            paintPicture(picture, [&](int c, int r, int v) { model.Put(px + c, py + r, static_cast<unsigned char>(v)); });
            break;
        }
        case 1: // one colour
            canvas.SetDrawColor(colour);
            sprites.DisplaySpriteSolid(short(x), short(y), set, index, 0);
            paintPicture(picture, [&](int c, int r, int) { model.Put(x + c, y + r, colour); });
            break;
        case 2: { // shading, through either entry
            const unsigned short shadeIndex = static_cast<unsigned short>(6 + random() % 2);
            if (random() % 2)
                sprites.DisplayTransSprite(short(x), short(y), set, shadeIndex);
            else
                sprites.DisplayAnySprite(short(x), short(y), set, shadeIndex);
            paintPicture(pictures[shadeIndex], [&](int c, int r, int v) {
                if (!model.Inside(x + c, y + r))
                    return;
                const unsigned char d = model.Get(x + c, y + r);
                const int step = std::clamp((d & 0x0F) + (v & 31) - 16, 0, 15);
                model.Put(x + c, y + r, static_cast<unsigned char>((d & 0xF0) + step));
            });
            break;
        }
        case 3: { // textured
            const short ox = short(int(random() % 64) - 32), oy = short(int(random() % 64) - 32);
            sprites.DisplaySpriteTexture(short(x), short(y), set, index, ox, oy, 3, 2, 17, 11, &texture, 0);
            paintPicture(picture, [&](int c, int r, int) {
                const int cx = x + c, cy = y + r;
                const int tx = 3 + ((cx - ox) % 17 + 17) % 17, ty = 2 + ((cy - oy) % 11 + 11) % 11;
                model.Put(cx, cy, texture.QueryRowAddress(unsigned(ty))[tx]);
            });
            break;
        }
        case 4: { // mirrored, one column right of the normal box
            const int w = Extent(picture);
            sprites.DisplayClippedSpriteRev(short(x), short(y), set, index);
            paintPicture(picture, [&](int c, int r, int v) { model.Put(x + w - c, y + r, static_cast<unsigned char>(v)); });
            break;
        }
        default: { // a line of text
            std::string text;
            for (int n = 3 + int(random() % 10); n > 0; --n)
                text += random() % 5 == 0 ? ' ' : alphabet[random() % alphabet.size()];
            if (random() % 2) {
                proportional.PutString(short(x), short(y), text.data());
                paintText(text, x, y, false, 0);
            } else {
                const unsigned char shadow = static_cast<unsigned char>(random());
                solid.PutShadowString(short(x), short(y), text.data(), colour, shadow, &canvas);
                paintText(text, x + 1, y + 1, true, shadow);
                paintText(text, x, y, true, colour);
            }
            break;
        }
        }
    }

    const auto drawn = Pixels(canvas);
    int changed = 0;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            ASSERT_EQ(int(drawn[size_t(y)][size_t(x)]), int(model.Get(x, y))) << "at " << x << "," << y;
            changed += drawn[size_t(y)][size_t(x)] != background[size_t(y)][size_t(x)];
        }
    }
    EXPECT_GT(changed, kWidth * kHeight / 2); // the scene covers most of the frame
    EXPECT_TRUE(LogEntries().empty());
}
