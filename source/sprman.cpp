// sprman.cpp - SpriteManager: sprite sets and their slots.
//
// A set is a data area holding sprite records back to back plus a table of
// pointers into it, one per slot (null for an empty slot). A record's size is
// not stored: it runs to the next record above it, or to the end of the area.
// Slot edits rebuild the data area (a new one is allocated, copied and the
// pointers rebased), so a failed allocation leaves the set as it was.
//
// A block is refused with 1265 when its slot table runs past the block or a
// slot's offset leaves no room for a record header inside the data area;
// rows that run past the area are contained by every reader instead.
#include "sprman_form.h"

#include "tollivex/library.h"
#include "tollivex/memman.h"

#include <algorithm>
#include <cstring>
#include <functional>

using namespace sprman;

namespace {
// "SPR1" as its bytes stand in a library file.
const uint32_t kSpriteSetType = uint32_t('S') | uint32_t('P') << 8 | uint32_t('R') << 16 | uint32_t('1') << 24;
const uint32_t kEmptySlot = 0xFFFFFFFF;
const unsigned long kNameBytes = 20;

// The memory total counts a slot table as four bytes a slot, as a 32-bit
// build holds it, so the idle limit trims alike on every build.
const unsigned long kSlotBytes = 4;

// Every save block handed out carries a hidden link in front of it, so the
// manager can find the blocks it still owns.
const unsigned long kLinkBytes = 8;

unsigned char* NextOf(const unsigned char* raw)
{
    unsigned char* next = nullptr;
    std::memcpy(&next, raw, sizeof next);
    return next;
}

void SetNext(unsigned char* raw, unsigned char* next)
{
    std::memcpy(raw, &next, sizeof next);
}
} // namespace

SpriteManager::SpriteManager() : DataManager()
{
    Initialise();
}

SpriteManager::SpriteManager(MemManager* memory, Library* library) : DataManager(memory, library)
{
    Initialise();
}

void SpriteManager::Initialise()
{
    DissociateCanvas();
    encodeCanvas = nullptr;
    encodeBufferSize = kDefaultEncodeBufferSize;
    type = kSpriteSetType;
    saveBlocks = nullptr;
    displayForms = new DisplayForms;
    remapActive = 0;
    std::memset(remapMatrix, 0, sizeof remapMatrix);
    for (int set = 0; set < 256; ++set) {
        setData[set] = nullptr;
        setTable[set] = nullptr;
        setDataSize[set] = 0;
    }
}

SpriteManager::~SpriteManager()
{
    DMCleanup();
    // Save blocks never given back (DataManager::Save keeps the one it
    // wrote) still belong to this manager.
    while (saveBlocks != nullptr) {
        unsigned char* block = saveBlocks + kLinkBytes;
        ReleaseSaveBlock(&block);
    }
    delete displayForms;
}

// Every change to a set's memory or records comes through here first, so no
// display form outlives the record it was built from.
void SpriteManager::ChangedSets()
{
    displayForms->Clear();
}

unsigned long SpriteManager::QueryDisplayFormBytes()
{
    return static_cast<unsigned long>(displayForms->Bytes());
}

void SpriteManager::AssociateCanvas(Canvas* canvas)
{
    if (canvas == nullptr) {
        DissociateCanvas();
        return;
    }
    displayCanvas = canvas;
    canvasWidth = canvas->QueryWidth();
    canvasHeight = canvas->QueryHeight();
    canvasRowIncrement = canvas->QueryRowIncrement();
}

void SpriteManager::DissociateCanvas()
{
    displayCanvas = nullptr;
    canvasWidth = 0;
    canvasHeight = 0;
    canvasRowIncrement = 0;
}

bool SpriteManager::Obtain(void** block, unsigned long size)
{
    ChangedSets();
    if (memManager == nullptr) {
        _AssertMsg(kSource, __LINE__);
        *block = nullptr;
        return false;
    }
    if (memManager->Allocate(block, size) == ERR_FAILURE) {
        *block = nullptr;
        return false;
    }
    return true;
}

