// lzss.cpp - LZSS: the compressed form of library blocks.
//
// Stream: bits packed least significant bit first, fields sent most
// significant bit first. A token is a literal (flag 0, 8 bits), a match
// (flag 1, distance, length - 3 in 4 bits) or the end (flag 1, distance 0).
// The distance width is the bit count of the bytes coded so far, capped at
// 14. The coder is greedy over 12-bit hash chains, at most 201 candidates a
// position; its output is part of the format, so every speed-up here keeps
// it byte for byte.
//
// Before walking a chain the coder asks a second table, the newest position
// whose three bytes fall in the same slot, whether anything in the window
// could match three bytes at all; when not, the walk could only come back
// empty and is skipped. On data that repeats little this saves most walks.
//
// Limits: one operation at a time per object; the window buffer is at most
// 32000 bytes (smaller when memory is short, which changes where the window
// slides and so the coder's output, never its validity).
#include "tollivex/lzss.h"

#include "tollivex/memman.h"

#include <algorithm>
#include <cstring>

namespace {
const char* const kSource = "lzss";

const unsigned kRingSize = 16384;
const unsigned kRingMask = kRingSize - 1;
const unsigned kMaxDistance = kRingSize - 1;
const unsigned kMinMatch = 3;
const unsigned kMaxMatch = 18;
const unsigned kHashCount = 4096;
const unsigned kHashMask = kHashCount - 1;
const unsigned kSlotBits = 16;
const unsigned kSlotCount = 1u << kSlotBits;
const uint16_t kNone = 0xFFFF;
const unsigned kChainSteps = 200; // the walk looks at this many plus one

const unsigned kLargestBuffer = 32000;
const unsigned kBufferStep = 4000;
const unsigned kSmallestBuffer = kRingSize + 1024 + kMaxMatch; // 17426

// The window is allocated with a tail the coder never writes. Just before a
// slide the running hash reads up to two bytes past the window, and what it
// finds there (the allocator's 0xCC fill) shapes the chains after the slide,
// so those bytes must stay 0xCC. The rest of the tail lets the match length
// be counted eight bytes at a time without leaving the block.
const unsigned kWindowTail = 32;

struct ReverseTable {
    uint8_t bits[256];
    constexpr ReverseTable() : bits()
    {
        for (unsigned v = 0; v < 256; ++v) {
            unsigned r = 0;
            for (unsigned b = 0; b < 8; ++b)
                r |= ((v >> b) & 1u) << (7 - b);
            bits[v] = static_cast<uint8_t>(r);
        }
    }
};
constexpr ReverseTable kReverse;

// The low `count` bits of value in reverse order (count <= 16): a field sent
// most significant bit first lands reversed in a least-significant-first
// bit buffer.
inline unsigned Reverse(unsigned value, unsigned count)
{
    const unsigned r = unsigned(kReverse.bits[value & 0xFF]) << 8 | kReverse.bits[(value >> 8) & 0xFF];
    return r >> (16 - count);
}

inline uint64_t Load64(const unsigned char* p)
{
    uint64_t v;
    std::memcpy(&v, p, sizeof v);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    v = __builtin_bswap64(v);
#endif
    return v;
}

// Equal leading bytes of a and b, at most limit (<= 24); reads up to 24
// bytes from each, which the window tail keeps inside the block.
inline unsigned MatchLength(const unsigned char* a, const unsigned char* b, unsigned limit)
{
    for (unsigned n = 0; n < limit; n += 8) {
        const uint64_t diff = Load64(a + n) ^ Load64(b + n);
        if (diff != 0) {
            const unsigned length = n + (unsigned(__builtin_ctzll(diff)) >> 3);
            return length < limit ? length : limit;
        }
    }
    return limit;
}

inline uint32_t Load24(const unsigned char* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16;
}

inline unsigned TrigramSlot(uint32_t trigram)
{
    return (trigram * 2654435761u) >> (32 - kSlotBits);
}

inline uint16_t Rebase(uint16_t position, uint16_t offset)
{
    // Positions compare as signed 16-bit values, so 0xFFFF (none) and
    // anything that falls below the buffer start both end up as 0xFFFF.
    // Branch-free so the loops over whole tables vectorise; no overflow, as
    // positions stay below 32768 and offsets below 16384.
    const int16_t moved = static_cast<int16_t>(int16_t(position) - int16_t(offset));
    return static_cast<uint16_t>(moved | (moved >> 15));
}
} // namespace

