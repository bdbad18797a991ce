// win_sync.h - Win32 mutexes, events, threads and waits over POSIX.
//
// Mutexes are recursive and owned by a thread, as on Windows; events are
// manual-reset only, which is all the library creates. A handle is closed
// with CloseHandle whatever kind it is.
#ifndef TOLLIVEX_POSIX_WIN_SYNC_H
#define TOLLIVEX_POSIX_WIN_SYNC_H

#include "platform/posix/win_types.h"

struct SECURITY_ATTRIBUTES;
typedef SECURITY_ATTRIBUTES* LPSECURITY_ATTRIBUTES;
typedef DWORD (WINAPI *LPTHREAD_START_ROUTINE)(LPVOID);

#define INFINITE 0xFFFFFFFFu
#define WAIT_OBJECT_0 0x00000000u
#define WAIT_ABANDONED 0x00000080u
#define WAIT_TIMEOUT 0x00000102u
#define WAIT_FAILED 0xFFFFFFFFu

HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES attributes, BOOL initialOwner, LPCSTR name);
BOOL ReleaseMutex(HANDLE mutex);
HANDLE CreateEventA(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState, LPCSTR name);
BOOL SetEvent(HANDLE event);
BOOL ResetEvent(HANDLE event);
HANDLE CreateThread(LPSECURITY_ATTRIBUTES attributes, size_t stackSize, LPTHREAD_START_ROUTINE routine,
                    LPVOID parameter, DWORD creationFlags, LPDWORD threadId);
BOOL TerminateThread(HANDLE thread, DWORD exitCode);
DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds);
BOOL CloseHandle(HANDLE object);
void Sleep(DWORD milliseconds);

#endif
