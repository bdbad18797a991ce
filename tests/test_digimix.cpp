// Mixer tests. Those named ...Headless steer the headless sound device and
// run natively only; the rest run under Wine against real DirectSound too.
#include "test_digimix_helpers.h"

#include <gtest/gtest.h>

#include <random>
#include <thread>

using namespace tvxtest;

TEST(Digimix, QueueNewNotesLeavesTheQueueWhileAnotherThreadHoldsTheLock)
{
    OpenMixer open;
    Digimix& mix = open.mix;
    mix.InitTracks(1);
    uint8_t samples[8] = {};
    mix.PlaySound(samples, 0, 7, DMNOTE_SAMPLED, 1, 0, 0);
    EventSem held, letGo;
    std::thread holder([&] {
        mix.noteLock.Request();
        held.Post();
        letGo.WaitOn();
        mix.noteLock.Release();
    });
    held.WaitOn();
    EXPECT_EQ(mix.QueueNewNotes(), 0);
    EXPECT_NE(mix.noteQueue, nullptr);
    letGo.Post();
    holder.join();
    EXPECT_EQ(mix.QueueNewNotes(), 1);
    EXPECT_EQ(mix.noteQueue, nullptr);
    EXPECT_EQ(+mix.tracks->notes->flags, DMNOTE_SAMPLED | DMNOTE_SOUNDING);
}

TEST(Digimix, DefaultCallbackLoopsARegionOfMemoryOrOfAFile)
{
    OpenMixer open; // the callback stays silent until a sound card was opened
    std::vector<uint8_t> bytes(400);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<uint8_t>(i * 13);
    WriteBytes("STREAM.RAW", bytes);
    for (const void* source : {static_cast<const void*>(bytes.data()), static_cast<const void*>("STREAM.RAW")}) {
        const uint16_t flags = source == bytes.data() ? DMSTREAM_MEMORY : DMSTREAM_FILE;
        _DMStreamingInfo info{source, 50, 0, 300, flags};
        std::vector<uint8_t> out(400), expected;
        DefaultStreamingCallback(out.data(), 200, 8, &info);
        DefaultStreamingCallback(out.data() + 200, 200, 8, &info);
        for (int i = 0; i < 400; ++i)
            expected.push_back(bytes[50 + i % 300]);
        EXPECT_EQ(out, expected) << flags;
        EXPECT_EQ(+info.position, 100u);
    }
    _DMStreamingInfo silent{bytes.data(), 0, 0, 0, DMSTREAM_MEMORY};
    std::vector<uint8_t> out(7, 1);
    DefaultStreamingCallback(out.data(), 6, 8, &silent);
    DefaultStreamingCallback(out.data(), 5, 16, &silent);
    EXPECT_EQ(out, (std::vector<uint8_t>{0, 0, 0, 0, 128, 128, 1}));
}

#ifdef TOLLIVEX_HEADLESS

void* tvxtest::SoundWindow()
{
    return HeadlessWindow();
}

TEST(Digimix, OpeningDividesThePrimaryBufferAndLogsDeviceFailuresHeadless)
{
    struct Case {
        const char* call;
        uint32_t result;
        unsigned long bytes;
        ERRORSTATUS status;
        const char* line;
        uint16_t segments;
        uint32_t segmentBytes;
    };
    const Case cases[] = {
        {"", 0, 4000, ERR_OK, "Sound Buffer divided into fourths", 4, 1000},
        {"", 0, 4002, ERR_OK, "Sound Buffer divided in half", 2, 2001},
        {"DirectSoundCreate", 0x80004005, 64, ERR_FAILURE, nullptr, 0, 0},
        {"IDirectSound::SetCooperativeLevel", 0x80004005, 64, ERR_FAILURE, nullptr, 0, 0},
        {"IDirectSound::CreateSoundBuffer", 0x88780064, 64, ERR_FAILURE, "Error with CreateSoundBuffer: Error Code 100",
         0, 0},
        {"IDirectSoundBuffer::SetFormat", 0x88780064, 64, ERR_OK, "Error with SetFormat: Error Code 100", 0, 0},
        {"IDirectSoundBuffer::GetCaps", 0x80070057, 64, ERR_OK, "Error with GetCaps: Error Code 87", 0, 0},
    };
    for (const Case& c : cases) {
        FreshDevice(c.bytes);
        HeadlessFail(c.call, static_cast<long>(c.result), 0);
        OpenMixer open(22050);
        const Digimix& mix = open.mix;
        const std::vector<unsigned long> seen = {open.opened, uint32_t(mix.initialised), mix.segmentCount,
                                                 mix.segmentBytes};
        EXPECT_EQ(seen, (std::vector<unsigned long>{c.status, c.status == ERR_OK, c.segments, c.segmentBytes}))
            << c.call;
        EXPECT_TRUE(c.line == nullptr || LoggedMessage(c.line)) << c.call;
        EXPECT_FALSE(LoggedMessage("DSERR_BADFORMAT")) << "names are looked up by the low 16 bits";
    }
    FreshDevice(64);
    OpenMixer open(22050);
    EXPECT_EQ(TraceSince(0), "DirectSoundCreate\nIDirectSound::SetCooperativeLevel 3\n"
                             "IDirectSound::CreateSoundBuffer 1 0\nIDirectSoundBuffer::SetFormat 1 1 22050 22050 1 8\n"
                             "IDirectSoundBuffer::GetCaps\n");
    EXPECT_EQ(LogEntries().front(), "Debug Message: Begin SetFormat");
    EXPECT_EQ(LogEntries().back(), "Debug Message: End SetFormat");
    const size_t mark = TraceSince(0).size();
    EXPECT_EQ(open.mix.SetFormat(22050, 3, 8, 0), ERR_FAILURE);
    EXPECT_EQ(TraceSince(mark), "") << "refused before DirectSound hears of it";
}

