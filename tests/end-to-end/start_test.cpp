// The three ways to start the service, what each tells, and what keeps it from starting.
#include <sys/stat.h>

#include <algorithm>

#include "tests/end-to-end/service_handset.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr char k_pid_file[] = "/tmp/kv-zep-amt.pid";

using Start = service_handset;

TEST_F(Start, AtBootTellsItsNormalModeOnTheConsole)
{
    const emulator::process service = start_up();
    EXPECT_EQ(end(service), "g_usb_activate:0.\n"
                            "[kv-zep-amt]command path is \"/system/bin\"\n"
                            "[kv-zep-amt]run under normal mode(with ZEP platform) \n"
                            "[kv-zep-amt]config file is \"/system/etc/kv-zep-amt.cfg\"\n"
                            "            pid file is \"/tmp/kv-zep-amt.pid\"\n"
                            "[kv-zep-amt]config over result=0\n"
                            "[kv-zep-amt]init over result=0\"\n");
}

TEST_F(Start, AtBootLogsItsStepsInOrder)
{
    const emulator::process service = start_up();
    std::vector<emulator::log_record> records = m_handset.log_records();
    const auto is_init = [](const emulator::log_record &record) { return record.function == "amt_handle_init"; };
    records.erase(std::find_if(records.begin(), records.end(), is_init) + 1, records.end());
    EXPECT_THAT(told(records),
                ElementsAre("info | \n    kv-zep-amt\n    version: 001.001\n    build: Dec 15 2025 21:34:37", "func | ",
                            "info | PID of kv-zep-amt: " + std::to_string(service.pid()),
                            "info | run under normal mode(with ZEP platform)",
                            "info | config file[/system/etc/kv-zep-amt.cfg], pid file[/tmp/kv-zep-amt.pid]", "func | ",
                            "func | ", "func | ", "info | [cfg]kv.tty.pc = /dev/ttyGS0",
                            "info | [cfg]kv.tty.app = /dev/ttyAMT", "info | [cfg]kv.tty.modem = /dev/ttyMODEM",
                            "info | [cfg]kv.tty.at.mux = /dev/ttyAT", "func | "));
    EXPECT_THAT(entered(records), ElementsAre("pub_util_create_pid_file", "pub_util_raise_process_priority",
                                              "amt_cfg_init", "parse_amt_cfg", "amt_handle_init"));
    for (const emulator::log_record &record : records) {
        EXPECT_EQ(record.thread_id, service.pid()) << "the main thread's number is the process's";
    }
}

TEST_F(Start, WritesItsPidFile)
{
    const emulator::process service = start_up();
    EXPECT_EQ(m_handset.files.read(k_pid_file), std::to_string(service.pid()) + "\n");
    (void)end(service);
    EXPECT_EQ(m_handset.files.read(k_pid_file), std::to_string(service.pid()) + "\n") << "it is never removed";
}

TEST_F(Start, FromElsewhereIsSimplifiedWithItsFilesBesideTheExecutable)
{
    install_simplified();
    const emulator::process service = start_up(simplified());
    const std::vector<std::string> records = told(m_handset.log_records(k_simplified_log));
    EXPECT_THAT(records, Contains("info | run under simplified mode(only with kernel)"));
    EXPECT_THAT(records, Contains("info | config file[/data/local/tmp/kv-zep-amt.cfg], pid "
                                  "file[/data/local/tmp/kv-zep-amt.pid]"));
    EXPECT_THAT(records, Contains("info | [cfg]kv.tty.pc = /dev/ttyGS0"));
    EXPECT_EQ(m_handset.files.read(k_pid_file), std::to_string(service.pid()) + "\n") << "written where it always is";
    EXPECT_FALSE(m_handset.files.exists("/data/local/tmp/kv-zep-amt.pid"));
    EXPECT_FALSE(m_handset.files.exists(k_log_folder));
    EXPECT_EQ(end(service), "g_usb_activate:0.\n"
                            "[kv-zep-amt]command path is \"/data/local/tmp\"\n"
                            "[kv-zep-amt]run under simplified mode(only with kernel) \n"
                            "[kv-zep-amt]config file is \"/data/local/tmp/kv-zep-amt.cfg\"\n"
                            "            pid file is \"/data/local/tmp/kv-zep-amt.pid\"\n"
                            "[kv-zep-amt]config over result=0\n"
                            "[kv-zep-amt]init over result=0\"\n");
}

