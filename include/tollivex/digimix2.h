// digimix2.h - Digimix: the sound mixer over DirectSound.
//
// One Digimix owns the process's sound device, its primary buffer and output
// format. It sounds notes two ways. Software mixing sums raw 8-bit mono
// samples of up to 128 tracks into a 16-bit pre-mix and clips it into the
// primary buffer (PlaySound with data, then QueueNewNotes, FillPreMix and
// MixInPreMix per block). Hardware mixing keeps each sound in a secondary
// buffer of its own, known by a handle, and plays a duplicate of it per
// PlaySound; streamed sounds loop a buffer that Poll keeps refilling through
// a callback. No volume, panning or resampling: samples are added raw.
//
// The data members are public: the game sets mixOffset and mixLength itself
// and may read the rest. Only the note queue is locked (noteLock); everything
// else belongs to the thread that owns the object.
#ifndef TOLLIVEX_DIGIMIX2_H
#define TOLLIVEX_DIGIMIX2_H

#include "tvxcommon.h"
#include "semaphor.h"

#include <cstdio>

class MemManager;
class DiskData;
struct IDirectSound;
struct IDirectSoundBuffer;

// Note flags (_DMNote::flags and the flags of PlaySound).
enum : unsigned short {
    DMNOTE_LOOP      = 0x0001,  // starts again at its start when it ends
    DMNOTE_SAMPLED   = 0x0002,  // mixes samples from its data
    DMNOTE_REST      = 0x0004,  // mixes silence for its length
    DMNOTE_MUTE      = 0x0008,  // accepted, mixes nothing
    DMNOTE_CLASS1    = 0x0010,  // class bits: a note for track 0 goes to any
    DMNOTE_CLASS2    = 0x0020,  // track whose mask shares one of them
    DMNOTE_CLASS3    = 0x0040,
    DMNOTE_CLASS4    = 0x0080,
    DMNOTE_SOUNDING  = 0x0100,  // at the head of its track
    DMNOTE_ENDED     = 0x0200,  // has reached its end at least once
    DMNOTE_STREAMING = 0x0400   // a streamed sound (CreateSound's flags too)
};

// Where a stream's samples come from (_DMStreamingInfo::flags).
enum : unsigned short {
    DMSTREAM_MEMORY = 0x0001,   // source points at the samples
    DMSTREAM_FILE   = 0x0004    // source is a zero-terminated file name
};

#pragma pack(push, 1)

// A stream's looped region; copied by value into its sound.
struct _DMStreamingInfo {
    const void* source;
    uint32_t baseOffset;        // where the looped region begins in the source
    uint32_t position;          // next byte, relative to baseOffset
    uint32_t length;            // of the looped region; 0 delivers silence
    uint16_t flags;             // DMSTREAM_MEMORY or DMSTREAM_FILE
};

// Fills exactly `bytes` bytes at `destination`.
typedef void (*DMStreamingCallback)(unsigned char* destination, unsigned long bytes, unsigned char bitsPerSample,
                                    _DMStreamingInfo* info);

struct _DMSound;

// One playing instance of a sound.
struct _DMNote {
    IDirectSoundBuffer* buffer; // hardware and streaming notes: its own buffer
    _DMSound* sound;            // streaming notes only
    uint16_t streamHalf;        // streaming: the half played at the last check
    uint8_t* data;
    uint32_t start;             // first sample
    uint32_t end;               // last sample
    uint32_t position;          // next sample to mix
    uint32_t remaining;         // samples left before the end
    uint16_t flags;             // DMNOTE_...
    uint16_t track;             // 1-based track number; 0 chooses by class
    uint16_t param3;            // carried for the game, never read
    uint16_t param4;
    _DMNote* next;
};

// A loaded sound, known to the game by its handle.
struct _DMSound {
    uint8_t* data;              // the mixer's own copy; null without data
    uint32_t length;            // bytes, also the size of its buffer
    uint16_t flags;             // DMNOTE_STREAMING marks a streamed sound
    DMStreamingCallback callback;
    _DMStreamingInfo info;
    IDirectSoundBuffer* buffer;
};

// What LoadWAVE found in a file.
struct _SOUNDHDR {
    uint16_t channels;
    uint32_t sampleRate;
    uint32_t dataLength;
    uint8_t reserved[10];
    uint16_t volume;            // 64; the game's to use
    uint8_t* data;              // not set when only the header was asked for
    uint32_t dataOffset;        // of the first sample byte in the file
};

#pragma pack(pop)

#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
static_assert(sizeof(_DMStreamingInfo) == 18, "_DMStreamingInfo is 18 bytes on 32-bit targets");
static_assert(sizeof(_DMNote) == 42, "_DMNote is 42 bytes on 32-bit targets");
static_assert(sizeof(_DMSound) == 36, "_DMSound is 36 bytes on 32-bit targets");
static_assert(sizeof(_SOUNDHDR) == 30, "_SOUNDHDR is 30 bytes on 32-bit targets");
#endif

