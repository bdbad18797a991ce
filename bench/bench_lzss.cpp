// LZSS compress and expand against zlib (level 6 and inflate) on the same
// 1 MiB of mixed data: text, sprite-like runs and random bytes, made from a
// fixed seed so every run sees the same bytes.
#include <tollivex.h>

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace {
using Bytes = std::vector<unsigned char>;

const size_t kCorpusSize = 1 << 20;

void AppendText(Bytes* out, size_t size, std::mt19937* rng)
{
    static const char* const words[] = {
        "the",   "knight", "rides", "to",      "castle", "and",   "finds", "a",      "dragon", "guarding",
        "gold",  "in",     "tower", "north",   "of",     "river", "with",  "sword",  "shield", "quest",
        "ogre",  "forest", "old",   "wizard",  "speaks", "magic", "potion", "coins", "door",  "key",
        "dark",  "cave",   "under", "mountain", "town",  "gate",  "guard", "sleeps", "night", "dawn"};
    const size_t end = out->size() + size;
    size_t inSentence = 0;
    while (out->size() < end) {
        std::string word = words[(*rng)() % 40];
        if (inSentence == 0)
            word[0] = static_cast<char>(word[0] - 'a' + 'A');
        out->insert(out->end(), word.begin(), word.end());
        if (++inSentence > 5 + (*rng)() % 10) {
            out->push_back('.');
            out->push_back((*rng)() % 4 == 0 ? '\n' : ' ');
            inSentence = 0;
        } else {
            out->push_back(' ');
        }
    }
    out->resize(end);
}

// Rows of transparent margins around spans of a few shades that drift from
// row to row, like the pixels of a sprite sheet.
void AppendSprites(Bytes* out, size_t size, std::mt19937* rng)
{
    const size_t end = out->size() + size;
    const unsigned width = 32 + (*rng)() % 64;
    unsigned left = width / 4, right = width - width / 4;
    unsigned char ramp = static_cast<unsigned char>(16 * ((*rng)() % 16));
    while (out->size() < end) {
        for (unsigned x = 0; x < width; ++x) {
            if (x < left || x >= right)
                out->push_back(0);
            else
                out->push_back(static_cast<unsigned char>(ramp + (x - left) * 8 / (right - left + 1)));
        }
        if ((*rng)() % 3 == 0 && left > 1)
            left += (*rng)() % 3 - 1;
        if ((*rng)() % 3 == 0 && right < width - 1)
            right += (*rng)() % 3 - 1;
        if (right <= left + 2)
            right = left + 3;
        if ((*rng)() % 40 == 0)
            ramp = static_cast<unsigned char>(16 * ((*rng)() % 16));
    }
    out->resize(end);
}

void AppendRandom(Bytes* out, size_t size, std::mt19937* rng)
{
    for (size_t i = 0; i < size; ++i)
        out->push_back(static_cast<unsigned char>((*rng)()));
}

const Bytes& Corpus()
{
    static const Bytes corpus = [] {
        std::mt19937 rng(1995);
        Bytes out;
        for (unsigned block = 0; out.size() < kCorpusSize; ++block) {
            const size_t size = std::min<size_t>(4096 + rng() % 60000, kCorpusSize - out.size());
            switch (block % 3) {
            case 0: AppendText(&out, size, &rng); break;
            case 1: AppendSprites(&out, size, &rng); break;
            default: AppendRandom(&out, size, &rng); break;
            }
        }
        return out;
    }();
    return corpus;
}

Bytes LzssCompress(MemManager* memory, const Bytes& input)
{
    Bytes out(input.size() + input.size() / 8 + 64);
    LZSS lzss(memory);
    lzss.SetInBuffer(const_cast<unsigned char*>(input.data()), input.size());
    lzss.SetOutBuffer(out.data(), out.size());
    unsigned long length = 0;
    lzss.Compress(&length);
    out.resize(length);
    return out;
}

void BM_LzssCompress(benchmark::State& state)
{
    MemManager memory;
    const Bytes& input = Corpus();
    size_t packed = 0;
    for (auto _ : state) {
        const Bytes out = LzssCompress(&memory, input);
        packed = out.size();
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(input.size()));
    state.counters["ratio"] = double(packed) / double(input.size());
}

void BM_LzssExpand(benchmark::State& state)
{
    MemManager memory;
    const Bytes& input = Corpus();
    Bytes packed = LzssCompress(&memory, input);
    Bytes out(input.size());
    for (auto _ : state) {
        LZSS lzss(&memory);
        lzss.SetInBuffer(packed.data(), packed.size());
        lzss.SetOutBuffer(out.data(), out.size());
        unsigned long length = 0;
        if (lzss.Expand(&length) != ERR_OK || length != input.size()) {
            state.SkipWithError("expansion failed");
            return;
        }
        benchmark::DoNotOptimize(out.data());
    }
    if (out != input)
        state.SkipWithError("expansion differs from the input");
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(input.size()));
}

void BM_ZlibCompress6(benchmark::State& state)
{
    const Bytes& input = Corpus();
    Bytes out(compressBound(input.size()));
    uLongf length = 0;
    for (auto _ : state) {
        length = out.size();
        compress2(out.data(), &length, input.data(), input.size(), 6);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(input.size()));
    state.counters["ratio"] = double(length) / double(input.size());
}

void BM_ZlibUncompress(benchmark::State& state)
{
    const Bytes& input = Corpus();
    Bytes packed(compressBound(input.size()));
    uLongf packedLength = packed.size();
    compress2(packed.data(), &packedLength, input.data(), input.size(), 6);
    Bytes out(input.size());
    for (auto _ : state) {
        uLongf length = out.size();
        uncompress(out.data(), &length, packed.data(), packedLength);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(input.size()));
}

BENCHMARK(BM_LzssCompress)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ZlibCompress6)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LzssExpand)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ZlibUncompress)->Unit(benchmark::kMillisecond);
} // namespace

BENCHMARK_MAIN();
