// LZSS: exact streams worked out by hand, a plain reference coder for the
// sliding cases, round trips, bounded expansion of corrupt streams.
#include "support/libfiles.h"
#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

using tvxtest::Bytes;
using tvxtest::CompressibleBytes;
using tvxtest::LogEntries;
using tvxtest::RandomBytes;

namespace {
std::string Assert(unsigned long line)
{
    return tvxtest::AssertLine("lzss", line);
}

Bytes Ascii(const std::string& s)
{
    return Bytes(s.begin(), s.end());
}

// A heap copy of exactly the given size, never null even when empty, so
// the sanitizers see any access past it.
class Exact {
public:
    explicit Exact(const Bytes& bytes) : size(bytes.size()), data(new unsigned char[bytes.size()])
    {
        std::copy(bytes.begin(), bytes.end(), data.get());
    }
    unsigned char* get() const { return data.get(); }
    Bytes Prefix(size_t n) const { return Bytes(data.get(), data.get() + n); }
    const size_t size;

private:
    std::unique_ptr<unsigned char[]> data;
};

class LzssTest : public testing::Test {
protected:
    void SetUp() override { DebugInit(); }

    Bytes Compress(const Bytes& input, unsigned long room)
    {
        LZSS lzss(&memory);
        const Exact in(input), out{Bytes(room)};
        lzss.SetInBuffer(in.get(), in.size);
        lzss.SetOutBuffer(out.get(), out.size);
        unsigned long length = 0xDEAD;
        EXPECT_EQ(lzss.Compress(&length), ERR_OK);
        EXPECT_LE(length, room);
        return out.Prefix(length);
    }

    Bytes Compress(const Bytes& input) { return Compress(input, input.size() + input.size() / 4 + 16); }

    ERRORSTATUS Expand(const Bytes& stream, unsigned long room, Bytes* result, unsigned short* code = nullptr)
    {
        LZSS lzss(&memory);
        const Exact in(stream), out{Bytes(room)};
        lzss.SetInBuffer(in.get(), in.size);
        lzss.SetOutBuffer(out.get(), out.size);
        unsigned long length = 0;
        const ERRORSTATUS status = lzss.Expand(&length);
        EXPECT_LE(length, room);
        *result = out.Prefix(std::min<unsigned long>(length, room));
        if (code != nullptr)
            *code = lzss.errorCode;
        return status;
    }

    static void Point(LZSS& lzss, Bytes& in, Bytes& out)
    {
        lzss.SetInBuffer(in.data(), in.size());
        lzss.SetOutBuffer(out.data(), out.size());
    }

