// library.cpp - Library: the block registry, file scans and block reads.
//
// The registry is a list of _LIBDATA records, newest first, keyed by block
// name (one record per name: a later registration replaces an earlier one).
// Scans read the file and block headers through DiskData, one small read per
// header; nothing of a file is cached, so a file changed on disk must be
// registered again. Compressed blocks are expanded with LZSS on request.
// The maintenance members live in library_maint.cpp.
#include "tollivex/library.h"

#include "tollivex/diskdata.h"
#include "tollivex/lzss.h"
#include "tollivex/memman.h"
#include "library_format.h"

#include <cstring>

using namespace libformat;

namespace {
const char* const kSource = "library";

// Each token of an LZSS stream costs at least one bit and yields at most 18
// bytes, and the stream only ends on a token that starts inside it, so no
// honest stream of n bytes expands to more than n * 8 * 18.
const unsigned long long kMaxExpansionPerByte = 8 * 18;

uint32_t ReadU32(const unsigned char* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

bool TypeMatches(uint32_t blockType, unsigned long wanted)
{
    return wanted == LIB_ALL_TYPES || blockType == static_cast<uint32_t>(wanted);
}
} // namespace

Library::Library() : errorCode(0), registry(nullptr), diskData(nullptr), memManager(nullptr) {}

Library::Library(MemManager* mem, DiskData* disk)
    : errorCode(0), registry(nullptr), diskData(disk), memManager(mem)
{
    if (mem == nullptr)
        _AssertMsg(kSource, 261);
    if (disk == nullptr)
        _AssertMsg(kSource, 247);
}

Library::~Library()
{
    if (registry != nullptr) {
        char everything[] = "*.*";
        // Records of files that "*.*" does not match (names without a dot)
        // stay behind, and the memory manager reports them at its end.
        WithdrawBlocks(everything, LIB_ALL_TYPES);
    }
    diskData = nullptr;
    memManager = nullptr;
}

void Library::SetDiskData(DiskData* disk)
{
    diskData = disk;
}

void Library::SetMemManager(MemManager* mem)
{
    memManager = mem;
}

// Registry primitives -----------------------------------------------------

ERRORSTATUS Library::FindLibData(_LIBDATA* head, _LIBDATA* key, _LIBDATA** found, _LIBDATA** previous)
{
    if (found == nullptr || previous == nullptr || key == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    *found = nullptr;
    *previous = nullptr;
    _LIBDATA* before = nullptr;
    for (_LIBDATA* record = head; record != nullptr; before = record, record = record->next) {
        if (std::strncmp(record->name, key->name, sizeof(record->name)) == 0) {
            *found = record;
            *previous = before;
            return ERR_OK;
        }
    }
    return ERR_FAILURE;
}

ERRORSTATUS Library::AddLibData(_LIBDATA** head, _LIBDATA* record)
{
    if (head == nullptr || record == nullptr)
        _AssertMsg(kSource, __LINE__);
    void* block = nullptr;
    if (head == nullptr || record == nullptr || memManager == nullptr ||
        memManager->Allocate(&block, sizeof(_LIBDATA)) == ERR_FAILURE) {
        errorCode = ERR_LIB_NO_MEMORY;
        return ERR_FAILURE;
    }
    auto* copy = static_cast<_LIBDATA*>(block);
    std::memcpy(copy, record, sizeof(_LIBDATA));
    copy->name[sizeof(copy->name) - 1] = '\0';
    copy->fileName[sizeof(copy->fileName) - 1] = '\0';
    copy->inUse = 0;
    copy->next = *head;
    *head = copy;
    return ERR_OK;
}

ERRORSTATUS Library::AddLibDataNoDup(_LIBDATA** head, _LIBDATA* record)
{
    if (head == nullptr || record == nullptr) {
        _AssertMsg(kSource, __LINE__);
        errorCode = ERR_LIB_NO_MEMORY;
        return ERR_FAILURE;
    }
    _LIBDATA* found = nullptr;
    _LIBDATA* previous = nullptr;
    if (FindLibData(*head, record, &found, &previous) == ERR_OK)
        RemoveLibData(head, &found, previous);
    return AddLibData(head, record);
}

ERRORSTATUS Library::RemoveLibData(_LIBDATA** head, _LIBDATA** record, _LIBDATA* previous)
{
    if (head == nullptr || record == nullptr || *record == nullptr || memManager == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    if (previous == nullptr)
        *head = (*record)->next;
    else
        previous->next = (*record)->next;
    void* block = *record;
    memManager->Free(&block);
    *record = nullptr;
    return ERR_OK;
}

_LIBDATA* Library::QueryLibDataHead(_LIBDATA** head)
{
    return head == nullptr ? nullptr : *head;
}

void Library::FreeList(_LIBDATA** head)
{
    while (*head != nullptr) {
        _LIBDATA* first = *head;
        if (RemoveLibData(head, &first, nullptr) == ERR_FAILURE)
            return; // no MemManager: nothing can be freed
    }
}

// Scanning files ----------------------------------------------------------

ERRORSTATUS Library::RegisterBlocks(char* fileSpec, unsigned long type)
{
    return ScanFiles(fileSpec, type, &registry);
}

ERRORSTATUS Library::RequestContents(char* fileSpec, _LIBDATA** list)
{
    return RequestSpecificContents(fileSpec, LIB_ALL_TYPES, list);
}

ERRORSTATUS Library::RequestSpecificContents(char* fileSpec, unsigned long type, _LIBDATA** list)
{
    if (list == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    _LIBDATA* head = nullptr;
    const ERRORSTATUS result = ScanFiles(fileSpec, type, &head);
    // A failed scan hands back no partial list: the caller would not know
    // to release it.
    if (result == ERR_FAILURE)
        FreeList(&head);
    *list = head;
    return result;
}

ERRORSTATUS Library::ReleaseContents(_LIBDATA** list)
{
    return ReleaseSpecificContents(list);
}

ERRORSTATUS Library::ReleaseSpecificContents(_LIBDATA** list)
{
    if (list == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return ERR_FAILURE;
    }
    char everything[] = "*.*";
    return Withdraw(list, everything, LIB_ALL_TYPES);
}

ERRORSTATUS Library::ScanFiles(char* fileSpec, unsigned long type, _LIBDATA** head)
{
    if (IsLegalDOSFn(fileSpec, nullptr) == 0) {
        errorCode = ERR_LIB_BAD_NAME;
        return ERR_FAILURE;
    }
    if (diskData == nullptr) {
        _AssertMsg(kSource, __LINE__);
        errorCode = ERR_LIB_DISK;
        return ERR_FAILURE;
    }
    _FILESTATS* listing = nullptr;
    if (diskData->QueryStatList(fileSpec, &listing) == ERR_FAILURE) {
        errorCode = ERR_LIB_DISK;
        return ERR_FAILURE;
    }
    if (listing == nullptr) {
        errorCode = ERR_LIB_NO_MATCH;
        return ERR_FAILURE;
    }
    ERRORSTATUS result = ERR_OK;
    for (_FILESTATS* file = listing; file != nullptr && result == ERR_OK; file = file->next)
        result = ScanOneFile(file->name, type, head);
    diskData->ReleaseStatList(&listing);
    return result;
}

ERRORSTATUS Library::ScanOneFile(char* fileName, unsigned long type, _LIBDATA** head)
{
    unsigned long size = kFileHeaderSize;
    unsigned char* bytes = nullptr;
    if (diskData->RequestBlock(fileName, 0, &size, &bytes) == ERR_FAILURE) {
        _AssertMsg(kSource, 318);
        errorCode = ERR_LIB_DISK;
        return ERR_FAILURE;
    }
    FileHeader fileHeader;
    std::memcpy(&fileHeader, bytes, sizeof(fileHeader));
    diskData->ReleaseBlock(&bytes);
    if (!IsLibraryHeader(fileHeader)) {
        errorCode = ERR_LIB_NOT_LIBRARY;
        return ERR_FAILURE;
    }

    unsigned long long offset = kFileHeaderSize;
    for (unsigned block = 0; block < fileHeader.count; ++block) {
        // Offsets are 32-bit in the registry: a chain of sizes that runs past
        // that cannot lead to a real header.
        size = kBlockHeaderSize;
        if (offset + kBlockHeaderSize > 0xFFFFFFFFull ||
            diskData->RequestBlock(fileName, static_cast<unsigned long>(offset), &size, &bytes) == ERR_FAILURE) {
            _AssertMsg(kSource, 346);
            errorCode = ERR_LIB_DISK;
            return ERR_FAILURE;
        }
        _LIBBLOCKHDR header;
        std::memcpy(&header, bytes, sizeof(header));
        diskData->ReleaseBlock(&bytes);
        if (!HasBlockTag(header)) {
            errorCode = ERR_LIB_BAD_BLOCK_TAG;
            return ERR_FAILURE;
        }
        _LIBDATA record;
        std::memset(&record, 0, sizeof(record));
        TakeName(record.name, header.name);
        std::strncpy(record.fileName, fileName, sizeof(record.fileName) - 1);
        record.offset = static_cast<uint32_t>(offset + kBlockHeaderSize);
        record.size = header.size;
        record.type = header.type;
        record.compressed = header.compressed;
        offset += kBlockHeaderSize + static_cast<unsigned long long>(header.size);
        if (TypeMatches(header.type, type) && AddLibDataNoDup(head, &record) == ERR_FAILURE)
            return ERR_FAILURE;
    }
    return ERR_OK;
}

ERRORSTATUS Library::WithdrawBlocks(char* fileSpec, unsigned long type)
{
    if (IsLegalDOSFn(fileSpec, nullptr) == 0) {
        errorCode = ERR_LIB_BAD_NAME;
        return ERR_FAILURE;
    }
    return Withdraw(&registry, fileSpec, type);
}

// Returns 1, leaving errorCode alone, when no record matched.
ERRORSTATUS Library::Withdraw(_LIBDATA** head, char* fileSpec, unsigned long type)
{
    bool removed = false;
    _LIBDATA* previous = nullptr;
    _LIBDATA* record = *head;
    while (record != nullptr) {
        _LIBDATA* next = record->next;
        if (TypeMatches(record->type, type) && TestFilename(record->fileName, fileSpec) == 1) {
            if (RemoveLibData(head, &record, previous) == ERR_FAILURE)
                return ERR_FAILURE;
            removed = true;
        } else {
            previous = record;
        }
        record = next;
    }
    return removed ? ERR_OK : ERR_FAILURE;
}

// Reading blocks ----------------------------------------------------------

ERRORSTATUS Library::RequestLibData(char* name, _LIBDATA* record)
{
    if (name == nullptr || record == nullptr) {
        _AssertMsg(kSource, __LINE__);
        errorCode = ERR_LIB_NO_BLOCK;
        return ERR_FAILURE;
    }
    for (_LIBDATA* entry = registry; entry != nullptr; entry = entry->next) {
        if (std::strcmp(entry->name, name) == 0) {
            std::memcpy(record, entry, sizeof(_LIBDATA));
            record->next = nullptr;
            return ERR_OK;
        }
    }
    errorCode = ERR_LIB_NO_BLOCK;
    return ERR_FAILURE;
}

ERRORSTATUS Library::RequestLibrary(char* name, unsigned char** data, unsigned long* size)
{
    if (name == nullptr || data == nullptr || size == nullptr || diskData == nullptr) {
        _AssertMsg(kSource, __LINE__);
        errorCode = ERR_LIB_NO_BLOCK;
        return ERR_FAILURE;
    }
    const _LIBDATA* record = registry;
    while (record != nullptr && std::strcmp(record->name, name) != 0)
        record = record->next;
    if (record == nullptr) {
        errorCode = ERR_LIB_NO_BLOCK;
        return ERR_FAILURE;
    }

    char fileName[sizeof(record->fileName)];
    std::memcpy(fileName, record->fileName, sizeof(fileName));
    unsigned long length = record->size;
    unsigned char* raw = nullptr;
    if (diskData->RequestBlock(fileName, record->offset, &length, &raw) == ERR_FAILURE) {
        errorCode = ERR_LIB_DISK;
        return ERR_FAILURE;
    }
    if (record->compressed == 1 && ExpandBlock(&raw, &length) == ERR_FAILURE)
        return ERR_FAILURE;
    *data = raw;
    *size = length;
    return ERR_OK;
}

// Replaces *data (a stored compressed block of *size bytes) with its
// expansion; on failure *data is released.
ERRORSTATUS Library::ExpandBlock(unsigned char** data, unsigned long* size)
{
    LZSS codec(memManager);
    if (codec.errorCode != 0) {
        diskData->ReleaseBlock(data);
        errorCode = codec.errorCode;
        return ERR_FAILURE;
    }
    // The length field must be there, and must be one the stream could
    // reach; anything else is a corrupt block, found before allocating.
    const uint32_t expanded = *size >= 4 ? ReadU32(*data) : 0;
    if (*size < 4 || expanded > static_cast<unsigned long long>(*size) * kMaxExpansionPerByte) {
        diskData->ReleaseBlock(data);
        errorCode = ERR_LIB_EXPAND;
        return ERR_FAILURE;
    }
    void* output = nullptr;
    if (memManager->Allocate(&output, expanded) == ERR_FAILURE) {
        diskData->ReleaseBlock(data);
        errorCode = ERR_NO_MEMORY;
        return ERR_FAILURE;
    }
    // The input runs `size` bytes from behind the length field, four of them
    // in the block's upper guard: an end token that needs bits past the last
    // stored byte takes them there.
    codec.SetInBuffer(*data + 4, *size);
    codec.SetOutBuffer(static_cast<unsigned char*>(output), expanded);
    unsigned long produced = 0;
    if (codec.Expand(&produced) == ERR_FAILURE || produced != expanded) {
        memManager->Free(&output);
        diskData->ReleaseBlock(data);
        errorCode = ERR_LIB_EXPAND;
        return ERR_FAILURE;
    }
    diskData->ReleaseBlock(data);
    *data = static_cast<unsigned char*>(output);
    *size = expanded;
    return ERR_OK;
}

void Library::ReleaseLibrary(unsigned char** data)
{
    if (data == nullptr) {
        _AssertMsg(kSource, 1160);
        return;
    }
    if (diskData == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    diskData->ReleaseBlock(data);
}

// Searching one file ------------------------------------------------------

ERRORSTATUS Library::FindBlockInFile(char* file, char* name, unsigned long* headerOffset, int* found,
                                     _LIBBLOCKHDR* header)
{
    if (name == nullptr || found == nullptr || diskData == nullptr) {
        _AssertMsg(kSource, __LINE__);
        errorCode = ERR_LIB_NO_BLOCK;
        return ERR_FAILURE;
    }
    if (IsLegalDOSFn(file, nullptr) == 0) {
        errorCode = ERR_LIB_BAD_NAME;
        return ERR_FAILURE;
    }
    if (diskData->FileExist(file) == 0) {
        errorCode = ERR_LIB_NO_FILE;
        return ERR_FAILURE;
    }
    FILE* stream = nullptr;
    FileHeader fileHeader;
    if (const unsigned short code = OpenWithHeader(diskData, file, &stream, &fileHeader)) {
        errorCode = code;
        return ERR_FAILURE;
    }
    if (!IsLibraryHeader(fileHeader)) {
        diskData->CloseFile(&stream);
        errorCode = ERR_LIB_NOT_LIBRARY;
        return ERR_FAILURE;
    }

    unsigned long long offset = kFileHeaderSize;
    _LIBBLOCKHDR block;
    bool hit = false;
    for (unsigned index = 0; index < fileHeader.count && !hit; ++index) {
        if (offset > 0x7FFFFFFFull || std::fseek(stream, static_cast<long>(offset), SEEK_SET) != 0 ||
            std::fread(&block, 1, sizeof(block), stream) != sizeof(block)) {
            diskData->CloseFile(&stream);
            errorCode = ERR_LIB_SHORT_READ;
            return ERR_FAILURE;
        }
        if (!HasBlockTag(block)) {
            // The file stays open and listed: the owner's CloseAllFiles or
            // the DiskData's own report finds it.
            errorCode = ERR_LIB_BAD_BLOCK_TAG;
            return ERR_FAILURE;
        }
        char blockName[20];
        TakeName(blockName, block.name);
        if (std::strcmp(blockName, name) == 0)
            hit = true;
        else
            offset += kBlockHeaderSize + static_cast<unsigned long long>(block.size);
    }
    diskData->CloseFile(&stream);

    *found = hit ? 1 : 0;
    if (hit) {
        if (headerOffset != nullptr)
            *headerOffset = static_cast<unsigned long>(offset);
        if (header != nullptr)
            std::memcpy(header, &block, sizeof(block));
    }
    return ERR_OK;
}
