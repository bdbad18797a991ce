#include "support/libfiles.h"

#include <filesystem>
#include <utility>

namespace fs = std::filesystem;
using namespace tvxtest;

namespace {
const uint32_t kSpr1 = Code("SPR1"), kPal1 = Code("PAL1");


class LibraryTest : public DataTest {
protected:
    ERRORSTATUS Remove(const char* file, const char* name) { return library.RemoveLibrary(Text(file), Text(name)); }

    // The header offset of a block in a file, -1 when absent, or the error code.
    std::string Find(const char* file, const char* name, _LIBBLOCKHDR* header)
    {
        unsigned long offset = 0;
        int found = -1;
        if (library.FindBlockInFile(Text(file), Text(name), &offset, &found, header) == ERR_FAILURE)
            return "error " + std::to_string(library.errorCode);
        return found == 1 ? std::to_string(offset) : std::to_string(-1 + found);
    }

    // "file:name" of each record; the list is released, and what the release
    // leaves behind is listed after a "|".
    Lines Contents(const char* spec, unsigned long type = LIB_ALL_TYPES)
    {
        _LIBDATA* list = nullptr;
        if (library.RequestSpecificContents(Text(spec), type, &list) == ERR_FAILURE)
            return {"error " + std::to_string(library.errorCode)};
        Lines names;
        for (_LIBDATA* record = list; record != nullptr; record = record->next)
            names.push_back(std::string(record->fileName) + ":" + record->name);
        library.ReleaseSpecificContents(&list);
        while (list != nullptr) {
            names.push_back(std::string("|") + list->name);
            void* record = std::exchange(list, list->next);
            memory.Free(&record);
        }
        return names;
    }
};
} // namespace

