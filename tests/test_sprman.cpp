#include "test_sprman_helpers.h"

#include <algorithm>
#include <numeric>

using namespace sprtest;
using tvxtest::LogEntries;

namespace {

const uint32_t kSpriteSetType = 0x31525053; // "SPR1" as the bytes stand in the file

// A library file written byte by byte, independent of the library's writer.
Bytes LibraryFile(const std::vector<std::pair<std::string, Bytes>>& blocks)
{
    Bytes out{'Q', 'O', 'R', 'L', 'I', 'B'};
    Add16(out, 259);
    Add16(out, static_cast<unsigned>(blocks.size()));
    for (const auto& [name, data] : blocks) {
        out.insert(out.end(), {'L', 'I', 'B', 'B', 'L', 'K'});
        Add32(out, static_cast<uint32_t>(data.size()));
        Add32(out, kSpriteSetType);
        out.push_back(0);
        char field[20] = {};
        std::strncpy(field, name.c_str(), 19);
        out.insert(out.end(), field, field + 20);
        out.insert(out.end(), data.begin(), data.end());
    }
    return out;
}

// A normal record of one row: a skip, a repeat, a pair and a literal.
Bytes Sample(unsigned char base)
{
    return Record(6, 12, 2, 1, 2,
                  {{4, 0xC1, 0x82, base, 0x41, static_cast<unsigned char>(base + 1), static_cast<unsigned char>(base + 2),
                    0x03, static_cast<unsigned char>(base + 3), static_cast<unsigned char>(base + 4),
                    static_cast<unsigned char>(base + 5)},
                   {1, 0x02, base, static_cast<unsigned char>(base + 9)}});
}

class SetTest : public SpriteTest {
protected:
    unsigned char Load(Bytes block, const char* name = "LOADED")
    {
        unsigned char index = 0;
        EXPECT_EQ(sprites.DatasetFromBlock(const_cast<char*>(name), block.data(), block.size(), &index), ERR_OK);
        return index;
    }

    Bytes Saved(unsigned char set)
    {
        unsigned char* block = nullptr;
        unsigned long size = 0;
        EXPECT_EQ(sprites.RequestSaveBlock(set, &block, &size), ERR_OK);
        Bytes out(block, block + size);
        EXPECT_EQ(sprites.ReleaseSaveBlock(&block), ERR_OK);
        EXPECT_EQ(block, nullptr);
        return out;
    }

    int SetsInUse()
    {
        _DATASETLIST* list = nullptr;
        EXPECT_EQ(sprites.RequestList(&list), ERR_OK);
        int count = 0;
        for (_DATASETLIST* p = list; p != nullptr; p = p->next)
            ++count;
        sprites.ReleaseList(&list);
        return count;
    }
};

} // namespace

TEST_F(SetTest, BlocksLoadAndSaveByteForByte)
{
    // Records stored out of slot order, an empty slot, and three bytes between
    // records that no slot points at: they belong to the record before them.
    const Bytes first = Sample(10), third = Sample(40);
    Bytes block;
    Add16(block, 3);
    Add32(block, static_cast<uint32_t>(third.size() + 3));
    Add32(block, 0xFFFFFFFF);
    Add32(block, 0);
    block.insert(block.end(), third.begin(), third.end());
    block.insert(block.end(), {0xAA, 0xBB, 0xCC});
    block.insert(block.end(), first.begin(), first.end());

    const unsigned char set = Load(block);
    EXPECT_EQ(sprites.QuerySpritesetSize(set), 3);
    EXPECT_EQ(sprites.QueryChanged(set), 0);
    EXPECT_EQ(RecordAt(set, 0), first);
    EXPECT_EQ(RecordAt(set, 1), Bytes());
    Bytes thirdWithGap = third;
    thirdWithGap.insert(thirdWithGap.end(), {0xAA, 0xBB, 0xCC});
    EXPECT_EQ(RecordAt(set, 2), thirdWithGap);
    EXPECT_EQ(Saved(set), block);

    // Random sets: whatever is loaded saves back unchanged, and the saved
    // block loads to the same records at the same slots.
    std::mt19937 random(77);
    for (int round = 0; round < 40; ++round) {
        const unsigned count = random() % 20;
        std::vector<Bytes> records(count);
        std::vector<unsigned> order(count);
        std::iota(order.begin(), order.end(), 0u);
        std::shuffle(order.begin(), order.end(), random);
        for (unsigned i = 0; i < count; ++i)
            if (random() % 4 != 0)
                records[i] = Sample(static_cast<unsigned char>(random()));
        Bytes data;
        std::vector<uint32_t> offsets(count, 0xFFFFFFFF);
        for (unsigned i : order) {
            if (records[i].empty())
                continue;
            offsets[i] = static_cast<uint32_t>(data.size());
            data.insert(data.end(), records[i].begin(), records[i].end());
            for (unsigned gap = random() % 3; gap > 0; --gap)
                data.push_back(static_cast<unsigned char>(random()));
        }
        Bytes randomBlock;
        Add16(randomBlock, count);
        for (uint32_t offset : offsets)
            Add32(randomBlock, offset);
        randomBlock.insert(randomBlock.end(), data.begin(), data.end());

        const unsigned char loaded = Load(randomBlock, "RANDOM");
        const Bytes saved = Saved(loaded);
        ASSERT_EQ(saved, randomBlock) << "round " << round;
        const unsigned char again = Load(saved, "AGAIN");
        for (unsigned i = 0; i < count; ++i)
            ASSERT_EQ(RecordAt(again, static_cast<unsigned short>(i)), RecordAt(loaded, static_cast<unsigned short>(i)));
        sprites.ReleaseAllDatasets();
    }
    EXPECT_TRUE(LogEntries().empty());
}

