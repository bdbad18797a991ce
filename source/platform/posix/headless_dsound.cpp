// headless_dsound.cpp - the headless sound device: DirectSound over memory
// rings whose play cursors move only when the virtual clock does.
//
// The primary buffer plays from its creation; every HeadlessAdvance appends
// the bytes its cursor passes to the captured output, with every playing
// secondary of the same format summed in, as a sound card would mix them.
// Duplicates share their original's samples and have cursors of their own.
// The primary may be locked at any cooperative level, so the software mixer's
// output can be captured and checked.
//
// Object shells are never freed, only marked dead (their samples are): a
// stale pointer then answers DSERR_INVALIDCALL instead of touching freed
// memory. Every call is traced and may be failed through headless_core.
#include "platform/posix/headless_core.h"
#include "platform/posix/win_dsound.h"
#include "tollivex/headless.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <vector>

namespace {

const unsigned long kDefaultPrimaryBytes = 65536;

struct Format {
    uint32_t rate = 22050;
    uint16_t channels = 2;
    uint16_t bits = 16;

    uint32_t BlockAlign() const { return channels * (bits / 8u); }
    uint8_t Silence() const { return bits == 8 ? 0x80 : 0; }
    bool operator==(const Format& other) const
    {
        return rate == other.rate && channels == other.channels && bits == other.bits;
    }
};

bool Acceptable(const WAVEFORMATEX* format)
{
    if (format == nullptr || format->wFormatTag != WAVE_FORMAT_PCM || format->nSamplesPerSec == 0)
        return false;
    if (format->nChannels != 1 && format->nChannels != 2)
        return false;
    if (format->wBitsPerSample != 8 && format->wBitsPerSample != 16)
        return false;
    const uint32_t blockAlign = format->nChannels * (format->wBitsPerSample / 8u);
    return format->nBlockAlign == blockAlign && format->nAvgBytesPerSec == format->nSamplesPerSec * blockAlign;
}

struct Shell {
    virtual ~Shell() = default;
    virtual void Die() { alive = false; }
    bool alive = true;
};

struct HeadlessDevice;

struct HeadlessBuffer final : IDirectSoundBuffer, Shell {
    const HeadlessDevice* owner = nullptr;
    bool primary = false;
    DWORD flags = 0;
    Format format;
    std::shared_ptr<std::vector<uint8_t>> samples;
    uint32_t cursor = 0;
    uint64_t frameCarry = 0; // rate x milliseconds not yet a whole frame
    bool playing = false;
    bool looping = false;

    uint32_t Size() const { return static_cast<uint32_t>(samples->size()); }
    void Die() override
    {
        Shell::Die();
        samples.reset();
    }

    // Frames the cursor passes in `milliseconds`; whole frames only, so a
    // 16-bit or stereo cursor never stops inside a sample.
    uint32_t FramesIn(unsigned long milliseconds)
    {
        frameCarry += uint64_t(format.rate) * milliseconds;
        const uint64_t frames = frameCarry / 1000;
        frameCarry %= 1000;
        return static_cast<uint32_t>(frames);
    }

