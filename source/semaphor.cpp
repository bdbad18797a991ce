// semaphor.cpp - MutexSem, EventSem, Thread and GiveupThreadTime.
//
// Each member is one Win32 call (or a few), so that the behaviour is the
// system's: a mutex re-acquired by its owner succeeds, which is why IsOwned
// from the owning thread answers 0.
#include "tollivex/semaphor.h"

#include "platform/platform.h"

namespace {
const char* const kSource = "semaphor";

// A mutex whose owner ended without releasing it is handed to the next
// waiter as abandoned: it is ours all the same.
bool Acquired(DWORD result)
{
    return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

// CreateThread wants a WINAPI routine (stdcall on 32-bit Windows); the game
// hands us a plain one, so start it through this trampoline.
struct ThreadStart {
    unsigned long (*routine)(void*);
    void* parameter;
};

DWORD WINAPI StartGameRoutine(LPVOID argument)
{
    const ThreadStart start = *static_cast<ThreadStart*>(argument);
    delete static_cast<ThreadStart*>(argument);
    return static_cast<DWORD>(start.routine(start.parameter));
}
} // namespace

MutexSem::MutexSem() : errorCode(0), handle(CreateMutexA(nullptr, FALSE, nullptr))
{
    if (handle == nullptr) {
        _AssertMsg(kSource, 67);
        errorCode = ERR_SEM_CREATE;
    }
}

MutexSem::~MutexSem()
{
    CloseHandle(handle);
    handle = nullptr;
}

void MutexSem::Request()
{
    WaitForSingleObject(handle, INFINITE);
}

int MutexSem::RequestIfFree()
{
    return Acquired(WaitForSingleObject(handle, 0)) ? 1 : 0;
}

void MutexSem::Release()
{
    ReleaseMutex(handle);
}

int MutexSem::IsOwned()
{
    if (!Acquired(WaitForSingleObject(handle, 0)))
        return 1;
    ReleaseMutex(handle);
    return 0;
}

EventSem::EventSem() : errorCode(0), event(CreateEventA(nullptr, TRUE, FALSE, nullptr)), postCount(0)
{
    if (event == nullptr)
        errorCode = ERR_SEM_CREATE;
}

EventSem::~EventSem()
{
    CloseHandle(event);
    event = nullptr;
}

void EventSem::Post()
{
    SetEvent(event);
    countLock.Request();
    ++postCount;
    countLock.Release();
}

void EventSem::Reset()
{
    ResetEvent(event);
    countLock.Request();
    postCount = 0;
    countLock.Release();
}

void EventSem::Decrement()
{
    countLock.Request();
    bool drained = false;
    if (postCount != 0)
        drained = --postCount == 0;
    countLock.Release();
    // The gap between releasing the count and resetting the event is kept:
    // a post landing in it can have its signal cleared while the count is 1.
    if (drained)
        Reset();
}

void EventSem::WaitOn()
{
    WaitForSingleObject(event, INFINITE);
}

int EventSem::IsPosted()
{
    return WaitForSingleObject(event, 0) == WAIT_OBJECT_0 ? 1 : 0;
}

Thread::Thread(unsigned long (*routine)(void*), unsigned long parameter, unsigned long stackSize)
    : threadId(0), handle(nullptr)
{
    auto* start = new ThreadStart{routine, reinterpret_cast<void*>(static_cast<uintptr_t>(parameter))};
    DWORD id = 0;
    handle = CreateThread(nullptr, stackSize, StartGameRoutine, start, 0, &id);
    if (handle == nullptr)
        delete start;
    threadId = id;
}

Thread::~Thread()
{
    if (handle != nullptr)
        CloseHandle(handle);
}

void Thread::Kill()
{
    TerminateThread(handle, 0);
}

void Thread::Wait()
{
    WaitForSingleObject(handle, INFINITE);
}

void GiveupThreadTime()
{
    Sleep(0);
}