TEST_F(LibraryTest, AddLibraryWritesTheFileFormatAndNamesHaveNineteenCharacters)
{
    const Bytes first = {1, 2, 3, 4, 5}, second = RandomBytes(300, 7);
    unsigned long stored = 0;
    ASSERT_EQ(AddBlock(library, "GAME.LIB", "FIRST", first, LIB_ADD_CREATE, kSpr1, &stored), ERR_OK);
    EXPECT_EQ(stored, 5u);
    ASSERT_EQ(AddBlock(library, "GAME.LIB", "SECOND", second, 0, kPal1), ERR_OK);
    EXPECT_EQ(ReadBytes("GAME.LIB"), LibraryBytes({{"FIRST", kSpr1, first}, {"SECOND", kPal1, second}}));

    // Wildcards make a legal name: one that names no file is missing.
    const std::pair<const char*, unsigned> failures[] = {
        {"NONE.LIB", ERR_LIB_NO_FILE}, {"*.LIB", ERR_LIB_NO_FILE}, {"G?ME.LIB", ERR_LIB_NO_FILE},
        {"GAME.LIB", ERR_LIB_BLOCK_EXISTS}, {"LONGNAMED.LIB", ERR_LIB_BAD_NAME}};
    for (const auto& f : failures) {
        EXPECT_EQ(Err(AddBlock(library, f.first, "FIRST", first, 0)), f.second) << f.first;
        EXPECT_EQ(Err(Remove(f.first, "NOBLOCK")),
                  f.second == ERR_LIB_BLOCK_EXISTS ? unsigned(ERR_LIB_NO_BLOCK) : f.second);
    }
    EXPECT_FALSE(FileExists("NONE.LIB"));

    _LIBDATA record;
    ASSERT_EQ(library.RequestLibData(Text("FIRST"), &record), ERR_OK);
    EXPECT_EQ(+record.next, nullptr);
    EXPECT_STREQ(record.fileName, "GAME.LIB");
    EXPECT_EQ(+record.offset, 45u); // unary plus copies a packed field: gtest takes references
    EXPECT_EQ(+record.size, 5u);
    EXPECT_EQ(+record.type, kSpr1);
    EXPECT_EQ(record.compressed + record.inUse, 0);
    EXPECT_EQ(Err(library.RequestLibData(Text("NOTHING"), &record)), ERR_LIB_NO_BLOCK);
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(LibraryTest, RegisterBlocksChecksEveryHeaderLaterFilesWinAndContentsListsAreTheCallersOwn)
{
    Bytes tag = LibraryBytes({{"GOOD", kSpr1, {9}}, {"BADTAG", kSpr1, {9}}});
    tag[10 + 35 + 1 + 5] = 'X'; // the "K" of the second tag
    WriteBytes("TAG.LIB", tag);
    WriteBytes("V259.LIB", LibraryBytes({{"HERO", kSpr1, {1}}, {"COLOURS", kPal1, {2}}, {"MAP", Code("MAP1"), {3}}}));
    WriteBytes("V260.LIB", LibraryBytes({{"V260", kSpr1, {9}}}, 260));
    WriteBytes("EMPTY.LIB", LibraryBytes({}));
    // A wildcard scan lists C, B, A: C is registered, B stops the scan.
    fs::create_directory("SCAN");
    WriteBytes("SCAN/A.LIB", LibraryBytes({{"FROMA", kSpr1, {1}}}));
    WriteBytes("SCAN/B.LIB", Bytes{'N', 'O', 'T', 'L', 'I', 'B', 3, 1, 0, 0});
    WriteBytes("SCAN/C.LIB", LibraryBytes({{"HERO", kSpr1, {4, 4}}}));
    const std::pair<const char*, unsigned> cases[] = {
        {"EMPTY.LIB", 0}, {"V260.LIB", ERR_LIB_NOT_LIBRARY}, {"TAG.LIB", ERR_LIB_BAD_BLOCK_TAG},
        {"*.ZIP", ERR_LIB_NO_MATCH}, {"TOOLONGNAME.LIB", ERR_LIB_BAD_NAME}, {"DIR*\\A.LIB", ERR_LIB_BAD_NAME},
        {"V259.LIB", 0} /* types select */, {"SCAN\\*.LIB", ERR_LIB_NOT_LIBRARY}};
    for (const auto& c : cases) {
        library.errorCode = 0;
        EXPECT_EQ(Err(Register(c.first, c.second == 0 ? kSpr1 : LIB_ALL_TYPES)), c.second) << c.first;
        EXPECT_EQ(library.errorCode, c.second) << c.first;
    }
    EXPECT_EQ(Read("COLOURS").second, ERR_LIB_NO_BLOCK);
    EXPECT_EQ(Read("HERO").first, (Bytes{4, 4}));
    ASSERT_EQ(Register("V259.LIB"), ERR_OK);
    for (const auto& block : std::vector<std::pair<const char*, Bytes>>{{"GOOD", {9}}, {"HERO", {1}}, {"MAP", {3}}})
        EXPECT_EQ(Read(block.first).first, block.second) << block.first;
    for (const char* name : {"V260", "BADTAG", "FROMA"})
        EXPECT_EQ(Read(name).second, ERR_LIB_NO_BLOCK) << name;

    // Withdrawing by file and type; a pattern that matches nothing fails
    // without touching errorCode.
    ASSERT_EQ(library.WithdrawBlocks(Text("V259.LIB"), kPal1), ERR_OK);
    EXPECT_EQ(Read("COLOURS").second, ERR_LIB_NO_BLOCK);
    EXPECT_EQ(Read("MAP").first, Bytes{3});
    library.errorCode = 77;
    EXPECT_EQ(Err(library.WithdrawBlocks(Text("V259.LIB"), kPal1)), 77u);
    ASSERT_EQ(library.WithdrawBlocks(Text("*.*"), LIB_ALL_TYPES), ERR_OK);
    EXPECT_EQ(Read("HERO").second, ERR_LIB_NO_BLOCK);
    EXPECT_EQ(Err(library.WithdrawBlocks(Text("A.B.C"), LIB_ALL_TYPES)), ERR_LIB_BAD_NAME);

    fs::create_directory("DATA");
    WriteBytes("DATA/ONE.LIB", LibraryBytes({{"A", kSpr1, {1}}, {"B", kPal1, {2}}}));
    WriteBytes("DATA/TWO.LIB", LibraryBytes({{"C", kSpr1, {3}}}));
    WriteBytes("DATA/NODOT", LibraryBytes({{"D", kSpr1, {4}}}));
    EXPECT_EQ(Contents("DATA\\*.LIB"), (Lines{"DATA\\ONE.LIB:B", "DATA\\ONE.LIB:A", "DATA\\TWO.LIB:C"}));
    // The release withdraws "*.*": a file name without a dot is not matched.
    EXPECT_EQ(Contents("DATA\\NODOT"), (Lines{"DATA\\NODOT:D", "|D"}));
    EXPECT_EQ(Read("A").second, ERR_LIB_NO_BLOCK); // the registry saw none of it
    // Registered blocks are read by the name the listing gave the file.
    ASSERT_EQ(Register("DATA\\ONE.LIB"), ERR_OK);
    EXPECT_EQ(Read("B").first, Bytes{2});

    // A failed scan hands back no list.
    WriteBytes("DATA/BAD.LIB", Bytes{'Q', 'O', 'R'});
    _LIBDATA* list = reinterpret_cast<_LIBDATA*>(1);
    EXPECT_EQ(Err(library.RequestContents(Text("DATA\\*.LIB"), &list)), ERR_LIB_DISK);
    EXPECT_EQ(list, nullptr);

    DebugInit();
    // The header's name field is full: its twentieth byte is no part of the name.
    WriteBytes("NAMES.LIB", LibraryBytes({{"ABCDEFGHIJKLMNOPQRST", kSpr1, {5}}}));
    ASSERT_EQ(Register("NAMES.LIB"), ERR_OK);
    EXPECT_EQ(Read("ABCDEFGHIJKLMNOPQRS").first, Bytes{5});
    EXPECT_EQ(Read("ABCDEFGHIJKLMNOPQRST").second, ERR_LIB_NO_BLOCK);
    EXPECT_EQ(Read("abcdefghijklmnopqrs").second, ERR_LIB_NO_BLOCK);
    _LIBBLOCKHDR header;
    EXPECT_EQ(Find("NAMES.LIB", "ABCDEFGHIJKLMNOPQRS", &header), "10");
    EXPECT_EQ(header.name[19], 'T');

    // A longer name never equals a stored one: added twice, it is appended
    // twice under its first 19 characters, and it cannot be removed.
    const Bytes a = {1}, b = {2, 2};
    ASSERT_EQ(AddBlock(library, "GAME.LIB", "TWENTYFIVECHARACTERNAMES", a, LIB_ADD_CREATE), ERR_OK);
    ASSERT_EQ(AddBlock(library, "GAME.LIB", "TWENTYFIVECHARACTERNAMES", b, LIB_ADD_CREATE), ERR_OK);
    EXPECT_EQ(Read("TWENTYFIVECHARACTER").first, b);
    EXPECT_EQ(Err(Remove("GAME.LIB", "TWENTYFIVECHARACTERNAMES")), ERR_LIB_NO_BLOCK);

    // Renaming cuts the new name to fit and rewrites just that header; no
    // test against the other names.
    ASSERT_EQ(library.RenameLibrary(Text("TWENTYFIVECHARACTER"), Text("ANAMEOFTWENTYFIVECHARSXY")), ERR_OK);
    EXPECT_EQ(ReadBytes("GAME.LIB"),
              LibraryBytes({{"TWENTYFIVECHARACTER", kSpr1, a}, {"ANAMEOFTWENTYFIVECH", kSpr1, b}}));
    EXPECT_EQ(Read("ANAMEOFTWENTYFIVECH").first, b);
    EXPECT_EQ(Err(library.RenameLibrary(Text("TWENTYFIVECHARACTER"), Text("C"))), ERR_LIB_NO_BLOCK);
}

TEST_F(LibraryTest, CompressedAndEmptyBlocks)
{
    // Large random data must fit the compression buffer.
    const Bytes random = RandomBytes(1 << 20, 1);
    ASSERT_EQ(AddBlock(library, "BIG.LIB", "RANDOM", random, LIB_ADD_CREATE | LIB_ADD_COMPRESS), ERR_OK);
    EXPECT_EQ(Read("RANDOM").first, random);

    // The stored data is the length and the stream; "AAAA" codes as 04 87 00.
    ASSERT_EQ(AddBlock(library, "PACK.LIB", "SMALL", {'A', 'A', 'A', 'A'}, LIB_ADD_CREATE | LIB_ADD_COMPRESS), ERR_OK);
    EXPECT_EQ(ReadBytes("PACK.LIB"), LibraryBytes({{"SMALL", kSpr1, {4, 0, 0, 0, 0x04, 0x87, 0x00}, 1}}));

    // "ALIGNED" fills its last byte: the end token's widened distance takes
    // its last bit from the guard bytes, unlogged. A stored size of 0 reads
    // to the end of the file, and fails when nothing follows.
    DebugInit();
    const Bytes file = LibraryBytes({{"EMPTY", kSpr1, {}},
                                     {"ALIGNED", kSpr1, {8, 0, 0, 0, 0x04, 0x09, 0x11, 0x26, 0x32, 0x18}, 1}});
    WriteBytes("HAND.LIB", file);
    WriteBytes("LAST.LIB", LibraryBytes({{"LAST", kSpr1, {}}}));
    ASSERT_EQ(Register("HAND.LIB"), ERR_OK);
    ASSERT_EQ(Register("LAST.LIB"), ERR_OK);
    EXPECT_EQ(Read("ALIGNED").first, (Bytes{'A', 'B', 'C', 'D', 'A', 'B', 'C', 'D'}));
    EXPECT_TRUE(LogEntries().empty());
    EXPECT_EQ(Read("EMPTY").first, Bytes(file.begin() + 45, file.end()));
    EXPECT_EQ(Read("LAST").second, ERR_LIB_DISK);

    // Lengths that lie, a block too short for its length field, a stream
    // without its end.
    const std::vector<BlockSpec> bad = {
        {"LONGER", kSpr1, {2, 0, 0, 0, 0x04, 0x03}, 1}, {"SHORTER", kSpr1, {1, 0, 0, 0, 0x04, 0x09, 0x05}, 1},
        {"HUGE", kSpr1, {0xFF, 0xFF, 0xFF, 0xFF, 0x04}, 1}, {"NOLENGTH", kSpr1, {1, 0, 0}, 1},
        {"NOEND", kSpr1, {3, 0, 0, 0, 0x04}, 1}};
    WriteBytes("HAND.LIB", LibraryBytes(bad));
    ASSERT_EQ(Register("HAND.LIB"), ERR_OK);
    for (const auto& c : bad)
        EXPECT_EQ(Read(c.name).second, ERR_LIB_EXPAND) << c.name;
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 1);
}

