#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using tvxtest::LogEntries;
using tvxtest::ReadBytes;

namespace {

const uint32_t kBlobType = 0x31425854; // "TXB1" as the bytes stand in the file

struct Block {
    std::string name;
    uint32_t type;
    std::string data;
};

void PutU16(std::vector<unsigned char>& out, unsigned value)
{
    out.push_back(value & 0xFF);
    out.push_back((value >> 8) & 0xFF);
}

void PutU32(std::vector<unsigned char>& out, uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
        out.push_back((value >> shift) & 0xFF);
}

// A library file written byte by byte, so these tests do not depend on the
// library's own writer.
std::vector<unsigned char> LibraryFile(const std::vector<Block>& blocks)
{
    std::vector<unsigned char> out{'Q', 'O', 'R', 'L', 'I', 'B'};
    PutU16(out, 259);
    PutU16(out, static_cast<unsigned>(blocks.size()));
    for (const Block& block : blocks) {
        out.insert(out.end(), {'L', 'I', 'B', 'B', 'L', 'K'});
        PutU32(out, static_cast<uint32_t>(block.data.size()));
        PutU32(out, block.type);
        out.push_back(0);
        char name[20] = {};
        std::strncpy(name, block.name.c_str(), 19);
        out.insert(out.end(), name, name + 20);
        out.insert(out.end(), block.data.begin(), block.data.end());
    }
    return out;
}

// The smallest useful manager: a dataset is a copy of its block's bytes.
class BlobManager : public DataManager {
public:
    int reads = 0;
    std::vector<unsigned> discarded;

    BlobManager(MemManager* mem, Library* library) : DataManager(mem, library) { type = kBlobType; }
    ~BlobManager() override { DMCleanup(); }

    ERRORSTATUS DatasetFromBlock(char* name, unsigned char* data, unsigned long size, unsigned char* index) override
    {
        ++reads;
        unsigned slot = 0;
        while (slot < 256 && datasetStates[slot] != SLOT_FREE)
            ++slot;
        if (slot == 256 || memManager->Allocate(&blobs[slot], size) == ERR_FAILURE) {
            errorCode = ERR_NO_MEMORY;
            return ERR_FAILURE;
        }
        std::memcpy(blobs[slot], data, size);
        sizes[slot] = static_cast<uint32_t>(size);
        std::memset(datasetNames[slot], 0, 20);
        std::strncpy(datasetNames[slot], name, 19);
        datasetStates[slot] = SLOT_IN_USE;
        itemCounts[slot] = static_cast<uint16_t>(size);
        if (slot + 1 > slotCount)
            slotCount = static_cast<uint16_t>(slot + 1);
        memoryInUse += sizes[slot];
        CheckMemoryBounds();
        *index = static_cast<unsigned char>(slot);
        return ERR_OK;
    }

    void DiscardDataset(unsigned char index) override
    {
        discarded.push_back(index);
        memManager->Free(&blobs[index]);
        memoryInUse -= sizes[index];
        datasetStates[index] = SLOT_FREE;
    }

    ERRORSTATUS RequestSaveBlock(unsigned char index, unsigned char** data, unsigned long* size) override
    {
        void* copy = nullptr;
        if (memManager->Duplicate(&blobs[index], &copy) == ERR_FAILURE)
            return ERR_FAILURE;
        saveBlock = copy;
        *data = static_cast<unsigned char*>(copy);
        *size = sizes[index];
        return ERR_OK;
    }

    ERRORSTATUS ReleaseSaveBlock(unsigned char** data) override
    {
        memManager->Free(&saveBlock);
        *data = nullptr;
        return ERR_OK;
    }

    std::string Blob(unsigned char index) const
    {
        return std::string(static_cast<const char*>(blobs[index]), sizes[index]);
    }
    void Edit(unsigned char index, const char* text) { std::memcpy(blobs[index], text, std::strlen(text)); }
    unsigned char State(unsigned char index) const { return datasetStates[index]; }
    uint32_t MemoryInUse() const { return memoryInUse; }

