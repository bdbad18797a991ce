// Canvas fills and copies on a 640x480 canvas, each beside one plain
// memset/memcpy of the same bytes (and, where rows must be handled one by
// one, beside a memset/memcpy per row), so the overhead of the row table and
// the clipping shows as a ratio.
#include <tollivex.h>

#include <benchmark/benchmark.h>

#include <cstring>

namespace {
const unsigned short kWidth = 640;
const unsigned short kHeight = 480;
const int64_t kBytes = int64_t(kWidth) * kHeight;

void BM_Clear(benchmark::State& state)
{
    Canvas canvas(kWidth, kHeight, 0, CANVAS_MEMORY);
    unsigned char color = 0;
    for (auto _ : state) {
        canvas.Clear(++color);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kBytes);
}

void BM_ClearBaselineMemset(benchmark::State& state)
{
    Canvas canvas(kWidth, kHeight, 0, CANVAS_MEMORY);
    unsigned char* start = canvas.QueryRowAddress(kHeight - 1); // lowest address of a bottom-up canvas
    unsigned char color = 0;
    for (auto _ : state) {
        std::memset(start, ++color, size_t(kBytes));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kBytes);
}

void BM_FilledRectClipped(benchmark::State& state)
{
    Canvas canvas(kWidth, kHeight, 0, CANVAS_MEMORY);
    unsigned char color = 0;
    for (auto _ : state) {
        canvas.SetDrawColor(++color);
        canvas.FilledRectClipped(-10, -10, kWidth + 10, kHeight + 10);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kBytes);
}

void BM_FilledRectBaselineMemsetRows(benchmark::State& state)
{
    Canvas canvas(kWidth, kHeight, 0, CANVAS_MEMORY);
    unsigned char* rows[kHeight];
    for (unsigned long y = 0; y < kHeight; ++y)
        rows[y] = canvas.QueryRowAddress(y);
    unsigned char color = 0;
    for (auto _ : state) {
        ++color;
        for (unsigned char* row : rows)
            std::memset(row, color, kWidth);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kBytes);
}

void BM_CopyDirtyRec(benchmark::State& state)
{
    Canvas source(kWidth, kHeight, 1, CANVAS_MEMORY);
    Canvas destination(kWidth, kHeight, 0, CANVAS_MEMORY);
    source.Clear(7);
    for (auto _ : state) {
        source.CopyDirtyRec(0, 0, 0, 0, short(kWidth), short(kHeight), &destination, 3);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kBytes);
}

// Both canvases the same way up: their rows lie back to back alike.
void BM_CopyDirtyRecSameOrientation(benchmark::State& state)
{
    Canvas source(kWidth, kHeight, 1, CANVAS_MEMORY);
    Canvas destination(kWidth, kHeight, 1, CANVAS_MEMORY);
    source.Clear(7);
    for (auto _ : state) {
        source.CopyDirtyRec(0, 0, 0, 0, short(kWidth), short(kHeight), &destination, 3);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kBytes);
}

void BM_CopyBaselineOneMemcpy(benchmark::State& state)
{
    Canvas source(kWidth, kHeight, 1, CANVAS_MEMORY);
    Canvas destination(kWidth, kHeight, 1, CANVAS_MEMORY);
    source.Clear(7);
    for (auto _ : state) {
        std::memcpy(destination.QueryRowAddress(0), source.QueryRowAddress(0), size_t(kBytes));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kBytes);
}

void BM_CopyBaselineMemcpyRows(benchmark::State& state)
{
    Canvas source(kWidth, kHeight, 1, CANVAS_MEMORY);
    Canvas destination(kWidth, kHeight, 0, CANVAS_MEMORY);
    source.Clear(7);
    const unsigned char* from[kHeight];
    unsigned char* to[kHeight];
    for (unsigned long y = 0; y < kHeight; ++y) {
        from[y] = source.QueryRowAddress(y);
        to[y] = destination.QueryRowAddress(y);
    }
    for (auto _ : state) {
        for (unsigned y = 0; y < kHeight; ++y)
            std::memcpy(to[y], from[y], kWidth);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * kBytes);
}
} // namespace

BENCHMARK(BM_Clear);
BENCHMARK(BM_ClearBaselineMemset);
BENCHMARK(BM_FilledRectClipped);
BENCHMARK(BM_FilledRectBaselineMemsetRows);
BENCHMARK(BM_CopyDirtyRec);
BENCHMARK(BM_CopyBaselineMemcpyRows);
BENCHMARK(BM_CopyDirtyRecSameOrientation);
BENCHMARK(BM_CopyBaselineOneMemcpy);
BENCHMARK_MAIN();
