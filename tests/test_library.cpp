#include "support/libfiles.h"
#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace fs = std::filesystem;
using tvxtest::BlockSpec;
using tvxtest::Bytes;
using tvxtest::Code;
using tvxtest::LibraryBytes;
using tvxtest::LogEntries;
using tvxtest::ReadBytes;
using tvxtest::Text;
using tvxtest::WriteBytes;
using Names = std::vector<std::string>;

namespace {
const uint32_t kSpr1 = Code("SPR1");
const uint32_t kPal1 = Code("PAL1");

// A copy of a packed field: gtest would bind a reference to it, unaligned.
template <typename T>
T Value(T field)
{
    return field;
}

class LibraryTest : public testing::Test {
protected:
    void SetUp() override { DebugInit(); }

    // The error code of a failed call, 0 for success.
    unsigned Err(ERRORSTATUS result) const { return result == ERR_OK ? 0u : library.errorCode; }

    std::pair<Bytes, unsigned> Read(const std::string& name) { return tvxtest::ReadBlock(library, name); }

    ERRORSTATUS Register(const std::string& spec, unsigned long type = LIB_ALL_TYPES)
    {
        Text text(spec);
        return library.RegisterBlocks(text, type);
    }

    ERRORSTATUS Add(const std::string& file, const std::string& name, const Bytes& data, unsigned long flags,
                    uint32_t type = kSpr1, unsigned long* stored = nullptr)
    {
        return tvxtest::AddBlock(library, file, name, data, flags, type, stored);
    }

    ERRORSTATUS Remove(const std::string& file, const std::string& name)
    {
        Text f(file), n(name);
        return library.RemoveLibrary(f, n);
    }

    ERRORSTATUS Rename(const std::string& name, const std::string& newName)
    {
        Text n(name), to(newName);
        return library.RenameLibrary(n, to);
    }

    // The header offset of a block in a file, -1 when absent, or the error code as text.
    std::string Find(const std::string& file, const std::string& name, _LIBBLOCKHDR* header)
    {
        Text f(file), n(name);
        unsigned long offset = 0;
        int found = -1;
        if (library.FindBlockInFile(f, n, &offset, &found, header) == ERR_FAILURE)
            return "error " + std::to_string(library.errorCode);
        return found == 1 ? std::to_string(offset) : found == 0 ? "-1" : "found " + std::to_string(found);
    }

    Names Contents(const std::string& spec, unsigned long type = LIB_ALL_TYPES)
    {
        Text text(spec);
        _LIBDATA* list = nullptr;
        Names names;
        if (library.RequestSpecificContents(text, type, &list) == ERR_FAILURE)
            return {"error " + std::to_string(library.errorCode)};
        for (_LIBDATA* record = list; record != nullptr; record = record->next)
            names.push_back(std::string(record->fileName) + ":" + record->name);
        library.ReleaseSpecificContents(&list);
        EXPECT_EQ(list, nullptr);
        return names;
    }

    MemManager memory;
    DiskData disk{&memory};
    Library library{&memory, &disk};
};
} // namespace

