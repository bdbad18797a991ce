// platform.h - the one door to the operating system.
//
// The library calls the Win32 and DirectX names it was designed around. On
// Windows they come from the system headers; elsewhere the same names, types,
// flag values and result codes are declared by the portable layer under
// posix/, which implements them over POSIX and a headless display and sound
// backend. Nothing outside source/platform/ checks which system it is on.
#ifndef TOLLIVEX_PLATFORM_H
#define TOLLIVEX_PLATFORM_H

#ifdef _WIN32
#  ifndef WIN32_LEAN_AND_MEAN
#    define WIN32_LEAN_AND_MEAN
#  endif
#  ifndef NOMINMAX
#    define NOMINMAX
#  endif
#  include <windows.h>
#  include <cstdio>
// The C runtime takes both separators: stdio opens game paths as they stand.
inline FILE* PlatformOpenFile(const char* name, const char* mode) { return std::fopen(name, mode); }
// DirectSound and the wave format it takes. mmsystem.h maps PlaySound to
// PlaySoundA; the mixer has members of that name.
#  include <mmsystem.h>
#  include <dsound.h>
#  undef PlaySound
#else
#  include "platform/posix/win_dsound.h"
#  include "platform/posix/win_types.h"
#  include "platform/posix/win_sync.h"
#  include "platform/posix/win_fs.h"
#endif

#endif
