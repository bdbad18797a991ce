// Sprite display and encoding speed on a realistic set: mostly opaque 64x64
// sprites (a rounded body of colour runs and shading noise), sparse 32x32
// sprites full of skips, and one large 256x256 sprite, drawn onto a 640x480
// canvas. Every display benchmark reports drawn pixels per second and, as
// "vs_memcpy", its rate over that of memcpy copying the same sprites' boxes
// row by row into the same canvas, measured in the same run (both in process
// CPU time, so that other load on the machine counts less).
#include <tollivex.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace {

const int kCanvasWidth = 640, kCanvasHeight = 480;

struct Picture {
    int width, height;
    std::vector<unsigned char> pixels; // 0 is transparent (0xFF in shade sources)
    long opaque = 0;
    int sourceX = 0, sourceY = 0;      // where it lies on the encode canvas
};

// A rounded body, transparent at the corners, filled with segments of one
// colour (flat areas) and of shading noise, each 2..longest pixels long.
Picture Body(std::mt19937& random, int width, int height, int longest)
{
    Picture p{width, height, std::vector<unsigned char>(size_t(width * height), 0)};
    const double cx = (width - 1) / 2.0, cy = (height - 1) / 2.0;
    for (int y = 0; y < height; ++y) {
        const double dy = (y - cy) / (cy + 1.5);
        const double half = (cx + 1.5) * std::sqrt(std::max(0.0, 1 - dy * dy * dy * dy));
        const int from = std::max(0, int(cx - half)), to = std::min(width, int(cx + half) + 1);
        for (int x = from; x < to;) {
            const int length = 2 + int(random() % unsigned(longest - 1));
            const bool run = random() % 2 == 0;
            const unsigned char colour = static_cast<unsigned char>(1 + random() % 255);
            for (int i = 0; i < length && x < to; ++i, ++x)
                p.pixels[size_t(y * width + x)] = run ? colour : static_cast<unsigned char>(1 + random() % 255);
        }
    }
    return p;
}

// Scattered clusters, mostly transparent.
Picture Sparse(std::mt19937& random, int width, int height)
{
    Picture p{width, height, std::vector<unsigned char>(size_t(width * height), 0)};
    for (int i = 0; i < width * height / 12; ++i) {
        const int x = int(random() % unsigned(width)), y = int(random() % unsigned(height));
        for (int k = 0; k < 1 + int(random() % 3) && x + k < width; ++k)
            p.pixels[size_t(y * width + x + k)] = static_cast<unsigned char>(1 + random() % 255);
    }
    return p;
}

// Shade sources: 0..31 shade, 32 and above transparent.
Picture ShadeOf(const Picture& p)
{
    Picture s = p;
    for (auto& v : s.pixels)
        v = v == 0 ? 0xFF : static_cast<unsigned char>(v % 32);
    return s;
}

struct Scene {
    MemManager memory;
    DiskData disk{&memory};
    Library library{&memory, &disk};
    SpriteManager sprites{&memory, &library};
    Canvas canvas{kCanvasWidth, kCanvasHeight, 1, CANVAS_MEMORY};
    Canvas source{1152, 488, 1, CANVAS_MEMORY};
    Canvas texture{64, 64, 1, CANVAS_MEMORY};
    unsigned char table[256] = {1};
    unsigned char set = 0;
    std::vector<Picture> pictures; // slot i holds pictures[i]

    // Slots: 0..15 opaque 64x64 with busy detail (segments of 2..10 pixels),
    // 16..31 sparse 32x32, 32 the large one, 33..48 shade sprites of the
    // shapes 0..15, 49..64 opaque 64x64 with broad areas (2..32 pixels).
    Scene()
    {
        std::mt19937 random(4242);
        for (int i = 0; i < 16; ++i)
            pictures.push_back(Body(random, 64, 64, 10));
        for (int i = 0; i < 16; ++i)
            pictures.push_back(Sparse(random, 32, 32));
        pictures.push_back(Body(random, 256, 256, 10));
        for (int i = 0; i < 16; ++i)
            pictures.push_back(ShadeOf(pictures[size_t(i)]));
        for (int i = 0; i < 16; ++i)
            pictures.push_back(Body(random, 64, 64, 32));
        sprites.CreateNewSpriteset(const_cast<char*>("BENCH"), static_cast<unsigned short>(pictures.size()), &set);
        sprites.AssociateEncodeCanvas(&source);
        sprites.AssociateCanvas(&canvas);
        Lay();
        for (size_t i = 0; i < pictures.size(); ++i)
            Encode(static_cast<unsigned short>(i));
        for (unsigned y = 0; y < 64; ++y)
            for (unsigned x = 0; x < 64; ++x)
                texture.QueryRowAddress(y)[x] = static_cast<unsigned char>(random());
        for (unsigned y = 0; y < kCanvasHeight; ++y)
            std::memset(canvas.QueryRowAddress(y), int(y & 0xFF), kCanvasWidth);
    }

