#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "pub/log/errors.h"
#include "pub/util/util.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/pub/started_worker.h"
#include "tests/unit/pub/util_fakes.h"

util_fakes g_fake;

std::atomic<int> g_interrupted_workers{0};

extern "C" {

int __real_pthread_kill(pthread_t thread, int signal_number);
int __wrap_pthread_kill(pthread_t thread, int signal_number)
{
    if (signal_number == 0 && g_fake.thread_is_gone) {
        return ESRCH;
    }
    if (signal_number != 0 && g_fake.pthread_kill_result != 0) {
        return g_fake.pthread_kill_result;
    }
    return __real_pthread_kill(thread, signal_number);
}

int __real_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument)
{
    return g_fake.pthread_create_result != 0 ? g_fake.pthread_create_result
                                             : __real_pthread_create(thread, attributes, body, argument);
}

int __real_sem_wait(sem_t *semaphore);
int __wrap_sem_wait(sem_t *semaphore)
{
    if (g_fake.sem_wait_interruptions > 0) {
        g_fake.sem_wait_interruptions--;
        errno = EINTR;
        return -1;
    }
    return __real_sem_wait(semaphore);
}

int __real_nanosleep(const timespec *time, timespec *left);
int __wrap_nanosleep(const timespec *time, timespec *left)
{
    if (gettid() != getpid()) { // a worker
        const int result = __real_nanosleep(time, left);
        g_interrupted_workers += result != 0 && errno == EINTR ? 1 : 0;
        return result;
    }
    g_fake.sleeps.push_back(*time);
    if (g_fake.nanosleep_interruptions > 0) {
        g_fake.nanosleep_interruptions--;
        *left = {0, 3'000'000};
        errno = EINTR;
        return -1;
    }
    if (g_fake.while_asleep) {
        g_fake.while_asleep();
        return 0;
    }
    return __real_nanosleep(time, left);
}

int __wrap_sched_get_priority_max(int policy)
{
    EXPECT_EQ(policy, SCHED_FIFO);
    if (g_fake.priority_max < 0) {
        errno = EINVAL;
    }
    return g_fake.priority_max;
}

int __wrap_sched_setscheduler(pid_t pid, int policy, const sched_param *parameter)
{
    g_fake.setscheduler_pid = pid;
    g_fake.setscheduler_policy = policy;
    g_fake.setscheduler_priority = parameter->sched_priority;
    if (g_fake.setscheduler_fails) {
        errno = EPERM;
        return -1;
    }
    return 0;
}
}

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;

// A worker as the service has them: detached, sleeping until it is ended. The semaphore-like flag tells that it waits.
struct worker {
    pub_util_thread m_handle{0};
    std::atomic<bool> m_is_admitted{false};
    std::atomic<long> m_tid{0};
};

void *sleep_until_ended(void *argument)
{
    auto *self = static_cast<worker *>(argument);
    pub_util_admit_kill(&self->m_handle);
    self->m_tid = gettid();
    self->m_is_admitted = true;
    for (;;) {
        pub_util_sleep_seconds(1000);
    }
}

void start(worker &started)
{
    pthread_t thread = 0;
    ASSERT_EQ(pthread_create(&thread, nullptr, sleep_until_ended, &started), 0);
    while (!started.m_is_admitted) {
        std::this_thread::yield();
    }
}

TEST(KillThread, EndsAWaitingThreadAndClearsItsHandle)
{
    in_child([] {
        const test_log log;
        pub_util_block_ending_signals();
        worker started;
        start(started);
        const pthread_t thread = started.m_handle;
        EXPECT_EQ(pub_util_kill_thread(&started.m_handle), ERR_NONE);
        EXPECT_EQ(started.m_handle, 0U);
        EXPECT_EQ(pthread_join(thread, nullptr), 0) << "the thread has really ended";
        EXPECT_THAT(log.records(), Contains("info | thread " + std::to_string(started.m_tid) + " will be end"));
    });
}

TEST(KillThread, LeavesAHandleOf0Alone)
{
    in_child([] {
        g_fake.pthread_kill_result = EINVAL; // any signal would show
        pub_util_thread handle{0};
        EXPECT_EQ(pub_util_kill_thread(&handle), ERR_NONE);
        EXPECT_EQ(pub_util_kill_thread(nullptr), ERR_NONE);
    });
}

