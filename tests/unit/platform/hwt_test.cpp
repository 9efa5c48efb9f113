// The radios of a workstation: every entry is recorded as it was called, and answers as its control file says. The
// files of the emulated handset are the same for all entries, so what is true of one file is tested with one entry.
// nanosleep is replaced by one that takes no time and remembers what it was asked for.
#include "tests/unit/platform/handset_root.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <hwt.h>
#include <map>
#include <sstream>
#include <thread>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

// What the replaced nanosleep was told and saw; reset by assignment.
struct fake_sleep {
    std::vector<long> m_asked_ms;
    int m_interruptions = 0; // how often a signal ends it with half the time left
    std::function<void()> m_observe;
};
fake_sleep g_fake_sleep;

} // namespace

// The C library's declaration has reserved names.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" int nanosleep(const timespec *asked, timespec *left)
{
    const long asked_ms = asked->tv_sec * 1000 + asked->tv_nsec / 1000000;
    g_fake_sleep.m_asked_ms.push_back(asked_ms);
    if (g_fake_sleep.m_observe) {
        g_fake_sleep.m_observe();
    }
    if (g_fake_sleep.m_interruptions == 0) {
        return 0;
    }
    --g_fake_sleep.m_interruptions;
    *left = {asked_ms / 2 / 1000, asked_ms / 2 % 1000 * 1000000};
    errno = EINTR;
    return -1;
}