    bool IsShade(size_t i) const { return i >= 33 && i < 49; }

    // Every picture gets its own place on the encode canvas, with a margin of
    // transparency for the shade encoder's look past the right edge.
    void Lay()
    {
        source.Clear(0);
        int x = 0, y = 0, rowHeight = 0;
        for (size_t i = 0; i < pictures.size(); ++i) {
            Picture& p = pictures[i];
            if (i == 33 || i == 49) { // the shade sources get rows of their own
                x = 0;
                y += rowHeight;
                rowHeight = 0;
                for (unsigned r = unsigned(y); r < source.QueryHeight() && i == 33; ++r)
                    std::memset(source.QueryRowAddress(r), 0xFF, source.QueryWidth());
                for (unsigned r = unsigned(y); r < source.QueryHeight() && i == 49; ++r)
                    std::memset(source.QueryRowAddress(r), 0, source.QueryWidth());
            }
            if (x + p.width + 4 > source.QueryWidth()) {
                x = 0;
                y += rowHeight;
                rowHeight = 0;
            }
            p.sourceX = x;
            p.sourceY = y;
            for (int r = 0; r < p.height; ++r) {
                std::memcpy(source.QueryRowAddress(unsigned(y + r)) + x, &p.pixels[size_t(r * p.width)], size_t(p.width));
                for (int c = 0; c < p.width; ++c)
                    p.opaque += IsShade(i) ? p.pixels[size_t(r * p.width + c)] < 32 : p.pixels[size_t(r * p.width + c)] != 0;
            }
            x += p.width + 4;
            rowHeight = std::max(rowHeight, p.height);
        }
    }

    ERRORSTATUS Encode(unsigned short slot)
    {
        const Picture& p = pictures[slot];
        const unsigned short x = static_cast<unsigned short>(p.sourceX), y = static_cast<unsigned short>(p.sourceY);
        const unsigned short w = static_cast<unsigned short>(p.width), h = static_cast<unsigned short>(p.height);
        return IsShade(slot) ? sprites.EncodeTransSprite(set, slot, x, y, w, h, short(x), short(y), table)
                             : sprites.EncodeSprite(set, slot, x, y, w, h, 0, 0, table);
    }
};

Scene& TheScene()
{
    static Scene scene;
    return scene;
}

// Bytes per second of memcpy copying the sprites' boxes row by row into the
// canvas at the same positions (every byte of the visible box counts).
double MemcpyRate(Scene& scene, size_t first, size_t count, const std::vector<std::pair<int, int>>& positions)
{
    long copied = 0;
    const std::clock_t start = std::clock();
    std::clock_t now = start;
    do {
        for (int repeat = 0; repeat < 64; ++repeat) {
            for (size_t k = 0; k < positions.size(); ++k) {
                const Picture& p = scene.pictures[first + k % count];
                const auto [x, y] = positions[k];
                for (int r = 0; r < p.height; ++r) {
                    const int cy = y + r;
                    if (cy < 0 || cy >= kCanvasHeight)
                        continue;
                    const int from = std::max(0, x), to = std::min(kCanvasWidth, x + p.width);
                    if (from < to) {
                        std::memcpy(scene.canvas.QueryRowAddress(unsigned(cy)) + from,
                                    &p.pixels[size_t(r * p.width + (from - x))], size_t(to - from));
                        copied += to - from;
                    }
                }
            }
            benchmark::ClobberMemory();
        }
        now = std::clock();
    } while (now - start < CLOCKS_PER_SEC / 4);
    return double(copied) / (double(now - start) / CLOCKS_PER_SEC);
}

std::vector<std::pair<int, int>> Positions(int count, int width, int height, bool straddling, unsigned seed)
{
    std::mt19937 random(seed);
    std::vector<std::pair<int, int>> out;
    for (int i = 0; i < count; ++i) {
        if (!straddling) {
            out.push_back({int(random() % unsigned(kCanvasWidth - width - 1)),
                           int(random() % unsigned(kCanvasHeight - height - 1))});
            continue;
        }
        // Half off one of the four edges.
        const int edge = int(random() % 4);
        const int along = int(random() % 400);
        switch (edge) {
        case 0: out.push_back({-width / 2, along % (kCanvasHeight - height)}); break;
        case 1: out.push_back({kCanvasWidth - width / 2, along % (kCanvasHeight - height)}); break;
        case 2: out.push_back({along, -height / 2}); break;
        default: out.push_back({along, kCanvasHeight - height / 2}); break;
        }
    }
    return out;
}