TEST_F(SetTest, ABlockWithoutSlotsKeepsOnlyItsSize)
{
    const unsigned char set = Load({0, 0, 1, 2, 3, 4, 5});
    EXPECT_EQ(sprites.QuerySpritesetSize(set), 0);
    // The data area is not kept; its length is, and it saves as zeros.
    EXPECT_EQ(Saved(set), (Bytes{0, 0, 0, 0, 0, 0, 0}));
    unsigned short free = 0;
    EXPECT_EQ(sprites.FindEmptySlot(set, &free), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, ERR_SPR_SET_FULL);
    // Grown, it holds an empty slot, then takes records after the zeros.
    ASSERT_EQ(sprites.ResizeSpriteset(set, 1), ERR_OK);
    sprites.ClearRemapMatrix();
    sprites.RemapSpriteset(set); // logs: no matrix in force
    EXPECT_EQ(sprites.HitCheck(0, 0, set, 0, 0), 0);
    EXPECT_EQ(LogEntries().size(), 2u);
    Bytes record = Sample(3);
    ASSERT_EQ(sprites.SetSprite(record.data(), record.size(), set, 0), ERR_OK);
    Bytes expected{1, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0};
    expected.insert(expected.end(), record.begin(), record.end());
    EXPECT_EQ(Saved(set), expected);
}

TEST_F(SetTest, CorruptBlocksAreRefusedWithoutReadingPastThem)
{
    Bytes pastTheArea;
    Add16(pastTheArea, 1);
    Add32(pastTheArea, 12);
    Bytes r = Sample(1);
    pastTheArea.insert(pastTheArea.end(), r.begin(), r.begin() + 12);
    Bytes shortHeader;
    Add16(shortHeader, 1);
    Add32(shortHeader, 3);
    shortHeader.insert(shortHeader.end(), r.begin(), r.begin() + 12);
    const struct {
        const char* what;
        Bytes block;
    } cases[] = {
        {"one byte", {3}},
        {"more slots than the block holds", {3, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}},
        {"an offset at the end of the data area", pastTheArea},
        {"an offset without room for a header", shortHeader},
        {"a huge slot count", {0xFF, 0xFF}},
    };
    for (const auto& c : cases) {
        // An exactly sized copy, so that the sanitizers see any overread.
        auto* bytes = new unsigned char[c.block.size()];
        std::copy(c.block.begin(), c.block.end(), bytes);
        unsigned char index = 99;
        sprites.errorCode = 0;
        EXPECT_EQ(sprites.DatasetFromBlock(const_cast<char*>("BAD"), bytes, c.block.size(), &index), ERR_FAILURE)
            << c.what;
        EXPECT_EQ(sprites.errorCode, ERR_SPR_BAD_SPRITE) << c.what;
        EXPECT_EQ(index, 99) << c.what;
        delete[] bytes;
    }
    EXPECT_EQ(SetsInUse(), 0);
}