    MemManager memory;
};

// Bytes whose three-byte sequences never repeat (while k stays below 0xFF00), so
// the coder can only emit literals.
Bytes Unrepeating(size_t size, unsigned start = 0)
{
    Bytes out;
    for (unsigned k = start; out.size() < size; ++k) {
        out.push_back(static_cast<unsigned char>(k >> 8));
        if (out.size() < size)
            out.push_back(static_cast<unsigned char>(k));
    }
    return out;
}

// What the coder sees past the end of its 32000-byte window.
enum class Tail { AllocatorFill, Zeros, NextInput };

// The coder written out plainly: one bit, one byte compare, one candidate at
// a time, over a 32000-byte window.
Bytes ReferenceCompress(const Bytes& in, Tail tail)
{
    const unsigned bufferSize = 32000;
    Bytes w(bufferSize, 0xCC);
    std::vector<uint16_t> heads(4096, 0xFFFF), chain(bufferSize, 0xFFFF);
    size_t inPos = 0;
    unsigned pos = 0, windowStart = 0, loaded = 0, hash = 0, bits = 0;
    uint32_t processed = 0, nextPower = 1;
    Bytes out;
    unsigned char acc = 0;
    int count = 0;

    auto putBit = [&](unsigned bit) {
        acc = static_cast<unsigned char>(acc >> 1 | (bit ? 0x80 : 0));
        if (++count == 8) {
            out.push_back(acc);
            count = 0;
        }
    };
    auto putField = [&](unsigned value, unsigned n) {
        for (unsigned i = n; i-- > 0;)
            putBit(value >> i & 1);
    };
    auto fill = [&] {
        while (loaded < bufferSize && inPos < in.size())
            w[loaded++] = in[inPos++];
    };
    auto at = [&](unsigned i) -> unsigned {
        if (i < bufferSize)
            return w[i];
        if (tail == Tail::AllocatorFill)
            return 0xCC;
        if (tail == Tail::Zeros)
            return 0;
        const size_t next = inPos + (i - bufferSize);
        return next < in.size() ? in[next] : 0xCC;
    };
    auto rebase = [](uint16_t v, unsigned by) -> uint16_t { return v == 0xFFFF || v < by ? 0xFFFF : v - by; };

    fill();
    hash = ((at(0) << 8) ^ (at(1) << 4) ^ at(2)) & 0xFFF;
    while (pos < loaded) {
        while (processed < 16384 && processed >= nextPower) {
            ++bits;
            nextPower *= 2;
        }
        unsigned best = 0, distance = 0;
        const unsigned limit = std::min(18u, loaded - pos);
        if (heads[hash] != 0xFFFF && limit >= 3) {
            uint16_t candidate = heads[hash];
            for (int counter = 200; int16_t(candidate) >= int16_t(windowStart); --counter) {
                unsigned n = 0;
                while (n < limit && w[candidate + n] == w[pos + n])
                    ++n;
                if (n > best && n >= 3) {
                    best = n;
                    distance = pos - candidate;
                }
                if (n == limit || counter == 0)
                    break;
                candidate = chain[candidate];
            }
        }
        unsigned step = 1;
        if (best >= 3) {
            putBit(1);
            putField(distance, bits);
            putField(best - 3, 4);
            step = best;
        } else {
            putBit(0);
            putField(w[pos], 8);
        }
        processed += step;
        for (unsigned i = 0; i < step; ++i) {
            chain[pos] = heads[hash];
            heads[hash] = static_cast<uint16_t>(pos);
            ++pos;
            hash = ((hash << 4) ^ at(pos + 2)) & 0xFFF;
        }
        windowStart = pos >= 16384 ? pos - 16383 : 0;
        if (pos >= 16384 && pos >= bufferSize - 18) {
            std::copy(w.begin() + windowStart, w.begin() + loaded, w.begin());
            std::copy(chain.begin() + windowStart, chain.begin() + loaded, chain.begin());
            for (auto& h : heads)
                h = rebase(h, windowStart);
            pos -= windowStart;
            loaded -= windowStart;
            for (unsigned i = 0; i < pos; ++i)
                chain[i] = rebase(chain[i], windowStart);
            windowStart = 0;
            fill();
        }
    }
    putBit(1);
    putField(0, bits);
    while (count != 0)
        putBit(0);
    return out;
}

// Unrepeating bytes, except that an 18-byte match starts at 31981, right
// before the first slide, so the running hash reads two bytes past the
// window; `after` follows at 31999, where the coder resumes after the slide.
Bytes SlideProbe(const Bytes& after)
{
    Bytes data = Unrepeating(40000);
    std::copy(data.begin() + 20001, data.begin() + 20019, data.begin() + 31981);
    std::copy(after.begin(), after.end(), data.begin() + 31999);
    return data;
}
} // namespace

TEST_F(LzssTest, HandWorkedStreams)
{
    // flag 0 + 8 bits per literal; flag 1 + distance + 4-bit length; end is
    // flag 1 + a zero distance in the width of the last data token.
    const struct {
        Bytes input;
        Bytes stream;
    } cases[] = {
        {{}, {0x01}},
        {{0x41}, {0x04, 0x03}},
        {Ascii("AB"), {0x04, 0x09, 0x05}},
        // literal, then length 3 at distance 1 in a 1-bit field; the decoder
        // reads the end's distance with 3 bits from the padding
        {Ascii("AAAA"), {0x04, 0x87, 0x00}},
        // four literals (widths 0, 1, 2, 2), length 4 at distance 4 (3 bits)
        {Ascii("ABCDABCD"), {0x04, 0x09, 0x11, 0x26, 0x32, 0x18}},
        // one literal, then distance-1 matches of 18 with widths 1, 5, 6, 6,
        // 7 and a last one of 9 bytes (7 bits); the end keeps width 7
        {Bytes(100, 'A'), {0x04, 0xFF, 0xF0, 0x83, 0x1F, 0xFC, 0xC0, 0x0F, 0xB4, 0x00}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Compress(c.input), c.stream) << "input size " << c.input.size();
        Bytes back;
        EXPECT_EQ(Expand(c.stream, c.input.size(), &back), ERR_OK);
        EXPECT_EQ(back, c.input);
    }
    // "ABCDABCD" fills its last byte exactly: the decoder's 4-bit end
    // distance needs one bit past the stream, which reads as 0 and is logged.
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{Assert(63)}));
}

