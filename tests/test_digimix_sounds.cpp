// Sounds by handle and streaming over the headless device (native only).
#include "test_digimix_helpers.h"

#include <gtest/gtest.h>

#ifdef TOLLIVEX_HEADLESS
using namespace tvxtest;

namespace {

// 1000 samples a second: one byte of a mono 8-bit buffer a millisecond.
struct Sounds : HeadlessMixer {
    Sounds() : HeadlessMixer(65536, 1000) {}
    size_t Queued()
    {
        size_t length = 0;
        for (const _DMNote* note = mix.noteQueue; note != nullptr; note = note->next)
            ++length;
        return length;
    }
};

} // namespace

TEST(DigimixSounds, CopiesPlayOverTheSoundUntilPollFreesThemHeadless)
{
    Sounds open;
    Digimix& mix = open.mix;
    std::vector<uint8_t> samples(40, 138);
    HeadlessFail("IDirectSound::CreateSoundBuffer", 0x88780064, 0);
    EXPECT_EQ(mix.CreateSound(samples.data(), 8, 0, nullptr, nullptr), 1u);
    EXPECT_TRUE(LoggedMessage("Error with CreateSoundBuffer: Error Code 100"));
    EXPECT_NE(mix.soundArray[0], nullptr) << "the record keeps its slot";
    EXPECT_EQ(mix.CreateSound(samples.data(), 40, 0, nullptr, nullptr), 1u);
    EXPECT_NE(TraceSince(0).find("CreateSoundBuffer 242 40\nIDirectSoundBuffer::Lock 0 40 0\n"), std::string::npos);
    mix.defaultParam4 = 9;
    mix.PlaySound(1ul, DMNOTE_CLASS1, 3, 5, 0xFFFF);
    mix.PlaySound(1ul, DMNOTE_CLASS1, 3, 5, 0xFFFF);
    const _DMNote* note = mix.noteQueue;
    EXPECT_EQ((std::vector<uint32_t>{note->flags, note->track, note->param3, note->param4, note->end, note->remaining}),
              (std::vector<uint32_t>{DMNOTE_CLASS1, 3, 5, 9, 39, 40}));
    HeadlessAdvance(30);
    mix.Poll();
    EXPECT_EQ(open.Queued(), 2u) << "still playing";
    HeadlessAdvance(30);
    const size_t mark = TraceSince(0).size();
    mix.Poll();
    EXPECT_EQ(open.Queued(), 0u);
    EXPECT_EQ(TraceSince(mark), "IDirectSoundBuffer::GetStatus\nIDirectSoundBuffer::Release\n"
                                "IDirectSoundBuffer::GetStatus\nIDirectSoundBuffer::Release\n");
    std::vector<uint8_t> expected(40, 148); // two copies over the primary's silence
    expected.resize(60, 128);
    EXPECT_EQ(Captured(), expected);

    // Failures are logged by their low 16 bits, and no name follows.
    HeadlessFail("IDirectSound::DuplicateSoundBuffer", 0x8878000A, 0);
    _DMNote* lost = mix.freeNotes;
    mix.PlaySound(1ul, 0, 0, 0, 0);
    EXPECT_TRUE(LoggedMessage("Error with DuplicateSoundBuffer: Error Code 10"));
    EXPECT_FALSE(LoggedMessage("DSERR_ALLOCATED") || LoggedMessage("DSERR_BADFORMAT"));
    open.Reclaim(lost);
    HeadlessFail("IDirectSoundBuffer::Play", 0x80004005, 0);
    mix.PlaySound(1ul, 0, 0, 0, 0);
    EXPECT_TRUE(LoggedMessage("Error with DirectSound::Play: Error Code 16389"));
    HeadlessFail("IDirectSoundBuffer::GetStatus", 0x80004005, 0);
    mix.Poll();
    EXPECT_TRUE(LoggedMessage("Error with DirectSound::GetStatus: Error Code 16389"));
    EXPECT_EQ(open.Queued(), 1u) << "kept after a failed status";
    mix.Poll();
    EXPECT_EQ(open.Queued(), 0u) << "never started, so freed";
}

