// Mixer tests. Those named ...Headless steer the headless sound device and
// run natively only; the rest run under Wine against real DirectSound too.
#include "test_digimix_helpers.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

#ifdef TOLLIVEX_HEADLESS
#include <tollivex/headless.h>
#endif

using tvxtest::Logged;
using tvxtest::OpenMixer;

namespace {

std::vector<uint8_t> RandomBytes(size_t count, unsigned seed)
{
    std::mt19937 random(seed);
    std::vector<uint8_t> bytes(count);
    for (auto& byte : bytes)
        byte = static_cast<uint8_t>(random());
    return bytes;
}

// Holds the note lock from another thread until told to let go.
struct LockHolder {
    Digimix* mix = nullptr;
    EventSem held;
    EventSem letGo;
} holder;

unsigned long HoldNoteLock(void*)
{
    holder.mix->noteLock.Request();
    holder.held.Post();
    holder.letGo.WaitOn();
    holder.mix->noteLock.Release();
    return 0;
}

} // namespace

TEST(Digimix, QueueNewNotesLeavesTheQueueWhileAnotherThreadHoldsTheLock)
{
    OpenMixer open;
    ASSERT_EQ(open.opened, ERR_OK);
    Digimix& mix = open.mix;
    mix.InitTracks(1);
    uint8_t samples[8] = {};
    mix.PlaySound(samples, 0, 7, DMNOTE_SAMPLED, 1, 0, 0);

    holder.mix = &mix;
    Thread thread(HoldNoteLock, 0, 0);
    holder.held.WaitOn();
    EXPECT_EQ(mix.QueueNewNotes(), 0);
    EXPECT_NE(mix.noteQueue, nullptr);
    EXPECT_EQ(mix.tracks->notes, nullptr);
    holder.letGo.Post();
    thread.Wait();

    EXPECT_EQ(mix.QueueNewNotes(), 1);
    EXPECT_EQ(mix.noteQueue, nullptr);
    EXPECT_EQ(+mix.tracks->notes->flags, DMNOTE_SAMPLED | DMNOTE_SOUNDING);
}

TEST(Digimix, DefaultCallbackLoopsARegionOfMemoryOrOfAFile)
{
    OpenMixer open; // the callback stays silent until a sound card was opened
    const std::vector<uint8_t> bytes = RandomBytes(400, 7);
    tvxtest::WriteBytes("STREAM.RAW", bytes);
    const char* name = "STREAM.RAW";
    for (uint16_t flags : {DMSTREAM_MEMORY, DMSTREAM_FILE}) {
        _DMStreamingInfo info{flags == DMSTREAM_MEMORY ? static_cast<const void*>(bytes.data()) : name, 50, 0, 300,
                              flags};
        std::vector<uint8_t> out(200);
        DefaultStreamingCallback(out.data(), 200, 8, &info);
        EXPECT_EQ(out, std::vector<uint8_t>(bytes.begin() + 50, bytes.begin() + 250));
        DefaultStreamingCallback(out.data(), 200, 8, &info);
        std::vector<uint8_t> wrapped;
        for (int i = 200; i < 400; ++i)
            wrapped.push_back(bytes[50 + i % 300]);
        EXPECT_EQ(out, wrapped) << "flags " << flags;
        EXPECT_EQ(+info.position, 100u);
    }
    _DMStreamingInfo silent{bytes.data(), 0, 0, 0, DMSTREAM_MEMORY};
    std::vector<uint8_t> out(7, 1);
    DefaultStreamingCallback(out.data(), 6, 8, &silent);
    EXPECT_EQ(out, (std::vector<uint8_t>{128, 128, 128, 128, 128, 128, 1}));
    DefaultStreamingCallback(out.data(), 5, 16, &silent);
    EXPECT_EQ(out, (std::vector<uint8_t>{0, 0, 0, 0, 128, 128, 1}));
}

#ifdef TOLLIVEX_HEADLESS

void* tvxtest::SoundWindow()
{
    return HeadlessWindow();
}

