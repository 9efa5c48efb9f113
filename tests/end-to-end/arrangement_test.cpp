// Which channels the service opens, in which order, and how they are set.
#include <fcntl.h>

#include <algorithm>

#include "tests/end-to-end/station_handset.h"

namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char k_switch_property[] = "amt.normal.amt.switch_status";

// --- the arrangements

using Arrangement = service_handset;

TEST_F(Arrangement, IsTheApplicationsInNormalModeUnlessItIsSwitched)
{
    for (const char *value : {"", "0", "11", " 1", "@##@"}) {
        m_handset.set_property(k_switch_property, value);
        const emulator::process service = start_up();
        EXPECT_FALSE(m_station.opened()) << value;
        EXPECT_TRUE(m_handset.files.exists("/dev/ttyAMT")) << value;
        const std::string told_value = value[0] == '\0' ? "@##@" : value;
        EXPECT_THAT(told(m_handset.log_records()),
                    Contains("info | property-amt.normal.amt.switch_status value: " + told_value));
        (void)end(service);
    }
}

TEST_F(Arrangement, IsTheStationsInNormalModeWhenItIsSwitched)
{
    m_handset.set_property(k_switch_property, "1");
    const emulator::process service = start_up();
    EXPECT_TRUE(m_station.opened());
    EXPECT_TRUE(m_modem.opened());
    EXPECT_FALSE(m_handset.files.exists("/dev/ttyAMT"));
    EXPECT_EQ(m_at->received(), "");
    EXPECT_THAT(told(m_handset.log_records()), AllOf(Contains("info | property-amt.normal.amt.switch_status value: 1"),
                                                     Contains("info | will create amt1/4 thread. ")));
    (void)end(service);
}

TEST_F(Arrangement, IsTheStationsInTheOtherModesWhateverTheProperty)
{
    install_simplified();
    m_handset.set_property(k_switch_property, "0");
    for (const emulator::program &program : {simplified(), emulator::service({"-u"})}) {
        const emulator::process service = start_up(program);
        EXPECT_TRUE(m_station.opened());
        EXPECT_TRUE(m_modem.opened());
        (void)end(service);
    }
}

// The records behind the entry of amt_handle_init, those of other threads left out. The registrations of the handlers
// count as one.
std::vector<std::string> told_by_main(const emulator::handset &handset, const emulator::process &service)
{
    std::vector<emulator::log_record> records;
    bool is_behind = false;
    for (const emulator::log_record &record : handset.log_records()) {
        const bool is_counted = !records.empty() && records.back().function == record.function &&
                                record.function == "amt_handle_reg_handle_func";
        if (is_behind && record.thread_id == service.pid() && !is_counted) {
            records.push_back(record);
            records.back().text = record.level == "func" ? record.function : record.text;
        }
        is_behind = is_behind || record.function == "amt_handle_init";
    }
    return told(records);
}

constexpr size_t k_prepared = 15; // records of what both arrangements have in common

TEST_F(Arrangement, IsPreparedInOneOrder)
{
    const emulator::process service = start_up();
    std::vector<std::string> records = told_by_main(m_handset, service);
    ASSERT_GE(records.size(), k_prepared);
    records.resize(k_prepared);
    EXPECT_THAT(records, ElementsAre("func | decide_platform_lib_name",
                                     "info | audio lib path-name: /system/lib64/hw/audio.primary.kv7100.amt.so",
                                     "info | misc lib path-name: /system/lib64/hw/amt.kv7100.misc.so",
                                     "func | amt_make_folder", "info | amt_make_folder: /amt/BT does not exist.\r\n",
                                     "info | amt_make_folder mkdir(/amt/BT) successfully", "func | amt_make_folder",
                                     "info | amt_make_folder: /amt/WIFI does not exist.\r\n",
                                     "info | amt_make_folder mkdir(/amt/WIFI) successfully",
                                     "func | amt_write_wifi_to_nvram_file",
                                     "error | -100 - Unknown error | open  /amt/WIFI/WIFI_nvram.txt fail",
                                     "info | File \"/system/etc/wifi/nvram.txt\" not exist, so we try to open file "
                                     "\"/system/etc/wifi/bcmdhd.cal\"",
                                     "error | -100 - Unknown error | open  /system/etc/wifi/bcmdhd.cal fail",
                                     "func | amt_handle_reg_handle_func",
                                     "info | property-amt.normal.amt.switch_status value: @##@"));
    (void)end(service);
}