LZSS::LZSS(MemManager* mem)
    : errorCode(0), memManager(mem), bufferOwner(nullptr), window(nullptr), pos(0), windowStart(0), loaded(0),
      bufferSize(0), hashHeads(nullptr), slotNewest(nullptr), hashChain(nullptr), hash(0), inBuffer(nullptr),
      outBuffer(nullptr), inSize(0), outSize(0), inPos(0), outPos(0), distanceBits(0), nextPower(1), processed(0),
      bitCount(0), bitBuffer(0)
{
    if (mem == nullptr) {
        _AssertMsg(kSource, 567);
        errorCode = ERR_NO_MEMORY;
        return;
    }
    bufferOwner = mem;
    // The heads block also holds the newest position per trigram slot.
    if (mem->Allocate(reinterpret_cast<void**>(&hashHeads), (kHashCount + kSlotCount) * sizeof(uint16_t)) ==
        ERR_FAILURE) {
        hashHeads = nullptr;
        errorCode = ERR_NO_MEMORY;
        return;
    }
    for (unsigned size = kLargestBuffer; size >= kSmallestBuffer; size -= kBufferStep) {
        if (mem->Allocate(reinterpret_cast<void**>(&hashChain), size * sizeof(uint16_t)) == ERR_FAILURE) {
            hashChain = nullptr;
            continue;
        }
        if (mem->Allocate(reinterpret_cast<void**>(&window), size + kWindowTail) == ERR_FAILURE) {
            window = nullptr;
            mem->Free(reinterpret_cast<void**>(&hashChain));
            continue;
        }
        bufferSize = static_cast<uint16_t>(size);
        break;
    }
    if (window == nullptr) {
        errorCode = ERR_NO_MEMORY;
        return;
    }
    slotNewest = hashHeads + kHashCount;
    ResetChains();
    std::fill(hashChain, hashChain + bufferSize, kNone);
}

LZSS::~LZSS()
{
    // Freed through the manager that handed them out, whatever the owner
    // set later: another manager would not know these blocks.
    if (bufferOwner == nullptr)
        return;
    if (hashHeads != nullptr)
        bufferOwner->Free(reinterpret_cast<void**>(&hashHeads));
    if (hashChain != nullptr)
        bufferOwner->Free(reinterpret_cast<void**>(&hashChain));
    if (window != nullptr)
        bufferOwner->Free(reinterpret_cast<void**>(&window));
}

void LZSS::SetInBuffer(unsigned char* data, unsigned long size)
{
    // A null buffer becomes an empty one rather than keeping a stale pointer.
    if (data == nullptr) {
        _AssertMsg(kSource, 626);
        size = 0;
    }
    inBuffer = data;
    inSize = static_cast<uint32_t>(size);
    inPos = 0;
}

void LZSS::SetOutBuffer(unsigned char* data, unsigned long size)
{
    if (data == nullptr) {
        _AssertMsg(kSource, 643);
        size = 0;
    }
    outBuffer = data;
    outSize = static_cast<uint32_t>(size);
    outPos = 0;
}

void LZSS::SetMemManager(MemManager* mem)
{
    if (mem == nullptr) {
        _AssertMsg(kSource, 660);
        return;
    }
    memManager = mem;
}

bool LZSS::Usable(const unsigned long* outLength)
{
    if (outLength == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return false;
    }
    if (window == nullptr) {
        _AssertMsg(kSource, __LINE__);
        errorCode = ERR_NO_MEMORY;
        return false;
    }
    return true;
}

void LZSS::ResetChains()
{
    // Chain entries are always written before they are read; only the heads
    // must forget an earlier operation.
    std::fill(hashHeads, hashHeads + kHashCount + kSlotCount, kNone);
}

void LZSS::ResetCoder()
{
    pos = 0;
    windowStart = 0;
    loaded = 0;
    processed = 0;
    distanceBits = 0;
    nextPower = 1;
    bitCount = 0;
    bitBuffer = 0;
}

void LZSS::UpdateDistanceWidth()
{
    if (processed >= kRingSize)
        return;
    while (processed >= nextPower) {
        ++distanceBits;
        nextPower <<= 1;
    }
}

// ---------------------------------------------------------------- compress

void LZSS::FillWindow()
{
    const uint32_t room = uint32_t(bufferSize) - loaded;
    const uint32_t left = inSize - inPos;
    const uint32_t count = room < left ? room : left;
    if (count != 0)
        std::memcpy(window + loaded, inBuffer + inPos, count);
    loaded = static_cast<uint16_t>(loaded + count);
    inPos += count;
}

void LZSS::PutByte(unsigned char value)
{
    if (outPos >= outSize) {
        _AssertMsg(kSource, 109);
        return;
    }
    outBuffer[outPos++] = value;
}

void LZSS::PutBits(unsigned reversedCode, unsigned count)
{
    bitBuffer |= uint64_t(reversedCode) << bitCount;
    bitCount = static_cast<uint8_t>(bitCount + count);
    while (bitCount >= 8) {
        PutByte(static_cast<unsigned char>(bitBuffer));
        bitBuffer >>= 8;
        bitCount = static_cast<uint8_t>(bitCount - 8);
    }
}

