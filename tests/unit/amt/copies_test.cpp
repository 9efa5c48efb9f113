#include "amt/channels/copies.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

#include "amt/channels/release.h"
#include "amt/channels/timers.h"
#include "amt/core/context.h"
#include "pub/base/wait.h"
#include "pub/util/util.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/timer_fakes.h"

namespace {

// Another thread for as long as the test needs its handle.
class other_thread {
  public:
    other_thread()
        : m_thread([this] { m_end.get_future().wait(); })
    {
    }
    ~other_thread()
    {
        m_end.set_value();
        m_thread.join();
    }
    other_thread(const other_thread &) = delete;
    other_thread &operator=(const other_thread &) = delete;

    [[nodiscard]] pthread_t handle() { return m_thread.native_handle(); }

  private:
    std::promise<void> m_end;
    std::thread m_thread;
};

TEST(Copy, HasNoHandleOfAThreadThatItDoesNotHave)
{
    in_child([] {
        amt_context_clear();
        amt_prepare_copies();
        other_thread other;
        handle_context &context = handle_context_st;
        pub_util_admit_kill(&context.m_thread_pc);
        context.m_thread_modem = other.handle();
        context.m_thread_usb = other.handle();
        context.m_thread_app = other.handle();
        context.m_thread_image = other.handle();
        in_child([&context] {
            EXPECT_EQ(context.m_thread_pc, pthread_self()) << "its own it keeps";
            EXPECT_EQ(context.m_thread_modem, 0U);
            EXPECT_EQ(context.m_thread_usb, 0U);
            EXPECT_EQ(context.m_thread_app, 0U);
            EXPECT_EQ(context.m_thread_image, 0U);
        });
        EXPECT_EQ(context.m_thread_modem, other.handle()) << "nothing is changed for the one that was copied";
    });
}

TEST(Copy, IsOfOneThreadWhicheverBecameAWorkerLast)
{
    in_child([] {
        amt_context_clear();
        amt_prepare_copies();
        handle_context &context = handle_context_st;
        pub_util_admit_kill(&context.m_thread_pc);
        const auto is_worker = std::make_shared<std::promise<void>>();
        std::thread worker([&context, is_worker] {
            pub_util_admit_kill(&context.m_thread_app);
            is_worker->set_value();
            pub_util_park();
        });
        is_worker->get_future().wait();
        in_child([&context] {
            EXPECT_EQ(context.m_thread_pc, pthread_self());
            EXPECT_EQ(context.m_thread_app, 0U);
        });
        EXPECT_EQ(context.m_thread_app, worker.native_handle());
        worker.detach(); // it ends with the process
    });
}

TEST(Copy, HasItsOwnHandleThoughSomebodyHasJustTakenItToEndTheService)
{
    in_child([] {
        amt_context_clear();
        amt_prepare_copies();
        pub_util_thread &own = handle_context_st.m_thread_app;
        pub_util_admit_kill(&own);
        ASSERT_EQ(own.exchange(0), pthread_self());
        in_child([&own] {
            EXPECT_EQ(own, pthread_self());
            pub_util_clear_own_thread(&own);
            EXPECT_EQ(own, 0U) << "which does not wait for somebody who is not there";
        });
        EXPECT_EQ(own, 0U);
    });
}

TEST(Copy, HasNoTimer)
{
    in_child([] {
        amt_prepare_timers();
        amt_prepare_copies();
        make_timer(&g_usbEnumTimer);
        make_timer(&g_handShakeTimer);
        in_child([] {
            EXPECT_FALSE(amt_timer_exists(g_usbEnumTimer));
            EXPECT_FALSE(amt_timer_exists(g_handShakeTimer));
            deleteTimer(&g_usbEnumTimer);
        });
        EXPECT_TRUE(amt_timer_exists(g_usbEnumTimer));
        EXPECT_TRUE(amt_timer_exists(g_handShakeTimer));
    });
}

TEST(Copy, CanBeEndedThoughTheServiceIsJustEnding)
{
    in_child([] {
        amt_prepare_copies();
        ASSERT_TRUE(amt_handle_claim_deinit());
        in_child([] {
            EXPECT_TRUE(amt_handle_claim_deinit());
            EXPECT_FALSE(amt_handle_claim_deinit()) << "once";
        });
        EXPECT_FALSE(amt_handle_claim_deinit());
    });
}

[[noreturn]] void leave(int signal_number)
{
    _exit(signal_number);
}

TEST(Copy, LetsTheSignalsInThatEndTheService)
{
    for (const int signal_number : {SIGTERM, SIGUSR2}) {
        in_child([signal_number] {
            pub_util_block_ending_signals();
            (void)signal(signal_number, leave);
            amt_prepare_copies();
            pub_util_admit_ending_signals(ending_signals::worker);
            const int status = wait_status_of_child([signal_number] {
                (void)kill(getpid(), signal_number);
                pub_util_sleep_seconds(60);
            });
            EXPECT_TRUE(WIFEXITED(status));
            EXPECT_EQ(WEXITSTATUS(status), signal_number) << "by the service's own handler, in the next wait";
        });
    }
}

TEST(Copy, FindsItselfAloneHoweverOftenItWasPrepared)
{
    in_child([] {
        amt_context_clear();
        amt_prepare_copies();
        amt_prepare_copies();
        other_thread other;
        handle_context_st.m_thread_usb = other.handle();
        in_child([] {
            in_child([] { EXPECT_EQ(handle_context_st.m_thread_usb, 0U) << "also a copy of the copy"; });
            EXPECT_EQ(handle_context_st.m_thread_usb, 0U);
        });
    });
}

// --- turns

char state_of(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    const size_t name_end = text.rfind(')');
    return name_end == std::string::npos ? ' ' : text[name_end + 2];
}

TEST(SharedTurn, IsOneProcesssAtATime)
{
    in_child([] {
        amt_prepare_copies();
        int ends_a[2];
        ASSERT_EQ(pipe(ends_a), 0);
        pid_t copy = 0;
        {
            const shared_turn turn;
            copy = fork();
            if (copy == 0) {
                const shared_turn next;
                _exit(write(ends_a[1], "c", 1) == 1 ? 0 : 1);
            }
            while (state_of(copy) != 'S' && state_of(copy) != 'Z') { // until it waits, or has not waited
                (void)sched_yield();
            }
            ASSERT_EQ(write(ends_a[1], "p", 1), 1);
        }
        int status = -1;
        EXPECT_EQ(waitpid(copy, &status, 0), copy);
        EXPECT_EQ(status, 0);
        char order_a[3] = "";
        EXPECT_EQ(read(ends_a[0], order_a, 2), 2);
        EXPECT_STREQ(order_a, "pc");
    });
}

TEST(SharedTurn, OfAProcessThatDiedInItIsNotWaitedForForEver)
{
    in_child([] {
        amt_prepare_copies();
        (void)wait_status_of_child([] {
            static const shared_turn turn; // whose end never comes
            _exit(0);
        });
        {
            const shared_turn late;
        }
        in_child([] { const shared_turn at_once; });
    });
}

TEST(SharedTurn, OfAProcessThatHasNoCopiesIsItsOwn)
{
    in_child([] {
        const shared_turn turn;
        const shared_turn another;
    });
}

} // namespace