TEST_F(LzssTest, LiteralOnlyStreamsAroundEachWidthStep)
{
    // The end's zero distance has the width of the last literal; the decoder
    // reads it one step wider at each power of two and may run a byte past
    // the stream, which reads as zeros.
    for (unsigned n : {1u, 2u, 3u, 4u, 5u, 7u, 8u, 9u, 15u, 16u, 17u, 63u, 64u, 255u, 256u, 1023u, 1024u, 8191u,
                       8192u, 8193u, 16383u, 16384u, 16385u, 16386u, 20000u}) {
        const Bytes input = Unrepeating(n, 7);
        const Bytes packed = Compress(input);
        EXPECT_TRUE(packed == ReferenceCompress(input, Tail::AllocatorFill)) << n;
        Bytes back;
        EXPECT_EQ(Expand(packed, n, &back), ERR_OK) << n;
        EXPECT_TRUE(back == input) << n;
    }
}

TEST_F(LzssTest, MatchesTheReferenceCoderAcrossSlidesAndRoundTrips)
{
    // Noise, long runs (also of the allocator's fill byte), repeats at every
    // distance width and length, a late short match, literals only.
    const Bytes inputs[] = {
        RandomBytes(70000, 1),
        CompressibleBytes(400000, 2),
        Bytes(70000, 0x5A),
        Bytes(40000, 0xCC),
        Ascii(std::string(9000, 'x') + "abcabcabd" + std::string(40000, 'y')),
        Unrepeating(33000),
    };
    for (const auto& input : inputs) {
        const Bytes packed = Compress(input);
        EXPECT_TRUE(packed == ReferenceCompress(input, Tail::AllocatorFill)) << input.size();
        Bytes back;
        EXPECT_EQ(Expand(packed, input.size(), &back), ERR_OK);
        EXPECT_TRUE(back == input) << input.size();
    }
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(LzssTest, HashAfterTheFirstSlideSeesTheAllocatorFill)
{
    // Just before the slide the hash takes in two 0xCC bytes, and the search
    // after it looks in the bucket of (x, 0xCC, 0xCC).
    // (x, 0xC0, 0x0C) shares that bucket, so a repeat of it is found; with
    // zeros there the bucket would be another.
    Bytes data = SlideProbe({0x31, 0xC0, 0x0C, 0x77, 0x78});
    std::copy(data.begin() + 31999, data.begin() + 32004, data.begin() + 25000);
    EXPECT_TRUE(Compress(data) == ReferenceCompress(data, Tail::AllocatorFill));
    EXPECT_FALSE(ReferenceCompress(data, Tail::Zeros) == ReferenceCompress(data, Tail::AllocatorFill));

    // A plain repeat is missed, where the real next bytes would have found it.
    data = SlideProbe({0x31, 0x32, 0x33, 0x34, 0x35});
    std::copy(data.begin() + 31999, data.begin() + 32004, data.begin() + 25000);
    EXPECT_TRUE(Compress(data) == ReferenceCompress(data, Tail::AllocatorFill));
    EXPECT_FALSE(ReferenceCompress(data, Tail::NextInput) == ReferenceCompress(data, Tail::AllocatorFill));
    Bytes back;
    EXPECT_EQ(Expand(Compress(data), data.size(), &back), ERR_OK);
    EXPECT_TRUE(back == data);

    // The last position entered before the slide (a, b, 0xCC) and the one
    // two after the slide (0xCC, 0xCC, a) share a bucket when a = 0x1C and
    // b = 0xC1, and both really begin "a b a": the coder finds a length-3
    // match at distance 2 there, which only the real bytes can tell.
    data = SlideProbe({0xC1, 0x1C, 0xC1, 0x1C, 0x99});
    data[31998] = data[20018] = 0x1C;
    EXPECT_TRUE(Compress(data) == ReferenceCompress(data, Tail::AllocatorFill));
}

TEST_F(LzssTest, ShortOutputAreas)
{
    // Expansion stops at the first byte that does not fit, keeping what fit.
    const Bytes input = CompressibleBytes(50000, 21);
    const Bytes packed = Compress(input);
    Bytes part;
    unsigned short code = 0;
    EXPECT_EQ(Expand(packed, input.size() - 1, &part, &code), ERR_FAILURE);
    EXPECT_EQ(code, ERR_LZSS_OUTPUT_FULL);
    EXPECT_TRUE(part == Bytes(input.begin(), input.end() - 1));
    EXPECT_EQ(Expand(packed, 0, &part, &code), ERR_FAILURE);
    EXPECT_EQ(code, ERR_LZSS_OUTPUT_FULL);
    EXPECT_TRUE(LogEntries().empty());

    // Compression drops whole bytes that do not fit (one log line each) and
    // flags a final partial byte with no room; it still returns 0.
    LZSS lzss(&memory);
    Bytes run(4, 'A'), out(2), aligned = Ascii("ABCDABCD");
    unsigned long length = 0;
    Point(lzss, run, out);
    EXPECT_EQ(lzss.Compress(&length), ERR_OK);
    EXPECT_EQ(length, 2u);
    EXPECT_EQ(out, (Bytes{0x04, 0x87}));
    EXPECT_EQ(lzss.errorCode, ERR_LZSS_OUTPUT_FULL);
    EXPECT_TRUE(LogEntries().empty());

    out.assign(4, 0);
    Point(lzss, aligned, out);
    EXPECT_EQ(lzss.Compress(&length), ERR_OK);
    EXPECT_EQ(length, 4u);
    EXPECT_EQ(out, (Bytes{0x04, 0x09, 0x11, 0x26}));
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{Assert(109), Assert(109)}));
}