TEST(Digimix, TrackCountsAndLevelsHeadless)
{
    HeadlessMixer open(64);
    Digimix closed(&open.memory);
    EXPECT_EQ(closed.InitTracks(8), ERR_OK);
    EXPECT_EQ(closed.tracks, nullptr);
    const unsigned cases[][6] = {{0, 1, 128, 255, 1, 0},         {1, 1, 128, 255, 1, 0},
                                 {3, 2, 256, 383, 129, 128},     {8, 8, 1024, 1151, 897, 896},
                                 {200, 128, 16384, 16511, 16257, 16256}};
    for (const auto& c : cases) {
        Digimix& mix = open.mix;
        mix.InitTracks(static_cast<unsigned char>(c[0]));
        EXPECT_EQ((std::vector<unsigned>{mix.silenceLevel, mix.clipHigh, mix.clipLow, mix.outputBias}),
                  (std::vector<unsigned>{c[2], c[3], c[4], c[5]}));
        unsigned number = c[1];
        for (const _DMTrack* track = mix.tracks; track != nullptr; track = track->next, --number)
            EXPECT_TRUE(track->number == number && track->mask == 0xF0) << c[0];
        EXPECT_EQ(number, 0u) << c[0];
        EXPECT_EQ(std::vector<uint16_t>(mix.preMix, mix.preMix + 16), std::vector<uint16_t>(16, c[2]));
    }
}

namespace {

int Clip(int value, int trackCount)
{
    const int silence = trackCount * 128;
    return value > silence + 127 ? 255 : value >= silence - 127 ? value - (silence - 128) : 0;
}

// The model: what one track adds, sample by sample. A note's first pass is
// two short of its span, a loop's later passes are whole, a rest adds 128
// like an idle track.
struct ModelNote {
    uint16_t track;
    uint32_t start, end;
    uint16_t flags;
    int placedOn; // 0: dropped
};

std::vector<int> TrackStream(const std::vector<ModelNote>& notes, int track, const std::vector<uint8_t>& data,
                             size_t length)
{
    std::vector<int> out;
    for (const ModelNote& note : notes) {
        auto pass = [&](uint32_t count) {
            for (uint32_t i = 0; i < count && out.size() < length; ++i)
                out.push_back(note.flags & DMNOTE_REST ? 128 : data[note.start + i]);
        };
        if (note.placedOn == track)
            pass(note.end - note.start - 1);
        while (note.placedOn == track && (note.flags & DMNOTE_LOOP) && out.size() < length)
            pass(note.end - note.start + 1);
    }
    out.resize(length, 128);
    return out;
}

} // namespace

