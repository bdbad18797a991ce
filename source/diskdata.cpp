// diskdata.cpp - DiskData: streams, block reads, directory lists, cutting a
// byte range out of a file.
//
// Files are plain stdio streams opened through the platform layer (which
// maps DOS paths to the host). Streams opened through OpenDiskFile are listed
// so that CloseAllFiles can find them; RequestBlock and FileExist open and
// close their own without listing them. Offsets are limited to what `long`
// seeks reach (2 GB on 32-bit systems).
#include "tollivex/diskdata.h"

#include "tollivex/memman.h"
#include "platform/platform.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace {
const char* const kSource = "diskdata";
const unsigned long kCopyBufferSize = 8192;

// Length of an open stream, or -1; the position is left at the end.
long StreamLength(FILE* stream)
{
    if (std::fseek(stream, 0, SEEK_END) != 0)
        return -1;
    return std::ftell(stream);
}

bool SeekTo(FILE* stream, unsigned long offset)
{
    if (offset > static_cast<unsigned long>(LONG_MAX))
        return false;
    return std::fseek(stream, static_cast<long>(offset), SEEK_SET) == 0;
}

// Copies at most size - 1 characters and always terminates.
void CopyName(char* target, size_t size, const char* source)
{
    const size_t length = std::min(std::strlen(source), size - 1);
    std::memcpy(target, source, length);
    target[length] = '\0';
}

// Everything up to and including the last separator (a drive letter's colon
// counts), and the name that follows it.
size_t DirectoryPartLength(const char* path)
{
    size_t length = 0;
    for (size_t i = 0; path[i] != '\0'; ++i) {
        if (path[i] == '\\' || path[i] == '/' || path[i] == ':')
            length = i + 1;
    }
    return length;
}

// A name for a scratch file in the current directory that no file uses yet.
bool TemporaryName(DiskData& disk, char* name, size_t size)
{
    static unsigned counter = 0;
    for (int attempt = 0; attempt < 100000; ++attempt) {
        counter = (counter + 1) % 100000;
        std::snprintf(name, size, "TVX%05u.TMP", counter);
        if (disk.FileExist(name) == 0)
            return true;
    }
    return false;
}
} // namespace

DiskData::DiskData() : errorCode(0), memManager(nullptr), openFiles(nullptr) {}

DiskData::DiskData(MemManager* mem) : errorCode(0), memManager(mem), openFiles(nullptr)
{
    if (mem == nullptr)
        _AssertMsg(kSource, 386);
}

DiskData::~DiskData()
{
    // Files left open are the owner's mistake: reported, not closed.
    if (openFiles != nullptr)
        _AssertMsg(kSource, 88);
}

void DiskData::SetMemManager(MemManager* mem)
{
    memManager = mem;
}

ERRORSTATUS DiskData::RequestBlock(char* file, unsigned long offset, unsigned long* size, unsigned char** data)
{
    if (file == nullptr)
        _AssertMsg(kSource, 110);
    if (memManager == nullptr)
        _AssertMsg(kSource, 112);
    if (size == nullptr || data == nullptr)
        _AssertMsg(kSource, __LINE__);
    if (file == nullptr || size == nullptr || data == nullptr) {
        errorCode = ERR_DISK_OPEN;
        return ERR_FAILURE;
    }

    FILE* stream = PlatformOpenFile(file, "rb");
    if (stream == nullptr) {
        _AssertMsg(kSource, 118);
        errorCode = ERR_DISK_OPEN;
        return ERR_FAILURE;
    }
    const long length = StreamLength(stream);
    if (*size == 0) {
        if (length < 0 || offset >= static_cast<unsigned long>(length)) {
            std::fclose(stream);
            _AssertMsg(kSource, 131);
            errorCode = ERR_DISK_PAST_END;
            return ERR_FAILURE;
        }
        *size = static_cast<unsigned long>(length) - offset;
    }
    if (!SeekTo(stream, offset)) {
        std::fclose(stream);
        _AssertMsg(kSource, 141);
        errorCode = ERR_DISK_SEEK;
        return ERR_FAILURE;
    }
    // A range that runs past the end could only give a short read: say so
    // before allocating, so a lying size never costs a huge buffer.
    const bool beyondEnd = length < 0 || offset > static_cast<unsigned long>(length) ||
                           *size > static_cast<unsigned long>(length) - offset;
    void* buffer = nullptr;
    if (!beyondEnd && (memManager == nullptr || memManager->Allocate(&buffer, *size) == ERR_FAILURE)) {
        std::fclose(stream);
        _AssertMsg(kSource, 149);
        errorCode = ERR_DISK_NO_MEMORY;
        return ERR_FAILURE;
    }
    if (beyondEnd || std::fread(buffer, 1, *size, stream) != *size) {
        std::fclose(stream);
        _AssertMsg(kSource, 157);
        if (buffer != nullptr)
            memManager->Free(&buffer);
        errorCode = ERR_DISK_READ;
        return ERR_FAILURE;
    }
    std::fclose(stream);
    *data = static_cast<unsigned char*>(buffer);
    return ERR_OK;
}

