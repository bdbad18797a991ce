// Sprite display side by side with SDL2's RLE blit and Allegro 4's RLE
// sprites: the same pictures, the same positions, the same 640 x 480 8-bit
// destination. Before timing, every library draws the whole case once onto a
// cleared canvas and the three canvases must be equal. Each case reports
// Tollivex's pixel rate and its ratio to each peer ("vs_sdl2", "vs_allegro4";
// above 1 is faster), all timed in one run, interleaved, in process CPU time.
#include "peers/peers.h"

#include <tollivex.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <ctime>
#include <functional>
#include <random>

namespace {

const int kWidth = 640, kHeight = 480;

// Mostly opaque rectangles made of colour runs of 2..longest pixels, with a
// transparent notch at each corner (about 2 % of the box).
PeerPicture Runs(std::mt19937& random, int width, int height, int longest)
{
    PeerPicture p{width, height, std::vector<unsigned char>(size_t(width) * height, 0)};
    const int notch = width / 10;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width;) {
            const int length = 2 + int(random() % unsigned(longest - 1));
            const auto colour = static_cast<unsigned char>(1 + random() % 255);
            for (int i = 0; i < length && x < width; ++i, ++x) {
                const bool corner = (y < notch || y >= height - notch) && (x < notch || x >= width - notch);
                p.pixels[size_t(y) * width + x] = corner ? 0 : colour;
            }
        }
    }
    return p;
}

PeerPicture Sparse(std::mt19937& random, int width, int height)
{
    PeerPicture p{width, height, std::vector<unsigned char>(size_t(width) * height, 0)};
    for (int i = 0; i < width * height / 12; ++i) {
        const int x = int(random() % unsigned(width)), y = int(random() % unsigned(height));
        for (int k = 0; k < 1 + int(random() % 3) && x + k < width; ++k)
            p.pixels[size_t(y) * width + x + k] = static_cast<unsigned char>(1 + random() % 255);
    }
    return p;
}

struct Case {
    int first, count;
    bool straddling;
};

// Pictures 0..7 broad 64x64, 8..15 busy 64x64, 16..23 sparse 32x32, 24 broad 256x256.
struct Scene {
    std::vector<PeerPicture> pictures;
    MemManager memory;
    DiskData disk{&memory};
    Library library{&memory, &disk};
    SpriteManager sprites{&memory, &library};
    Canvas canvas{kWidth, kHeight, 1, CANVAS_MEMORY};
    unsigned char set = 0;
    std::unique_ptr<PeerBlitter> sdl2, allegro4;

    Scene()
    {
        std::mt19937 random(77);
        for (int i = 0; i < 8; ++i)
            pictures.push_back(Runs(random, 64, 64, 32));
        for (int i = 0; i < 8; ++i)
            pictures.push_back(Runs(random, 64, 64, 10));
        for (int i = 0; i < 8; ++i)
            pictures.push_back(Sparse(random, 32, 32));
        pictures.push_back(Runs(random, 256, 256, 32));
        Encode();
        sdl2 = MakeSdl2Blitter(pictures, kWidth, kHeight);
        allegro4 = MakeAllegro4Blitter(pictures, kWidth, kHeight);
    }

    void Encode()
    {
        unsigned char transparent[256] = {1};
        sprites.CreateNewSpriteset(const_cast<char*>("PEERS"), static_cast<unsigned short>(pictures.size()), &set);
        sprites.SetEncodeBufferSize(256 * 256 * 4);
        for (size_t i = 0; i < pictures.size(); ++i) {
            const PeerPicture& p = pictures[i];
            Canvas source(static_cast<unsigned short>(p.width), static_cast<unsigned short>(p.height), 1, CANVAS_MEMORY);
            for (int y = 0; y < p.height; ++y)
                std::memcpy(source.QueryRowAddress(y), &p.pixels[size_t(y) * p.width], size_t(p.width));
            sprites.AssociateEncodeCanvas(&source);
            sprites.EncodeSprite(set, static_cast<unsigned short>(i), 0, 0, static_cast<unsigned short>(p.width),
                                 static_cast<unsigned short>(p.height), 0, 0, transparent);
            sprites.DissociateEncodeCanvas();
        }
        sprites.AssociateCanvas(&canvas);
    }
};

Scene& TheScene()
{
    static Scene scene;
    return scene;
}

