// Library files built byte by byte, independently of the Library code, and
// the fixture and helpers the data tests share.
#ifndef TOLLIVEX_TESTS_LIBFILES_H
#define TOLLIVEX_TESTS_LIBFILES_H

#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include <algorithm>
#include <random>

namespace tvxtest {

using Bytes = std::vector<unsigned char>;
using Lines = std::vector<std::string>;

inline uint32_t Code(const char (&text)[5])
{
    return uint8_t(text[0]) | uint8_t(text[1]) << 8 | uint8_t(text[2]) << 16 | uint32_t(uint8_t(text[3])) << 24;
}

// A block as it stands in the file: the name written as is, up to 20 bytes.
struct BlockSpec { std::string name; uint32_t type; Bytes data; uint8_t compressed = 0; };

inline Bytes LibraryBytes(const std::vector<BlockSpec>& blocks, uint16_t version = 259)
{
    Bytes out = {'Q', 'O', 'R', 'L', 'I', 'B'};
    auto put = [&out](uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            out.push_back(static_cast<unsigned char>(value >> (8 * i)));
    };
    put(version, 2);
    put(static_cast<uint32_t>(blocks.size()), 2);
    for (const BlockSpec& block : blocks) {
        out.insert(out.end(), {'L', 'I', 'B', 'B', 'L', 'K'});
        put(static_cast<uint32_t>(block.data.size()), 4);
        put(block.type, 4);
        out.push_back(block.compressed);
        for (size_t i = 0; i < 20; ++i)
            out.push_back(i < block.name.size() ? static_cast<unsigned char>(block.name[i]) : 0);
        out.insert(out.end(), block.data.begin(), block.data.end());
    }
    return out;
}

inline Bytes RandomBytes(size_t size, uint32_t seed)
{
    std::mt19937 random(seed);
    Bytes out(size);
    std::generate(out.begin(), out.end(), [&] { return static_cast<unsigned char>(random()); });
    return out;
}

// Random data with long repeats, so that LZSS has matches to find.
inline Bytes CompressibleBytes(size_t size, uint32_t seed)
{
    std::mt19937 random(seed);
    Bytes out;
    while (out.size() < size) {
        if (out.size() > 20 && random() % 3 != 0) {
            const size_t distance = 1 + random() % std::min<size_t>(out.size(), 20000);
            for (size_t i = 3 + random() % 40; i > 0 && out.size() < size; --i)
                out.push_back(out[out.size() - distance]);
        } else {
            out.push_back(static_cast<unsigned char>('a' + random() % 8));
        }
    }
    return out;
}

// A writable C string for the library's char* parameters.
struct Text {
    explicit Text(const std::string& s) : chars(s.begin(), s.end()) { chars.push_back('\0'); }
    operator char*() { return chars.data(); }
    std::vector<char> chars;
};

// The log lines of failed assertions at these lines of one source.
inline Lines Asserts(const std::string& source, std::initializer_list<unsigned long> lines)
{
    Lines out;
    for (unsigned long line : lines)
        out.push_back(AssertLine(source, line));
    return out;
}

// A block's bytes as RequestLibrary gives them, or no bytes and the error code.
inline std::pair<Bytes, unsigned> ReadBlock(Library& library, const std::string& name)
{
    unsigned char* data = nullptr;
    unsigned long size = 0;
    if (library.RequestLibrary(Text(name), &data, &size) == ERR_FAILURE)
        return {Bytes(), library.errorCode};
    Bytes bytes(data, data + size);
    library.ReleaseLibrary(&data);
    EXPECT_EQ(data, nullptr);
    return {bytes, 0};
}

inline ERRORSTATUS AddBlock(Library& library, const std::string& file, const std::string& name, const Bytes& data,
                            unsigned long flags, uint32_t type = Code("SPR1"), unsigned long* stored = nullptr)
{
    unsigned long ignored = 0;
    return library.AddLibrary(Text(file), Text(name), type, const_cast<unsigned char*>(data.data()), data.size(),
                              stored != nullptr ? stored : &ignored, flags);
}

// A fresh log and the three objects every data test needs.
class DataTest : public testing::Test {
protected:
    void SetUp() override { DebugInit(); }
    unsigned Err(ERRORSTATUS result) const { return result == ERR_OK ? 0u : library.errorCode; }
    std::pair<Bytes, unsigned> Read(const std::string& name) { return ReadBlock(library, name); }
    ERRORSTATUS Register(const char* s, unsigned long t = LIB_ALL_TYPES) { return library.RegisterBlocks(Text(s), t); }

    MemManager memory;
    DiskData disk{&memory};
    Library library{&memory, &disk};
};

// Memory the library leaves behind by design: the leak checker is told so.
struct LeakOnPurpose {
#if defined(__SANITIZE_ADDRESS__)
    LeakOnPurpose() { __lsan_disable(); }
    ~LeakOnPurpose() { __lsan_enable(); }
#endif
};

} // namespace tvxtest

#endif
