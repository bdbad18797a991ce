// lzss.h - LZSS: buffer-to-buffer compression for library blocks.
//
// An LZ77 coder with a one-bit literal/match flag, distances whose width
// grows with the amount of data coded (up to 14 bits, a 16384-byte window),
// match lengths of 3 to 18 bytes and an explicit end marker. One object does
// one operation at a time: set both buffers, call Compress or Expand, read
// the length. A second call without new buffers goes on where the first one
// stopped in each. Work buffers come from the MemManager given at
// construction.
#ifndef TOLLIVEX_LZSS_H
#define TOLLIVEX_LZSS_H

#include "tvxcommon.h"

class MemManager;

class TVX_API LZSS {
public:
    unsigned short errorCode;

    explicit LZSS(MemManager* mem);
    ~LZSS();
    LZSS(const LZSS&) = delete;
    LZSS& operator=(const LZSS&) = delete;

    void SetInBuffer(unsigned char* data, unsigned long size);
    void SetOutBuffer(unsigned char* data, unsigned long size);
    void SetMemManager(MemManager* mem);

    // Compresses the whole input and returns 0 (1 only when construction
    // failed). A too-small output area shows only as a truncated stream, so
    // callers check *outLength.
    ERRORSTATUS Compress(unsigned long* outLength);
    // Expands one stream; 1 with errorCode ERR_LZSS_OUTPUT_FULL when the
    // output area is too small, with *outLength the bytes that did fit.
    ERRORSTATUS Expand(unsigned long* outLength);

private:
    bool Usable(const unsigned long* outLength);
    void ResetChains();
    void ResetCoder();
    void UpdateDistanceWidth();
    void FillWindow();
    void PutByte(unsigned char value);
    void PutBits(unsigned reversedCode, unsigned count);
    void FlushBits();
    unsigned FindMatch(unsigned* distance) const;
    uint32_t UpcomingTrigram(unsigned at) const;
    void Advance(unsigned count);
    void Slide();

    MemManager* memManager;
    MemManager* bufferOwner;    // the manager the work buffers came from
    unsigned char* window;      // sliding buffer to compress, 16384-byte ring to expand
    uint16_t pos;
    uint16_t windowStart;
    uint16_t loaded;
    uint16_t bufferSize;
    uint16_t* hashHeads;        // 4096 entries, 0xFFFF for none, then slotNewest
    uint16_t* slotNewest;       // newest position per trigram slot, 0xFFFF for none
    uint16_t* hashChain;        // bufferSize entries, 0xFFFF for none
    uint16_t hash;
    unsigned char* inBuffer;
    unsigned char* outBuffer;
    uint32_t inSize;
    uint32_t outSize;
    uint32_t inPos;
    uint32_t outPos;
    uint16_t distanceBits;
    uint32_t nextPower;
    uint32_t processed;
    uint8_t bitCount;           // bits waiting in bitBuffer, below 8 between tokens
    uint64_t bitBuffer;
};

#endif