TEST_F(LibraryTest, ReplacingRemovingAndFindingBlocksInDamagedFiles)
{
    const Bytes a = RandomBytes(100, 1), b = RandomBytes(200, 2), c = RandomBytes(9000, 3), newB = {4, 5};
    for (const auto& block : std::vector<std::pair<const char*, const Bytes*>>{{"A", &a}, {"B", &b}, {"C", &c}})
        ASSERT_EQ(AddBlock(library, "GAME.LIB", block.first, *block.second, LIB_ADD_CREATE), ERR_OK);
    ASSERT_EQ(AddBlock(library, "OTHER.LIB", "D", c, LIB_ADD_CREATE), ERR_OK);

    // A replaced block moves to the end; the ones behind it move down.
    ASSERT_EQ(AddBlock(library, "GAME.LIB", "B", newB, LIB_ADD_REPLACE | LIB_ADD_COMPRESS, kPal1), ERR_OK);
    for (const auto& block : std::vector<std::pair<const char*, Bytes>>{{"A", a}, {"B", newB}, {"C", c}, {"D", c}})
        EXPECT_EQ(Read(block.first).first, block.second) << block.first;
    ASSERT_EQ(Remove("GAME.LIB", "C"), ERR_OK);
    ASSERT_EQ(Remove("GAME.LIB", "A"), ERR_OK);
    EXPECT_EQ(Read("C").second, ERR_LIB_NO_BLOCK);
    EXPECT_EQ(Read("B").first, newB);
    ASSERT_EQ(Remove("GAME.LIB", "B"), ERR_OK);
    EXPECT_EQ(ReadBytes("GAME.LIB"), LibraryBytes({}));
    EXPECT_EQ(Err(Remove("GAME.LIB", "B")), ERR_LIB_NO_BLOCK);
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
    EXPECT_EQ(+header.size, 1u);
    const std::pair<const char*, unsigned> cases[] = {
        {"SHORTHDR.LIB", ERR_LIB_SHORT_READ}, {"SHORTBLK.LIB", ERR_LIB_SHORT_READ}, {"MAGIC.LIB", ERR_LIB_NOT_LIBRARY},
        {"NONE.LIB", ERR_LIB_NO_FILE}, {"*.LIB", ERR_LIB_NO_FILE}, {"NOT8.3NAME.LIB", ERR_LIB_BAD_NAME},
        {"BADTAG.LIB", ERR_LIB_BAD_BLOCK_TAG}};
    for (const auto& c : cases) {
        EXPECT_EQ(Find(c.first, "TWO", &header), "error " + std::to_string(c.second)) << c.first;
        // Only the bad tag leaves its file open.
        EXPECT_EQ(disk.QueryOpenFileFirst() != nullptr, c.second == ERR_LIB_BAD_BLOCK_TAG) << c.first;
    }
    disk.CloseAllFiles();

    // The block count is 16-bit and wraps.
    WriteBytes("FULL.LIB", LibraryBytes(std::vector<BlockSpec>(65535, BlockSpec{"E", kSpr1, {1}})));
    ASSERT_EQ(AddBlock(library, "FULL.LIB", "ONEMORE", {2}, 0), ERR_OK);
    const Bytes wrapped = ReadBytes("FULL.LIB");
    EXPECT_EQ(Bytes(&wrapped[8], &wrapped[10]), (Bytes{0, 0}));
    EXPECT_EQ(Read("ONEMORE").first, Bytes{2});
}

TEST(LibraryLifetime, DestructorWithdrawsStarDotStar)
{
    DebugInit();
    {
        [[maybe_unused]] LeakOnPurpose recordsOutliveTheirManager;
        MemManager memory;
        DiskData disk(&memory);
        WriteBytes("A.LIB", LibraryBytes({{"ONE", kSpr1, {1}}, {"TWO", kSpr1, {2}}}));
        WriteBytes("NODOT", LibraryBytes({{"THREE", kSpr1, {3}}}));
        ASSERT_EQ(Library(&memory, &disk).RegisterBlocks(Text("A.LIB"), LIB_ALL_TYPES), ERR_OK);
        EXPECT_TRUE(LogEntries().empty()); // all of A.LIB went with its library
        ASSERT_EQ(Library(&memory, &disk).RegisterBlocks(Text("NODOT"), LIB_ALL_TYPES), ERR_OK);
    }
    Library missing(nullptr, nullptr);
    EXPECT_EQ(LogEntries(), (Lines{AssertLine("memman", 80), AssertLine("library", 261), AssertLine("library", 247)}));
}
