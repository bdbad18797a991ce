// digimix2.cpp - Digimix: the device, its format, the tracks, the note pool
// and queue, and the software mixing loop.
//
// Each track adds its sounding note's raw unsigned samples (or 128 while it
// is idle or resting) into the 16-bit pre-mix, so N silent tracks sum to
// N x 128; MixInPreMix clips that sum into 8-bit output. The pre-mix is
// bounded by its allocation: a block longer than a segment is cut there.
// Sounds by handle, WAVE files and streaming live in digimix2_sounds.cpp.
#include "tollivex/digimix2.h"

#include "tollivex/memman.h"
#include "digimix2_internal.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace digimix2 {

const char* const kSource = "digimix2";
int32_t soundAvailable = 0;

namespace {

struct ErrorName {
    uint32_t result;
    const char* name;
};

const ErrorName kCreateBufferNames[] = {
    {0x80000001, "DSERR_UNSUPPORTED"},   {0x80000002, "DSERR_OUTOFMEMORY"}, {0x80000003, "DSERR_INVALIDPARAM"},
    {0x80040110, "DSERR_NOAGGREGATION"}, {0x8878000A, "DSERR_ALLOCATED"},   {0x88780064, "DSERR_BADFORMAT"},
    {0x887800AA, "DSERR_UNINITIALIZED"},
};

const ErrorName kDuplicateBufferNames[] = {
    {0x8878000A, "DSERR_ALLOCATED"},   {0x80000003, "DSERR_INVALIDPARAM"},  {0x88780032, "DSERR_INVALIDCALL"},
    {0x80000002, "DSERR_OUTOFMEMORY"}, {0x887800AA, "DSERR_UNINITIALIZED"},
};

uint32_t Low16(HRESULT result)
{
    return static_cast<uint32_t>(result) & 0xFFFF;
}

} // namespace

void LogFailure(const char* call, HRESULT result)
{
    char line[128];
    std::snprintf(line, sizeof line, "Error with %s: Error Code %u", call, static_cast<unsigned>(Low16(result)));
    _DebugMessage(line);
}

void LogErrorName(ErrorNames table, HRESULT result)
{
    const uint32_t value = Low16(result);
    auto log = [value](const auto& names) {
        for (const ErrorName& entry : names) {
            if (entry.result == value)
                _DebugMessage(entry.name);
        }
    };
    if (table == ErrorNames::CreateBuffer)
        log(kCreateBufferNames);
    else
        log(kDuplicateBufferNames);
}

WAVEFORMATEX PcmFormat(unsigned long rate, unsigned long channels, unsigned char bits)
{
    WAVEFORMATEX format;
    std::memset(&format, 0, sizeof format);
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = static_cast<WORD>(channels);
    format.nSamplesPerSec = static_cast<DWORD>(rate);
    format.nBlockAlign = static_cast<WORD>(bits / 8 * channels);
    format.nAvgBytesPerSec = static_cast<DWORD>(rate * format.nBlockAlign);
    format.wBitsPerSample = bits;
    return format;
}

HRESULT LockRestoring(IDirectSoundBuffer* buffer, DWORD offset, DWORD bytes, LPVOID* part1, DWORD* bytes1,
                      LPVOID* part2, DWORD* bytes2)
{
    HRESULT result = buffer->Lock(offset, bytes, part1, bytes1, part2, bytes2, 0);
    if (static_cast<uint32_t>(result) == 0x88780096) {
        buffer->Restore();
        result = buffer->Lock(offset, bytes, part1, bytes1, part2, bytes2, 0);
    }
    return result;
}

} // namespace digimix2

using namespace digimix2;

namespace {

const int kPooledNotes = 20;
const uint32_t kFirstSoundSlots = 100;
const uint32_t kTrackMask = 0xF0;

// The pre-mix as far as it reaches: entries past its end are cut, so a
// block longer than a segment (or a rest's doubled fill) cannot leave it.
struct PreMixSpan {
    uint16_t* entries;
    unsigned long size;

