// The software mixing loop (QueueNewNotes, FillPreMix, MixInPreMix) over the
// headless sound device: 22 050 Hz mono 8-bit, blocks of a quarter of a
// 8 820-byte primary buffer (0.1 s each), every track sounding a looping
// sampled note. Reported as the share of one core that real time needs
// (core%), beside the output bytes mixed per second. Run it from a scratch
// directory: the mixer writes its debug log to the current one.
#include <tollivex.h>
#include <tollivex/headless.h>

#include <benchmark/benchmark.h>

#include <ctime>
#include <random>
#include <vector>

namespace {
const unsigned long kRate = 22050;
const unsigned long kPrimaryBytes = 8820;

void MixLoop(benchmark::State& state)
{
    const auto trackCount = static_cast<unsigned char>(state.range(0));
    std::vector<unsigned char> samples(kRate);
    std::mt19937 random(5);
    for (auto& sample : samples)
        sample = static_cast<unsigned char>(random());

    DebugInit();
    HeadlessReset();
    HeadlessSetSoundBufferBytes(kPrimaryBytes);
    MemManager memory;
    Digimix mix(&memory);
    mix.InitSoundCard(HeadlessWindow(), kRate, 1, 8);
    mix.InitTracks(trackCount);
    for (unsigned track = 1; track <= trackCount; ++track)
        mix.PlaySound(samples.data(), track * 97, kRate - 1, DMNOTE_SAMPLED | DMNOTE_LOOP, track, 0, 0);

    uint32_t segment = 0;
    const std::clock_t started = std::clock();
    for (auto _ : state) {
        mix.mixOffset = segment * mix.segmentBytes;
        mix.mixLength = mix.segmentBytes;
        segment = (segment + 1) % mix.segmentCount;
        mix.QueueNewNotes();
        mix.FillPreMix();
        mix.MixInPreMix();
    }

    const double cpuSeconds = double(std::clock() - started) / CLOCKS_PER_SEC;
    const double blockSeconds = double(mix.segmentBytes) / kRate;
    const double blocks = double(state.iterations());
    // Processor time per second of sound: the share of one core that real time needs.
    state.counters["core%"] = 100 * cpuSeconds / (blocks * blockSeconds);
    state.counters["bytes/s"] = benchmark::Counter(blocks * mix.segmentBytes, benchmark::Counter::kIsRate);

    mix.UninitTracks();
    mix.UninitSoundCard();
    void* preMix = mix.preMix;
    memory.Free(&preMix);
    mix.preMix = nullptr;
}

} // namespace

BENCHMARK(MixLoop)->Arg(8)->Arg(32)->Arg(128)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
