#include "support/libfiles.h"
#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace fs = std::filesystem;
using tvxtest::Bytes;
using tvxtest::Logged;
using tvxtest::LogEntries;
using tvxtest::ReadBytes;
using tvxtest::Text;
using tvxtest::WriteBytes;

namespace {
std::string Assert(unsigned long line)
{
    return tvxtest::AssertLine("diskdata", line);
}

class DiskDataTest : public testing::Test {
protected:
    void SetUp() override { DebugInit(); }
    // The error code of a failed call, 0 for success.
    unsigned Err(ERRORSTATUS result) const { return result == ERR_OK ? 0u : disk.errorCode; }

    MemManager memory;
    DiskData disk{&memory};
};
} // namespace

TEST(DiskNames, LegalDosNamesAndCharacters)
{
    // Legal names give their file part; illegal ones leave it null.
    const struct {
        const char* name;
        const char* filePart;
    } cases[] = {
        {"GAME.LIB", "GAME.LIB"}, {"C:\\DATA\\GAME.LIB", "GAME.LIB"}, {"*.LIB", "*.LIB"},
        {"DATA\\G?ME.*", "G?ME.*"}, {"C:GAME", "GAME"}, {"ABCDEFGH.ABC", "ABCDEFGH.ABC"},
        {"game.lib", "game.lib"}, {"LONGFILENAME.LIB", nullptr}, {"ABCDEFGHI", nullptr},
        {"GAME.LIBS", nullptr}, {"A.B.C", nullptr}, {"MY FILE.LIB", nullptr}, {"GAME.LIB ", nullptr},
        {"..\\GAME.LIB", nullptr}, {".", nullptr}, {"..", nullptr}, {"DATA*\\GAME.LIB", nullptr},
        {"C:\\DATA\\", nullptr}, {"C:", nullptr}, {"", nullptr}, {"DATA/GAME.LIB", nullptr},
        {"A+B.LIB", nullptr}, {"GAME.L;B", nullptr},
    };
    for (const auto& c : cases) {
        Text name(c.name);
        char* part = nullptr;
        EXPECT_EQ(IsLegalDOSFn(name, &part), c.filePart != nullptr ? 1 : 0) << c.name;
        if (c.filePart != nullptr)
            EXPECT_STREQ(part, c.filePart) << c.name;
        else
            EXPECT_EQ(part, nullptr) << c.name;
    }
    Text plain("GAME.LIB");
    EXPECT_EQ(IsLegalDOSFn(plain, nullptr), 1);

    const std::string illegal = "\\:./[]|<>+=;,\" ";
    for (int c = 0; c < 256; ++c) {
        const auto byte = static_cast<unsigned char>(c);
        EXPECT_EQ(IsLegalDOSFnChar(byte), c < 33 || illegal.find(static_cast<char>(c)) != std::string::npos ? 0 : 1)
            << c;
        EXPECT_EQ(IsDOSFnWildcard(byte), c == '*' || c == '?' ? 1 : 0) << c;
    }
}

TEST(DiskNames, WildcardMatching)
{
    DebugInit();
    const struct {
        const char* name;
        const char* pattern;
        int match;
    } cases[] = {
        {"GAME.LIB", "*.LIB", 1}, {"GAME.LIB", "*.lib", 0}, {"GAME.LIB", "G?ME.*", 1}, {"GAME.LIB", "*.*", 1},
        {"GAME.LIB", "*", 1}, {"GAME.LIB", "GAME.LIB", 1}, {"GAME.LIB", "GAME.LI", 0}, {"GAME.LI", "GAME.LIB", 0},
        {"GAME", "GAM?", 1},
        {"GAM", "GAM?", 1},                    // `?` may match nothing at the end
        {"GAME", "*.*", 0},                    // no dot in the name, none to find
        {"DATA\\GAME.LIB", "OTHER\\*.LIB", 1}, // only the file parts count
        {"ABAC", "*A?", 0},                    // first "A" taken, no retry at the later one
        {"XAB", "*A?", 1}, {"SAVE1.DAT", "SAVE?.DAT", 1}, {"SAVE12.DAT", "SAVE?.DAT", 0},
    };
    for (const auto& c : cases) {
        Text name(c.name);
        Text pattern(c.pattern);
        EXPECT_EQ(TestFilename(name, pattern), c.match) << c.name << " ~ " << c.pattern;
    }
    EXPECT_TRUE(LogEntries().empty());

    Text longName("LONGFILENAME.LIB");
    Text pattern("*.LIB");
    EXPECT_EQ(TestFilename(longName, pattern), 0);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{Assert(911)}));
}

