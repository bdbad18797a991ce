// diskdata.h - DiskData: the library's file layer, and the 8.3 name tests.
//
// Opens and closes standard I/O streams and keeps a list of the ones opened
// through it, reads a byte range of a file into a MemManager buffer, lists a
// directory into a chain of _FILESTATS records and cuts a byte range out of a
// file through a temporary file. Names are DOS style (8.3, backslashes); the
// platform layer maps them to the host. Not thread-safe.
#ifndef TOLLIVEX_DISKDATA_H
#define TOLLIVEX_DISKDATA_H

#include "tvxcommon.h"

#include <cstdio>

class MemManager;

#pragma pack(push, 1)

// One directory entry from DiskData::QueryStatList.
struct _FILESTATS {
    _FILESTATS* next;
    char name[260];        // directory part of the pattern + entry name
    uint32_t size;         // low 32 bits of the file size
    uint16_t date;         // never filled: always 0
    uint16_t time;         // never filled: always 0
    uint8_t attributes;    // never filled: always 0
};

// One stream opened through DiskData::OpenDiskFile.
struct _OPENFILES {
    _OPENFILES* next;
    FILE* stream;
};

#pragma pack(pop)

#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
static_assert(sizeof(_FILESTATS) == 273, "_FILESTATS is 273 bytes on 32-bit targets");
static_assert(sizeof(_OPENFILES) == 8, "_OPENFILES is 8 bytes on 32-bit targets");
#endif

class TVX_API DiskData {
public:
    unsigned short errorCode;

    DiskData();
    explicit DiskData(MemManager* mem);
    ~DiskData();
    DiskData(const DiskData&) = delete;
    DiskData& operator=(const DiskData&) = delete;

    void SetMemManager(MemManager* mem);

    // *size 0 reads up to the end of the file; *size receives the length read.
    ERRORSTATUS RequestBlock(char* file, unsigned long offset, unsigned long* size, unsigned char** data);
    void ReleaseBlock(unsigned char** data);

    ERRORSTATUS QueryStatList(char* pattern, _FILESTATS** list);
    void ReleaseStatList(_FILESTATS** list);

    ERRORSTATUS GetCurrDirectory(char* buffer, unsigned long size);

    ERRORSTATUS OpenDiskFile(const char* name, const char* mode, FILE** stream);
    ERRORSTATUS OpenFileR(char* name, FILE** stream);
    ERRORSTATUS CreateFileW(char* name, FILE** stream);
    ERRORSTATUS OpenFileRW(char* name, FILE** stream);

    ERRORSTATUS CreateOpenFileInfo(FILE* stream);
    void FreeOpenFileInfo(FILE* stream);
    _OPENFILES* QueryOpenFileFirst();

    void CloseFile(FILE** stream);
    void CloseAllFiles();

    int FileExist(char* name);

    ERRORSTATUS RemoveDataBlock(char* file, unsigned long offset, unsigned long length);
    // `buffer` must hold 8192 bytes.
    ERRORSTATUS CopyFileBlocks(FILE* source, FILE* target, unsigned char* buffer, unsigned long count);

private:
    ERRORSTATUS RewriteWithout(char* fileName, unsigned long offset, unsigned long length, unsigned char* buffer);

    MemManager* memManager;
    _OPENFILES* openFiles;
};

// 8.3 name rules. IsLegalDOSFn stores the address of the file-name part in
// *fileNamePart (when not null) for a legal name.
TVX_API int IsLegalDOSFnChar(unsigned char c);
TVX_API int IsDOSFnWildcard(unsigned char c);
TVX_API int IsLegalDOSFn(char* name, char** fileNamePart);
// Matches the file-name parts of two legal names, case-sensitively.
TVX_API int TestFilename(char* name, char* pattern);

#endif
