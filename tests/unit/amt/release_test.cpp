#include "amt/channels/release.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <stdint.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "amt/channels/copies.h"
#include "amt/channels/failure-exit.h"
#include "amt/channels/timers.h"
#include "amt/core/context.h"
#include "amt/run-mode.h"
#include "pub/base/wait.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/timer_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::vector<std::string> g_properties; // "NAME=VALUE", as they were set
std::function<void()> g_on_pause;      // happens before each

} // namespace

extern "C" int __wrap_property_set(const char *name, const char *value)
{
    g_properties.push_back(std::string(name) + "=" + value);
    return 0;
}

extern "C" void __real__Z17pub_util_pause_usj(uint32_t microseconds);
extern "C" void __wrap__Z17pub_util_pause_usj(uint32_t microseconds)
{
    if (g_on_pause) {
        g_on_pause();
    }
    __real__Z17pub_util_pause_usj(microseconds);
}

namespace {

TEST(Release, IsClaimedByExactlyOneThread)
{
    in_child([] {
        std::atomic<int> claims{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 8; i++) {
            threads.emplace_back([&claims] { claims += amt_handle_claim_deinit() ? 1 : 0; });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        EXPECT_EQ(claims, 1);
        EXPECT_FALSE(amt_handle_claim_deinit());
    });
}

// The records of a log that begin with any of these.
std::vector<std::string> records_of(const test_log &log, const std::vector<std::string> &beginnings)
{
    std::vector<std::string> result;
    for (const std::string &record : log.records()) {
        for (const std::string &beginning : beginnings) {
            if (record.compare(0, beginning.size(), beginning) == 0) {
                result.push_back(record);
            }
        }
    }
    return result;
}

// Starts a worker that waits for its end. Returns its number in the log.
pid_t start_worker(pub_util_thread *handle)
{
    const auto number = std::make_shared<std::promise<pid_t>>();
    std::thread([handle, number] {
        pub_util_admit_kill(handle);
        number->set_value(gettid());
        pub_util_sleep_seconds(1000);
        _exit(1);
    }).detach();
    return number->get_future().get();
}

TEST(Release, EndsTheWorkersInTheirOrder)
{
    in_child([] {
        pub_util_block_ending_signals();
        const test_log log;
        amt_context_clear();
        handle_context &context = handle_context_st;
        pub_util_thread *const workers_a[] = {&context.m_thread_modem, &context.m_thread_pc, &context.m_thread_usb,
                                              &context.m_thread_app};
        std::vector<std::string> expected;
        for (pub_util_thread *worker : workers_a) {
            expected.push_back("info | thread " + std::to_string(start_worker(worker)) + " will be end");
        }
        EXPECT_EQ(amt_handle_deinit(), -1) << "there is no pseudo-terminal to close";
        EXPECT_THAT(records_of(log, {"info | thread "}), ElementsAreArray(expected));
        for (const pub_util_thread *worker : workers_a) {
            EXPECT_EQ(*worker, 0U);
        }
    });
}

TEST(Release, LeavesTheLoaderOfThePictureToItself)
{
    in_child([] {
        pub_util_block_ending_signals();
        const test_log log;
        amt_context_clear();
        (void)start_worker(&handle_context_st.m_thread_image);
        EXPECT_EQ(amt_handle_deinit(), -1);
        EXPECT_NE(handle_context_st.m_thread_image, 0U);
        EXPECT_THAT(log.text(), Not(HasSubstr("| pub_util_kill_thread ")));
    });
}

TEST(Release, LeavesTheTimersTheirTurnsUntilTheWorkersHaveEnded)
{
    in_child([] {
        pub_util_block_ending_signals();
        g_order = {};
        amt_context_clear();
        amt_prepare_timers();
        (void)start_worker(&handle_context_st.m_thread_modem);
        g_on_pause = [] { // for the worker to end
            g_on_pause = nullptr;
            deleteTimer(&g_usbEnumTimer);
        };
        EXPECT_EQ(amt_handle_deinit(), -1);
        EXPECT_THAT(g_order.calls, ElementsAre("init 0, 1", "wait, no timer", "post, no timer"));
    });
}

TEST(Release, DoesNotTryToEndAWorkerThatIsNotThere)
{
    in_child([] {
        const test_log log;
        amt_context_clear();
        EXPECT_EQ(amt_handle_deinit(), -1);
        EXPECT_THAT(log.text(), Not(HasSubstr("| pub_util_kill_thread ")));
    });
}

bool is_open(int fd)
{
    return fcntl(fd, F_GETFD) >= 0;
}

TEST(Release, ClosesEveryChannelThatIsOpen)
{
    in_child([] {
        amt_context_clear();
        std::vector<int> fds;
        for (amt_channel_fd *channel :
             {&handle_context_st.m_fd_pc, &handle_context_st.m_fd_at, &handle_context_st.m_fd_modem}) {
            fds.push_back(open("/dev/null", O_RDWR));
            channel->store(fds.back());
        }
        EXPECT_EQ(amt_handle_deinit(), -1) << "there is no pseudo-terminal to close";
        for (const int fd : fds) {
            EXPECT_FALSE(is_open(fd));
        }
        EXPECT_EQ(handle_context_st.m_fd_pc, 0);
        EXPECT_EQ(handle_context_st.m_fd_at, 0);
        EXPECT_EQ(handle_context_st.m_fd_modem, 0);
    });
}

TEST(Release, LeavesChannelsAloneThatAreNotOpen)
{
    in_child([] {
        const test_log log;
        amt_context_clear();
        handle_context_st.m_fd_modem = AMT_CHANNEL_OPENING;
        EXPECT_TRUE(is_open(STDIN_FILENO));
        EXPECT_EQ(amt_handle_deinit(), -1);
        EXPECT_EQ(amt_handle_deinit(), -1) << "and can be repeated";
        EXPECT_TRUE(is_open(STDIN_FILENO)) << "descriptor 0 is nobody's channel";
        EXPECT_THAT(records_of(log, {"info | close "}), IsEmpty());
    });
}

TEST(Release, ClosesThePseudoTerminal)
{
    in_child([] {
        const temp_folder folder;
        amt_context_clear();
        pub_pty &pty = handle_context_st.m_pty;
        strcpy(pty.m_pts_mapping_name_a, "/tmp/none");
        pty.m_ptm_fd = open("/dev/null", O_RDWR);
        const int fd = pty.m_ptm_fd;
        EXPECT_EQ(amt_handle_deinit(), ERR_NONE);
        EXPECT_FALSE(is_open(fd));
        EXPECT_EQ(pty.m_ptm_fd, -1);
    });
}

// A timer that never tells. Returns how the log calls it.
std::string make_silent_timer(amt_timer *timer)
{
    make_timer(timer);
    return std::to_string(reinterpret_cast<intptr_t>(timer->load()));
}

TEST(Release, TakesOneStepBehindTheOther)
{
    in_child([] {
        const test_log log;
        amt_context_clear();
        pub_pty &pty = handle_context_st.m_pty;
        strcpy(pty.m_pts_mapping_name_a, "/tmp/none");
        pty.m_ptm_fd = open("/dev/null", O_RDWR);
        std::vector<std::string> expected = {"info | pub_pty_close pub_pty_delete_mapping ret_val[0]"};
        const std::pair<const char *, amt_channel_fd *> channels_a[] = {{"m_fd_pc", &handle_context_st.m_fd_pc},
                                                                        {"m_fd_at", &handle_context_st.m_fd_at},
                                                                        {"m_fd_modem", &handle_context_st.m_fd_modem}};
        for (const auto &[name, channel] : channels_a) {
            channel->store(open("/dev/null", O_RDWR));
            expected.push_back(std::string("info | close ") + name + "[" + std::to_string(channel->load()) + "]");
        }
        const std::string handshake =
            make_silent_timer(&g_handShakeTimer); // first, so that its number is not in the way
        const std::string enumeration = make_silent_timer(&g_usbEnumTimer);
        EXPECT_NE(enumeration, handshake);
        expected.push_back("info | delete timer.timerId:" + enumeration + ".");
        expected.push_back("info | delete timer.timerId:" + handshake + ".");
        EXPECT_EQ(amt_handle_deinit(), ERR_NONE);
        EXPECT_THAT(records_of(log, {"info | pub_pty_close ", "info | close ", "info | delete timer"}),
                    ElementsAreArray(expected));
    });
}

// --- what the system finds behind a start on the insertion of a cable

TEST(Release, RecordsTheEndOfAStartOnACableBehindEverythingElse)
{
    in_child([] {
        const test_log log;
        amt_context_clear();
        g_usb_activate = 1;
        amt_note_ac_power();
        const int fd = open("/dev/null", O_RDWR);
        handle_context_st.m_fd_modem = fd;
        const std::string handshake = make_silent_timer(&g_handShakeTimer);
        EXPECT_EQ(amt_handle_deinit(), -1) << "there is no pseudo-terminal to close";
        EXPECT_THAT(g_properties, ElementsAre("sys.kv.amt.failure.handshake=1"));
        const std::string last = "info | set property(sys.kv.amt.failure.handshake) to 1.";
        EXPECT_THAT(records_of(log, {"info | close ", "info | delete", last}),
                    ElementsAreArray({"info | close m_fd_modem[" + std::to_string(fd) + "]",
                                      std::string("info | deleteTimer success, timerId[-1]"),
                                      "info | delete timer.timerId:" + handshake + ".",
                                      std::string("info | deleteTimer success, timerId[-1]"), last}));
        EXPECT_EQ(log.records().back(), last);
    });
}

TEST(Release, RecordsNothingThatHasBeenRecorded)
{
    in_child([] {
        amt_context_clear();
        g_usb_activate = 1;
        amt_note_ac_power();
        amt_record_failure_exit();
        EXPECT_EQ(g_properties.size(), 1U);
        EXPECT_EQ(amt_handle_deinit(), -1);
        EXPECT_EQ(g_properties.size(), 1U);
    });
}

TEST(Release, OfACopyOfTheProcessLeavesTheRecordToTheOriginal)
{
    in_child([] {
        amt_context_clear();
        amt_prepare_copies();
        g_usb_activate = 1;
        amt_note_ac_power();
        in_child([] {
            EXPECT_EQ(amt_handle_deinit(), -1);
            EXPECT_THAT(g_properties, IsEmpty());
        });
        EXPECT_EQ(amt_handle_deinit(), -1);
        EXPECT_EQ(g_properties.size(), 1U);
    });
}

TEST(Release, RecordsNothingOfAnyOtherStart)
{
    in_child([] {
        const test_log log;
        amt_context_clear();
        g_usb_activate = 0;
        EXPECT_EQ(amt_handle_deinit(), -1);
        EXPECT_THAT(g_properties, IsEmpty());
        EXPECT_THAT(log.text(), Not(HasSubstr("permit")));
    });
}

TEST(Release, TellsOfTheChannelsThatItClosesOnly)
{
    in_child([] {
        const test_log log;
        amt_context_clear();
        const int fd = open("/dev/null", O_RDWR);
        handle_context_st.m_fd_at = fd;
        EXPECT_EQ(amt_handle_deinit(), -1);
        EXPECT_EQ(amt_handle_deinit(), -1);
        EXPECT_THAT(records_of(log, {"info | close "}),
                    ElementsAreArray({"info | close m_fd_at[" + std::to_string(fd) + "]"}));
    });
}

TEST(Release, IsNotForAWorkerThatSomebodyIsEnding)
{
    const int status = wait_status_of_child([] {
        pub_util_block_ending_signals();
        amt_context_clear();
        std::thread worker([] {
            pub_util_thread own{0};
            pub_util_admit_kill(&own);
            (void)pthread_kill(own.exchange(0), SIGUSR1); // as pub_util_kill_thread does
            amt_handle_end_service(&own);
        });
        worker.join();
        _exit(amt_handle_claim_deinit() ? 42 : 1);
    });
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 42) << status;
}

pub_util_thread g_workers_a[4];

void end_service(pub_util_thread *own_handle)
{
    pub_util_admit_kill(own_handle);
    amt_handle_end_service(own_handle);
}

TEST(Release, ByManyWorkersAtOnceEndsTheProcessOnceWithStatus0)
{
    const temp_folder folder;
    EXPECT_EQ(wait_status_of_child([&folder] {
                  (void)sfw_log_set_directory(folder.path().c_str());
                  (void)sfw_log_start(SFW_LOG_DEFAULT_OBJECT, "test");
                  amt_context_clear();
                  std::vector<std::thread> threads;
                  for (pub_util_thread &worker : g_workers_a) {
                      threads.emplace_back([&worker] { end_service(&worker); });
                  }
                  threads[0].join(); // none comes back: the process ends, or its thread waits for that
                  _exit(1);
              }),
              0);
    std::string log;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder.path())) {
        if (entry.path().filename() == "test.log") {
            log = read_whole_file(entry.path());
        }
    }
    const size_t first = log.find("| amt_handle_deinit ");
    EXPECT_NE(first, std::string::npos);
    EXPECT_EQ(log.find("| amt_handle_deinit ", first + 1), std::string::npos);
    EXPECT_THAT(log, HasSubstr("log  end"));
}

} // namespace