    unsigned long Fit(unsigned long at, unsigned long count) const
    {
        return at < size ? std::min(count, size - at) : 0;
    }
    unsigned long AddLevel(unsigned long at, unsigned long count, uint16_t level) const
    {
        for (unsigned long i = at, end = at + Fit(at, count); i < end; ++i)
            entries[i] = static_cast<uint16_t>(entries[i] + level);
        return at + count;
    }
    unsigned long AddSamples(unsigned long at, const uint8_t* samples, unsigned long count, bool stereo) const
    {
        if (!stereo) {
            for (unsigned long i = 0, n = Fit(at, count); i < n; ++i)
                entries[at + i] = static_cast<uint16_t>(entries[at + i] + samples[i]);
            return at + count;
        }
        for (unsigned long i = 0, n = Fit(at, count * 2) / 2; i < n; ++i) {
            entries[at + 2 * i] = static_cast<uint16_t>(entries[at + 2 * i] + samples[i]);
            entries[at + 2 * i + 1] = static_cast<uint16_t>(entries[at + 2 * i + 1] + samples[i]);
        }
        return at + count * 2;
    }
};

int BitLength(unsigned value)
{
    int bits = 0;
    for (; value != 0; value >>= 1)
        ++bits;
    return bits;
}

} // namespace

// --- the object -----------------------------------------------------------

