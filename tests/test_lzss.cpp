// LZSS: exact streams worked out by hand, digests of a plain reference
// coder's streams for the sliding cases, round trips, bounded expansion of
// corrupt streams.
#include "support/libfiles.h"

#include <iterator>

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

// FNV-1a of a stream: the expected values below are the digests of what a
// coder written out plainly (one bit, one byte compare, one candidate at a
// time, over a 32000-byte window whose hash reads the allocator's 0xCC fill
// past its end) produced for the same inputs.
uint64_t Digest(const Bytes& stream)
{
    uint64_t hash = 1469598103934665603ull;
    for (unsigned char byte : stream)
        hash = (hash ^ byte) * 1099511628211ull;
    return hash;
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
    // "A", "B", then length 3 at distance 3 (2-bit field): the copy starts
    // one byte before the stream, in the ring's untouched 0xCC fill.
    EXPECT_EQ(Expand({0x04, 0x09, 0x1D, 0x02}, 10).first, (Bytes{'A', 'B', 0xCC, 'A', 'B'}));
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

TEST_F(LzssTest, MatchesTheReferenceStreamsAcrossWidthStepsAndSlides)
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
    const uint64_t digests[] = {
        0x469391b81dc16170, 0x41102d101de8a49c, 0x530bd994706f3b99, 0x9acee7f0874d1ecf, 0x18edcfbe208458e5,
        0xb58738404521cded, 0xcc7221f49aab9241, 0xdc1e6b085c758a3f, 0x9a691500c548bc61, 0xa791464f3920bfb4,
        0xdc8c8c9e129a24a0, 0x5d12b1999c033bab, 0xdd5bbe76056b0b72, 0x8df37c8b34e75945, 0xc65d937681573608,
        0x683afe5dc733af5b, 0x894d0c309120aa0b, 0xab767fb38c5bd628, 0x496b8517d36f0901, 0x658ee78dc0e20b49,
        0x8bb4b4b44237d6c2, 0xe9e1ef4cb10fa5fb, 0xea910305505ad332};
    ASSERT_EQ(inputs.size(), std::size(digests));
    for (size_t i = 0; i < inputs.size(); ++i) {
        const Bytes packed = Compress(inputs[i]);
        EXPECT_EQ(Digest(packed), digests[i]) << "input " << i << ", " << inputs[i].size() << " bytes";
        EXPECT_TRUE(Expand(packed, inputs[i].size()) == std::make_pair(inputs[i], 0u)) << "input " << i;
    }
}

TEST_F(LzssTest, ShortAreasEarlyEndsBackToBackStreamsAndMisuse)
{
    // Expansion stops at the first byte that does not fit, keeping what fit.
    const Bytes input = CompressibleBytes(50000, 21), packed = Compress(input);
    EXPECT_TRUE(Expand(packed, input.size() - 1) ==
                std::make_pair(Bytes(input.begin(), input.end() - 1), unsigned(ERR_LZSS_OUTPUT_FULL)));

    // Compression drops whole bytes that do not fit (one log line each) and
    // flags a final partial byte with no room; it still returns 0, and the
    // code stays after later successes.
    lzss.errorCode = 0;
    EXPECT_EQ(Compress(Ascii("AAAA"), 2), (Bytes{0x04, 0x87}));
    EXPECT_EQ(lzss.errorCode, ERR_LZSS_OUTPUT_FULL);
    EXPECT_EQ(Compress(Ascii("ABCDABCD"), 4), (Bytes{0x04, 0x09, 0x11, 0x26}));
    EXPECT_EQ(LogEntries(), Asserts("lzss", {109, 109}));
    EXPECT_EQ(Compress(Ascii("AB")), (Bytes{0x04, 0x09, 0x05}));
    EXPECT_EQ(lzss.errorCode, ERR_LZSS_OUTPUT_FULL);

    DebugInit();
    // No input at all reads as zero bits: literal zeros until the area is
    // full, one log line per byte read past the end (six literals, 54 bits).
    EXPECT_EQ(Expand({}, 5), std::make_pair(Bytes(5, 0), unsigned(ERR_LZSS_OUTPUT_FULL)));
    EXPECT_EQ(LogEntries(), Lines(7, AssertLine("lzss", 63)));

    // Two streams back to back ("AB", then "AAAA") expand one after the
    // other into one area.
    Bytes streams = {0x04, 0x09, 0x05, 0x04, 0x87, 0x00}, out(8, 0);
    lzss.SetInBuffer(streams.data(), streams.size());
    lzss.SetOutBuffer(out.data(), out.size());
    unsigned long length = 0;
    EXPECT_EQ(lzss.Expand(&length), ERR_OK);
    EXPECT_EQ(lzss.Expand(&length), ERR_OK);
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
