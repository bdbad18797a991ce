// LZSS: exact streams worked out by hand, a plain reference coder for the
// sliding cases, round trips, bounded expansion of corrupt streams.
#include "support/libfiles.h"

using namespace tvxtest;

namespace {
Bytes Ascii(const std::string& s) { return Bytes(s.begin(), s.end()); }

// One codec for every call of a test: reuse must not matter.
class LzssTest : public testing::Test {
protected:
    void SetUp() override { DebugInit(); }

    // Runs the codec from `in` into an area of exactly `room` bytes (so the
    // sanitizers see any access past either); the bytes made and the code.
    std::pair<Bytes, unsigned> Run(bool compress, Bytes in, size_t room)
    {
        static unsigned char none;
        Bytes out(room);
        lzss.SetInBuffer(in.empty() ? &none : in.data(), in.size());
        lzss.SetOutBuffer(out.empty() ? &none : out.data(), room);
        unsigned long length = 0;
        const ERRORSTATUS status = compress ? lzss.Compress(&length) : lzss.Expand(&length);
        EXPECT_LE(length, room);
        out.resize(std::min<size_t>(length, room));
        return {out, status == ERR_OK ? 0u : lzss.errorCode};
    }
    Bytes Compress(const Bytes& in, size_t room = 0)
    {
        return Run(true, in, room != 0 ? room : in.size() * 5 / 4 + 16).first;
    }
    std::pair<Bytes, unsigned> Expand(const Bytes& in, size_t room) { return Run(false, in, room); }

    MemManager memory;
    LZSS lzss{&memory};
};

// Bytes whose three-byte sequences never repeat (while k stays below 0xFF00),
// so the coder can only emit literals.
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

// The coder written out plainly over a 32000-byte window; past its end the
// running hash reads the allocator's 0xCC fill.
Bytes ReferenceCompress(const Bytes& in)
{
    const unsigned size = 32000;
    Bytes w(size + 3, 0xCC), out;
    std::vector<uint16_t> heads(4096, 0xFFFF), chain(size, 0xFFFF);
    size_t inPos = 0;
    unsigned pos = 0, start = 0, loaded = 0, bits = 0, count = 0;
    uint32_t processed = 0, nextPower = 1;
    unsigned char acc = 0;
    auto put = [&](unsigned value, unsigned n) {
        while (n-- > 0) {
            acc = static_cast<unsigned char>(acc >> 1 | ((value >> n & 1) << 7));
            if (++count % 8 == 0)
                out.push_back(acc);
        }
    };
    auto fill = [&] {
        while (loaded < size && inPos < in.size())
            w[loaded++] = in[inPos++];
    };
    auto rebase = [](uint16_t v, unsigned by) -> uint16_t { return v == 0xFFFF || v < by ? 0xFFFF : v - by; };
    fill();
    unsigned hash = ((w[0] << 8) ^ (w[1] << 4) ^ w[2]) & 0xFFF;
    while (pos < loaded) {
        for (; processed < 16384 && processed >= nextPower; nextPower *= 2)
            ++bits;
        unsigned best = 0, distance = 0;
        const unsigned limit = std::min(18u, loaded - pos);
        uint16_t candidate = limit >= 3 ? heads[hash] : 0xFFFF;
        for (int left = 200; int16_t(candidate) >= int16_t(start); --left, candidate = chain[candidate]) {
            unsigned n = 0;
            while (n < limit && w[candidate + n] == w[pos + n])
                ++n;
            if (n > best && n >= 3)
                best = n, distance = pos - candidate;
            if (n == limit || left == 0)
                break;
        }
        if (best >= 3)
            put(1, 1), put(distance, bits), put(best - 3, 4);
        else
            put(w[pos], 9), best = 1; // a 0 flag above the byte
        for (processed += best; best > 0; --best, ++pos, hash = ((hash << 4) ^ w[pos + 2]) & 0xFFF) {
            chain[pos] = heads[hash];
            heads[hash] = static_cast<uint16_t>(pos);
        }
        start = pos >= 16384 ? pos - 16383 : 0;
        if (pos >= 16384 && pos >= size - 18) {
            std::copy(w.begin() + start, w.begin() + loaded, w.begin());
            std::copy(chain.begin() + start, chain.begin() + loaded, chain.begin());
            for (auto& h : heads)
                h = rebase(h, start);
            for (unsigned i = 0; i < pos - start; ++i)
                chain[i] = rebase(chain[i], start);
            pos -= start, loaded -= start, start = 0;
            fill();
        }
    }
    put(1, 1), put(0, bits), put(0, (8 - count % 8) % 8);
    return out;
}

// Unrepeating bytes, except that an 18-byte match starts at 31981, right
// before the first slide, so the running hash reads two bytes past the
// window; `after` follows at 31999, where the coder resumes after the slide,
// and again at 25000, where a search there may find it.
Bytes SlideProbe(const Bytes& after)
{
    Bytes data = Unrepeating(40000);
    std::copy(data.begin() + 20001, data.begin() + 20019, data.begin() + 31981);
    std::copy(after.begin(), after.end(), data.begin() + 31999);
    std::copy(after.begin(), after.end(), data.begin() + 25000);
    return data;
}
} // namespace