TEST_F(LibraryTest, AddLibraryWritesTheFileFormat)
{
    const Bytes first = {1, 2, 3, 4, 5};
    const Bytes second = tvxtest::RandomBytes(300, 7);
    unsigned long stored = 0;

    EXPECT_EQ(Err(Add("GAME.LIB", "FIRST", first, 0)), ERR_LIB_NO_FILE);
    EXPECT_FALSE(tvxtest::FileExists("GAME.LIB"));

    ASSERT_EQ(Add("GAME.LIB", "FIRST", first, LIB_ADD_CREATE, kSpr1, &stored), ERR_OK);
    EXPECT_EQ(stored, 5u);
    EXPECT_EQ(ReadBytes("GAME.LIB"), LibraryBytes({{"FIRST", kSpr1, first}}));
    ASSERT_EQ(Add("GAME.LIB", "SECOND", second, 0, kPal1), ERR_OK);
    EXPECT_EQ(ReadBytes("GAME.LIB"), LibraryBytes({{"FIRST", kSpr1, first}, {"SECOND", kPal1, second}}));
    EXPECT_EQ(Read("FIRST").first, first);
    EXPECT_EQ(Read("SECOND").first, second);

    EXPECT_EQ(Err(Add("GAME.LIB", "FIRST", second, LIB_ADD_CREATE)), ERR_LIB_BLOCK_EXISTS);
    EXPECT_EQ(Err(Add("LONGNAMED.LIB", "X", first, LIB_ADD_CREATE)), ERR_LIB_BAD_NAME);
    EXPECT_EQ(Err(Add("G?ME.LIB", "X", first, LIB_ADD_CREATE)), ERR_LIB_BAD_NAME);

    _LIBDATA record;
    Text firstName("FIRST"), nothing("NOTHING");
    ASSERT_EQ(library.RequestLibData(firstName, &record), ERR_OK);
    EXPECT_EQ(Value(record.next), nullptr);
    EXPECT_STREQ(record.fileName, "GAME.LIB");
    EXPECT_EQ(Value(record.offset), 45u);
    EXPECT_EQ(Value(record.size), 5u);
    EXPECT_EQ(Value(record.type), kSpr1);
    EXPECT_EQ(record.compressed + record.inUse, 0);
    EXPECT_EQ(Err(library.RequestLibData(nothing, &record)), ERR_LIB_NO_BLOCK);
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(LibraryTest, RegisterBlocksChecksEveryHeader)
{
    const Bytes data = {9, 8, 7};
    WriteBytes("EMPTY.LIB", LibraryBytes({}));
    WriteBytes("V259.LIB", LibraryBytes({{"V259", kSpr1, data}}, 259));
    WriteBytes("V260.LIB", LibraryBytes({{"V260", kSpr1, data}}, 260));
    Bytes magic = LibraryBytes({{"MAGIC", kSpr1, data}});
    magic[0] = 'X';
    WriteBytes("MAGIC.LIB", magic);
    Bytes tag = LibraryBytes({{"GOOD", kSpr1, data}, {"BADTAG", kSpr1, data}});
    tag[10 + 35 + 3 + 5] = 'X'; // the "K" of the second tag
    WriteBytes("TAG.LIB", tag);
    // A wildcard scan lists C, B, A: C is registered, B stops the scan.
    fs::create_directory("SCAN");
    WriteBytes("SCAN/A.LIB", LibraryBytes({{"FROMA", kSpr1, {1}}}));
    WriteBytes("SCAN/B.LIB", Bytes{'N', 'O', 'T', 'L', 'I', 'B', 3, 1, 0, 0});
    WriteBytes("SCAN/C.LIB", LibraryBytes({{"FROMC", kSpr1, {3}}}));

    const struct {
        const char* spec;
        unsigned code; // 0: registered
    } cases[] = {
        {"EMPTY.LIB", 0}, {"V259.LIB", 0}, {"V260.LIB", ERR_LIB_NOT_LIBRARY}, {"MAGIC.LIB", ERR_LIB_NOT_LIBRARY},
        {"TAG.LIB", ERR_LIB_BAD_BLOCK_TAG}, {"*.ZIP", ERR_LIB_NO_MATCH}, {"NONE.LIB", ERR_LIB_NO_MATCH},
        {"TOOLONGNAME.LIB", ERR_LIB_BAD_NAME}, {"DIR*\\A.LIB", ERR_LIB_BAD_NAME}, {"SCAN\\*.LIB", ERR_LIB_NOT_LIBRARY},
    };
    for (const auto& c : cases) {
        library.errorCode = 0;
        EXPECT_EQ(Register(c.spec), c.code == 0 ? ERR_OK : ERR_FAILURE) << c.spec;
        EXPECT_EQ(library.errorCode, c.code) << c.spec;
    }
    EXPECT_EQ(Read("V259").first, data);
    EXPECT_EQ(Read("V260").second, ERR_LIB_NO_BLOCK);
    EXPECT_EQ(Read("GOOD").first, data); // registered before the bad tag was met
    EXPECT_EQ(Read("BADTAG").second, ERR_LIB_NO_BLOCK);
    EXPECT_EQ(Read("FROMC").first, Bytes{3});
    EXPECT_EQ(Read("FROMA").second, ERR_LIB_NO_BLOCK);
}

TEST_F(LibraryTest, LaterRegistrationWinsAndTypesSelect)
{
    WriteBytes("BASE.LIB", LibraryBytes({{"HERO", kSpr1, {1}}, {"COLOURS", kPal1, {2}}, {"MAP", Code("MAP1"), {3}}}));
    WriteBytes("PATCH.LIB", LibraryBytes({{"HERO", kSpr1, {4, 4}}}));

    ASSERT_EQ(Register("BASE.LIB", kSpr1), ERR_OK);
    EXPECT_EQ(Read("HERO").first, Bytes{1});
    EXPECT_EQ(Read("COLOURS").second, ERR_LIB_NO_BLOCK);
    ASSERT_EQ(Register("BASE.LIB"), ERR_OK);
    EXPECT_EQ(Read("COLOURS").first, Bytes{2});
    EXPECT_EQ(Read("MAP").first, Bytes{3});

    ASSERT_EQ(Register("PATCH.LIB"), ERR_OK);
    EXPECT_EQ(Read("HERO").first, (Bytes{4, 4}));
    ASSERT_EQ(Register("BASE.LIB"), ERR_OK);
    EXPECT_EQ(Read("HERO").first, Bytes{1});

    // Withdrawing by file pattern and type; a pattern that matches nothing
    // fails without touching errorCode.
    Text base("BASE.LIB"), all("*.*"), illegal("A.B.C");
    ASSERT_EQ(library.WithdrawBlocks(base, kPal1), ERR_OK);
    EXPECT_EQ(Read("COLOURS").second, ERR_LIB_NO_BLOCK);
    EXPECT_EQ(Read("MAP").first, Bytes{3});
    library.errorCode = 77;
    EXPECT_EQ(Err(library.WithdrawBlocks(base, kPal1)), 77);
    ASSERT_EQ(library.WithdrawBlocks(all, LIB_ALL_TYPES), ERR_OK);
    EXPECT_EQ(Read("HERO").second, ERR_LIB_NO_BLOCK);
    EXPECT_EQ(Err(library.WithdrawBlocks(illegal, LIB_ALL_TYPES)), ERR_LIB_BAD_NAME);
}

TEST_F(LibraryTest, ContentsListsAreTheCallersOwn)
{
    fs::create_directory("DATA");
    WriteBytes("DATA/ONE.LIB", LibraryBytes({{"A", kSpr1, {1}}, {"B", kPal1, {2}}}));
    WriteBytes("DATA/TWO.LIB", LibraryBytes({{"C", kSpr1, {3}}}));

    EXPECT_EQ(Contents("DATA\\*.LIB"), (Names{"DATA\\ONE.LIB:B", "DATA\\ONE.LIB:A", "DATA\\TWO.LIB:C"}));
    EXPECT_EQ(Contents("DATA\\*.LIB", kSpr1), (Names{"DATA\\ONE.LIB:A", "DATA\\TWO.LIB:C"}));
    EXPECT_EQ(Contents("DATA\\X.LIB"), (Names{"error 1223"}));
    EXPECT_EQ(Read("A").second, ERR_LIB_NO_BLOCK); // the registry saw none of it

    // Registered blocks are read by the name the listing gave the file.
    ASSERT_EQ(Register("DATA\\ONE.LIB"), ERR_OK);
    EXPECT_EQ(Read("B").first, Bytes{2});

    // A failed scan hands back no list.
    WriteBytes("DATA/BAD.LIB", Bytes{'Q', 'O', 'R'});
    Text spec("DATA\\*.LIB");
    _LIBDATA* list = reinterpret_cast<_LIBDATA*>(1);
    EXPECT_EQ(Err(library.RequestContents(spec, &list)), ERR_LIB_DISK);
    EXPECT_EQ(list, nullptr);
}

TEST_F(LibraryTest, BlockNamesHaveNineteenSignificantCharacters)
{
    // The header's name field is full: its twentieth byte is no part of the name.
    WriteBytes("NAMES.LIB", LibraryBytes({{"ABCDEFGHIJKLMNOPQRST", kSpr1, {5}}}));
    ASSERT_EQ(Register("NAMES.LIB"), ERR_OK);
    EXPECT_EQ(Read("ABCDEFGHIJKLMNOPQRS").first, Bytes{5});
    EXPECT_EQ(Read("ABCDEFGHIJKLMNOPQRST").second, ERR_LIB_NO_BLOCK);
    EXPECT_EQ(Read("abcdefghijklmnopqrs").second, ERR_LIB_NO_BLOCK);
    _LIBBLOCKHDR header;
    EXPECT_EQ(Find("NAMES.LIB", "ABCDEFGHIJKLMNOPQRS", &header), "10");
    EXPECT_EQ(header.name[19], 'T');

    // Renaming cuts the new name to fit and rewrites just that header.
    const Bytes a = {1}, b = {2, 2};
    ASSERT_EQ(Add("GAME.LIB", "A", a, LIB_ADD_CREATE), ERR_OK);
    ASSERT_EQ(Add("GAME.LIB", "B", b, 0), ERR_OK);
    ASSERT_EQ(Rename("B", "ANAMEOFTWENTYFIVECHARSXY"), ERR_OK);
    EXPECT_EQ(ReadBytes("GAME.LIB"), LibraryBytes({{"A", kSpr1, a}, {"ANAMEOFTWENTYFIVECH", kSpr1, b}}));
    EXPECT_EQ(Read("ANAMEOFTWENTYFIVECH").first, b);
    EXPECT_EQ(Read("B").second, ERR_LIB_NO_BLOCK);
    EXPECT_EQ(Err(Rename("B", "C")), ERR_LIB_NO_BLOCK);
    // No test against the other names: two blocks may end up sharing one.
    ASSERT_EQ(Rename("A", "ANAMEOFTWENTYFIVECH"), ERR_OK);
    EXPECT_EQ(ReadBytes("GAME.LIB"),
              LibraryBytes({{"ANAMEOFTWENTYFIVECH", kSpr1, a}, {"ANAMEOFTWENTYFIVECH", kSpr1, b}}));
}

TEST_F(LibraryTest, SizeZeroBlockReadsToTheEndOfTheFile)
{
    Bytes file = LibraryBytes({{"EMPTY", kSpr1, {}}, {"AFTER", kSpr1, {7, 8}}});
    WriteBytes("ZERO.LIB", file);
    WriteBytes("LAST.LIB", LibraryBytes({{"LAST", kSpr1, {}}}));
    ASSERT_EQ(Register("*.LIB"), ERR_OK);
    EXPECT_EQ(Read("EMPTY").first, Bytes(file.begin() + 45, file.end()));
    EXPECT_EQ(Read("AFTER").first, (Bytes{7, 8}));
    EXPECT_EQ(Read("LAST").second, ERR_LIB_DISK);
}

TEST_F(LibraryTest, CompressedBlocks)
{
    const Bytes data = tvxtest::CompressibleBytes(50000, 11);
    unsigned long stored = 0;
    ASSERT_EQ(Add("PACK.LIB", "PACKED", data, LIB_ADD_CREATE | LIB_ADD_COMPRESS, kSpr1, &stored), ERR_OK);
    EXPECT_LT(stored, data.size() / 2);

    // The stored data is the length and the stream the codec makes.
    Bytes stream(data.size() + data.size() / 8 + 100);
    unsigned long length = 0;
    LZSS codec(&memory);
    codec.SetInBuffer(const_cast<unsigned char*>(data.data()), data.size());
    codec.SetOutBuffer(stream.data(), stream.size());
    ASSERT_EQ(codec.Compress(&length), ERR_OK);
    Bytes expected = {0x50, 0xC3, 0x00, 0x00};
    expected.insert(expected.end(), stream.begin(), stream.begin() + length);
    EXPECT_EQ(stored, expected.size());
    EXPECT_EQ(ReadBytes("PACK.LIB"), LibraryBytes({{"PACKED", kSpr1, expected, 1}}));
    EXPECT_EQ(Read("PACKED").first, data);

    // Hand-made blocks: "A" is 04 03; lengths that lie, a block too short to
    // hold its length field, a stream without its end.
    const struct {
        const char* name;
        Bytes stored;
        unsigned code;
        Bytes expanded;
    } cases[] = {
        {"GOOD", {1, 0, 0, 0, 0x04, 0x03}, 0, {0x41}},
        {"EMPTY", {0, 0, 0, 0, 0x01}, 0, {}},
        {"LONGER", {2, 0, 0, 0, 0x04, 0x03}, ERR_LIB_EXPAND, {}},
        {"SHORTER", {0, 0, 0, 0, 0x04, 0x03}, ERR_LIB_EXPAND, {}},
        {"HUGE", {0xFF, 0xFF, 0xFF, 0xFF, 0x04, 0x03}, ERR_LIB_EXPAND, {}},
        {"NOLENGTH", {1, 0, 0}, ERR_LIB_EXPAND, {}},
        {"NOEND", {3, 0, 0, 0, 0x04}, ERR_LIB_EXPAND, {}},
    };
    std::vector<BlockSpec> blocks;
    for (const auto& c : cases)
        blocks.push_back({c.name, kSpr1, c.stored, 1});
    WriteBytes("HAND.LIB", LibraryBytes(blocks));
    ASSERT_EQ(Register("HAND.LIB"), ERR_OK);
    for (const auto& c : cases)
        EXPECT_EQ(Read(c.name), std::make_pair(c.expanded, c.code)) << c.name;
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 1);
}

