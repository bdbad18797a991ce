// library_format.h - the on-disk pieces of a library file, shared by the
// lookup and the maintenance halves of Library. Internal.
#ifndef TOLLIVEX_LIBRARY_FORMAT_H
#define TOLLIVEX_LIBRARY_FORMAT_H

#include "tollivex/diskdata.h"
#include "tollivex/library.h"

#include <cstdio>
#include <cstring>

namespace libformat {

const unsigned kFileHeaderSize = 10;
const unsigned kBlockHeaderSize = sizeof(_LIBBLOCKHDR);
const unsigned kVersion = 259;
const char kMagic[6] = {'Q', 'O', 'R', 'L', 'I', 'B'};
const char kBlockTag[6] = {'L', 'I', 'B', 'B', 'L', 'K'};
const unsigned kNameLength = 19;

// The file header, in file order; all targets are little-endian.
#pragma pack(push, 1)
struct FileHeader {
    char magic[6];
    uint16_t version;
    uint16_t count;
};
#pragma pack(pop)
static_assert(sizeof(FileHeader) == kFileHeaderSize, "the file header is 10 bytes");

inline bool IsLibraryHeader(const FileHeader& header)
{
    return std::memcmp(header.magic, kMagic, sizeof(kMagic)) == 0 && header.version <= kVersion;
}

inline bool HasBlockTag(const _LIBBLOCKHDR& header)
{
    return std::memcmp(header.tag, kBlockTag, sizeof(kBlockTag)) == 0;
}

// A block name as the library compares it: the first 19 characters of the
// 20-byte field, always terminated.
inline void TakeName(char (&target)[20], const char* source)
{
    std::memset(target, 0, sizeof(target));
    for (unsigned i = 0; i < kNameLength && source[i] != '\0'; ++i)
        target[i] = source[i];
}

// Opens a library file for update and reads its header. On failure the file
// is closed again and the error code comes back; 0 means open and read.
inline unsigned short OpenWithHeader(DiskData* disk, char* file, FILE** stream, FileHeader* header)
{
    if (disk->OpenFileRW(file, stream) == ERR_FAILURE)
        return ERR_LIB_DISK;
    if (std::fread(header, 1, sizeof(*header), *stream) != sizeof(*header)) {
        disk->CloseFile(stream);
        return ERR_LIB_SHORT_READ;
    }
    return 0;
}

} // namespace libformat

#endif
