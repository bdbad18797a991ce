// memman.cpp - MemManager: tracked blocks with guard bytes.
//
// One heap allocation per block: 8 guard bytes, the user data, 8 guard
// bytes, all filled with 0xCC. The tracking records come from the heap too,
// never from the manager itself. Misuse is logged and tolerated; only heap
// exhaustion is an error.
#include "tollivex/memman.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
const char* const kSource = "memman";
const unsigned char kFill = 0xCC;
const unsigned long kGuardSize = 8;
const unsigned long kSanityBound = 500000;

// The guard test compares the same byte eight times over: only the byte next
// to the user data is in effect checked. Games rely on exactly this.
bool GuardIntact(const unsigned char* guardByte)
{
    for (int pass = 0; pass < 8; ++pass) {
        if (*guardByte != kFill)
            return false;
    }
    return true;
}

void DumpGuard(const char* title, unsigned char value)
{
    FILE* file = std::fopen("debug2.err", "at");
    if (file == nullptr)
        return;
    std::fputs(title, file);
    for (int pass = 0; pass < 8; ++pass)
        std::fprintf(file, "%x ", value);
    std::fputs("\n", file);
    std::fclose(file);
}

uint32_t SumWords(const unsigned char* data, uint32_t size)
{
    uint32_t sum = 0;
    for (uint32_t i = 0; i + 4 <= size; i += 4)
        sum += uint32_t(data[i]) | uint32_t(data[i + 1]) << 8 | uint32_t(data[i + 2]) << 16 | uint32_t(data[i + 3]) << 24;
    return sum;
}
} // namespace

MemManager::MemManager() : errorCode(0), head(nullptr) {}

MemManager::~MemManager()
{
    if (head != nullptr)
        _AssertMsg(kSource, 80);
}

ERRORSTATUS MemManager::Allocate(void** p, unsigned long size)
{
    if (p == nullptr)
        _AssertMsg(kSource, 95);
    if (size == 0)
        _AssertMsg(kSource, 96);
    if (size >= kSanityBound)
        _AssertMsg(kSource, 97);
    if (p == nullptr)
        return ERR_FAILURE; // nowhere to store the block: allocating would only leak it

    const unsigned long total = size + 2 * kGuardSize;
    if (total < size) {
        errorCode = ERR_MEM_ALLOC;
        return ERR_FAILURE;
    }
    auto* raw = static_cast<unsigned char*>(std::malloc(total));
    if (raw == nullptr) {
        errorCode = ERR_MEM_ALLOC;
        return ERR_FAILURE;
    }
    std::memset(raw, kFill, total);
    if (!AddRecord(raw + kGuardSize, size)) {
        std::free(raw);
        errorCode = ERR_MEM_ALLOC;
        return ERR_FAILURE;
    }
    *p = raw + kGuardSize;
    return ERR_OK;
}

void MemManager::Free(void** p)
{
    if (p == nullptr) {
        _AssertMsg(kSource, 134);
        return;
    }
    Record* record = FindRecord(*p);
    if (record == nullptr) {
        _AssertMsg(kSource, 141);
        return;
    }
    auto* user = static_cast<unsigned char*>(*p);
    if (user != record->block)
        _AssertMsg(kSource, 146);

    // Tests the byte before *p, as given, and the block's real upper guard:
    // for an interior pointer, *p + size would lie past the allocation.
    const uint32_t size = record->size;
    if (!GuardIntact(user - 1) || !GuardIntact(record->block + size))
        _AssertMsg(kSource, 166);

    if (user != record->block) {
        // Only the exact start may be released: the record stays, and so
        // does the block, rather than handing a middle pointer to the heap.
        _AssertMsg(kSource, 319);
        return;
    }
    std::memset(user - kGuardSize, kFill, size + 2 * kGuardSize);
    RemoveRecord(user);
    std::free(user - kGuardSize);
    *p = nullptr;
}

ERRORSTATUS MemManager::Resize(void** p, unsigned long size)
{
    // Deliberately unsupported: callers allocate anew, copy and free.
    _AssertMsg(kSource, 200);
    return ERR_FAILURE;
}

ERRORSTATUS MemManager::Duplicate(void** source, void** target)
{
    if (source == nullptr || target == nullptr) {
        _AssertMsg(kSource, 215);
        if (target != nullptr)
            *target = nullptr;
        return ERR_FAILURE;
    }
    const unsigned long size = BlockSize(*source);
    if (Allocate(target, size) == ERR_FAILURE) {
        *target = nullptr;
        errorCode = ERR_MEM_ALLOC;
        return ERR_FAILURE;
    }
    if (size != 0)
        std::memcpy(*target, *source, size);
    return ERR_OK;
}

int MemManager::CheckMemoryIntegrity()
{
    for (Record* record = head; record != nullptr; record = record->next) {
        const unsigned char* lower = record->block - 1;
        if (!GuardIntact(lower)) {
            _AssertMsg(kSource, 377);
            DumpGuard("Memory underflow: ", *lower);
            return 0;
        }
        const unsigned char* upper = record->block + record->size;
        if (!GuardIntact(upper)) {
            _AssertMsg(kSource, 399);
            DumpGuard("Memory overflow: ", *upper);
            return 0;
        }
    }
    return 1;
}

void MemManager::CalcChecksum(void* block)
{
    Record* record = FindRecord(block);
    if (record == nullptr) {
        _AssertMsg(kSource, 465);
        return;
    }
    record->checksum = SumWords(record->block, record->size);
}

int MemManager::CheckChecksum(void* block)
{
    Record* record = FindRecord(block);
    if (record == nullptr) {
        _AssertMsg(kSource, 515);
        return 0;
    }
    const uint32_t stored = record->checksum;
    // Stores the new sum: a block checked once counts as current afterwards.
    CalcChecksum(block);
    record = FindRecord(block);
    if (record == nullptr) {
        _AssertMsg(kSource, 509);
        return 0;
    }
    return record->checksum == stored ? 1 : 0;
}

MemManager::Record* MemManager::FindRecord(const void* p) const
{
    const auto* address = static_cast<const unsigned char*>(p);
    for (Record* record = head; record != nullptr; record = record->next) {
        // Only the block's own bytes find it: a block of size 0 has none.
        if (address >= record->block && address < record->block + record->size)
            return record;
    }
    _AssertMsg(kSource, 256);
    return nullptr;
}

unsigned long MemManager::BlockSize(const void* p) const
{
    const Record* record = FindRecord(p);
    if (record == nullptr)
        return 0;
    if (record->block != p)
        _AssertMsg(kSource, 341);
    return record->size;
}

bool MemManager::AddRecord(unsigned char* block, unsigned long size)
{
    auto* record = static_cast<Record*>(std::malloc(sizeof(Record)));
    if (record == nullptr)
        return false;
    record->next = head;
    record->block = block;
    record->size = static_cast<uint32_t>(size);
    record->checksum = 0;
    head = record;
    return true;
}

void MemManager::RemoveRecord(const unsigned char* block)
{
    for (Record** link = &head; *link != nullptr; link = &(*link)->next) {
        Record* record = *link;
        if (record->block == block) {
            *link = record->next;
            std::memset(record, kFill, sizeof(Record));
            std::free(record);
            return;
        }
    }
    _AssertMsg(kSource, 319);
}