TEST_F(LibraryTest, ReplacingAndRemovingKeepTheOthersReadable)
{
    const Bytes a = tvxtest::RandomBytes(100, 1), b = tvxtest::RandomBytes(200, 2);
    const Bytes c = tvxtest::RandomBytes(9000, 3), newB = tvxtest::RandomBytes(50, 4);
    ASSERT_EQ(Add("GAME.LIB", "A", a, LIB_ADD_CREATE), ERR_OK);
    ASSERT_EQ(Add("GAME.LIB", "B", b, 0), ERR_OK);
    ASSERT_EQ(Add("GAME.LIB", "C", c, 0), ERR_OK);
    ASSERT_EQ(Add("OTHER.LIB", "D", c, LIB_ADD_CREATE), ERR_OK);

    // A replaced block moves to the end; the ones behind it move down.
    ASSERT_EQ(Add("GAME.LIB", "B", newB, LIB_ADD_REPLACE, kPal1), ERR_OK);
    EXPECT_EQ(ReadBytes("GAME.LIB"), LibraryBytes({{"A", kSpr1, a}, {"C", kSpr1, c}, {"B", kPal1, newB}}));
    EXPECT_EQ(Read("A").first, a);
    EXPECT_EQ(Read("B").first, newB);
    EXPECT_EQ(Read("C").first, c);
    EXPECT_EQ(Read("D").first, c);
    ASSERT_EQ(Remove("GAME.LIB", "C"), ERR_OK);
    EXPECT_EQ(ReadBytes("GAME.LIB"), LibraryBytes({{"A", kSpr1, a}, {"B", kPal1, newB}}));
    EXPECT_EQ(Read("C").second, ERR_LIB_NO_BLOCK);
    EXPECT_EQ(Read("B").first, newB);

    // Replacing with compression, and by a name longer than the field holds.
    const Bytes text = tvxtest::CompressibleBytes(20000, 5);
    ASSERT_EQ(Add("GAME.LIB", "A", text, LIB_ADD_REPLACE | LIB_ADD_COMPRESS), ERR_OK);
    EXPECT_EQ(Read("A").first, text);
    EXPECT_EQ(Read("B").first, newB);
    ASSERT_EQ(Add("GAME.LIB", "TWENTYFIVECHARACTERNAMES", a, LIB_ADD_REPLACE), ERR_OK);
    ASSERT_EQ(Add("GAME.LIB", "TWENTYFIVECHARACTERNAMEZ", b, LIB_ADD_REPLACE), ERR_OK);
    EXPECT_EQ(Read("TWENTYFIVECHARACTER").first, b);
    const Bytes file = ReadBytes("GAME.LIB");
    EXPECT_EQ(Bytes(&file[8], &file[10]), (Bytes{3, 0})); // A, B and the long name once

    for (const char* name : {"A", "B", "TWENTYFIVECHARACTER"})
        ASSERT_EQ(Remove("GAME.LIB", name), ERR_OK) << name;
    EXPECT_EQ(ReadBytes("GAME.LIB"), LibraryBytes({}));
    EXPECT_EQ(Err(Remove("GAME.LIB", "A")), ERR_LIB_NO_BLOCK);
    EXPECT_EQ(Err(Remove("NONE.LIB", "A")), ERR_LIB_NO_FILE);
    EXPECT_TRUE(LogEntries().empty());

    // The registry record goes by name alone, whichever file it came from.
    WriteBytes("X.LIB", LibraryBytes({{"SAME", kSpr1, {1}}}));
    WriteBytes("Y.LIB", LibraryBytes({{"SAME", kSpr1, {2}}}));
    ASSERT_EQ(Register("X.LIB"), ERR_OK);
    ASSERT_EQ(Register("Y.LIB"), ERR_OK);
    ASSERT_EQ(Remove("X.LIB", "SAME"), ERR_OK);
    EXPECT_EQ(Read("SAME").second, ERR_LIB_NO_BLOCK);
    EXPECT_EQ(ReadBytes("Y.LIB"), LibraryBytes({{"SAME", kSpr1, {2}}}));
    EXPECT_EQ(disk.QueryOpenFileFirst(), nullptr);
}

