#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

using tvxtest::LogEntries;
using tvxtest::ReadLines;

TEST(DebugLog, InitWritesHeaderAndEntriesFollowInCallOrder)
{
    DebugInit();
    EXPECT_EQ(ReadLines("debug.err"), (std::vector<std::string>{"Tollivex Debug Output File", ""}));

    _AssertMsg("source/memman", 95);
    _AssertMsg("source/canvas", 12);
    _RunMark("source/lzss", 7);
    _DebugMessage("DirectDraw object creation failed");

    EXPECT_EQ(LogEntries(), (std::vector<std::string>{
                                "Assert error in file source/memman at line 95.",
                                "Assert error in file source/canvas at line 12.",
                                "Run mark in file source/lzss at line 7.",
                                "Debug Message: DirectDraw object creation failed",
                            }));

    DebugInit();
    EXPECT_EQ(ReadLines("debug.err"), (std::vector<std::string>{"Tollivex Debug Output File", ""}));
}

TEST(DebugLog, EntriesAppendToAnExistingFileWithoutInit)
{
    tvxtest::WriteBytes("debug.err", {'o', 'l', 'd', '\n'});
    _RunMark("x", 1);
    EXPECT_EQ(ReadLines("debug.err"), (std::vector<std::string>{"old", "Run mark in file x at line 1."}));
}

TEST(DebugLog, OverlongTextsAreCutNotOverrun)
{
    DebugInit();
    const std::string longText(1000, 'm');
    _DebugMessage(longText.c_str());
    _AssertMsg(longText.c_str(), 1);
    _DebugMessage(nullptr);

    const std::vector<std::string> entries = LogEntries();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0], "Debug Message: " + std::string(255 - 15, 'm'));
    EXPECT_EQ(entries[1], "Assert error in file " + std::string(79 - 21, 'm'));
    EXPECT_EQ(entries[2], "Debug Message: (null)");
}

namespace {
const int kLinesPerThread = 200;

unsigned long LogFromThread(void* tag)
{
    const std::string text = "writer " + std::to_string(reinterpret_cast<uintptr_t>(tag));
    for (int i = 0; i < kLinesPerThread; ++i)
        _DebugMessage(text.c_str());
    return 0;
}
} // namespace

TEST(DebugLog, LinesFromSeveralThreadsStayWhole)
{
    DebugInit();
    {
        Thread first(LogFromThread, 1, 0);
        Thread second(LogFromThread, 2, 0);
        first.Wait();
        second.Wait();
    }
    const std::vector<std::string> entries = LogEntries();
    ASSERT_EQ(entries.size(), 2u * kLinesPerThread);
    EXPECT_EQ(std::count(entries.begin(), entries.end(), "Debug Message: writer 1"), kLinesPerThread);
    EXPECT_EQ(std::count(entries.begin(), entries.end(), "Debug Message: writer 2"), kLinesPerThread);
}
