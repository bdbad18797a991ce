// digimix2_internal.h - what the mixer's source files share: the log lines
// for DirectSound failures, the PCM format they all describe, and locking a
// buffer that may have been lost.
#ifndef TOLLIVEX_DIGIMIX2_INTERNAL_H
#define TOLLIVEX_DIGIMIX2_INTERNAL_H

#include "platform/platform.h"

#include <cstdint>

namespace digimix2 {

extern const char* const kSource;

// Set by a successful InitSoundCard and never cleared; the default
// streaming callback does nothing until then.
extern int32_t soundAvailable;

// The names known for CreateSoundBuffer's and DuplicateSoundBuffer's results.
enum class ErrorNames { CreateBuffer, DuplicateBuffer };

// "Error with <call>: Error Code <low 16 bits of result>".
void LogFailure(const char* call, HRESULT result);

// Looks the low 16 bits of `result` up in the table, as the log line prints
// them. No DirectSound result is that small, so no name is ever written:
// the tables only record the names the mixer knows.
void LogErrorName(ErrorNames table, HRESULT result);

WAVEFORMATEX PcmFormat(unsigned long rate, unsigned long channels, unsigned char bits);

// Locks, and after a lost buffer restores it and locks once more.
HRESULT LockRestoring(IDirectSoundBuffer* buffer, DWORD offset, DWORD bytes, LPVOID* part1, DWORD* bytes1,
                      LPVOID* part2, DWORD* bytes2);

} // namespace digimix2

#endif
