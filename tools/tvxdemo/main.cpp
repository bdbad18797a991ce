// tvxdemo - the library end to end.
//
// Makes a palette, draws sprites and a font onto an encode canvas, encodes
// them into sprite sets, saves everything into a compressed library file,
// loads it back the way a game would, draws a scene of every sprite kind
// and some text on a 640 x 480 display canvas (the headless screen natively,
// a window on Windows), and writes what the screen shows as a binary PPM.
// Prints what it did and how long a frame took.
#include "screen.h"

#include <tollivex.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

const unsigned short kWidth = 640;
const unsigned short kHeight = 480;
char kLibraryFile[] = "TVXDEMO.LIB";
char kSceneSet[] = "scene";
char kFontSet[] = "font";
char kPaletteBlock[] = "palette";

// Sixteen ramps of sixteen brightness steps: colour = ramp * 16 + step.
enum Ramp { GREY, RED, ORANGE, YELLOW, GREEN, TEAL, SKY, BLUE, VIOLET, PINK, BROWN, SAND, LEAF, STEEL, FLESH, NIGHT };
const unsigned char kRampColours[16][3] = {
    {255, 255, 255}, {255, 40, 40},  {255, 150, 30},  {255, 235, 60},  {70, 220, 70},  {40, 210, 190},
    {120, 190, 255}, {50, 80, 255},  {170, 80, 255},  {255, 120, 200}, {170, 110, 60}, {240, 210, 150},
    {40, 150, 60},   {150, 170, 190}, {250, 190, 160}, {30, 30, 90}};

unsigned char Shade(Ramp ramp, int step)
{
    return static_cast<unsigned char>(ramp * 16 + (step < 0 ? 0 : step > 15 ? 15 : step));
}

std::vector<unsigned char> PaletteTriples()
{
    std::vector<unsigned char> triples(768);
    for (int ramp = 0; ramp < 16; ++ramp) {
        for (int step = 0; step < 16; ++step) {
            for (int c = 0; c < 3; ++c)
                triples[(ramp * 16 + step) * 3 + c] =
                    static_cast<unsigned char>(kRampColours[ramp][c] * (step + 1) / 16);
        }
    }
    return triples;
}

// 3 x 5 glyphs, rows top to bottom, '1' for a lit pixel.
struct Glyph {
    char code;
    const char* bits;
};
const Glyph kGlyphs[] = {
    {'A', "010101111101101"}, {'B', "110101110101110"}, {'C', "011100100100011"}, {'D', "110101101101110"},
    {'E', "111100110100111"}, {'F', "111100110100100"}, {'G', "011100101101011"}, {'H', "101101111101101"},
    {'I', "111010010010111"}, {'J', "001001001101010"}, {'K', "101101110101101"}, {'L', "100100100100111"},
    {'M', "101111111101101"}, {'N', "110101101101101"}, {'O', "010101101101010"}, {'P', "110101110100100"},
    {'Q', "010101101110011"}, {'R', "110101110101101"}, {'S', "011100010001110"}, {'T', "111010010010010"},
    {'U', "101101101101111"}, {'V', "101101101101010"}, {'W', "101101111111101"}, {'X', "101101010101101"},
    {'Y', "101101010010010"}, {'Z', "111001010100111"}, {'0', "111101101101111"}, {'1', "010110010010111"},
    {'2', "110001010100111"}, {'3', "110001010001110"}, {'4', "101101111001001"}, {'5', "111100110001110"},
    {'6', "011100111101111"}, {'7', "111001010010010"}, {'8', "111101111101111"}, {'9', "111101111001110"},
    {'.', "000000000000010"}, {':', "000010000010000"}, {'-', "000000111000000"}, {'/', "001001010100100"},
    {'%', "101001010100101"}, {',', "000000000010100"}};
const int kGlyphScale = 2;

// Sprites of the scene set, by slot.
enum SceneSprite { BALL, CRATE, TREE, SHADOW, GEM, SCENE_SPRITES };

