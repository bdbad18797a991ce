#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

#include <climits>
#include <cstring>
#include <string>

using tvxtest::LogEntries;
using tvxtest::ReadLines;

namespace {
std::string Assert(unsigned long line)
{
    return "Assert error in file memman at line " + std::to_string(line) + ".";
}

class MemManagerTest : public testing::Test {
protected:
    void SetUp() override { DebugInit(); }
    MemManager memory;
};
} // namespace

TEST_F(MemManagerTest, NewBlockAndItsGuardsAreFilledWithCC)
{
    void* block = nullptr;
    ASSERT_EQ(memory.Allocate(&block, 10), ERR_OK);
    ASSERT_NE(block, nullptr);
    const auto* q = static_cast<unsigned char*>(block);
    for (int i = -8; i < 18; ++i)
        EXPECT_EQ(q[i], 0xCC) << "byte " << i;
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 1);
    memory.Free(&block);
    EXPECT_EQ(block, nullptr);
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(MemManagerTest, OnlyTheByteNextToTheDataIsGuarded)
{
    void* block = nullptr;
    ASSERT_EQ(memory.Allocate(&block, 10), ERR_OK);
    auto* q = static_cast<unsigned char*>(block);

    q[11] = 0;
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 1);
    EXPECT_FALSE(tvxtest::FileExists("debug2.err"));

    q[10] = 0;
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 0);
    EXPECT_EQ(ReadLines("debug2.err"), (std::vector<std::string>{"Memory overflow: 0 0 0 0 0 0 0 0 "}));
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{Assert(399)}));

    q[10] = 0xCC;
    q[-1] = 0x5a;
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 0);
    EXPECT_EQ(ReadLines("debug2.err").back(), "Memory underflow: 5a 5a 5a 5a 5a 5a 5a 5a ");

    // Free reports the damage only as an assertion, then releases anyway.
    memory.Free(&block);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(LogEntries().back(), Assert(166));
    EXPECT_EQ(ReadLines("debug2.err").size(), 2u);
}

TEST_F(MemManagerTest, IntegrityWalkStopsAtTheNewestDamagedBlock)
{
    void* older = nullptr;
    void* newer = nullptr;
    ASSERT_EQ(memory.Allocate(&older, 4), ERR_OK);
    ASSERT_EQ(memory.Allocate(&newer, 4), ERR_OK);
    static_cast<unsigned char*>(older)[4] = 1;
    static_cast<unsigned char*>(newer)[4] = 2;
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 0);
    EXPECT_EQ(ReadLines("debug2.err"), (std::vector<std::string>{"Memory overflow: 2 2 2 2 2 2 2 2 "}));
    static_cast<unsigned char*>(older)[4] = 0xCC;
    static_cast<unsigned char*>(newer)[4] = 0xCC;
    memory.Free(&older);
    memory.Free(&newer);
}

TEST_F(MemManagerTest, MisuseIsLoggedAndTolerated)
{
    void* block = nullptr;
    ASSERT_EQ(memory.Allocate(&block, 16), ERR_OK);
    std::memset(block, 0x11, 16);

    void* interior = static_cast<unsigned char*>(block) + 3;
    memory.Free(&interior); // an interior pointer is never handed to the heap
    EXPECT_NE(interior, nullptr);

    EXPECT_EQ(memory.Resize(&block, 32), ERR_FAILURE);
    EXPECT_EQ(memory.errorCode, 0);
    EXPECT_EQ(static_cast<unsigned char*>(block)[15], 0x11);

    memory.Free(&block);
    EXPECT_EQ(block, nullptr);
    memory.Free(&block);
    memory.Free(nullptr);

    // The interior pointer's "lower guard" is a data byte, so it reads as damaged.
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{Assert(146), Assert(166), Assert(319), Assert(200),
                                                       Assert(256), Assert(141), Assert(134)}));
}

TEST_F(MemManagerTest, AllocationArgumentsOutsideTheNormAreReported)
{
    void* block = nullptr;
    EXPECT_EQ(memory.Allocate(nullptr, 0), ERR_FAILURE);
    ASSERT_EQ(memory.Allocate(&block, 500000), ERR_OK); // a sanity bound, not a limit
    memory.Free(&block);
    void* zero = nullptr;
    ASSERT_EQ(memory.Allocate(&zero, 0), ERR_OK);
    memory.Free(&zero);
    EXPECT_EQ(zero, nullptr);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{Assert(95), Assert(96), Assert(97), Assert(96)}));
}

TEST_F(MemManagerTest, HeapExhaustionSetsTheCodeAndLeavesThePointer)
{
    void* block = reinterpret_cast<void*>(0x1234);
    EXPECT_EQ(memory.Allocate(&block, ULONG_MAX - 4), ERR_FAILURE);
    EXPECT_EQ(memory.errorCode, ERR_MEM_ALLOC);
    EXPECT_EQ(block, reinterpret_cast<void*>(0x1234));

    // The code stays after a later success.
    void* fine = nullptr;
    ASSERT_EQ(memory.Allocate(&fine, 8), ERR_OK);
    EXPECT_EQ(memory.errorCode, ERR_MEM_ALLOC);
    memory.Free(&fine);
}

TEST_F(MemManagerTest, DuplicateCopiesTheWholeBlock)
{
    void* source = nullptr;
    void* copy = nullptr;
    ASSERT_EQ(memory.Allocate(&source, 5), ERR_OK);
    std::memcpy(source, "abcde", 5);
    ASSERT_EQ(memory.Duplicate(&source, &copy), ERR_OK);
    ASSERT_NE(copy, source);
    EXPECT_EQ(std::memcmp(copy, "abcde", 5), 0);
    EXPECT_EQ(std::memcmp(source, "abcde", 5), 0);
    EXPECT_EQ(static_cast<unsigned char*>(copy)[5], 0xCC);
    memory.Free(&copy);
    memory.Free(&source);
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(MemManagerTest, ChecksumCheckStoresTheNewSum)
{
    void* block = nullptr;
    ASSERT_EQ(memory.Allocate(&block, 10), ERR_OK);
    auto* bytes = static_cast<unsigned char*>(block);
    memory.CalcChecksum(block);
    EXPECT_EQ(memory.CheckChecksum(block), 1);

    bytes[9] = 0; // trailing bytes past the last whole word are not summed
    EXPECT_EQ(memory.CheckChecksum(bytes + 4), 1);

    bytes[5] = 0;
    EXPECT_EQ(memory.CheckChecksum(block), 0);
    EXPECT_EQ(memory.CheckChecksum(block), 1);

    // Words that change but keep the wrapped sum are not noticed.
    bytes[0] = 0xCD;
    bytes[4] = 0xCB;
    EXPECT_EQ(memory.CheckChecksum(block), 1);

    int unknown = 0;
    EXPECT_EQ(memory.CheckChecksum(&unknown), 0);
    memory.CalcChecksum(&unknown);
    memory.Free(&block);
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{Assert(256), Assert(515), Assert(256), Assert(465)}));
}

TEST(MemManagerLifetime, DestroyingWithLiveBlocksOnlyReports)
{
    DebugInit();
    void* block = nullptr;
#if defined(__SANITIZE_ADDRESS__)
    __lsan::ScopedDisabler trackingRecordIsLeakedOnPurpose;
#endif
    {
        MemManager memory;
        ASSERT_EQ(memory.Allocate(&block, 3), ERR_OK);
        std::memcpy(block, "hi", 3);
    }
    EXPECT_STREQ(static_cast<char*>(block), "hi"); // nothing was freed
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{Assert(80)}));
    std::free(static_cast<unsigned char*>(block) - 8);
}
