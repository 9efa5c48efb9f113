// What the system is told of a start on the insertion of a cable that comes to nothing.
#include "amt/channels/failure-exit.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "amt/channels/handshake.h"
#include "amt/channels/timers.h"
#include "tests/support/at_once.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/handshake_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string k_forbidden = "info | do not permit to enter amt by handshake. ";
const std::string k_permitted = "info | permit to enter amt by handshake. ";
const std::string k_set_1 = "info | set property(sys.kv.amt.failure.handshake) to 1.";
const std::string k_set_2 = "info | set property(sys.kv.amt.failure.handshake) to 2.";

// What is told of a flag that can be read, up to a line feed of its own.
std::vector<std::string> told_of_flag(const std::string &text)
{
    return {"func | ", "info | read content: " + text,
            "info | readed success from file(/amt/power_usb_amt.txt). flag: " + text};
}

// --- the property

TEST(FailureExit, TellsByThePropertyWhetherTheHandshakeWasPermitted)
{
    struct row {
        const char *name;
        std::string text;
        bool is_permitted;
    };
    for (const row &row : {row{"0", "0", false}, row{"0 in a line", "0\n", false}, row{"0 behind zeros", "000", false},
                           row{"1", "1", true}, row{"1 in a line", "1\n", true}, row{"2", "2", true},
                           row{"a number below 0", "-1", true}, row{"a number with a 0", "10", true},
                           row{"a number of 33 bits", "4294967296", true}, row{"no number", "permitted", false},
                           row{"a line feed", "\n", false}, row{"a second line", "0\n1\n", false}}) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const cable cable;
            cable.put_flag(row.text);
            amt_set_failure_exit_property();
            EXPECT_THAT(g_fake.events,
                        ElementsAre("read the flag", row.is_permitted ? k_permitted_but_failed : k_not_permitted));
            const bool is_line = row.text.find('\n') != std::string::npos;
            const std::string line = row.text.substr(0, row.text.find('\n'));
            std::vector<std::string> expected = {"func | "};
            for (const std::string &record : told_of_flag(line)) {
                expected.push_back(record);
            }
            expected.back() += is_line ? "" : "."; // otherwise it is in the next line
            expected.push_back(row.is_permitted ? k_permitted : k_forbidden);
            expected.push_back(row.is_permitted ? k_set_2 : k_set_1);
            EXPECT_THAT(cable.told(), ElementsAreArray(expected));
            EXPECT_THAT(cable.text(), HasSubstr("power_usb_amt.txt). flag: " + line + (is_line ? "\n." : ".")));
        });
    }
}

TEST(FailureExit, TakesAFlagThatCannotBeReadForAPermission)
{
    struct row {
        const char *name;
        std::function<void(const cable &)> prepare;
        std::string record;
    };
    for (const row &row :
         {row{"missing", [](const cable &) {}, "open(\"/amt/power_usb_amt.txt\") fail: 2 - No such file or directory"},
          row{"not to be opened", [](const cable &) { g_fake.flag_error = EACCES; },
              "open(\"/amt/power_usb_amt.txt\") fail: 13 - Permission denied"},
          row{"empty", [](const cable &cable) { cable.put_flag(""); }, "read fail: 0 - No error"},
          row{"a folder", [](const cable &cable) { cable.make_flag_folder(); }, "read fail: 21 - Is a directory"}}) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const cable cable;
            row.prepare(cable);
            amt_set_failure_exit_property();
            EXPECT_THAT(g_fake.events, ElementsAre("read the flag", k_permitted_but_failed));
            EXPECT_THAT(cable.told(),
                        ElementsAre("func | ", "func | ", k_failed_call + row.record, k_permitted, k_set_2));
        });
    }
}

TEST(FailureExit, DoesNotEvenReadTheFlagOnACharger)
{
    for (const char *text : {"0", "1"}) {
        in_child([text] {
            const cable cable;
            cable.put_flag(text);
            amt_note_ac_power();
            amt_set_failure_exit_property();
            EXPECT_THAT(g_fake.events, ElementsAre(k_not_permitted)) << text;
            EXPECT_THAT(cable.told(), ElementsAre("func | ", k_forbidden, k_set_1));
        });
    }
}

// --- once

TEST(FailureExit, IsRecordedOnce)
{
    in_child([] {
        cable cable;
        amt_note_ac_power();
        amt_record_failure_exit();
        EXPECT_THAT(g_fake.events, ElementsAre(k_not_permitted));
        cable.forget();
        amt_record_failure_exit();
        amt_record_failure_exit();
        amt_handle_failure_exit();
        EXPECT_THAT(g_fake.events, ElementsAre(k_end_process)) << "nobody waits for what is done";
    });
}

TEST(FailureExit, IsRecordedAnewByAnotherStart)
{
    in_child([] {
        cable cable;
        amt_note_ac_power();
        amt_record_failure_exit();
        cable.forget();
        amt_forget_failure();
        EXPECT_THAT(g_fake.events, IsEmpty());
        amt_record_failure_exit();
        EXPECT_THAT(g_fake.events, ElementsAre("read the flag", k_permitted_but_failed)) << "and the charger has gone";
    });
}

