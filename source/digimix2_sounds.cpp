// digimix2_sounds.cpp - Digimix's sounds by handle, WAVE loading and
// streaming.
//
// A sound owns a DirectSound secondary buffer; PlaySound plays a duplicate
// of it, so plays of one sound overlap. A streaming sound loops its buffer,
// and CheckForStreaming refills whichever half the play cursor has just
// left. WAVE files are read chunk by chunk, trusting no size: a chunk that
// claims more bytes than the file holds is a truncated file.
#include "tollivex/digimix2.h"

#include "tollivex/diskdata.h"
#include "tollivex/memman.h"
#include "digimix2_internal.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

using namespace digimix2;

namespace {

const uint32_t kGrowSlots = 20;
const unsigned long kNoHandle = 0xFFFFFFFF;
const uint32_t kBufferLost = 0x88780096;

static_assert(sizeof(_DMSound*) <= 8, "one slot past the sound array must fit in its guard bytes");

// --- reading WAVE files --------------------------------------------------

struct ChunkHeader {
    char id[4];
    uint32_t size;
};

uint32_t Little32(const unsigned char* bytes)
{
    return bytes[0] | bytes[1] << 8 | bytes[2] << 16 | uint32_t(bytes[3]) << 24;
}

uint16_t Little16(const unsigned char* bytes)
{
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

bool ReadExactly(FILE* file, void* into, size_t bytes)
{
    return std::fread(into, 1, bytes, file) == bytes;
}

bool ReadChunkHeader(FILE* file, ChunkHeader* header)
{
    unsigned char bytes[8];
    if (!ReadExactly(file, bytes, sizeof bytes))
        return false;
    std::memcpy(header->id, bytes, 4);
    header->size = Little32(bytes + 4);
    return true;
}

bool Is(const char* id, const char* expected)
{
    return std::memcmp(id, expected, 4) == 0;
}

long FileLength(FILE* file)
{
    std::fseek(file, 0, SEEK_END);
    const long length = std::ftell(file);
    std::fseek(file, 0, SEEK_SET);
    return length;
}

// Moves `bytes` on from the current position; false when that is past the end.
bool Skip(FILE* file, uint64_t bytes, long length)
{
    const long here = std::ftell(file);
    if (here < 0 || here + bytes > static_cast<uint64_t>(length))
        return false;
    return std::fseek(file, static_cast<long>(here + bytes), SEEK_SET) == 0;
}

// Leaves the file just behind "WAVE". Chunks before the form are skipped
// whole, padding odd sizes.
unsigned short FindWaveForm(FILE* file, long length)
{
    uint64_t position = 0;
    while (position < static_cast<uint64_t>(length)) {
        ChunkHeader chunk;
        if (std::fseek(file, static_cast<long>(position), SEEK_SET) != 0 || !ReadChunkHeader(file, &chunk))
            return ERR_WAVE_READ;
        if (Is(chunk.id, "RIFF")) {
            char form[4];
            if (!ReadExactly(file, form, sizeof form))
                return ERR_WAVE_READ;
            if (Is(form, "WAVE"))
                return 0;
        }
        position += uint64_t(chunk.size) + (chunk.size & 1) + 8;
    }
    return ERR_WAVE_NOT_WAVE;
}

struct WaveFormat {
    uint16_t tag;
    uint16_t channels;
    uint32_t rate;
    uint16_t bits;
};

unsigned short ReadFormatChunk(FILE* file, long length, WaveFormat* format)
{
    ChunkHeader chunk;
    if (!ReadChunkHeader(file, &chunk))
        return ERR_WAVE_READ;
    if (!Is(chunk.id, "fmt "))
        return ERR_WAVE_NOT_WAVE;
    unsigned char bytes[16];
    if (!ReadExactly(file, bytes, sizeof bytes))
        return ERR_WAVE_READ;
    *format = WaveFormat{Little16(bytes), Little16(bytes + 2), Little32(bytes + 4), Little16(bytes + 14)};
    if (format->tag != 1 || format->channels != 1 || format->bits != 8) {
        char line[80];
        std::snprintf(line, sizeof line, "Tag: %d, channels %d, FormatSpecific: %d", format->tag,
                      format->channels, format->bits);
        _DebugMessage(line);
        _AssertMsg(kSource, __LINE__);
        return ERR_WAVE_FORMAT;
    }
    // The rest of the format chunk, without a pad byte; a size below 16
    // cannot be skipped backwards and counts as damage.
    if (chunk.size < 16 || !Skip(file, chunk.size - 16u, length))
        return ERR_WAVE_READ;
    return 0;
}

} // namespace

// --- the sound array ----------------------------------------------------------

// The slot of a handle, as far as the array's memory reaches: the slot one
// past the end (where a grown array files its newest sound) lies in the
// block's upper guard bytes; anything further is no slot at all.
_DMSound** Digimix::Slot(unsigned long handle)
{
    if (soundArray == nullptr || handle > soundCapacity)
        return nullptr;
    return soundArray + handle;
}

unsigned long Digimix::AddSoundToArray(_DMSound* sound)
{
    if (!initialised)
        return 0;
    for (uint32_t i = 0; i < soundCapacity; ++i) {
        if (soundArray[i] == nullptr) {
            soundArray[i] = sound;
            return i;
        }
    }
    auto* grown = static_cast<_DMSound**>(Allocate((soundCapacity + kGrowSlots) * sizeof(_DMSound*)));
    if (grown == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return kNoHandle;
    }
    if (soundArray != nullptr)
        std::copy(soundArray, soundArray + soundCapacity, grown);
    std::fill(grown + soundCapacity, grown + soundCapacity + kGrowSlots, nullptr);
    FreeBlock(soundArray);
    soundArray = grown;
    soundCapacity += kGrowSlots;
    // The new sound is numbered one past the grown array, as games have
    // always seen it; every later handle check refuses that number.
    *Slot(soundCapacity) = sound;
    return soundCapacity;
}

_DMSound* Digimix::RemoveSoundFromArray(unsigned long handle)
{
    _DMSound** slot = initialised ? Slot(handle) : nullptr;
    if (slot == nullptr)
        return nullptr;
    _DMSound* sound = *slot;
    *slot = nullptr;
    return sound;
}

// --- creating, playing and deleting sounds --------------------------------------

_DMSound* Digimix::NewSound(unsigned char* data, unsigned long length, unsigned short flags)
{
    auto* sound = static_cast<_DMSound*>(Allocate(sizeof(_DMSound)));
    if (sound == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return nullptr;
    }
    std::memset(sound, 0, sizeof(_DMSound));
    sound->flags = flags;
    sound->length = static_cast<uint32_t>(length);
    if (data == nullptr)
        return sound;
    sound->data = static_cast<uint8_t*>(Allocate(length));
    if (sound->data != nullptr)
        std::memcpy(sound->data, data, length);
    else
        _AssertMsg(kSource, __LINE__);
    return sound;
}

// A stream's note stays on the queue for as long as the sound lives, so
// that CheckForStreaming finds it.
void Digimix::QueueStream(_DMSound* sound, DMStreamingCallback callback, _DMStreamingInfo* info)
{
    if (callback == nullptr)
        _AssertMsg(kSource, __LINE__);
    if (info != nullptr)
        std::memcpy(&sound->info, info, sizeof(_DMStreamingInfo));
    else
        sound->info.source = nullptr;
    sound->callback = callback;
    _DMNote* note = GetNewNote();
    if (note == nullptr)
        return;
    note->buffer = sound->buffer;
    note->sound = sound;
    note->flags = sound->flags;
    note->param3 = defaultParam3;
    note->param4 = defaultParam4;
    note->end = sound->length - 1;
    note->remaining = sound->length;
    QueueNote(note);
}

unsigned long Digimix::CreateSound(unsigned char* data, unsigned long length, unsigned short flags,
                                   DMStreamingCallback callback, _DMStreamingInfo* info)
{
    if (!initialised)
        return 0;
    _DMSound* sound = NewSound(data, length, flags);
    if (sound == nullptr)
        return kNoHandle;
    const unsigned long handle = AddSoundToArray(sound);

    // 3D, frequency, pan and volume controls; a sound played whole is static.
    const bool streaming = (flags & DMNOTE_STREAMING) != 0;
    WAVEFORMATEX format = PcmFormat(sampleRate, channels, bitsPerSample);
    DSBUFFERDESC1 desc;
    std::memset(&desc, 0, sizeof desc);
    desc.dwSize = sizeof desc;
    desc.dwFlags = DSBCAPS_CTRL3D | DSBCAPS_CTRLFREQUENCY | DSBCAPS_CTRLPAN | DSBCAPS_CTRLVOLUME |
                   (streaming ? 0 : DSBCAPS_STATIC);
    desc.dwBufferBytes = static_cast<DWORD>(length);
    desc.lpwfxFormat = &format;
    IDirectSoundBuffer* buffer = nullptr;
    const HRESULT result = directSound->CreateSoundBuffer(reinterpret_cast<LPCDSBUFFERDESC>(&desc), &buffer, nullptr);
    if (FAILED(result)) {
        LogFailure("CreateSoundBuffer", result);
        LogErrorName(ErrorNames::CreateBuffer, result);
        _AssertMsg(kSource, __LINE__);
        // The record keeps its slot; callers have always been handed 1 here.
        return 1;
    }
    sound->buffer = buffer;
    if (streaming)
        QueueStream(sound, callback, info);
    if (FillBuffer(buffer, 0, length, sound) && streaming)
        buffer->Play(0, 0, DSBPLAY_LOOPING);
    return handle;
}

// Fills a range of a sound's buffer: its samples, or for a streaming sound
// whatever the callback delivers.
bool Digimix::FillBuffer(IDirectSoundBuffer* buffer, unsigned long offset, unsigned long bytes, _DMSound* sound)
{
    LPVOID part1 = nullptr;
    LPVOID part2 = nullptr;
    DWORD bytes1 = 0;
    DWORD bytes2 = 0;
    if (FAILED(LockRestoring(buffer, static_cast<DWORD>(offset), static_cast<DWORD>(bytes), &part1, &bytes1,
                             &part2, &bytes2))) {
        _AssertMsg(kSource, __LINE__);
        return false;
    }
    if (part2 != nullptr)
        _AssertMsg(kSource, __LINE__);
    auto* out = static_cast<unsigned char*>(part1);
    const bool streaming = (sound->flags & DMNOTE_STREAMING) != 0;
    if (!streaming && sound->data != nullptr)
        std::memcpy(out, sound->data + offset, std::min<unsigned long>(bytes1, sound->length - offset));
    // Without a callback the stream keeps whatever its buffer holds.
    if (streaming && sound->callback != nullptr)
        sound->callback(out, bytes1, bitsPerSample, &sound->info);
    buffer->Unlock(part1, bytes1, part2, bytes2);
    return true;
}

void Digimix::PlaySound(unsigned long handle, unsigned short flags, unsigned short track, unsigned short param3,
                        unsigned short param4)
{
    if (!initialised)
        return;
    if (handle >= soundCapacity)
        _AssertMsg(kSource, __LINE__);
    _DMSound** slot = Slot(handle);
    _DMSound* sound = slot != nullptr ? *slot : nullptr;
    if (sound == nullptr)
        return;
    if (param3 == 0xFFFF)
        param3 = defaultParam3;
    if (param4 == 0xFFFF)
        param4 = defaultParam4;
    _DMNote* note = GetNewNote();
    if (note == nullptr)
        return;
    IDirectSoundBuffer* copy = nullptr;
    HRESULT result = directSound->DuplicateSoundBuffer(sound->buffer, &copy);
    if (FAILED(result)) {
        LogFailure("DuplicateSoundBuffer", result);
        LogErrorName(ErrorNames::DuplicateBuffer, result);
        _AssertMsg(kSource, __LINE__);
        return;
    }
    note->buffer = copy;
    note->data = sound->data;
    note->flags = flags;
    note->track = track;
    note->param3 = param3;
    note->param4 = param4;
    note->end = sound->length - 1;
    note->remaining = sound->length;
    QueueNote(note);
    // Once, whatever the flags say; a copy that fails to start is freed by the next Poll.
    result = copy->Play(0, 0, 0);
    if (FAILED(result))
        LogFailure("DirectSound::Play", result);
}

void Digimix::DeleteSound(unsigned long handle)
{
    if (!initialised)
        return;
    if (handle >= soundCapacity)
        _AssertMsg(kSource, __LINE__);
    _DMSound* sound = RemoveSoundFromArray(handle);
    if (sound == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    if ((sound->flags & DMNOTE_STREAMING) && sound->buffer != nullptr) {
        sound->buffer->Stop();
        noteLock.Request();
        _DMNote* previous = nullptr;
        _DMNote* next = nullptr;
        for (_DMNote* note = noteQueue; note != nullptr; note = next) {
            next = note->next;
            if (note->buffer != sound->buffer) {
                previous = note;
                continue;
            }
            PoolQueuedNote(previous, note);
        }
        noteLock.Release();
    }
    if (sound->buffer != nullptr)
        sound->buffer->Release();
    sound->buffer = nullptr;
    FreeBlock(sound->data);
    FreeBlock(sound);
}

void Digimix::DeleteAllSounds()
{
    for (uint32_t handle = 0; initialised && soundArray != nullptr && handle < soundCapacity; ++handle) {
        if (soundArray[handle] != nullptr)
            DeleteSound(handle);
    }
}

// --- WAVE files -------------------------------------------------------------

ERRORSTATUS Digimix::LoadWAVE(DiskData* disk, char* fileName, _SOUNDHDR* header, int headerOnly)
{
    if (!initialised)
        return ERR_OK;
    if (disk == nullptr || fileName == nullptr || header == nullptr || !disk->FileExist(fileName)) {
        errorCode = ERR_WAVE_NO_FILE;
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    FILE* file = nullptr;
    if (disk->OpenFileR(fileName, &file) == ERR_FAILURE) {
        errorCode = ERR_WAVE_OPEN;
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    const unsigned short code = ReadWAVE(file, header, headerOnly);
    disk->CloseFile(&file);
    if (code != 0) {
        errorCode = code;
        return ERR_FAILURE;
    }
    std::memset(header->reserved, 0, sizeof header->reserved);
    header->volume = 64;
    return ERR_OK;
}

unsigned short Digimix::ReadWAVE(FILE* file, _SOUNDHDR* header, int headerOnly)
{
    const long length = FileLength(file);
    if (length < 0)
        return ERR_WAVE_READ;
    unsigned short code = FindWaveForm(file, length);
    WaveFormat format{};
    if (code == 0)
        code = ReadFormatChunk(file, length, &format);
    if (code != 0)
        return code;

    for (;;) {
        ChunkHeader chunk;
        if (!ReadChunkHeader(file, &chunk))
            return ERR_WAVE_READ;
        if (!Is(chunk.id, "data")) {
            if (!Skip(file, chunk.size, length))
                return ERR_WAVE_READ;
            continue;
        }
        const long here = std::ftell(file);
        header->dataOffset = static_cast<uint32_t>(here);
        if (!headerOnly) {
            // A size beyond the end of the file would read short anyway.
            if (uint64_t(here) + chunk.size > static_cast<uint64_t>(length))
                return ERR_WAVE_READ;
            void* samples = chunk.size != 0 ? Allocate(chunk.size) : nullptr;
            if (samples == nullptr && chunk.size != 0) {
                _AssertMsg(kSource, __LINE__);
                return ERR_NO_MEMORY;
            }
            if (!ReadExactly(file, samples, chunk.size)) {
                FreeBlock(samples);
                return ERR_WAVE_READ;
            }
            header->data = static_cast<uint8_t*>(samples);
        }
        header->channels = format.channels;
        header->sampleRate = format.rate;
        header->dataLength = chunk.size;
        return 0;
    }
}

void Digimix::FreeSound(_SOUNDHDR* header)
{
    if (!initialised || header == nullptr)
        return;
    FreeBlock(header->data);
    header->data = nullptr;
}

// --- streaming --------------------------------------------------------------

void Digimix::CheckForStreaming()
{
    if (!initialised)
        return;
    noteLock.Request();
    for (_DMNote* note = noteQueue; note != nullptr; note = note->next) {
        if (note->flags & DMNOTE_STREAMING)
            RefillStream(note);
    }
    noteLock.Release();
}

// Refills the half the play cursor has just left while the other plays.
void Digimix::RefillStream(_DMNote* note)
{
    DWORD play = 0;
    DWORD write = 0;
    if (note->buffer == nullptr || note->sound == nullptr || FAILED(note->buffer->GetCurrentPosition(&play, &write)))
        return;
    const uint32_t size = note->end + 1;
    const uint32_t half = size / 2;
    if (half == 0)
        return;
    const auto part = static_cast<uint16_t>(play / half);
    if (part == note->streamHalf)
        return;
    note->streamHalf = part;
    if (part == 0)
        FillBuffer(note->buffer, half, size - half, note->sound);
    else
        FillBuffer(note->buffer, 0, half, note->sound);
}

void Digimix::SetNewStream(unsigned long handle, _DMStreamingInfo* info)
{
    if (!initialised)
        return;
    if (handle >= soundCapacity)
        _AssertMsg(kSource, __LINE__);
    _DMSound** slot = Slot(handle);
    if (slot == nullptr || *slot == nullptr)
        return;
    if (info != nullptr)
        std::memcpy(&(*slot)->info, info, sizeof(_DMStreamingInfo));
    else
        std::memset(&(*slot)->info, 0, sizeof(_DMStreamingInfo));
}

// --- the library's streaming callback ---------------------------------------

namespace {

void DeliverSilence(unsigned char* destination, unsigned long bytes, unsigned char bits)
{
    if (bits == 16)
        std::memset(destination, 0, bytes / 2 * 2);
    else
        std::memset(destination, 0x80, bytes);
}

// Hands out the looped region in pieces that end at its end or at `bytes`.
template <typename Deliver>
void Loop(unsigned long bytes, _DMStreamingInfo* info, Deliver deliver)
{
    for (unsigned long done = 0; done < bytes;) {
        if (info->position >= info->length)
            info->position = 0;
        const unsigned long chunk = std::min<unsigned long>(info->length - info->position, bytes - done);
        deliver(done, uint64_t(info->baseOffset) + info->position, chunk);
        done += chunk;
        info->position += static_cast<uint32_t>(chunk);
        if (info->position == info->length)
            info->position = 0;
    }
}

void StreamFromFile(unsigned char* destination, unsigned long bytes, unsigned char bits, _DMStreamingInfo* info)
{
    FILE* file = PlatformOpenFile(static_cast<const char*>(info->source), "rb");
    if (file == nullptr) {
        DeliverSilence(destination, bytes, bits);
        return;
    }
    Loop(bytes, info, [&](unsigned long done, uint64_t from, unsigned long chunk) {
        if (std::fseek(file, static_cast<long>(from), SEEK_SET) != 0 ||
            !ReadExactly(file, destination + done, chunk))
            _AssertMsg(kSource, __LINE__);
    });
    std::fclose(file);
}

} // namespace

void DefaultStreamingCallback(unsigned char* destination, unsigned long bytes, unsigned char bitsPerSample,
                              _DMStreamingInfo* info)
{
    if (!soundAvailable || destination == nullptr || info == nullptr)
        return;
    if (info->length == 0) {
        DeliverSilence(destination, bytes, bitsPerSample);
        return;
    }
    if (info->flags & DMSTREAM_MEMORY) {
        const auto* source = static_cast<const unsigned char*>(info->source);
        Loop(bytes, info, [&](unsigned long done, uint64_t from, unsigned long chunk) {
            std::memcpy(destination + done, source + from, chunk);
        });
    } else if ((info->flags & DMSTREAM_FILE) && info->source != nullptr) {
        StreamFromFile(destination, bytes, bitsPerSample, info);
    }
    // Neither bit: no source to read, and the destination is left alone.
}
