// memman.h - the tracked allocator every Tollivex object uses.
//
// Each block carries eight guard bytes on either side and is filled with 0xCC
// on allocation and release, so stale reads show the pattern. Blocks are
// handed out through the caller's pointer variable (void**), which Free sets
// back to null. Lookups walk a list, newest first: the library keeps only a
// few live blocks per object. Not thread-safe.
#ifndef TOLLIVEX_MEMMAN_H
#define TOLLIVEX_MEMMAN_H

#include "tvxcommon.h"

class TVX_API MemManager {
public:
    unsigned short errorCode;

    MemManager();
    ~MemManager();
    MemManager(const MemManager&) = delete;
    MemManager& operator=(const MemManager&) = delete;

    ERRORSTATUS Allocate(void** p, unsigned long size);
    void Free(void** p);
    ERRORSTATUS Resize(void** p, unsigned long size);
    ERRORSTATUS Duplicate(void** source, void** target);
    int CheckMemoryIntegrity();
    void CalcChecksum(void* block);
    int CheckChecksum(void* block);

private:
    struct Record {
        Record* next;
        unsigned char* block;
        uint32_t size;
        uint32_t checksum;
    };

    Record* FindRecord(const void* p) const;
    unsigned long BlockSize(const void* p) const;
    bool AddRecord(unsigned char* block, unsigned long size);
    void RemoveRecord(const unsigned char* block);

    Record* head;
};

#endif
