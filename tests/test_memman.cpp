#include "support/libfiles.h"

#include <climits>
#include <cstring>

using namespace tvxtest;

namespace {
class MemManagerTest : public DataTest {
protected:
    unsigned char* Block(unsigned long size)
    {
        void* block = nullptr;
        EXPECT_EQ(memory.Allocate(&block, size), ERR_OK);
        return static_cast<unsigned char*>(block);
    }
    void Free(unsigned char* block)
    {
        void* p = block;
        memory.Free(&p);
        EXPECT_EQ(p, nullptr);
    }
};
} // namespace

TEST_F(MemManagerTest, OnlyTheGuardBytesNextToTheDataAreTested)
{
    unsigned char* q = Block(10);
    for (int i = -8; i < 18; ++i)
        EXPECT_EQ(q[i], 0xCC) << "byte " << i;
    q[11] = 0;
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 1);
    EXPECT_FALSE(FileExists("debug2.err"));

    q[10] = 0;
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 0);
    EXPECT_EQ(ReadLines("debug2.err"), (Lines{"Memory overflow: 0 0 0 0 0 0 0 0 "}));
    q[10] = 0xCC;
    q[-1] = 0x5a;
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 0);
    EXPECT_EQ(ReadLines("debug2.err").back(), "Memory underflow: 5a 5a 5a 5a 5a 5a 5a 5a ");

    // The walk goes newest first and stops at the first damaged block.
    unsigned char* newer = Block(4);
    newer[4] = 2;
    EXPECT_EQ(memory.CheckMemoryIntegrity(), 0);
    EXPECT_EQ(ReadLines("debug2.err").back(), "Memory overflow: 2 2 2 2 2 2 2 2 ");
    newer[4] = 0xCC;
    Free(newer);

    // Free reports the damage only as an assertion, then releases anyway.
    Free(q);
    EXPECT_EQ(LogEntries(), Asserts("memman", {399, 377, 399, 166}));
    EXPECT_EQ(ReadLines("debug2.err").size(), 3u);
}

TEST_F(MemManagerTest, MisuseExhaustionDuplicatesAndChecksums)
{
    void* block = Block(16);
    std::memset(block, 0x11, 16);
    void* interior = static_cast<unsigned char*>(block) + 3;
    memory.Free(&interior); // an interior pointer is never handed to the heap
    EXPECT_NE(interior, nullptr);

    EXPECT_EQ(memory.Resize(&block, 32), ERR_FAILURE);
    EXPECT_EQ(memory.errorCode, 0);
    EXPECT_EQ(static_cast<unsigned char*>(block)[15], 0x11);
    memory.Free(&block);
    memory.Free(&block);
    memory.Free(nullptr);
    EXPECT_EQ(memory.Allocate(nullptr, 1), ERR_FAILURE);
    Free(Block(500000)); // a sanity bound, not a limit

    // The interior pointer's "lower guard" is a data byte, so it reads as damaged.
    EXPECT_EQ(LogEntries(), Asserts("memman", {146, 166, 319, 200, 256, 141, 134, 95, 97}));

    // Heap exhaustion sets the code and leaves the pointer.
    block = reinterpret_cast<void*>(0x1234);
    EXPECT_EQ(memory.Allocate(&block, ULONG_MAX - 4), ERR_FAILURE);
    EXPECT_EQ(memory.errorCode, ERR_MEM_ALLOC);
    EXPECT_EQ(block, reinterpret_cast<void*>(0x1234));
    Free(Block(8));
    EXPECT_EQ(memory.errorCode, ERR_MEM_ALLOC); // kept after a later success

    DebugInit();
    void *source = Block(5), *copy = nullptr;
    std::memcpy(source, "abcde", 5);
    ASSERT_EQ(memory.Duplicate(&source, &copy), ERR_OK);
    EXPECT_EQ(std::memcmp(copy, "abcde\xCC", 6), 0);
    memory.Free(&copy);
    memory.Free(&source);

    unsigned char* bytes = Block(10);
    memory.CalcChecksum(bytes);
    EXPECT_EQ(memory.CheckChecksum(bytes), 1);
    bytes[9] = 0; // trailing bytes past the last whole word are not summed
    EXPECT_EQ(memory.CheckChecksum(bytes + 4), 1);
    bytes[5] = 0;
    EXPECT_EQ(memory.CheckChecksum(bytes), 0);
    EXPECT_EQ(memory.CheckChecksum(bytes), 1); // the check stores the new sum
    // Words that change but keep the wrapped sum are not noticed.
    bytes[0] = 0xCD;
    bytes[4] = 0xCB;
    EXPECT_EQ(memory.CheckChecksum(bytes), 1);

    EXPECT_EQ(memory.CheckChecksum(bytes + 10), 0); // one past the block is no part of it
    memory.CalcChecksum(bytes + 10);
    Free(bytes);
    EXPECT_EQ(LogEntries(), Asserts("memman", {256, 515, 256, 465}));
}

TEST(MemManagerLifetime, ZeroByteBlocksAreNeverFoundAndOutliveTheManager)
{
    DebugInit();
    void* block = nullptr;
    {
        [[maybe_unused]] LeakOnPurpose trackingRecordOutlivesItsManager;
        MemManager memory;
        ASSERT_EQ(memory.Allocate(&block, 0), ERR_OK);
        memory.Free(&block); // no byte of it matches: an unknown pointer
        EXPECT_NE(block, nullptr);
    }
    EXPECT_EQ(LogEntries(), Asserts("memman", {96, 256, 141, 80}));
    std::free(static_cast<unsigned char*>(block) - 8);
}
