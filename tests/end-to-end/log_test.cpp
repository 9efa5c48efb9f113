// The log of a whole run: where it lies, its older generations, and the ring.

#include "tests/end-to-end/service_handset.h"

namespace {

using ::testing::Contains;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

using Log = service_handset;

std::string pid_line(const emulator::process &service)
{
    return "info | PID of kv-zep-amt: " + std::to_string(service.pid());
}

TEST_F(Log, LiesInAFolderOfItsOwnWithTheInternalLog)
{
    (void)end(start_up());
    EXPECT_THAT(m_handset.files.list("/data/local/log"), ElementsAre("kv-zep-amt-log"));
    EXPECT_THAT(m_handset.files.list(k_log_folder), ElementsAre("kv-zep-amt.log", "log_internal.log"));
    EXPECT_EQ(m_handset.files.read(std::string(k_log_folder) + "/log_internal.log"), "");
}

TEST_F(Log, IsMadeWithAllItsFolders)
{
    m_handset.files.remove("/data/local/log");
    (void)end(start_up());
    EXPECT_TRUE(m_handset.files.exists(emulator::k_service_log));
}

TEST_F(Log, KeepsTwoOlderGenerations)
{
    std::vector<std::string> pids;
    for (int i = 0; i < 4; i++) {
        const emulator::process service = start_up();
        pids.push_back(pid_line(service));
        (void)end(service);
    }
    EXPECT_THAT(m_handset.files.list("/data/local/log"),
                ElementsAre("kv-zep-amt-log", "kv-zep-amt-log-1", "kv-zep-amt-log-2"));
    EXPECT_THAT(told(m_handset.log_records()), Contains(pids[3]));
    EXPECT_THAT(told(m_handset.log_records("/data/local/log/kv-zep-amt-log-1/kv-zep-amt.log")), Contains(pids[2]));
    EXPECT_THAT(told(m_handset.log_records("/data/local/log/kv-zep-amt-log-2/kv-zep-amt.log")), Contains(pids[1]));
}

TEST_F(Log, RotatesBesideTheExecutableInSimplifiedModeWithoutTouchingIt)
{
    install_simplified();
    for (int i = 0; i < 2; i++) {
        (void)end(start_up(simplified()));
    }
    EXPECT_THAT(m_handset.files.list("/data/local/tmp"),
                ElementsAre("kv-zep-amt", "kv-zep-amt-log", "kv-zep-amt-log-1", "kv-zep-amt.cfg"));
}

TEST_F(Log, IsNamedAfterTheExecutable)
{
    m_handset.files.install(m_handset.files.host_path(emulator::k_service_path), "/data/local/tmp/other-name");
    m_handset.files.write("/data/local/tmp/kv-zep-amt.cfg", "");
    emulator::program program = emulator::service();
    program.path = "/data/local/tmp/other-name";
    const emulator::process service = m_handset.start(program);
    (void)m_handset.wait_log("run under", emulator::k_default_wait, "/data/local/tmp/other-name-log/other-name.log");
    (void)end(service);
}

TEST_F(Log, MayBeImpossibleWithoutStoppingTheStart)
{
    m_handset.files.remove("/data/local/log");
    m_handset.files.write("/data/local/log", "a file where the folder should be");
    EXPECT_THAT(end(start_up()), HasSubstr("init over result=0\"\n"));
}

TEST_F(Log, OfWhichOnlyTheFileIsImpossibleTellsItInTheInternalLog)
{
    // The rotation cannot move the folder away, so the folder in place of the log file stays where it is.
    m_handset.files.write("/system/bin/mv", "#!/system/bin/sh\n", 0755);
    m_handset.files.make_folder(emulator::k_service_log);
    EXPECT_THAT(end(start_up()), HasSubstr("init over result=0\"\n"));
    const std::string internal = m_handset.files.read(std::string(k_log_folder) + "/log_internal.log");
    EXPECT_THAT(internal, ContainsRegex("^log/log_client -> sfw_log_start -> [0-9]+ -> call "
                                        "client_open_file\\(\\) fail\\.\n"
                                        "amt/main -> start_log -> [0-9]+ -> assert\\(log_obj\\.m_fp\\)\\.\n"));
}

// Long enough a configuration fills the ring during the start already.
TEST_F(Log, NeverGrowsPastItsLimitAndKeepsItsHeader)
{
    std::string config;
    for (int i = 0; i < 3000; i++) {
        config += "kv.tty.pc = /dev/tty" + std::to_string(i) + "\n";
    }
    m_handset.files.write(k_config_path, config + k_config);
    const emulator::process service = start_up();
    const std::string at_start = m_handset.files.read(emulator::k_service_log);
    EXPECT_LE(at_start.size(), 102400U + 1023U);
    EXPECT_GT(at_start.size(), 102400U);
    EXPECT_THAT(at_start,
                ContainsRegex("^[0-9]{4}-[0-9][0-9]-[0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9]:[0-9]{3}\n\n={92}\n"));
    const std::vector<std::string> records = told(m_handset.log_records());
    EXPECT_THAT(records, Contains("info | [cfg]kv.tty.pc = /dev/tty2999")) << "the newest stay";
    EXPECT_THAT(records, Contains("info | [cfg]kv.tty.at.mux = /dev/ttyAT"));
    EXPECT_THAT(records, Not(Contains("info | [cfg]kv.tty.pc = /dev/tty0"))) << "the oldest have gone";
    (void)end(service);
    EXPECT_THAT(m_handset.files.read(emulator::k_service_log), HasSubstr(k_footer));
}

} // namespace