TEST_F(DiskDataTest, RequestBlockReadsRangesAndRefusesBadOnes)
{
    const Bytes content = tvxtest::RandomBytes(20000, 1);
    WriteBytes("DATA.BIN", content);
    Text file("DATA.BIN");
    unsigned char* data = nullptr;

    // {offset, size asked, bytes expected}: size 0 reads to the end.
    const struct {
        unsigned long offset, size, length;
    } reads[] = {{0, 0, 20000}, {19990, 0, 10}, {9000, 100, 100}};
    for (const auto& r : reads) {
        unsigned long size = r.size;
        ASSERT_EQ(disk.RequestBlock(file, r.offset, &size, &data), ERR_OK);
        EXPECT_EQ(size, r.length);
        EXPECT_EQ(Bytes(data, data + r.length), Bytes(&content[r.offset], &content[r.offset] + r.length));
        disk.ReleaseBlock(&data);
        EXPECT_EQ(data, nullptr);
    }
    EXPECT_TRUE(LogEntries().empty());

    unsigned long size = 0;
    EXPECT_EQ(Err(disk.RequestBlock(file, 20000, &size, &data)), ERR_DISK_PAST_END);
    EXPECT_TRUE(Logged(Assert(131)));

    // A length that runs past the end is a short read, however large.
    for (unsigned long lying : {20001ul, 0xFFFFFFFFul}) {
        size = lying;
        EXPECT_EQ(Err(disk.RequestBlock(file, 0, &size, &data)), ERR_DISK_READ);
        EXPECT_EQ(data, nullptr);
    }
    EXPECT_TRUE(Logged(Assert(157)));

    Text missing("NONE.BIN");
    size = 0;
    EXPECT_EQ(Err(disk.RequestBlock(missing, 0, &size, &data)), ERR_DISK_OPEN);
    EXPECT_TRUE(Logged(Assert(118)));

    // A later success leaves the last code in place.
    size = 1;
    ASSERT_EQ(disk.RequestBlock(file, 0, &size, &data), ERR_OK);
    disk.ReleaseBlock(&data);
    EXPECT_EQ(disk.errorCode, ERR_DISK_OPEN);
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 1);
}

