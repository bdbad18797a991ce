// Damaged library files: every truncation of a good file, and many random
// mutations of good files, must give the library's error codes and never a
// crash, a stray read or a leaked buffer (the sanitizer build checks the
// reads). Seeds are fixed, so a failure repeats.
#include "support/libfiles.h"
#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>

using tvxtest::AddBlock;
using tvxtest::Bytes;
using tvxtest::Code;
using tvxtest::ReadBytes;
using tvxtest::Text;
using tvxtest::WriteBytes;

namespace {

const std::set<unsigned> kScanCodes = {0, ERR_LIB_NOT_LIBRARY, ERR_LIB_BAD_BLOCK_TAG, ERR_LIB_DISK};
const std::set<unsigned> kReadCodes = {0, ERR_LIB_DISK, ERR_LIB_EXPAND, ERR_NO_MEMORY, ERR_LIB_NO_BLOCK};
const std::set<unsigned> kFindCodes = {0, ERR_LIB_NOT_LIBRARY, ERR_LIB_BAD_BLOCK_TAG, ERR_LIB_SHORT_READ};
const std::set<unsigned> kAddCodes = {0, ERR_LIB_NOT_LIBRARY, ERR_LIB_BAD_BLOCK_TAG, ERR_LIB_SHORT_READ,
                                      ERR_LIB_DISK, ERR_LIB_SHORT_WRITE};
const std::set<unsigned> kRemoveCodes = {0, ERR_LIB_NOT_LIBRARY, ERR_LIB_BAD_BLOCK_TAG, ERR_LIB_SHORT_READ,
                                         ERR_LIB_DISK, ERR_LIB_NO_BLOCK, ERR_LIB_BLOCK_COUNT};
const char* const kNames[] = {"PLAIN", "PACKED", "TINY", "EMPTY"};
const uint32_t kFuzz = Code("FUZZ");

// A good file, made by the library: plain, empty, tiny and compressed blocks.
// The empty block reads to the end of the file, so it must not be last.
Bytes GoodLibrary(Library& library, uint32_t seed)
{
    std::remove("GOOD.LIB");
    const Bytes plain = tvxtest::RandomBytes(40 + seed % 200, seed);
    const Bytes tiny = {static_cast<unsigned char>(seed)};
    EXPECT_EQ(AddBlock(library, "GOOD.LIB", "PLAIN", plain, LIB_ADD_CREATE, kFuzz), ERR_OK);
    EXPECT_EQ(AddBlock(library, "GOOD.LIB", "EMPTY", {}, 0, kFuzz), ERR_OK);
    EXPECT_EQ(AddBlock(library, "GOOD.LIB", "TINY", tiny, LIB_ADD_COMPRESS, kFuzz), ERR_OK);
    EXPECT_EQ(AddBlock(library, "GOOD.LIB", "PACKED", tvxtest::CompressibleBytes(300 + seed % 700, seed + 1),
                       LIB_ADD_COMPRESS, kFuzz),
              ERR_OK);
    return ReadBytes("GOOD.LIB");
}

void PutU32(Bytes& bytes, size_t at, uint32_t value)
{
    for (size_t i = 0; i < 4 && at + i < bytes.size(); ++i)
        bytes[at + i] = static_cast<unsigned char>(value >> (8 * i));
}

// Offsets of the block headers of a good file.
std::vector<size_t> HeaderOffsets(const Bytes& file)
{
    std::vector<size_t> offsets;
    size_t at = 10;
    while (at + 35 <= file.size()) {
        offsets.push_back(at);
        at += 35 + (file[at + 6] | file[at + 7] << 8 | file[at + 8] << 16 | uint32_t(file[at + 9]) << 24);
    }
    return offsets;
}

Bytes Mutate(Bytes file, std::mt19937& random)
{
    const std::vector<size_t> headers = HeaderOffsets(file);
    const size_t header = headers[random() % headers.size()];
    const uint32_t extremes[] = {0, 1, 3, 4, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, static_cast<uint32_t>(file.size())};
    const int kinds = random() % 9;
    switch (kinds) {
    case 0: // a few flipped bits anywhere
        for (int n = 1 + random() % 4; n > 0; --n)
            file[random() % file.size()] ^= static_cast<unsigned char>(1u << (random() % 8));
        break;
    case 1: // random bytes anywhere
        for (int n = 1 + random() % 8; n > 0; --n)
            file[random() % file.size()] = static_cast<unsigned char>(random());
        break;
    case 2: // a lying stored size
        PutU32(file, header + 6, random() % 2 ? extremes[random() % 8] : static_cast<uint32_t>(random()));
        break;
    case 3: // a lying block count
        file[8] = static_cast<unsigned char>(random());
        file[9] = static_cast<unsigned char>(random() % 3 == 0 ? random() : 0);
        break;
    case 4: // a lying expanded length in front of a compressed stream
        PutU32(file, header + 35, random() % 2 ? extremes[random() % 8] : static_cast<uint32_t>(random() % 4000));
        break;
    case 5: // a compression flag where none belongs, or a damaged tag
        file[header + (random() % 2 ? 14 : random() % 6)] = static_cast<unsigned char>(random() % 3);
        break;
    case 6: // cut short
        file.resize(random() % file.size());
        break;
    case 7: // garbage behind a good header
        file.resize(10 + random() % 200);
        for (size_t i = 10; i < file.size(); ++i)
            file[i] = static_cast<unsigned char>(random());
        break;
    default: // a damaged version or magic
        file[random() % 8] = static_cast<unsigned char>(random());
        break;
    }
    return file;
}

// Everything the library reads about a file, checked against the codes it
// may give.
void Exercise(MemManager& memory, DiskData& disk, std::mt19937& random, bool rewrite, const std::string& what,
              std::set<unsigned>& seen)
{
    Library library(&memory, &disk);
    auto check = [&](const char* step, ERRORSTATUS result, const std::set<unsigned>& allowed) {
        const unsigned code = result == ERR_OK ? 0u : library.errorCode;
        EXPECT_TRUE(allowed.count(code)) << what << " " << step << " " << code;
        seen.insert(code);
    };
    Text file("FUZZ.LIB");
    check("scan", library.RegisterBlocks(file, LIB_ALL_TYPES), kScanCodes);
    for (const char* blockName : kNames) {
        const unsigned code = tvxtest::ReadBlock(library, blockName).second;
        check("read", code == 0 ? ERR_OK : ERR_FAILURE, kReadCodes);
        Text name(blockName);
        unsigned long offset = 0;
        int found = 0;
        _LIBBLOCKHDR header;
        check("find", library.FindBlockInFile(file, name, &offset, &found, &header), kFindCodes);
    }

    _LIBDATA* contents = nullptr;
    if (library.RequestContents(file, &contents) == ERR_OK)
        library.ReleaseContents(&contents);
    EXPECT_EQ(contents, nullptr) << what;

    if (rewrite) {
        const Bytes data = tvxtest::RandomBytes(random() % 100, random());
        const unsigned long flags = LIB_ADD_REPLACE | (random() % 2 ? LIB_ADD_COMPRESS : 0);
        check("add", AddBlock(library, "FUZZ.LIB", kNames[random() % 4], data, flags, kFuzz), kAddCodes);
        Text other(kNames[random() % 4]);
        check("remove", library.RemoveLibrary(file, other), kRemoveCodes);
    }
    EXPECT_EQ(disk.QueryOpenFileFirst(), nullptr) << what;
}

} // namespace

