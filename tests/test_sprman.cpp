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
        const unsigned count = random() % 20;
        std::vector<Bytes> records(count);
        std::vector<unsigned> order(count);
        std::iota(order.begin(), order.end(), 0u);
        std::shuffle(order.begin(), order.end(), random);
        for (Bytes& record : records)
            if (random() % 4 != 0) {
                record = Sample(static_cast<unsigned char>(random()));
                record.resize(record.size() + random() % 3, 0xAA);
            }
        const Bytes block = SetBlock(records, order);
        const unsigned char loaded = Load(block, "RANDOM");
        EXPECT_EQ(sprites.QueryChanged(loaded), 0);
        ASSERT_EQ(Saved(loaded), block) << "round " << round;
        const unsigned char again = Load(Saved(loaded), "AGAIN");
        for (unsigned short i = 0; i < count; ++i)
            ASSERT_EQ(RecordAt(loaded, i), records[i]) << "round " << round << " slot " << i;
        for (unsigned short i = 0; i < count; ++i)
            ASSERT_EQ(RecordAt(again, i), records[i]) << "round " << round << " slot " << i;
        sprites.ReleaseAllDatasets();
    }
    EXPECT_TRUE(LogEntries().empty());

    // Without slots only the data area's length is kept: it saves as zeros,
    // and a record set after growing lands after them.
    const unsigned char set = Load({0, 0, 1, 2, 3, 4, 5});
    EXPECT_EQ(Saved(set), (Bytes{0, 0, 0, 0, 0, 0, 0}));
    unsigned short free = 0;
    ExpectFailure(sprites.FindEmptySlot(set, &free), ERR_SPR_SET_FULL);
    ASSERT_EQ(sprites.ResizeSpriteset(set, 1), ERR_OK);
    Bytes record = Sample(3), expected{1, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0};
    ASSERT_EQ(sprites.SetSprite(record.data(), record.size(), set, 0), ERR_OK);
    expected.insert(expected.end(), record.begin(), record.end());
    EXPECT_EQ(Saved(set), expected);
}

