// The tvxlib tool, run as a program on real files.
#include "support/libfiles.h"
#include "support/workdir.h"

#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/wait.h>
#endif

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace fs = std::filesystem;
using tvxtest::Bytes;
using tvxtest::Code;
using tvxtest::LibraryBytes;
using tvxtest::ReadBytes;
using tvxtest::WriteBytes;

namespace {

#ifdef TVXLIB_PATH
// Beside the test program on Windows (the build path is a host path there).
std::string ToolPath()
{
#ifdef _WIN32
    char self[MAX_PATH];
    const DWORD length = GetModuleFileNameA(nullptr, self, sizeof(self));
    return (fs::path(std::string(self, length)).parent_path() / "tvxlib.exe").string();
#else
    return TVXLIB_PATH;
#endif
}
#endif

struct ToolRun {
    int status;
    std::string out;
    std::string err;
};

// Text-mode output, so that Windows line ends read as "\n".
std::string Slurp(const char* path)
{
    std::string text;
    for (const std::string& line : tvxtest::ReadLines(path))
        text += line + "\n";
    return text;
}

class TvxlibTest : public testing::Test {
protected:
    void SetUp() override
    {
#ifndef TVXLIB_PATH
        GTEST_SKIP() << "tvxlib is not built";
#else
        tool = ToolPath();
        ASSERT_TRUE(fs::exists(tool)) << tool;
#endif
    }

    ToolRun Tool(const std::string& arguments)
    {
        std::string command = "\"" + tool + "\" " + arguments + " >tool.out 2>tool.err";
#ifdef _WIN32
        command = "\"" + command + "\""; // cmd /c drops the outer pair
#endif
        int status = std::system(command.c_str());
#ifndef _WIN32
        status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
        ToolRun run{status, Slurp("tool.out"), Slurp("tool.err")};
        fs::remove("tool.out");
        fs::remove("tool.err");
        return run;
    }

    // Nothing but the expected files: no scratch copies, no partial output.
    std::vector<std::string> Files(const std::string& directory = ".")
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(directory)) {
            const std::string name = entry.path().filename().string();
            if (name != "debug.err")
                names.push_back(name);
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string tool;
};

#define EXPECT_CONTAINS(text, part) EXPECT_PRED_FORMAT2(testing::IsSubstring, part, text)

} // namespace

TEST_F(TvxlibTest, EditsALibraryFromStartToEnd)
{
    const Bytes random = tvxtest::RandomBytes(70000, 1);
    const Bytes text = tvxtest::CompressibleBytes(40000, 2);
    fs::create_directory("data");
    WriteBytes("random.bin", random);
    WriteBytes("text.bin", text);

    ToolRun run = Tool("add data/GAME.LIB HERO random.bin --type SPR1");
    ASSERT_EQ(run.status, 0) << run.err;
    run = Tool("add data/GAME.LIB STORY text.bin --compress");
    ASSERT_EQ(run.status, 0) << run.err;
    const Bytes afterAdd = ReadBytes("data/GAME.LIB");
    EXPECT_EQ(Bytes(afterAdd.begin(), afterAdd.begin() + 10), (Bytes{'Q', 'O', 'R', 'L', 'I', 'B', 3, 1, 2, 0}));

    run = Tool("list data/GAME.LIB");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_CONTAINS(run.out, "HERO                 SPR1");
    EXPECT_CONTAINS(run.out, "     70000       70000  no");
    EXPECT_CONTAINS(run.out, "STORY                DATA");
    EXPECT_CONTAINS(run.out, "     40000  yes");
    EXPECT_CONTAINS(run.out, "2 blocks");
    EXPECT_LT(run.out.find("HERO"), run.out.find("STORY")); // file order

    ASSERT_EQ(Tool("extract data/GAME.LIB STORY story.out").status, 0);
    EXPECT_EQ(ReadBytes("story.out"), text);
    run = Tool("verify data/GAME.LIB");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_CONTAINS(run.out, "all 2 blocks read back");

    ASSERT_EQ(Tool("add data/GAME.LIB HERO text.bin --replace").status, 0);
    ASSERT_EQ(Tool("rename data/GAME.LIB STORY TALE").status, 0);
    ASSERT_EQ(Tool("remove data/GAME.LIB HERO").status, 0);
    EXPECT_EQ(Tool("extract data/GAME.LIB TALE tale.out").status, 0);
    EXPECT_EQ(ReadBytes("tale.out"), text);
    run = Tool("list data/GAME.LIB");
    EXPECT_CONTAINS(run.out, "TALE");
    EXPECT_PRED_FORMAT2(testing::IsNotSubstring, "HERO", run.out);
    EXPECT_CONTAINS(run.out, "1 block\n");

    EXPECT_EQ(Files("data"), std::vector<std::string>{"GAME.LIB"});
    EXPECT_EQ(Files(), (std::vector<std::string>{"data", "random.bin", "story.out", "tale.out", "text.bin"}));
}

TEST_F(TvxlibTest, FailuresSayWhyAndLeaveFilesAlone)
{
    const Bytes library = LibraryBytes({{"ONE", Code("DATA"), {1, 2, 3}}, {"TWO", Code("DATA"), {4, 5}}});
    WriteBytes("GAME.LIB", library);
    WriteBytes("in.bin", Bytes{9});

    struct Case {
        const char* arguments;
        int status;
        const char* message;
    };
    const Case cases[] = {
        {"add GAME.LIB ONE in.bin", 1, "error 1231: A block of that name exists already"},
        {"add GAME.LIB NEW missing.bin", 1, "cannot read"},
        {"extract GAME.LIB THREE out.bin", 1, "error 1228: There is no block of that name."},
        {"remove GAME.LIB THREE", 1, "error 1228"},
        {"rename GAME.LIB ONE TWO", 1, "error 1231"},
        {"rename GAME.LIB THREE FOUR", 1, "error 1228"},
        {"list LONGFILENAME.LIB", 1, "error 1222"},
        {"list NONE.LIB", 1, "error 1223"},
        {"remove NONE.LIB ONE", 1, "error 1226"},
        {"frobnicate GAME.LIB", 2, "unknown command"},
        {"add GAME.LIB ONE", 2, "wrong number of arguments"},
        {"add GAME.LIB ABCDEFGHIJKLMNOPQRST in.bin", 2, "1 to 19 characters"},
        {"list GAME.LIB --type XY", 2, "--type"},
        {"list", 2, "a command and a library file"},
    };
    for (const Case& c : cases) {
        const ToolRun run = Tool(c.arguments);
        EXPECT_EQ(run.status, c.status) << c.arguments;
        EXPECT_CONTAINS(run.err, c.message);
        EXPECT_EQ(ReadBytes("GAME.LIB"), library) << c.arguments;
        EXPECT_EQ(Files(), (std::vector<std::string>{"GAME.LIB", "in.bin"})) << c.arguments;
    }

    // A damaged file: verify names the block it cannot read.
    Bytes damaged = library;
    damaged.resize(damaged.size() - 1);
    WriteBytes("GAME.LIB", damaged);
    const ToolRun run = Tool("verify GAME.LIB");
    EXPECT_EQ(run.status, 1);
    EXPECT_CONTAINS(run.err, "block TWO: error 1227");
    EXPECT_CONTAINS(run.err, "1 of 2 blocks cannot be read");
    EXPECT_CONTAINS(run.out, "ONE                  ok, 3 bytes");

    const ToolRun help = Tool("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_CONTAINS(help.out, "Usage: tvxlib <command> <library file>");
}
