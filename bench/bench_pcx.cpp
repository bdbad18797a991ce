// PCX decoding of a 640x480 8-bit image onto a canvas, in pixels per second,
// clipped and unclipped, for images made mostly of runs and mostly of
// literals.
#include <tollivex.h>

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {
const int kWidth = 640;
const int kHeight = 480;

// A PCX file whose rows hold runs of random length (0: single pixels only).
std::vector<unsigned char> MakePcx(int meanRun)
{
    std::vector<unsigned char> file(128, 0);
    file[0] = 10;
    file[1] = 5;
    file[2] = 1;
    file[3] = 8;
    file[8] = (kWidth - 1) & 0xFF;
    file[9] = (kWidth - 1) >> 8;
    file[10] = (kHeight - 1) & 0xFF;
    file[11] = (kHeight - 1) >> 8;
    file[65] = 1;
    file[66] = kWidth & 0xFF;
    file[67] = kWidth >> 8;
    std::mt19937 random(1);
    for (int y = 0; y < kHeight; ++y) {
        int x = 0;
        while (x < kWidth) {
            const unsigned char value = static_cast<unsigned char>(random());
            int run = meanRun > 0 ? 1 + int(random() % unsigned(2 * meanRun)) : 1;
            run = std::min(run, std::min(63, kWidth - x));
            if (run > 1 || (value & 0xC0) == 0xC0)
                file.push_back(static_cast<unsigned char>(0xC0 | run));
            file.push_back(value);
            x += run;
        }
    }
    file.push_back(12);
    file.insert(file.end(), 768, 0x55);
    return file;
}

void Decode(benchmark::State& state, int meanRun, int clipped)
{
    std::vector<unsigned char> file = MakePcx(meanRun);
    Canvas canvas(kWidth, kHeight, 0, CANVAS_MEMORY);
    PcxPainter painter(file.data(), file.size(), &canvas);
    for (auto _ : state) {
        painter.PaintCanvas(0, clipped);
        benchmark::ClobberMemory();
    }
    state.counters["Mpixels/s"] = benchmark::Counter(double(kWidth) * kHeight * double(state.iterations()) / 1e6,
                                                     benchmark::Counter::kIsRate);
}

void BM_PcxRunsClipped(benchmark::State& state) { Decode(state, 8, 1); }
void BM_PcxRunsUnclipped(benchmark::State& state) { Decode(state, 8, 0); }
void BM_PcxLiteralsClipped(benchmark::State& state) { Decode(state, 0, 1); }
void BM_PcxLiteralsUnclipped(benchmark::State& state) { Decode(state, 0, 0); }
} // namespace

BENCHMARK(BM_PcxRunsClipped);
BENCHMARK(BM_PcxRunsUnclipped);
BENCHMARK(BM_PcxLiteralsClipped);
BENCHMARK(BM_PcxLiteralsUnclipped);
BENCHMARK_MAIN();