TEST_F(SetTest, CorruptBlocksAreRefusedWithoutReadingPastThem)
{
    const Bytes r = Sample(1);
    Bytes pastTheArea{1, 0, 12, 0, 0, 0}, shortHeader{1, 0, 3, 0, 0, 0};
    pastTheArea.insert(pastTheArea.end(), r.begin(), r.begin() + 12);
    shortHeader.insert(shortHeader.end(), r.begin(), r.begin() + 12);
    for (const Bytes& block : {Bytes{3}, Bytes{3, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}, pastTheArea, shortHeader,
                               Bytes{0xFF, 0xFF}}) {
        auto bytes = std::make_unique<unsigned char[]>(block.size()); // exactly sized for the sanitizers
        std::copy(block.begin(), block.end(), bytes.get());
        unsigned char index = 99;
        ExpectFailure(sprites.DatasetFromBlock(const_cast<char*>("BAD"), bytes.get(), block.size(), &index),
                      ERR_SPR_BAD_SPRITE);
        EXPECT_EQ(index, 99) << block.size();
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
    ExpectFailure(sprites.SetSprite(c.data(), c.size(), set, 4), ERR_SPR_BAD_SPRITE);
    // A record copied from a slot of the same set.
    unsigned char* inPlace = nullptr;
    unsigned long size = 0;
    ASSERT_EQ(sprites.QuerySprite(&inPlace, &size, set, 2), ERR_OK);
    ASSERT_EQ(sprites.SetSprite(inPlace, size, set, 3), ERR_OK);
    unsigned short slot = 0;
    ASSERT_EQ(sprites.FindEmptySlot(set, &slot), ERR_OK);
    EXPECT_EQ(slot, 1);
    // Cutting a record out keeps the others as they were.
    ASSERT_EQ(sprites.EraseSprite(set, 2), ERR_OK);
    EXPECT_EQ(sprites.EraseSprite(set, 2), ERR_OK); // empty already
    EXPECT_EQ((std::vector<Bytes>{RecordAt(set, 0), RecordAt(set, 2), RecordAt(set, 3)}), (std::vector<Bytes>{a, {}, b}));
    ASSERT_EQ(sprites.EraseSprite(set, 0), ERR_OK);
    ASSERT_EQ(sprites.EraseSprite(set, 3), ERR_OK);
    // The last record gone, so is the data area.
    ASSERT_EQ(sprites.QuerySprite(&inPlace, &size, set, 3), ERR_OK);
    EXPECT_EQ(inPlace, nullptr);
    EXPECT_EQ(size, 0u);
    Bytes empty{4, 0};
    empty.resize(18, 0xFF);
    EXPECT_EQ(Saved(set), empty);

    // Hot spots are written into the record; bad requests return 1 and leave
    // the status alone, logging only for a bad set. Dimensions come from the
    // header; failures leave the outputs alone, a bad set logged as the font's.
    ASSERT_EQ(sprites.SetSprite(a.data(), a.size(), set, 1), ERR_OK);
    ASSERT_EQ(sprites.SetHotSpot(-5, 300, set, 1), ERR_OK);
    Bytes moved = a;
    moved[6] = 0xFB, moved[7] = 0xFF, moved[8] = 0x2C, moved[9] = 0x01;
    EXPECT_EQ(RecordAt(set, 1), moved);
    sprites.errorCode = 0;
    for (auto [inSet, sprite] : {std::pair<int, int>{set, 0}, {set, 9}, {77, 0}})
        EXPECT_EQ(sprites.SetHotSpot(0, 0, static_cast<unsigned char>(inSet), static_cast<unsigned short>(sprite)), ERR_FAILURE);
    auto dimensions = [&](unsigned char inSet, unsigned short sprite, ERRORSTATUS status) {
        unsigned short width = 1, height = 1;
        short hotX = 1, hotY = 1;
        EXPECT_EQ(sprites.QuerySpriteDimensions(inSet, sprite, &width, &height, &hotX, &hotY), status);
        return std::vector<int>({width, height, hotX, hotY});
    };
    EXPECT_EQ(dimensions(set, 1, ERR_OK), std::vector<int>({12, 2, -5, 300}));
    for (auto [inSet, sprite] : {std::pair<int, int>{set, 0}, {set, 4}, {50, 0}})
        EXPECT_EQ(dimensions(static_cast<unsigned char>(inSet), static_cast<unsigned short>(sprite), ERR_FAILURE),
                  std::vector<int>({1, 1, 1, 1}));
    EXPECT_EQ(sprites.errorCode, 0);
    const auto log = LogEntries();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_TRUE(IsAssertFrom(log[0], "sprman") && IsAssertFrom(log[1], "font"));

    for (unsigned short i : {0, 2, 3})
        ASSERT_EQ(sprites.SetSprite(c.data(), c.size(), set, i), ERR_OK);
    ExpectFailure(sprites.FindEmptySlot(set, &slot), ERR_SPR_SET_FULL);
    ExpectFailure(sprites.FindEmptySlot(88, &slot), ERR_SPR_BAD_SET);
    // Resizing keeps the low slots and erases the high ones from the data area.
    ASSERT_EQ(sprites.ResizeSpriteset(set, 6), ERR_OK);
    EXPECT_EQ((std::vector<Bytes>{RecordAt(set, 3), RecordAt(set, 5)}), (std::vector<Bytes>{c, {}}));
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
    // Then backwards.
    ASSERT_EQ(sprites.MoveSprites(set, 0, 1, 2), ERR_OK);
    Bytes grown = records[1];
    grown.insert(grown.end(), records[2].begin(), records[2].end());
    EXPECT_EQ((std::vector<Bytes>{RecordAt(set, 0), RecordAt(set, 1), RecordAt(set, 2), RecordAt(set, 3)}),
              (std::vector<Bytes>{{}, records[0], grown, records[3]}));
    ASSERT_EQ(sprites.MoveSprites(set, 2, 0, 2), ERR_OK);
    for (unsigned short i = 0; i < 5; ++i)
        EXPECT_EQ(RecordAt(set, i), (std::vector<Bytes>{grown, records[3], {}, {}, records[4]})[i]) << i;
}

TEST_F(SetTest, SetSlotsAndIdleMemory)
{
    sprites.SetIdleMemoryLimit(1u << 30);
    for (int i = 0; i < 256; ++i)
        NewSet(1, ("S" + std::to_string(i)).c_str());
    unsigned char index = 0;
    char more[] = "ONE MORE";
    ExpectFailure(sprites.CreateNewSpriteset(more, 1, &index), ERR_SPR_NO_SET_SLOT);
    Bytes block = SetBlock({Sample(1)});
    ExpectFailure(sprites.DatasetFromBlock(more, block.data(), block.size(), &index), ERR_SPR_NO_SET_SLOT);
    // A released set stays idle under the limit, until a new set needs its slot.
    sprites.ReleaseDataset(const_cast<char*>("S17"));
    ASSERT_EQ(sprites.DatasetFromBlock(more, block.data(), block.size(), &index), ERR_OK);
    EXPECT_EQ(index * 10 + sprites.QueryChanged(17), 170);
    EXPECT_EQ(RecordAt(17, 0), Sample(1));
    sprites.ReleaseAllDatasets();
    sprites.MinimizeMemory();

    // A loaded set counts its block's size less two; a created one four bytes a slot.
    block = SetBlock({Sample(1), {}, Sample(2)});
    for (const unsigned long limit : {block.size() - 2, block.size() - 3}) {
        Load(block, "COUNTED");
        sprites.SetIdleMemoryLimit(limit);
        sprites.ReleaseDataset(const_cast<char*>("COUNTED"));
        EXPECT_EQ(sprites.RequestDataset(const_cast<char*>("COUNTED"), &index), limit == block.size() - 2 ? ERR_OK : ERR_FAILURE);
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
    tvxtest::WriteBytes("SPRITES.LIB",
                        tvxtest::LibraryBytes({{"HEROES", tvxtest::Code("SPR1"), SetBlock({normal, {}, kShade})}}));
    ASSERT_EQ(sprites.RegisterFile(const_cast<char*>("SPRITES.LIB")), ERR_OK);
    unsigned char set = 0;
    ASSERT_EQ(sprites.RequestDataset(const_cast<char*>("HEROES"), &set), ERR_OK);
    // Saving writes the changed set back into the library.
    ASSERT_EQ(sprites.SetHotSpot(3, 4, set, 0), ERR_OK);
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
    ASSERT_EQ(sprites.SetRemapMatrix(plusTwo), ERR_OK);
    EXPECT_EQ((std::vector<Bytes>{RecordAt(set, 0), RecordAt(set, 2)}), (std::vector<Bytes>{remapped(2), kShade}));
    EXPECT_EQ(LogEntries().size(), 2u); // the shade record is reported each time

    // Sets loaded while a matrix is in force are remapped at once, and marked
    // changed; clearing it leaves remapped bytes as they are.
    ASSERT_EQ(sprites.SetRemapMatrix(plusOne), ERR_OK);
    const unsigned char copy = Load(SetBlock({normal}), "COPY");
    EXPECT_EQ(sprites.QueryChanged(copy), 1);
    sprites.ClearRemapMatrix();
    const unsigned char later = Load(SetBlock({normal}), "LATER");
    EXPECT_EQ((std::vector<Bytes>{RecordAt(copy, 0), RecordAt(later, 0)}), (std::vector<Bytes>{Sample(11), normal}));
    // "COPY" and "LATER" have no block in any library file.
    ExpectFailure(sprites.SetRemapMatrix(plusTwo), ERR_SPR_NO_BLOCK);
    EXPECT_EQ((std::vector<Bytes>{RecordAt(set, 0), RecordAt(copy, 0)}), (std::vector<Bytes>{remapped(2), Sample(11)}));
    // RemapSprite works on any normal record, ours or the caller's.
    Bytes own = normal;
    sprites.RemapSprite(own.data());
    EXPECT_EQ(own, Sample(12));
}

TEST_F(SetTest, HitChecksFollowTheCommands)
{
    // Columns: 0 skip, 1-2 repeat, 3-4 pair, 5-7 literal; row 1 starts with a
    // literal. With the hot spot (1, 2) a point at (-1, -2) is the top-left
    // pixel, once the assertion on the negative input is logged.
    const unsigned char set = SetOf({Sample(1), {}, kShade});
    const struct {
        short x, y;
        unsigned long flags;
        int hit;
    } cases[] = {
        {0, 0, 0, 0}, {1, 0, 0, 1}, {2, 0, 0, 1}, {4, 0, 0, 1}, {7, 0, 0, 1}, {8, 0, 0, 0}, {11, 0, 0, 0},
        {12, 0, 0, 0}, {0, 1, 0, 1}, {1, 1, 0, 1}, {2, 1, 0, 0}, {0, 2, 0, 0}, {0, 0, 1, 0}, {0, 0, 3, 0},
        {1, 0, 1, 0}, {0, 1, 2, 1}, {-1, -2, 1, 0}, {0, -1, 1, 1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(sprites.HitCheck(c.x, c.y, set, 0, c.flags), c.hit) << c.x << "," << c.y << " flags " << c.flags;
    EXPECT_EQ(LogEntries().size(), 2u);
    EXPECT_EQ(sprites.HitCheck(0, 0, set, 1, 0), 0); // empty slot
    EXPECT_EQ(sprites.HitCheck(0, 0, set, 9, 0), 0);
    EXPECT_EQ(sprites.HitCheck(0, 0, set, 2, 0), 1); // a shade record answers, after an assertion
    EXPECT_EQ(LogEntries().size(), 5u);
}
