// Sounds by handle and streaming over the headless device (native only).
#include "test_digimix_helpers.h"

#include <gtest/gtest.h>

#ifdef TOLLIVEX_HEADLESS
#include <tollivex/headless.h>

using tvxtest::Logged;

namespace {

struct HeadlessSounds : tvxtest::OpenMixer {
    // 1000 samples a second: one byte of a mono 8-bit buffer per millisecond.
    HeadlessSounds() : OpenMixer((HeadlessReset(), 1000)) {}

    std::vector<uint8_t> Captured(size_t from = 0)
    {
        std::vector<uint8_t> out(HeadlessReadSound(nullptr, 0));
        HeadlessReadSound(out.data(), static_cast<unsigned long>(out.size()));
        return std::vector<uint8_t>(out.begin() + static_cast<long>(from), out.end());
    }
    size_t QueueLength()
    {
        size_t length = 0;
        for (const _DMNote* note = mix.noteQueue; note != nullptr; note = note->next)
            ++length;
        return length;
    }
};

std::string TraceTail(size_t from)
{
    return std::string(HeadlessTrace()).substr(from);
}

size_t TraceLength()
{
    return TraceTail(0).size();
}

} // namespace

TEST(DigimixSounds, CopiesPlayOverTheSoundAndPollFreesThemHeadless)
{
    HeadlessSounds open;
    Digimix& mix = open.mix;
    std::vector<uint8_t> samples(40, 138);
    size_t mark = TraceLength();
    EXPECT_EQ(mix.CreateSound(samples.data(), 40, 0, nullptr, nullptr), 0u);
    EXPECT_EQ(TraceTail(mark), "IDirectSound::CreateSoundBuffer 242 40\nIDirectSoundBuffer::Lock 0 40 0\n"
                               "IDirectSoundBuffer::Unlock\n");
    mix.defaultParam4 = 9;
    mix.PlaySound(0ul, DMNOTE_CLASS1, 3, 5, 0xFFFF);
    mix.PlaySound(0ul, DMNOTE_CLASS1, 3, 5, 0xFFFF);
    ASSERT_EQ(open.QueueLength(), 2u);
    const _DMNote* note = mix.noteQueue;
    EXPECT_EQ(+note->flags, DMNOTE_CLASS1);
    EXPECT_EQ(+note->track, 3);
    EXPECT_EQ(+note->param3, 5);
    EXPECT_EQ(+note->param4, 9);
    EXPECT_EQ(+note->end, 39u);
    EXPECT_EQ(+note->remaining, 40u);

    HeadlessAdvance(30);
    mix.Poll();
    EXPECT_EQ(open.QueueLength(), 2u) << "still playing";
    HeadlessAdvance(30);
    mark = TraceLength();
    mix.Poll();
    EXPECT_EQ(open.QueueLength(), 0u);
    EXPECT_EQ(TraceTail(mark), "IDirectSoundBuffer::GetStatus\nIDirectSoundBuffer::Release\n"
                               "IDirectSoundBuffer::GetStatus\nIDirectSoundBuffer::Release\n");
    std::vector<uint8_t> expected(40, 148); // two copies over the primary's silence
    expected.resize(60, 128);
    EXPECT_EQ(open.Captured(), expected);
}

TEST(DigimixSounds, DirectSoundFailuresAreLoggedByTheirLowSixteenBitsHeadless)
{
    HeadlessSounds open;
    Digimix& mix = open.mix;
    uint8_t samples[8] = {};
    HeadlessFail("IDirectSound::CreateSoundBuffer", 0x88780064, 0);
    EXPECT_EQ(mix.CreateSound(samples, 8, 0, nullptr, nullptr), 1u);
    EXPECT_TRUE(Logged("Debug Message: Error with CreateSoundBuffer: Error Code 100"));
    EXPECT_NE(mix.soundArray[0], nullptr) << "the record keeps its slot";
    EXPECT_EQ(mix.CreateSound(samples, 8, 0, nullptr, nullptr), 1u);

    HeadlessFail("IDirectSound::DuplicateSoundBuffer", 0x8878000A, 0);
    _DMNote* lost = mix.freeNotes;
    mix.PlaySound(1ul, 0, 0, 0, 0);
    EXPECT_TRUE(Logged("Debug Message: Error with DuplicateSoundBuffer: Error Code 10"));
    EXPECT_FALSE(Logged("Debug Message: DSERR_ALLOCATED"));
    EXPECT_EQ(open.QueueLength(), 0u);
    open.Reclaim(lost);

    HeadlessFail("IDirectSoundBuffer::Play", 0x80004005, 0);
    mix.PlaySound(1ul, 0, 0, 0, 0);
    EXPECT_TRUE(Logged("Debug Message: Error with DirectSound::Play: Error Code 16389"));
    HeadlessFail("IDirectSoundBuffer::GetStatus", 0x80004005, 0);
    mix.Poll();
    EXPECT_TRUE(Logged("Debug Message: Error with DirectSound::GetStatus: Error Code 16389"));
    EXPECT_EQ(open.QueueLength(), 1u) << "kept after a failed status";
    mix.Poll();
    EXPECT_EQ(open.QueueLength(), 0u) << "never started, so freed";
}