TEST_F(LzssTest, HandWorkedStreams)
{
    // flag 0 + 8 bits per literal; flag 1 + distance + 4-bit length; end is
    // flag 1 + a zero distance in the width of the last data token.
    const std::pair<Bytes, Bytes> cases[] = {
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
        EXPECT_EQ(Compress(c.first), c.second) << "input size " << c.first.size();
        EXPECT_EQ(Expand(c.second, c.first.size()), std::make_pair(c.first, 0u));
    }
    // "ABCDABCD" fills its last byte exactly: the decoder's 4-bit end
    // distance needs one bit past the stream, which reads as 0 and is logged.
    EXPECT_EQ(LogEntries(), Asserts("lzss", {63}));
}

TEST_F(LzssTest, MatchesTheReferenceCoderAcrossWidthStepsAndSlides)
{
    std::vector<Bytes> inputs = {
        RandomBytes(70000, 1), CompressibleBytes(200000, 2), Bytes(70000, 0x5A), Bytes(40000, 0xCC),
        Ascii(std::string(9000, 'x') + "abcabcabd" + std::string(40000, 'y')),
        // After the slide the hash holds (x, 0xCC, 0xCC): (x, 0xC0, 0x0C)
        // shares that bucket and is found, a plain repeat is missed.
        SlideProbe({0x31, 0xC0, 0x0C, 0x77, 0x78}), SlideProbe({0x31, 0x32, 0x33, 0x34, 0x35}),
        // (a, b, 0xCC) before the slide and (0xCC, 0xCC, a) after it share a
        // bucket for a = 0x1C, b = 0xC1, and both really begin "a b a".
        SlideProbe({0xC1, 0x1C, 0xC1, 0x1C, 0x99})};
    inputs.back()[31998] = inputs.back()[20018] = 0x1C;
    // Literals only around each step of the distance width.
    for (unsigned n : {1u, 2u, 3u, 4u, 8u, 9u, 16u, 17u, 8191u, 8192u, 8193u, 16383u, 16384u, 16385u, 33000u})
        inputs.push_back(Unrepeating(n, 7));
    for (const Bytes& input : inputs) {
        const Bytes packed = Compress(input);
        EXPECT_TRUE(packed == ReferenceCompress(input)) << input.size();
        EXPECT_TRUE(Expand(packed, input.size()) == std::make_pair(input, 0u)) << input.size();
    }
}

TEST_F(LzssTest, ShortOutputAreas)
{
    // Expansion stops at the first byte that does not fit, keeping what fit.
    const Bytes input = CompressibleBytes(50000, 21), packed = Compress(input);
    EXPECT_TRUE(Expand(packed, input.size() - 1) ==
                std::make_pair(Bytes(input.begin(), input.end() - 1), unsigned(ERR_LZSS_OUTPUT_FULL)));
    EXPECT_TRUE(LogEntries().empty());

    // Compression drops whole bytes that do not fit (one log line each) and
    // flags a final partial byte with no room; it still returns 0, and the
    // code stays after later successes.
    lzss.errorCode = 0;
    EXPECT_EQ(Compress(Ascii("AAAA"), 2), (Bytes{0x04, 0x87}));
    EXPECT_EQ(lzss.errorCode, ERR_LZSS_OUTPUT_FULL);
    EXPECT_TRUE(LogEntries().empty());
    EXPECT_EQ(Compress(Ascii("ABCDABCD"), 4), (Bytes{0x04, 0x09, 0x11, 0x26}));
    EXPECT_EQ(LogEntries(), Asserts("lzss", {109, 109}));
    EXPECT_EQ(Compress(Ascii("AB")), (Bytes{0x04, 0x09, 0x05}));
    EXPECT_EQ(lzss.errorCode, ERR_LZSS_OUTPUT_FULL);
}

