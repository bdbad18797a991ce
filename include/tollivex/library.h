// library.h - Library: library files of named, typed blocks, and the registry.
//
// A library file is a 10-byte header ("QORLIB", version, block count) and
// blocks back to back, each a 35-byte _LIBBLOCKHDR and its stored data, plain
// or LZSS-compressed (a 32-bit expanded length, then the stream). The registry
// maps block names to the file and offset that hold them; a later
// registration of the same name wins. The maintenance members append, remove
// and rename blocks in place and keep the registry in step. Not thread-safe.
#ifndef TOLLIVEX_LIBRARY_H
#define TOLLIVEX_LIBRARY_H

#include "tvxcommon.h"

class MemManager;
class DiskData;

// The block type that matches every type: the bytes "2ALL" in file order.
const unsigned long LIB_ALL_TYPES = 0x4C4C4132;

// AddLibrary flags.
const unsigned long LIB_ADD_CREATE = 1;   // create a missing file
const unsigned long LIB_ADD_REPLACE = 2;  // replace a block of the same name
const unsigned long LIB_ADD_COMPRESS = 4; // store the data LZSS-compressed

#pragma pack(push, 1)

// The header in front of every block in a library file.
struct _LIBBLOCKHDR {
    char tag[6];           // "LIBBLK", no terminator
    uint32_t size;         // stored data bytes after this header
    uint32_t type;         // four-character code as its bytes stand in the file
    uint8_t compressed;    // 1: 32-bit expanded length + LZSS stream
    char name[20];         // at most 19 characters, zero-filled
};

// One registered block.
struct _LIBDATA {
    _LIBDATA* next;
    char name[20];         // always terminated
    char fileName[260];    // the library file, as listed or as given
    uint32_t offset;       // file offset of the data (header offset + 35)
    uint32_t size;         // stored size
    uint32_t type;
    uint8_t compressed;
    uint8_t inUse;
};

#pragma pack(pop)

static_assert(sizeof(_LIBBLOCKHDR) == 35, "_LIBBLOCKHDR is 35 bytes");
#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
static_assert(sizeof(_LIBDATA) == 298, "_LIBDATA is 298 bytes on 32-bit targets");
#endif

class TVX_API Library {
public:
    unsigned short errorCode;

    Library();
    Library(MemManager* mem, DiskData* disk);
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    void SetDiskData(DiskData* disk);
    void SetMemManager(MemManager* mem);

    ERRORSTATUS RegisterBlocks(char* fileSpec, unsigned long type);
    ERRORSTATUS WithdrawBlocks(char* fileSpec, unsigned long type);
    ERRORSTATUS RequestLibData(char* name, _LIBDATA* record);
    ERRORSTATUS RequestLibrary(char* name, unsigned char** data, unsigned long* size);
    void ReleaseLibrary(unsigned char** data);
    ERRORSTATUS FindBlockInFile(char* file, char* name, unsigned long* headerOffset, int* found,
                                _LIBBLOCKHDR* header);

    // Caller-held lists of the blocks in the matching files.
    ERRORSTATUS RequestContents(char* fileSpec, _LIBDATA** list);
    ERRORSTATUS RequestSpecificContents(char* fileSpec, unsigned long type, _LIBDATA** list);
    ERRORSTATUS ReleaseContents(_LIBDATA** list);
    ERRORSTATUS ReleaseSpecificContents(_LIBDATA** list);

    // Record-list primitives; they work on the registry or on any contents list.
    ERRORSTATUS FindLibData(_LIBDATA* head, _LIBDATA* key, _LIBDATA** found, _LIBDATA** previous);
    ERRORSTATUS AddLibData(_LIBDATA** head, _LIBDATA* record);
    ERRORSTATUS AddLibDataNoDup(_LIBDATA** head, _LIBDATA* record);
    ERRORSTATUS RemoveLibData(_LIBDATA** head, _LIBDATA** record, _LIBDATA* previous);
    _LIBDATA* QueryLibDataHead(_LIBDATA** head);

    // Maintenance: the file is changed in place, the registry kept in step.
    ERRORSTATUS AddLibrary(char* file, char* name, unsigned long type, unsigned char* data, unsigned long size,
                           unsigned long* storedSize, unsigned long flags);
    ERRORSTATUS RemoveLibrary(char* file, char* name);
    ERRORSTATUS RenameLibrary(char* name, char* newName);

private:
    ERRORSTATUS ScanFiles(char* fileSpec, unsigned long type, _LIBDATA** head);
    ERRORSTATUS ScanOneFile(char* fileName, unsigned long type, _LIBDATA** head);
    ERRORSTATUS Withdraw(_LIBDATA** head, char* fileSpec, unsigned long type);
    void FreeList(_LIBDATA** head);
    ERRORSTATUS ExpandBlock(unsigned char** data, unsigned long* size);
    ERRORSTATUS CompressBlock(unsigned char* data, unsigned long size, unsigned char** stored,
                              unsigned long* storedLength);
    ERRORSTATUS CreateEmptyLibrary(char* file);
    ERRORSTATUS WriteBlock(char* file, char* name, unsigned long type, unsigned char* stored,
                           unsigned long storedLength, bool compressed, unsigned long flags);
    void ForgetCutBlock(char* file, char* name, unsigned long headerOffset, unsigned long length);
    ERRORSTATUS CutBlock(char* file, unsigned long headerOffset, const _LIBBLOCKHDR& header,
                         unsigned long* cut);
    void ShiftOffsets(const char* file, unsigned long headerOffset, unsigned long length);

    _LIBDATA* registry;
    DiskData* diskData;
    MemManager* memManager;
};

#endif