// Notes placed by number and by class, mixed over several blocks, checked
// entry by entry in the pre-mix and byte by byte in what the device played.
TEST(Digimix, MixedOutputMatchesTheModelInMonoAndStereoHeadless)
{
    std::vector<uint8_t> data(1024);
    std::mt19937 random(3);
    std::generate(data.begin(), data.end(), [&] { return static_cast<uint8_t>(random()); });
    for (unsigned long channels : {1ul, 2ul}) {
        HeadlessMixer open(1024, 8000, channels);
        Digimix& mix = open.mix;
        mix.InitTracks(4);
        const uint16_t S = DMNOTE_SAMPLED;
        std::vector<ModelNote> notes = {
            {1, 0, 99, S, 1},           {1, 200, 260, S, 1}, {2, 10, 29, S | DMNOTE_LOOP, 2},
            {2, 0, 50, S, 0},           {9, 0, 50, S, 0},    {0, 300, 340, S | 0x10, 4},
            {0, 400, 420, S | 0x20, 3}, {0, 0, 50, S, 0},    {0, 500, 530, S | 0x40, 4},
        };
        if (channels == 2)
            notes.insert(notes.begin() + 8, ModelNote{0, 0, 60, DMNOTE_REST | 0x80, 4});
        std::vector<_DMNote*> lost; // dropped notes and the rest are on no list
        for (const ModelNote& note : notes) {
            if (note.placedOn == 0 || (note.flags & DMNOTE_REST))
                lost.push_back(mix.freeNotes);
            mix.PlaySound(data.data(), note.start, note.end, note.flags, note.track, 1, 2);
            mix.QueueNewNotes();
        }
        const size_t block = 96, perBlock = block / channels, blocks = 14;
        std::vector<std::vector<int>> streams;
        for (int track = 1; track <= 4; ++track)
            streams.push_back(TrackStream(notes, track, data, perBlock * blocks));
        std::vector<uint8_t> expectedOutput;
        for (size_t b = 0; b < blocks; ++b) {
            mix.mixOffset = static_cast<uint32_t>(b * block % 1024);
            mix.mixLength = block;
            mix.FillPreMix();
            std::vector<int> expected(block);
            for (size_t e = 0; e < block; ++e) {
                for (const auto& stream : streams)
                    expected[e] += stream[b * perBlock + e / channels];
                expectedOutput.push_back(static_cast<uint8_t>(Clip(expected[e], 4)));
            }
            ASSERT_EQ(std::vector<int>(mix.preMix, mix.preMix + block), expected) << "block " << b;
            mix.MixInPreMix();
            HeadlessAdvance(block / 8 / channels);
        }
        EXPECT_EQ(Captured(), expectedOutput);
        const _DMNote* looping = mix.tracks->next->next->notes;
        EXPECT_EQ(+looping->flags, S | DMNOTE_LOOP | DMNOTE_SOUNDING | DMNOTE_ENDED);
        EXPECT_EQ(mix.tracks->next->next->next->notes, nullptr) << "track 1 played out";
        EXPECT_EQ(+mix.freeNotes->end, 260u) << "the last note to end went back to the pool";
        for (_DMNote* note : lost)
            open.Reclaim(note);
    }
}

TEST(Digimix, PreMixIsClippedAndBoundedAndLostBuffersAreRestoredOnceHeadless)
{
    HeadlessMixer open(64); // 64 bytes a ring, 8 a millisecond
    Digimix& mix = open.mix;
    const std::vector<uint16_t> levels[] = {{0, 1, 128, 255, 300}, {896, 897, 1024, 1151, 1152}};
    for (unsigned char tracks : {1, 8}) {
        mix.InitTracks(tracks);
        std::copy(levels[tracks / 8].begin(), levels[tracks / 8].end(), mix.preMix);
        mix.mixLength = 5;
        mix.MixInPreMix();
        HeadlessAdvance(8);
        const std::vector<uint8_t> ring = Captured(Captured().size() - 64);
        EXPECT_EQ(std::vector<uint8_t>(ring.begin(), ring.begin() + 5), (std::vector<uint8_t>{0, 1, 128, 255, 255}));
    }
    // A lost buffer is restored and locked again; lost twice, the block is skipped.
    mix.InitTracks(4);
    mix.mixLength = 8;
    mix.FillPreMix();
    EXPECT_EQ(std::vector<uint16_t>(mix.preMix, mix.preMix + 16), std::vector<uint16_t>(16, 512));
    HeadlessFail("IDirectSoundBuffer::Lock", 0x88780096, 0);
    size_t mark = TraceSince(0).size();
    mix.MixInPreMix();
    EXPECT_EQ(TraceSince(mark), "IDirectSoundBuffer::Lock 0 8 0\nIDirectSoundBuffer::Restore\n"
                                "IDirectSoundBuffer::Lock 0 8 0\nIDirectSoundBuffer::Unlock\n");
    HeadlessFail("IDirectSoundBuffer::Lock", 0x88780096, 0);
    HeadlessFail("IDirectSoundBuffer::Lock", 0x88780096, 0);
    mix.MixInPreMix();
    EXPECT_TRUE(LoggedMessage("Problems with mixing"));

    // A block longer than the pre-mix, and a mono rest filling twice its length, stop at its end.
    _DMNote* rest = mix.freeNotes;
    mix.PlaySound(nullptr, 0, 40, DMNOTE_REST | DMNOTE_CLASS1, 0, 0, 0);
    mix.QueueNewNotes();
    mix.mixLength = 1000;
    mix.FillPreMix();
    EXPECT_EQ(std::vector<uint16_t>(mix.preMix, mix.preMix + 16), std::vector<uint16_t>(16, 512));
    open.Reclaim(rest);

    // 16-bit output: locked and unlocked, never written.
    mix.SetFormat(8000, 1, 16, 0);
    mark = TraceSince(0).size();
    mix.mixLength = 8;
    mix.MixInPreMix();
    EXPECT_EQ(TraceSince(mark), "IDirectSoundBuffer::Lock 0 8 0\nIDirectSoundBuffer::Unlock\n");
    HeadlessAdvance(1);
    EXPECT_EQ(Captured(Captured().size() - 16), std::vector<uint8_t>(16, 0));
}
#endif
