#include "support/workdir.h"

#include <tollivex.h>

#include <gtest/gtest.h>

#include <atomic>

namespace {

struct MutexProbe {
    MutexSem* mutex;
    int requestIfFree = -1;
    int isOwned = -1;
};

unsigned long ProbeMutex(void* argument)
{
    auto* probe = static_cast<MutexProbe*>(argument);
    probe->isOwned = probe->mutex->IsOwned();
    probe->requestIfFree = probe->mutex->RequestIfFree();
    if (probe->requestIfFree == 1)
        probe->mutex->Release();
    return 0;
}

unsigned long Param(void* p)
{
    return static_cast<unsigned long>(reinterpret_cast<uintptr_t>(p));
}

MutexProbe ProbeFromAnotherThread(MutexSem& mutex)
{
    MutexProbe probe{&mutex};
    Thread thread(ProbeMutex, Param(&probe), 0);
    thread.Wait();
    return probe;
}

} // namespace

TEST(MutexSem, OwnershipSeenFromTheOwnerAndFromAnotherThread)
{
    MutexSem mutex;
    ASSERT_EQ(mutex.errorCode, 0);

    MutexProbe free = ProbeFromAnotherThread(mutex);
    EXPECT_EQ(free.isOwned, 0);
    EXPECT_EQ(free.requestIfFree, 1);

    mutex.Request();
    mutex.Request(); // recursive: the owner may take it again
    EXPECT_EQ(mutex.IsOwned(), 0); // the owner re-acquires, so it reads as not owned
    EXPECT_EQ(mutex.RequestIfFree(), 1);
    mutex.Release();

    MutexProbe held = ProbeFromAnotherThread(mutex);
    EXPECT_EQ(held.isOwned, 1);
    EXPECT_EQ(held.requestIfFree, 0);

    mutex.Release();
    EXPECT_EQ(ProbeFromAnotherThread(mutex).requestIfFree, 0) << "taken three times, released twice";
    mutex.Release();
    EXPECT_EQ(ProbeFromAnotherThread(mutex).requestIfFree, 1);
}

TEST(EventSem, StaysPostedUntilEveryPostIsConsumed)
{
    EventSem event;
    ASSERT_EQ(event.errorCode, 0);
    EXPECT_EQ(event.IsPosted(), 0);

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
struct Handshake {
    EventSem ready;
    EventSem go;
    std::atomic<int> stage{0};
};

unsigned long WaitForGo(void* argument)
{
    auto* handshake = static_cast<Handshake*>(argument);
    handshake->ready.Post();
    handshake->go.WaitOn();
    handshake->stage = 2;
    return 7;
}
} // namespace

TEST(EventSem, WaitOnWakesWhenAnotherThreadPosts)
{
    Handshake handshake;
    Thread waiter(WaitForGo, Param(&handshake), 0);
    handshake.ready.WaitOn();
    for (int i = 0; i < 20; ++i)
        GiveupThreadTime();
    EXPECT_EQ(handshake.stage, 0);
    handshake.go.Post();
    waiter.Wait();
    EXPECT_EQ(handshake.stage, 2);
}

namespace {
std::atomic<int> spins{0};

unsigned long SpinUntilKilled(void*)
{
    for (;;) {
        ++spins;
        GiveupThreadTime();
    }
    return 0;
}
} // namespace

TEST(Thread, KillEndsARunningThread)
{
    spins = 0;
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
