#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <functional>
#include <initializer_list>
#include <thread>
#include <vector>

#include "base/pvu_condwait.h"
#include "base/pvu_mutex.h"
#include "base/pvu_rwlock.h"
#include "base/pvu_semaphore.h"
#include "base/pvu_sleep.h"
#include "base/pvu_spinlock.h"
#include "base/pvu_thread.h"
#include "base/pvu_thread_worker.h"
#include "base/pvu_time.h"

namespace {

constexpr int kLongWaitMs = 60000;  // for what comes; only a failure waits so long

int64_t MillisOf(const std::function<void()>& action) {
    int64_t before = CTTime::GetCurrentUS();
    action();
    return (CTTime::GetCurrentUS() - before) / 1000;
}

using Results = std::vector<int>;

// What the operations give one after another, in one thread: none of these locks minds whose it is.
// Through pointers, as the lock analysis follows whole functions only.
template <typename Lock>
Results Do(Lock& lock, std::initializer_list<int (Lock::*)()> operations) {
    Results results;
    for (auto operation : operations)
        results.push_back((lock.*operation)());
    return results;
}

TEST(Locks, AdmitOneAloneOrReadersTogether) {
    using M = CTMutex;
    M mutex;
    EXPECT_EQ(Do(mutex, {&M::Lock, &M::TryLock, &M::UnLock, &M::TryLock, &M::TryLock, &M::UnLock}),
              Results({0, EBUSY, 0, 0, EBUSY, 0}));
    using S = CTSpinLock;
    S spin;
    EXPECT_EQ(Do(spin, {&S::Init, &S::Lock, &S::TryLock, &S::UnLock, &S::TryLock, &S::TryLock,
                        &S::UnLock, &S::DeInit}),
              Results({1, 0, EBUSY, 0, 0, EBUSY, 0, 0}));
    using RW = CTReadWriteLock;
    RW lock;
    EXPECT_EQ(Do(lock, {&RW::Init, &RW::ReadLock, &RW::TryReadLock, &RW::TryWriteLock, &RW::UnLock,
                        &RW::TryWriteLock, &RW::UnLock, &RW::TryWriteLock, &RW::TryReadLock,
                        &RW::UnLock, &RW::WriteLock, &RW::TryReadLock, &RW::UnLock, &RW::DeInit}),
              Results({1, 0, 0, EBUSY, 0, EBUSY, 0, 0, EBUSY, 0, 0, EBUSY, 0, 0}));
}

TEST(Locks, GuardsHoldForTheirLife) {
    CTMutex mutex;
    CTReadWriteLock lock;
    {
        CTMutexGuard guard(mutex);
        CTReadGuard reader(lock);
        EXPECT_EQ(Do(mutex, {&CTMutex::TryLock}), Results({EBUSY}));
        EXPECT_EQ(Do(lock, {&CTReadWriteLock::TryWriteLock}), Results({EBUSY}));
    }
    EXPECT_EQ(Do(mutex, {&CTMutex::TryLock, &CTMutex::UnLock}), Results({0, 0}));
    CTWriteGuard writer(lock);
    EXPECT_EQ(Do(lock, {&CTReadWriteLock::TryReadLock}), Results({EBUSY}));
}

TEST(Semaphore, CountsAndItsCreateAloneIsInverted) {
    CTSemaphore semaphore(2);
    EXPECT_EQ(semaphore.Wait(), 0);
    EXPECT_EQ(semaphore.GetValue(), 1);
    EXPECT_EQ(semaphore.TryWait(), 0);
    EXPECT_EQ(semaphore.TryWait(), -1);
    EXPECT_EQ(semaphore.Destroy(), 0);
    EXPECT_EQ(semaphore.Create(-1), 0);
    EXPECT_EQ(semaphore.Create(0), 1);
}

TEST(Semaphore, AWaitEndsWithAPostOrAfterItsTime) {
    CTSemaphore semaphore;
    // One of five waits in a row has its deadline in the next second, one of five in the last.
    for (int i = 0; i < 5; ++i) {
        int64_t waited = MillisOf([&] {
            errno = 0;
            EXPECT_EQ(semaphore.Wait(200), -1);
        });
        EXPECT_EQ(errno, ETIMEDOUT);
        EXPECT_GE(waited, 195);
        semaphore.Post();
        EXPECT_EQ(semaphore.Wait(-200), 0);  // a time that is over takes what is there
    }
    std::thread timed([&] { EXPECT_EQ(semaphore.Wait(kLongWaitMs), 0); });
    std::thread untimed([&] { EXPECT_EQ(semaphore.Wait(), 0); });
    semaphore.Post();
    semaphore.Post();
    timed.join();
    untimed.join();
    EXPECT_EQ(semaphore.GetValue(), 0);
}

// Bursts from several threads, taken by several that sleep and are woken, now and then in time to
// find nothing: every count is taken once.
TEST(Semaphore, ABurstIsCountedOnceAndWakesWhoSleeps) {
    CTSemaphore semaphore;
    EXPECT_EQ(semaphore.Post(5), 0);
    EXPECT_EQ(semaphore.Take(3), 3);
    EXPECT_EQ(semaphore.Take(3), 2);
    EXPECT_EQ(semaphore.Take(3), 0);
    constexpr int kPosts = 2000;
    std::atomic<int> taken{0};
    auto post = [&] {
        for (int i = 0; i < kPosts; ++i)
            semaphore.Post(3);
    };
    auto take = [&] {
        while (taken < 2 * 3 * kPosts) {
            if (semaphore.Wait(50) == 0) taken += 1 + semaphore.Take(7);
        }
    };
    std::thread threads[] = {std::thread(post), std::thread(post), std::thread(take),
                             std::thread(take)};
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(taken, 2 * 3 * kPosts);
    EXPECT_EQ(semaphore.GetValue(), 0);
    EXPECT_EQ(semaphore.Post(INT_MAX), 0);
    EXPECT_EQ(semaphore.Post(), -1);
}

// A thread that is about to sleep is woken by the next count, also when an empty burst was posted
// in between.
TEST(Semaphore, AnEmptyBurstTakesNoWakeUpAway) {
    CTSemaphore asked;
    CTSemaphore answered;
    constexpr int kRounds = 20000;
    std::atomic<bool> is_over{false};
    std::thread answering([&] {
        while (asked.Wait(2 * kLongWaitMs) == 0 && !is_over)
            answered.Post();
    });
    for (int i = 0; i < kRounds && !is_over; ++i) {
        for (int empty = 0; empty <= i % 8; ++empty)
            EXPECT_EQ(asked.Post(0), 0);
        asked.Post();
        is_over = answered.Wait(kLongWaitMs) != 0;
    }
    EXPECT_FALSE(is_over);
    is_over = true;
    asked.Post();
    answering.join();
}

TEST(CondWait, ForgetsSignalsAndWrapsLongWaitsToShortOnes) {
    CTCondWait condition;
    EXPECT_EQ(condition.Signal(), 0);
    EXPECT_EQ(condition.Broadcast(), 0);
    EXPECT_GE(MillisOf([&] { EXPECT_EQ(condition.TimeWait(100), ETIMEDOUT); }), 95);
    // In 32 bits these come to times that have passed already; unwrapped, the last one takes weeks.
    for (int ms : {2148, 3000, 4294, INT_MAX})
        EXPECT_EQ(condition.TimeWait(ms), ETIMEDOUT) << ms;
}

TEST(CondWait, SignalAndBroadcastWake) {
    CTCondWait condition;
    for (auto wake : {&CTCondWait::Signal, &CTCondWait::Broadcast}) {
        std::atomic<bool> awake{false};
        std::thread waiter([&] {
            EXPECT_EQ(condition.Wait(), 0);
            awake = true;
        });
        // Again and again: a wake-up is lost on a thread that does not wait yet.
        while (!awake) {
            EXPECT_EQ((condition.*wake)(), 0);
            std::this_thread::yield();
        }
        waiter.join();
    }
}

void* PostTheSemaphore(void* semaphore) {
    static_cast<CTSemaphore*>(semaphore)->Post();
    return nullptr;
}

TEST(Thread, StopJoinsOnceAndOnlyWhatWasStarted) {
    CTSemaphore ran;
    {
        CTThread thread;
        thread.Stop();
        EXPECT_TRUE(thread.Start(PostTheSemaphore, &ran));
        thread.Stop();
        EXPECT_EQ(ran.GetValue(), 1);
        thread.Stop();
        EXPECT_TRUE(thread.Start(PostTheSemaphore, &ran));
    }
    // The destructor has joined.
    EXPECT_EQ(ran.GetValue(), 2);
    EXPECT_EQ(pvu_thread_start(nullptr, PostTheSemaphore, &ran), 22);
}

struct Worker : CTThreadWorker {
    CTSemaphore started;
    CTSemaphore may_end;
    unsigned long id = 0;