namespace {

struct PrimaryBytes {
    explicit PrimaryBytes(unsigned long bytes)
    {
        HeadlessReset();
        HeadlessSetSoundBufferBytes(bytes);
    }
};

// An open mixer over a fresh headless device with a primary of `bytes`.
struct HeadlessMixer : PrimaryBytes, OpenMixer {
    explicit HeadlessMixer(unsigned long bytes, unsigned long rate = 8000, unsigned long channels = 1)
        : PrimaryBytes(bytes), OpenMixer(rate, channels)
    {
    }
    std::vector<uint8_t> Captured()
    {
        std::vector<uint8_t> out(HeadlessReadSound(nullptr, 0));
        HeadlessReadSound(out.data(), static_cast<unsigned long>(out.size()));
        return out;
    }
};

std::string TraceTail(size_t from)
{
    return std::string(HeadlessTrace()).substr(from);
}

size_t TraceLength()
{
    return std::string(HeadlessTrace()).size();
}

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
        if (note.placedOn != track)
            continue;
        auto pass = [&](uint32_t count) {
            for (uint32_t i = 0; i < count && out.size() < length; ++i)
                out.push_back(note.flags & DMNOTE_REST ? 128 : data[note.start + i]);
        };
        pass(note.end - note.start - 1);
        while ((note.flags & DMNOTE_LOOP) && out.size() < length)
            pass(note.end - note.start + 1);
    }
    out.resize(length, 128);
    return out;
}

} // namespace

TEST(Digimix, OpeningTracesTheDeviceAndDividesThePrimaryBufferHeadless)
{
    struct Case {
        unsigned long bytes;
        uint16_t segments;
        uint32_t segmentBytes;
        const char* line;
    };
    for (const Case& c : {Case{4000, 4, 1000, "Sound Buffer divided into fourths"},
                          Case{4002, 2, 2001, "Sound Buffer divided in half"}}) {
        HeadlessMixer open(c.bytes, 22050);
        Digimix& mix = open.mix;
        EXPECT_STREQ(HeadlessTrace(), "DirectSoundCreate\nIDirectSound::SetCooperativeLevel 3\n"
                                      "IDirectSound::CreateSoundBuffer 1 0\n"
                                      "IDirectSoundBuffer::SetFormat 1 1 22050 22050 1 8\n"
                                      "IDirectSoundBuffer::GetCaps\n");
        EXPECT_EQ(tvxtest::LogEntries(), (std::vector<std::string>{"Debug Message: Begin SetFormat",
                                                                   std::string("Debug Message: ") + c.line,
                                                                   "Debug Message: End SetFormat"}));
        EXPECT_EQ(mix.primaryBytes, c.bytes);
        EXPECT_EQ(mix.segmentCount, c.segments);
        EXPECT_EQ(mix.segmentBytes, c.segmentBytes);
        EXPECT_EQ(mix.preMixBytes, 2 * c.segmentBytes);

        // A refused format fails before DirectSound hears of it.
        const size_t mark = TraceLength();
        EXPECT_EQ(mix.SetFormat(22050, 3, 8, 0), ERR_FAILURE);
        EXPECT_EQ(TraceTail(mark), "");
    }
}

TEST(Digimix, DeviceFailuresAreLoggedAndOnlyFormatFailuresLeaveItOpenHeadless)
{
    struct Case {
        const char* call;
        uint32_t result;
        ERRORSTATUS status;
        const char* line;
    };
    const Case cases[] = {
        {"DirectSoundCreate", 0x80004005, ERR_FAILURE, nullptr},
        {"IDirectSound::SetCooperativeLevel", 0x80004005, ERR_FAILURE, nullptr},
        {"IDirectSound::CreateSoundBuffer", 0x88780064, ERR_FAILURE, "Error with CreateSoundBuffer: Error Code 100"},
        {"IDirectSoundBuffer::SetFormat", 0x88780064, ERR_OK, "Error with SetFormat: Error Code 100"},
        {"IDirectSoundBuffer::GetCaps", 0x80070057, ERR_OK, "Error with GetCaps: Error Code 87"},
    };
    for (const Case& c : cases) {
        HeadlessReset();
        HeadlessFail(c.call, static_cast<long>(c.result), 0);
        OpenMixer open;
        EXPECT_EQ(open.opened, c.status) << c.call;
        EXPECT_EQ(open.mix.initialised, c.status == ERR_OK ? 1 : 0);
        EXPECT_EQ(open.mix.errorCode, 0);
        if (c.line != nullptr) {
            EXPECT_TRUE(Logged(std::string("Debug Message: ") + c.line)) << c.call;
        }
        EXPECT_FALSE(Logged("Debug Message: DSERR_BADFORMAT")) << "names are looked up by the low 16 bits";
        if (c.status == ERR_OK) {
            EXPECT_EQ(open.mix.segmentBytes, 0u) << "keeps the caller's segment size";
        }
    }
}

