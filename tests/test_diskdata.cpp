#include "support/libfiles.h"

#include <filesystem>

namespace fs = std::filesystem;
using namespace tvxtest;

namespace {
class DiskDataTest : public DataTest {
protected:
    unsigned Err(ERRORSTATUS result) const { return result == ERR_OK ? 0u : disk.errorCode; }
};
} // namespace

TEST(DiskNames, LegalNamesCharactersAndWildcardMatching)
{
    DebugInit();
    // Legal names give their file part; illegal ones leave it null.
    const std::pair<const char*, const char*> names[] = {
        {"GAME.LIB", "GAME.LIB"}, {"C:\\DATA\\GAME.LIB", "GAME.LIB"}, {"*.LIB", "*.LIB"}, {"DATA\\G?ME.*", "G?ME.*"},
        {"C:GAME", "GAME"}, {"ABCDEFGH.ABC", "ABCDEFGH.ABC"}, {"game.lib", "game.lib"}, {"LONGFILENAME.LIB", nullptr},
        {"GAME.LIBS", nullptr}, {"A.B.C", nullptr}, {"MY FILE.LIB", nullptr}, {"..\\GAME.LIB", nullptr},
        {".", nullptr}, {"DATA*\\GAME.LIB", nullptr}, {"C:\\DATA\\", nullptr}, {"C:", nullptr}, {"", nullptr},
        {"DATA/GAME.LIB", nullptr}, {"GAME.L;B", nullptr},
    };
    for (const auto& c : names) {
        Text name(c.first);
        char* part = nullptr;
        EXPECT_EQ(IsLegalDOSFn(name, &part), c.second != nullptr ? 1 : 0) << c.first;
        EXPECT_STREQ(part, c.second) << c.first;
    }
    const std::string illegal = "\\:./[]|<>+=;,\" ";
    for (int c = 0; c < 256; ++c) {
        EXPECT_EQ(IsLegalDOSFnChar(c), c < 33 || illegal.find(char(c)) != std::string::npos ? 0 : 1) << c;
        EXPECT_EQ(IsDOSFnWildcard(c), c == '*' || c == '?' ? 1 : 0) << c;
    }

    const struct { const char *name, *pattern; int match; } matches[] = {
        {"GAME.LIB", "*.LIB", 1}, {"GAME.LIB", "*.lib", 0}, {"GAME.LIB", "G?ME.*", 1}, {"GAME.LIB", "*", 1},
        {"GAME.LIB", "GAME.LI", 0}, {"GAME.LI", "GAME.LIB", 0}, {"GAM", "GAM?", 1}, {"GAME", "*.*", 0},
        {"DATA\\GAME.LIB", "OTHER\\*.LIB", 1}, // only the file parts count
        {"ABAC", "*A?", 0},                    // first "A" taken, no retry at the later one
        {"XAB", "*A?", 1}, {"SAVE12.DAT", "SAVE?.DAT", 0},
    };
    for (const auto& c : matches)
        EXPECT_EQ(TestFilename(Text(c.name), Text(c.pattern)), c.match) << c.name << " ~ " << c.pattern;
    EXPECT_TRUE(LogEntries().empty());
    EXPECT_EQ(TestFilename(Text("LONGFILENAME.LIB"), Text("*.LIB")), 0);
    EXPECT_EQ(LogEntries(), Asserts("diskdata", {911}));
}

