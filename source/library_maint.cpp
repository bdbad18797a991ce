// library_maint.cpp - Library: appending, removing and renaming blocks.
//
// Every change is made in the file itself: a block is always appended (a
// replaced block moves to the end), a removed block is cut out through
// DiskData::RemoveDataBlock, a rename rewrites one header. Registered
// records of the changed file have their offsets shifted, so they stay
// readable without registering the file again. There is no rollback: a
// failure after the old block was cut out leaves the file without it.
#include "tollivex/library.h"

#include "tollivex/diskdata.h"
#include "tollivex/lzss.h"
#include "tollivex/memman.h"
#include "library_format.h"

#include <cstring>

using namespace libformat;

namespace {
const char* const kSource = "library";

// Room for the worst an LZSS stream can do: nine bits a byte, an end token
// and padding, with the customary margin on top. Larger than the bare
// margin, so that a big incompressible block never fails for want of room.
unsigned long CompressionCapacity(unsigned long size)
{
    return size + size / 8 + 10000;
}

void PutU32(unsigned char* p, uint32_t value)
{
    p[0] = static_cast<unsigned char>(value);
    p[1] = static_cast<unsigned char>(value >> 8);
    p[2] = static_cast<unsigned char>(value >> 16);
    p[3] = static_cast<unsigned char>(value >> 24);
}
} // namespace

void Library::ShiftOffsets(const char* file, unsigned long headerOffset, unsigned long length)
{
    for (_LIBDATA* record = registry; record != nullptr; record = record->next) {
        if (std::strcmp(record->fileName, file) == 0 && record->offset > headerOffset)
            record->offset -= static_cast<uint32_t>(length);
    }
}

// Drops the registry record of `name`, wherever it came from, and closes the
// gap a cut of `length` bytes at `headerOffset` left in `file`.
void Library::ForgetCutBlock(char* file, char* name, unsigned long headerOffset, unsigned long length)
{
    _LIBDATA key;
    std::memset(&key, 0, sizeof(key));
    TakeName(key.name, name);
    _LIBDATA* found = nullptr;
    _LIBDATA* previous = nullptr;
    if (FindLibData(registry, &key, &found, &previous) == ERR_FAILURE)
        return;
    RemoveLibData(&registry, &found, previous);
    ShiftOffsets(file, headerOffset, length);
}

// The stored form of `data`: the 32-bit length and the LZSS stream, in a
// buffer the caller frees.
ERRORSTATUS Library::CompressBlock(unsigned char* data, unsigned long size, unsigned char** stored,
                                   unsigned long* storedLength)
{
    LZSS codec(memManager);
    if (codec.errorCode != 0) {
        errorCode = codec.errorCode;
        return ERR_FAILURE;
    }
    const unsigned long capacity = CompressionCapacity(size);
    void* buffer = nullptr;
    if (capacity < size || memManager->Allocate(&buffer, capacity) == ERR_FAILURE) {
        errorCode = ERR_NO_MEMORY;
        return ERR_FAILURE;
    }
    auto* bytes = static_cast<unsigned char*>(buffer);
    static unsigned char nothing = 0;
    codec.SetInBuffer(data != nullptr ? data : &nothing, size);
    // The exact room behind the length field: the stream never runs past
    // the buffer.
    codec.SetOutBuffer(bytes + 4, capacity - 4);
    unsigned long length = 0;
    if (codec.Compress(&length) == ERR_FAILURE || codec.errorCode != 0 || length >= capacity - 4) {
        memManager->Free(&buffer);
        errorCode = ERR_LIB_COMPRESS;
        return ERR_FAILURE;
    }
    PutU32(bytes, static_cast<uint32_t>(size));
    *stored = bytes;
    *storedLength = length + 4;
    return ERR_OK;
}

ERRORSTATUS Library::CreateEmptyLibrary(char* file)
{
    FILE* stream = nullptr;
    if (diskData->CreateFileW(file, &stream) == ERR_FAILURE) {
        errorCode = ERR_LIB_DISK;
        return ERR_FAILURE;
    }
    FileHeader header;
    std::memcpy(header.magic, kMagic, sizeof(kMagic));
    header.version = kVersion;
    header.count = 0;
    const bool written = std::fwrite(&header, 1, sizeof(header), stream) == sizeof(header);
    const bool flushed = std::fflush(stream) == 0;
    diskData->CloseFile(&stream);
    if (!written || !flushed) {
        errorCode = ERR_LIB_SHORT_WRITE;
        return ERR_FAILURE;
    }
    return ERR_OK;
}