TEST(DigimixSounds, HandlesAreReusedLowestFirstAndTheArrayGrowsPastItsEndHeadless)
{
    HeadlessSounds open;
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
    EXPECT_EQ(mix.soundCapacity, 120u);
    EXPECT_EQ(open.memory.CheckMemoryIntegrity(), 0) << "filed one past the grown array";
    EXPECT_EQ(mix.CreateSound(samples, 4, 0, nullptr, nullptr), 100u);
    mix.PlaySound(120ul, 0, 0, 0, 0);
    EXPECT_EQ(tvxtest::LogEntries().size(), 2u) << "the handle check asserts";
    EXPECT_EQ(open.QueueLength(), 1u) << "and the sound plays on";
    mix.DeleteSound(120);
    mix.DeleteSound(200);
    EXPECT_EQ(tvxtest::LogEntries().size(), 5u) << "past the array: two assertions";
}

namespace {

const std::vector<uint8_t>& Pattern()
{
    static const std::vector<uint8_t> pattern = [] {
        std::vector<uint8_t> bytes(300);
        for (size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<uint8_t>(i * 7 + 1);
        return bytes;
    }();
    return pattern;
}

unsigned long CreateStream(Digimix& mix, unsigned long length)
{
    _DMStreamingInfo info{Pattern().data(), 0, 0, 300, DMSTREAM_MEMORY};
    return mix.CreateSound(nullptr, length, DMNOTE_STREAMING, DefaultStreamingCallback, &info);
}

} // namespace

TEST(DigimixSounds, StreamsRefillTheHalfJustPlayedHeadless)
{
    HeadlessSounds open;
    Digimix& mix = open.mix;
    size_t mark = TraceLength();
    const unsigned long first = CreateStream(mix, 1001);
    EXPECT_EQ(TraceTail(mark), "IDirectSound::CreateSoundBuffer 240 1001\nIDirectSoundBuffer::Lock 0 1001 0\n"
                               "IDirectSoundBuffer::Unlock\nIDirectSoundBuffer::Play 1\n");
    // Halves of 500 and 501; a cursor on the last byte counts as a third part.
    const std::pair<unsigned long, std::string> steps[] = {
        {499, ""}, {5, "0 500"}, {496, "0 500"}, {1, "500 501"}, {400, ""}};
    for (const auto& [milliseconds, lock] : steps) {
        HeadlessAdvance(milliseconds);
        mark = TraceLength();
        mix.Poll();
        const std::string tail = TraceTail(mark);
        if (lock.empty())
            EXPECT_EQ(tail.find("Lock"), std::string::npos) << tail;
        else
            EXPECT_NE(tail.find("IDirectSoundBuffer::Lock " + lock + " 0\n"), std::string::npos) << tail;
    }
    mark = TraceLength();
    mix.DeleteSound(first);
    EXPECT_EQ(TraceTail(mark), "IDirectSoundBuffer::Stop\nIDirectSoundBuffer::Release\n");
    EXPECT_EQ(open.QueueLength(), 0u);

    // Fed often enough, the stream plays its looped region without a seam.
    const size_t from = open.Captured().size();
    const unsigned long second = CreateStream(mix, 1001);
    for (int i = 0; i < 60; ++i) {
        HeadlessAdvance(37);
        mix.Poll();
    }
    const std::vector<uint8_t> played = open.Captured(from);
    ASSERT_EQ(played.size(), 60u * 37);
    for (size_t i = 0; i < played.size(); ++i)
        ASSERT_EQ(played[i], Pattern()[i % 300]) << "byte " << i;

    // A finished copy right behind a newer stream takes that stream off the
    // queue with it; the older stream is untouched.
    uint8_t samples[10] = {};
    const unsigned long click = mix.CreateSound(samples, 10, 0, nullptr, nullptr);
    mix.PlaySound(click, 0, 0, 0, 0);
    const unsigned long third = CreateStream(mix, 600);
    _DMNote* orphan = mix.noteQueue;
    HeadlessAdvance(20);
    mix.Poll();
    ASSERT_EQ(open.QueueLength(), 1u);
    EXPECT_EQ(+mix.noteQueue->sound, mix.soundArray[second]);
    mark = TraceLength();
    HeadlessAdvance(400);
    mix.Poll();
    EXPECT_EQ(TraceTail(mark).find("Lock 0 300 0"), std::string::npos) << "no longer fed";
    mix.DeleteSound(third);
    open.Reclaim(orphan);
}
#endif
