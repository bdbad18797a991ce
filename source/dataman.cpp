// dataman.cpp - DataManager: named datasets in 256 slots, loaded through
// Library, kept idle under a memory limit, saved back into library files.
//
// What a dataset is belongs to the derived class; so does `memoryInUse`,
// which it raises when it builds a dataset and lowers when it discards one.
// Idle datasets are discarded lowest slot first, not by age or size.
#include "tollivex/dataman.h"

#include <cstring>

namespace {
const char* const kSource = "dataman";
const unsigned kSlots = 256;
const unsigned kNameBytes = 20;

// A slot name may fill all 20 bytes without a terminator.
void CopySlotName(char (&target)[kNameBytes + 1], const char* slotName)
{
    std::memcpy(target, slotName, kNameBytes);
    target[kNameBytes] = '\0';
}
} // namespace

DataManager::DataManager()
{
    Initialise();
}

DataManager::DataManager(MemManager* mem, Library* library)
{
    Initialise();
    if (mem == nullptr)
        _AssertMsg(kSource, 142);
    if (library == nullptr)
        _AssertMsg(kSource, 156);
    memManager = mem;
    libManager = library;
}

DataManager::~DataManager() = default;

void DataManager::Initialise()
{
    errorCode = 0;
    type = 0;
    memManager = nullptr;
    libManager = nullptr;
    slotCount = 0;
    memoryInUse = 0;
    idleMemoryLimit = 0;
    std::memset(datasetNames, '0', sizeof datasetNames);
    std::memset(datasetStates, SLOT_FREE, sizeof datasetStates);
    std::memset(itemCounts, 0, sizeof itemCounts);
    std::memset(modified, 0, sizeof modified);
}

void DataManager::SetMemManager(MemManager* mem)
{
    memManager = mem;
}

void DataManager::SetLibManager(Library* library)
{
    libManager = library;
}

ERRORSTATUS DataManager::RegisterFile(char* fileSpec)
{
    if (libManager == nullptr) {
        _AssertMsg(kSource, 170);
        return ERR_FAILURE;
    }
    if (libManager->RegisterBlocks(fileSpec, type) == ERR_FAILURE) {
        errorCode = libManager->errorCode;
        return ERR_FAILURE;
    }
    return ERR_OK;
}

bool DataManager::NameMatches(unsigned slot, const char* name) const
{
    if (name == nullptr)
        return false;
    const char* slotName = datasetNames[slot];
    for (unsigned i = 0; i < kNameBytes; ++i) {
        if (slotName[i] != name[i])
            return false;
        if (name[i] == '\0')
            return true;
    }
    return name[kNameBytes] == '\0';
}

void DataManager::CheckIntegrity(unsigned long assertLine)
{
    if (memManager != nullptr && memManager->CheckMemoryIntegrity() == 0)
        _AssertMsg(kSource, assertLine);
}

ERRORSTATUS DataManager::RequestDataset(char* name, unsigned char* index)
{
    if (memManager == nullptr)
        _AssertMsg(kSource, 190);
    if (libManager == nullptr) {
        _AssertMsg(kSource, 191);
        return ERR_FAILURE;
    }
    for (unsigned slot = 0; slot < slotCount; ++slot) {
        if (datasetStates[slot] != SLOT_FREE && NameMatches(slot, name)) {
            datasetStates[slot] = SLOT_IN_USE; // an idle dataset is revived without a read
            *index = static_cast<unsigned char>(slot);
            return ERR_OK;
        }
    }

    CheckIntegrity(208);
    unsigned char* data = nullptr;
    unsigned long size = 0;
    if (libManager->RequestLibrary(name, &data, &size) == ERR_FAILURE) {
        errorCode = libManager->errorCode;
        return ERR_FAILURE;
    }
    CheckIntegrity(219);
    const ERRORSTATUS built = DatasetFromBlock(name, data, size, index);
    CheckIntegrity(223);
    libManager->ReleaseLibrary(&data);
    return built;
}

void DataManager::ReleaseDataset(char* name)
{
    for (unsigned slot = 0; slot < slotCount; ++slot) {
        if (datasetStates[slot] == SLOT_IN_USE && NameMatches(slot, name)) {
            datasetStates[slot] = SLOT_IDLE;
            CheckMemoryBounds();
            return;
        }
    }
    _AssertMsg(kSource, 279);
}

void DataManager::ReleaseAllDatasets()
{
    for (unsigned slot = 0; slot < slotCount; ++slot) {
        if (datasetStates[slot] == SLOT_IN_USE)
            datasetStates[slot] = SLOT_IDLE;
    }
    CheckMemoryBounds();
}

void DataManager::CheckMemoryBounds()
{
    for (unsigned slot = 0; slot < slotCount; ++slot) {
        if (memoryInUse <= idleMemoryLimit)
            return;
        if (datasetStates[slot] == SLOT_IDLE)
            DiscardDataset(static_cast<unsigned char>(slot));
    }
}