TEST_F(SetTest, SlotsAreFilledOnceAndErasedInPlace)
{
    const unsigned char set = NewSet(4);
    EXPECT_EQ(sprites.QueryChanged(set), 1);
    Bytes a = Sample(1), b = Sample(50), c = Sample(100);
    ASSERT_EQ(sprites.SetSprite(a.data(), a.size(), set, 0), ERR_OK);
    ASSERT_EQ(sprites.SetSprite(b.data(), b.size(), set, 2), ERR_OK);
    EXPECT_EQ(sprites.SetSprite(c.data(), c.size(), set, 2), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, ERR_SPR_SLOT_USED);
    EXPECT_EQ(RecordAt(set, 2), b);
    EXPECT_EQ(sprites.SetSprite(c.data(), c.size(), set, 4), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, ERR_SPR_BAD_SPRITE);

    // A record copied from a slot of the same set.
    unsigned char* inPlace = nullptr;
    unsigned long size = 0;
    ASSERT_EQ(sprites.QuerySprite(&inPlace, &size, set, 2), ERR_OK);
    ASSERT_EQ(sprites.SetSprite(inPlace, size, set, 3), ERR_OK);
    EXPECT_EQ(RecordAt(set, 3), b);

    unsigned short slot = 0;
    ASSERT_EQ(sprites.FindEmptySlot(set, &slot), ERR_OK);
    EXPECT_EQ(slot, 1);

    // Cutting a record out keeps the others as they were.
    ASSERT_EQ(sprites.EraseSprite(set, 2), ERR_OK);
    EXPECT_EQ(RecordAt(set, 0), a);
    EXPECT_EQ(RecordAt(set, 2), Bytes());
    EXPECT_EQ(RecordAt(set, 3), b);
    EXPECT_EQ(sprites.EraseSprite(set, 2), ERR_OK); // empty already
    ASSERT_EQ(sprites.EraseSprite(set, 0), ERR_OK);
    ASSERT_EQ(sprites.EraseSprite(set, 3), ERR_OK);
    // The last record gone, so is the data area.
    ASSERT_EQ(sprites.QuerySprite(&inPlace, &size, set, 3), ERR_OK);
    EXPECT_EQ(inPlace, nullptr);
    EXPECT_EQ(size, 0u);
    EXPECT_EQ(Saved(set), (Bytes{4, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                 0xFF, 0xFF, 0xFF, 0xFF}));

    // Hot spots are written into the record; bad requests return 1 and
    // leave the status alone.
    ASSERT_EQ(sprites.SetSprite(a.data(), a.size(), set, 1), ERR_OK);
    ASSERT_EQ(sprites.SetHotSpot(-5, 300, set, 1), ERR_OK);
    Bytes moved = a;
    moved[6] = 0xFB, moved[7] = 0xFF, moved[8] = 0x2C, moved[9] = 0x01;
    EXPECT_EQ(RecordAt(set, 1), moved);
    sprites.errorCode = 0;
    EXPECT_EQ(sprites.SetHotSpot(0, 0, set, 0), ERR_FAILURE);
    EXPECT_EQ(sprites.SetHotSpot(0, 0, set, 9), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, 0);
    EXPECT_TRUE(LogEntries().empty());
    EXPECT_EQ(sprites.SetHotSpot(0, 0, 77, 0), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, 0);
    EXPECT_EQ(LogEntries().size(), 1u);

    for (unsigned short i = 0; i < 4; ++i) {
        if (RecordAt(set, i).empty()) {
            ASSERT_EQ(sprites.SetSprite(c.data(), c.size(), set, i), ERR_OK);
        }
    }
    EXPECT_EQ(sprites.FindEmptySlot(set, &slot), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, ERR_SPR_SET_FULL);
    EXPECT_EQ(sprites.FindEmptySlot(88, &slot), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, ERR_SPR_BAD_SET);
}

