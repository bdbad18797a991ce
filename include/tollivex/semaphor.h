// semaphor.h - mutex, counted event and thread wrappers.
//
// Thin wrappers over the operating system's synchronisation objects, used by
// the debug log and the sound mixer and offered to the game. Handles are kept
// opaque so that this header never drags in <windows.h>.
#ifndef TOLLIVEX_SEMAPHOR_H
#define TOLLIVEX_SEMAPHOR_H

#include "tvxcommon.h"

// A recursive mutex owned by the thread that holds it.
class TVX_API MutexSem {
public:
    unsigned short errorCode;

    MutexSem();
    ~MutexSem();
    MutexSem(const MutexSem&) = delete;
    MutexSem& operator=(const MutexSem&) = delete;

    void Request();
    int RequestIfFree();
    void Release();
    int IsOwned();

private:
    void* handle;
};

// A manual-reset event that counts its posts: it stays signalled until every
// post has been consumed with Decrement.
class TVX_API EventSem {
public:
    unsigned short errorCode;

    EventSem();
    ~EventSem();
    EventSem(const EventSem&) = delete;
    EventSem& operator=(const EventSem&) = delete;

    void Post();
    void Reset();
    void Decrement();
    void WaitOn();
    int IsPosted();

private:
    void* event;
    MutexSem countLock;
    uint32_t postCount;
};

// A thread that starts running at once; destroying the object leaves the
// thread running.
class TVX_API Thread {
public:
    Thread(unsigned long (*routine)(void*), unsigned long parameter, unsigned long stackSize);
    ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    void Kill();
    void Wait();

private:
    uint32_t threadId;
    void* handle;
};

// Gives up the rest of the calling thread's time slice.
TVX_API void GiveupThreadTime();

#endif