TEST(KillThread, DoesNotSignalAThreadThatIsGone)
{
    in_child([] {
        g_fake.thread_is_gone = true;
        g_fake.pthread_kill_result = EINVAL; // any signal would show
        pub_util_thread handle{1};
        EXPECT_EQ(pub_util_kill_thread(&handle), ERR_NONE);
    });
}

// The worker waits in pub_util_clear_own_thread; the refused signal gives it its handle back, and it goes on.
TEST(KillThread, LetsAThreadGoThatItCouldNotSignal)
{
    in_child([] {
        pub_util_block_ending_signals();
        worker leaving;
        leaving.m_handle = 0;
        pthread_t thread = 0;
        const auto leave = [](void *argument) -> void * {
            pub_util_clear_own_thread(static_cast<pub_util_thread *>(argument));
            return nullptr;
        };
        ASSERT_EQ(pthread_create(&thread, nullptr, leave, &leaving.m_handle), 0);
        leaving.m_handle = thread;
        EXPECT_EQ(pthread_join(thread, nullptr), 0);
    });
}

TEST(KillThread, NeverSignalsItsCaller)
{
    in_child([] {
        g_fake.pthread_kill_result = EINVAL;
        pub_util_thread handle{pthread_self()};
        EXPECT_EQ(pub_util_kill_thread(&handle), ERR_NONE);
        EXPECT_EQ(handle, 0U);
    });
}

TEST(KillThread, TellsWhenTheSignalIsRefusedAndKeepsTheHandle)
{
    in_child([] {
        const test_log log;
        pub_util_block_ending_signals();
        worker started;
        start(started);
        const pthread_t thread = started.m_handle;
        g_fake.pthread_kill_result = EAGAIN;
        EXPECT_EQ(pub_util_kill_thread(&started.m_handle), EAGAIN);
        EXPECT_EQ(started.m_handle, thread);
        EXPECT_THAT(log.records(), Contains("error | 11 - Resource temporarily unavailable | pthread_kill(): 11 - "
                                            "Resource temporarily unavailable"));
        g_fake = {};
        EXPECT_EQ(pub_util_kill_thread(&started.m_handle), ERR_NONE);
        EXPECT_EQ(pthread_join(thread, nullptr), 0);
    });
}

void *clear_own_handle(void *argument)
{
    auto *self = static_cast<worker *>(argument);
    pub_util_admit_kill(&self->m_handle);
    pub_util_clear_own_thread(&self->m_handle);
    self->m_is_admitted = true; // it went on
    return nullptr;
}

TEST(KillThread, FindsNothingToEndBehindAThreadThatLeftByItself)
{
    in_child([] {
        pub_util_block_ending_signals();
        worker leaving;
        pthread_t thread = 0;
        ASSERT_EQ(pthread_create(&thread, nullptr, clear_own_handle, &leaving), 0);
        EXPECT_EQ(pthread_join(thread, nullptr), 0);
        EXPECT_TRUE(leaving.m_is_admitted);
        EXPECT_EQ(leaving.m_handle, 0U);
        EXPECT_EQ(pub_util_kill_thread(&leaving.m_handle), ERR_NONE);
    });
}

// Whoever ends it has taken the handle already, the signal is still to come: the thread must be there for it.
void *clear_taken_handle(void *argument)
{
    auto *self = static_cast<worker *>(argument);
    pub_util_admit_kill(&self->m_handle);
    self->m_handle = 0;
    pub_util_clear_own_thread(&self->m_handle);
    _exit(1); // must not go on
}

TEST(KillThread, AThreadThatIsBeingEndedWaitsForItsSignal)
{
    in_child([] {
        pub_util_block_ending_signals();
        worker leaving;
        pthread_t thread = 0;
        ASSERT_EQ(pthread_create(&thread, nullptr, clear_taken_handle, &leaving), 0);
        EXPECT_EQ(pthread_kill(thread, SIGUSR1), 0);
        EXPECT_EQ(pthread_join(thread, nullptr), 0);
    });
}

// --- pub_util_start_thread