TEST_F(LzssTest, StreamsThatEndEarlyReachBackOrFollowOneAnotherAndMisuse)
{
    // No input at all reads as zero bits: literal zeros until the area is
    // full, one log line per byte read past the end (six literals, 54 bits).
    EXPECT_EQ(Expand({}, 5), std::make_pair(Bytes(5, 0), unsigned(ERR_LZSS_OUTPUT_FULL)));
    EXPECT_EQ(LogEntries(), Lines(7, AssertLine("lzss", 63)));

    // "A", "B", then length 3 at distance 3 (2-bit field): the copy starts
    // one byte before the stream, in the ring's untouched 0xCC fill.
    DebugInit();
    EXPECT_EQ(Expand({0x04, 0x09, 0x1D, 0x02}, 10).first, (Bytes{'A', 'B', 0xCC, 'A', 'B'}));
    EXPECT_TRUE(LogEntries().empty());

    // Two streams back to back ("AB", then "AAAA") expand one after the
    // other into one area.
    Bytes streams = {0x04, 0x09, 0x05, 0x04, 0x87, 0x00}, out(8, 0);
    lzss.SetInBuffer(streams.data(), streams.size());
    lzss.SetOutBuffer(out.data(), out.size());
    unsigned long length = 0;
    EXPECT_EQ(lzss.Expand(&length), ERR_OK);
    EXPECT_EQ(lzss.Expand(&length), ERR_OK);
    EXPECT_EQ(length, 4u);
    EXPECT_EQ(out, (Bytes{'A', 'B', 'A', 'A', 'A', 'A', 0, 0}));

    DebugInit();
    lzss.SetInBuffer(nullptr, 100);
    lzss.SetOutBuffer(nullptr, 100);
    lzss.SetMemManager(nullptr);
    LZSS broken(nullptr);
    EXPECT_EQ(LogEntries(), Asserts("lzss", {626, 643, 660, 567}));
    EXPECT_EQ(broken.errorCode, ERR_NO_MEMORY);
    length = 7;
    EXPECT_EQ(broken.Compress(&length), ERR_FAILURE);
    EXPECT_EQ(broken.Expand(&length), ERR_FAILURE);
    EXPECT_EQ(length, 7u);
    // Empty input, nowhere to write: the lone end byte finds no room.
    EXPECT_EQ(lzss.Compress(&length), ERR_OK);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(lzss.errorCode, ERR_LZSS_OUTPUT_FULL);
}

TEST_F(LzssTest, FuzzedStreamsStayInsideTheirBuffers)
{
    // Random and bit-flipped streams into exactly sized areas: the sanitizers
    // catch any access outside them; the results must be self-consistent.
    // Most areas fill before the stream runs out: reads past its end are
    // logged one by one, which is slow under Wine.
    std::mt19937 rng(20240);
    const Bytes seed = Compress(CompressibleBytes(20000, 40));
    for (int round = 0; round < 4000; ++round) {
        Bytes stream = round % 3 == 0 ? RandomBytes(1 + rng() % 600, rng()) : seed;
        for (unsigned edits = round % 3 == 0 ? 0 : 1 + rng() % 8; edits > 0; --edits)
            stream[rng() % stream.size()] ^= static_cast<unsigned char>(1u << (rng() % 8));
        stream.resize(1 + rng() % stream.size());
        const size_t room = rng() % (stream.size() + (round % 200 == 0 ? 64 : 0) + 1);
        const auto result = Expand(stream, room);
        EXPECT_TRUE(result.second == 0 || (result.second == ERR_LZSS_OUTPUT_FULL && result.first.size() == room));
        if (round % 250 == 0)
            DebugInit(); // keep the log small
    }
}