void DiskData::ReleaseBlock(unsigned char** data)
{
    if (memManager == nullptr) {
        _AssertMsg(kSource, 178);
        return;
    }
    if (data == nullptr) {
        _AssertMsg(kSource, __LINE__);
        return;
    }
    void* block = *data;
    memManager->Free(&block);
    *data = static_cast<unsigned char*>(block);
}

ERRORSTATUS DiskData::QueryStatList(char* pattern, _FILESTATS** list)
{
    if (pattern == nullptr || list == nullptr || memManager == nullptr) {
        _AssertMsg(kSource, __LINE__);
        errorCode = ERR_DISK_NO_MEMORY;
        return ERR_FAILURE;
    }
    *list = nullptr;
    WIN32_FIND_DATAA found;
    HANDLE search = FindFirstFileA(pattern, &found);
    if (search == INVALID_HANDLE_VALUE)
        return ERR_OK; // nothing matches: an empty list

    // Only the backslash counts here: the names go back to game code, which
    // writes DOS paths.
    size_t directoryLength = 0;
    for (size_t i = 0; pattern[i] != '\0'; ++i) {
        if (pattern[i] == '\\')
            directoryLength = i + 1;
    }

    _FILESTATS* head = nullptr;
    do {
        void* block = nullptr;
        if (memManager->Allocate(&block, sizeof(_FILESTATS)) == ERR_FAILURE) {
            ReleaseStatList(&head);
            FindClose(search);
            errorCode = ERR_DISK_NO_MEMORY;
            return ERR_FAILURE;
        }
        auto* record = static_cast<_FILESTATS*>(block);
        std::memset(record, 0, sizeof(*record));
        const size_t prefix = std::min(directoryLength, sizeof(record->name) - 1);
        std::memcpy(record->name, pattern, prefix);
        CopyName(record->name + prefix, sizeof(record->name) - prefix, found.cFileName);
        record->size = found.nFileSizeLow;
        record->next = head;
        head = record;
    } while (FindNextFileA(search, &found));

    FindClose(search);
    *list = head;
    return ERR_OK;
}

void DiskData::ReleaseStatList(_FILESTATS** list)
{
    if (memManager == nullptr) {
        _AssertMsg(kSource, 351);
        return;
    }
    if (list == nullptr)
        return;
    while (*list != nullptr) {
        void* record = *list;
        *list = (*list)->next;
        memManager->Free(&record);
    }
}

ERRORSTATUS DiskData::GetCurrDirectory(char* buffer, unsigned long size)
{
    if (buffer == nullptr || size == 0)
        return ERR_FAILURE;
    const DWORD capacity = size > 0xFFFFFFFFul ? 0xFFFFFFFFu : static_cast<DWORD>(size);
    const DWORD length = GetCurrentDirectoryA(capacity, buffer);
    if (length == 0 || length >= capacity)
        return ERR_FAILURE;
    return ERR_OK;
}

ERRORSTATUS DiskData::OpenDiskFile(const char* name, const char* mode, FILE** stream)
{
    if (name == nullptr || mode == nullptr || stream == nullptr) {
        _AssertMsg(kSource, 402);
        errorCode = ERR_DISK_OPEN;
        return ERR_FAILURE;
    }
    FILE* opened = PlatformOpenFile(name, mode);
    if (opened == nullptr) {
        errorCode = ERR_DISK_OPEN;
        return ERR_FAILURE;
    }
    if (CreateOpenFileInfo(opened) == ERR_FAILURE) {
        std::fclose(opened);
        return ERR_FAILURE;
    }
    *stream = opened;
    return ERR_OK;
}

ERRORSTATUS DiskData::OpenFileR(char* name, FILE** stream)
{
    return OpenDiskFile(name, "rb", stream);
}

ERRORSTATUS DiskData::CreateFileW(char* name, FILE** stream)
{
    return OpenDiskFile(name, "wb", stream);
}

ERRORSTATUS DiskData::OpenFileRW(char* name, FILE** stream)
{
    return OpenDiskFile(name, "rb+", stream);
}

ERRORSTATUS DiskData::CreateOpenFileInfo(FILE* stream)
{
    void* block = nullptr;
    if (memManager == nullptr || memManager->Allocate(&block, sizeof(_OPENFILES)) == ERR_FAILURE) {
        errorCode = ERR_DISK_NO_MEMORY;
        return ERR_FAILURE;
    }
    auto* record = static_cast<_OPENFILES*>(block);
    record->stream = stream;
    record->next = openFiles;
    openFiles = record;
    return ERR_OK;
}