void look_around()
{
    pthread_attr_t attributes;
    int state = -1;
    if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
        (void)pthread_attr_getdetachstate(&attributes, &state);
        (void)pthread_attr_destroy(&attributes);
    }
    g_started.m_detach_state = state;
    g_started.m_self = pthread_self();
    g_started.m_tid = gettid();
    while (!g_started.m_may_go_on) {
        std::this_thread::yield();
    }
    g_started.m_is_done = true;
}

TEST(StartThread, RunsTheBodyOnADetachedThreadOfItsOwn)
{
    in_child([] {
        pub_util_block_ending_signals();
        ASSERT_EQ(pub_util_start_thread(&g_started.m_handle, look_around), 0);
        const pthread_t handle = g_started.m_handle;
        EXPECT_NE(handle, 0U) << "the handle is there when the start returns";
        await_begin();
        EXPECT_EQ(handle, g_started.m_self);
        EXPECT_NE(g_started.m_tid, gettid());
        EXPECT_EQ(g_started.m_detach_state, PTHREAD_CREATE_DETACHED);
        EXPECT_FALSE(g_started.m_is_done) << "nobody has waited for its end";
        g_started.m_may_go_on = true;
        await_end();
        EXPECT_TRUE(g_started.m_is_done);
    });
}

TEST(StartThread, LetsTheWorkerBeEndedAtOnce)
{
    in_child([] {
        pub_util_block_ending_signals();
        ASSERT_EQ(pub_util_start_thread(&g_started.m_handle, sleep_for_ever), 0);
        EXPECT_EQ(pub_util_kill_thread(&g_started.m_handle), ERR_NONE);
        EXPECT_EQ(g_started.m_handle, 0U);
        await_begin(); // also before its first wait it does not end the process
        g_started.m_may_go_on = true;
        await_end();
    });
}

TEST(StartThread, WaitsForTheWorkerAlsoWhenInterrupted)
{
    in_child([] {
        pub_util_block_ending_signals();
        g_fake.sem_wait_interruptions = 3;
        ASSERT_EQ(pub_util_start_thread(&g_started.m_handle, sleep_for_ever), 0);
        EXPECT_EQ(g_fake.sem_wait_interruptions, 0);
        EXPECT_NE(g_started.m_handle, 0U);
    });
}

TEST(StartThread, GivesTheErrorWhenThereIsNoThread)
{
    in_child([] {
        g_fake.pthread_create_result = EAGAIN;
        EXPECT_EQ(pub_util_start_thread(&g_started.m_handle, look_around), EAGAIN);
        EXPECT_EQ(g_started.m_handle, 0U);
        EXPECT_EQ(g_started.m_tid, 0) << "nothing ran";
    });
}

TEST(ThreadSignal, OtherThanTheWorkersOwnIsOnlyLogged)
{
    in_child([] {
        const test_log log;
        pub_util_handle_thread_signal(SIGUSR2);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "error | -101 - Invalid parameter | unknown signal: 12"));
    });
}

TEST(Priority, IsRealTimeFourBelowTheHighest)
{
    in_child([] {
        const test_log log;
        EXPECT_EQ(pub_util_raise_process_priority(), ERR_NONE);
        EXPECT_EQ(g_fake.setscheduler_pid, getpid());
        EXPECT_EQ(g_fake.setscheduler_policy, SCHED_FIFO);
        EXPECT_EQ(g_fake.setscheduler_priority, 95);
        EXPECT_THAT(log.records(), ElementsAre("func | "));
    });
}

TEST(Priority, RefusedIsOneRecord)
{
    in_child([] {
        const test_log log;
        g_fake.setscheduler_fails = true;
        EXPECT_EQ(pub_util_raise_process_priority(), ERR_C_FUNCTION);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "sys error | sched_setscheduler: 1 - Operation not permitted"));
    });
}

TEST(Priority, IsNotTriedWhenTheHighestIsUnknown)
{
    in_child([] {
        const test_log log;
        g_fake.priority_max = -1;
        EXPECT_EQ(pub_util_raise_process_priority(), ERR_C_FUNCTION);
        EXPECT_EQ(g_fake.setscheduler_policy, -1);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "sys error | sched_get_priority_max: 22 - Invalid argument"));
    });
}

} // namespace
