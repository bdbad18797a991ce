#include "support/libfiles.h"
#include "test_sprman_helpers.h"

#include <algorithm>
#include <memory>
#include <numeric>

using namespace sprtest;
using tvxtest::LogEntries;

namespace {

// A normal record of one row: a skip, a repeat, a pair and a literal.
Bytes Sample(unsigned char base)
{
    auto b = [base](int add) { return static_cast<unsigned char>(base + add); };
    return Record(6, 12, 2, 1, 2, {{4, 0xC1, 0x82, b(0), 0x41, b(1), b(2), 0x03, b(3), b(4), b(5)}, {1, 0x02, b(0), b(9)}});
}

const Bytes kShade = Record(7, 2, 1, 0, 0, {{1, 0x82, 0xF3}});

void RegisterLibrary(SpriteManager& sprites, const std::vector<tvxtest::BlockSpec>& blocks)
{
    tvxtest::WriteBytes("SPRITES.LIB", tvxtest::LibraryBytes(blocks));
    ASSERT_EQ(sprites.RegisterFile(const_cast<char*>("SPRITES.LIB")), ERR_OK);
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

    void ExpectFailure(ERRORSTATUS status, int code)
    {
        EXPECT_EQ(status, ERR_FAILURE);
        EXPECT_EQ(sprites.errorCode, code);
    }
};

} // namespace

TEST_F(SetTest, BlocksLoadAndSaveByteForByte)
{
    // Random sets, records stored out of slot order with stray bytes after
    // some of them (they belong to the record before): whatever is loaded
    // saves back unchanged, and the saved block loads to the same records.
    std::mt19937 random(77);
    for (int round = 0; round < 40; ++round) {
        const unsigned count = round == 0 ? 3 : random() % 20;
        std::vector<Bytes> records(count);
        std::vector<unsigned> order(count);
        std::iota(order.begin(), order.end(), 0u);
        std::shuffle(order.begin(), order.end(), random);
        for (Bytes& record : records) {
            if (random() % 4 != 0 || round == 0) {
                record = Sample(static_cast<unsigned char>(random()));
                record.resize(record.size() + (round == 0 ? 3 : random() % 3), 0xAA);
            }
        }
        if (round == 0) { // slot 2 stored first, slot 1 empty
            records[1].clear();
            order = {2, 1, 0};
        }
        const Bytes block = SetBlock(records, order);
        const unsigned char loaded = Load(block, "RANDOM");
        EXPECT_EQ(sprites.QueryChanged(loaded), 0);
        ASSERT_EQ(Saved(loaded), block) << "round " << round;
        const unsigned char again = Load(Saved(loaded), "AGAIN");
        for (unsigned short i = 0; i < count; ++i) {
            ASSERT_EQ(RecordAt(loaded, i), records[i]) << "round " << round << " slot " << i;
            ASSERT_EQ(RecordAt(again, i), records[i]) << "round " << round << " slot " << i;
        }
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
    ExpectFailure(sprites.FindEmptySlot(set, &free), ERR_SPR_SET_FULL);
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
    const Bytes r = Sample(1);
    Bytes pastTheArea{1, 0, 12, 0, 0, 0}, shortHeader{1, 0, 3, 0, 0, 0};
    pastTheArea.insert(pastTheArea.end(), r.begin(), r.begin() + 12);
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
        auto bytes = std::make_unique<unsigned char[]>(c.block.size());
        std::copy(c.block.begin(), c.block.end(), bytes.get());
        SCOPED_TRACE(c.what);
        unsigned char index = 99;
        sprites.errorCode = 0;
        ExpectFailure(sprites.DatasetFromBlock(const_cast<char*>("BAD"), bytes.get(), c.block.size(), &index),
                      ERR_SPR_BAD_SPRITE);
        EXPECT_EQ(index, 99) << c.what;
    }
    EXPECT_EQ(NewSet(1), 0); // no set slot was taken
}

