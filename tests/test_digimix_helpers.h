// Shared by the mixer tests: a window to open the sound device with, and a
// mixer that is open for the length of a test and cleaned up after it.
#ifndef TOLLIVEX_TESTS_DIGIMIX_HELPERS_H
#define TOLLIVEX_TESTS_DIGIMIX_HELPERS_H

#include "support/workdir.h"

#include <tollivex.h>

#include <algorithm>
#include <string>
#include <vector>

namespace tvxtest {

// The headless window natively, a plain hidden window on Windows.
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
        void* preMix = mix.preMix;
        if (preMix != nullptr)
            memory.Free(&preMix);
        mix.preMix = nullptr;
    }
    // A record the mixer drops on purpose, given back so leak checks stay quiet.
    void Reclaim(_DMNote* note)
    {
        void* block = note;
        memory.Free(&block);
    }
};

inline bool Logged(const std::string& line)
{
    const std::vector<std::string> entries = LogEntries();
    return std::find(entries.begin(), entries.end(), line) != entries.end();
}

} // namespace tvxtest

#endif