struct Assets {
    MemManager memory;
    DiskData disk{&memory};
    Library library{&memory, &disk};
};

void FillDisc(Canvas& canvas, int cx, int cy, int radius, Ramp ramp, bool shaded)
{
    for (int y = -radius; y <= radius; ++y) {
        for (int x = -radius; x <= radius; ++x) {
            if (x * x + y * y > radius * radius)
                continue;
            const int light = shaded ? 15 - (x + radius) * 6 / radius - (y + radius) * 4 / radius : 12;
            canvas.SetDrawColor(Shade(ramp, light + 4));
            canvas.PutPixel(static_cast<short>(cx + x), static_cast<short>(cy + y));
        }
    }
}

// Draws the scene sprites side by side on the encode canvas (colour 0 is
// the transparent background) and encodes them.
bool EncodeSceneSprites(SpriteManager& sprites, Canvas& source, unsigned char set)
{
    source.Clear(0);
    FillDisc(source, 16, 16, 15, RED, true); // BALL at 0,0 32x32

    source.SetDrawColor(Shade(BROWN, 9)); // CRATE at 40,0 32x32
    source.FilledRectClipped(40, 0, 71, 31);
    source.SetDrawColor(Shade(BROWN, 5));
    source.Rectangle(40, 0, 71, 31);
    source.Line(40, 0, 71, 31);
    source.Line(71, 0, 40, 31);

    source.SetDrawColor(Shade(BROWN, 6)); // TREE at 80,0 32x48
    source.FilledRectClipped(93, 32, 98, 47);
    for (int row = 0; row < 32; ++row) {
        source.SetDrawColor(Shade(LEAF, 6 + (row % 8)));
        source.HorizLine(static_cast<short>(96 - row / 2), static_cast<short>(96 + row / 2), static_cast<short>(row));
    }

    for (int y = 0; y < 12; ++y) { // SHADOW at 120,0 40x12: shade values 0..31, 16 is no change
        for (int x = 0; x < 40; ++x) {
            const double dx = (x - 19.5) / 20.0;
            const double dy = (y - 5.5) / 6.0;
            source.SetDrawColor(dx * dx + dy * dy <= 1.0 ? 16 - 6 : 32);
            source.PutPixel(static_cast<short>(120 + x), static_cast<short>(y));
        }
    }

    FillDisc(source, 176, 8, 7, VIOLET, false); // GEM at 168,0 16x16, a plain disc to be textured

    unsigned char transparent[256] = {};
    transparent[0] = 1;
    const bool ok = sprites.EncodeSprite(set, BALL, 0, 0, 32, 32, 16, 30, transparent) != ERR_FAILURE &&
                    sprites.EncodeSprite(set, CRATE, 40, 0, 32, 32, 16, 31, transparent) != ERR_FAILURE &&
                    sprites.EncodeSprite(set, TREE, 80, 0, 32, 48, 16, 47, transparent) != ERR_FAILURE &&
                    sprites.EncodeTransSprite(set, SHADOW, 120, 0, 40, 12, 140, 6, transparent) != ERR_FAILURE &&
                    sprites.EncodeSprite(set, GEM, 168, 0, 16, 16, 8, 8, transparent) != ERR_FAILURE;
    return ok;
}

bool EncodeFont(SpriteManager& sprites, Canvas& source, unsigned char set)
{
    unsigned char transparent[256] = {};
    transparent[0] = 1;
    for (const Glyph& glyph : kGlyphs) {
        source.Clear(0);
        source.SetDrawColor(Shade(GREY, 15));
        for (int bit = 0; bit < 15; ++bit) {
            if (glyph.bits[bit] != '1')
                continue;
            const short x = static_cast<short>((bit % 3) * kGlyphScale);
            const short y = static_cast<short>((bit / 3) * kGlyphScale);
            source.FilledRectClipped(x, y, static_cast<short>(x + kGlyphScale - 1), static_cast<short>(y + kGlyphScale - 1));
        }
        const auto code = static_cast<unsigned short>(static_cast<unsigned char>(glyph.code));
        if (sprites.EncodeSprite(set, code, 0, 0, 3 * kGlyphScale, 5 * kGlyphScale, 0, 0, transparent) == ERR_FAILURE)
            return false;
    }
    return true;
}

