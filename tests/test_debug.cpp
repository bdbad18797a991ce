#include "support/libfiles.h"

using namespace tvxtest;

TEST(DebugLog, EntriesFollowTheHeaderInCallOrder)
{
    WriteBytes("debug.err", {'o', 'l', 'd', '\n'});
    _RunMark("x", 1); // without DebugInit, lines are appended to what is there
    EXPECT_EQ(ReadLines("debug.err"), (Lines{"old", "Run mark in file x at line 1."}));
    DebugInit();
    EXPECT_EQ(ReadLines("debug.err"), (Lines{"Tollivex Debug Output File", ""}));

    // Overlong texts are cut at their buffer's end.
    const std::string longText(1000, 'm');
    _AssertMsg("source/memman", 95);
    _RunMark("source/lzss", 7);
    _DebugMessage(longText.c_str());
    _AssertMsg(longText.c_str(), 1);
    EXPECT_EQ(LogEntries(), (Lines{"Assert error in file source/memman at line 95.",
                                   "Run mark in file source/lzss at line 7.",
                                   "Debug Message: " + std::string(255 - 15, 'm'),
                                   "Assert error in file " + std::string(79 - 21, 'm')}));
}