TEST_F(Start, OnUsbInsertionUsesTheSystemsFilesFromAnywhere)
{
    install_simplified();
    for (const emulator::program &program : {emulator::service({"-u"}), simplified({"-u"})}) {
        const emulator::process service = start_up(program);
        const std::vector<std::string> records = told(m_handset.log_records());
        EXPECT_THAT(records, Contains("info | run under simplified mode(only with kernel)"));
        EXPECT_THAT(records, Contains("info | config file[/system/etc/kv-zep-amt.cfg], pid file[/tmp/kv-zep-amt.pid]"));
        EXPECT_EQ(end(service), "g_usb_activate:1.\n"
                                "[kv-zep-amt]config file is \"/system/etc/kv-zep-amt.cfg\"\n"
                                "            pid file is \"/tmp/kv-zep-amt.pid\"\n"
                                "[kv-zep-amt]config over result=0\n"
                                "[kv-zep-amt]init over result=0\"\n");
    }
}

TEST_F(Start, FromItsOwnFolderUsesThatFolder)
{
    install_simplified();
    emulator::program here = simplified();
    here.path = "./kv-zep-amt";
    here.folder = "/data/local/tmp";
    const emulator::process service = start_up(here);
    EXPECT_THAT(told(m_handset.log_records(k_simplified_log)),
                Contains("info | config file[./kv-zep-amt.cfg], pid file[./kv-zep-amt.pid]"));
    EXPECT_THAT(end(service), HasSubstr("[kv-zep-amt]command path is \".\"\n"));
}

TEST_F(Start, ByABareNameTakesTheNameForTheFolder)
{
    install_simplified();
    emulator::program bare = simplified();
    bare.path = "kv-zep-amt";
    bare.folder = "/data/local/tmp";
    bare.environment = {"PATH=/data/local/tmp"};
    EXPECT_THAT(output_of(bare, emulator::exited(138)),
                HasSubstr("[kv-zep-amt]config file is \"kv-zep-amt/kv-zep-amt.cfg\"\n"));
}

TEST_F(Start, SurvivesAnyNameThatItIsCalledBy)
{
    for (const std::string &name : {std::string(" "), std::string("/"), std::string("a b/c"), std::string("'/x'/y"),
                                    "/" + std::string(5000, 'd') + "/kv-zep-amt",
                                    "/tmp/" + std::string(240, 'e') + "/kv-zep-amt", std::string("%s%n/%d")}) {
        emulator::program program = emulator::service();
        program.name = name;
        EXPECT_THAT(output_of(program, emulator::exited(138)), HasSubstr("[kv-zep-amt]config over result=-118\n"))
            << name << ": there is no configuration";
    }
    emulator::program nameless = emulator::service();
    nameless.name = "/system/bin/";
    EXPECT_THAT(end(start_up(nameless)), HasSubstr("[kv-zep-amt]run under normal mode(with ZEP platform) \n"));
    EXPECT_TRUE(m_handset.files.exists("/tmp")) << "no folder is rotated away that is not the log's own";
    EXPECT_TRUE(m_handset.files.exists("/system/bin/kv-zep-amt"));
}

// --- options

TEST_F(Start, WithAnyOtherOptionShowsTheUsageAndTouchesNothing)
{
    for (const char *option : {"-h", "-x", "-ux", "--help"}) {
        EXPECT_EQ(output_of(emulator::service({option}), emulator::exited(0)),
                  "\nUsage: /system/bin/kv-zep-amt [OPTION]\n"
                  "  -h                     Display this help and exit.\n"
                  "  -u                     For usb-insert-enter-amt.\n\n");
    }
    EXPECT_FALSE(m_handset.files.exists(k_pid_file));
    EXPECT_THAT(m_handset.files.list("/data/local/log"), IsEmpty());
    EXPECT_THAT(m_handset.calls(), IsEmpty());
}