TEST_F(SetTest, MovesShiftPointersAndNeverReachTheLastSlot)
{
    const std::vector<Bytes> records{Sample(0), Sample(20), Sample(40), Sample(60), Sample(80)};
    const unsigned char set = SetOf(records);
    EXPECT_EQ(sprites.MoveSprites(set, 0, 1, 4), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, ERR_SPR_BAD_SPRITE);
    EXPECT_EQ(sprites.MoveSprites(set, 4, 0, 1), ERR_FAILURE);
    EXPECT_EQ(sprites.MoveSprites(200, 1, 1, 1), ERR_OK); // no move at all
    EXPECT_EQ(sprites.MoveSprites(200, 0, 1, 1), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, ERR_SPR_BAD_SET);

    // Forward over an overlap: the record in the way is dropped from the
    // table, and its bytes now count towards the record stored before it.
    ASSERT_EQ(sprites.MoveSprites(set, 0, 1, 2), ERR_OK);
    EXPECT_EQ(RecordAt(set, 0), Bytes());
    EXPECT_EQ(RecordAt(set, 1), records[0]);
    Bytes grown = records[1];
    grown.insert(grown.end(), records[2].begin(), records[2].end());
    EXPECT_EQ(RecordAt(set, 2), grown);
    EXPECT_EQ(RecordAt(set, 3), records[3]);

    // Backwards.
    ASSERT_EQ(sprites.MoveSprites(set, 2, 0, 2), ERR_OK);
    EXPECT_EQ(RecordAt(set, 0), grown);
    EXPECT_EQ(RecordAt(set, 1), records[3]);
    EXPECT_EQ(RecordAt(set, 2), Bytes());
    EXPECT_EQ(RecordAt(set, 3), Bytes());
    EXPECT_EQ(RecordAt(set, 4), records[4]);
}