void DiskData::FreeOpenFileInfo(FILE* stream)
{
    for (_OPENFILES** link = &openFiles; *link != nullptr; link = &(*link)->next) {
        if ((*link)->stream == stream) {
            void* record = *link;
            *link = (*link)->next;
            if (memManager != nullptr)
                memManager->Free(&record);
            return;
        }
    }
    _AssertMsg(kSource, 486);
}

_OPENFILES* DiskData::QueryOpenFileFirst()
{
    return openFiles;
}

void DiskData::CloseFile(FILE** stream)
{
    if (stream == nullptr || *stream == nullptr) {
        _AssertMsg(kSource, 546);
        return;
    }
    FreeOpenFileInfo(*stream);
    std::fclose(*stream);
    *stream = nullptr;
}

void DiskData::CloseAllFiles()
{
    while (openFiles != nullptr) {
        FILE* stream = openFiles->stream;
        CloseFile(&stream);
    }
}

int DiskData::FileExist(char* name)
{
    if (name == nullptr)
        return 0;
    FILE* stream = PlatformOpenFile(name, "rb");
    if (stream == nullptr)
        return 0;
    std::fclose(stream);
    return 1;
}

ERRORSTATUS DiskData::CopyFileBlocks(FILE* source, FILE* target, unsigned char* buffer, unsigned long count)
{
    if (source == nullptr || target == nullptr || buffer == nullptr) {
        _AssertMsg(kSource, __LINE__);
        errorCode = ERR_DISK_READ;
        return ERR_FAILURE;
    }
    while (count > 0) {
        const size_t chunk = count < kCopyBufferSize ? count : kCopyBufferSize;
        if (std::fread(buffer, 1, chunk, source) != chunk) {
            errorCode = ERR_DISK_READ;
            return ERR_FAILURE;
        }
        if (std::fwrite(buffer, 1, chunk, target) != chunk) {
            errorCode = ERR_DISK_WRITE;
            return ERR_FAILURE;
        }
        count -= chunk;
    }
    return ERR_OK;
}

ERRORSTATUS DiskData::RemoveDataBlock(char* file, unsigned long offset, unsigned long length)
{
    if (file == nullptr || length == 0)
        _AssertMsg(kSource, 619);
    if (file == nullptr) {
        errorCode = ERR_DISK_OPEN;
        return ERR_FAILURE;
    }
    void* buffer = nullptr;
    if (memManager == nullptr || memManager->Allocate(&buffer, kCopyBufferSize) == ERR_FAILURE) {
        errorCode = ERR_DISK_NO_MEMORY;
        return ERR_FAILURE;
    }

    const size_t directoryLength = DirectoryPartLength(file);
    char directory[MAX_PATH] = {};
    char fileName[MAX_PATH] = {};
    std::memcpy(directory, file, std::min(directoryLength, sizeof(directory) - 1));
    CopyName(fileName, sizeof(fileName), file + directoryLength);

    char saved[MAX_PATH] = {};
    if (GetCurrDirectory(saved, sizeof(saved)) == ERR_FAILURE)
        saved[0] = '\0';
    if (directory[0] != '\0' && SetCurrentDirectoryA(directory) == FALSE) {
        _AssertMsg(kSource, 652);
        memManager->Free(&buffer);
        errorCode = ERR_DISK_CHDIR;
        return ERR_FAILURE;
    }

    const ERRORSTATUS result = RewriteWithout(fileName, offset, length, static_cast<unsigned char*>(buffer));
    memManager->Free(&buffer);
    // A failed copy leaves the process in the file's directory: the caller
    // learns of the failure and knows where it started from.
    if (result == ERR_FAILURE)
        return ERR_FAILURE;

    if (saved[0] != '\0') {
        // One trailing backslash goes, a drive root's too: "C:" then names
        // that drive's current directory.
        const size_t savedLength = std::strlen(saved);
        if (saved[savedLength - 1] == '\\')
            saved[savedLength - 1] = '\0';
        if (SetCurrentDirectoryA(saved) == FALSE) {
            errorCode = ERR_DISK_CHDIR;
            return ERR_FAILURE;
        }
    }
    return ERR_OK;
}