TEST_F(DiskDataTest, BlockReadsDirectoryListsAndOpenFiles)
{
    const Bytes content = RandomBytes(20000, 1);
    WriteBytes("DATA.BIN", content);
    // Size 0 reads to the end; a length that runs past the end is a short
    // read, however large. {file, offset, size, bytes read or code, log line}
    const struct { const char* file; unsigned long offset, size, result, line; } cases[] = {
        {"DATA.BIN", 0, 0, 20000, 0}, {"DATA.BIN", 19990, 0, 10, 0}, {"DATA.BIN", 9000, 100, 100, 0},
        {"DATA.BIN", 20000, 0, ERR_DISK_PAST_END, 131}, {"DATA.BIN", 0, 20001, ERR_DISK_READ, 157},
        {"DATA.BIN", 0, 0xFFFFFFFF, ERR_DISK_READ, 157}, {"NONE.BIN", 0, 0, ERR_DISK_OPEN, 118}};
    for (const auto& c : cases) {
        unsigned long size = c.size;
        unsigned char* data = nullptr;
        const ERRORSTATUS result = disk.RequestBlock(Text(c.file), c.offset, &size, &data);
        if (c.line != 0) {
            EXPECT_EQ(Err(result), c.result);
            EXPECT_EQ(LogEntries().back(), AssertLine("diskdata", c.line));
            continue;
        }
        ASSERT_EQ(result, ERR_OK);
        EXPECT_EQ(Bytes(data, data + size), Bytes(&content[c.offset], &content[c.offset] + c.result));
        disk.ReleaseBlock(&data);
        EXPECT_EQ(data, nullptr);
    }
    EXPECT_EQ(LogEntries().size(), 4u);

    DebugInit();
    fs::create_directory("DATA");
    WriteBytes("DATA/A.LIB", Bytes(5, 1));
    WriteBytes("DATA/b.lib", Bytes(7, 1));
    WriteBytes("DATA/NODOT", Bytes(11, 1));
    auto names = [&](const char* pattern) {
        _FILESTATS* list = reinterpret_cast<_FILESTATS*>(1);
        EXPECT_EQ(disk.QueryStatList(Text(pattern), &list), ERR_OK) << pattern;
        Lines found;
        for (_FILESTATS* record = list; record != nullptr; record = record->next) {
            found.push_back(std::string(record->name) + "=" + std::to_string(record->size));
            EXPECT_EQ(record->date + record->time + record->attributes, 0);
        }
        disk.ReleaseStatList(&list);
        EXPECT_EQ(list, nullptr);
        return found;
    };
    // The search lists in name order without regard to case; the records
    // are pushed at the head, so the list runs the other way.
    EXPECT_EQ(names("DATA\\*.LIB"), (Lines{"DATA\\b.lib=7", "DATA\\A.LIB=5"}));
    EXPECT_EQ(names("DATA\\NODOT.*"), (Lines{"DATA\\NODOT=11"}));
    EXPECT_TRUE(LogEntries().empty());

    DebugInit();
    WriteBytes("ONE.BIN", Bytes{1, 2, 3});
    Text one("ONE.BIN"), two("TWO.BIN"), none("NONE.BIN");
    FILE *first = nullptr, *second = nullptr;
    ASSERT_EQ(disk.OpenFileR(one, &first), ERR_OK);
    ASSERT_EQ(disk.CreateFileW(two, &second), ERR_OK);
    EXPECT_EQ(disk.QueryOpenFileFirst()->stream, second);
    EXPECT_EQ(disk.QueryOpenFileFirst()->next->stream, first);
    EXPECT_EQ(disk.FileExist(two) * 2 + disk.FileExist(none), 2);
    EXPECT_EQ(Err(disk.OpenFileRW(none, &second)), ERR_DISK_OPEN);

    disk.CloseFile(&first);
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(disk.QueryOpenFileFirst()->next, nullptr);
    disk.CloseFile(&first);
    ASSERT_EQ(disk.OpenFileRW(one, &first), ERR_OK);
    disk.CloseAllFiles();
    EXPECT_EQ(disk.QueryOpenFileFirst(), nullptr);

    // Destroyed with a file open: reported, and nothing is closed.
    void* record = nullptr;
    {
        DiskData careless(&memory);
        ASSERT_EQ(careless.OpenFileR(one, &first), ERR_OK);
        record = careless.QueryOpenFileFirst();
    }
    EXPECT_EQ(LogEntries(), Asserts("diskdata", {546, 88}));
    EXPECT_EQ(std::fgetc(first), 1);
    std::fclose(first);
    memory.Free(&record);

    // The directory query leaves the code alone when the buffer is short.
    char buffer[1024];
    ASSERT_EQ(disk.GetCurrDirectory(buffer, sizeof(buffer)), ERR_OK);
    EXPECT_EQ(fs::path(buffer), fs::current_path());
    EXPECT_EQ(Err(disk.GetCurrDirectory(buffer, 2)), ERR_DISK_OPEN);
}

TEST_F(DiskDataTest, RemoveDataBlockCutsRangesInPlace)
{
    fs::create_directory("DATA");
    const fs::path home = fs::current_path();
    Text file("DATA\\CUT.BIN");
    auto filesInData = [&] { return std::distance(fs::directory_iterator(home / "DATA"), fs::directory_iterator()); };

    // Tail, head, middle across several copy buffers, a single byte.
    const std::pair<unsigned long, unsigned long> cuts[] = {{29000, 1000}, {0, 100}, {5000, 17000}, {12, 1}};
    Bytes expected = RandomBytes(30000, 2);
    WriteBytes("DATA/CUT.BIN", expected);
    for (const auto& cut : cuts) {
        ASSERT_EQ(disk.RemoveDataBlock(file, cut.first, cut.second), ERR_OK);
        expected.erase(expected.begin() + cut.first, expected.begin() + cut.first + cut.second);
        EXPECT_EQ(ReadBytes("DATA/CUT.BIN"), expected);
        EXPECT_EQ(fs::current_path(), home);
    }
    EXPECT_EQ(filesInData(), 1);
    EXPECT_EQ(Err(disk.RemoveDataBlock(Text("NODIR\\CUT.BIN"), 0, 1)), ERR_DISK_CHDIR);
    EXPECT_EQ(LogEntries(), Asserts("diskdata", {652}));

    // A failed copy (a range past the end, a missing file) leaves the file,
    // the scratch copy and the current directory as they are.
    const std::pair<const char*, unsigned> failures[] = {{"DATA\\CUT.BIN", ERR_DISK_READ},
                                                         {"DATA\\NONE.BIN", ERR_DISK_OPEN}};
    for (const auto& f : failures) {
        EXPECT_EQ(Err(disk.RemoveDataBlock(Text(f.first), expected.size() - 5, 10)), f.second) << f.first;
        EXPECT_EQ(fs::current_path(), home / "DATA");
        fs::current_path(home);
    }
    EXPECT_EQ(ReadBytes("DATA/CUT.BIN"), expected);
    EXPECT_EQ(filesInData(), 3);
    EXPECT_EQ(disk.QueryOpenFileFirst(), nullptr);
}