TEST(Digimix, TrackCountsAndLevelsHeadless)
{
    struct Case {
        unsigned char request;
        unsigned tracks;
        uint16_t silence, high, low, bias;
    };
    const Case cases[] = {{0, 1, 128, 255, 1, 0},       {1, 1, 128, 255, 1, 0},
                          {3, 2, 256, 383, 129, 128},   {8, 8, 1024, 1151, 897, 896},
                          {200, 128, 16384, 16511, 16257, 16256}, {255, 128, 16384, 16511, 16257, 16256}};
    HeadlessMixer open(64);
    Digimix closed(&open.memory);
    EXPECT_EQ(closed.InitTracks(8), ERR_OK);
    EXPECT_EQ(closed.tracks, nullptr);
    for (const Case& c : cases) {
        Digimix& mix = open.mix;
        EXPECT_EQ(mix.InitTracks(c.request), ERR_OK);
        EXPECT_EQ(mix.silenceLevel, c.silence);
        EXPECT_EQ(mix.clipHigh, c.high);
        EXPECT_EQ(mix.clipLow, c.low);
        EXPECT_EQ(mix.outputBias, c.bias);
        unsigned expected = c.tracks;
        for (const _DMTrack* track = mix.tracks; track != nullptr; track = track->next, --expected) {
            EXPECT_EQ(track->number, expected);
            EXPECT_EQ(track->mask, 0xF0u);
        }
        EXPECT_EQ(expected, 0u);
        EXPECT_EQ(std::vector<uint16_t>(mix.preMix, mix.preMix + 16), std::vector<uint16_t>(16, c.silence));
    }
}

// Notes placed by number and by class, mixed over several blocks, checked
// entry by entry in the pre-mix and byte by byte in what the device played.
TEST(Digimix, MixedOutputMatchesTheModelInMonoAndStereoHeadless)
{
    const std::vector<uint8_t> data = RandomBytes(1024, 3);
    for (unsigned long channels : {1ul, 2ul}) {
        HeadlessMixer open(1024, 8000, channels);
        Digimix& mix = open.mix;
        mix.InitTracks(4);
        const uint16_t S = DMNOTE_SAMPLED;
        std::vector<ModelNote> notes = {
            {1, 0, 99, S, 1},     {1, 200, 260, S, 1},  {2, 10, 29, S | DMNOTE_LOOP, 2},
            {2, 0, 50, S, 0},     {9, 0, 50, S, 0},     {0, 300, 340, S | 0x10, 4},
            {0, 400, 420, S | 0x20, 3}, {0, 0, 50, S, 0}, {0, 500, 530, S | 0x40, 4},
        };
        if (channels == 2)
            notes.insert(notes.begin() + 8, ModelNote{0, 0, 60, DMNOTE_REST | 0x80, 4});
        _DMNote* rest = nullptr; // leaves its track when over, for no list
        for (const ModelNote& note : notes) {
            _DMNote* record = mix.freeNotes;
            mix.PlaySound(const_cast<uint8_t*>(data.data()), note.start, note.end, note.flags, note.track, 1, 2);
            mix.QueueNewNotes();
            if (note.placedOn == 0)
                open.Reclaim(record);
            if (note.flags & DMNOTE_REST)
                rest = record;
        }
        const size_t block = 96;
        const size_t perBlock = block / channels;
        const size_t blocks = 14;
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
        EXPECT_EQ(open.Captured(), expectedOutput);
        EXPECT_TRUE(Logged("Debug Message: Mark 2"));
        if (rest != nullptr)
            open.Reclaim(rest);
    }
}