    HRESULT GetCaps(LPDSBCAPS caps) override;
    HRESULT GetCurrentPosition(LPDWORD play, LPDWORD write) override;
    HRESULT GetStatus(LPDWORD status) override;
    HRESULT Lock(DWORD offset, DWORD bytes, LPVOID* part1, LPDWORD bytes1, LPVOID* part2, LPDWORD bytes2,
                 DWORD lockFlags) override;
    HRESULT Play(DWORD, DWORD, DWORD playFlags) override;
    HRESULT SetFormat(LPCWAVEFORMATEX wfx) override;
    HRESULT Stop() override;
    HRESULT Unlock(LPVOID, DWORD, LPVOID, DWORD) override;
    HRESULT Restore() override;
    ULONG Release() override;
};

struct HeadlessDevice final : IDirectSound, Shell {
    HRESULT CreateSoundBuffer(LPCDSBUFFERDESC desc, LPDIRECTSOUNDBUFFER* made, IUnknown*) override;
    HRESULT DuplicateSoundBuffer(LPDIRECTSOUNDBUFFER original, LPDIRECTSOUNDBUFFER* duplicate) override;
    HRESULT SetCooperativeLevel(HWND window, DWORD level) override;
    ULONG Release() override;
};

struct SoundState {
    std::vector<std::unique_ptr<Shell>> shells;
    HeadlessBuffer* primary = nullptr;
    unsigned long nextPrimaryBytes = kDefaultPrimaryBytes;
    std::vector<uint8_t> captured;
};

SoundState& TheSound()
{
    static SoundState state;
    return state;
}

template <typename T>
T* Make()
{
    auto shell = std::make_unique<T>();
    T* made = shell.get();
    TheSound().shells.push_back(std::move(shell));
    return made;
}

std::vector<HeadlessBuffer*> LiveBuffers()
{
    std::vector<HeadlessBuffer*> live;
    for (auto& shell : TheSound().shells) {
        auto* buffer = dynamic_cast<HeadlessBuffer*>(shell.get());
        if (buffer != nullptr && buffer->alive)
            live.push_back(buffer);
    }
    return live;
}

HeadlessBuffer* NewBuffer(const HeadlessDevice* owner, bool primary, DWORD flags, const Format& format, DWORD bytes)
{
    HeadlessBuffer* buffer = Make<HeadlessBuffer>();
    buffer->owner = owner;
    buffer->primary = primary;
    buffer->flags = flags;
    buffer->format = format;
    buffer->samples = std::make_shared<std::vector<uint8_t>>(bytes, format.Silence());
    buffer->playing = primary;
    buffer->looping = primary;
    return buffer;
}

// --- the buffer ---------------------------------------------------------

HRESULT HeadlessBuffer::GetCaps(LPDSBCAPS caps)
{
    if (auto failure = headless::Enter("IDirectSoundBuffer::GetCaps"))
        return *failure;
    if (!alive)
        return DSERR_INVALIDCALL;
    if (caps == nullptr || caps->dwSize != sizeof(DSBCAPS))
        return DSERR_INVALIDPARAM;
    caps->dwFlags = flags;
    caps->dwBufferBytes = Size();
    caps->dwUnlockTransferRate = 0;
    caps->dwPlayCpuOverhead = 0;
    return DS_OK;
}

HRESULT HeadlessBuffer::GetCurrentPosition(LPDWORD play, LPDWORD write)
{
    if (auto failure = headless::Enter("IDirectSoundBuffer::GetCurrentPosition"))
        return *failure;
    if (!alive)
        return DSERR_INVALIDCALL;
    if (play != nullptr)
        *play = cursor;
    if (write != nullptr)
        *write = cursor;
    return DS_OK;
}

HRESULT HeadlessBuffer::GetStatus(LPDWORD status)
{
    if (auto failure = headless::Enter("IDirectSoundBuffer::GetStatus"))
        return *failure;
    if (!alive)
        return DSERR_INVALIDCALL;
    if (status == nullptr)
        return DSERR_INVALIDPARAM;
    *status = (playing ? DSBSTATUS_PLAYING : 0) | (playing && looping ? DSBSTATUS_LOOPING : 0);
    return DS_OK;
}

HRESULT HeadlessBuffer::Lock(DWORD offset, DWORD bytes, LPVOID* part1, LPDWORD bytes1, LPVOID* part2,
                             LPDWORD bytes2, DWORD lockFlags)
{
    if (auto failure = headless::Enter("IDirectSoundBuffer::Lock", {offset, bytes, lockFlags}))
        return *failure;
    if (!alive)
        return DSERR_INVALIDCALL;
    if (part1 == nullptr || bytes1 == nullptr || bytes == 0 || bytes > Size() || offset >= Size())
        return DSERR_INVALIDPARAM;
    // A range past the end wraps into a second part at the start.
    const DWORD first = std::min<DWORD>(bytes, Size() - offset);
    const DWORD second = bytes - first;
    if (second > 0 && (part2 == nullptr || bytes2 == nullptr))
        return DSERR_INVALIDPARAM;
    *part1 = samples->data() + offset;
    *bytes1 = first;
    if (part2 != nullptr)
        *part2 = second > 0 ? samples->data() : nullptr;
    if (bytes2 != nullptr)
        *bytes2 = second;
    return DS_OK;
}

HRESULT HeadlessBuffer::Play(DWORD, DWORD, DWORD playFlags)
{
    if (auto failure = headless::Enter("IDirectSoundBuffer::Play", {playFlags}))
        return *failure;
    if (!alive)
        return DSERR_INVALIDCALL;
    if (!primary) {
        playing = true;
        looping = (playFlags & DSBPLAY_LOOPING) != 0;
    }
    return DS_OK;
}

HRESULT HeadlessBuffer::SetFormat(LPCWAVEFORMATEX wfx)
{
    const bool given = wfx != nullptr;
    if (auto failure = headless::Enter("IDirectSoundBuffer::SetFormat",
                                       {given ? wfx->wFormatTag : 0, given ? wfx->nChannels : 0,
                                        given ? wfx->nSamplesPerSec : 0, given ? wfx->nAvgBytesPerSec : 0,
                                        given ? wfx->nBlockAlign : 0, given ? wfx->wBitsPerSample : 0}))
        return *failure;
    if (!alive || !primary)
        return DSERR_INVALIDCALL;
    if (!Acceptable(wfx))
        return DSERR_BADFORMAT;
    format = Format{wfx->nSamplesPerSec, wfx->nChannels, wfx->wBitsPerSample};
    std::fill(samples->begin(), samples->end(), format.Silence());
    cursor = 0;
    frameCarry = 0;
    return DS_OK;
}

HRESULT HeadlessBuffer::Stop()
{
    if (auto failure = headless::Enter("IDirectSoundBuffer::Stop"))
        return *failure;
    if (!alive)
        return DSERR_INVALIDCALL;
    if (!primary)
        playing = false;
    return DS_OK;
}

HRESULT HeadlessBuffer::Unlock(LPVOID, DWORD, LPVOID, DWORD)
{
    if (auto failure = headless::Enter("IDirectSoundBuffer::Unlock"))
        return *failure;
    return alive ? DS_OK : DSERR_INVALIDCALL;
}

HRESULT HeadlessBuffer::Restore()
{
    if (auto failure = headless::Enter("IDirectSoundBuffer::Restore"))
        return *failure;
    return alive ? DS_OK : DSERR_INVALIDCALL;
}

ULONG HeadlessBuffer::Release()
{
    if (auto failure = headless::Enter("IDirectSoundBuffer::Release"))
        return static_cast<ULONG>(*failure);
    if (alive)
        Die();
    if (TheSound().primary == this)
        TheSound().primary = nullptr;
    return 0;
}

// --- the device ---------------------------------------------------------

HRESULT HeadlessDevice::CreateSoundBuffer(LPCDSBUFFERDESC desc, LPDIRECTSOUNDBUFFER* made, IUnknown*)
{
    const bool given = desc != nullptr;
    if (auto failure = headless::Enter("IDirectSound::CreateSoundBuffer",
                                       {given ? desc->dwFlags : 0, given ? desc->dwBufferBytes : 0}))
        return *failure;
    if (!alive)
        return DSERR_INVALIDCALL;
    if (!given || made == nullptr || desc->dwSize != sizeof(DSBUFFERDESC1))
        return DSERR_INVALIDPARAM;
    if (desc->dwFlags & DSBCAPS_PRIMARYBUFFER) {
        if (desc->dwBufferBytes != 0 || desc->lpwfxFormat != nullptr)
            return DSERR_INVALIDPARAM;
        SoundState& sound = TheSound();
        const DWORD bytes = static_cast<DWORD>(sound.nextPrimaryBytes);
        sound.primary = NewBuffer(this, true, desc->dwFlags, Format{}, bytes);
        *made = sound.primary;
        return DS_OK;
    }
    if (desc->dwBufferBytes < 4 || desc->dwBufferBytes > 0x0FFFFFFF)
        return DSERR_INVALIDPARAM;
    if (!Acceptable(desc->lpwfxFormat))
        return DSERR_BADFORMAT;
    const WAVEFORMATEX& wfx = *desc->lpwfxFormat;
    *made = NewBuffer(this, false, desc->dwFlags, Format{wfx.nSamplesPerSec, wfx.nChannels, wfx.wBitsPerSample},
                      desc->dwBufferBytes);
    return DS_OK;
}

HRESULT HeadlessDevice::DuplicateSoundBuffer(LPDIRECTSOUNDBUFFER original, LPDIRECTSOUNDBUFFER* duplicate)
{
    if (auto failure = headless::Enter("IDirectSound::DuplicateSoundBuffer"))
        return *failure;
    auto* source = static_cast<HeadlessBuffer*>(original);
    if (source == nullptr || duplicate == nullptr)
        return DSERR_INVALIDPARAM;
    if (!alive || !source->alive || source->primary)
        return DSERR_INVALIDCALL;
    HeadlessBuffer* copy = NewBuffer(this, false, source->flags, source->format, 0);
    copy->samples = source->samples;
    *duplicate = copy;
    return DS_OK;
}

HRESULT HeadlessDevice::SetCooperativeLevel(HWND window, DWORD level)
{
    if (auto failure = headless::Enter("IDirectSound::SetCooperativeLevel", {level}))
        return *failure;
    if (!alive)
        return DSERR_INVALIDCALL;
    return window != nullptr && level >= DSSCL_NORMAL && level <= 4 ? DS_OK : DSERR_INVALIDPARAM;
}

ULONG HeadlessDevice::Release()
{
    if (auto failure = headless::Enter("IDirectSound::Release"))
        return static_cast<ULONG>(*failure);
    if (!alive)
        return 0;
    for (HeadlessBuffer* buffer : LiveBuffers()) {
        if (buffer->owner == this)
            buffer->Die();
    }
    if (TheSound().primary != nullptr && !TheSound().primary->alive)
        TheSound().primary = nullptr;
    Die();
    return 0;
}

// --- the clock and the captured output ----------------------------------

// One sample of `buffer` at byte `at` as a signed value around silence.
int SampleAt(const HeadlessBuffer& buffer, uint32_t at)
{
    const uint8_t* bytes = buffer.samples->data() + at;
    if (buffer.format.bits == 8)
        return bytes[0] - 128;
    return static_cast<int16_t>(static_cast<uint16_t>(bytes[0] | bytes[1] << 8));
}

void AppendSample(std::vector<uint8_t>& out, int value, uint16_t bits)
{
    if (bits == 8) {
        out.push_back(static_cast<uint8_t>(std::clamp(value + 128, 0, 255)));
        return;
    }
    const auto sample = static_cast<uint16_t>(std::clamp(value, -32768, 32767));
    out.push_back(static_cast<uint8_t>(sample & 0xFF));
    out.push_back(static_cast<uint8_t>(sample >> 8));
}

// A secondary's byte offset `ahead` bytes past its cursor, or -1 once a
// buffer that does not loop has played out.
long OffsetAhead(const HeadlessBuffer& buffer, uint64_t ahead)
{
    const uint64_t at = buffer.cursor + ahead;
    if (at < buffer.Size())
        return static_cast<long>(at);
    return buffer.looping ? static_cast<long>(at % buffer.Size()) : -1;
}

void Capture(HeadlessBuffer& primary, uint32_t frames, const std::vector<HeadlessBuffer*>& mixed)
{
    const uint32_t sampleBytes = primary.format.bits / 8u;
    const uint64_t bytes = uint64_t(frames) * primary.format.BlockAlign();
    std::vector<uint8_t>& out = TheSound().captured;
    out.reserve(out.size() + bytes);
    for (uint64_t done = 0; done < bytes; done += sampleBytes) {
        int value = SampleAt(primary, static_cast<uint32_t>((primary.cursor + done) % primary.Size()));
        for (const HeadlessBuffer* secondary : mixed) {
            const long at = OffsetAhead(*secondary, done);
            if (at >= 0)
                value += SampleAt(*secondary, static_cast<uint32_t>(at));
        }
        AppendSample(out, value, primary.format.bits);
    }
}

void MoveCursor(HeadlessBuffer& buffer, uint32_t frames)
{
    const uint64_t at = buffer.cursor + uint64_t(frames) * buffer.format.BlockAlign();
    if (at < buffer.Size()) {
        buffer.cursor = static_cast<uint32_t>(at);
    } else if (buffer.looping) {
        buffer.cursor = static_cast<uint32_t>(at % buffer.Size());
    } else {
        // Played out: stopped and rewound, as DirectSound leaves such a buffer.
        buffer.cursor = 0;
        buffer.playing = false;
    }
}

void Forget()
{
    SoundState& sound = TheSound();
    for (auto& shell : sound.shells) {
        if (shell->alive)
            shell->Die();
    }
    sound.primary = nullptr;
    sound.nextPrimaryBytes = kDefaultPrimaryBytes;
    sound.captured.clear();
}

const bool registered = headless::OnReset(&Forget);

} // namespace