bool Fail(const char* what, unsigned code)
{
    std::fprintf(stderr, "tvxdemo: %s failed with error %u\n", what, code);
    return false;
}

// Builds TVXDEMO.LIB: the palette block and both sprite sets, compressed.
bool BuildLibraryFile(Assets& assets)
{
    std::remove(kLibraryFile);
    SpriteManager sprites(&assets.memory, &assets.library);
    Canvas source(256, 64, 1, CANVAS_MEMORY);
    sprites.AssociateEncodeCanvas(&source);

    unsigned char scene = 0;
    unsigned char font = 0;
    if (sprites.CreateNewSpriteset(kSceneSet, SCENE_SPRITES, &scene) == ERR_FAILURE ||
        sprites.CreateNewSpriteset(kFontSet, 256, &font) == ERR_FAILURE)
        return Fail("creating the sprite sets", sprites.errorCode);
    if (!EncodeSceneSprites(sprites, source, scene) || !EncodeFont(sprites, source, font))
        return Fail("encoding", sprites.errorCode);
    if (sprites.SaveAs(scene, kLibraryFile, LIB_ADD_COMPRESS) == ERR_FAILURE ||
        sprites.SaveAs(font, kLibraryFile, LIB_ADD_COMPRESS) == ERR_FAILURE)
        return Fail("saving the sprite sets", sprites.errorCode);

    Palette palette(&assets.memory);
    std::vector<unsigned char> triples = PaletteTriples();
    palette.SetValuesFromRaw8(triples.data(), 0, 256);
    unsigned char* block = nullptr;
    unsigned long size = 0;
    unsigned long stored = 0;
    if (palette.RequestSaveBlock(&block, &size) == ERR_FAILURE)
        return Fail("making the palette block", palette.errorCode);
    const ERRORSTATUS added = assets.library.AddLibrary(kLibraryFile, kPaletteBlock, 0x314C4150 /* "PAL1" */,
                                                        block, size, &stored, LIB_ADD_CREATE | LIB_ADD_REPLACE);
    palette.ReleaseSaveBlock(&block);
    if (added == ERR_FAILURE)
        return Fail("saving the palette", assets.library.errorCode);
    return true;
}

struct Scene {
    SpriteManager& sprites;
    Font& font;
    _FontDef& plain;
    _FontDef& solid;
    Canvas& frame;
    Canvas& texture;
    unsigned char set;
    int drawn = 0;
};

void DrawBackdrop(Canvas& frame)
{
    for (int y = 0; y < kHeight; ++y) {
        frame.SetDrawColor(y < 300 ? Shade(SKY, 15 - y / 30) : Shade(GREEN, 9 - (y - 300) / 40));
        frame.HorizLine(0, kWidth - 1, static_cast<short>(y));
    }
    FillDisc(frame, 560, 70, 28, YELLOW, false);
}