enum class Draw { Normal, Clipped, Shade, Texture };

void RunDisplay(benchmark::State& state, Draw draw, size_t first, size_t count, bool straddling)
{
    Scene& scene = TheScene();
    const Picture& shape = scene.pictures[first];
    const auto positions = Positions(64, shape.width, shape.height, straddling, 99);
    long pixels = 0;
    for (size_t k = 0; k < positions.size(); ++k) {
        const Picture& p = scene.pictures[first + k % count];
        if (!straddling) {
            pixels += p.opaque;
            continue;
        }
        const auto [x, y] = positions[k];
        for (int r = 0; r < p.height; ++r)
            for (int c = 0; c < p.width; ++c)
                pixels += p.pixels[size_t(r * p.width + c)] != (scene.IsShade(first) ? 0xFF : 0) && x + c >= 0 &&
                          x + c < kCanvasWidth && y + r >= 0 && y + r < kCanvasHeight;
    }
    const std::clock_t start = std::clock();
    for (auto _ : state) {
        for (size_t k = 0; k < positions.size(); ++k) {
            const unsigned short slot = static_cast<unsigned short>(first + k % count);
            const short x = short(positions[k].first), y = short(positions[k].second);
            switch (draw) {
            case Draw::Normal: scene.sprites.DisplaySprite(x, y, scene.set, slot, 0); break;
            case Draw::Clipped: scene.sprites.DisplayClippedSprite(x, y, scene.set, slot, 0); break;
            case Draw::Shade: scene.sprites.DisplayTransSprite(x, y, scene.set, slot); break;
            case Draw::Texture:
                scene.sprites.DisplaySpriteTexture(x, y, scene.set, slot, 0, 0, 0, 0, 64, 64, &scene.texture, 0);
                break;
            }
        }
        benchmark::ClobberMemory();
    }
    const double seconds = double(std::clock() - start) / CLOCKS_PER_SEC;
    const double drawn = double(pixels) * double(state.iterations());
    state.counters["pixels"] = benchmark::Counter(drawn, benchmark::Counter::kIsRate);
    // The normal sprites of the same shape give the boxes memcpy copies.
    const size_t baseFirst = scene.IsShade(first) ? first - 33 : first;
    const double memcpyRate = MemcpyRate(scene, baseFirst, count, positions);
    state.counters["memcpy_bytes"] = memcpyRate;
    state.counters["vs_memcpy"] = (drawn / seconds) / memcpyRate;
}

void BM_NormalOpaque64(benchmark::State& state) { RunDisplay(state, Draw::Normal, 0, 16, false); }
void BM_NormalOpaque64Broad(benchmark::State& state) { RunDisplay(state, Draw::Normal, 49, 16, false); }
void BM_ClippedOpaque64AtEdges(benchmark::State& state) { RunDisplay(state, Draw::Clipped, 0, 16, true); }
void BM_NormalSparse32(benchmark::State& state) { RunDisplay(state, Draw::Normal, 16, 16, false); }
void BM_NormalLarge256(benchmark::State& state) { RunDisplay(state, Draw::Normal, 32, 1, false); }
void BM_ShadeOpaque64(benchmark::State& state) { RunDisplay(state, Draw::Shade, 33, 16, false); }
void BM_TextureOpaque64(benchmark::State& state) { RunDisplay(state, Draw::Texture, 0, 16, false); }

void BM_Encode(benchmark::State& state)
{
    Scene& scene = TheScene();
    const unsigned short first = static_cast<unsigned short>(state.range(0));
    const unsigned short count = static_cast<unsigned short>(state.range(1));
    long pixels = 0;
    for (unsigned short i = 0; i < count; ++i)
        pixels += long(scene.pictures[first + i].width) * scene.pictures[first + i].height;
    for (auto _ : state) {
        for (unsigned short i = 0; i < count; ++i) {
            if (scene.Encode(static_cast<unsigned short>(first + i)) == ERR_FAILURE)
                state.SkipWithError("encoding failed");
        }
    }
    state.counters["pixels"] = benchmark::Counter(double(pixels) * double(state.iterations()),
                                                  benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK(BM_NormalOpaque64);
BENCHMARK(BM_NormalOpaque64Broad);
BENCHMARK(BM_ClippedOpaque64AtEdges);
BENCHMARK(BM_NormalSparse32);
BENCHMARK(BM_NormalLarge256);
BENCHMARK(BM_ShadeOpaque64);
BENCHMARK(BM_TextureOpaque64);
BENCHMARK(BM_Encode)->Args({0, 16})->Args({49, 16})->Args({32, 1})->Args({33, 16});

BENCHMARK_MAIN();