TEST_F(DiskDataTest, StatListKeepsTheDirectoryPartAndRunsInReverse)
{
    fs::create_directory("DATA");
    WriteBytes("DATA/A.LIB", Bytes(5, 1));
    WriteBytes("DATA/b.lib", Bytes(7, 1));
    WriteBytes("DATA/C.TXT", Bytes(9, 1));
    WriteBytes("DATA/NODOT", Bytes(11, 1));

    auto names = [&](const char* pattern) {
        Text text(pattern);
        _FILESTATS* list = reinterpret_cast<_FILESTATS*>(1);
        EXPECT_EQ(disk.QueryStatList(text, &list), ERR_OK) << pattern;
        std::vector<std::string> found;
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
    using Names = std::vector<std::string>;
    EXPECT_EQ(names("DATA\\*.LIB"), (Names{"DATA\\b.lib=7", "DATA\\A.LIB=5"}));
    EXPECT_EQ(names("DATA\\?.lib"), (Names{"DATA\\b.lib=7", "DATA\\A.LIB=5"}));
    EXPECT_EQ(names("DATA\\NODOT.*"), (Names{"DATA\\NODOT=11"}));
    EXPECT_EQ(names("DATA\\*.ZIP"), Names{});
    EXPECT_EQ(names("NODIR\\*.*"), Names{});
    EXPECT_EQ(names("DATA\\*.*").size(), 6u); // four files with "." and ".."
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(DiskDataTest, OpenFilesAreListedUntilClosed)
{
    WriteBytes("ONE.BIN", Bytes{1, 2, 3});
    Text one("ONE.BIN");
    Text two("TWO.BIN");
    Text none("NONE.BIN");

    FILE* first = nullptr;
    FILE* second = nullptr;
    ASSERT_EQ(disk.OpenFileR(one, &first), ERR_OK);
    ASSERT_EQ(disk.CreateFileW(two, &second), ERR_OK);
    ASSERT_NE(disk.QueryOpenFileFirst(), nullptr);
    EXPECT_EQ(disk.QueryOpenFileFirst()->stream, second);
    EXPECT_EQ(disk.QueryOpenFileFirst()->next->stream, first);
    EXPECT_EQ(disk.FileExist(two), 1);
    EXPECT_EQ(disk.FileExist(none), 0);

    FILE* missing = nullptr;
    EXPECT_EQ(Err(disk.OpenFileRW(none, &missing)), ERR_DISK_OPEN);
    EXPECT_EQ(missing, nullptr);

    disk.CloseFile(&first);
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(disk.QueryOpenFileFirst()->stream, second);
    EXPECT_EQ(disk.QueryOpenFileFirst()->next, nullptr);
    disk.CloseFile(&first);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{Assert(546)}));

    ASSERT_EQ(disk.OpenFileRW(one, &first), ERR_OK);
    disk.CloseAllFiles();
    EXPECT_EQ(disk.QueryOpenFileFirst(), nullptr);
    EXPECT_EQ(LogEntries().size(), 1u);

    // Destroyed with a file open: reported, and nothing is closed.
    FILE* left = nullptr;
    void* record = nullptr;
    {
        DiskData careless(&memory);
        ASSERT_EQ(careless.OpenFileR(one, &left), ERR_OK);
        record = careless.QueryOpenFileFirst();
    }
    EXPECT_EQ(LogEntries().back(), Assert(88));
    EXPECT_EQ(std::fgetc(left), 1);
    std::fclose(left);
    memory.Free(&record);

    // The directory query leaves the code alone when the buffer is short.
    char buffer[1024];
    ASSERT_EQ(disk.GetCurrDirectory(buffer, sizeof(buffer)), ERR_OK);
    EXPECT_EQ(fs::path(buffer), fs::current_path());
    const unsigned short before = disk.errorCode;
    EXPECT_EQ(Err(disk.GetCurrDirectory(buffer, 2)), before);
}

TEST_F(DiskDataTest, RemoveDataBlockCutsRangesInPlace)
{
    const Bytes content = tvxtest::RandomBytes(30000, 2);
    fs::create_directory("DATA");
    const fs::path home = fs::current_path();
    Text file("DATA\\CUT.BIN");
    auto onlyOneFile = [] { return std::distance(fs::directory_iterator("DATA"), fs::directory_iterator()) == 1; };

    // Tail, head, middle across several copy buffers, a single byte.
    const struct {
        unsigned long offset, length;
    } cuts[] = {{29000, 1000}, {0, 100}, {5000, 17000}, {12, 1}};
    Bytes expected = content;
    WriteBytes("DATA/CUT.BIN", content);
    for (const auto& cut : cuts) {
        ASSERT_EQ(disk.RemoveDataBlock(file, cut.offset, cut.length), ERR_OK);
        expected.erase(expected.begin() + cut.offset, expected.begin() + cut.offset + cut.length);
        EXPECT_EQ(ReadBytes("DATA/CUT.BIN"), expected);
        EXPECT_EQ(fs::current_path(), home);
    }
    EXPECT_TRUE(onlyOneFile());

    // A range past the end fails on the short read and leaves the file as
    // it was, with no scratch file and the directory restored.
    EXPECT_EQ(Err(disk.RemoveDataBlock(file, expected.size() - 5, 10)), ERR_DISK_READ);
    EXPECT_EQ(ReadBytes("DATA/CUT.BIN"), expected);
    EXPECT_EQ(fs::current_path(), home);
    EXPECT_TRUE(onlyOneFile());

    Text elsewhere("NODIR\\CUT.BIN");
    EXPECT_EQ(Err(disk.RemoveDataBlock(elsewhere, 0, 1)), ERR_DISK_CHDIR);
    EXPECT_TRUE(Logged(Assert(652)));

    Text missing("DATA\\NONE.BIN");
    EXPECT_EQ(Err(disk.RemoveDataBlock(missing, 0, 1)), ERR_DISK_OPEN);
    EXPECT_EQ(fs::current_path(), home);
    EXPECT_EQ(disk.QueryOpenFileFirst(), nullptr);
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 1);
}
