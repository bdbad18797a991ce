// dataman.h - DataManager, the base of every manager of named datasets.
//
// A derived class decides what a dataset is (SpriteManager: a sprite set);
// this base keeps 256 slots with names, states and item counts, loads blocks
// of its type through Library on request, keeps released datasets idle while
// they fit under the idle-memory limit, and saves datasets back into library
// files. Single-threaded.
#ifndef TOLLIVEX_DATAMAN_H
#define TOLLIVEX_DATAMAN_H

#include "library.h"
#include "memman.h"
#include "tvxcommon.h"

#pragma pack(push, 1)
// One record of the list RequestList hands out (27 bytes on 32-bit Windows).
struct _DATASETLIST {
    _DATASETLIST* next;
    char name[20];
    uint8_t index;
    uint16_t count;
};
#pragma pack(pop)

#if defined(_WIN32) && !defined(_WIN64)
static_assert(sizeof(_DATASETLIST) == 27, "_DATASETLIST is a 27-byte record");
#endif

class TVX_API DataManager {
public:
    // Slot states.
    enum : unsigned char { SLOT_FREE = 0, SLOT_IN_USE = 1, SLOT_IDLE = 2 };

    unsigned short errorCode;

    DataManager();
    DataManager(MemManager* mem, Library* library);
    virtual ~DataManager();
    DataManager(const DataManager&) = delete;
    DataManager& operator=(const DataManager&) = delete;

    // What a derived class makes of a block; slots 2 to 5 of the virtual table.
    virtual ERRORSTATUS DatasetFromBlock(char* name, unsigned char* data, unsigned long size,
                                         unsigned char* index) = 0;
    virtual void DiscardDataset(unsigned char index) = 0;
    virtual ERRORSTATUS RequestSaveBlock(unsigned char index, unsigned char** data, unsigned long* size) = 0;
    virtual ERRORSTATUS ReleaseSaveBlock(unsigned char** data) = 0;

    void SetMemManager(MemManager* mem);
    void SetLibManager(Library* library);
    ERRORSTATUS RegisterFile(char* fileSpec);

    ERRORSTATUS RequestDataset(char* name, unsigned char* index);
    void ReleaseDataset(char* name);
    void ReleaseAllDatasets();
    void CheckMemoryBounds();
    void MinimizeMemory();
    void SetIdleMemoryLimit(unsigned long bytes);
    void DMCleanup();

    ERRORSTATUS QueryDatasetPos(char* name, unsigned char* index);
    ERRORSTATUS QueryDatasetName(unsigned char index, char* name);

    ERRORSTATUS Save(unsigned char index);
    ERRORSTATUS SaveAs(unsigned char index, char* file, unsigned long flags);

    ERRORSTATUS RequestList(_DATASETLIST** list);
    void ReleaseList(_DATASETLIST** list);
    ERRORSTATUS RequestContents(char* fileSpec, _LIBDATA** list);
    ERRORSTATUS ReleaseContents(_LIBDATA** list);

protected:
    uint32_t type;
    MemManager* memManager;
    Library* libManager;
    uint16_t slotCount;
    uint32_t memoryInUse;
    uint32_t idleMemoryLimit;
    char datasetNames[256][20];
    unsigned char datasetStates[256];
    uint16_t itemCounts[256];
    unsigned char modified[256];

private:
    void Initialise();
    bool NameMatches(unsigned slot, const char* name) const;
    void CheckIntegrity(unsigned long assertLine);
    ERRORSTATUS WriteSaveBlock(unsigned char index, char* file, unsigned long flags);
};

#endif
