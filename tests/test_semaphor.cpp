#include "support/libfiles.h"

#include <algorithm>
#include <atomic>

using namespace tvxtest;

namespace {
// What another thread sees of a mutex: IsOwned * 10 + RequestIfFree. A
// mutex it took goes back, unless it keeps it to the end of the thread.
struct Probe { MutexSem* mutex; bool keep; int seen; };

unsigned long ProbeMutex(void* argument)
{
    auto* probe = static_cast<Probe*>(argument);
    const int owned = probe->mutex->IsOwned();
    probe->seen = owned * 10 + probe->mutex->RequestIfFree();
    if (probe->seen == 1 && !probe->keep)
        probe->mutex->Release();
    return 0;
}

int FromAnotherThread(MutexSem& mutex, bool keep = false)
{
    Probe probe{&mutex, keep, -1};
    Thread(ProbeMutex, static_cast<unsigned long>(reinterpret_cast<uintptr_t>(&probe)), 0).Wait();
    return probe.seen;
}
} // namespace

TEST(MutexSem, OwnershipSeenFromTheOwnerAndFromAnotherThreadAndEventPosts)
{
    MutexSem mutex;
    EXPECT_EQ(FromAnotherThread(mutex), 1);
    mutex.Request();
    mutex.Request();
    EXPECT_EQ(mutex.IsOwned(), 0); // the owner re-acquires, so it reads as not owned
    EXPECT_EQ(mutex.RequestIfFree(), 1);
    mutex.Release();
    EXPECT_EQ(FromAnotherThread(mutex), 10);
    mutex.Release();
    EXPECT_EQ(FromAnotherThread(mutex), 10) << "taken three times, released twice";
    mutex.Release();

    // A thread that ends holding the mutex abandons it: the next to ask has it.
    EXPECT_EQ(FromAnotherThread(mutex, true), 1);
    EXPECT_EQ(mutex.IsOwned(), 0);
    EXPECT_EQ(FromAnotherThread(mutex, true), 1);
    EXPECT_EQ(mutex.RequestIfFree(), 1);
    EXPECT_EQ(FromAnotherThread(mutex), 10);
    mutex.Release();
    EXPECT_EQ(FromAnotherThread(mutex), 1);

    EventSem event;
    event.Decrement(); // nothing pending: no change
    EXPECT_EQ(event.IsPosted(), 0);
    event.Post();
    event.Post();
    event.Decrement();
    EXPECT_EQ(event.IsPosted(), 1);
    event.Decrement();
    EXPECT_EQ(event.IsPosted(), 0);
    event.Post();
    event.Post();
    event.Reset();
    EXPECT_EQ(event.IsPosted(), 0);
    event.Post();
    event.Decrement(); // Reset dropped the earlier posts
    EXPECT_EQ(event.IsPosted(), 0);
}

namespace {
EventSem go;
std::atomic<int> spins{0};

unsigned long LogWhenPosted(void* tag)
{
    go.WaitOn();
    const std::string text = "writer " + std::to_string(reinterpret_cast<uintptr_t>(tag));
    for (int i = 0; i < 200; ++i)
        _DebugMessage(text.c_str());
    return 0;
}

unsigned long SpinUntilKilled(void*)
{
    for (;;) {
        ++spins;
        GiveupThreadTime();
    }
}
} // namespace

TEST(Thread, WritersWaitForThePostTheirLinesStayWholeAndKillEndsAThread)
{
    DebugInit();
    Thread first(LogWhenPosted, 1, 0), second(LogWhenPosted, 2, 0);
    for (int i = 0; i < 50; ++i)
        GiveupThreadTime();
    EXPECT_TRUE(LogEntries().empty()); // both wait on the event
    go.Post();
    first.Wait();
    second.Wait();
    const Lines entries = LogEntries();
    EXPECT_EQ(entries.size(), 400u);
    EXPECT_EQ(std::count(entries.begin(), entries.end(), "Debug Message: writer 1"), 200);

    Thread spinner(SpinUntilKilled, 0, 64 * 1024);
    while (spins < 10)
        GiveupThreadTime();
    spinner.Kill();
    spinner.Wait();
    const int after = spins;
    for (int i = 0; i < 100; ++i)
        GiveupThreadTime();
    EXPECT_EQ(spins, after);
}