namespace {

class Radios : public handset_root {
  protected:
    void SetUp() override
    {
        handset_root::SetUp();
        g_fake_sleep = {};
    }
};

int g_number; // where an entry is to store what nobody looks at

struct entry_row {
    const char *m_entry;
    int (*m_call)();
    const char *m_record;
};

// clang-format off
const entry_row k_entries[] = {
    {"hwt_btCtrl",    [] { return hwt_btCtrl(1); },                      "hwt_btCtrl(1)\n"},
    {"hwt_btCheck",   [] { return hwt_btCheck(); },                      "hwt_btCheck()\n"},
    {"hwt_wifiCtrl",  [] { return hwt_wifiCtrl(0); },                    "hwt_wifiCtrl(0)\n"},
    {"hwt_wifiCheck", [] { return hwt_wifiCheck(); },                    "hwt_wifiCheck()\n"},
    {"hwt_gpsCtrl",   [] { return hwt_gpsCtrl(1, 0, nullptr, nullptr); }, "hwt_gpsCtrl(1, 0, null, null)\n"},
    {"hwt_gpsCtrl",   [] { return hwt_gpsCtrl(2, 3, nullptr, &g_number); }, "hwt_gpsCtrl(2, 3, null, cnr)\n"},
    {"hwt_gpsCtrl",   [] { return hwt_gpsCtrl(2, 4, &g_number, nullptr); }, "hwt_gpsCtrl(2, 4, svid, null)\n"},
    {"hwt_gpsCheck",  [] { return hwt_gpsCheck(); },                     "hwt_gpsCheck()\n"},
    {"hwt_TxTest",    [] { return hwt_TxTest(1, -5, 110, 6); },          "hwt_TxTest(1, -5, 110, 6)\n"},
    {"hwt_RxTest",    [] { return hwt_RxTest(1, 6, 0, nullptr); },       "hwt_RxTest(1, 6, 0, null)\n"},
    {"hwt_RxTest",    [] { return hwt_RxTest(1, 6, 10, &g_number); },    "hwt_RxTest(1, 6, 10, count)\n"},
    {"hwt_RxTest",    [] { return hwt_RxTest(0, 6, 0, nullptr); },       "hwt_RxTest(0, 6, 0, null)\n"},
    {"hwt_RxTest",    [] { return hwt_RxTest(0, 6, 0, &g_number); },     "hwt_RxTest(0, 6, 0, count)\n"},
};
// clang-format on

TEST_F(Radios, EveryEntrySucceedsAndIsRecordedWithItsArguments)
{
    std::string expected;
    for (const entry_row &row : k_entries) {
        EXPECT_EQ(row.m_call(), 0) << row.m_record;
        expected += row.m_record;
    }
    EXPECT_EQ(calls(), expected);
    EXPECT_THAT(g_fake_sleep.m_asked_ms, IsEmpty());
}

TEST_F(Radios, EveryEntryHasItsOwnResultAndDelay)
{
    for (const entry_row &row : k_entries) {
        SCOPED_TRACE(row.m_record);
        g_fake_sleep = {};
        control(row.m_entry, "result=-7\ndelay_ms=1250\n");
        EXPECT_EQ(row.m_call(), -7);
        EXPECT_THAT(g_fake_sleep.m_asked_ms, ElementsAre(1250));
        std::filesystem::remove(host_path("/handset/control/") + row.m_entry);
    }
}

TEST_F(Radios, ACallIsRecordedBeforeItsDelay)
{
    std::string seen;
    g_fake_sleep.m_observe = [&] { seen = calls(); };
    control("hwt_btCheck", "delay_ms=5");
    (void)hwt_btCheck();
    EXPECT_EQ(seen, "hwt_btCheck()\n");
}

TEST_F(Radios, ADelayOutlastsSignals)
{
    g_fake_sleep.m_interruptions = 2;
    control("hwt_btCheck", "delay_ms=400\nresult=3");
    EXPECT_EQ(hwt_btCheck(), 3);
    EXPECT_THAT(g_fake_sleep.m_asked_ms, ElementsAre(400, 200, 100));
}

TEST_F(Radios, ACallKeepsTheAnswerItBeganWith)
{
    g_fake_sleep.m_observe = [this] { control("hwt_btCheck", "result=2"); };
    control("hwt_btCheck", "delay_ms=5\nresult=1");
    EXPECT_EQ(hwt_btCheck(), 1);
    EXPECT_EQ(hwt_btCheck(), 2);
}

TEST_F(Radios, TheControlIsReadAtEachCall)
{
    control("hwt_wifiCheck", "result=1\n");
    EXPECT_EQ(hwt_wifiCheck(), 1);
    control("hwt_wifiCheck", "result=0\n");
    EXPECT_EQ(hwt_wifiCheck(), 0);
}

TEST_F(Radios, TheLastLineOfAKeyCountsAndOtherLinesDoNot)
{
    control("hwt_btCheck", "\n# result=8\nresult=1\nresults=5\n=6\nresult\nresult=-2147483648");
    EXPECT_EQ(hwt_btCheck(), -2147483647 - 1);
}

TEST_F(Radios, AValueThatIsNoNumberIsReportedAndLeavesTheDefault)
{
    for (const char *value : {"", "abc", "1x", "1 ", "0x10", "1.5", "2147483648", "-2147483649", "99999999999999999999",
                              "000000000000000000000000000000001"}) {
        SCOPED_TRACE(value);
        control("hwt_btCheck", std::string("result=") + value + "\n");
        captured_stderr output;
        EXPECT_EQ(hwt_btCheck(), 0);
        const auto writes = output.writes();
        ASSERT_EQ(writes.size(), 1U);
        EXPECT_EQ(writes[0], host_path("/handset/control/hwt_btCheck") + ": result: cannot use \"" + value +
                                 "\", taking the default\n");
    }
}

TEST_F(Radios, ADelayThatIsNoneIsReportedAndNotWaited)
{
    for (const char *value : {"-1", "soon"}) {
        control("hwt_btCheck", std::string("result=4\ndelay_ms=") + value);
        captured_stderr output;
        EXPECT_EQ(hwt_btCheck(), 4);
        EXPECT_THAT(output.writes(), ElementsAre(HasSubstr(std::string("delay_ms: cannot use \"") + value)));
    }
    EXPECT_THAT(g_fake_sleep.m_asked_ms, IsEmpty());
}

TEST_F(Radios, AnEnormousValueIsReportedInOneShortLine)
{
    control("hwt_btCheck", "result=" + std::string(20000, 'x'));
    captured_stderr output;
    EXPECT_EQ(hwt_btCheck(), 0);
    EXPECT_THAT(output.writes(), ElementsAre(HasSubstr("\"" + std::string(200, 'x') + "\"")));
}

TEST_F(Radios, AControlFileLargerThanAnyUseIsReadAsFarAsItCounts)
{
    control("hwt_btCheck", "result=1\n" + std::string(100000, '#') + "\nresult=2\n");
    EXPECT_EQ(hwt_btCheck(), 1);
}

TEST_F(Radios, AControlThatIsNoFileIsAsGoodAsNone)
{
    std::filesystem::create_directories(host_path("/handset/control/hwt_btCheck"));
    EXPECT_EQ(hwt_btCheck(), 0);
}

TEST_F(Radios, WithoutTheHandsetsFolderCallsGoUnrecordedSilently)
{
    std::filesystem::remove_all(host_path("/handset"));
    captured_stderr output;
    EXPECT_EQ(hwt_btCtrl(1), 0);
    EXPECT_THAT(output.writes(), IsEmpty());
    EXPECT_EQ(calls(), "(missing)");
}

TEST_F(Radios, ARootTooLongForAPathIsAsGoodAsAnEmptyHandset)
{
    control("hwt_btCtrl", "result=1");
    const std::string root = "/" + std::string(5000, 'r');
    ASSERT_EQ(setenv("HANDSET_ROOT", root.c_str(), 1), 0); // NOLINT(concurrency-mt-unsafe): no threads here
    EXPECT_EQ(hwt_btCtrl(1), 0);
}

TEST_F(Radios, ASatelliteIsReadIntoItsPlaces)
{
    control("hwt_gpsCtrl", "svid=21\ncnr=38\n");
    int svid = -1;
    int cnr = -1;
    EXPECT_EQ(hwt_gpsCtrl(2, 0, &svid, &cnr), 0);
    EXPECT_EQ(svid, 21);
    EXPECT_EQ(cnr, 38);
}

TEST_F(Radios, ASlotMayHaveASatelliteOfItsOwn)
{
    control("hwt_gpsCtrl", "svid=21\ncnr=38\nsvid.1=5\ncnr.12=45\n");
    const int expected[][3] = {{0, 21, 38}, {1, 5, 38}, {2, 21, 38}, {12, 21, 45}};
    for (const auto &[index, expected_svid, expected_cnr] : expected) {
        SCOPED_TRACE(index);
        int svid = -1;
        int cnr = -1;
        EXPECT_EQ(hwt_gpsCtrl(2, index, &svid, &cnr), 0);
        EXPECT_EQ(svid, expected_svid);
        EXPECT_EQ(cnr, expected_cnr);
    }
}

TEST_F(Radios, ASlotWithoutASatelliteReadsAsZero)
{
    int svid = -1;
    int cnr = -1;
    EXPECT_EQ(hwt_gpsCtrl(2, 0, &svid, &cnr), 0);
    EXPECT_EQ(svid, 0);
    EXPECT_EQ(cnr, 0);
}

TEST_F(Radios, StartingAndEndingASearchReadsNoSatellite)
{
    control("hwt_gpsCtrl", "svid=21\ncnr=38\n");
    int svid = -1;
    int cnr = -1;
    EXPECT_EQ(hwt_gpsCtrl(1, 0, &svid, &cnr), 0);
    EXPECT_EQ(hwt_gpsCtrl(0, 0, &svid, &cnr), 0);
    EXPECT_EQ(svid, -1);
    EXPECT_EQ(cnr, -1);
}

TEST_F(Radios, AFailureAndWhatItReadsAreChosenApart)
{
    control("hwt_gpsCtrl", "result=1\nsvid=21\n");
    control("hwt_RxTest", "result=1\ncount=7\n");
    int svid = -1;
    int cnr = -1;
    int count = -1;
    EXPECT_EQ(hwt_gpsCtrl(2, 0, &svid, &cnr), 1);
    EXPECT_EQ(hwt_RxTest(0, 6, 0, &count), 1);
    EXPECT_EQ(svid, 21);
    EXPECT_EQ(count, 7);
}

TEST_F(Radios, TheFramesHeardAreCountedWhenListeningEnds)
{
    control("hwt_RxTest", "count=997\n");
    int count = -1;
    EXPECT_EQ(hwt_RxTest(1, 6, 0, &count), 0);
    EXPECT_EQ(count, -1);
    EXPECT_EQ(hwt_RxTest(0, 6, 0, &count), 0);
    EXPECT_EQ(count, 997);
}

TEST_F(Radios, ListeningToNothingCountsNothing)
{
    int count = -1;
    EXPECT_EQ(hwt_RxTest(0, 6, 0, &count), 0);
    EXPECT_EQ(count, 0);
}

TEST_F(Radios, RecordsOfSeveralThreadsAreWholeLines)
{
    constexpr int k_calls = 200;
    std::thread bluetooth([] {
        for (int i = 0; i < k_calls; ++i) {
            (void)hwt_btCtrl(1);
        }
    });
    std::thread wifi([] {
        for (int i = 0; i < k_calls; ++i) {
            (void)hwt_TxTest(1, -5, 110, 6);
        }
    });
    bluetooth.join();
    wifi.join();

    std::istringstream record(calls());
    std::map<std::string, int> seen;
    for (std::string line; std::getline(record, line);) {
        ++seen[line];
    }
    const std::map<std::string, int> expected = {{"hwt_btCtrl(1)", k_calls}, {"hwt_TxTest(1, -5, 110, 6)", k_calls}};
    EXPECT_EQ(seen, expected);
}

} // namespace
