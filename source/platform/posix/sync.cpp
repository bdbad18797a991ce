// sync.cpp - Win32 waitable objects over POSIX threads.
//
// Every handle points to a Waitable; WaitForSingleObject and CloseHandle
// dispatch on it. Waits take milliseconds and INFINITE as Win32 does;
// mutexes are recursive and can be abandoned, as on Windows.
#include "platform/platform.h"

#include <pthread.h>
#include <sched.h>
#include <time.h>

#include <chrono>
#include <climits>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace {

class Waitable {
public:
    virtual ~Waitable() = default;
    virtual DWORD Wait(DWORD milliseconds) = 0;
};

// Waits on `cv` until `ready()` holds, for at most `milliseconds`.
template <typename Ready>
bool WaitUntil(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, DWORD milliseconds, Ready ready)
{
    if (milliseconds == INFINITE) {
        cv.wait(lock, ready);
        return true;
    }
    return cv.wait_for(lock, std::chrono::milliseconds(milliseconds), ready);
}

// Each thread's mark of life: it goes when the thread ends, so a mutex can
// tell that its owner is gone (and a new thread that reuses the old one's
// id is not mistaken for the owner).
std::shared_ptr<int>& ThisThread()
{
    thread_local std::shared_ptr<int> mark;
    if (!mark)
        mark = std::make_shared<int>(0);
    return mark;
}

class Mutex final : public Waitable {
public:
    // A mutex whose owner ended without releasing it goes to the next waiter
    // with WAIT_ABANDONED, as on Windows. Nothing wakes a waiter when an
    // owner ends, so an endless wait looks again now and then.
    DWORD Wait(DWORD milliseconds) override
    {
        std::unique_lock<std::mutex> lock(guard);
        const std::shared_ptr<int> self = ThisThread();
        if (depth > 0 && owner.lock() == self) {
            ++depth;
            return WAIT_OBJECT_0;
        }
        const auto takeable = [this] { return depth == 0 || owner.expired(); };
        if (milliseconds == INFINITE) {
            while (!freed.wait_for(lock, std::chrono::milliseconds(20), takeable)) {
            }
        } else if (!freed.wait_for(lock, std::chrono::milliseconds(milliseconds), takeable)) {
            return WAIT_TIMEOUT;
        }
        const bool abandoned = depth > 0;
        owner = self;
        depth = 1;
        return abandoned ? WAIT_ABANDONED : WAIT_OBJECT_0;
    }

    bool Release()
    {
        std::lock_guard<std::mutex> lock(guard);
        if (depth == 0 || owner.lock() != ThisThread())
            return false;
        if (--depth == 0)
            freed.notify_one();
        return true;
    }

private:
    std::mutex guard;
    std::condition_variable freed;
    std::weak_ptr<int> owner;
    unsigned depth = 0;
};

class Event final : public Waitable {
public:
    explicit Event(bool initialState) : signalled(initialState) {}

    DWORD Wait(DWORD milliseconds) override
    {
        std::unique_lock<std::mutex> lock(guard);
        return WaitUntil(changed, lock, milliseconds, [this] { return signalled; }) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }

    void Set(bool state)
    {
        std::lock_guard<std::mutex> lock(guard);
        signalled = state;
        if (state)
            changed.notify_all();
    }

private:
    std::mutex guard;
    std::condition_variable changed;
    bool signalled;
};

// Shared between the handle and the running thread, so that closing the
// handle while the thread runs is safe.
struct ThreadState {
    std::mutex guard;
    std::condition_variable ended;
    bool finished = false;
    pthread_t id{};
};

struct ThreadStart {
    std::shared_ptr<ThreadState> state;
    LPTHREAD_START_ROUTINE routine;
    LPVOID parameter;
};

// Marks the thread finished however it leaves: by returning or by being
// cancelled, which unwinds through this guard.
struct FinishedMark {
    ThreadState& state;
    ~FinishedMark()
    {
        std::lock_guard<std::mutex> lock(state.guard);
        state.finished = true;
        state.ended.notify_all();
    }
};