// One software mixing track.
struct _DMTrack {
    _DMNote* notes;             // the sounding note and those waiting behind it
    uint32_t mask;              // class mask, always 0xF0
    uint16_t number;            // 1-based; the list runs from the highest down
    _DMTrack* next;
};

// Byte packing is the 32-bit layout games were built against. The compiler
// cannot lift it for a single member, and the note lock is called through its
// address, so 64-bit targets keep natural alignment for the whole object.
#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
#pragma pack(push, 1)
#else
#pragma pack(push, 8)
#endif

class TVX_API Digimix {
public:
    MemManager* memManager;
    int32_t initialised;
    uint32_t sampleRate;
    uint32_t channels;
    uint8_t bitsPerSample;
    uint8_t reserved;
    uint8_t trackShift;         // log2 of the number of tracks
    uint16_t clipHigh;          // silenceLevel + 127
    uint16_t silenceLevel;      // tracks x 128
    uint16_t clipLow;           // silenceLevel - 127
    uint16_t outputBias;        // silenceLevel - 128
    _DMTrack* tracks;
    uint16_t* preMix;           // one entry per output byte of a segment
    uint32_t segmentBytes;
    uint32_t preMixBytes;
    uint32_t mixOffset;         // set by the game before each block
    uint32_t mixLength;
    MutexSem noteLock;          // guards noteQueue
    _DMNote* noteQueue;         // newest first
    _DMNote* freeNotes;
    uint16_t reserved2;
    uint16_t segmentCount;      // 2 or 4
    unsigned short errorCode;   // set only by LoadWAVE
    uint16_t defaultParam3;
    uint16_t defaultParam4;
    _DMSound** soundArray;      // indexed by handle; null slots are free
    uint32_t soundCapacity;
    IDirectSound* directSound;
    IDirectSoundBuffer* primaryBuffer;
    uint32_t primaryBytes;

    explicit Digimix(MemManager* mm);
    ~Digimix();
    Digimix(const Digimix&) = delete;
    Digimix& operator=(const Digimix&) = delete;

    void AssociateMemMan(MemManager* mm);

    // The device, its format and the tracks.
    ERRORSTATUS InitSoundCard(void* windowHandle, unsigned long sampleRate, unsigned long channels,
                              unsigned char bitsPerSample);
    void UninitSoundCard();
    ERRORSTATUS SetFormat(unsigned long sampleRate, unsigned long channels, unsigned char bitsPerSample,
                          unsigned long segmentBytes);
    ERRORSTATUS InitTracks(unsigned char trackCount);
    void UninitTracks();
    ERRORSTATUS SetTrack();

    // Notes and software mixing.
    _DMNote* GetNewNote();
    void QueueNote(_DMNote* note);
    void PlaySound(void* data, unsigned long start, unsigned long end, unsigned short flags, unsigned short track,
                   unsigned short param3, unsigned short param4);
    int QueueNewNotes();
    void FillPreMix();
    int MixInPreMix();
    int Poll();
    void CheckForFinishedNotes();

    // Sounds by handle, WAVE files and streaming.
    unsigned long CreateSound(unsigned char* data, unsigned long length, unsigned short flags,
                              DMStreamingCallback callback, _DMStreamingInfo* info);
    void DeleteSound(unsigned long handle);
    void DeleteAllSounds();
    unsigned long AddSoundToArray(_DMSound* sound);
    _DMSound* RemoveSoundFromArray(unsigned long handle);
    void PlaySound(unsigned long handle, unsigned short flags, unsigned short track, unsigned short param3,
                   unsigned short param4);
    ERRORSTATUS LoadWAVE(DiskData* disk, char* fileName, _SOUNDHDR* header, int headerOnly);
    void FreeSound(_SOUNDHDR* header);
    void CheckForStreaming();
    void SetNewStream(unsigned long handle, _DMStreamingInfo* info);

private:
    void* Allocate(unsigned long size);
    void DividePrimary(uint32_t bytes);
    void NewPreMix();
    void FreeBlock(void* block);
    _DMSound** Slot(unsigned long handle);
    _DMSound* NewSound(unsigned char* data, unsigned long length, unsigned short flags);
    void QueueStream(_DMSound* sound, DMStreamingCallback callback, _DMStreamingInfo* info);
    void PlaceOnTrack(_DMNote* note);
    void PlaceByClass(_DMNote* note);
    void MixTrack(_DMTrack* track);
    void EndSampledNote(_DMTrack* track, _DMNote* note);
    void PoolQueuedNote(_DMNote* previous, _DMNote* note);
    bool FillBuffer(IDirectSoundBuffer* buffer, unsigned long offset, unsigned long bytes, _DMSound* sound);
    void RefillStream(_DMNote* note);
    unsigned short ReadWAVE(FILE* file, _SOUNDHDR* header, int headerOnly);
};

#pragma pack(pop)

// The library's own streaming callback: loops the region described by `info`
// from memory or from a file. Does nothing until a sound card was opened.
TVX_API void DefaultStreamingCallback(unsigned char* destination, unsigned long bytes, unsigned char bitsPerSample,
                                      _DMStreamingInfo* info);

#endif