void SpriteManager::Release(void** block)
{
    ChangedSets();
    if (*block != nullptr && memManager != nullptr)
        memManager->Free(block);
    *block = nullptr;
}

bool SpriteManager::ObtainBytes(unsigned char** block, unsigned long size)
{
    void* p = nullptr;
    const bool ok = Obtain(&p, size);
    *block = static_cast<unsigned char*>(p);
    return ok;
}

// Slot tables hold real pointers; only the memory total counts them as 4 bytes.
bool SpriteManager::ObtainTable(unsigned char*** table, unsigned long count)
{
    void* p = nullptr;
    const bool ok = Obtain(&p, count * sizeof(unsigned char*));
    *table = static_cast<unsigned char**>(p);
    return ok;
}

void SpriteManager::ReleaseBytes(unsigned char** block)
{
    void* p = *block;
    Release(&p);
    *block = nullptr;
}

void SpriteManager::ReleaseTable(unsigned char*** table)
{
    void* p = *table;
    Release(&p);
    *table = nullptr;
}

bool SpriteManager::SetInUse(unsigned char set) const
{
    return set < slotCount && datasetStates[set] == SLOT_IN_USE;
}

bool SpriteManager::FindFreeSetSlot(unsigned char* slot)
{
    for (int pass = 0; pass < 2; ++pass) {
        for (int i = 0; i < 256; ++i) {
            if (datasetStates[i] == SLOT_FREE) {
                *slot = static_cast<unsigned char>(i);
                return true;
            }
        }
        if (pass == 0)
            MinimizeMemory();
    }
    errorCode = ERR_SPR_NO_SET_SLOT;
    return false;
}

