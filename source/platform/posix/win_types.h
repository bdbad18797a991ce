// win_types.h - the Win32 base types and result codes the library uses,
// declared for systems that are not Windows.
#ifndef TOLLIVEX_POSIX_WIN_TYPES_H
#define TOLLIVEX_POSIX_WIN_TYPES_H

#include <cstddef>
#include <cstdint>

#define WINAPI

typedef int BOOL;
typedef uint8_t BYTE;
typedef uint16_t WORD;
typedef uint32_t DWORD;
typedef int32_t LONG;
typedef uint32_t UINT;
typedef int32_t HRESULT;
typedef void* HANDLE;
typedef void* LPVOID;
typedef DWORD* LPDWORD;
typedef const char* LPCSTR;
typedef char* LPSTR;

#ifndef TRUE
#  define TRUE 1
#endif
#ifndef FALSE
#  define FALSE 0
#endif

#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<intptr_t>(-1)))

#define SUCCEEDED(hr) (static_cast<HRESULT>(hr) >= 0)
#define FAILED(hr) (static_cast<HRESULT>(hr) < 0)

#endif
