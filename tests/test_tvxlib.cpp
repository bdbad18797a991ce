// The tvxlib tool, run as a program on real files.
#include "support/libfiles.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/wait.h>
#endif

#include <filesystem>

namespace fs = std::filesystem;
using namespace tvxtest;

namespace {
struct ToolRun { int status; std::string out, err; };

class TvxlibTest : public testing::Test {
protected:
    void SetUp() override
    {
#ifndef TVXLIB_PATH
        GTEST_SKIP() << "tvxlib is not built";
#elif defined(_WIN32)
        char self[MAX_PATH]; // beside the test program: the build path is a host path
        tool = (fs::path(std::string(self, GetModuleFileNameA(nullptr, self, sizeof(self)))).parent_path() /
                "tvxlib.exe").string();
#else
        tool = TVXLIB_PATH;
#endif
    }

    ToolRun Tool(const std::string& arguments)
    {
        std::string command = "\"" + tool + "\" " + arguments + " >tool.out 2>tool.err";
#ifdef _WIN32
        int status = std::system(("\"" + command + "\"").c_str()); // cmd /c drops the outer pair
#else
        int status = std::system(command.c_str());
        status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
        return ToolRun{status, Slurp("tool.out"), Slurp("tool.err")};
    }

    // Text-mode output, so that Windows line ends read as "\n".
    static std::string Slurp(const char* path)
    {
        std::string text;
        for (const std::string& line : ReadLines(path))
            text += line + "\n";
        fs::remove(path);
        return text;
    }

    // Nothing but the expected files: no scratch copies, no partial output.
    static Lines Files(const std::string& directory = ".")
    {
        Lines names;
        for (const auto& entry : fs::directory_iterator(directory))
            if (entry.path().filename() != "debug.err")
                names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string tool;
};

#define EXPECT_CONTAINS(text, part) EXPECT_PRED_FORMAT2(testing::IsSubstring, part, text)
} // namespace

TEST_F(TvxlibTest, EditsALibraryFromStartToEnd)
{
    const Bytes random = RandomBytes(70000, 1), text = CompressibleBytes(40000, 2);
    fs::create_directory("data");
    WriteBytes("random.bin", random);
    WriteBytes("text.bin", text);
    for (const char* step : {"add data/GAME.LIB HERO random.bin --type SPR1",
                             "add data/GAME.LIB STORY text.bin --compress", "extract data/GAME.LIB STORY story.out"})
        ASSERT_EQ(Tool(step).status, 0) << step;
    EXPECT_EQ(ReadBytes("story.out"), text);
    const ToolRun run = Tool("list data/GAME.LIB");
    EXPECT_CONTAINS(run.out, "HERO                 SPR1             70000       70000  no\nSTORY                DATA");
    EXPECT_CONTAINS(run.out, "     40000  yes\n2 blocks");
    EXPECT_CONTAINS(Tool("verify data/GAME.LIB").out, "all 2 blocks read back");

    for (const char* step : {"add data/GAME.LIB HERO text.bin --replace", "rename data/GAME.LIB STORY TALE",
                             "remove data/GAME.LIB HERO", "extract data/GAME.LIB TALE tale.out"})
        ASSERT_EQ(Tool(step).status, 0) << step;
    EXPECT_EQ(ReadBytes("tale.out"), text);
    EXPECT_CONTAINS(Tool("list data/GAME.LIB").out, "\n1 block\n");
    EXPECT_EQ(Files("data"), Lines{"GAME.LIB"});
}

TEST_F(TvxlibTest, FailuresSayWhyAndLeaveFilesAlone)
{
    const Bytes library = LibraryBytes({{"ONE", Code("DATA"), {1, 2, 3}}, {"TWO", Code("DATA"), {4, 5}}});
    WriteBytes("GAME.LIB", library);
    WriteBytes("in.bin", Bytes{9});
    const struct { const char* arguments; int status; const char* message; } cases[] = {
        {"add GAME.LIB ONE in.bin", 1, "error 1231: A block of that name exists already"},
        {"extract GAME.LIB THREE out.bin", 1, "error 1228: There is no block of that name."},
        {"rename GAME.LIB ONE TWO", 1, "error 1231"},
        {"remove NONE.LIB ONE", 1, "error 1226"},
        {"frobnicate GAME.LIB", 2, "unknown command"},
        {"add GAME.LIB ONE", 2, "wrong number of arguments"},
        {"add GAME.LIB ABCDEFGHIJKLMNOPQRST in.bin", 2, "1 to 19 characters"},
    };
    for (const auto& c : cases) {
        const ToolRun run = Tool(c.arguments);
        EXPECT_EQ(run.status, c.status) << c.arguments;
        EXPECT_CONTAINS(run.err, c.message);
        EXPECT_EQ(ReadBytes("GAME.LIB"), library) << c.arguments;
        EXPECT_EQ(Files(), (Lines{"GAME.LIB", "in.bin"})) << c.arguments;
    }

    // A damaged file: verify names the block it cannot read.
    WriteBytes("GAME.LIB", Bytes(library.begin(), library.end() - 1));
    const ToolRun run = Tool("verify GAME.LIB");
    EXPECT_EQ(run.status, 1);
    EXPECT_CONTAINS(run.err, "block TWO: error 1227");
    EXPECT_CONTAINS(run.err, "1 of 2 blocks cannot be read");
    EXPECT_CONTAINS(run.out, "ONE                  ok, 3 bytes");
    EXPECT_CONTAINS(Tool("--help").out, "Usage: tvxlib <command> <library file>");
}