// Names are copied up to their terminator and padded with zeros: the bytes
// after a short name's end are not the caller's to read.
void SpriteManager::StoreSetName(unsigned char slot, const char* name)
{
    char* target = datasetNames[slot];
    std::memset(target, 0, kNameBytes);
    if (name == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    for (unsigned long i = 0; i < kNameBytes && name[i] != '\0'; ++i)
        target[i] = name[i];
}

ERRORSTATUS SpriteManager::DatasetFromBlock(char* name, unsigned char* block, unsigned long size,
                                            unsigned char* index)
{
    if (index == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    unsigned char slot = 0;
    if (!FindFreeSetSlot(&slot))
        return ERR_FAILURE;

    if (block == nullptr || size < 2) {
        errorCode = ERR_SPR_BAD_SPRITE;
        return ERR_FAILURE;
    }
    const unsigned long count = Get16(block);
    if (size - 2 < kSlotBytes * count) {
        errorCode = ERR_SPR_BAD_SPRITE;
        return ERR_FAILURE;
    }
    const unsigned long dataSize = size - 2 - kSlotBytes * count;
    const unsigned char* offsets = block + 2;
    const unsigned char* area = offsets + kSlotBytes * count;
    for (unsigned long i = 0; i < count; ++i) {
        const uint32_t offset = Get32(offsets + kSlotBytes * i);
        if (offset != kEmptySlot && (dataSize < kHeaderSize || offset > dataSize - kHeaderSize)) {
            errorCode = ERR_SPR_BAD_SPRITE;
            return ERR_FAILURE;
        }
    }

    if (!PrepareSetTable(slot, count))
        return ERR_FAILURE;
    if (count > 0) {
        if (dataSize > 0) {
            if (!ObtainBytes(&setData[slot], dataSize)) {
                setData[slot] = nullptr;
                ReleaseTable(&setTable[slot]);
                errorCode = ERR_SPR_NO_MEMORY;
                return ERR_FAILURE;
            }
            std::memcpy(setData[slot], area, dataSize);
        }
        for (unsigned long i = 0; i < count; ++i) {
            const uint32_t offset = Get32(offsets + kSlotBytes * i);
            setTable[slot][i] = offset == kEmptySlot ? nullptr : setData[slot] + offset;
        }
    }

    OccupySetSlot(slot, name, static_cast<unsigned short>(count), dataSize, size - 2);
    modified[slot] = 0;
    *index = slot;
    if (remapActive == 1)
        RemapSpriteset(slot);
    return ERR_OK;
}

void SpriteManager::DiscardDataset(unsigned char index)
{
    if (setData[index] != nullptr)
        ReleaseBytes(&setData[index]);
    if (setTable[index] != nullptr)
        ReleaseTable(&setTable[index]);
    const unsigned long held = kSlotBytes * itemCounts[index] + setDataSize[index];
    memoryInUse = held > memoryInUse ? 0 : static_cast<uint32_t>(memoryInUse - held);
    std::memset(datasetNames[index], '0', kNameBytes);
    itemCounts[index] = 0;
    datasetStates[index] = SLOT_FREE;
    setDataSize[index] = 0;
    modified[index] = 0;
}

ERRORSTATUS SpriteManager::RequestSaveBlock(unsigned char index, unsigned char** block, unsigned long* size)
{
    if (block == nullptr || size == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    if (!SetInUse(index)) {
        errorCode = ERR_SPR_BAD_SET;
        return ERR_FAILURE;
    }
    const unsigned long count = itemCounts[index];
    const unsigned long total = setDataSize[index] + 2 + kSlotBytes * count;
    unsigned char* raw = nullptr;
    if (!ObtainBytes(&raw, kLinkBytes + total)) {
        errorCode = ERR_SPR_NO_MEMORY;
        return ERR_FAILURE;
    }
    SetNext(raw, saveBlocks);
    saveBlocks = raw;
    unsigned char* out = raw + kLinkBytes;
    Put16(out, unsigned(count));
    const unsigned char* area = setData[index];
    for (unsigned long i = 0; i < count; ++i) {
        const unsigned char* record = setTable[index][i];
        Put32(out + 2 + kSlotBytes * i, record == nullptr ? kEmptySlot : uint32_t(record - area));
    }
    unsigned char* outArea = out + 2 + kSlotBytes * count;
    // A set loaded without slots kept no data area; its bytes save as zeros.
    if (area != nullptr)
        std::memcpy(outArea, area, setDataSize[index]);
    else
        std::memset(outArea, 0, setDataSize[index]);
    *block = out;
    *size = total;
    return ERR_OK;
}

ERRORSTATUS SpriteManager::ReleaseSaveBlock(unsigned char** block)
{
    if (block == nullptr || *block == nullptr)
        return ERR_OK;
    unsigned char* raw = *block - kLinkBytes;
    unsigned char* previous = nullptr;
    for (unsigned char* current = saveBlocks; current != nullptr; current = NextOf(current)) {
        if (current == raw) {
            if (previous == nullptr)
                saveBlocks = NextOf(raw);
            else
                SetNext(previous, NextOf(raw));
            ReleaseBytes(&raw);
            *block = nullptr;
            return ERR_OK;
        }
        previous = current;
    }
    _AssertMsg(kSource, __LINE__); // not one of ours: left alone
    return ERR_OK;
}

// Drops whatever a free set slot still holds and gives it a table of
// `count` empty sprite slots; a set of no slots keeps no table.
bool SpriteManager::PrepareSetTable(unsigned char slot, unsigned long count)
{
    if (setTable[slot] != nullptr)
        ReleaseTable(&setTable[slot]);
    if (setData[slot] != nullptr)
        ReleaseBytes(&setData[slot]);
    if (count == 0)
        return true;
    if (!ObtainTable(&setTable[slot], count)) {
        setTable[slot] = nullptr;
        errorCode = ERR_SPR_NO_MEMORY;
        return false;
    }
    std::fill(setTable[slot], setTable[slot] + count, nullptr);
    return true;
}

// The bookkeeping of a set slot that has just been filled.
void SpriteManager::OccupySetSlot(unsigned char slot, const char* name, unsigned short count,
                                  unsigned long dataSize, unsigned long memory)
{
    StoreSetName(slot, name);
    itemCounts[slot] = count;
    setDataSize[slot] = dataSize;
    datasetStates[slot] = SLOT_IN_USE;
    slotCount = std::max<uint16_t>(slotCount, uint16_t(slot + 1));
    memoryInUse += static_cast<uint32_t>(memory);
    CheckMemoryBounds();
}

ERRORSTATUS SpriteManager::CreateNewSpriteset(char* name, unsigned short count, unsigned char* index)
{
    if (index == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    unsigned char slot = 0;
    if (!FindFreeSetSlot(&slot))
        return ERR_FAILURE;
    if (!PrepareSetTable(slot, count))
        return ERR_FAILURE;
    OccupySetSlot(slot, name, count, 0, kSlotBytes * count);
    modified[slot] = 1; // a new set is changed from birth
    *index = slot;
    return ERR_OK;
}

unsigned short SpriteManager::QuerySpritesetSize(unsigned char index)
{
    return itemCounts[index];
}

ERRORSTATUS SpriteManager::ResizeSpriteset(unsigned char index, unsigned short count)
{
    if (!SetInUse(index)) {
        errorCode = ERR_SPR_BAD_SET;
        return ERR_FAILURE;
    }
    const unsigned short old = itemCounts[index];
    if (count == old)
        return ERR_OK;
    for (unsigned i = count; i < old; ++i) {
        if (setTable[index][i] != nullptr && EraseSprite(index, static_cast<unsigned short>(i)) == ERR_FAILURE)
            return ERR_FAILURE;
    }
    unsigned char** table = nullptr;
    if (count > 0) {
        if (!ObtainTable(&table, count)) {
            errorCode = ERR_SPR_NO_MEMORY;
            return ERR_FAILURE;
        }
        std::fill(table, table + count, nullptr);
        if (old > 0)
            std::copy(setTable[index], setTable[index] + std::min(old, count), table);
    }
    if (setTable[index] != nullptr)
        ReleaseTable(&setTable[index]);
    setTable[index] = table;
    memoryInUse -= static_cast<uint32_t>(std::min<unsigned long>(memoryInUse, kSlotBytes * old));
    memoryInUse += static_cast<uint32_t>(kSlotBytes * count);
    itemCounts[index] = count;
    CheckMemoryBounds();
    modified[index] = 1;
    return ERR_OK;
}

ERRORSTATUS SpriteManager::QuerySpriteSize(unsigned char index, unsigned short sprite, unsigned long* size)
{
    if (!SetInUse(index)) {
        errorCode = ERR_SPR_BAD_SET;
        return ERR_FAILURE;
    }
    if (sprite >= itemCounts[index]) {
        errorCode = ERR_SPR_BAD_SPRITE;
        return ERR_FAILURE;
    }
    unsigned char** table = setTable[index];
    if (table == nullptr) {
        _AssertMsg(kSource, __LINE__);
        errorCode = ERR_SPR_BAD_SET;
        return ERR_FAILURE;
    }
    const unsigned char* record = table[sprite];
    if (record == nullptr) {
        *size = 0;
        return ERR_OK;
    }
    const unsigned char* bound = setData[index] + setDataSize[index];
    for (unsigned i = 0; i < itemCounts[index]; ++i) {
        const unsigned char* other = table[i];
        if (other != nullptr && other > record && other < bound)
            bound = other;
    }
    *size = static_cast<unsigned long>(bound - record);
    return ERR_OK;
}

ERRORSTATUS SpriteManager::SetSprite(unsigned char* record, unsigned long size, unsigned char index,
                                     unsigned short sprite)
{
    ChangedSets();
    if (record == nullptr || size == 0) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    unsigned long existing = 0;
    if (QuerySpriteSize(index, sprite, &existing) == ERR_FAILURE)
        return ERR_FAILURE;
    unsigned char** table = setTable[index];
    if (table[sprite] != nullptr) {
        errorCode = ERR_SPR_SLOT_USED;
        return ERR_FAILURE;
    }
    const unsigned long oldSize = setDataSize[index];
    unsigned char* area = nullptr;
    if (oldSize + size < oldSize ||
        !ObtainBytes(&area, oldSize + size)) {
        errorCode = ERR_SPR_NO_MEMORY;
        return ERR_FAILURE;
    }
    unsigned char* old = setData[index];
    if (old != nullptr)
        std::memcpy(area, old, oldSize);
    else
        std::memset(area, 0, oldSize);
    // The record may live in this very area (a copy between slots), so it is
    // copied before the old area goes.
    std::memcpy(area + oldSize, record, size);
    for (unsigned i = 0; i < itemCounts[index]; ++i) {
        if (table[i] != nullptr)
            table[i] = area + (table[i] - old);
    }
    if (old != nullptr)
        ReleaseBytes(&setData[index]);
    setData[index] = area;
    table[sprite] = area + oldSize;
    setDataSize[index] = oldSize + size;
    modified[index] = 1;
    return ERR_OK;
}

ERRORSTATUS SpriteManager::EraseSprite(unsigned char index, unsigned short sprite)
{
    ChangedSets();
    unsigned long size = 0;
    if (QuerySpriteSize(index, sprite, &size) == ERR_FAILURE)
        return ERR_FAILURE;
    unsigned char** table = setTable[index];
    unsigned char* const record = table[sprite];
    if (record == nullptr) {
        modified[index] = 1;
        return ERR_OK;
    }
    unsigned char* old = setData[index];
    const unsigned long remaining = setDataSize[index] - size;
    if (remaining == 0) {
        ReleaseBytes(&setData[index]);
        setDataSize[index] = 0;
        table[sprite] = nullptr;
        modified[index] = 1;
        return ERR_OK;
    }
    unsigned char* area = nullptr;
    if (!ObtainBytes(&area, remaining)) {
        errorCode = ERR_SPR_NO_MEMORY;
        return ERR_FAILURE;
    }
    const unsigned long before = static_cast<unsigned long>(record - old);
    std::memcpy(area, old, before);
    std::memcpy(area + before, record + size, remaining - before);
    for (unsigned i = 0; i < itemCounts[index]; ++i) {
        unsigned char* p = table[i];
        if (p == nullptr)
            continue;
        unsigned long offset = static_cast<unsigned long>(p - old);
        if (p > record)
            offset -= size;
        table[i] = area + offset;
    }
    ReleaseBytes(&setData[index]);
    setData[index] = area;
    setDataSize[index] = remaining;
    table[sprite] = nullptr;
    modified[index] = 1;
    return ERR_OK;
}

ERRORSTATUS SpriteManager::QuerySprite(unsigned char** record, unsigned long* size, unsigned char index,
                                       unsigned short sprite)
{
    if (record == nullptr || size == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    unsigned long found = 0;
    if (QuerySpriteSize(index, sprite, &found) == ERR_FAILURE)
        return ERR_FAILURE;
    *record = setTable[index][sprite];
    *size = found;
    return ERR_OK;
}

// The ranges must end strictly below the slot count, so the last slot can
// never take part in a move; callers have always lived with that.
ERRORSTATUS SpriteManager::MoveSprites(unsigned char index, unsigned short from, unsigned short to,
                                       unsigned short count)
{
    ChangedSets();
    if (from == to)
        return ERR_OK;
    if (!SetInUse(index)) {
        errorCode = ERR_SPR_BAD_SET;
        return ERR_FAILURE;
    }
    const unsigned long slots = itemCounts[index];
    if (static_cast<unsigned long>(from) + count >= slots || static_cast<unsigned long>(to) + count >= slots) {
        errorCode = ERR_SPR_BAD_SPRITE;
        return ERR_FAILURE;
    }
    unsigned char** table = setTable[index];
    if (from <= to) {
        for (unsigned i = count; i >= 1; --i) {
            table[to + i - 1] = table[from + i - 1];
            table[from + i - 1] = nullptr;
        }
    } else {
        for (unsigned i = 0; i < count; ++i) {
            table[to + i] = table[from + i];
            table[from + i] = nullptr;
        }
    }
    modified[index] = 1;
    return ERR_OK;
}

ERRORSTATUS SpriteManager::FindEmptySlot(unsigned char index, unsigned short* sprite)
{
    if (!SetInUse(index)) {
        errorCode = ERR_SPR_BAD_SET;
        return ERR_FAILURE;
    }
    if (sprite == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    for (unsigned i = 0; i < itemCounts[index]; ++i) {
        if (setTable[index][i] == nullptr) {
            *sprite = static_cast<unsigned short>(i);
            return ERR_OK;
        }
    }
    errorCode = ERR_SPR_SET_FULL;
    return ERR_FAILURE;
}

ERRORSTATUS SpriteManager::SetHotSpot(short x, short y, unsigned char index, unsigned short sprite)
{
    ChangedSets();
    if (!SetInUse(index)) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    if (sprite >= itemCounts[index] || setTable[index] == nullptr)
        return ERR_FAILURE;
    unsigned char* record = setTable[index][sprite];
    if (record == nullptr || setData[index] + setDataSize[index] - record < std::ptrdiff_t(kHeaderSize))
        return ERR_FAILURE;
    Put16(record + 6, static_cast<unsigned short>(x));
    Put16(record + 8, static_cast<unsigned short>(y));
    modified[index] = 1;
    return ERR_OK;
}

int SpriteManager::QueryChanged(unsigned char index)
{
    return modified[index];
}

// ---------------------------------------------------------------------------
// Remap matrix

ERRORSTATUS SpriteManager::SetRemapMatrix(unsigned char* matrix)
{
    if (matrix == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    std::memcpy(remapMatrix, matrix, sizeof remapMatrix);
    remapActive = 1;
    for (unsigned set = 0; set < slotCount; ++set) {
        if (datasetStates[set] == SLOT_FREE)
            continue;
        if (RestoreStoredColours(static_cast<unsigned char>(set)) == ERR_FAILURE)
            return ERR_FAILURE;
        RemapSpriteset(static_cast<unsigned char>(set));
    }
    return ERR_OK;
}

// Copies the stored data area over the set's own, so that remapping starts
// from the colours in the library file. The copy takes the set's current data
// size, edits or not, but never more than the block holds.
ERRORSTATUS SpriteManager::RestoreStoredColours(unsigned char set)
{
    ChangedSets();
    char name[kNameBytes + 1];
    std::memcpy(name, datasetNames[set], kNameBytes);
    name[kNameBytes] = '\0';
    unsigned char* block = nullptr;
    unsigned long size = 0;
    if (libManager == nullptr || libManager->RequestLibrary(name, &block, &size) == ERR_FAILURE) {
        errorCode = ERR_SPR_NO_BLOCK;
        return ERR_FAILURE;
    }
    if (setData[set] != nullptr && block != nullptr && size >= 2) {
        const unsigned long table = 2 + kSlotBytes * Get16(block);
        if (table < size) {
            const unsigned long length = std::min(setDataSize[set], size - table);
            std::memcpy(setData[set], block + table, length);
        }
    }
    libManager->ReleaseLibrary(&block);
    return ERR_OK;
}

void SpriteManager::ClearRemapMatrix()
{
    remapActive = 0;
}

// The end of the data area that holds a record, or null when the record is
// none of this manager's.
unsigned char* SpriteManager::DataEndOf(const unsigned char* record) const
{
    const std::less<const unsigned char*> below;
    for (int set = 0; set < 256; ++set) {
        unsigned char* area = setData[set];
        if (area == nullptr)
            continue;
        unsigned char* end = area + setDataSize[set];
        if (!below(record, area) && below(record, end))
            return end;
    }
    return nullptr;
}