ERRORSTATUS Library::AddLibrary(char* file, char* name, unsigned long type, unsigned char* data, unsigned long size,
                                unsigned long* storedSize, unsigned long flags)
{
    if (memManager == nullptr || diskData == nullptr) {
        _AssertMsg(kSource, 522);
        errorCode = memManager == nullptr ? ERR_NO_MEMORY : ERR_LIB_DISK;
        return ERR_FAILURE;
    }
    if (name == nullptr || (data == nullptr && size != 0) || size > 0xFFFFFFFFul) {
        _AssertMsg(kSource, __LINE__);
        errorCode = ERR_LIB_SHORT_WRITE;
        return ERR_FAILURE;
    }
    const bool compress = (flags & LIB_ADD_COMPRESS) != 0;
    unsigned char* stored = data;
    unsigned long storedLength = size;
    if (compress && CompressBlock(data, size, &stored, &storedLength) == ERR_FAILURE)
        return ERR_FAILURE;

    const ERRORSTATUS result = WriteBlock(file, name, type, stored, storedLength, compress, flags);
    if (compress) {
        void* buffer = stored;
        memManager->Free(&buffer);
    }
    if (result == ERR_OK && storedSize != nullptr)
        *storedSize = storedLength;
    return result;
}

// Steps of AddLibrary after compression: make sure the file exists, cut out
// a block to be replaced, append the new one and register it.
ERRORSTATUS Library::WriteBlock(char* file, char* name, unsigned long type, unsigned char* stored,
                                unsigned long storedLength, bool compressed, unsigned long flags)
{
    if (IsLegalDOSFn(file, nullptr) == 0) {
        errorCode = ERR_LIB_BAD_NAME;
        return ERR_FAILURE;
    }
    if (diskData->FileExist(file) == 0) {
        if ((flags & LIB_ADD_CREATE) == 0) {
            errorCode = ERR_LIB_NO_FILE;
            return ERR_FAILURE;
        }
        if (CreateEmptyLibrary(file) == ERR_FAILURE)
            return ERR_FAILURE;
    }

    // Looked up by the name as given: one longer than 19 characters never
    // equals a stored one, so it is appended again each time.
    unsigned long oldOffset = 0;
    int found = 0;
    _LIBBLOCKHDR old;
    if (FindBlockInFile(file, name, &oldOffset, &found, &old) == ERR_FAILURE)
        return ERR_FAILURE;
    if (found == 1) {
        if ((flags & LIB_ADD_REPLACE) == 0) {
            errorCode = ERR_LIB_BLOCK_EXISTS;
            return ERR_FAILURE;
        }
        unsigned long cut = 0;
        if (CutBlock(file, oldOffset, old, &cut) == ERR_FAILURE)
            return ERR_FAILURE;
        ForgetCutBlock(file, name, oldOffset, cut);
    }

    FILE* stream = nullptr;
    if (diskData->OpenFileRW(file, &stream) == ERR_FAILURE) {
        errorCode = ERR_LIB_DISK;
        return ERR_FAILURE;
    }
    if (found == 0) {
        FileHeader header;
        if (std::fread(&header, 1, sizeof(header), stream) != sizeof(header)) {
            diskData->CloseFile(&stream);
            errorCode = ERR_LIB_SHORT_READ;
            return ERR_FAILURE;
        }
        // The count is 16-bit and, as designed, wraps from 65535 to 0.
        header.count = static_cast<uint16_t>(header.count + 1);
        if (std::fseek(stream, 0, SEEK_SET) != 0 || std::fwrite(&header, 1, sizeof(header), stream) != sizeof(header)) {
            diskData->CloseFile(&stream);
            errorCode = ERR_LIB_SHORT_WRITE;
            return ERR_FAILURE;
        }
    }

    char blockName[20];
    TakeName(blockName, name);
    _LIBBLOCKHDR header;
    std::memset(&header, 0, sizeof(header));
    std::memcpy(header.tag, kBlockTag, sizeof(kBlockTag));
    header.size = static_cast<uint32_t>(storedLength);
    header.type = static_cast<uint32_t>(type);
    header.compressed = compressed ? 1 : 0;
    std::memcpy(header.name, blockName, sizeof(header.name));

    const long headerOffset = std::fseek(stream, 0, SEEK_END) == 0 ? std::ftell(stream) : -1;
    const bool written = headerOffset >= 0 && std::fwrite(&header, 1, sizeof(header), stream) == sizeof(header) &&
                         (storedLength == 0 || std::fwrite(stored, 1, storedLength, stream) == storedLength) &&
                         std::fflush(stream) == 0;
    diskData->CloseFile(&stream);
    if (!written) {
        errorCode = ERR_LIB_SHORT_WRITE;
        return ERR_FAILURE;
    }

    _LIBDATA record;
    std::memset(&record, 0, sizeof(record));
    std::memcpy(record.name, blockName, sizeof(record.name));
    std::strncpy(record.fileName, file, sizeof(record.fileName) - 1);
    record.offset = static_cast<uint32_t>(headerOffset + kBlockHeaderSize);
    record.size = header.size;
    record.type = header.type;
    record.compressed = header.compressed;
    return AddLibDataNoDup(&registry, &record);
}