TEST_F(SetTest, SlotsAreFilledOnceErasedInPlaceAndResized)
{
    const unsigned char set = NewSet(4);
    EXPECT_EQ(sprites.QueryChanged(set), 1);
    Bytes a = Sample(1), b = Sample(50), c = Sample(100);
    ASSERT_EQ(sprites.SetSprite(a.data(), a.size(), set, 0), ERR_OK);
    ASSERT_EQ(sprites.SetSprite(b.data(), b.size(), set, 2), ERR_OK);
    ExpectFailure(sprites.SetSprite(c.data(), c.size(), set, 2), ERR_SPR_SLOT_USED);
    EXPECT_EQ(RecordAt(set, 2), b);
    ExpectFailure(sprites.SetSprite(c.data(), c.size(), set, 4), ERR_SPR_BAD_SPRITE);

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
    Bytes empty{4, 0};
    empty.resize(18, 0xFF);
    EXPECT_EQ(Saved(set), empty);

    // Hot spots are written into the record; bad requests return 1 and
    // leave the status alone, logging only for a bad set.
    ASSERT_EQ(sprites.SetSprite(a.data(), a.size(), set, 1), ERR_OK);
    ASSERT_EQ(sprites.SetHotSpot(-5, 300, set, 1), ERR_OK);
    Bytes moved = a;
    moved[6] = 0xFB, moved[7] = 0xFF, moved[8] = 0x2C, moved[9] = 0x01;
    EXPECT_EQ(RecordAt(set, 1), moved);
    sprites.errorCode = 0;
    EXPECT_EQ(sprites.SetHotSpot(0, 0, set, 0), ERR_FAILURE);
    EXPECT_EQ(sprites.SetHotSpot(0, 0, set, 9), ERR_FAILURE);
    EXPECT_TRUE(LogEntries().empty());
    EXPECT_EQ(sprites.SetHotSpot(0, 0, 77, 0), ERR_FAILURE);
    EXPECT_EQ(sprites.errorCode, 0);
    EXPECT_EQ(LogEntries().size(), 1u);

    // Dimensions come from the header; failures leave the outputs alone, and
    // a bad set is reported under the font's source name.
    auto dimensions = [&](unsigned char inSet, unsigned short sprite, ERRORSTATUS status) {
        unsigned short width = 1, height = 1;
        short hotX = 1, hotY = 1;
        EXPECT_EQ(sprites.QuerySpriteDimensions(inSet, sprite, &width, &height, &hotX, &hotY), status);
        return std::vector<int>({width, height, hotX, hotY});
    };
    EXPECT_EQ(dimensions(set, 1, ERR_OK), std::vector<int>({12, 2, -5, 300}));
    EXPECT_EQ(dimensions(set, 0, ERR_FAILURE), std::vector<int>({1, 1, 1, 1}));
    EXPECT_EQ(dimensions(set, 4, ERR_FAILURE), std::vector<int>({1, 1, 1, 1}));
    EXPECT_EQ(LogEntries().size(), 1u);
    EXPECT_EQ(dimensions(50, 0, ERR_FAILURE), std::vector<int>({1, 1, 1, 1}));
    EXPECT_EQ(sprites.errorCode, 0);
    ASSERT_EQ(LogEntries().size(), 2u);
    EXPECT_TRUE(IsAssertFrom(LogEntries()[1], "font"));

    for (unsigned short i : {0, 2, 3})
        ASSERT_EQ(sprites.SetSprite(c.data(), c.size(), set, i), ERR_OK);
    ExpectFailure(sprites.FindEmptySlot(set, &slot), ERR_SPR_SET_FULL);
    ExpectFailure(sprites.FindEmptySlot(88, &slot), ERR_SPR_BAD_SET);

    // Resizing keeps the low slots and erases the high ones from the data area.
    ASSERT_EQ(sprites.ResizeSpriteset(set, 6), ERR_OK);
    EXPECT_EQ(sprites.QuerySpritesetSize(set), 6);
    EXPECT_EQ(RecordAt(set, 3), c);
    EXPECT_EQ(RecordAt(set, 5), Bytes());
    ASSERT_EQ(sprites.ResizeSpriteset(set, 1), ERR_OK);
    Bytes expected{1, 0, 0, 0, 0, 0};
    expected.insert(expected.end(), c.begin(), c.end());
    EXPECT_EQ(Saved(set), expected);
    ExpectFailure(sprites.ResizeSpriteset(123, 2), ERR_SPR_BAD_SET);
}

