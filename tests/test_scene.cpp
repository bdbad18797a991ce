// A whole frame: encoded pictures, shading and lines of text, overlapping and
// running off every edge, drawn by the library and, pixel by pixel, by a
// plain model of the same scene that works from the source pictures. (Every
// kind and path against a model of the records: test_sprman_display.cpp.)
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

class SceneTest : public SpriteTest {
protected:
    void Encode(const Picture& p, unsigned char set, unsigned short slot, short hotX, short hotY, bool shade)
    {
        source.Clear(shade ? kNoShade : kTransparent);
        for (int i = 0; i < p.width * p.height; ++i)
            if (p.pixels[size_t(i)] >= 0)
                source.QueryRowAddress(unsigned(i / p.width))[i % p.width] = static_cast<unsigned char>(p.pixels[size_t(i)]);
        const auto w = static_cast<unsigned short>(p.width), h = static_cast<unsigned short>(p.height);
        ASSERT_EQ(shade ? sprites.EncodeTransSprite(set, slot, 0, 0, w, h, hotX, hotY, table)
                        : sprites.EncodeSprite(set, slot, 0, 0, w, h, hotX, hotY, table),
                  ERR_OK);
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
        hotSpots.push_back({shade ? 0 : int(random() % 9) - 2, shade ? 0 : int(random() % 9) - 2});
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
    _FontDef ownColours{glyphSet, 5, 1, FONT_PROPORTIONAL}, oneColour{glyphSet, 7, 0, FONT_FIXED_PITCH | FONT_SOLID};

    // The frame: a bottom-up canvas with a background of every brightness step.
    Canvas canvas(kWidth, kHeight, 0, CANVAS_MEMORY);
    for (unsigned y = 0; y < kHeight; ++y)
        for (unsigned x = 0; x < kWidth; ++x)
            canvas.QueryRowAddress(y)[x] = static_cast<unsigned char>(x * 3 + y * 17);
    auto model = Pixels(canvas);
    const auto background = model;
    auto put = [&](int x, int y, int v) {
        if (x >= 0 && y >= 0 && x < kWidth && y < kHeight)
            model[size_t(y)][size_t(x)] = static_cast<unsigned char>(v);
    };
    proportional.AssociateCanvas(&canvas);
    proportional.ActivateFont(&ownColours);
    solid.ActivateFont(&oneColour);
    auto paint = [](const Picture& p, auto&& pixel) {
        for (int i = 0; i < p.width * p.height; ++i)
            if (p.pixels[size_t(i)] >= 0)
                pixel(i % p.width, i / p.width, p.pixels[size_t(i)]);
    };
    auto paintText = [&](const std::string& text, int x, int y, bool isSolid, int colour) {
        int offset = 0;
        for (char ch : text) {
            if (ch != ' ')
                paint(glyphs[size_t(ch)], [&](int c, int r, int v) { put(x + offset + c, y + r, isSolid ? colour : v); });
            offset += isSolid ? 7 : (ch == ' ' ? 5 : Extent(glyphs[size_t(ch)])) + 1;
        }
    };

    for (int op = 0; op < 120; ++op) {
        const int x = int(random() % 220) - 50, y = int(random() % 170) - 40;
        const unsigned short index = static_cast<unsigned short>(random() % 6);
        const unsigned char colour = static_cast<unsigned char>(random());
        switch (random() % 3) {
        case 0: { // normal, positioned by any flag combination, or through the either-type entry
            const unsigned long flags = random() % 5;
            const int sign = (flags & 2 ? 1 : 0) - (flags & 1 ? 1 : 0);
            flags == 4 ? sprites.DisplayAnySprite(short(x), short(y), set, index)
                       : sprites.DisplaySprite(short(x), short(y), set, index, flags);
            paint(pictures[index], [&](int c, int r, int v) {
                put(x + sign * hotSpots[index].first + c, y + sign * hotSpots[index].second + r, v);
            });
            break;
        }
        case 1: { // shading, through either entry
            const unsigned short shade = static_cast<unsigned short>(6 + random() % 2);
            random() % 2 ? sprites.DisplayTransSprite(short(x), short(y), set, shade)
                         : sprites.DisplayAnySprite(short(x), short(y), set, shade);
            paint(pictures[shade], [&](int c, int r, int v) {
                if (x + c >= 0 && y + r >= 0 && x + c < kWidth && y + r < kHeight) {
                    const unsigned char d = model[size_t(y + r)][size_t(x + c)];
                    put(x + c, y + r, (d & 0xF0) + std::clamp((d & 0x0F) + (v & 31) - 16, 0, 15));
                }
            });
            break;
        }
        default: { // a line of text, in the glyphs' colours or solid over a shadow
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
        }
        }
    }
    EXPECT_EQ(Pixels(canvas), model);
    int changed = 0;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            changed += model[size_t(y)][size_t(x)] != background[size_t(y)][size_t(x)];
    EXPECT_GT(changed, kWidth * kHeight / 2); // the scene covers most of the frame
    EXPECT_TRUE(LogEntries().empty());
}