// Copies `fileName` (in the current directory) to a scratch file without the
// `length` bytes at `offset`, then puts the copy in its place. On failure
// both files are closed and left as they are.
ERRORSTATUS DiskData::RewriteWithout(char* fileName, unsigned long offset, unsigned long length,
                                     unsigned char* buffer)
{
    char scratch[16];
    if (!TemporaryName(*this, scratch, sizeof(scratch))) {
        errorCode = ERR_DISK_OPEN;
        return ERR_FAILURE;
    }
    FILE* target = nullptr;
    if (CreateFileW(scratch, &target) == ERR_FAILURE)
        return ERR_FAILURE;
    FILE* source = nullptr;
    if (OpenFileR(fileName, &source) == ERR_FAILURE) {
        CloseFile(&target);
        return ERR_FAILURE;
    }

    ERRORSTATUS result = ERR_OK;
    const long fileLength = StreamLength(source);
    if (fileLength < 0 || std::fseek(source, 0, SEEK_SET) != 0) {
        errorCode = ERR_DISK_SEEK;
        result = ERR_FAILURE;
    }
    // The tail length wraps when the range runs past the end; the copy then
    // stops at the end of the file with a short read.
    const unsigned long tail = static_cast<unsigned long>(fileLength) - offset - length;
    if (result == ERR_OK)
        result = CopyFileBlocks(source, target, buffer, offset);
    if (result == ERR_OK && (length > static_cast<unsigned long>(LONG_MAX) ||
                             std::fseek(source, static_cast<long>(length), SEEK_CUR) != 0)) {
        errorCode = ERR_DISK_SEEK;
        result = ERR_FAILURE;
    }
    if (result == ERR_OK)
        result = CopyFileBlocks(source, target, buffer, tail);
    if (result == ERR_OK && std::fflush(target) != 0) {
        errorCode = ERR_DISK_WRITE;
        result = ERR_FAILURE;
    }
    CloseFile(&source);
    CloseFile(&target);
    if (result == ERR_FAILURE)
        return ERR_FAILURE;
    // As designed, neither result is examined: a failure here shows as the
    // scratch file left beside the original.
    DeleteFileA(fileName);
    MoveFileA(scratch, fileName);
    return ERR_OK;
}

// Name rules --------------------------------------------------------------

int IsLegalDOSFnChar(unsigned char c)
{
    static const char illegal[] = "\\:./[]|<>+=;,\" ";
    if (c < 33)
        return 0;
    return std::strchr(illegal, c) == nullptr ? 1 : 0;
}

int IsDOSFnWildcard(unsigned char c)
{
    return c == '*' || c == '?' ? 1 : 0;
}

int IsLegalDOSFn(char* name, char** fileNamePart)
{
    if (name == nullptr || std::strchr(name, ' ') != nullptr)
        return 0;
    if (name[0] == '.')
        return 0;

    char* component = name;
    int componentLength = 0;
    bool wildcard = false;
    const char* p = name;
    for (; *p != '\0' && *p != '.'; ++p) {
        const auto c = static_cast<unsigned char>(*p);
        if (c == ':' || c == '\\') {
            if (wildcard)
                return 0; // wildcards belong to the last component only
            component = name + (p - name) + 1; // past the separator
            componentLength = 0;
            continue;
        }
        if (++componentLength > 8 || IsLegalDOSFnChar(c) == 0)
            return 0;
        if (IsDOSFnWildcard(c) != 0)
            wildcard = true;
    }
    if (*p == '\0' && component == p)
        return 0; // ends in a colon or backslash: no file part
    if (*p == '.') {
        int extensionLength = 0;
        for (++p; *p != '\0'; ++p) {
            if (++extensionLength > 3 || IsLegalDOSFnChar(static_cast<unsigned char>(*p)) == 0)
                return 0;
        }
    }
    if (fileNamePart != nullptr)
        *fileNamePart = component;
    return 1;
}

int TestFilename(char* name, char* pattern)
{
    char* n = nullptr;
    char* p = nullptr;
    if (IsLegalDOSFn(name, &n) == 0 || IsLegalDOSFn(pattern, &p) == 0) {
        _AssertMsg(kSource, 911);
        return 0;
    }
    while (*p != '\0') {
        if (*p == '?') {
            if (*n != '\0')
                ++n;
            ++p;
            continue;
        }
        if (*p == '*') {
            ++p;
            if (*p == '\0')
                return 1;
            // The literal run up to the next wildcard is searched for once:
            // its first occurrence is taken, with no retry at a later one.
            char run[14];
            size_t runLength = 0;
            while (p[runLength] != '\0' && IsDOSFnWildcard(static_cast<unsigned char>(p[runLength])) == 0 &&
                   runLength < sizeof(run) - 1) {
                run[runLength] = p[runLength];
                ++runLength;
            }
            run[runLength] = '\0';
            char* at = std::strstr(n, run);
            if (at == nullptr)
                return 0;
            n = at + runLength;
            p += runLength;
            continue;
        }
        if (*p != *n)
            return 0;
        ++p;
        ++n;
    }
    return *n == '\0' ? 1 : 0;
}