TEST_F(Start, IgnoresWordsThatAreNoOptions)
{
    const emulator::process service = start_up(emulator::service({"word", "-u", "more"}));
    EXPECT_THAT(end(service), HasSubstr("g_usb_activate:1.\n"));
}

// --- a second instance

TEST_F(Start, IsRefusedWhileAnotherInstanceRuns)
{
    const emulator::process first = start_up();
    const std::string log = m_handset.files.read(emulator::k_service_log);
    EXPECT_EQ(output_of(emulator::service(), emulator::exited(0)),
              "g_usb_activate:0.\n"
              "[kv-zep-amt]command path is \"/system/bin\"\n"
              "[kv-zep-amt]run under normal mode(with ZEP platform) \n"
              "[kv-zep-amt]config file is \"/system/etc/kv-zep-amt.cfg\"\n"
              "            pid file is \"/tmp/kv-zep-amt.pid\"\n"
              "kv-zep-amt already run.\n");
    EXPECT_THAT(output_of(emulator::service({"-u"}), emulator::exited(0)), HasSubstr("kv-zep-amt already run.\n"));
    EXPECT_EQ(m_handset.files.read(k_pid_file), std::to_string(first.pid()) + "\n") << "the pid file stays";
    EXPECT_EQ(m_handset.files.read(emulator::k_service_log), log) << "and so does the log";
    EXPECT_THAT(m_handset.files.list("/data/local/log"), ElementsAre("kv-zep-amt-log"));
    EXPECT_TRUE(first.running());
}

TEST_F(Start, InSimplifiedModeLooksForItsInstanceBesideTheExecutable)
{
    install_simplified();
    const emulator::process first = start_up();
    const emulator::process second = start_up(simplified());
    EXPECT_TRUE(first.running()) << "the two do not know of each other";
    (void)end(second);
    m_handset.files.write("/data/local/tmp/kv-zep-amt.pid", std::to_string(first.pid()));
    EXPECT_THAT(output_of(simplified(), emulator::exited(0)), HasSubstr("kv-zep-amt already run.\n"));
}

TEST_F(Start, IsNotHeldUpByAStalePidFile)
{
    emulator::program other;
    other.path = "/system/bin/cat";
    other.arguments = {"/handset/pipe"};
    ASSERT_EQ(mkfifo(m_handset.files.host_path("/handset/pipe").c_str(), 0600), 0);
    const emulator::process stranger = m_handset.start(other);
    for (const std::string &content :
         {std::string("31999\n"), std::to_string(stranger.pid()), std::string("kv-zep-amt"), std::string(),
          std::string("-1"), std::string("99999999999999999999")}) {
        m_handset.files.write(k_pid_file, content);
        const emulator::process service = start_up();
        EXPECT_EQ(m_handset.files.read(k_pid_file), std::to_string(service.pid()) + "\n") << content;
        (void)end(service);
    }
    EXPECT_TRUE(stranger.running());
}

TEST_F(Start, IsNotHeldUpByAPipeInPlaceOfThePidFile)
{
    ASSERT_EQ(mkfifo(m_handset.files.host_path(k_pid_file).c_str(), 0600), 0);
    (void)end(start_up());
}

// --- configuration