Digimix::Digimix(MemManager* mm)
    : memManager(nullptr), initialised(0), sampleRate(8000), channels(1), bitsPerSample(8), reserved(0),
      trackShift(0), clipHigh(0), silenceLevel(0), clipLow(0), outputBias(0), tracks(nullptr), preMix(nullptr),
      segmentBytes(0), preMixBytes(0), mixOffset(0), mixLength(0), noteQueue(nullptr), freeNotes(nullptr),
      reserved2(0), segmentCount(0), errorCode(0), defaultParam3(0), defaultParam4(0), soundArray(nullptr),
      soundCapacity(0), directSound(nullptr), primaryBuffer(nullptr), primaryBytes(0)
{
    AssociateMemMan(mm);
    for (int i = 0; i < kPooledNotes; ++i) {
        auto* note = static_cast<_DMNote*>(Allocate(sizeof(_DMNote)));
        if (note == nullptr) {
            _AssertMsg(kSource, __LINE__);
            continue;
        }
        std::memset(note, 0, sizeof(_DMNote));
        note->next = freeNotes;
        freeNotes = note;
    }
    soundArray = static_cast<_DMSound**>(Allocate(kFirstSoundSlots * sizeof(_DMSound*)));
    if (soundArray == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    std::fill(soundArray, soundArray + kFirstSoundSlots, nullptr);
    soundCapacity = kFirstSoundSlots;
}

Digimix::~Digimix()
{
    DeleteAllSounds();
    for (_DMNote* list : {freeNotes, noteQueue}) {
        while (list != nullptr) {
            _DMNote* next = list->next;
            FreeBlock(list);
            list = next;
        }
    }
    freeNotes = nullptr;
    noteQueue = nullptr;
    FreeBlock(soundArray);
    soundArray = nullptr;
    UninitTracks();
}

void Digimix::AssociateMemMan(MemManager* mm)
{
    memManager = mm;
}

void* Digimix::Allocate(unsigned long size)
{
    void* block = nullptr;
    if (memManager == nullptr || memManager->Allocate(&block, size) == ERR_FAILURE)
        return nullptr;
    return block;
}

void Digimix::FreeBlock(void* block)
{
    if (memManager != nullptr && block != nullptr)
        memManager->Free(&block);
}

// --- the device -------------------------------------------------------------

ERRORSTATUS Digimix::InitSoundCard(void* windowHandle, unsigned long rate, unsigned long channelCount,
                                   unsigned char bits)
{
    initialised = 0;
    soundAvailable = 0;

    IDirectSound* device = nullptr;
    if (FAILED(DirectSoundCreate(nullptr, &device, nullptr))) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    directSound = device;
    if (FAILED(directSound->SetCooperativeLevel(static_cast<HWND>(windowHandle), DSSCL_EXCLUSIVE))) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }

    DSBUFFERDESC1 desc;
    std::memset(&desc, 0, sizeof desc);
    desc.dwSize = sizeof desc;
    desc.dwFlags = DSBCAPS_PRIMARYBUFFER;
    IDirectSoundBuffer* primary = nullptr;
    const HRESULT result =
        directSound->CreateSoundBuffer(reinterpret_cast<LPCDSBUFFERDESC>(&desc), &primary, nullptr);
    if (FAILED(result)) {
        LogFailure("CreateSoundBuffer", result);
        LogErrorName(ErrorNames::CreateBuffer, result);
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    primaryBuffer = primary;

    // A refused format still leaves the device open: the game can try another.
    SetFormat(rate, channelCount, bits, 0);
    initialised = 1;
    soundAvailable = 1;
    return ERR_OK;
}

void Digimix::UninitSoundCard()
{
    if (!initialised)
        return;
    DeleteAllSounds();
    initialised = 0;
    if (primaryBuffer != nullptr)
        primaryBuffer->Release();
    if (directSound != nullptr)
        directSound->Release();
}

ERRORSTATUS Digimix::SetFormat(unsigned long rate, unsigned long channelCount, unsigned char bits,
                               unsigned long segment)
{
    _DebugMessage("Begin SetFormat");
    if ((channelCount != 1 && channelCount != 2) || (bits != 8 && bits != 16) || primaryBuffer == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    segmentBytes = static_cast<uint32_t>(segment);

    const WAVEFORMATEX format = PcmFormat(rate, channelCount, bits);
    HRESULT result = primaryBuffer->SetFormat(&format);
    if (FAILED(result)) {
        LogFailure("SetFormat", result);
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    DSBCAPS caps;
    std::memset(&caps, 0, sizeof caps);
    caps.dwSize = sizeof caps;
    result = primaryBuffer->GetCaps(&caps);
    if (FAILED(result)) {
        LogFailure("GetCaps", result);
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }

    DividePrimary(caps.dwBufferBytes);
    sampleRate = static_cast<uint32_t>(rate);
    channels = static_cast<uint32_t>(channelCount);
    bitsPerSample = bits;
    NewPreMix();
    _DebugMessage("End SetFormat");
    return ERR_OK;
}

// Four segments when the buffer divides by four, else two halves.
void Digimix::DividePrimary(uint32_t bytes)
{
    primaryBytes = bytes;
    if (primaryBytes & 3) {
        segmentCount = 2;
        segmentBytes = primaryBytes / 2;
        _DebugMessage("Sound Buffer divided in half");
    } else {
        segmentCount = 4;
        segmentBytes = primaryBytes / 4;
        _DebugMessage("Sound Buffer divided into fourths");
    }
}

// The accumulator of an earlier format is given back rather than left
// allocated for the life of the process.
void Digimix::NewPreMix()
{
    FreeBlock(preMix);
    preMixBytes = segmentBytes * 2;
    preMix = static_cast<uint16_t*>(Allocate(preMixBytes));
    if (preMix == nullptr)
        _AssertMsg(kSource, __LINE__);
    else
        std::memset(preMix, 0, preMixBytes);
}

// --- the tracks -------------------------------------------------------------

ERRORSTATUS Digimix::InitTracks(unsigned char trackCount)
{
    if (!initialised)
        return ERR_OK;
    UninitTracks();
    trackShift = static_cast<uint8_t>(std::max(BitLength(trackCount) - 1, 0));
    const unsigned count = 1u << trackShift;
    silenceLevel = static_cast<uint16_t>(count * 128);
    clipHigh = static_cast<uint16_t>(silenceLevel + 127);
    clipLow = static_cast<uint16_t>(silenceLevel - 127);
    outputBias = static_cast<uint16_t>(silenceLevel - 128);

    for (unsigned i = 0; i < count; ++i) {
        auto* track = static_cast<_DMTrack*>(Allocate(sizeof(_DMTrack)));
        if (track == nullptr) {
            _AssertMsg(kSource, __LINE__);
            continue;
        }
        track->notes = nullptr;
        track->mask = kTrackMask;
        track->number = static_cast<uint16_t>(i + 1);
        track->next = tracks;
        tracks = track;
    }
    if (preMix != nullptr)
        std::fill(preMix, preMix + std::min(segmentBytes, preMixBytes / 2), silenceLevel);
    return ERR_OK;
}

void Digimix::UninitTracks()
{
    if (!initialised)
        return;
    while (tracks != nullptr) {
        _DMTrack* track = tracks;
        tracks = track->next;
        while (track->notes != nullptr) {
            _DMNote* note = track->notes;
            track->notes = note->next;
            FreeBlock(note);
        }
        FreeBlock(track);
    }
}

ERRORSTATUS Digimix::SetTrack()
{
    return ERR_OK;
}

// --- notes ------------------------------------------------------------------

_DMNote* Digimix::GetNewNote()
{
    if (!initialised)
        return nullptr;
    _DMNote* note = freeNotes;
    if (note != nullptr) {
        freeNotes = note->next;
    } else {
        note = static_cast<_DMNote*>(Allocate(sizeof(_DMNote)));
        if (note == nullptr) {
            _AssertMsg(kSource, __LINE__);
            return nullptr;
        }
    }
    std::memset(note, 0, sizeof(_DMNote));
    return note;
}

void Digimix::QueueNote(_DMNote* note)
{
    if (!initialised || note == nullptr)
        return;
    noteLock.Request();
    note->next = noteQueue;
    noteQueue = note;
    noteLock.Release();
}

void Digimix::PlaySound(void* data, unsigned long start, unsigned long end, unsigned short flags,
                        unsigned short track, unsigned short param3, unsigned short param4)
{
    if (!initialised)
        return;
    // Out of memory has already been reported; without a note there is nothing to play.
    _DMNote* note = GetNewNote();
    if (note == nullptr)
        return;
    note->next = nullptr;
    note->data = static_cast<uint8_t*>(data);
    note->flags = flags;
    note->track = track;
    note->param3 = param3;
    note->param4 = param4;
    note->end = static_cast<uint32_t>(end);
    note->start = static_cast<uint32_t>(start);
    note->position = note->start;
    // Two short of the span on the first pass; a loop's later passes reset to the full span.
    note->remaining = note->end - note->start - 1;
    QueueNote(note);
}

// --- placing notes on tracks ------------------------------------------------

int Digimix::QueueNewNotes()
{
    if (!initialised || !noteLock.RequestIfFree())
        return 0;
    while (noteQueue != nullptr) {
        _DMNote* note = noteQueue;
        noteQueue = note->next;
        if (note->track != 0)
            PlaceOnTrack(note);
        else
            PlaceByClass(note);
    }
    noteLock.Release();
    return 1;
}

namespace {

void MakeHead(_DMTrack* track, _DMNote* note)
{
    note->flags |= DMNOTE_SOUNDING;
    note->next = nullptr;
    track->notes = note;
}

void Append(_DMTrack* track, _DMNote* note)
{
    _DMNote* last = track->notes;
    while (last->next != nullptr)
        last = last->next;
    note->next = nullptr;
    last->next = note;
}

bool HeadLoops(const _DMTrack* track)
{
    return (track->notes->flags & DMNOTE_LOOP) != 0;
}

} // namespace

// A note behind a looping head would never sound, so it is dropped instead.
void Digimix::PlaceOnTrack(_DMNote* note)
{
    _DMTrack* track = tracks;
    while (track != nullptr && track->number != note->track)
        track = track->next;
    if (track == nullptr)
        _AssertMsg(kSource, __LINE__);
    else if (track->notes == nullptr)
        MakeHead(track, note);
    else if (!HeadLoops(track))
        Append(track, note);
}

void Digimix::PlaceByClass(_DMNote* note)
{
    if (note->flags < 16)
        _AssertMsg(kSource, __LINE__);
    for (_DMTrack* track = tracks; track != nullptr; track = track->next) {
        if (track->notes == nullptr && (track->mask & note->flags)) {
            MakeHead(track, note);
            return;
        }
    }
    for (_DMTrack* track = tracks; track != nullptr; track = track->next) {
        if ((track->mask & note->flags) && !HeadLoops(track)) {
            Append(track, note);
            return;
        }
    }
}

// --- mixing -----------------------------------------------------------------

void Digimix::FillPreMix()
{
    if (!initialised || preMix == nullptr)
        return;
    std::fill(preMix, preMix + PreMixSpan{preMix, preMixBytes / 2}.Fit(0, mixLength), uint16_t(0));
    for (_DMTrack* track = tracks; track != nullptr; track = track->next)
        MixTrack(track);
}

// The note has played its pass: it starts over, and unless it loops it
// leaves the track for the pool and the note behind it sounds.
void Digimix::EndSampledNote(_DMTrack* track, _DMNote* note)
{
    note->remaining = note->end - note->start + 1;
    note->position = note->start;
    note->flags = static_cast<uint16_t>((note->flags & ~DMNOTE_SOUNDING) | DMNOTE_ENDED);
    if (note->flags & DMNOTE_LOOP) {
        note->flags |= DMNOTE_SOUNDING;
        return;
    }
    track->notes = note->next;
    if (track->notes != nullptr)
        track->notes->flags |= DMNOTE_SOUNDING;
    note->next = freeNotes;
    freeNotes = note;
}

void Digimix::MixTrack(_DMTrack* track)
{
    const bool stereo = channels == 2;
    const PreMixSpan span{preMix, preMixBytes / 2};
    unsigned long at = 0;
    unsigned long count = stereo ? mixLength / 2 : mixLength;
    while (count != 0) {
        _DMNote* note = track->notes;
        if (note == nullptr) {
            _DebugMessage("silence");
            span.AddLevel(at, stereo ? count * 2 : count, 128);
            return;
        }
        unsigned long taken = 0;
        if (note->flags & DMNOTE_SAMPLED) {
            _DebugMessage("Note");
            const uint8_t* samples = note->data + note->position;
            if (note->remaining > count) {
                _DebugMessage("Mark 1");
                taken = count;
                note->remaining -= static_cast<uint32_t>(count);
                note->position += static_cast<uint32_t>(count);
            } else {
                _DebugMessage("Mark 2");
                taken = note->remaining;
                EndSampledNote(track, note);
            }
            _DebugMessage("note");
            at = span.AddSamples(at, samples, taken, stereo);
        } else if (note->flags & DMNOTE_REST) {
            if (note->remaining > count) {
                taken = count;
                note->remaining -= static_cast<uint32_t>(count);
            } else {
                taken = note->remaining;
                note->remaining = note->end - note->start - 1;
                note->position = note->start;
                track->notes = note->next;
            }
            // A rest fills entries in pairs whatever the channel count.
            at = span.AddLevel(at, taken * 2, 128);
        } else {
            // A note that neither sounds nor rests can never use up the
            // block; it stays at the head and this track's block ends here.
            if (!(note->flags & DMNOTE_MUTE))
                _AssertMsg(kSource, __LINE__);
            return;
        }
        count -= taken;
    }
}

int Digimix::MixInPreMix()
{
    if (!initialised)
        return 0;
    LPVOID part1 = nullptr;
    LPVOID part2 = nullptr;
    DWORD bytes1 = 0;
    DWORD bytes2 = 0;
    if (FAILED(LockRestoring(primaryBuffer, mixOffset, mixLength, &part1, &bytes1, &part2, &bytes2))) {
        _DebugMessage("Problems with mixing");
        return 0;
    }
    if (bitsPerSample == 8 && preMix != nullptr) {
        const PreMixSpan span{preMix, preMixBytes / 2};
        unsigned long from = 0;
        auto clip = [this, &span, &from](void* part, DWORD bytes) {
            auto* out = static_cast<uint8_t*>(part);
            const unsigned long n = part != nullptr ? span.Fit(from, bytes) : 0;
            for (unsigned long i = 0; i < n; ++i) {
                const uint16_t v = span.entries[from + i];
                // In range maps to 1..255, an underflow to 0.
                out[i] = v > clipHigh ? 255 : v >= clipLow ? static_cast<uint8_t>(v - outputBias) : 0;
            }
            from += n;
        };
        clip(part1, bytes1);
        clip(part2, bytes2);
    }
    primaryBuffer->Unlock(part1, bytes1, part2, bytes2);
    return 0;
}

// --- finishing hardware notes -------------------------------------------------

int Digimix::Poll()
{
    if (initialised) {
        CheckForFinishedNotes();
        CheckForStreaming();
    }
    return 0;
}

// A streaming note is passed over without becoming the note before the next
// one, so finishing the note behind it unlinks the stream too; games rely on
// the walk exactly as it is.
void Digimix::CheckForFinishedNotes()
{
    if (!initialised)
        return;
    noteLock.Request();
    _DMNote* kept = nullptr;
    _DMNote* next = nullptr;
    for (_DMNote* note = noteQueue; note != nullptr; note = next) {
        next = note->next;
        if (note->flags & DMNOTE_STREAMING)
            continue;
        // A software note waiting for QueueNewNotes has no buffer to ask.
        DWORD status = 0;
        const HRESULT result = note->buffer != nullptr ? note->buffer->GetStatus(&status) : DS_OK;
        if (FAILED(result))
            LogFailure("DirectSound::GetStatus", result);
        if (note->buffer == nullptr || FAILED(result) || (status & DSBSTATUS_PLAYING)) {
            kept = note;
            continue;
        }
        note->buffer->Release();
        note->buffer = nullptr;
        PoolQueuedNote(kept, note);
    }
    noteLock.Release();
}

// Takes a note out of the queue, where it stands behind `previous` (or at
// the head), and puts it back in the pool.
void Digimix::PoolQueuedNote(_DMNote* previous, _DMNote* note)
{
    (previous != nullptr ? previous->next : noteQueue) = note->next;
    note->next = freeNotes;
    freeNotes = note;
}
