// How the service ends by a signal: at any moment of its life, with status 0 and the last word in its log.
#include <sys/stat.h>

#include <fstream>

#include "tests/end-to-end/service_handset.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

using Ending = service_handset;

TEST_F(Ending, BySigtermOrSigusr2ReleasesAndLeavesWithStatus0)
{
    constexpr struct {
        int number;
        const char *name;
    } k_rows_a[] = {{SIGTERM, "15 - SIGTERM"}, {SIGUSR2, "12 - SIGUSR2"}};
    for (const auto &row : k_rows_a) {
        const emulator::process service = start_up();
        const size_t before = m_handset.log_records().size();
        EXPECT_TRUE(service.signal(row.number));
        EXPECT_EQ(service.wait(), emulator::exited(0)) << row.name;
        std::vector<emulator::log_record> records = m_handset.log_records();
        records.erase(records.begin(), records.begin() + static_cast<long>(before));
        EXPECT_THAT(entered(records),
                    ElementsAre("signal_treatment", "amt_deinit_resource", "amt_handle_deinit", "pub_util_kill_thread",
                                "pub_util_handle_thread_signal", "pub_pty_close", "pub_pty_delete_mapping",
                                "deleteTimer", "deleteTimer"));
        EXPECT_THAT(told(records), Contains(std::string("info | receive signal: ") + row.name));
        EXPECT_THAT(m_handset.files.read(emulator::k_service_log), EndsWith(k_footer));
        EXPECT_THAT(service.out(), HasSubstr("init over result=0\"\n")) << "the console lines are not lost";
    }
}

TEST_F(Ending, BySeveralSignalsAtOnceIsOneEnding)
{
    const emulator::process service = start_up();
    for (const int number : {SIGTERM, SIGUSR2, SIGTERM, SIGUSR2}) {
        (void)service.signal(number); // the service may be gone by the last of them
    }
    EXPECT_EQ(service.wait(), emulator::exited(0));
    EXPECT_THAT(entered(m_handset.log_records()), Contains("amt_handle_deinit").Times(1));
    EXPECT_THAT(m_handset.files.read(emulator::k_service_log), EndsWith(k_footer));
}

// A start that is held in its first program, the rotation's rm: long before there are any handlers.
class HeldStart : public service_handset {
  protected:
    HeldStart()
    {
        for (const char *pipe : {k_held, k_go_on}) {
            EXPECT_EQ(mkfifo(m_handset.files.host_path(pipe).c_str(), 0600), 0);
        }
        const std::string hold = std::string("echo x > ") + k_held + "\nread x < " + k_go_on + "\n";
        m_handset.files.write("/system/bin/rm", "#!/system/bin/sh\n" + hold, 0755);
    }

    emulator::process start_held()
    {
        emulator::process service = m_handset.start(emulator::service());
        (void)m_handset.files.read(k_held);
        return service;
    }

    void go_on() { std::ofstream(m_handset.files.host_path(k_go_on)) << "x\n"; }

  private:
    static constexpr char k_held[] = "/handset/held";
    static constexpr char k_go_on[] = "/handset/go-on";
};

TEST_F(HeldStart, KeepsASignalForTheMomentWhenItCanEndCleanly)
{
    for (const int number : {SIGTERM, SIGUSR2}) {
        const emulator::process service = start_held();
        EXPECT_TRUE(service.signal(number));
        go_on();
        EXPECT_EQ(service.wait(), emulator::exited(0));
        EXPECT_THAT(m_handset.files.read(emulator::k_service_log), EndsWith(k_footer));
        EXPECT_THAT(entered(m_handset.log_records()), Contains("signal_treatment").Times(1));
    }
}

TEST_F(HeldStart, KeepsASignalAlsoWhenTheStartFailsMeanwhile)
{
    m_handset.files.remove(k_config_path);
    const emulator::process service = start_held();
    EXPECT_TRUE(service.signal(SIGTERM));
    go_on();
    EXPECT_EQ(service.wait(), emulator::exited(0));
    EXPECT_THAT(m_handset.files.read(emulator::k_service_log), EndsWith(k_footer));
    EXPECT_THAT(service.out(), Not(HasSubstr("config over"))) << "it is taken before the next line is said";
}

TEST_F(HeldStart, TakesNoNoticeOfTheWorkersSignal)
{
    const emulator::process service = start_held();
    EXPECT_TRUE(service.signal(SIGUSR1));
    go_on();
    (void)m_handset.wait_log("PID of kv-zep-amt");
    (void)end(service);
}

} // namespace
