// WAVE loading: files written byte by byte, cut short, mutated, and made by sox.
#include "test_digimix_helpers.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

using tvxtest::OpenMixer;

namespace {

using Bytes = std::vector<uint8_t>;

void Put32(Bytes& out, uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
        out.push_back(static_cast<uint8_t>(value >> shift));
}

// A chunk without a pad byte; `claimed` overrides the size field.
Bytes Chunk(const char* id, const Bytes& body, int64_t claimed = -1)
{
    Bytes out(id, id + 4);
    Put32(out, claimed < 0 ? static_cast<uint32_t>(body.size()) : static_cast<uint32_t>(claimed));
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

Bytes Fmt(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits, size_t extra = 0)
{
    const uint16_t align = static_cast<uint16_t>(channels * bits / 8);
    Bytes body = {uint8_t(tag), uint8_t(tag >> 8), uint8_t(channels), 0};
    Put32(body, rate);
    Put32(body, rate * align);
    body.insert(body.end(), {uint8_t(align), 0, uint8_t(bits), 0});
    body.resize(body.size() + extra, 0);
    return Chunk("fmt ", body);
}

Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes Riff(const Bytes& inner, const char* form = "WAVE")
{
    return Chunk("RIFF", Bytes(form, form + 4) + inner);
}

const Bytes kSamples = {1, 2, 3, 4, 5};

// Writes `file` (unless null) and loads it into `header`; the error code, 0
// on success.
unsigned short Load(OpenMixer& open, const Bytes* file, _SOUNDHDR* header, int headerOnly = 0,
                    const char* name = "TEST.WAV")
{
    if (file != nullptr)
        tvxtest::WriteBytes(name, *file);
    DiskData disk(&open.memory);
    std::string path = name;
    open.mix.errorCode = 0;
    *header = _SOUNDHDR{};
    const ERRORSTATUS status = open.mix.LoadWAVE(&disk, &path[0], header, headerOnly);
    EXPECT_EQ(status, open.mix.errorCode != 0 ? ERR_FAILURE : ERR_OK);
    return open.mix.errorCode;
}

} // namespace

TEST(DigimixWave, FilesWrittenByteByByteGiveTheirCodes)
{
    struct Case {
        const char* what;
        Bytes file;
        int headerOnly;
        unsigned short code;
        uint32_t offset, length;
    };
    const Bytes plain = Riff(Fmt(1, 1, 8000, 8) + Chunk("data", kSamples));
    const Bytes fmtBody(plain.begin() + 20, plain.begin() + 36);
    const Case cases[] = {
        {"plain", plain, 0, 0, 44, 5},
        {"odd LIST before RIFF, padded", Chunk("LIST", {9, 9, 9}) + Bytes{0} + plain, 0, 0, 56, 5},
        {"RIFF of another form first", Riff({7, 7}, "AVI ") + plain, 0, 0, 58, 5},
        {"long fmt, odd chunk skipped without pad",
         Riff(Fmt(1, 1, 22050, 8, 2) + Chunk("junk", {1, 2, 3}) + Chunk("data", kSamples)), 0, 0, 57, 5},
        {"header only", Riff(Fmt(1, 1, 8000, 8) + Chunk("data", kSamples, 1000)), 1, 0, 44, 1000},
        {"data longer than the file", Riff(Fmt(1, 1, 8000, 8) + Chunk("data", kSamples, 1000)), 0, 1007, 44, 0},
        {"fact before fmt", Riff(Chunk("fact", {0, 0, 0, 0}) + Fmt(1, 1, 8000, 8) + Chunk("data", kSamples)), 0,
         2001, 0, 0},
        {"not RIFF", Chunk("RIFX", Bytes{'W', 'A', 'V', 'E'} + Fmt(1, 1, 8000, 8)), 0, 2001, 0, 0},
        {"no data chunk", Riff(Fmt(1, 1, 8000, 8)), 0, 1007, 0, 0},
        {"fmt shorter than its fields", Riff(Chunk("fmt ", fmtBody, 14) + Chunk("data", kSamples)), 0, 1007, 0, 0},
        {"chunk claiming 4 GB", Riff(Fmt(1, 1, 8000, 8) + Chunk("junk", {}, 0xFFFFFFF8) + Chunk("data", kSamples)),
         0, 1007, 0, 0},
        {"stereo 16-bit", Riff(Fmt(1, 2, 8000, 16) + Chunk("data", kSamples)), 0, 2002, 0, 0},
    };
    OpenMixer open;
    for (const Case& c : cases) {
        _SOUNDHDR h;
        const unsigned short code = Load(open, &c.file, &h, c.headerOnly);
        EXPECT_EQ((std::vector<uint32_t>{code, h.dataOffset, h.dataLength}),
                  (std::vector<uint32_t>{c.code, c.offset, c.length})) << c.what;
        EXPECT_EQ(h.data == nullptr, c.code != 0 || c.headerOnly) << c.what;
        EXPECT_TRUE(c.code != 0 || (h.volume == 64 && h.channels == 1)) << c.what;
        EXPECT_TRUE(h.data == nullptr || Bytes(h.data, h.data + 5) == kSamples) << c.what;
        open.mix.FreeSound(&h);
    }
    EXPECT_TRUE(tvxtest::LoggedMessage("Tag: 1, channels 2, FormatSpecific: 16"));
    _SOUNDHDR none;
    EXPECT_EQ(Load(open, nullptr, &none, 0, "NONE.WAV"), 1005);

    Digimix closed(&open.memory);
    DiskData disk(&open.memory);
    _SOUNDHDR untouched{};
    char name[] = "TEST.WAV";
    EXPECT_EQ(closed.LoadWAVE(&disk, name, &untouched, 0), ERR_OK);
    EXPECT_EQ(+untouched.volume, 0) << "a closed mixer reads nothing";
}

// Cut anywhere or mutated at random, a file gives a code and is never read
// outside a buffer; what loads is exactly the file's bytes.
TEST(DigimixWave, TruncatedAndMutatedFilesFailCleanly)
{
    const Bytes file = Chunk("LIST", {9, 9, 9}) + Bytes{0} +
                       Riff(Fmt(1, 1, 22050, 8, 2) + Chunk("junk", {1, 2}) + Chunk("data", kSamples));
    OpenMixer open;
    for (size_t cut = 0; cut < file.size(); ++cut) {
        const Bytes part(file.begin(), file.begin() + static_cast<long>(cut));
        _SOUNDHDR h;
        const unsigned short code = Load(open, &part, &h);
        EXPECT_TRUE(code == 1007 || code == 2001) << cut << ": " << code;
    }
    std::mt19937 random(11);
    for (int round = 0; round < 400; ++round) {
        Bytes mutated = file;
        for (int i = 0; i < 1 + round % 4; ++i)
            mutated[random() % mutated.size()] = static_cast<uint8_t>(random());
        _SOUNDHDR h;
        const unsigned short code = Load(open, &mutated, &h);
        if (code == 0) {
            ASSERT_LE(uint64_t(h.dataOffset) + h.dataLength, mutated.size());
            EXPECT_TRUE(std::equal(h.data, h.data + h.dataLength, mutated.begin() + h.dataOffset));
        }
        EXPECT_TRUE(code == 0 || code == 1007 || code == 2001 || code == 2002) << code;
        open.mix.FreeSound(&h);
    }
}

// sox is a tool of the build machine: natively only, and required there.
#ifndef _WIN32
TEST(DigimixWave, FilesMadeBySox)
{
    ASSERT_EQ(std::system("sox --version > sox.txt 2>&1"), 0) << "sox is not installed";
    // Refused formats name themselves in the log; an accepted file's samples are sox's raw output.
    const std::pair<const char*, const char*> cases[] = {
        {"-b 8 -c 1 -r 8000", nullptr},
        {"-b 8 -c 2 -r 8000", "Tag: 1, channels 2, FormatSpecific: 8"},
        {"-b 16 -c 1 -r 11025", "Tag: 1, channels 1, FormatSpecific: 16"},
        {"-e floating-point -b 32 -c 1 -r 8000", "Tag: 3, channels 1, FormatSpecific: 32"},
    };
    OpenMixer open;
    for (const auto& [format, line] : cases) {
        const std::string make =
            std::string("sox -n ") + format + " SOX.WAV synth 0.05 sine 440 && sox SOX.WAV -t raw SOX.RAW";
        ASSERT_EQ(std::system(make.c_str()), 0) << make;
        _SOUNDHDR h;
        EXPECT_EQ(Load(open, nullptr, &h, 0, "SOX.WAV"), line != nullptr ? 2002 : 0) << format;
        EXPECT_TRUE(line == nullptr || tvxtest::LoggedMessage(line)) << format;
        EXPECT_TRUE(line != nullptr || Bytes(h.data, h.data + h.dataLength) == tvxtest::ReadBytes("SOX.RAW"));
        open.mix.FreeSound(&h);
    }
}
#endif