void DrawSprites(Scene& scene)
{
    SpriteManager& sprites = scene.sprites;
    // Trees along the horizon, every other one mirrored, some cut by the edges.
    for (int i = 0; i < 14; ++i) {
        const short x = static_cast<short>(-20 + i * 50);
        const short y = static_cast<short>(300 + (i % 3) * 6);
        sprites.DisplayAnySprite(static_cast<short>(x - 4), static_cast<short>(y - 4), scene.set, SHADOW);
        if (i % 2 == 0)
            sprites.DisplaySprite(x, y, scene.set, TREE, SPRITE_AT_HOTSPOT);
        else
            sprites.DisplaySpriteRev(static_cast<short>(x - 16), static_cast<short>(y - 47), scene.set, TREE);
        scene.drawn += 2;
    }
    // Crates and balls on the grass, each on a shadow; the last ones leave the frame.
    for (int i = 0; i < 40; ++i) {
        const short x = static_cast<short>((i * 97) % 700 - 30);
        const short y = static_cast<short>(340 + (i * 53) % 160);
        sprites.DisplayTransSprite(static_cast<short>(x - 20), static_cast<short>(y - 6), scene.set, SHADOW);
        sprites.DisplaySprite(x, y, scene.set, i % 3 == 0 ? CRATE : BALL, SPRITE_AT_HOTSPOT);
        scene.drawn += 2;
    }
    // Silhouettes in the draw colour, and gems textured with the crate.
    scene.frame.SetDrawColor(Shade(NIGHT, 3));
    for (int i = 0; i < 6; ++i) {
        sprites.DisplayClippedSpriteSolid(static_cast<short>(40 + i * 100), 200, scene.set, BALL, SPRITE_AT_HOTSPOT);
        sprites.DisplayClippedSpriteTexture(static_cast<short>(40 + i * 100), 240, scene.set, GEM, 0, 0, 0, 0, 32,
                                            32, &scene.texture, SPRITE_AT_HOTSPOT);
        scene.drawn += 2;
    }
}

void DrawText(Scene& scene)
{
    char title[] = "TOLLIVEX DEMO";
    char caption[] = "SPRITES, SHADES, TEXTURES AND TEXT FROM ONE LIBRARY FILE";
    // Shadow colours take effect only in a solid font.
    scene.font.ActivateFont(&scene.solid);
    scene.font.PutShadowString(24, 24, title, Shade(YELLOW, 15), Shade(NIGHT, 2), &scene.frame);
    scene.font.ActivateFont(&scene.plain);
    scene.font.PutClippedString(24, 48, 600, caption);
}

bool DrawScene(Assets& assets, Canvas& frame, double* milliseconds, int* drawn)
{
    SpriteManager sprites(&assets.memory, &assets.library);
    if (sprites.RegisterFile(kLibraryFile) == ERR_FAILURE)
        return Fail("registering the library file", sprites.errorCode);
    unsigned char set = 0;
    unsigned char fontSet = 0;
    if (sprites.RequestDataset(kSceneSet, &set) == ERR_FAILURE || sprites.RequestDataset(kFontSet, &fontSet) == ERR_FAILURE)
        return Fail("loading the sprite sets", sprites.errorCode);

    // The crate, drawn onto its own canvas, tiles the textured sprites.
    Canvas texture(32, 32, 1, CANVAS_MEMORY);
    sprites.AssociateCanvas(&texture);
    texture.Clear(Shade(ORANGE, 12));
    sprites.DisplaySprite(0, 0, set, CRATE, 0);

    Font font(&sprites);
    font.AssociateCanvas(&frame);
    _FontDef plain{fontSet, 4 * kGlyphScale, kGlyphScale, FONT_PROPORTIONAL};
    _FontDef solid{fontSet, 4 * kGlyphScale, kGlyphScale, FONT_PROPORTIONAL | FONT_SOLID};

    Scene scene{sprites, font, plain, solid, frame, texture, set};
    const int frames = 50;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < frames; ++i) {
        int restored = 0;
        if (frame.Lock(&restored, 0) == ERR_FAILURE)
            return Fail("locking the display", frame.errorCode);
        scene.drawn = 0;
        DrawBackdrop(frame);
        DrawSprites(scene);
        DrawText(scene);
        frame.Unlock();
        frame.Flip(&restored);
    }
    const auto elapsed = std::chrono::steady_clock::now() - start;
    *milliseconds = std::chrono::duration<double, std::milli>(elapsed).count() / frames;
    *drawn = scene.drawn;
    sprites.ReleaseAllDatasets();
    return true;
}