TEST_F(SetTest, MovesShiftPointersAndNeverReachTheLastSlot)
{
    const std::vector<Bytes> records{Sample(0), Sample(20), Sample(40), Sample(60), Sample(80)};
    const unsigned char set = SetOf(records);
    ExpectFailure(sprites.MoveSprites(set, 0, 1, 4), ERR_SPR_BAD_SPRITE);
    EXPECT_EQ(sprites.MoveSprites(set, 4, 0, 1), ERR_FAILURE);
    EXPECT_EQ(sprites.MoveSprites(200, 1, 1, 1), ERR_OK); // no move at all
    ExpectFailure(sprites.MoveSprites(200, 0, 1, 1), ERR_SPR_BAD_SET);

    // Forward over an overlap: the record in the way is dropped from the
    // table, and its bytes now count towards the record stored before it.
    ASSERT_EQ(sprites.MoveSprites(set, 0, 1, 2), ERR_OK);
    Bytes grown = records[1];
    grown.insert(grown.end(), records[2].begin(), records[2].end());
    EXPECT_EQ(RecordAt(set, 0), Bytes());
    EXPECT_EQ(RecordAt(set, 1), records[0]);
    EXPECT_EQ(RecordAt(set, 2), grown);
    EXPECT_EQ(RecordAt(set, 3), records[3]);

    // Backwards.
    ASSERT_EQ(sprites.MoveSprites(set, 2, 0, 2), ERR_OK);
    const std::vector<Bytes> after{grown, records[3], {}, {}, records[4]};
    for (unsigned short i = 0; i < 5; ++i)
        EXPECT_EQ(RecordAt(set, i), after[i]) << "slot " << i;
}

TEST_F(SetTest, SetSlotsAndIdleMemory)
{
    sprites.SetIdleMemoryLimit(1u << 30);
    for (int i = 0; i < 256; ++i)
        NewSet(1, ("S" + std::to_string(i)).c_str());
    unsigned char index = 0;
    ExpectFailure(sprites.CreateNewSpriteset(const_cast<char*>("ONE MORE"), 1, &index), ERR_SPR_NO_SET_SLOT);
    Bytes block = SetBlock({Sample(1)});
    ExpectFailure(sprites.DatasetFromBlock(const_cast<char*>("ONE MORE"), block.data(), block.size(), &index),
                  ERR_SPR_NO_SET_SLOT);

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
    sprites.ReleaseAllDatasets();
    sprites.MinimizeMemory();

    // A loaded set counts its block's size less two; a created one four bytes a slot.
    block = SetBlock({Sample(1), {}, Sample(2)});
    const unsigned long counted = block.size() - 2;
    for (const unsigned long limit : {counted, counted - 1}) {
        Load(block, "COUNTED");
        sprites.SetIdleMemoryLimit(limit);
        sprites.ReleaseDataset(const_cast<char*>("COUNTED"));
        EXPECT_EQ(sprites.RequestDataset(const_cast<char*>("COUNTED"), &index), limit == counted ? ERR_OK : ERR_FAILURE)
            << "limit " << limit;
        sprites.ReleaseAllDatasets();
        sprites.MinimizeMemory();
    }
    NewSet(10, "MADE");
    sprites.SetIdleMemoryLimit(40);
    sprites.ReleaseDataset(const_cast<char*>("MADE"));
    EXPECT_EQ(sprites.RequestDataset(const_cast<char*>("MADE"), &index), ERR_OK);
}