TEST(LibraryDamage, EveryTruncationOfAGoodFileFailsCleanly)
{
    DebugInit();
    {
        MemManager memory;
        DiskData disk(&memory);
        Library maker(&memory, &disk);
        const Bytes good = GoodLibrary(maker, 5);
        for (size_t length = 0; length < good.size(); ++length) {
            WriteBytes("FUZZ.LIB", Bytes(good.begin(), good.begin() + length));
            Library library(&memory, &disk);
            Text file("FUZZ.LIB");
            if (library.RegisterBlocks(file, LIB_ALL_TYPES) == ERR_FAILURE) {
                EXPECT_EQ(library.errorCode, ERR_LIB_DISK) << length;
                continue;
            }
            // The headers all fit: the cut runs through the data of the
            // last block, which alone fails to read.
            int failures = 0;
            for (const char* blockName : kNames) {
                const unsigned code = tvxtest::ReadBlock(library, blockName).second;
                failures += code != 0;
                EXPECT_TRUE(code == 0 || code == ERR_LIB_DISK) << length << " " << blockName << " " << code;
            }
            EXPECT_EQ(failures, 1) << length;
        }
        EXPECT_EQ(disk.QueryOpenFileFirst(), nullptr);
    }
    EXPECT_FALSE(tvxtest::Logged(tvxtest::AssertLine("memman", 80)));
}

TEST(LibraryDamage, RandomAndMutatedFilesNeverBreakTheLibrary)
{
    DebugInit();
    {
        MemManager memory;
        DiskData disk(&memory);
        Library maker(&memory, &disk);
        std::vector<Bytes> goods;
        for (uint32_t seed = 1; seed <= 4; ++seed)
            goods.push_back(GoodLibrary(maker, seed));

        std::set<unsigned> seen;
        for (uint32_t seed = 1; seed <= 2000; ++seed) {
            std::mt19937 random(seed);
            Bytes file;
            if (seed % 50 == 0) {
                file = tvxtest::RandomBytes(random() % 400, seed);
                if (seed % 100 == 0 && file.size() >= 10)
                    std::copy_n(goods[0].begin(), 10, file.begin()); // a good header over noise
            } else {
                file = Mutate(goods[random() % goods.size()], random);
                if (random() % 4 == 0)
                    file = Mutate(file.size() > 50 ? file : goods[0], random);
            }
            WriteBytes("FUZZ.LIB", file);
            Exercise(memory, disk, random, seed % 3 == 0, "seed " + std::to_string(seed), seen);
            if (HasFailure())
                break;
            if (seed % 100 == 0)
                DebugInit(); // the codec logs every byte it reads past a stream
        }
        EXPECT_EQ(memory.CheckMemoryIntegrity(), 1);
        // The mutations reach every kind of damage the library tells apart.
        const std::set<unsigned> kinds = {0, ERR_LIB_NOT_LIBRARY, ERR_LIB_BAD_BLOCK_TAG, ERR_LIB_DISK,
                                          ERR_LIB_SHORT_READ, ERR_LIB_EXPAND, ERR_LIB_NO_BLOCK};
        for (unsigned code : kinds)
            EXPECT_TRUE(seen.count(code)) << code;
    }
    EXPECT_FALSE(tvxtest::Logged(tvxtest::AssertLine("memman", 80)));
}