    void* saveBlock = nullptr;

private:
    void* blobs[256] = {};
    uint32_t sizes[256] = {};
};

class DataManagerTest : public testing::Test {
protected:
    void SetUp() override
    {
        DebugInit();
        tvxtest::WriteBytes("GAME.LIB", LibraryFile({{"alpha", kBlobType, "AAAAAAAAAA"},
                                                     {"beta", kBlobType, "BBBBBBBBBBBBBBBBBBBB"},
                                                     {"gamma", kBlobType, "GGGGGGGGGGGGGGGGGGGGGGGGGGGGGG"},
                                                     {"other", 0x4C415050, "not a blob"}}));
        ASSERT_EQ(blobs.RegisterFile(const_cast<char*>("GAME.LIB")), ERR_OK);
    }

    unsigned char Request(const char* name)
    {
        unsigned char index = 0xEE;
        EXPECT_EQ(blobs.RequestDataset(const_cast<char*>(name), &index), ERR_OK) << name;
        return index;
    }

    MemManager memory;
    DiskData disk{&memory};
    Library library{&memory, &disk};
    BlobManager blobs{&memory, &library};
};

} // namespace

TEST_F(DataManagerTest, RequestsShareOneLoadAndListFromTheHighestSlot)
{
    const unsigned char alpha = Request("alpha");
    EXPECT_EQ(Request("alpha"), alpha);
    const unsigned char beta = Request("beta");
    EXPECT_EQ(blobs.reads, 2);
    EXPECT_EQ(alpha, 0);
    EXPECT_EQ(beta, 1);
    EXPECT_EQ(blobs.Blob(beta), std::string(20, 'B'));

    unsigned char found = 0;
    ASSERT_EQ(blobs.QueryDatasetPos(const_cast<char*>("beta"), &found), ERR_OK);
    EXPECT_EQ(found, beta);
    char name[20];
    ASSERT_EQ(blobs.QueryDatasetName(alpha, name), ERR_OK);
    EXPECT_STREQ(name, "alpha");

    _DATASETLIST* list = nullptr;
    ASSERT_EQ(blobs.RequestList(&list), ERR_OK);
    ASSERT_NE(list, nullptr);
    EXPECT_STREQ(list->name, "beta");
    EXPECT_EQ(+list->index, 1);
    EXPECT_EQ(+list->count, 20);
    ASSERT_NE(list->next, nullptr);
    EXPECT_STREQ(list->next->name, "alpha");
    EXPECT_EQ(list->next->next, nullptr);
    blobs.ReleaseList(&list);
    EXPECT_EQ(list, nullptr);
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(DataManagerTest, ReleasedDatasetsStayIdleOnlyUnderTheLimit)
{
    // The default limit of 0 discards on release.
    const unsigned char alpha = Request("alpha");
    blobs.ReleaseDataset(const_cast<char*>("alpha"));
    EXPECT_EQ(blobs.State(alpha), DataManager::SLOT_FREE);
    EXPECT_EQ(blobs.MemoryInUse(), 0u);

    blobs.SetIdleMemoryLimit(1000);
    Request("alpha");
    blobs.ReleaseDataset(const_cast<char*>("alpha"));
    EXPECT_EQ(blobs.State(alpha), DataManager::SLOT_IDLE);
    unsigned char index = 0;
    EXPECT_EQ(blobs.QueryDatasetPos(const_cast<char*>("alpha"), &index), ERR_FAILURE);
    EXPECT_EQ(blobs.errorCode, ERR_DM_NOT_LOADED);
    const int readsBefore = blobs.reads;
    EXPECT_EQ(Request("alpha"), alpha); // revived without reading
    EXPECT_EQ(blobs.reads, readsBefore);

    // One release makes a dataset idle, however often it was requested.
    Request("alpha");
    blobs.ReleaseDataset(const_cast<char*>("alpha"));
    EXPECT_EQ(blobs.State(alpha), DataManager::SLOT_IDLE);

    blobs.MinimizeMemory();
    EXPECT_EQ(blobs.State(alpha), DataManager::SLOT_FREE);
}

TEST_F(DataManagerTest, OverTheLimitIdleDatasetsGoLowestSlotFirst)
{
    Request("alpha"); // 10 bytes, slot 0
    Request("beta");  // 20 bytes, slot 1
    Request("gamma"); // 30 bytes, slot 2
    blobs.SetIdleMemoryLimit(60);
    blobs.ReleaseDataset(const_cast<char*>("gamma"));
    blobs.ReleaseDataset(const_cast<char*>("beta"));
    EXPECT_TRUE(blobs.discarded.empty());

    blobs.SetIdleMemoryLimit(30);
    blobs.ReleaseAllDatasets(); // alpha goes idle too: 60 bytes over a limit of 30
    EXPECT_EQ(blobs.discarded, (std::vector<unsigned>{0, 1}));
    EXPECT_EQ(blobs.State(2), DataManager::SLOT_IDLE);
    EXPECT_EQ(blobs.MemoryInUse(), 30u);
}

TEST_F(DataManagerTest, FailuresCarryTheirCodes)
{
    unsigned char index = 0;
    EXPECT_EQ(blobs.RequestDataset(const_cast<char*>("missing"), &index), ERR_FAILURE);
    EXPECT_EQ(blobs.errorCode, ERR_LIB_NO_BLOCK);
    // Registering by type left the other block out.
    EXPECT_EQ(blobs.RequestDataset(const_cast<char*>("other"), &index), ERR_FAILURE);

    _DATASETLIST* list = reinterpret_cast<_DATASETLIST*>(1);
    EXPECT_EQ(blobs.RequestList(&list), ERR_OK);
    EXPECT_EQ(list, nullptr);

    Request("alpha");
    Request("beta");
    Request("gamma");
    char name[20];
    EXPECT_EQ(blobs.QueryDatasetName(255, name), ERR_FAILURE);
    EXPECT_EQ(blobs.errorCode, ERR_DM_NOT_IN_USE);
    EXPECT_EQ(blobs.Save(200), ERR_FAILURE);
    EXPECT_EQ(blobs.errorCode, ERR_DM_NOT_IN_USE);

    blobs.ReleaseDataset(const_cast<char*>("never loaded"));
    EXPECT_EQ(LogEntries(), (std::vector<std::string>{"Assert error in file dataman at line 279."}));
}

TEST_F(DataManagerTest, SaveWritesBackInPlaceAndSaveAsIntoAnotherFile)
{
    const unsigned char beta = Request("beta");
    blobs.Edit(beta, "edited");
    ASSERT_EQ(blobs.Save(beta), ERR_OK);
    // A replaced block moves to the end of its file.
    EXPECT_EQ(ReadBytes("GAME.LIB"), LibraryFile({{"alpha", kBlobType, "AAAAAAAAAA"},
                                                  {"gamma", kBlobType, "GGGGGGGGGGGGGGGGGGGGGGGGGGGGGG"},
                                                  {"other", 0x4C415050, "not a blob"},
                                                  {"beta", kBlobType, "editedBBBBBBBBBBBBBB"}}));
    blobs.ReleaseSaveBlock(reinterpret_cast<unsigned char**>(&blobs.saveBlock));

    ASSERT_EQ(blobs.SaveAs(beta, const_cast<char*>("SAVE.LIB"), 0), ERR_OK);
    EXPECT_EQ(ReadBytes("SAVE.LIB"), LibraryFile({{"beta", kBlobType, "editedBBBBBBBBBBBBBB"}}));
    blobs.ReleaseSaveBlock(reinterpret_cast<unsigned char**>(&blobs.saveBlock));

    // A fresh manager reading the saved file sees the edit.
    MemManager otherMemory;
    DiskData otherDisk{&otherMemory};
    Library otherLibrary{&otherMemory, &otherDisk};
    BlobManager reader{&otherMemory, &otherLibrary};
    ASSERT_EQ(reader.RegisterFile(const_cast<char*>("SAVE.LIB")), ERR_OK);
    unsigned char index = 0;
    ASSERT_EQ(reader.RequestDataset(const_cast<char*>("beta"), &index), ERR_OK);
    EXPECT_EQ(reader.Blob(index), "editedBBBBBBBBBBBBBB");

    // The blocks behind the cut are still found at their shifted offsets.
    EXPECT_EQ(blobs.Blob(Request("gamma")), std::string(30, 'G'));
    EXPECT_EQ(blobs.Blob(Request("alpha")), std::string(10, 'A'));
}