void DataManager::MinimizeMemory()
{
    for (unsigned slot = 0; slot < slotCount; ++slot) {
        if (datasetStates[slot] == SLOT_IDLE)
            DiscardDataset(static_cast<unsigned char>(slot));
    }
}

void DataManager::SetIdleMemoryLimit(unsigned long bytes)
{
    idleMemoryLimit = static_cast<uint32_t>(bytes);
}

void DataManager::DMCleanup()
{
    ReleaseAllDatasets();
    MinimizeMemory();
}

ERRORSTATUS DataManager::QueryDatasetPos(char* name, unsigned char* index)
{
    for (unsigned slot = 0; slot < slotCount; ++slot) {
        if (datasetStates[slot] == SLOT_IN_USE && NameMatches(slot, name)) {
            *index = static_cast<unsigned char>(slot);
            return ERR_OK;
        }
    }
    errorCode = ERR_DM_NOT_LOADED;
    return ERR_FAILURE;
}

ERRORSTATUS DataManager::QueryDatasetName(unsigned char index, char* name)
{
    if (index >= slotCount || datasetStates[index] != SLOT_IN_USE) {
        errorCode = ERR_DM_NOT_IN_USE;
        return ERR_FAILURE;
    }
    std::memcpy(name, datasetNames[index], kNameBytes);
    return ERR_OK;
}

ERRORSTATUS DataManager::Save(unsigned char index)
{
    if (index >= slotCount || datasetStates[index] != SLOT_IN_USE) {
        errorCode = ERR_DM_NOT_IN_USE;
        return ERR_FAILURE;
    }
    if (libManager == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    char name[kNameBytes + 1];
    CopySlotName(name, datasetNames[index]);
    _LIBDATA record;
    if (libManager->RequestLibData(name, &record) == ERR_FAILURE) {
        errorCode = libManager->errorCode;
        return ERR_FAILURE;
    }
    return WriteSaveBlock(index, record.fileName, 2);
}

ERRORSTATUS DataManager::SaveAs(unsigned char index, char* file, unsigned long flags)
{
    if (index >= slotCount || datasetStates[index] != SLOT_IN_USE) {
        errorCode = ERR_DM_NOT_IN_USE;
        return ERR_FAILURE;
    }
    if (libManager == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    return WriteSaveBlock(index, file, flags | 1 | 2);
}

// The save block stays with the derived class after a successful write; it
// is handed back here only when the write failed.
ERRORSTATUS DataManager::WriteSaveBlock(unsigned char index, char* file, unsigned long flags)
{
    unsigned char* data = nullptr;
    unsigned long size = 0;
    if (RequestSaveBlock(index, &data, &size) == ERR_FAILURE)
        return ERR_FAILURE;
    char name[kNameBytes + 1];
    CopySlotName(name, datasetNames[index]);
    unsigned long stored = 0;
    if (libManager->AddLibrary(file, name, type, data, size, &stored, flags) == ERR_FAILURE) {
        ReleaseSaveBlock(&data);
        errorCode = libManager->errorCode;
        return ERR_FAILURE;
    }
    return ERR_OK;
}

ERRORSTATUS DataManager::RequestList(_DATASETLIST** list)
{
    *list = nullptr;
    for (unsigned slot = 0; slot < slotCount; ++slot) {
        if (datasetStates[slot] != SLOT_IN_USE)
            continue;
        void* memory = nullptr;
        if (memManager == nullptr || memManager->Allocate(&memory, sizeof(_DATASETLIST)) == ERR_FAILURE) {
            ReleaseList(list);
            errorCode = ERR_DM_NO_MEMORY;
            return ERR_FAILURE;
        }
        auto* record = static_cast<_DATASETLIST*>(memory);
        std::memcpy(record->name, datasetNames[slot], kNameBytes);
        record->index = static_cast<uint8_t>(slot);
        record->count = itemCounts[slot];
        record->next = *list;
        *list = record;
    }
    return ERR_OK;
}

void DataManager::ReleaseList(_DATASETLIST** list)
{
    if (memManager == nullptr) {
        _AssertMsg(kSource, 518);
        return;
    }
    while (*list != nullptr) {
        void* record = *list;
        *list = (*list)->next;
        memManager->Free(&record);
    }
}

ERRORSTATUS DataManager::RequestContents(char* fileSpec, _LIBDATA** list)
{
    if (libManager == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    if (libManager->RequestSpecificContents(fileSpec, type, list) == ERR_FAILURE) {
        errorCode = libManager->errorCode;
        return ERR_FAILURE;
    }
    return ERR_OK;
}

ERRORSTATUS DataManager::ReleaseContents(_LIBDATA** list)
{
    if (libManager == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    return libManager->ReleaseSpecificContents(list);
}