TEST_F(Arrangement, OfTheApplicationIsSetUpInOneOrder)
{
    const emulator::process service = start_up();
    std::vector<std::string> records = told_by_main(m_handset, service);
    records.erase(records.begin(), records.begin() + k_prepared);
    const std::vector<std::string> steps = {"func | init_for_amt_2_3",
                                            "func | pub_pty_open",
                                            "info | create_pts_mapping chown(/dev/ttyAMT, 1000, 1001) ret_val[0]",
                                            "func | set_ptm_attr",
                                            "info | pub_pty_open \"/dev/ttyAMT\" exists",
                                            "func | pub_util_try_to_open_device",
                                            "info | (0/30)try to open device \"/dev/ttyAT\"",
                                            "info | open device \"/dev/ttyAT\" successfully",
                                            "func | disable_unsolicited_code"};
    auto from = records.begin();
    for (const std::string &step : steps) {
        from = std::find(from, records.end(), step);
        ASSERT_NE(from, records.end()) << step << " does not stand where it should";
    }
    EXPECT_EQ(from + 1, records.end()) << "nothing more is told of a start that succeeds";
    (void)end(service);
}

TEST_F(Arrangement, OfTheStationIsSetUpInOneOrder)
{
    m_handset.set_property(k_switch_property, "1");
    const emulator::process service = start_up();
    std::vector<std::string> records = told_by_main(m_handset, service);
    records.erase(records.begin(), records.begin() + k_prepared + 1); // one more: the arrangement was asked for
    ASSERT_EQ(records.size(), 11U);
    EXPECT_THAT(records[10],
                ::testing::MatchesRegex("info \\| pub_util_try_to_open_device, handle_context_st\\.m_fd_modem  "
                                        "= [0-9]+, amt_cfg_st\\.m_tty_modem_a = /dev/ttyMODEM\n"));
    records.pop_back();
    EXPECT_THAT(records, ElementsAre("func | init_for_amt_1_4", "func | pub_util_try_to_open_device",
                                     "info | begin to check if can open device \"/dev/ttyGS0\"",
                                     "info | (0/60)try to open device \"/dev/ttyGS0\"",
                                     "info | open device \"/dev/ttyGS0\" successfully", "func | set_serial_dev_attr",
                                     "func | pub_util_try_to_open_device",
                                     "info | begin to check if can open device \"/dev/ttyMODEM\"",
                                     "info | (0/60)try to open device \"/dev/ttyMODEM\"",
                                     "info | open device \"/dev/ttyMODEM\" successfully"));
    (void)end(service);
}

TEST_F(Arrangement, MakesNoSecondFolderWhereTheFirstIsImpossible)
{
    m_handset.files.remove("/amt");
    m_handset.files.write("/amt", "a file where the folder should be");
    const emulator::process service = start_up();
    const std::vector<std::string> records = told(m_handset.log_records());
    EXPECT_THAT(records,
                Contains("error | -118 - Call C function unsuccessfully | amt_make_folder mkdir(/amt/BT) faild "
                         "errno[20] strerror[Not a directory]"));
    EXPECT_THAT(records, Not(Contains(HasSubstr("amt_make_folder: /amt/WIFI"))));
    (void)end(service);
}

TEST_F(Arrangement, KeepsFoldersThatAreThere)
{
    m_handset.files.make_folder("/amt/BT");
    const emulator::process service = start_up();
    EXPECT_THAT(told(m_handset.log_records()), Contains("info | amt_make_folder: /amt/BT exist.\r\n"));
    EXPECT_THAT(m_handset.files.list("/amt"), ElementsAre("BT", "WIFI"));
    (void)end(service);
}

// --- the ttys themselves

using Channels = station_handset;

TEST_F(Channels, GiveProgramsThatAreRunNothingAndTakeNoTerminal)
{
    const emulator::process service = start_reading();
    const std::string proc = "/proc/" + std::to_string(service.pid());
    const std::string fds = proc + "/fd/";
    const std::string flags = proc + "/fdinfo/";
    size_t ttys = 0;
    for (const std::string &fd : m_handset.files.list(fds)) {
        if (m_handset.files.read_link(fds + fd).find("/dev/pts/") != std::string::npos) {
            const std::string info = m_handset.files.read(flags + fd);
            EXPECT_NE(std::stoul(info.substr(info.find("flags:") + 6), nullptr, 8) & O_CLOEXEC, 0U) << fd;
            ttys++;
        }
    }
    EXPECT_EQ(ttys, 2U);
    const std::string stat = m_handset.files.read(proc + "/stat");
    EXPECT_THAT(stat.substr(stat.rfind(')')), ::testing::ContainsRegex("^\\) . [0-9]+ [0-9]+ [0-9]+ 0 ")) << stat;
    (void)end(service);
}

TEST_F(Channels, PassBytesAsTheyAreOnceTheyAreSet)
{
    m_station = m_handset.open_tty("/dev/ttyGS0", emulator::tty_mode::as_created);
    const emulator::process service = start_reading();
    m_modem.write("\r\n\x03\x04\n");
    EXPECT_EQ(m_station.read_exactly(5), "\r\n\x03\x04\n") << "no output processing";
    m_station.write("x\n\x03\x11\x13");
    EXPECT_EQ(m_modem.read_exactly(5), "x\n\x03\x11\x13") << "no line editing, no signals, no flow control";
    EXPECT_EQ(m_station.read_all(std::chrono::milliseconds(50)), "") << "no echo";
    (void)end(service);
}

} // namespace
