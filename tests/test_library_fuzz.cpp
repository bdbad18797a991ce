// Damaged library files: random mutations of good files (cut short, lying
// sizes and counts, damaged headers, noise) must give the library's error
// codes and never a crash, a stray read or a leaked buffer (the sanitizer
// build checks the reads). Seeds are fixed, so a failure repeats.
#include "support/libfiles.h"

#include <set>

using namespace tvxtest;

namespace {
const char* const kNames[] = {"PLAIN", "EMPTY", "TINY", "PACKED"};

// A good file, made by the library: plain, empty, tiny and compressed blocks.
// The empty block reads to the end of the file, so it must not be last.
Bytes GoodLibrary(Library& maker, uint32_t seed)
{
    std::remove("GOOD.LIB");
    const Bytes blocks[] = {RandomBytes(40 + seed, seed), {}, {uint8_t(seed)}, CompressibleBytes(300 + seed, seed)};
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(AddBlock(maker, "GOOD.LIB", kNames[i], blocks[i], i < 2 ? LIB_ADD_CREATE : LIB_ADD_COMPRESS), ERR_OK);
    return ReadBytes("GOOD.LIB");
}

uint32_t GetU32(const Bytes& file, size_t at)
{
    return file[at] | file[at + 1] << 8 | file[at + 2] << 16 | uint32_t(file[at + 3]) << 24;
}

// Offsets of the block headers, following the stored sizes as the library does.
std::vector<size_t> HeaderOffsets(const Bytes& file)
{
    std::vector<size_t> offsets;
    for (size_t at = 10; at + 35 <= file.size(); at += 35 + size_t(GetU32(file, at + 6)))
        offsets.push_back(at);
    return offsets;
}

Bytes Mutate(Bytes file, std::mt19937& random)
{
    const std::vector<size_t> headers = HeaderOffsets(file);
    const size_t header = headers[random() % headers.size()];
    const uint32_t extremes[] = {0, 1, 3, 4, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, uint32_t(file.size())};
    const uint32_t lie = random() % 2 ? extremes[random() % 8] : uint32_t(random() % 4000);
    const size_t at = random() % file.size();
    switch (random() % 6) {
    case 0: // a flipped bit anywhere
        file[at] ^= static_cast<unsigned char>(1u << (random() % 8));
        break;
    case 1: // a lying stored size, or expanded length in front of a stream
        for (size_t i = 0, field = header + (random() % 2 ? 6 : 35); i < 4 && field + i < file.size(); ++i)
            file[field + i] = static_cast<unsigned char>(lie >> (8 * i));
        break;
    case 2: // a lying block count
        file[8] = static_cast<unsigned char>(random());
        file[9] = static_cast<unsigned char>(random() % 3 ? 0 : random());
        break;
    case 3: // a compression flag where none belongs, or a damaged tag
        file[header + (random() % 2 ? 14 : random() % 6)] = static_cast<unsigned char>(random() % 3);
        break;
    case 4: // cut short
        file.resize(at);
        break;
    default: // a damaged version or magic, a random byte anywhere
        file[random() % 2 ? at % 8 : at] = static_cast<unsigned char>(random());
    }
    // An expanded length of 0 asks for a 0-byte buffer, which the memory
    // manager can never give back: that block leaks by design, so avoid it.
    for (size_t offset : HeaderOffsets(file)) {
        if (offset + 39 <= file.size() && file[offset + 14] == 1 && GetU32(file, offset + 35) == 0)
            file[offset + 35] = 1;
    }
    return file;
}
} // namespace

TEST(LibraryDamage, MutatedFilesNeverBreakTheLibrary)
{
    const std::set<unsigned> allowed = {0, ERR_LIB_NOT_LIBRARY, ERR_LIB_BAD_BLOCK_TAG, ERR_LIB_DISK, ERR_LIB_SHORT_READ,
                                        ERR_LIB_EXPAND, ERR_LIB_NO_BLOCK, ERR_LIB_BLOCK_COUNT, ERR_LIB_SHORT_WRITE};
    std::set<unsigned> seen;
    DebugInit();
    {
        MemManager memory;
        DiskData disk(&memory);
        Library maker(&memory, &disk);
        std::vector<Bytes> goods;
        for (uint32_t seed = 1; seed <= 4; ++seed)
            goods.push_back(GoodLibrary(maker, seed));
        for (uint32_t seed = 1; seed <= 2000 && !testing::Test::HasFailure(); ++seed) {
            std::mt19937 random(seed);
            Bytes file = Mutate(goods[random() % goods.size()], random);
            if (random() % 4 == 0)
                file = Mutate(file.size() > 50 ? file : goods[0], random);
            WriteBytes("FUZZ.LIB", file);

            // Everything the library does with a file gives one of its codes,
            // and leaves no file open but on a bad tag.
            Library library(&memory, &disk);
            auto check = [&](ERRORSTATUS result) {
                const unsigned code = result == ERR_OK ? 0u : library.errorCode;
                EXPECT_TRUE(allowed.count(code)) << "seed " << seed << ": " << code;
                seen.insert(code);
                if (code == ERR_LIB_BAD_BLOCK_TAG)
                    disk.CloseAllFiles();
                EXPECT_EQ(disk.QueryOpenFileFirst(), nullptr) << "seed " << seed;
            };
            Text name("FUZZ.LIB");
            check(library.RegisterBlocks(name, LIB_ALL_TYPES));
            unsigned long offset = 0;
            int found = 0;
            _LIBBLOCKHDR header;
            for (const char* block : kNames) {
                check(ReadBlock(library, block).second == 0 ? ERR_OK : ERR_FAILURE);
                check(library.FindBlockInFile(name, Text(block), &offset, &found, &header));
            }
            _LIBDATA* contents = nullptr;
            if (library.RequestContents(name, &contents) == ERR_OK)
                library.ReleaseContents(&contents);
            EXPECT_EQ(contents, nullptr);
            if (seed % 3 == 0) {
                const unsigned long flags = LIB_ADD_REPLACE | (random() % 2 ? LIB_ADD_COMPRESS : 0);
                check(AddBlock(library, "FUZZ.LIB", kNames[random() % 4], RandomBytes(random() % 100, seed), flags));
                check(library.RemoveLibrary(name, Text(kNames[random() % 4])));
            }
            if (seed % 100 == 0)
                DebugInit(); // the codec logs every byte it reads past a stream
        }
        EXPECT_EQ(memory.CheckMemoryIntegrity(), 1);
    }
    EXPECT_TRUE(LogEntries().empty()); // no buffer outlived the memory manager
    // The mutations reach every kind of damage the library tells apart.
    for (unsigned code : {0, 1224, 1225, 1227, 1229, 1233, 1228})
        EXPECT_TRUE(seen.count(code)) << code;
}