TEST(FailureExit, IsRecordedByOneOfTwoThreadsAndTheOtherReturnsBehindIt)
{
    in_child([] {
        const cable cable;
        amt_note_ac_power();
        std::promise<void> waits;
        std::promise<void> is_done;
        std::thread other;
        g_fake.on_event = [&](const std::string &event) {
            if (event == k_not_permitted) {
                other = std::thread([&] {
                    amt_record_failure_exit();
                    if (times("pause 1000 us") == 0) {
                        waits.set_value(); // it did not
                    }
                });
                waits.get_future().wait();
            } else if (times(event) == 2) {
                waits.set_value();
                is_done.get_future().wait();
            }
        };
        amt_record_failure_exit();
        is_done.set_value();
        other.join();
        EXPECT_THAT(g_fake.events, ElementsAre("pause 1000 us", "pause 1000 us", k_not_permitted, "pause 1000 us"));
    });
}

TEST(FailureExit, IsRecordedOnceByTwoThreadsThatComeAtTheSameMoment)
{
    in_child([] {
        const cable cable;
        for (int round = 0; round < k_rounds; round++) {
            amt_forget_failure();
            amt_note_ac_power();
            g_fake.events.clear();
            at_once(amt_record_failure_exit, amt_record_failure_exit, turns_behind(round));
            EXPECT_EQ(times(k_not_permitted), 1U) << round;
        }
    });
}

TEST(FailureExit, DoesNotWaitForEverForAThreadThatIsStuck)
{
    in_child([] {
        cable cable;
        amt_note_ac_power();
        std::vector<std::string> meanwhile;
        g_fake.on_event = [&](const std::string &event) {
            if (event == k_not_permitted) {
                on_another_thread([] { amt_record_failure_exit(); });
                meanwhile = g_fake.events;
            }
        };
        amt_record_failure_exit();
        EXPECT_THAT(meanwhile, ElementsAreArray(std::vector<std::string>(1000, "pause 1000 us")));
        EXPECT_EQ(times(k_not_permitted), 1U);
        cable.forget();
        amt_record_failure_exit();
        EXPECT_THAT(g_fake.events, IsEmpty());
    });
}

TEST(FailureExit, IsLeftToTheOriginalByACopyOfTheProcess)
{
    in_child([] {
        const cable cable;
        g_fake.on_event = [](const std::string &event) {
            if (event == "read the flag") {
                amt_leave_failure_to_original(); // also when the original is just at it
                amt_record_failure_exit();
                EXPECT_THAT(g_fake.events, IsEmpty());
            }
        };
        amt_record_failure_exit();
        EXPECT_THAT(g_fake.events, ElementsAre("read the flag", k_permitted_but_failed));
    });
    in_child([] {
        const cable cable;
        amt_leave_failure_to_original();
        amt_record_failure_exit();
        EXPECT_THAT(g_fake.events, IsEmpty());
        EXPECT_THAT(cable.told(), IsEmpty());
    });
}

// --- the end of the process

TEST(FailureExit, RecordsDeletesTheTimersAndEndsTheProcess)
{
    in_child([] {
        const cable cable;
        cable.put_flag("1");
        g_usbEnumTimer = reinterpret_cast<timer_t>(7);
        g_handShakeTimer = reinterpret_cast<timer_t>(8);
        amt_handle_failure_exit();
        EXPECT_THAT(g_fake.events, ElementsAre("read the flag", k_permitted_but_failed, "delete timer 7",
                                               "delete timer 8", k_end_process));
        EXPECT_THAT(cable.told(),
                    ElementsAre("func | ", "func | ", "func | ", "info | read content: 1",
                                "info | readed success from file(/amt/power_usb_amt.txt). flag: 1.", k_permitted,
                                k_set_2, "func | ", "info | delete timer.timerId:7.",
                                "info | deleteTimer success, timerId[-1]", "func | ", "info | delete timer.timerId:8.",
                                "info | deleteTimer success, timerId[-1]"));
        EXPECT_FALSE(amt_timer_exists(g_usbEnumTimer));
        EXPECT_FALSE(amt_timer_exists(g_handShakeTimer));
    });
}

TEST(FailureExit, EndsTheProcessBehindTheRecordThatAnotherThreadIsWriting)
{
    in_child([] {
        const cable cable;
        amt_note_ac_power();
        std::vector<std::string> meanwhile;
        g_fake.on_event = [&](const std::string &event) {
            if (event == k_not_permitted) {
                on_another_thread([] { amt_handle_failure_exit(); });
                meanwhile = g_fake.events;
            }
        };
        amt_record_failure_exit();
        ASSERT_EQ(meanwhile.size(), 1001U);
        EXPECT_EQ(meanwhile.back(), k_end_process) << "or else it would never end";
    });
}

} // namespace