TEST_F(LzssTest, StreamsThatEndEarlyOrReachBeforeTheirStart)
{
    // No input at all reads as zero bits: literal zeros until the area is
    // full, one log line per byte read past the end (six literals, 54 bits).
    Bytes out;
    unsigned short code = 0;
    EXPECT_EQ(Expand({}, 5, &out, &code), ERR_FAILURE);
    EXPECT_EQ(code, ERR_LZSS_OUTPUT_FULL);
    EXPECT_EQ(out, Bytes(5, 0));
    EXPECT_EQ(LogEntries(), std::vector<std::string>(7, Assert(63)));

    // "A", "B", then length 3 at distance 3 (2-bit field): the copy starts
    // one byte before the stream, in the ring's untouched 0xCC fill.
    DebugInit();
    EXPECT_EQ(Expand({0x04, 0x09, 0x1D, 0x02}, 10, &out), ERR_OK);
    EXPECT_EQ(out, (Bytes{'A', 'B', 0xCC, 'A', 'B'}));
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(LzssTest, PositionsCarryOverUntilTheBuffersAreSetAgain)
{
    // Two streams back to back ("AB", then "AAAA") expand one after the
    // other into one area; a second compression appends its stream.
    LZSS lzss(&memory);
    Bytes streams = {0x04, 0x09, 0x05, 0x04, 0x87, 0x00}, out(10, 0);
    Point(lzss, streams, out);
    unsigned long length = 0;
    EXPECT_EQ(lzss.Expand(&length), ERR_OK);
    EXPECT_EQ(length, 2u);
    EXPECT_EQ(lzss.Expand(&length), ERR_OK);
    EXPECT_EQ(length, 4u);
    EXPECT_EQ(out, (Bytes{'A', 'B', 'A', 'A', 'A', 'A', 0, 0, 0, 0}));

    Bytes input = Ascii("AB"), packed(10, 0);
    Point(lzss, input, packed);
    EXPECT_EQ(lzss.Compress(&length), ERR_OK);
    EXPECT_EQ(length, 3u);
    lzss.SetInBuffer(input.data(), input.size());
    EXPECT_EQ(lzss.Compress(&length), ERR_OK);
    EXPECT_EQ(length, 6u);
    EXPECT_EQ(packed, (Bytes{0x04, 0x09, 0x05, 0x04, 0x09, 0x05, 0, 0, 0, 0}));
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(LzssTest, ErrorCodeAndMisuse)
{
    LZSS broken(nullptr);
    EXPECT_EQ(broken.errorCode, ERR_NO_MEMORY);
    unsigned long length = 7;
    EXPECT_EQ(broken.Compress(&length), ERR_FAILURE);
    EXPECT_EQ(broken.Expand(&length), ERR_FAILURE);
    EXPECT_EQ(length, 7u);
    EXPECT_EQ(LogEntries().front(), Assert(567));

    DebugInit();
    LZSS misused(&memory);
    misused.SetInBuffer(nullptr, 100);
    misused.SetOutBuffer(nullptr, 100);
    misused.SetMemManager(nullptr);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{Assert(626), Assert(643), Assert(660)}));
    // Empty input, nowhere to write: the lone end byte finds no room.
    EXPECT_EQ(misused.Compress(&length), ERR_OK);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(misused.errorCode, ERR_LZSS_OUTPUT_FULL);

    // Failure sets the code; later successes leave it alone.
    LZSS lzss(&memory);
    EXPECT_EQ(lzss.errorCode, 0);
    Bytes stream = Compress(Ascii("hello hello hello")), out(3);
    Point(lzss, stream, out);
    EXPECT_EQ(lzss.Expand(&length), ERR_FAILURE);
    EXPECT_EQ(lzss.errorCode, ERR_LZSS_OUTPUT_FULL);
    out.resize(100);
    Point(lzss, stream, out);
    EXPECT_EQ(lzss.Expand(&length), ERR_OK);
    EXPECT_EQ(length, 17u);
    EXPECT_EQ(lzss.errorCode, ERR_LZSS_OUTPUT_FULL);

    // The same object compresses again from a clean slate.
    Bytes input = CompressibleBytes(60000, 31), packed(70000);
    Point(lzss, input, packed);
    EXPECT_EQ(lzss.Compress(&length), ERR_OK);
    packed.resize(length);
    EXPECT_TRUE(packed == ReferenceCompress(input, Tail::AllocatorFill));
}