void LZSS::FlushBits()
{
    if (bitCount == 0)
        return;
    // The missing high bits are already zero.
    if (outPos >= outSize) {
        errorCode = ERR_LZSS_OUTPUT_FULL;
    } else {
        outBuffer[outPos++] = static_cast<unsigned char>(bitBuffer);
    }
    bitCount = 0;
    bitBuffer = 0;
}

unsigned LZSS::FindMatch(unsigned* distance) const
{
    const uint16_t head = hashHeads[hash];
    if (head == kNone)
        return 0;
    const unsigned avail = unsigned(loaded) - pos;
    const unsigned limit = avail < kMaxMatch ? avail : kMaxMatch;
    if (limit < kMinMatch)
        return 0;

    const unsigned char* const here = window + pos;
    const int16_t lowest = int16_t(windowStart);
    // Nothing in the window begins with these three bytes: no candidate
    // could reach the minimum length.
    if (int16_t(slotNewest[TrigramSlot(Load24(here))]) < lowest)
        return 0;
    unsigned best = 0;
    uint16_t candidate = head;
    for (unsigned left = kChainSteps;; --left) {
        // The signed test ends the walk at 0xFFFF as well; the second test
        // only guards the buffers and never fires on a consistent chain.
        if (int16_t(candidate) < lowest || candidate >= pos)
            break;
        const unsigned char* const there = window + candidate;
        // A candidate can only win if it also matches at index `best`.
        if (there[best] == here[best]) {
            const unsigned length = MatchLength(there, here, limit);
            if (length > best && length >= kMinMatch) {
                best = length;
                *distance = pos - candidate;
                if (length == limit)
                    break;
            }
        }
        if (left == 0)
            break;
        candidate = hashChain[candidate];
    }
    return best;
}

uint32_t LZSS::UpcomingTrigram(unsigned at) const
{
    // Bytes past the loaded ones are those the next refill brings; past the
    // input there are none, and such a position is never a candidate.
    uint32_t trigram = 0;
    for (unsigned i = 0; i < 3; ++i) {
        const unsigned index = at + i;
        unsigned byte = 0;
        if (index < loaded)
            byte = window[index];
        else if (index - loaded < inSize - inPos)
            byte = inBuffer[inPos + (index - loaded)];
        trigram |= uint32_t(byte) << (8 * i);
    }
    return trigram;
}

void LZSS::Advance(unsigned count)
{
    processed += count;
    unsigned p = pos;
    unsigned h = hash;
    for (unsigned i = 0; i < count; ++i) {
        hashChain[p] = hashHeads[h];
        hashHeads[h] = static_cast<uint16_t>(p);
        const uint32_t trigram = p + 2 < loaded ? Load24(window + p) : UpcomingTrigram(p);
        slotNewest[TrigramSlot(trigram)] = static_cast<uint16_t>(p);
        ++p;
        h = ((h << 4) ^ window[p + 2]) & kHashMask;
    }
    pos = static_cast<uint16_t>(p);
    hash = static_cast<uint16_t>(h);
    if (p < kRingSize) {
        windowStart = 0;
        return;
    }
    windowStart = static_cast<uint16_t>(p - kMaxDistance);
    if (p >= unsigned(bufferSize) - kMaxMatch)
        Slide();
}

void LZSS::Slide()
{
    const uint16_t offset = windowStart;
    const unsigned kept = unsigned(loaded) - offset;
    std::memmove(window, window + offset, kept);
    std::memmove(hashChain, hashChain + offset, kept * sizeof(uint16_t));
    for (unsigned i = 0; i < kHashCount + kSlotCount; ++i)
        hashHeads[i] = Rebase(hashHeads[i], offset);
    pos = static_cast<uint16_t>(pos - offset);
    loaded = static_cast<uint16_t>(loaded - offset);
    const unsigned linked = pos;
    for (unsigned i = 0; i < linked; ++i)
        hashChain[i] = Rebase(hashChain[i], offset);
    windowStart = 0;
    FillWindow();
}

ERRORSTATUS LZSS::Compress(unsigned long* outLength)
{
    if (!Usable(outLength))
        return ERR_FAILURE;
    ResetCoder();
    ResetChains();
    FillWindow();
    hash = static_cast<uint16_t>(((window[0] << 8) ^ (window[1] << 4) ^ window[2]) & kHashMask);

    while (pos < loaded) {
        UpdateDistanceWidth();
        unsigned distance = 0;
        const unsigned length = FindMatch(&distance);
        if (length >= kMinMatch) {
            const unsigned code = 1u | Reverse(distance, distanceBits) << 1 |
                                  Reverse(length - kMinMatch, 4) << (1 + distanceBits);
            PutBits(code, 1 + distanceBits + 4);
            Advance(length);
        } else {
            PutBits(unsigned(kReverse.bits[window[pos]]) << 1, 9);
            Advance(1);
        }
    }

    // The end token keeps the width of the last data token.
    PutBits(1, 1 + distanceBits);
    FlushBits();
    *outLength = outPos;
    return ERR_OK;
}

