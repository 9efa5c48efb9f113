// What the handset's own application sees of the service: a path that it opens like a serial port, and an answer to
// whatever it asks.
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "tests/end-to-end/application_handset.h"

namespace {

using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class Application : public application_handset {};

TEST_F(Application, FindsItsPortUnderItsPath)
{
    const emulator::process service = start_up();
    EXPECT_THAT(m_handset.files.read_link(k_app_path), StartsWith("/dev/pts/"));
    EXPECT_FALSE(m_station.opened()) << "nothing is said to a station in this arrangement";
    EXPECT_FALSE(m_modem.opened());
    (void)end(service);
    EXPECT_FALSE(m_handset.files.exists(k_app_path)) << "and the path goes with the service";
}

TEST_F(Application, IsRefusedACommandThatNobodyHandles)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, station::message(0x2C)), failure(0x2D));
    (void)m_handset.wait_log("handle APP req data: (data len = 6) 0600BB2C0000");
    (void)m_handset.wait_log("receive command id: 44(0x2C) - (undefined)");
    EXPECT_THAT(told(m_handset.log_records()),
                Contains("error | -100 - Unknown error | unregistered AMT request id: 44"));
    (void)end(service);
}

TEST_F(Application, IsRefusedCommand255)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, station::message(0xFF)), failure(0x00));
    EXPECT_THAT(told(m_handset.log_records()), Contains("error | -100 - Unknown error | unknown AMT request id: 255"));
    (void)end(service);
}

TEST_F(Application, IsAnsweredToEachReadWhateverIsInIt)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    for (const char *piece : {"x", "xy", "xyz"}) {
        app.write(piece);
        EXPECT_EQ(receive(app), failure(0x01)) << piece << ": without a fourth byte the command id is 0";
    }
    app.write(std::string(200, '\x2C'));
    EXPECT_EQ(receive(app), failure(0x2D));
    (void)end(service);
}

TEST_F(Application, SwitchesTheModemsChannel)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, station::message(0xE8).with_int(159, 1)), station::message(0xE9).with_int(1, 0));
    EXPECT_EQ(m_at->received(), "AT^DLKS=0\rAT^DMPCHN=1\r");
    EXPECT_EQ(ask(app, station::message(0xE8)), station::message(0xE9).with_int(1, 0));
    EXPECT_THAT(m_at->received(), ::testing::EndsWith("AT^DMPCHN=0\r")) << "without an atom it is channel 0";
    EXPECT_THAT(end(service), HasSubstr("[kv-zep-amt]write_at return:12\n[kv-zep-amt]read_at\n"
                                        "[kv-zep-amt]read_at return:\r\nOK\r\n\n"));
}

TEST_F(Application, SwitchesToALongChannelWithACutCommand)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    app.write(station::message(0xE8).with_int(159, 12).encode());
    m_at->wait_received("AT^DLKS=0\rAT^DMPCHN=12");
    m_at->say("\r\nOK\r\n");
    EXPECT_EQ(receive(app), station::message(0xE9).with_int(1, 0));
    EXPECT_EQ(m_at->received(), "AT^DLKS=0\rAT^DMPCHN=12") << "twelve bytes, whatever the channel";
    (void)end(service);
}

TEST_F(Application, IsToldThatTheModemRefusedTheChannel)
{
    const emulator::process service = start_up();
    emulator::modem_control refusing;
    refusing.refusal = emulator::k_modem_refusal;
    m_at->control(refusing);
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, station::message(0xE8).with_int(159, 2)), failure(0xE9));
    EXPECT_THAT(told(m_handset.log_records()), Contains(StartsWith("error | -100 - Unknown error | \r\nERROR\r")));
    m_at->control({});
    EXPECT_EQ(ask(app, station::message(0xE8).with_int(159, 2)), station::message(0xE9).with_int(1, 0));
    (void)end(service);
}

// A port that is there and says nothing at all.
TEST_F(Application, WithoutAModemIsServedAllTheSame)
{
    m_handset.files.write("/dev/ttyDEAD", "");
    m_handset.files.write(k_config_path, std::string(k_config) + "kv.tty.at.mux = /dev/ttyDEAD\n");
    const emulator::process service = start_up();
    EXPECT_THAT(told(m_handset.log_records()), Contains("warning | The AT device is not opened with modem."));
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, station::message(0xE8).with_int(159, 1)), failure(0xE9));
    EXPECT_THAT(told(m_handset.log_records()), Contains("warning | no CP."));
    EXPECT_EQ(m_handset.files.read("/dev/ttyDEAD"), "AT^DLKS=0\r") << "nothing more is asked of it";
    (void)end(service);
}