TEST(DigimixSounds, HandlesAreReusedLowestFirstAndTheArrayGrowsPastItsEndHeadless)
{
    Sounds open;
    Digimix& mix = open.mix;
    uint8_t samples[4] = {};
    for (unsigned long handle = 0; handle < 100; ++handle)
        ASSERT_EQ(mix.CreateSound(samples, 4, 0, nullptr, nullptr), handle);
    mix.DeleteSound(7);
    mix.DeleteSound(3);
    EXPECT_EQ(mix.CreateSound(samples, 4, 0, nullptr, nullptr), 3u);
    EXPECT_EQ(mix.CreateSound(samples, 4, 0, nullptr, nullptr), 7u);
    DebugInit();
    EXPECT_EQ(mix.CreateSound(samples, 4, 0, nullptr, nullptr), 120u);
    EXPECT_EQ(open.memory.CheckMemoryIntegrity(), 0) << "filed one past the grown array";
    EXPECT_EQ(mix.CreateSound(samples, 4, 0, nullptr, nullptr), 100u);
    mix.PlaySound(120ul, 0, 0, 0, 0);
    EXPECT_EQ(LogEntries().size(), 2u) << "the handle check asserts";
    EXPECT_EQ(open.Queued(), 1u) << "and the sound plays on";
    mix.DeleteSound(120);
    mix.DeleteSound(200);
    EXPECT_EQ(LogEntries().size(), 5u) << "past the array: two assertions";
}

namespace {

std::vector<uint8_t> pattern(300);

unsigned long CreateStream(Digimix& mix, unsigned long length)
{
    for (size_t i = 0; i < pattern.size(); ++i)
        pattern[i] = static_cast<uint8_t>(i * 7 + 1);
    _DMStreamingInfo info{pattern.data(), 0, 0, 300, DMSTREAM_MEMORY};
    return mix.CreateSound(nullptr, length, DMNOTE_STREAMING, DefaultStreamingCallback, &info);
}

} // namespace

TEST(DigimixSounds, StreamsRefillTheHalfJustPlayedHeadless)
{
    Sounds open;
    Digimix& mix = open.mix;
    size_t mark = TraceSince(0).size();
    const unsigned long first = CreateStream(mix, 1001);
    EXPECT_EQ(TraceSince(mark), "IDirectSound::CreateSoundBuffer 240 1001\nIDirectSoundBuffer::Lock 0 1001 0\n"
                                "IDirectSoundBuffer::Unlock\nIDirectSoundBuffer::Play 1\n");
    // Halves of 500 and 501; a cursor on the last byte counts as a third part.
    const std::pair<unsigned long, std::string> steps[] = {
        {499, ""}, {5, "0 500"}, {496, "0 500"}, {1, "500 501"}, {400, ""}};
    for (const auto& [milliseconds, lock] : steps) {
        HeadlessAdvance(milliseconds);
        mark = TraceSince(0).size();
        mix.Poll();
        const std::string refill = lock.empty() ? "Lock" : "IDirectSoundBuffer::Lock " + lock + " 0\n";
        EXPECT_EQ(TraceSince(mark).find(refill) == std::string::npos, lock.empty()) << milliseconds;
    }
    mix.DeleteSound(first);
    EXPECT_EQ(open.Queued(), 0u);

    // Fed often enough, the stream plays its looped region without a seam.
    const size_t from = Captured().size();
    const unsigned long second = CreateStream(mix, 1001);
    for (int i = 0; i < 60; ++i) {
        HeadlessAdvance(37);
        mix.Poll();
    }
    const std::vector<uint8_t> played = Captured(from);
    ASSERT_EQ(played.size(), 60u * 37);
    for (size_t i = 0; i < played.size(); ++i)
        ASSERT_EQ(played[i], pattern[i % 300]) << "byte " << i;

    // A finished copy right behind a newer stream takes that stream off the
    // queue with it; the older stream is untouched.
    uint8_t samples[10] = {};
    mix.PlaySound(mix.CreateSound(samples, 10, 0, nullptr, nullptr), 0, 0, 0, 0);
    const unsigned long third = CreateStream(mix, 600);
    _DMNote* orphan = mix.noteQueue;
    HeadlessAdvance(20);
    mix.Poll();
    ASSERT_EQ(open.Queued(), 1u);
    EXPECT_EQ(+mix.noteQueue->sound, mix.soundArray[second]);
    mark = TraceSince(0).size();
    HeadlessAdvance(400);
    mix.Poll();
    EXPECT_EQ(TraceSince(mark).find("Lock 0 300 0"), std::string::npos) << "no longer fed";
    mix.DeleteSound(third);
    open.Reclaim(orphan);
}
#endif