TEST(Digimix, FirstPassIsTwoShortAndLoopsPlayWholeHeadless)
{
    const std::vector<uint8_t> data = {10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
    for (uint16_t loop : {0, 1}) {
        HeadlessMixer open(64);
        Digimix& mix = open.mix;
        mix.InitTracks(1);
        mix.mixLength = 4;
        mix.PlaySound(const_cast<uint8_t*>(data.data()), 0, 9, DMNOTE_SAMPLED | loop, 1, 0, 0);
        _DMNote* note = mix.noteQueue;
        EXPECT_EQ(+note->remaining, 8u);
        mix.QueueNewNotes();
        const std::vector<std::vector<uint16_t>> blocks =
            loop ? std::vector<std::vector<uint16_t>>{{10, 11, 12, 13}, {14, 15, 16, 17}, {10, 11, 12, 13},
                                                      {14, 15, 16, 17}, {18, 19, 10, 11}}
                 : std::vector<std::vector<uint16_t>>{{10, 11, 12, 13}, {14, 15, 16, 17}, {128, 128, 128, 128}};
        for (const auto& expected : blocks) {
            mix.FillPreMix();
            EXPECT_EQ(std::vector<uint16_t>(mix.preMix, mix.preMix + 4), expected);
        }
        if (loop) {
            EXPECT_EQ(mix.tracks->notes, note);
            EXPECT_EQ(+note->flags, DMNOTE_SAMPLED | DMNOTE_LOOP | DMNOTE_SOUNDING | DMNOTE_ENDED);
            EXPECT_EQ(+note->remaining, 8u);
        } else {
            EXPECT_EQ(mix.tracks->notes, nullptr);
            EXPECT_EQ(mix.freeNotes, note) << "back in the pool";
        }
    }
}

TEST(Digimix, PreMixIsClippedIntoThePrimaryBufferHeadless)
{
    struct Case {
        unsigned char tracks;
        std::vector<uint16_t> preMix;
        std::vector<uint8_t> output;
    };
    const Case cases[] = {{1, {0, 1, 128, 255, 300}, {0, 1, 128, 255, 255}},
                          {8, {896, 897, 1024, 1151, 1152}, {0, 1, 128, 255, 255}}};
    HeadlessMixer open(64);
    Digimix& mix = open.mix;
    for (const Case& c : cases) {
        mix.InitTracks(c.tracks);
        std::copy(c.preMix.begin(), c.preMix.end(), mix.preMix);
        mix.mixOffset = 0;
        mix.mixLength = 5;
        mix.MixInPreMix();
        HeadlessAdvance(8); // the whole 64-byte ring, so the next case starts at 0
        std::vector<uint8_t> captured = open.Captured();
        EXPECT_EQ(std::vector<uint8_t>(captured.end() - 64, captured.end() - 59), c.output);
    }
    mix.InitTracks(4);
    mix.mixLength = 16;
    mix.FillPreMix();
    EXPECT_EQ(std::vector<uint16_t>(mix.preMix, mix.preMix + 16), std::vector<uint16_t>(16, 512));

    // A block longer than the pre-mix, and a mono rest filling twice its length, stop at its end.
    _DMNote* rest = mix.freeNotes;
    mix.PlaySound(nullptr, 0, 40, DMNOTE_REST | DMNOTE_CLASS1, 0, 0, 0);
    mix.QueueNewNotes();
    mix.mixLength = 1000;
    mix.FillPreMix();
    EXPECT_EQ(std::vector<uint16_t>(mix.preMix, mix.preMix + 16), std::vector<uint16_t>(16, 512));
    EXPECT_EQ(mix.tracks->notes, nullptr) << "the rest is over and left the track";
    open.Reclaim(rest);
}

TEST(Digimix, LostPrimaryIsRestoredOnceAndSixteenBitOutputIsNotWrittenHeadless)
{
    HeadlessMixer open(64);
    Digimix& mix = open.mix;
    mix.InitTracks(1);
    mix.mixLength = 8;
    mix.FillPreMix();
    std::fill(mix.preMix, mix.preMix + 8, uint16_t(200));
    HeadlessFail("IDirectSoundBuffer::Lock", 0x88780096, 0);
    size_t mark = TraceLength();
    mix.MixInPreMix();
    EXPECT_EQ(TraceTail(mark), "IDirectSoundBuffer::Lock 0 8 0\nIDirectSoundBuffer::Restore\n"
                               "IDirectSoundBuffer::Lock 0 8 0\nIDirectSoundBuffer::Unlock\n");
    HeadlessFail("IDirectSoundBuffer::Lock", 0x88780096, 0);
    HeadlessFail("IDirectSoundBuffer::Lock", 0x88780096, 0);
    mix.mixOffset = 8;
    mix.MixInPreMix();
    EXPECT_TRUE(Logged("Debug Message: Problems with mixing"));
    HeadlessAdvance(2);
    EXPECT_EQ(open.Captured(), (std::vector<uint8_t>{200, 200, 200, 200, 200, 200, 200, 200,
                                                     128, 128, 128, 128, 128, 128, 128, 128}));

    mix.SetFormat(8000, 1, 16, 0);
    mark = TraceLength();
    mix.MixInPreMix();
    EXPECT_EQ(TraceTail(mark), "IDirectSoundBuffer::Lock 8 8 0\nIDirectSoundBuffer::Unlock\n");
    HeadlessAdvance(1);
    EXPECT_EQ(open.Captured().size(), 32u) << "16 bytes of 16-bit silence follow";
    EXPECT_EQ(open.Captured().back(), 0);
}
#endif