void* RunThread(void* argument)
{
    std::unique_ptr<ThreadStart> start(static_cast<ThreadStart*>(argument));
    std::shared_ptr<ThreadState> state = start->state;
    FinishedMark mark{*state};
    // Let go of the mutexes still held before the thread counts as ended,
    // as Windows does, so that a waiter on the thread finds them abandoned.
    struct LetGo {
        ~LetGo() { ThisThread().reset(); }
    } letGo;
    start->routine(start->parameter);
    return nullptr;
}

class ThreadHandle final : public Waitable {
public:
    explicit ThreadHandle(std::shared_ptr<ThreadState> s) : state(std::move(s)) {}

    DWORD Wait(DWORD milliseconds) override
    {
        std::unique_lock<std::mutex> lock(state->guard);
        return WaitUntil(state->ended, lock, milliseconds, [this] { return state->finished; }) ? WAIT_OBJECT_0
                                                                                             : WAIT_TIMEOUT;
    }

    bool Cancel()
    {
        std::lock_guard<std::mutex> lock(state->guard);
        if (state->finished)
            return false;
        return pthread_cancel(state->id) == 0;
    }

private:
    std::shared_ptr<ThreadState> state;
};

Waitable* FromHandle(HANDLE h)
{
    if (h == nullptr || h == INVALID_HANDLE_VALUE)
        return nullptr;
    return static_cast<Waitable*>(h);
}

} // namespace

HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES, BOOL initialOwner, LPCSTR)
{
    auto* mutex = new Mutex;
    if (initialOwner)
        mutex->Wait(INFINITE);
    return static_cast<Waitable*>(mutex);
}

BOOL ReleaseMutex(HANDLE h)
{
    auto* mutex = dynamic_cast<Mutex*>(FromHandle(h));
    return mutex != nullptr && mutex->Release() ? TRUE : FALSE;
}

HANDLE CreateEventA(LPSECURITY_ATTRIBUTES, BOOL, BOOL initialState, LPCSTR)
{
    return static_cast<Waitable*>(new Event(initialState != FALSE));
}

BOOL SetEvent(HANDLE h)
{
    auto* event = dynamic_cast<Event*>(FromHandle(h));
    if (event == nullptr)
        return FALSE;
    event->Set(true);
    return TRUE;
}

BOOL ResetEvent(HANDLE h)
{
    auto* event = dynamic_cast<Event*>(FromHandle(h));
    if (event == nullptr)
        return FALSE;
    event->Set(false);
    return TRUE;
}

HANDLE CreateThread(LPSECURITY_ATTRIBUTES, size_t stackSize, LPTHREAD_START_ROUTINE routine, LPVOID parameter,
                    DWORD, LPDWORD threadId)
{
    if (routine == nullptr)
        return nullptr;
    auto state = std::make_shared<ThreadState>();
    auto* start = new ThreadStart{state, routine, parameter};

    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (stackSize >= static_cast<size_t>(PTHREAD_STACK_MIN))
        pthread_attr_setstacksize(&attributes, stackSize);

    std::unique_lock<std::mutex> lock(state->guard); // publish id before the thread can be cancelled
    const int failed = pthread_create(&state->id, &attributes, RunThread, start);
    pthread_attr_destroy(&attributes);
    if (failed) {
        delete start;
        return nullptr;
    }
    static DWORD nextId = 1;
    if (threadId != nullptr)
        *threadId = __atomic_fetch_add(&nextId, 1, __ATOMIC_RELAXED);
    lock.unlock();
    return static_cast<Waitable*>(new ThreadHandle(state));
}

BOOL TerminateThread(HANDLE h, DWORD)
{
    auto* thread = dynamic_cast<ThreadHandle*>(FromHandle(h));
    return thread != nullptr && thread->Cancel() ? TRUE : FALSE;
}

DWORD WaitForSingleObject(HANDLE h, DWORD milliseconds)
{
    Waitable* object = FromHandle(h);
    return object != nullptr ? object->Wait(milliseconds) : WAIT_FAILED;
}

BOOL CloseHandle(HANDLE h)
{
    Waitable* object = FromHandle(h);
    if (object == nullptr)
        return FALSE;
    delete object;
    return TRUE;
}

void Sleep(DWORD milliseconds)
{
    // Sleep is where a terminated thread stops, as it is a cancellation point.
    if (milliseconds == 0) {
        sched_yield();
        pthread_testcancel();
        return;
    }
    const timespec delay{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
    nanosleep(&delay, nullptr);
}