    void ThreadBody() override {
        id = GetID();
        started.Post();
        may_end.Wait();
    }
};

TEST(ThreadWorker, RunsItsBodyInAThreadOfItsOwn) {
    Worker worker;
    ASSERT_TRUE(worker.Start());
    ASSERT_EQ(worker.started.Wait(kLongWaitMs), 0);
    EXPECT_FALSE(CTThreadWorker::CheckIdEquals(worker.id));
    EXPECT_TRUE(CTThreadWorker::CheckIdEquals(worker.GetID()));
    EXPECT_EQ(worker.SetPriority(0), 0);
    EXPECT_EQ(worker.SetPriority(5), EINVAL);
    worker.may_end.Post();
    EXPECT_EQ(worker.Stop(), 0);
    EXPECT_EQ(CTThreadWorker::pvu_thread_func_wrapper(nullptr), nullptr);
}

TEST(Sleep, LastsItsTimeInItsUnit) {
    EXPECT_GE(MillisOf([] { pvu_msleep(30); }), 30);
    EXPECT_GE(MillisOf([] { CTThread::Sleep(30); }), 30);
    EXPECT_GE(MillisOf([] { CTTime::Sleep(1); }), 1000);
    EXPECT_GE(MillisOf([] { CTTime::SleepMs(1020); }), 1020);
    EXPECT_GE(MillisOf([] { CTTime::SleepUs(20000); }), 20);
    EXPECT_GE(MillisOf([] { CTTime::SleepNs(20000000); }), 20);
    // A signal does not shorten the microsecond sleep.
    static std::atomic<int> alarms{0};
    auto old_action = signal(SIGALRM, [](int) { ++alarms; });
    itimerval every = {{0, 30000}, {0, 30000}};
    setitimer(ITIMER_REAL, &every, nullptr);
    EXPECT_GE(MillisOf([] { pvu_usleep(1100000); }), 1100);
    EXPECT_GE(MillisOf([] { CTThread::SleepUs(70000); }), 70);
    itimerval off = {};
    setitimer(ITIMER_REAL, &off, nullptr);
    signal(SIGALRM, old_action);
    EXPECT_GT(alarms, 2);
}

}  // namespace
