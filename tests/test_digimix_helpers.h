// Shared by the mixer tests: a mixer that is open for the length of a test
// and cleaned up after it, and natively the headless device's readings.
#ifndef TOLLIVEX_TESTS_DIGIMIX_HELPERS_H
#define TOLLIVEX_TESTS_DIGIMIX_HELPERS_H

#include "support/workdir.h"

#include <tollivex.h>
#ifdef TOLLIVEX_HEADLESS
#include <tollivex/headless.h>
#endif

#include <algorithm>
#include <string>
#include <vector>

namespace tvxtest {

// The headless window natively, a plain window on Windows.
void* SoundWindow();

struct OpenMixer {
    MemManager memory;
    Digimix mix{&memory};
    ERRORSTATUS opened;

    explicit OpenMixer(unsigned long rate = 8000, unsigned long channels = 1, unsigned char bits = 8)
    {
        DebugInit();
        opened = mix.InitSoundCard(SoundWindow(), rate, channels, bits);
    }
    // Tracks go while the device is open; the pre-mix is the game's to free.
    ~OpenMixer()
    {
        mix.UninitTracks();
        mix.UninitSoundCard();
        Reclaim(mix.preMix);
    }
    // Gives back a block the mixer lets go of on purpose, for the leak checks.
    void Reclaim(void* block) { memory.Free(&block); }
};

inline bool LoggedMessage(const std::string& line)
{
    const std::vector<std::string> entries = LogEntries();
    return std::find(entries.begin(), entries.end(), "Debug Message: " + line) != entries.end();
}

#ifdef TOLLIVEX_HEADLESS
inline void FreshDevice(unsigned long primaryBytes)
{
    HeadlessReset();
    HeadlessSetSoundBufferBytes(primaryBytes);
}

struct HeadlessMixer : OpenMixer {
    explicit HeadlessMixer(unsigned long primaryBytes, unsigned long rate = 8000, unsigned long channels = 1)
        : OpenMixer((FreshDevice(primaryBytes), rate), channels) {}
};

inline std::string TraceSince(size_t mark) { return std::string(HeadlessTrace()).substr(mark); }

inline std::vector<uint8_t> Captured(size_t from = 0)
{
    std::vector<uint8_t> out(HeadlessReadSound(nullptr, 0));
    HeadlessReadSound(out.data(), static_cast<unsigned long>(out.size()));
    return std::vector<uint8_t>(out.begin() + static_cast<long>(from), out.end());
}
#endif

} // namespace tvxtest

#endif
