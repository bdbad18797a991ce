// win_dsound.h - the DirectSound subset the mixer uses, declared for systems
// that are not Windows: the same interface, method, type and flag names,
// argument lists and result codes as the Windows SDK, implemented over the
// headless device (headless_dsound.cpp). Buffer descriptions take the 20-byte
// form of the first DirectSound versions; the SDK calls it DSBUFFERDESC1.
#ifndef TOLLIVEX_POSIX_WIN_DSOUND_H
#define TOLLIVEX_POSIX_WIN_DSOUND_H

#include "platform/posix/win_types.h"

typedef uint32_t ULONG;
typedef void* HWND;
struct IUnknown;
struct _GUID;
typedef struct _GUID GUID;
typedef const GUID* LPCGUID;

#define DS_OK 0
#define MAKE_DSHRESULT(code) static_cast<HRESULT>(0x88780000u + (code))
#define DSERR_ALLOCATED MAKE_DSHRESULT(10)
#define DSERR_INVALIDCALL MAKE_DSHRESULT(50)
#define DSERR_BADFORMAT MAKE_DSHRESULT(100)
#define DSERR_BUFFERLOST MAKE_DSHRESULT(150)
#define DSERR_UNINITIALIZED MAKE_DSHRESULT(170)
#define DSERR_INVALIDPARAM static_cast<HRESULT>(0x80070057u)
#define DSERR_OUTOFMEMORY static_cast<HRESULT>(0x8007000Eu)
#define DSERR_UNSUPPORTED static_cast<HRESULT>(0x80004001u)
#define DSERR_NOAGGREGATION static_cast<HRESULT>(0x80040110u)

#define DSSCL_NORMAL 1
#define DSSCL_PRIORITY 2
#define DSSCL_EXCLUSIVE 3

#define DSBCAPS_PRIMARYBUFFER 0x00000001
#define DSBCAPS_STATIC 0x00000002
#define DSBCAPS_CTRL3D 0x00000010
#define DSBCAPS_CTRLFREQUENCY 0x00000020
#define DSBCAPS_CTRLPAN 0x00000040
#define DSBCAPS_CTRLVOLUME 0x00000080

#define DSBPLAY_LOOPING 0x00000001
#define DSBSTATUS_PLAYING 0x00000001
#define DSBSTATUS_LOOPING 0x00000004

#define WAVE_FORMAT_PCM 1

typedef struct tWAVEFORMATEX {
    WORD wFormatTag;
    WORD nChannels;
    DWORD nSamplesPerSec;
    DWORD nAvgBytesPerSec;
    WORD nBlockAlign;
    WORD wBitsPerSample;
    WORD cbSize;
} WAVEFORMATEX, *LPWAVEFORMATEX;
typedef const WAVEFORMATEX* LPCWAVEFORMATEX;

typedef struct _DSBUFFERDESC1 {
    DWORD dwSize;
    DWORD dwFlags;
    DWORD dwBufferBytes;
    DWORD dwReserved;
    LPWAVEFORMATEX lpwfxFormat;
} DSBUFFERDESC1, *LPDSBUFFERDESC1;
typedef DSBUFFERDESC1 DSBUFFERDESC;
typedef const DSBUFFERDESC* LPCDSBUFFERDESC;

typedef struct _DSBCAPS {
    DWORD dwSize;
    DWORD dwFlags;
    DWORD dwBufferBytes;
    DWORD dwUnlockTransferRate;
    DWORD dwPlayCpuOverhead;
} DSBCAPS, *LPDSBCAPS;

struct IDirectSoundBuffer {
    virtual HRESULT GetCaps(LPDSBCAPS lpDSBufferCaps) = 0;
    virtual HRESULT GetCurrentPosition(LPDWORD lpdwCurrentPlayCursor, LPDWORD lpdwCurrentWriteCursor) = 0;
    virtual HRESULT GetStatus(LPDWORD lpdwStatus) = 0;
    virtual HRESULT Lock(DWORD dwOffset, DWORD dwBytes, LPVOID* ppvAudioPtr1, LPDWORD pdwAudioBytes1,
                         LPVOID* ppvAudioPtr2, LPDWORD pdwAudioBytes2, DWORD dwFlags) = 0;
    virtual HRESULT Play(DWORD dwReserved1, DWORD dwReserved2, DWORD dwFlags) = 0;
    virtual HRESULT SetFormat(LPCWAVEFORMATEX lpcfxFormat) = 0;
    virtual HRESULT Stop() = 0;
    virtual HRESULT Unlock(LPVOID pvAudioPtr1, DWORD dwAudioBytes1, LPVOID pvAudioPtr2, DWORD dwAudioBytes2) = 0;
    virtual HRESULT Restore() = 0;
    virtual ULONG Release() = 0;

protected:
    ~IDirectSoundBuffer() = default;
};

typedef IDirectSoundBuffer* LPDIRECTSOUNDBUFFER;

struct IDirectSound {
    virtual HRESULT CreateSoundBuffer(LPCDSBUFFERDESC lpcDSBufferDesc, LPDIRECTSOUNDBUFFER* lplpDirectSoundBuffer,
                                      IUnknown* pUnkOuter) = 0;
    virtual HRESULT DuplicateSoundBuffer(LPDIRECTSOUNDBUFFER lpDsbOriginal, LPDIRECTSOUNDBUFFER* lplpDsbDuplicate) = 0;
    virtual HRESULT SetCooperativeLevel(HWND hwnd, DWORD dwLevel) = 0;
    virtual ULONG Release() = 0;

protected:
    ~IDirectSound() = default;
};

typedef IDirectSound* LPDIRECTSOUND;

HRESULT WINAPI DirectSoundCreate(LPCGUID lpGUID, LPDIRECTSOUND* ppDS, IUnknown* pUnkOuter);

#endif