TEST_F(Start, EndsWithTheCodeOfAMissingConfiguration)
{
    m_handset.files.remove(k_config_path);
    const std::string output = output_of(emulator::service(), emulator::exited(256 - 118));
    EXPECT_THAT(output, HasSubstr("[kv-zep-amt]config over result=-118\n"));
    EXPECT_THAT(output, Not(HasSubstr("init over")));
    const std::vector<emulator::log_record> records = m_handset.log_records();
    EXPECT_THAT(entered(records), ElementsAre("pub_util_create_pid_file", "pub_util_raise_process_priority",
                                              "amt_cfg_init", "parse_amt_cfg", "amt_deinit_resource",
                                              "amt_handle_deinit", "pub_pty_close", "deleteTimer", "deleteTimer"));
    EXPECT_THAT(told(records), Contains("sys error | fopen: 2 - No such file or directory"));
    EXPECT_THAT(told(records), Contains("error | -118 - Call C function unsuccessfully | fail to open file: "
                                        "/system/etc/kv-zep-amt.cfg"));
    EXPECT_THAT(told(records), Contains("fatal error | -118 - Call C function unsuccessfully"));
    EXPECT_THAT(m_handset.files.read(emulator::k_service_log), ::testing::EndsWith(k_footer));
}

TEST_F(Start, RefusesAFolderAsConfiguration)
{
    m_handset.files.remove(k_config_path);
    m_handset.files.make_folder(k_config_path);
    EXPECT_THAT(output_of(emulator::service(), emulator::exited(138)), HasSubstr("config over result=-118\n"));
}

TEST_F(Start, RefusesAPipeAsConfigurationInsteadOfWaitingForIt)
{
    m_handset.files.remove(k_config_path);
    ASSERT_EQ(mkfifo(m_handset.files.host_path(k_config_path).c_str(), 0600), 0);
    EXPECT_THAT(output_of(emulator::service(), emulator::exited(138)), HasSubstr("config over result=-118\n"));
}

// --- the rest of the world

TEST_F(Start, RaisesItsPriorityBeforeItReadsItsConfiguration)
{
    const emulator::process service = start_up();
    EXPECT_THAT(m_handset.calls(), Contains("sched_setscheduler(SCHED_FIFO, 95)"));
}

TEST_F(Start, GoesOnWithoutAHigherPriority)
{
    m_handset.control("sched_setscheduler", {"result=-1", "errno=1"});
    const emulator::process service = start_up();
    EXPECT_THAT(told(m_handset.log_records()),
                Contains("sys error | sched_setscheduler: 1 - Operation not permitted").Times(1));
    EXPECT_THAT(end(service), HasSubstr("init over result=0"));
}

TEST_F(Start, NeedsNoStandardDescriptors)
{
    emulator::program closed;
    closed.path = "/system/bin/sh";
    closed.arguments = {"-c", "exec " + command() + " 0<&- 1>&- 2>&-"};
    const emulator::process service = start_up(closed);
    EXPECT_EQ(m_handset.files.read(emulator::k_service_log).find("g_usb_activate"), std::string::npos)
        << "console lines never end up in a file that took their descriptor";
    EXPECT_EQ(m_handset.files.read_link("/proc/" + std::to_string(service.pid()) + "/fd/1"), "/dev/null");
    (void)end(service);
}

TEST_F(Start, SurvivesFilesThatMayNotGrow)
{
    emulator::program limited;
    limited.path = "/system/bin/sh";
    limited.arguments = {"-c", "ulimit -f 1; exec " + command()}; // 512 bytes: the log's header and no more
    (void)end(start_up(limited));
    EXPECT_LE(m_handset.files.read(emulator::k_service_log).size(), 1024U);
}

TEST_F(Start, SurvivesAConsoleThatNobodyReads)
{
    emulator::program pipeline;
    pipeline.path = "/system/bin/sh";
    pipeline.arguments = {"-c", "{ " + command() + "; echo status $? >&2; } | { exec 0<&-; echo closed >&2; }"};
    const emulator::process run = m_handset.start(pipeline);
    run.wait_output("closed");
    const emulator::log_record first = m_handset.wait_log("PID of");
    emulator::program killer;
    killer.path = "/system/bin/sh";
    killer.arguments = {"-c", "kill " + std::to_string(first.thread_id)};
    (void)output_of(killer, emulator::exited(0));
    run.wait_output("status 0");
    EXPECT_EQ(run.wait(), emulator::exited(0));
}

} // namespace