std::vector<std::pair<int, int>> Positions(const PeerPicture& shape, bool straddling)
{
    std::mt19937 random(99);
    std::vector<std::pair<int, int>> out;
    for (int i = 0; i < 64; ++i) {
        if (!straddling) {
            out.push_back({int(random() % unsigned(kWidth - shape.width)), int(random() % unsigned(kHeight - shape.height))});
            continue;
        }
        const int along = int(random() % 400);
        switch (random() % 4) {
        case 0: out.push_back({-shape.width / 2, along % (kHeight - shape.height)}); break;
        case 1: out.push_back({kWidth - shape.width / 2, along % (kHeight - shape.height)}); break;
        case 2: out.push_back({along, -shape.height / 2}); break;
        default: out.push_back({along, kHeight - shape.height / 2}); break;
        }
    }
    return out;
}

// Process CPU seconds of `passes` runs of `draw`.
double Time(int passes, const std::function<void()>& draw)
{
    const std::clock_t start = std::clock();
    for (int i = 0; i < passes; ++i) {
        draw();
        benchmark::ClobberMemory();
    }
    return double(std::clock() - start) / CLOCKS_PER_SEC;
}

bool SameCanvas(const Scene& scene, const PeerBlitter& peer)
{
    for (int y = 0; y < kHeight; ++y) {
        if (std::memcmp(const_cast<Canvas&>(scene.canvas).QueryRowAddress(y), peer.Row(y), kWidth) != 0)
            return false;
    }
    return true;
}

void RunCase(benchmark::State& state, Case c)
{
    Scene& scene = TheScene();
    const auto positions = Positions(scene.pictures[size_t(c.first)], c.straddling);
    auto ours = [&] {
        for (size_t k = 0; k < positions.size(); ++k)
            scene.sprites.DisplaySprite(short(positions[k].first), short(positions[k].second), scene.set,
                                        static_cast<unsigned short>(c.first + int(k) % c.count), 0);
    };
    auto theirs = [&](PeerBlitter& peer) {
        return [&] {
            for (size_t k = 0; k < positions.size(); ++k)
                peer.Draw(c.first + int(k) % c.count, positions[k].first, positions[k].second);
        };
    };
    scene.canvas.Clear(0);
    scene.sdl2->Fill(0);
    scene.allegro4->Fill(0);
    ours();
    theirs(*scene.sdl2)();
    theirs(*scene.allegro4)();
    if (!SameCanvas(scene, *scene.sdl2) || !SameCanvas(scene, *scene.allegro4)) {
        state.SkipWithError("the libraries drew different pixels");
        return;
    }
    long pixels = 0; // opaque pixels of every draw that land on the canvas
    for (size_t k = 0; k < positions.size(); ++k) {
        const PeerPicture& p = scene.pictures[size_t(c.first + int(k) % c.count)];
        for (int y = 0; y < p.height; ++y)
            for (int x = 0; x < p.width; ++x)
                pixels += p.pixels[size_t(y) * p.width + x] != 0 && unsigned(positions[k].first + x) < unsigned(kWidth) &&
                          unsigned(positions[k].second + y) < unsigned(kHeight);
    }

    double oursSeconds = 0, sdl2Seconds = 0, allegroSeconds = 0;
    for (auto _ : state) {
        oursSeconds += Time(20, ours);
        sdl2Seconds += Time(20, theirs(*scene.sdl2));
        allegroSeconds += Time(20, theirs(*scene.allegro4));
    }
    const double drawn = double(pixels) * 20 * double(state.iterations());
    state.counters["tollivex_px_per_s"] = drawn / oursSeconds;
    state.counters["vs_sdl2"] = sdl2Seconds / oursSeconds;
    state.counters["vs_allegro4"] = allegroSeconds / oursSeconds;
}

} // namespace

BENCHMARK_CAPTURE(RunCase, broad64, Case{0, 8, false});
BENCHMARK_CAPTURE(RunCase, busy64, Case{8, 8, false});
BENCHMARK_CAPTURE(RunCase, sparse32, Case{16, 8, false});
BENCHMARK_CAPTURE(RunCase, broad256, Case{24, 1, false});
BENCHMARK_CAPTURE(RunCase, broad64_clipped, Case{0, 8, true});

BENCHMARK_MAIN();