// Cuts a block, header and data, out of its file; *cut receives the bytes
// removed, by which the registered offsets behind it must shift.
ERRORSTATUS Library::CutBlock(char* file, unsigned long headerOffset, const _LIBBLOCKHDR& header,
                              unsigned long* cut)
{
    *cut = static_cast<unsigned long>(header.size) + kBlockHeaderSize;
    if (diskData->RemoveDataBlock(file, headerOffset, *cut) == ERR_FAILURE) {
        errorCode = ERR_LIB_DISK;
        return ERR_FAILURE;
    }
    return ERR_OK;
}

ERRORSTATUS Library::RemoveLibrary(char* file, char* name)
{
    if (name == nullptr || diskData == nullptr) {
        _AssertMsg(kSource, __LINE__);
        errorCode = ERR_LIB_NO_BLOCK;
        return ERR_FAILURE;
    }
    unsigned long headerOffset = 0;
    int found = 0;
    _LIBBLOCKHDR header;
    if (FindBlockInFile(file, name, &headerOffset, &found, &header) == ERR_FAILURE)
        return ERR_FAILURE;
    if (found == 0) {
        errorCode = ERR_LIB_NO_BLOCK;
        return ERR_FAILURE;
    }
    unsigned long cut = 0;
    if (CutBlock(file, headerOffset, header, &cut) == ERR_FAILURE)
        return ERR_FAILURE;

    FILE* stream = nullptr;
    FileHeader fileHeader;
    if (const unsigned short code = OpenWithHeader(diskData, file, &stream, &fileHeader)) {
        errorCode = code;
        return ERR_FAILURE;
    }
    if (fileHeader.count == 0) {
        diskData->CloseFile(&stream);
        errorCode = ERR_LIB_BLOCK_COUNT;
        return ERR_FAILURE;
    }
    fileHeader.count = static_cast<uint16_t>(fileHeader.count - 1);
    const bool written = std::fseek(stream, 0, SEEK_SET) == 0 &&
                         std::fwrite(&fileHeader, 1, sizeof(fileHeader), stream) == sizeof(fileHeader) &&
                         std::fflush(stream) == 0;
    diskData->CloseFile(&stream);
    if (!written) {
        errorCode = ERR_LIB_SHORT_WRITE;
        return ERR_FAILURE;
    }
    ForgetCutBlock(file, name, headerOffset, cut);
    return ERR_OK;
}

ERRORSTATUS Library::RenameLibrary(char* name, char* newName)
{
    if (name == nullptr || newName == nullptr || diskData == nullptr) {
        _AssertMsg(kSource, __LINE__);
        errorCode = ERR_LIB_NO_BLOCK;
        return ERR_FAILURE;
    }
    _LIBDATA* record = registry;
    while (record != nullptr && std::strcmp(record->name, name) != 0)
        record = record->next;
    if (record == nullptr) {
        errorCode = ERR_LIB_NO_BLOCK;
        return ERR_FAILURE;
    }
    if (record->offset < kBlockHeaderSize) {
        errorCode = ERR_LIB_DISK; // no header can stand in front of this offset
        return ERR_FAILURE;
    }
    const unsigned long headerOffset = record->offset - kBlockHeaderSize;
    unsigned long length = kBlockHeaderSize;
    unsigned char* bytes = nullptr;
    if (diskData->RequestBlock(record->fileName, headerOffset, &length, &bytes) == ERR_FAILURE) {
        errorCode = ERR_LIB_DISK;
        return ERR_FAILURE;
    }
    FILE* stream = nullptr;
    if (diskData->OpenFileRW(record->fileName, &stream) == ERR_FAILURE) {
        diskData->ReleaseBlock(&bytes);
        errorCode = ERR_LIB_DISK;
        return ERR_FAILURE;
    }

    _LIBBLOCKHDR header;
    std::memcpy(&header, bytes, sizeof(header));
    TakeName(record->name, newName);
    std::memcpy(header.name, record->name, sizeof(header.name));
    // As designed, the write is not checked and the new name is not tested
    // against the other blocks.
    if (std::fseek(stream, static_cast<long>(headerOffset), SEEK_SET) == 0)
        std::fwrite(&header, 1, sizeof(header), stream);
    diskData->CloseFile(&stream);
    diskData->ReleaseBlock(&bytes);
    return ERR_OK;
}
