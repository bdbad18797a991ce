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

#include <iostream>

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

std::vector<long> refillOffsets; // of each streaming callback, from the buffer's start
unsigned char* bufferStart = nullptr;

void RecordingCallback(unsigned char* destination, unsigned long bytes, unsigned char bits, _DMStreamingInfo* info)
{
    if (bufferStart == nullptr)
        bufferStart = destination;
    refillOffsets.push_back(static_cast<long>(destination - bufferStart));
    DefaultStreamingCallback(destination, bytes, bits, info);
}

template <typename Done>
bool PollUntil(Digimix& mix, Done done)
{
    for (int i = 0; i < 300 && !done(); ++i) {
        mix.Poll();
        Sleep(10);
    }
    return done();
}

} // namespace

TEST(DigimixDirectSound, OpensPlaysStreamsAndClosesOnTheRealDevice)
{
    tvxtest::OpenMixer open(22050, 1, 8);
    Digimix& mix = open.mix;
    ASSERT_EQ(open.opened, ERR_OK);
    ASSERT_NE(mix.primaryBytes, 0u);
    std::cout << "primary buffer: " << mix.primaryBytes << " bytes\n";
    EXPECT_EQ(mix.segmentCount, mix.primaryBytes % 4 ? 2 : 4);
    EXPECT_EQ(mix.segmentBytes, mix.primaryBytes / mix.segmentCount);
    EXPECT_TRUE(tvxtest::Logged(mix.segmentCount == 4 ? "Debug Message: Sound Buffer divided into fourths"
                                                       : "Debug Message: Sound Buffer divided in half"));

    // The primary buffer cannot be written at the exclusive level.
    mix.InitTracks(1);
    mix.mixLength = mix.segmentBytes;
    mix.FillPreMix();
    mix.MixInPreMix();
    EXPECT_TRUE(tvxtest::Logged("Debug Message: Problems with mixing"));

    std::vector<unsigned char> click(2205, 200);
    const unsigned long sound = mix.CreateSound(click.data(), click.size(), 0, nullptr, nullptr);
    EXPECT_EQ(sound, 0u);
    mix.PlaySound(sound, 0, 0, 0, 0);
    ASSERT_NE(mix.noteQueue, nullptr);
    EXPECT_TRUE(PollUntil(mix, [&] { return mix.noteQueue == nullptr; })) << "the copy is freed once it stops";

    std::vector<unsigned char> pattern(300);
    for (size_t i = 0; i < pattern.size(); ++i)
        pattern[i] = static_cast<unsigned char>(i);
    _DMStreamingInfo info{pattern.data(), 0, 0, 300, DMSTREAM_MEMORY};
    const unsigned long stream = mix.CreateSound(nullptr, 4410, DMNOTE_STREAMING, RecordingCallback, &info);
    EXPECT_TRUE(PollUntil(mix, [] {
        const auto seen = [](long offset) {
            return std::count(refillOffsets.begin() + 1, refillOffsets.end(), offset) > 0;
        };
        return refillOffsets.size() > 2 && seen(0) && seen(2205);
    })) << "both halves refilled";
    EXPECT_EQ(refillOffsets.front(), 0);
    mix.DeleteSound(stream);
    mix.DeleteSound(sound);
    EXPECT_EQ(mix.noteQueue, nullptr);
}
#endif