TEST_F(SetTest, ResizingKeepsTheLowSlotsAndErasesTheHighOnes)
{
    const std::vector<Bytes> records{Sample(0), {}, Sample(40), Sample(60)};
    const unsigned char set = SetOf(records);
    ASSERT_EQ(sprites.ResizeSpriteset(set, 6), ERR_OK);
    EXPECT_EQ(sprites.QuerySpritesetSize(set), 6);
    EXPECT_EQ(RecordAt(set, 3), records[3]);
    EXPECT_EQ(RecordAt(set, 5), Bytes());
    ASSERT_EQ(sprites.ResizeSpriteset(set, 2), ERR_OK);
    EXPECT_EQ(RecordAt(set, 0), records[0]);
    // The erased records left the data area.
    Bytes expected{2, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
    expected.insert(expected.end(), records[0].begin(), records[0].end());
    EXPECT_EQ(Saved(set), expected);
    EXPECT_EQ(sprites.ResizeSpriteset(123, 2), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, ERR_SPR_BAD_SET);
}

TEST_F(SetTest, AllSetSlotsInUseUntilOneIsReleased)
{
    sprites.SetIdleMemoryLimit(1u << 30);
    for (int i = 0; i < 256; ++i)
        NewSet(1, ("S" + std::to_string(i)).c_str());
    unsigned char index = 0;
    EXPECT_EQ(sprites.CreateNewSpriteset(const_cast<char*>("ONE MORE"), 1, &index), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, ERR_SPR_NO_SET_SLOT);
    Bytes block = SetBlock({Sample(1)});
    EXPECT_EQ(sprites.DatasetFromBlock(const_cast<char*>("ONE MORE"), block.data(), block.size(), &index), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, ERR_SPR_NO_SET_SLOT);

    // A released set stays idle under the limit, until a new set needs its slot.
    sprites.ReleaseDataset(const_cast<char*>("S17"));
    EXPECT_EQ(sprites.QueryChanged(17), 1);
    ASSERT_EQ(sprites.DatasetFromBlock(const_cast<char*>("ONE MORE"), block.data(), block.size(), &index), ERR_OK);
    EXPECT_EQ(index, 17);
    EXPECT_EQ(sprites.QueryChanged(17), 0);
    EXPECT_EQ(RecordAt(17, 0), Sample(1));
    char name[21] = {};
    ASSERT_EQ(sprites.QueryDatasetName(17, name), ERR_OK);
    EXPECT_STREQ(name, "ONE MORE");
}

TEST_F(SetTest, MemoryTotalsDecideWhichReleasedSetsStay)
{
    // A loaded set counts its block's size less two; a created one four bytes
    // a slot.
    Bytes block = SetBlock({Sample(1), {}, Sample(2)});
    const unsigned long counted = block.size() - 2;
    for (const unsigned long limit : {counted, counted - 1}) {
        Load(block, "COUNTED");
        sprites.SetIdleMemoryLimit(limit);
        sprites.ReleaseDataset(const_cast<char*>("COUNTED"));
        unsigned char index = 0;
        const ERRORSTATUS revived = sprites.RequestDataset(const_cast<char*>("COUNTED"), &index);
        EXPECT_EQ(revived, limit == counted ? ERR_OK : ERR_FAILURE) << "limit " << limit;
        sprites.ReleaseAllDatasets();
        sprites.MinimizeMemory();
    }
    NewSet(10, "MADE");
    sprites.SetIdleMemoryLimit(40);
    sprites.ReleaseDataset(const_cast<char*>("MADE"));
    unsigned char index = 0;
    EXPECT_EQ(sprites.RequestDataset(const_cast<char*>("MADE"), &index), ERR_OK);
}

TEST_F(SetTest, SetsLoadFromLibraryFilesAndSaveBack)
{
    const Bytes heroes = SetBlock({Sample(1), {}, Sample(7)});
    const Bytes shade = SetBlock({Record(7, 2, 1, 0, 0, {{1, 0x82, 0xF3}})});
    tvxtest::WriteBytes("SPRITES.LIB", LibraryFile({{"HEROES", heroes}, {"SHADES", shade}}));
    ASSERT_EQ(sprites.RegisterFile(const_cast<char*>("SPRITES.LIB")), ERR_OK);
    unsigned char set = 0;
    ASSERT_EQ(sprites.RequestDataset(const_cast<char*>("HEROES"), &set), ERR_OK);
    EXPECT_EQ(RecordAt(set, 2), Sample(7));
    ASSERT_EQ(sprites.SetHotSpot(3, 4, set, 0), ERR_OK);
    EXPECT_EQ(sprites.QueryChanged(set), 1);
    ASSERT_EQ(sprites.Save(set), ERR_OK);
    const Bytes stored = Saved(set);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    ASSERT_EQ(library.RequestLibrary(const_cast<char*>("HEROES"), &data, &size), ERR_OK);
    EXPECT_EQ(Bytes(data, data + size), stored);
    library.ReleaseLibrary(&data);
}

TEST_F(SetTest, RemappingStartsFromTheStoredColours)
{
    const Bytes normal = Sample(10);
    const Bytes shade = Record(7, 2, 1, 0, 0, {{1, 0x82, 0xF3}});
    tvxtest::WriteBytes("SPRITES.LIB", LibraryFile({{"HEROES", SetBlock({normal, {}, shade})}}));
    ASSERT_EQ(sprites.RegisterFile(const_cast<char*>("SPRITES.LIB")), ERR_OK);
    unsigned char set = 0;
    ASSERT_EQ(sprites.RequestDataset(const_cast<char*>("HEROES"), &set), ERR_OK);

    // Only colour values change: not the header, counts or skips, and not shades.
    auto remapped = [&](int add) {
        Bytes r = normal;
        for (size_t i : {13u, 15u, 16u, 18u, 19u, 20u, 23u, 24u})
            r[i] = static_cast<unsigned char>(r[i] + add);
        return r;
    };
    unsigned char plusOne[256], plusTwo[256], identity[256];
    for (int v = 0; v < 256; ++v) {
        plusOne[v] = static_cast<unsigned char>(v + 1);
        plusTwo[v] = static_cast<unsigned char>(v + 2);
        identity[v] = static_cast<unsigned char>(v);
    }
    ASSERT_EQ(sprites.SetRemapMatrix(plusOne), ERR_OK);
    EXPECT_EQ(RecordAt(set, 0), remapped(1));
    EXPECT_EQ(RecordAt(set, 2), shade);
    EXPECT_EQ(sprites.QueryChanged(set), 1);
    ASSERT_EQ(sprites.SetRemapMatrix(plusTwo), ERR_OK);
    EXPECT_EQ(RecordAt(set, 0), remapped(2)); // not plusTwo over plusOne
    ASSERT_EQ(sprites.SetRemapMatrix(identity), ERR_OK);
    EXPECT_EQ(RecordAt(set, 0), normal);
    // The shade record trips an assertion each time and is left alone.
    EXPECT_EQ(LogEntries().size(), 3u);

    // Sets loaded while a matrix is in force are remapped at once; clearing
    // it leaves remapped bytes as they are.
    ASSERT_EQ(sprites.SetRemapMatrix(plusOne), ERR_OK);
    const unsigned char copy = Load(SetBlock({normal}), "COPY");
    EXPECT_EQ(RecordAt(copy, 0), remapped(1));
    EXPECT_EQ(sprites.QueryChanged(copy), 1);
    sprites.ClearRemapMatrix();
    EXPECT_EQ(RecordAt(copy, 0), remapped(1));
    const unsigned char later = Load(SetBlock({normal}), "LATER");
    EXPECT_EQ(RecordAt(later, 0), normal);

    // "COPY" and "LATER" have no block in any library file.
    sprites.errorCode = 0;
    EXPECT_EQ(sprites.SetRemapMatrix(plusTwo), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, ERR_SPR_NO_BLOCK);
    EXPECT_EQ(RecordAt(set, 0), remapped(2));
    EXPECT_EQ(RecordAt(copy, 0), remapped(1));

    // RemapSprite works on any normal record, ours or the caller's.
    Bytes own = normal;
    sprites.RemapSprite(own.data());
    EXPECT_EQ(own, remapped(2));
}

TEST_F(SetTest, HitChecksFollowTheCommands)
{
    // Columns: 0 skip, 1-2 repeat, 3-4 pair, 5-7 literal; row 1 starts with a literal.
    const unsigned char set = SetOf({Sample(1), {}, Record(7, 1, 1, 0, 0, {{1, 0x01, 0x05}})});
    const struct {
        short x, y;
        unsigned long flags;
        int hit;
    } cases[] = {
        {0, 0, 0, 0}, {1, 0, 0, 1}, {2, 0, 0, 1}, {4, 0, 0, 1},  {7, 0, 0, 1},   {8, 0, 0, 0},
        {11, 0, 0, 0}, {12, 0, 0, 0}, {0, 1, 0, 1}, {1, 1, 0, 1}, {2, 1, 0, 0},  {0, 2, 0, 0},
        {0, 0, 1, 0}, {0, 0, 3, 0},   {1, 0, 1, 0}, {0, 1, 2, 1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(sprites.HitCheck(c.x, c.y, set, 0, c.flags), c.hit) << c.x << "," << c.y << " flags " << c.flags;
    EXPECT_TRUE(LogEntries().empty());
    // With the hot spot (1, 2) a point at (-1, -2) is the top-left pixel, once
    // the assertion on the negative input is logged.
    EXPECT_EQ(sprites.HitCheck(-1, -2, set, 0, 1), 0);
    EXPECT_EQ(sprites.HitCheck(0, -1, set, 0, 1), 1);
    EXPECT_EQ(LogEntries().size(), 2u);
    EXPECT_EQ(sprites.HitCheck(0, 0, set, 1, 0), 0); // empty slot
    EXPECT_EQ(sprites.HitCheck(0, 0, set, 9, 0), 0);
    EXPECT_EQ(sprites.HitCheck(0, 0, set, 2, 0), 1); // a shade record answers, after an assertion
    EXPECT_EQ(LogEntries().size(), 5u);
}

TEST_F(SetTest, DimensionsComeFromTheHeader)
{
    const unsigned char set = SetOf({Sample(1), {}});
    unsigned short width = 1, height = 2;
    short hotX = 3, hotY = 4;
    ASSERT_EQ(sprites.QuerySpriteDimensions(set, 0, &width, &height, &hotX, &hotY), ERR_OK);
    EXPECT_EQ(width, 12);
    EXPECT_EQ(height, 2);
    EXPECT_EQ(hotX, 1);
    EXPECT_EQ(hotY, 2);
    sprites.errorCode = 0;
    EXPECT_EQ(sprites.QuerySpriteDimensions(set, 1, &width, &height, &hotX, &hotY), ERR_FAILURE);
    EXPECT_EQ(sprites.QuerySpriteDimensions(set, 2, &width, &height, &hotX, &hotY), ERR_FAILURE);
    EXPECT_TRUE(LogEntries().empty());
    EXPECT_EQ(sprites.QuerySpriteDimensions(50, 0, &width, &height, &hotX, &hotY), ERR_FAILURE);
    EXPECT_EQ(width, 12);
    EXPECT_EQ(hotY, 2);
    EXPECT_EQ(sprites.errorCode, 0);
    ASSERT_EQ(LogEntries().size(), 1u);
    EXPECT_TRUE(IsAssertFrom(LogEntries()[0], "font"));
}