HRESULT WINAPI DirectSoundCreate(LPCGUID, LPDIRECTSOUND* ppDS, IUnknown*)
{
    if (auto failure = headless::Enter("DirectSoundCreate"))
        return *failure;
    if (ppDS == nullptr)
        return DSERR_INVALIDPARAM;
    *ppDS = Make<HeadlessDevice>();
    return DS_OK;
}

void HeadlessSetSoundBufferBytes(unsigned long bytes)
{
    TheSound().nextPrimaryBytes = std::max(bytes, 4ul);
}

void HeadlessAdvance(unsigned long milliseconds)
{
    SoundState& sound = TheSound();
    std::vector<HeadlessBuffer*> playing;
    for (HeadlessBuffer* buffer : LiveBuffers()) {
        if (buffer->playing && buffer != sound.primary)
            playing.push_back(buffer);
    }
    if (sound.primary != nullptr) {
        HeadlessBuffer& primary = *sound.primary;
        std::vector<HeadlessBuffer*> mixed;
        std::copy_if(playing.begin(), playing.end(), std::back_inserter(mixed),
                     [&](const HeadlessBuffer* buffer) { return buffer->format == primary.format; });
        const uint32_t frames = primary.FramesIn(milliseconds);
        Capture(primary, frames, mixed);
        MoveCursor(primary, frames);
        // Mixed buffers keep step with the primary, frame for frame.
        for (HeadlessBuffer* buffer : mixed) {
            MoveCursor(*buffer, frames);
            buffer->frameCarry = primary.frameCarry;
        }
        playing.erase(std::remove_if(playing.begin(), playing.end(),
                                     [&](const HeadlessBuffer* buffer) { return buffer->format == primary.format; }),
                      playing.end());
    }
    for (HeadlessBuffer* buffer : playing)
        MoveCursor(*buffer, buffer->FramesIn(milliseconds));
}

unsigned long HeadlessReadSound(unsigned char* out, unsigned long max)
{
    const std::vector<uint8_t>& captured = TheSound().captured;
    if (out != nullptr)
        std::memcpy(out, captured.data(), std::min<size_t>(max, captured.size()));
    return static_cast<unsigned long>(captured.size());
}