TEST_F(SetTest, LibrarySetsSaveBackAndRemapFromTheStoredColours)
{
    const Bytes normal = Sample(10);
    RegisterLibrary(sprites, {{"HEROES", tvxtest::Code("SPR1"), SetBlock({normal, {}, kShade})}});
    unsigned char set = 0;
    ASSERT_EQ(sprites.RequestDataset(const_cast<char*>("HEROES"), &set), ERR_OK);
    EXPECT_EQ(RecordAt(set, 2), kShade);

    // Saving writes the changed set back into the library.
    ASSERT_EQ(sprites.SetHotSpot(3, 4, set, 0), ERR_OK);
    EXPECT_EQ(sprites.QueryChanged(set), 1);
    ASSERT_EQ(sprites.Save(set), ERR_OK);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    ASSERT_EQ(library.RequestLibrary(const_cast<char*>("HEROES"), &data, &size), ERR_OK);
    EXPECT_EQ(Bytes(data, data + size), Saved(set));
    library.ReleaseLibrary(&data);

    // Only colour values change: not the header, counts or skips, and not shades.
    auto remapped = [&](int add) {
        Bytes r = normal;
        r[6] = 3, r[8] = 4;
        for (size_t i : {13u, 15u, 16u, 18u, 19u, 20u, 23u, 24u})
            r[i] = static_cast<unsigned char>(r[i] + add);
        return r;
    };
    unsigned char plusOne[256], plusTwo[256];
    for (int v = 0; v < 256; ++v) {
        plusOne[v] = static_cast<unsigned char>(v + 1);
        plusTwo[v] = static_cast<unsigned char>(v + 2);
    }
    ASSERT_EQ(sprites.SetRemapMatrix(plusOne), ERR_OK);
    EXPECT_EQ(RecordAt(set, 0), remapped(1));
    EXPECT_EQ(RecordAt(set, 2), kShade);
    EXPECT_EQ(sprites.QueryChanged(set), 1);
    ASSERT_EQ(sprites.SetRemapMatrix(plusTwo), ERR_OK);
    EXPECT_EQ(RecordAt(set, 0), remapped(2)); // not plusTwo over plusOne
    // The shade record trips an assertion each time and is left alone.
    EXPECT_EQ(LogEntries().size(), 2u);

    // Sets loaded while a matrix is in force are remapped at once; clearing
    // it leaves remapped bytes as they are.
    ASSERT_EQ(sprites.SetRemapMatrix(plusOne), ERR_OK);
    const unsigned char copy = Load(SetBlock({normal}), "COPY");
    EXPECT_EQ(RecordAt(copy, 0), Sample(11));
    EXPECT_EQ(sprites.QueryChanged(copy), 1);
    sprites.ClearRemapMatrix();
    EXPECT_EQ(RecordAt(copy, 0), Sample(11));
    const unsigned char later = Load(SetBlock({normal}), "LATER");
    EXPECT_EQ(RecordAt(later, 0), normal);

    // "COPY" and "LATER" have no block in any library file.
    ExpectFailure(sprites.SetRemapMatrix(plusTwo), ERR_SPR_NO_BLOCK);
    EXPECT_EQ(RecordAt(set, 0), remapped(2));
    EXPECT_EQ(RecordAt(copy, 0), Sample(11));

    // RemapSprite works on any normal record, ours or the caller's.
    Bytes own = normal;
    sprites.RemapSprite(own.data());
    EXPECT_EQ(own, Sample(12));
}

TEST_F(SetTest, HitChecksFollowTheCommands)
{
    // Columns: 0 skip, 1-2 repeat, 3-4 pair, 5-7 literal; row 1 starts with a literal.
    const unsigned char set = SetOf({Sample(1), {}, kShade});
    const struct {
        short x, y;
        unsigned long flags;
        int hit;
    } cases[] = {
        {0, 0, 0, 0}, {1, 0, 0, 1}, {2, 0, 0, 1}, {4, 0, 0, 1}, {7, 0, 0, 1}, {8, 0, 0, 0},
        {11, 0, 0, 0}, {12, 0, 0, 0}, {0, 1, 0, 1}, {1, 1, 0, 1}, {2, 1, 0, 0}, {0, 2, 0, 0},
        {0, 0, 1, 0}, {0, 0, 3, 0}, {1, 0, 1, 0}, {0, 1, 2, 1},
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
