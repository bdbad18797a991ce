// sprman_hit.cpp - reading records without drawing them: the pixel-exact hit
// test, colour remapping through the remap matrix, and the header query the
// font and the widgets lay out with. All walks stop at the end of the set's
// data area.
#include "sprman_internal.h"

#include <cstddef>
#include <cstdint>

using namespace sprman;

int SpriteManager::HitCheck(short x, short y, unsigned char set, unsigned short sprite, unsigned long flags)
{
    if (!SetInUse(set)) {
        _AssertMsg(kSource, __LINE__);
        return 0;
    }
    if (sprite >= itemCounts[set] || setTable[set] == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return 0;
    }
    const unsigned char* record = setTable[set][sprite];
    if (record == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return 0;
    }
    const unsigned char* end = setData[set] + setDataSize[set];
    if (end - record < std::ptrdiff_t(kHeaderSize)) {
        _AssertMsg(kSource, __LINE__);
        return 0;
    }
    if (Get16(record) != SPRITE_NORMAL)
        _AssertMsg(kSource, __LINE__);
    if (x < 0 || y < 0)
        _AssertMsg(kSource, __LINE__);

    if (flags & SPRITE_AT_HOTSPOT) {
        x = static_cast<short>(x + static_cast<short>(Get16(record + 6)));
        y = static_cast<short>(y + static_cast<short>(Get16(record + 8)));
    }
    if (x < 0 || y < 0 || x >= int(Get16(record + 2)) || y >= int(Get16(record + 4)))
        return 0;

    RowReader reader(record + kHeaderSize, end);
    unsigned commands = 0;
    for (int row = 0; row < y; ++row) {
        if (!reader.NextRow(&commands) || !reader.SkipCommands(commands))
            return 0;
    }
    if (!reader.NextRow(&commands))
        return 0;
    int column = 0;
    for (; commands > 0; --commands) {
        unsigned char command = 0;
        const unsigned char* operands = nullptr;
        if (!reader.NextCommand(&command, &operands))
            return 0;
        column += CommandPixels(command);
        if (x < column)
            return (command >> 6) == kSkip ? 0 : 1;
    }
    return 0;
}

void SpriteManager::RemapSpriteset(unsigned char set)
{
    if (!SetInUse(set) || remapActive != 1)
        _AssertMsg(kSource, __LINE__);
    // Every slot of the table is visited; the walk does not reach the entry
    // one beyond the last slot, which lies outside the table.
    unsigned char** table = setTable[set];
    for (unsigned i = 0; table != nullptr && i < itemCounts[set]; ++i) {
        if (table[i] != nullptr)
            RemapRecord(table[i], setData[set] + setDataSize[set]);
    }
    modified[set] = 1;
}

void SpriteManager::RemapSprite(unsigned char* record)
{
    if (record == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    // A record of one of our sets is walked within its data area; any other
    // is the caller's, and its own header and rows are trusted.
    const unsigned char* end = DataEndOf(record);
    RemapRecord(record, end);
}

void SpriteManager::RemapRecord(unsigned char* record, const unsigned char* end)
{
    ChangedSets();
    const size_t available = end != nullptr ? size_t(end - record) : SIZE_MAX;
    if (available < kHeaderSize || Get16(record) != SPRITE_NORMAL) {
        _AssertMsg(kSource, __LINE__); // shade sprites are never remapped
        return;
    }
    RowReader reader(record + kHeaderSize, available - kHeaderSize);
    const unsigned height = Get16(record + 4);
    for (unsigned row = 0; row < height; ++row) {
        unsigned commands = 0;
        if (!reader.NextRow(&commands))
            return;
        for (; commands > 0; --commands) {
            unsigned char command = 0;
            const unsigned char* operands = nullptr;
            if (!reader.NextCommand(&command, &operands))
                return;
            if ((command >> 6) == kSkip)
                continue;
            // The operands are the record's own bytes, and the record is ours to change.
            unsigned char* values = const_cast<unsigned char*>(operands);
            for (unsigned i = 0; i < OperandBytes(command); ++i)
                values[i] = remapMatrix[values[i]];
        }
    }
}

ERRORSTATUS SpriteManager::QuerySpriteDimensions(unsigned char set, unsigned short sprite, unsigned short* width,
                                                 unsigned short* height, short* hotX, short* hotY)
{
    if (!SetInUse(set)) {
        _AssertMsg("font", __LINE__);
        return ERR_FAILURE;
    }
    if (sprite >= itemCounts[set] || setTable[set] == nullptr)
        return ERR_FAILURE;
    const unsigned char* record = setTable[set][sprite];
    if (record == nullptr || setData[set] + setDataSize[set] - record < std::ptrdiff_t(kHeaderSize))
        return ERR_FAILURE;
    if (width != nullptr)
        *width = static_cast<unsigned short>(Get16(record + 2));
    if (height != nullptr)
        *height = static_cast<unsigned short>(Get16(record + 4));
    if (hotX != nullptr)
        *hotX = static_cast<short>(Get16(record + 6));
    if (hotY != nullptr)
        *hotY = static_cast<short>(Get16(record + 8));
    return ERR_OK;
}