bool WritePpm(const char* path, const std::vector<unsigned char>& rgb)
{
    FILE* file = std::fopen(path, "wb");
    if (file == nullptr)
        return false;
    std::fprintf(file, "P6\n%u %u\n255\n", kWidth, kHeight);
    const bool written = std::fwrite(rgb.data(), 1, rgb.size(), file) == rgb.size();
    return std::fclose(file) == 0 && written;
}

bool LoadPalette(Assets& assets, Palette& palette)
{
    unsigned char* block = nullptr;
    unsigned long size = 0;
    if (assets.library.RequestLibrary(kPaletteBlock, &block, &size) == ERR_FAILURE)
        return Fail("reading the palette block", assets.library.errorCode);
    const ERRORSTATUS loaded = palette.PaletteFromBlock(kPaletteBlock, block, size);
    assets.library.ReleaseLibrary(&block);
    return loaded != ERR_FAILURE || Fail("loading the palette", palette.errorCode);
}

long FileSize(const char* path)
{
    FILE* file = std::fopen(path, "rb");
    if (file == nullptr)
        return -1;
    std::fseek(file, 0, SEEK_END);
    const long size = std::ftell(file);
    std::fclose(file);
    return size;
}

// Draws the scene on a display canvas in `window` and writes what the
// screen shows to `output`.
bool ShowScene(Assets& assets, Palette& palette, void* window, const char* output)
{
    Canvas frame(kWidth, kHeight, 1, CANVAS_DIRECTDRAW);
    if (frame.errorCode != 0)
        return Fail("making the display canvas", frame.errorCode);
    frame.SetSystemVariables(ScreenDeviceContext(window));
    frame.SetSystemPalette(&palette, 0);
    // The first lock gives the canvas its pitch, which the sprite manager
    // caches when the canvas is associated with it.
    int restored = 0;
    if (frame.Lock(&restored, 0) == ERR_FAILURE)
        return Fail("locking the display", frame.errorCode);
    frame.Unlock();
    double milliseconds = 0;
    int drawn = 0;
    if (!DrawScene(assets, frame, &milliseconds, &drawn))
        return false;
    std::printf("scene: %d sprites and two lines of text, %.3f ms a frame\n", drawn, milliseconds);

    std::vector<unsigned char> rgb(size_t(kWidth) * kHeight * 3);
    const bool read = ReadScreen(frame, palette, rgb.data(), kWidth, kHeight);
    frame.ReleaseSystemPalette();
    if (!read)
        return Fail("reading the screen back", 0);
    if (!WritePpm(output, rgb)) {
        std::fprintf(stderr, "tvxdemo: cannot write %s\n", output);
        return false;
    }
    std::printf("frame written to %s\n", output);
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    const char* output = argc > 1 ? argv[1] : "tvxdemo.ppm";
    DebugInit();
    Assets assets;
    if (!BuildLibraryFile(assets))
        return 1;
    std::printf("library file %s: %ld bytes\n", kLibraryFile, FileSize(kLibraryFile));

    Palette palette(&assets.memory);
    if (!LoadPalette(assets, palette))
        return 1;
    void* window = OpenScreen(kWidth, kHeight);
    unsigned short status = 0;
    bool shown = false;
    if (window == nullptr)
        Fail("opening a window", 0);
    else if (CanvasInitialize(0, window, kWidth, kHeight, 8, &status) == ERR_FAILURE)
        Fail("opening the display", status);
    else
        shown = ShowScene(assets, palette, window, output);
    CanvasUninitialize();
    if (window != nullptr)
        CloseScreen(window);
    if (!shown)
        return 1;
    if (assets.memory.CheckMemoryIntegrity() == 0) {
        std::fprintf(stderr, "tvxdemo: memory guards damaged, see debug2.err\n");
        return 1;
    }
    return 0;
}