TEST_F(LibraryTest, FindBlockInFileReportsDamage)
{
    const Bytes full = LibraryBytes({{"ONE", kSpr1, {1, 2, 3}}, {"TWO", kSpr1, {4}}});
    Bytes badTag = full, wrongMagic = full;
    badTag[48] = 'X';
    wrongMagic[5] = 'C';
    WriteBytes("FULL.LIB", full);
    WriteBytes("SHORTHDR.LIB", Bytes(full.begin(), full.begin() + 9));
    WriteBytes("SHORTBLK.LIB", Bytes(full.begin(), full.begin() + 60));
    WriteBytes("BADTAG.LIB", badTag);
    WriteBytes("MAGIC.LIB", wrongMagic);
    _LIBBLOCKHDR header;
    EXPECT_EQ(Find("FULL.LIB", "THREE", &header), "-1");
    EXPECT_EQ(Find("FULL.LIB", "TWO", &header), "48");
    EXPECT_EQ(Value(header.size), 1u);

    const std::pair<const char*, unsigned> cases[] = {
        {"SHORTHDR.LIB", ERR_LIB_SHORT_READ}, {"SHORTBLK.LIB", ERR_LIB_SHORT_READ},
        {"BADTAG.LIB", ERR_LIB_BAD_BLOCK_TAG}, {"MAGIC.LIB", ERR_LIB_NOT_LIBRARY},
        {"NONE.LIB", ERR_LIB_NO_FILE}, {"NOT8.3NAME.LIB", ERR_LIB_BAD_NAME}, {"*.LIB", ERR_LIB_BAD_NAME},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Find(c.first, "TWO", &header), "error " + std::to_string(c.second)) << c.first;
        EXPECT_EQ(disk.QueryOpenFileFirst(), nullptr) << c.first;
    }
}