TEST_F(Application, MeetsAModemThatRefusesToBeQuiet)
{
    emulator::modem_control refusing;
    refusing.refusal = emulator::k_modem_refusal;
    m_at->control(refusing);
    const emulator::process service = start_up();
    EXPECT_THAT(told(m_handset.log_records()), Not(Contains(HasSubstr("The AT device is not opened"))))
        << "a modem that refuses is there";
    m_at->control({});
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, station::message(0xE8).with_int(159, 1)), station::message(0xE9).with_int(1, 0));
    (void)end(service);
}

TEST_F(Application, MayLoseItsModemAndGetItBack)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    m_at->hang_up();
    m_at->come_back(m_handset.open_tty("/dev/ttyAT"));
    EXPECT_EQ(ask(app, station::message(0xE8).with_int(159, 3)), station::message(0xE9).with_int(1, 0));
    EXPECT_EQ(m_at->received(), "AT^DLKS=0\rAT^DLKS=0\rAT^DMPCHN=3\r") << "quiet first, then the command once more";
    EXPECT_THAT(told(m_handset.log_records()),
                Contains("error | -118 - Call C function unsuccessfully | write_at ret_val[-118]"));
    (void)end(service);
}

TEST_F(Application, MayLoseItsModemInTheMiddleOfAnAnswer)
{
    const emulator::process service = start_up();
    silence_modem();
    emulator::tty app = open_app();
    app.write(station::message(0xE8).with_int(159, 3).encode());
    m_at->wait_received("AT^DMPCHN=3\r");
    (void)m_handset.wait_log("write_at write_len[12]");
    m_at->control({});
    emulator::tty next = m_handset.open_tty("/dev/ttyAT");
    m_at->hang_up();
    m_at->come_back(std::move(next));
    m_at->wait_received("AT^DMPCHN=3\rAT^DLKS=0\r");
    (void)m_handset.wait_log("open device \"/dev/ttyAT\" successfully");
    emulator::wait_until("the service to be read out", [&] {
        m_at->say("\r\nOK\r\n"); // whenever it reads again
        return app.fd() >= 0 && !app.read_all(std::chrono::milliseconds(20)).empty();
    });
    (void)end(service);
}

TEST_F(Application, ClosesAndOpensItsPathAgain)
{
    const emulator::process service = start_up();
    for (int round = 0; round < 5; round++) {
        emulator::tty app = open_app();
        EXPECT_EQ(ask(app, station::message(0xE8).with_int(159, 1)), station::message(0xE9).with_int(1, 0));
        const std::string slave = m_handset.files.read_link(k_app_path);
        close_app(app);
        EXPECT_THAT(told(m_handset.log_records()),
                    Contains("info | pty disconnect: pts name(" + slave + "), pts mapping name(/dev/ttyAMT)"));
    }
    (void)end(service);
}

TEST_F(Application, LeavingWithoutItsAnswerDisturbsNobody)
{
    const emulator::process service = start_up();
    for (int round = 0; round < 5; round++) {
        emulator::tty app = open_app();
        app.write(station::message(0x2C).encode());
        close_app(app);
    }
    emulator::tty app = open_app();
    EXPECT_EQ(ask(app, station::message(0x2C)), failure(0x2D));
    (void)end(service);
}

TEST_F(Application, SendingGarbageIsAnsweredAgainAfterIt)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    unsigned state = 12345;
    for (int round = 0; round < 60; round++) {
        std::string chunk;
        for (int i = 0; i < 4 + round * 3; i++) { // few enough to be one read's
            state = state * 1664525U + 1013904223U;
            chunk += static_cast<char>(state >> 24);
        }
        chunk[3] = '\x2C';
        app.write(chunk);
        EXPECT_EQ(receive(app), failure(0x2D));
    }
    (void)end(service);
}

TEST_F(Application, MeetsAFullConsoleThatDoesNotKeepTheServiceFromEnding)
{
    constexpr char k_console[] = "/handset/console"; // a pipe that is held open and never read
    const std::filesystem::path pipe = m_handset.files.host_path(k_console);
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const emulator::descriptor console(open(pipe.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    emulator::program service_with_console = emulator::service();
    service_with_console.arguments = {"-c", "exec " + command() + " > " + k_console};
    service_with_console.path = "/system/bin/sh";
    const emulator::process service = start_up(service_with_console);
    while (write(console.get(), "x", 1) == 1) {
    }
    EXPECT_EQ(errno, EAGAIN) << "it is full";
    emulator::tty app = open_app();
    app.write(station::message(0xE8).with_int(159, 1).encode());
    emulator::wait_until("the first console line of the request", [this] {
        const std::vector<std::string> functions = entered(m_handset.log_records());
        return std::find(functions.begin(), functions.end(), "write_at") != functions.end();
    });
    EXPECT_TRUE(service.signal(SIGTERM));
    EXPECT_EQ(service.wait(), emulator::exited(0));
    EXPECT_THAT(m_handset.files.read(emulator::k_service_log), EndsWith(k_footer));
}

} // namespace
