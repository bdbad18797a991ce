// The mixer against real DirectSound (Windows only; run under Wine with an
// ALSA null device). Where the real device differs from the headless one,
// the mixer must take its stated failure path.
#ifdef _WIN32
#include "test_digimix_helpers.h"

#include <gtest/gtest.h>

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <algorithm>

void* tvxtest::SoundWindow()
{
    static HWND window = [] {
        WNDCLASSA windowClass = {};
        windowClass.lpfnWndProc = DefWindowProcA;
        windowClass.hInstance = GetModuleHandleA(nullptr);
        windowClass.lpszClassName = "TollivexSoundTest";
        RegisterClassA(&windowClass);
        return CreateWindowExA(0, windowClass.lpszClassName, "sound", WS_OVERLAPPEDWINDOW, 0, 0, 64, 64, nullptr,
                               nullptr, windowClass.hInstance, nullptr);
    }();
    return window;
}

namespace {

std::vector<long> refills; // where each streaming callback wrote, from the buffer's start
unsigned char* bufferStart = nullptr;

void RecordingCallback(unsigned char* destination, unsigned long bytes, unsigned char bits, _DMStreamingInfo* info)
{
    bufferStart = bufferStart != nullptr ? bufferStart : destination;
    refills.push_back(static_cast<long>(destination - bufferStart));
    DefaultStreamingCallback(destination, bytes, bits, info);
}

// Polls for up to three seconds.
template <typename Done>
bool PollUntil(Digimix& mix, Done done)
{
    for (int i = 0; i < 300 && !done(); ++i, Sleep(10))
        mix.Poll();
    return done();
}

} // namespace

TEST(DigimixDirectSound, OpensPlaysStreamsAndClosesOnTheRealDevice)
{
    tvxtest::OpenMixer open(22050, 1, 8);
    Digimix& mix = open.mix;
    ASSERT_EQ(open.opened, ERR_OK);
    EXPECT_EQ(mix.segmentCount, mix.primaryBytes % 4 ? 2 : 4);
    EXPECT_EQ(mix.segmentBytes, mix.primaryBytes / mix.segmentCount);
    EXPECT_TRUE(tvxtest::LoggedMessage(mix.segmentCount == 4 ? "Sound Buffer divided into fourths"
                                                             : "Sound Buffer divided in half"));

    // The primary buffer cannot be written at the exclusive level.
    mix.InitTracks(1);
    mix.mixLength = mix.segmentBytes;
    mix.FillPreMix();
    mix.MixInPreMix();
    EXPECT_TRUE(tvxtest::LoggedMessage("Problems with mixing"));

    std::vector<unsigned char> click(2205, 200);
    const unsigned long sound = mix.CreateSound(click.data(), click.size(), 0, nullptr, nullptr);
    mix.PlaySound(sound, 0, 0, 0, 0);
    ASSERT_NE(mix.noteQueue, nullptr);
    EXPECT_TRUE(PollUntil(mix, [&] { return mix.noteQueue == nullptr; })) << "the copy is freed once it stops";

    _DMStreamingInfo info{click.data(), 0, 0, 2205, DMSTREAM_MEMORY};
    const unsigned long stream = mix.CreateSound(nullptr, 4410, DMNOTE_STREAMING, RecordingCallback, &info);
    EXPECT_TRUE(PollUntil(mix, [] {
        return std::count(refills.begin(), refills.end(), 0) > 1 && std::count(refills.begin(), refills.end(), 2205);
    })) << "both halves refilled";
    mix.DeleteSound(stream);
    mix.DeleteSound(sound);
    EXPECT_EQ(mix.noteQueue, nullptr);
}
#endif
