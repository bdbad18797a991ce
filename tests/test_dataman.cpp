#include "support/libfiles.h"

#include <cstring>

using namespace tvxtest;

namespace {
const uint32_t kBlob = Code("TXB1");

Bytes Blob(char c, size_t n) { return Bytes(n, static_cast<unsigned char>(c)); }

// The smallest useful manager: a dataset is a copy of its block's bytes.
class BlobManager : public DataManager {
public:
    int reads = 0;
    std::vector<unsigned> discarded;
    Bytes blobs[256];

    BlobManager(MemManager* mem, Library* library) : DataManager(mem, library) { type = kBlob; }
    ~BlobManager() override { DMCleanup(); }

    ERRORSTATUS DatasetFromBlock(char* name, unsigned char* data, unsigned long size, unsigned char* index) override
    {
        ++reads;
        *index = 0;
        while (datasetStates[*index] != SLOT_FREE)
            ++*index;
        blobs[*index].assign(data, data + size);
        std::strncpy(datasetNames[*index], name, 20);
        datasetStates[*index] = SLOT_IN_USE;
        itemCounts[*index] = static_cast<uint16_t>(size);
        slotCount = std::max<uint16_t>(slotCount, *index + 1);
        memoryInUse += size;
        CheckMemoryBounds();
        return ERR_OK;
    }
    void DiscardDataset(unsigned char index) override
    {
        discarded.push_back(index);
        memoryInUse -= blobs[index].size();
        datasetStates[index] = SLOT_FREE;
    }
    ERRORSTATUS RequestSaveBlock(unsigned char index, unsigned char** data, unsigned long* size) override
    {
        *data = blobs[index].data();
        *size = blobs[index].size();
        return ERR_OK;
    }
    ERRORSTATUS ReleaseSaveBlock(unsigned char**) override { return ERR_OK; }
    unsigned char State(unsigned char index) const { return datasetStates[index]; }
    uint32_t MemoryInUse() const { return memoryInUse; }
};

const std::vector<BlockSpec> kGame = {
    {"alpha", kBlob, Blob('A', 10)}, {"beta", kBlob, Blob('B', 20)}, {"gamma", kBlob, Blob('G', 30)},
    {"other", Code("PALL"), Blob('O', 5)}};

class DataManagerTest : public DataTest {
protected:
    void SetUp() override
    {
        DataTest::SetUp();
        WriteBytes("GAME.LIB", LibraryBytes(kGame));
        ASSERT_EQ(blobs.RegisterFile(Text("GAME.LIB")), ERR_OK);
    }

    // The slot of the dataset, or 1000 + the error code.
    unsigned Request(const char* name)
    {
        unsigned char index = 0xEE;
        return blobs.RequestDataset(Text(name), &index) == ERR_OK ? index : 1000u + blobs.errorCode;
    }

    BlobManager blobs{&memory, &library};
};
} // namespace

TEST_F(DataManagerTest, RequestsShareOneLoadAndListFromTheHighestSlot)
{
    _DATASETLIST* list = reinterpret_cast<_DATASETLIST*>(1);
    EXPECT_EQ(blobs.RequestList(&list), ERR_OK);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(Request("missing"), 1000u + ERR_LIB_NO_BLOCK);
    EXPECT_EQ(Request("other"), 1000u + ERR_LIB_NO_BLOCK); // registered by type: left out
    EXPECT_EQ(Request("alpha"), 0u);
    EXPECT_EQ(Request("alpha"), 0u);
    EXPECT_EQ(Request("beta"), 1u);
    EXPECT_EQ(blobs.reads, 2);
    unsigned char found = 0;
    char name[20];
    ASSERT_EQ(blobs.QueryDatasetPos(Text("beta"), &found), ERR_OK);
    EXPECT_EQ(found, 1);
    ASSERT_EQ(blobs.QueryDatasetName(0, name), ERR_OK);
    EXPECT_STREQ(name, "alpha");

    ASSERT_EQ(blobs.RequestList(&list), ERR_OK);
    Lines entries;
    for (_DATASETLIST* entry = list; entry != nullptr; entry = entry->next)
        entries.push_back(std::string(entry->name) + " " + std::to_string(entry->index) + " " +
                          std::to_string(entry->count));
    EXPECT_EQ(entries, (Lines{"beta 1 20", "alpha 0 10"}));
    blobs.ReleaseList(&list);
    EXPECT_EQ(list, nullptr);

    // Slots out of range or not in use; a release of a name never loaded.
    EXPECT_EQ(blobs.QueryDatasetName(255, name), ERR_FAILURE);
    EXPECT_EQ(blobs.errorCode, ERR_DM_NOT_IN_USE);
    blobs.errorCode = 0;
    EXPECT_EQ(blobs.Save(200), ERR_FAILURE);
    EXPECT_EQ(blobs.errorCode, ERR_DM_NOT_IN_USE);
    blobs.ReleaseDataset(Text("never loaded"));
    EXPECT_EQ(LogEntries(), (Lines{AssertLine("dataman", 279)}));
}

TEST_F(DataManagerTest, IdleDatasetsAndSaves)
{
    Request("alpha");
    blobs.ReleaseDataset(Text("alpha")); // the default limit of 0 discards at once
    EXPECT_EQ(blobs.discarded, std::vector<unsigned>{0});

    blobs.SetIdleMemoryLimit(1000);
    Request("alpha");
    Request("alpha");
    blobs.ReleaseDataset(Text("alpha")); // one release, however many requests
    EXPECT_EQ(blobs.State(0), DataManager::SLOT_IDLE);
    unsigned char index = 0;
    EXPECT_EQ(blobs.QueryDatasetPos(Text("alpha"), &index), ERR_FAILURE);
    EXPECT_EQ(blobs.errorCode, ERR_DM_NOT_LOADED);
    EXPECT_EQ(Request("alpha"), 0u); // revived without reading
    EXPECT_EQ(blobs.reads, 2);

    // Over the limit, idle datasets go lowest slot first.
    Request("beta");
    Request("gamma");
    blobs.SetIdleMemoryLimit(60);
    blobs.ReleaseDataset(Text("gamma"));
    blobs.ReleaseDataset(Text("beta"));
    EXPECT_EQ(blobs.discarded, std::vector<unsigned>{0});
    blobs.SetIdleMemoryLimit(30);
    blobs.ReleaseAllDatasets();
    EXPECT_EQ(blobs.discarded, (std::vector<unsigned>{0, 0, 1}));
    EXPECT_EQ(blobs.State(2), DataManager::SLOT_IDLE);
    blobs.MinimizeMemory();
    EXPECT_EQ(blobs.MemoryInUse(), 0u);

    const unsigned char beta = static_cast<unsigned char>(Request("beta"));
    Bytes& edited = blobs.blobs[beta];
    std::copy_n("edited", 6, edited.begin());
    ASSERT_EQ(blobs.Save(beta), ERR_OK);
    // A replaced block moves to the end of its file.
    EXPECT_EQ(ReadBytes("GAME.LIB"), LibraryBytes({kGame[0], kGame[2], kGame[3], {"beta", kBlob, edited}}));
    ASSERT_EQ(blobs.SaveAs(beta, Text("SAVE.LIB"), 0), ERR_OK);
    EXPECT_EQ(ReadBytes("SAVE.LIB"), LibraryBytes({{"beta", kBlob, edited}}));

    // The blocks behind the cut are still found at their shifted offsets.
    EXPECT_EQ(blobs.blobs[Request("gamma")], Blob('G', 30));
}