TEST_F(LzssTest, FuzzedStreamsStayInsideTheirBuffers)
{
    // Random and mutated streams into exactly sized areas: the sanitizers
    // catch any access outside them; the results must be self-consistent.
    std::mt19937 rng(20240);
    std::vector<Bytes> seeds;
    for (uint32_t s = 0; s < 6; ++s)
        seeds.push_back(Compress(CompressibleBytes(2000 + 3000 * s, 40 + s)));
    seeds.push_back(Compress(RandomBytes(3000, 50)));

    LZSS lzss(&memory);
    for (int round = 0; round < 6000; ++round) {
        Bytes stream;
        if (round % 3 == 0) {
            stream = RandomBytes(1 + rng() % 600, rng());
        } else {
            stream = seeds[rng() % seeds.size()];
            const unsigned edits = 1 + rng() % 8;
            for (unsigned e = 0; e < edits; ++e) {
                const size_t at = rng() % stream.size();
                if (rng() % 4 == 0)
                    stream.resize(at + 1); // truncate
                else
                    stream[at] ^= static_cast<unsigned char>(1u << (rng() % 8));
            }
        }
        // Most areas fill before the stream runs out: reads past its end are
        // logged one by one, which is slow (very slow under Wine). A few
        // rounds leave room to run past it.
        const size_t most = stream.size() + (round % 200 == 0 ? 64 : 0);
        const Exact in(stream), out{Bytes(rng() % (most + 1))};
        // One object throughout: reuse must not matter either.
        lzss.SetInBuffer(in.get(), in.size);
        lzss.SetOutBuffer(out.get(), out.size);
        lzss.errorCode = 0;
        unsigned long length = 0;
        if (lzss.Expand(&length) == ERR_FAILURE) {
            EXPECT_EQ(lzss.errorCode, ERR_LZSS_OUTPUT_FULL);
            EXPECT_EQ(length, out.size);
        } else {
            EXPECT_EQ(lzss.errorCode, 0);
            EXPECT_LE(length, out.size);
        }
        if (round % 250 == 0)
            DebugInit(); // keep the log small
    }
}