TEST_F(LibraryTest, BlockCountWrapsPast65535)
{
    std::vector<BlockSpec> blocks(65535, BlockSpec{"E", kSpr1, {1}});
    blocks.back().name = "LAST";
    WriteBytes("FULL.LIB", LibraryBytes(blocks));
    ASSERT_EQ(Add("FULL.LIB", "ONEMORE", {2}, 0), ERR_OK);
    const Bytes file = ReadBytes("FULL.LIB");
    EXPECT_EQ(Bytes(&file[8], &file[10]), (Bytes{0, 0}));
    EXPECT_EQ(Read("ONEMORE").first, Bytes{2});
}

TEST_F(LibraryTest, LargeRandomBlocksRoundTrip)
{
    unsigned seed = 100;
    Bytes last;
    for (size_t size : {1, 16383, 16384, 16385, 32000, 100000, 1 << 20}) {
        const Bytes random = tvxtest::RandomBytes(size, ++seed);
        last = tvxtest::CompressibleBytes(size, ++seed);
        const std::string n = std::to_string(size);
        unsigned long stored = 0;
        ASSERT_EQ(Add("BIG.LIB", "R" + n, random, LIB_ADD_CREATE), ERR_OK) << size;
        ASSERT_EQ(Add("BIG.LIB", "RZ" + n, random, LIB_ADD_COMPRESS), ERR_OK) << size;
        ASSERT_EQ(Add("BIG.LIB", "CZ" + n, last, LIB_ADD_COMPRESS, kSpr1, &stored), ERR_OK) << size;
        EXPECT_TRUE(size < 1000 || stored < size * 3 / 4) << size << " stored as " << stored;
        EXPECT_EQ(Read("R" + n).first, random) << size;
        EXPECT_EQ(Read("RZ" + n).first, random) << size;
        EXPECT_EQ(Read("CZ" + n).first, last) << size;
    }
    // And from a fresh registration of the file.
    Library again(&memory, &disk);
    Text spec("BIG.LIB");
    ASSERT_EQ(again.RegisterBlocks(spec, LIB_ALL_TYPES), ERR_OK);
    EXPECT_EQ(tvxtest::ReadBlock(again, "CZ1048576").first, last);
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 1);
}

TEST(LibraryLifetime, DestructorWithdrawsEverything)
{
    DebugInit();
    {
        MemManager memory;
        DiskData disk(&memory);
        Library library(&memory, &disk);
        WriteBytes("A.LIB", LibraryBytes({{"ONE", kSpr1, {1}}, {"TWO", kSpr1, {2}}}));
        WriteBytes("NODOT", LibraryBytes({{"THREE", kSpr1, {3}}}));
        Text a("A.LIB"), nodot("NODOT");
        ASSERT_EQ(library.RegisterBlocks(a, LIB_ALL_TYPES), ERR_OK);
        ASSERT_EQ(library.RegisterBlocks(nodot, LIB_ALL_TYPES), ERR_OK);
    }
    // No block outlived the library: the memory manager has nothing to report.
    EXPECT_TRUE(LogEntries().empty());

    Library bare;
    EXPECT_EQ(bare.errorCode, 0);
    {
        Library missing(nullptr, nullptr);
    }
    EXPECT_EQ(LogEntries(), (Names{tvxtest::AssertLine("library", 261), tvxtest::AssertLine("library", 247)}));
}