// ------------------------------------------------------------------ expand

namespace {
// Least-significant-first bit reader. Past the end of the input it supplies
// zero bytes; the caller counts how many of those were really used.
class BitReader {
public:
    BitReader(const unsigned char* data, uint32_t size) : data(data), size(size) {}

    // At least 57 bits buffered afterwards.
    void Refill()
    {
        if (next + 8 <= size) {
            bits |= Load64(data + next) << count;
            next += (63 - count) >> 3;
            count |= 56;
            return;
        }
        while (count <= 56) {
            const uint64_t byte = next < size ? data[next] : 0;
            bits |= byte << count;
            ++next;
            count += 8;
        }
    }

    unsigned Peek() const { return static_cast<unsigned>(bits); }
    void Skip(unsigned n)
    {
        bits >>= n;
        count -= n;
    }

    // Bytes a reader taking one byte at a time would have loaded by now.
    uint64_t BytesUsed() const { return (next * 8 - count + 7) / 8; }

private:
    const unsigned char* data;
    uint64_t size;
    uint64_t next = 0;
    uint64_t bits = 0;
    unsigned count = 0;
};
} // namespace

ERRORSTATUS LZSS::Expand(unsigned long* outLength)
{
    if (!Usable(outLength))
        return ERR_FAILURE;
    ResetCoder();

    // Like Compress, this goes on from the input and output positions; only
    // SetInBuffer and SetOutBuffer rewind them.
    const uint32_t inLeft = inSize - inPos;
    BitReader reader(inLeft != 0 ? inBuffer + inPos : nullptr, inLeft);
    unsigned char* const out = outBuffer != nullptr ? outBuffer + outPos : nullptr;
    const uint32_t limit = outSize - outPos;
    uint32_t done = 0; // bytes produced; always equal to `processed`
    bool full = false;

    for (;;) {
        reader.Refill();
        if (done < kRingSize) {
            processed = done;
            UpdateDistanceWidth();
        }
        const unsigned peek = reader.Peek();
        if ((peek & 1u) == 0) {
            if (done >= limit) {
                reader.Skip(9);
                full = true;
                break;
            }
            out[done++] = kReverse.bits[(peek >> 1) & 0xFF];
            reader.Skip(9);
            continue;
        }
        const unsigned width = distanceBits;
        const unsigned distance = Reverse((peek >> 1) & ((1u << width) - 1), width);
        if (distance == 0) {
            reader.Skip(1 + width);
            break;
        }
        const unsigned length = Reverse((peek >> (1 + width)) & 0xF, 4) + kMinMatch;
        reader.Skip(1 + width + 4);

        const uint32_t room = limit - done;
        const unsigned copied = length <= room ? length : room;
        if (distance <= done) {
            const unsigned char* from = out + done - distance;
            unsigned char* to = out + done;
            unsigned i = 0;
            // Eight bytes at a time read only bytes written at least eight
            // back, so a match that overlaps itself still repeats correctly.
            if (distance >= 8) {
                for (; i + 8 <= copied; i += 8)
                    std::memcpy(to + i, from + i, 8);
            }
            for (; i < copied; ++i)
                to[i] = from[i];
        } else {
            // Reaches back before the first byte of this stream: the ring
            // still holds what an earlier operation left there.
            for (unsigned i = 0; i < copied; ++i) {
                const int64_t from = int64_t(done) + i - distance;
                out[done + i] = from < 0 ? window[from + kRingSize] : out[from];
            }
        }
        done += copied;
        if (copied < length) {
            full = true;
            break;
        }
    }

    // Every byte read past the input counts as one logged read.
    const uint64_t used = reader.BytesUsed();
    for (uint64_t n = inLeft; n < used; ++n)
        _AssertMsg(kSource, 63);

    // Leave the ring as a byte-at-a-time decoder would.
    const uint32_t keep = done < kRingSize ? done : kRingSize;
    for (uint32_t k = done - keep; k < done; ++k)
        window[k & kRingMask] = out[k];
    processed = done;
    pos = static_cast<uint16_t>(done);
    inPos += static_cast<uint32_t>(used < inLeft ? used : inLeft);
    outPos += done;

    // On overrun the partial count is reported too, so the caller's length
    // is never left undefined.
    *outLength = done;
    if (full) {
        errorCode = ERR_LZSS_OUTPUT_FULL;
        return ERR_FAILURE;
    }
    return ERR_OK;
}
