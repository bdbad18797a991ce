// win_fs.h - the Win32 file-system calls the library uses, declared for
// systems that are not Windows.
//
// Directory search follows the Win32 wildcard rules (case-insensitive, `?`,
// `*`, and a trailing ".*" or "." that also matches names without a dot).
// Every path passed in may use `\` as its separator; it becomes `/` here, so
// game code keeps writing DATA\GAME.LIB. No drive letters, no short names.
#ifndef TOLLIVEX_POSIX_WIN_FS_H
#define TOLLIVEX_POSIX_WIN_FS_H

#include "platform/posix/win_types.h"

#include <cstdio>

#define MAX_PATH 260
#define FILE_ATTRIBUTE_READONLY 0x00000001u
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010u
#define FILE_ATTRIBUTE_NORMAL 0x00000080u

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

struct WIN32_FIND_DATAA {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    char cFileName[MAX_PATH];
    char cAlternateFileName[14];
};
typedef WIN32_FIND_DATAA* LPWIN32_FIND_DATAA;

HANDLE FindFirstFileA(LPCSTR pattern, LPWIN32_FIND_DATAA data);
BOOL FindNextFileA(HANDLE search, LPWIN32_FIND_DATAA data);
BOOL FindClose(HANDLE search);
DWORD GetCurrentDirectoryA(DWORD size, LPSTR buffer);
BOOL SetCurrentDirectoryA(LPCSTR path);
BOOL DeleteFileA(LPCSTR path);
BOOL MoveFileA(LPCSTR from, LPCSTR to);

// Not a Win32 call: fopen with the path rules above. Directories are refused,
// as the Windows C runtime refuses them.
FILE* PlatformOpenFile(const char* name, const char* mode);

#endif
