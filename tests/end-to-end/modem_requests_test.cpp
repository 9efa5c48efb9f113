// What the application learns of the modem, what the handset tells of itself beside it, and what of all this holds when
// the modem is slow, refuses, or is not there.
#include <string>
#include <vector>

#include "tests/end-to-end/application_handset.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string k_fixed_version = "\rAndroid4.2,2013-01-21" + std::string(42, '\n');
const std::string k_imei = "490154203237518";

struct question {
    const char *name;
    station::message request;
    station::message answer;
    std::string command; // that the modem hears
    std::uint32_t error; // when the modem refuses: 10 is the handler's, 1 the reader's
};

// All that needs one word of the modem, with a modem that nobody told anything else.
std::vector<question> questions()
{
    const auto done = [](uint8_t id) { return station::message(id).with_int(1, 0); };
    return {
        {"IMEI", station::message(0x07), station::message(0x08).with_string(21, k_imei).with_int(1, 0), "AT^DGSN?\r",
         10},
        {"board", station::message(0x55), station::message(0x56).with_string(38, "EMU0000001").with_int(1, 0),
         "AT^DMSN\r", 10},
        {"serial number", station::message(0xEA), station::message(0xEB).with_bytes(163, "EMU0000001").with_int(1, 0),
         "AT^DMSN\r", 10},
        {"date", station::message(0x41), station::message(0x42).with_string(27, "20240229235959").with_int(1, 0),
         "AT^DMFD??\r", 10},
        {"SIM", station::message(0x63), station::message(0x64).with_bool(41, true), "AT^DTOC\r", 10},
        {"L1 version", station::message(0x2D).with_int(19, 17),
         station::message(0x2E).with_int(19, 17).with_bytes(18, "Emulated L1 1.0").with_int(1, 0), "AT^DCMR=17\r", 1},
        {"HLS version", station::message(0x2D).with_int(19, 18),
         station::message(0x2E).with_int(19, 18).with_bytes(18, "Emulated HLS 1.0").with_int(1, 0), "AT^DCMR=18\r", 1},
        {"support", station::message(0xC5), station::message(0xC6).with_int(202, 5).with_int(1, 0), "AT^DMCC?\r", 10},
        {"a dial request", station::message(0x75).with_string(9, "112"), done(0x76), "AT^DTTEST=75313132\r", 1},
        {"writing a verdict", station::message(0x5B).with_int(39, 3).with_int(36, 1), done(0x5C), "AT^DATOMW=3,1\r",
         10},
        {"reading a verdict", station::message(0x59).with_int(39, 3),
         station::message(0x5A).with_int(39, 3).with_int(36, 1).with_string(37, "").with_int(1, 0), "AT^DATOMR=1,3\r",
         10},
    };
}

class ModemRequests : public application_handset {
  protected:
    void expect_all_answered(emulator::tty &app)
    {
        for (const question &row : questions()) {
            m_at->clear_received();
            EXPECT_EQ(ask(app, row.request), row.answer) << row.name;
            EXPECT_EQ(m_at->received(), row.command) << row.name;
        }
    }
};

TEST_F(ModemRequests, AreAnsweredWithWhatTheModemKnows)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    expect_all_answered(app);
    (void)end(service);
}

TEST_F(ModemRequests, AreAnsweredByASlowModemInPieces)
{
    emulator::modem_control slow;
    slow.split = 1;
    slow.delay_ms = 1;
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    m_at->control(slow);
    expect_all_answered(app);
    (void)end(service);
}

TEST_F(ModemRequests, AreAnsweredToEachRefusalAndThenAgain)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    for (const char *refusal : {"\r\nERROR\r\n", "\r\n+CME ERROR: 10\r\n", "\r\n+CME ERROR\r\n",
                                "\r\n+CMS ERROR: 500\r\n", "\r\n^DLINE: 1\r\n\r\nERROR\r\n"}) {
        emulator::modem_control refusing;
        refusing.refusal = refusal;
        m_at->control(refusing);
        for (const question &row : questions()) {
            EXPECT_EQ(ask(app, row.request), station::message(row.answer.id()).with_int(1, row.error))
                << row.name << refusal;
        }
        m_at->control({});
    }
    expect_all_answered(app);
    (void)end(service);
}

// A port that is there and says nothing at all.
TEST_F(ModemRequests, AreRefusedWithoutAModem)
{
    m_handset.files.write("/dev/ttyDEAD", "");
    m_handset.files.write(k_config_path, std::string(k_config) + "kv.tty.at.mux = /dev/ttyDEAD\n");
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    size_t asked = 0;
    for (const question &row : questions()) {
        EXPECT_EQ(ask(app, row.request), failure(row.answer.id())) << row.name;
        asked++;
    }
    EXPECT_EQ(ask(app, station::message(0x2D).with_int(19, 1)), failure(0x2E)) << "a version of the handset's own";
    EXPECT_EQ(ask(app, station::message(0xC3).with_int(201, 3)), failure(0xC4)) << "the switch";
    EXPECT_EQ(ask(app, station::message(0xDB).with_int(192, 2)), failure(0xDC)) << "the flag";
    EXPECT_THAT(told(m_handset.log_records()), Contains("warning | no CP.").Times(static_cast<int>(asked) + 3));
    EXPECT_EQ(m_handset.files.read("/dev/ttyDEAD"), "AT^DLKS=0\r") << "nothing is asked of it";
    (void)end(service);
}

TEST_F(ModemRequests, MayWaitForAModemThatNeverAnswersAndTheServiceStillEnds)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    silence_modem();
    app.write(station::message(0x07).encode());
    m_at->wait_received("AT^DGSN?\r");
    (void)end(service);
    EXPECT_EQ(app.read_all(std::chrono::milliseconds(0)), "") << "it has waited";
}

TEST_F(ModemRequests, AreAnsweredWhenTheModemThinksBetter)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    silence_modem();
    app.write(station::message(0x07).encode());
    m_at->wait_received("AT^DGSN?\r");
    m_at->say("\r\nRING\r\n");
    m_at->say("\r\n^DGSN:   3579\r\n");
    m_at->say("\r\nOK\r\n");
    EXPECT_EQ(receive(app), station::message(0x08).with_string(21, "3579").with_int(1, 0));
    (void)end(service);
}

// Pieces of all that a modem may say, in any order, but for the two letters that end an answer. Few enough to be one
// reading's: what is left over would be taken for the next answer.
// clang-format off
const std::vector<std::string> k_pieces = {
    "\r\n", "\r", "\n", "\r\n^DGSN: ", "\r\n^DMSN:", "\r\n^DTTEST: 76", "\r\n^DTTEST: ", "\r\n^DCMR:17,",
    "\r\n^DATOMR: ", "\r\n^DMCC:", "\r\n+CME ERRO", "\r\nERROR", "1", ",", "0A", "0d", " ", "\r\nRING\r\n",
    std::string(1, '\0'), "\xFF\xFE", "777777777",
};
// clang-format on

std::string noise(unsigned &state, int pieces)
{
    std::string text;
    for (int i = 0; i < pieces; i++) {
        state = state * 1664525U + 1013904223U;
        text += k_pieces[(state >> 16) % k_pieces.size()];
    }
    return text;
}

TEST_F(ModemRequests, SurviveAnythingThatAModemSays)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    unsigned state = 4711;
    for (int round = 0; round < 60; round++) {
        emulator::modem_control noisy;
        noisy.refusal =
            noise(state, round % 12) + "\r\n^DTTEST: 7600000000\r\n\r\nOK\r\n"; // for whoever answers by a line
        m_at->control(noisy);
        for (const question &row : questions()) {
            app.write(row.request.encode());
            const uint8_t id = receive(app).id();
            EXPECT_TRUE(id == row.answer.id() || row.command.find("DTTEST") != std::string::npos)
                << row.name << ", round " << round << ": " << static_cast<int>(id);
        }
    }
    m_at->control({});
    expect_all_answered(app);
    (void)end(service);
}

// --- the tunnel

TEST_F(ModemRequests, TunnelWhatOnlyTheModemUnderstands)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    for (const int id : {0x01, 0x05, 0x29, 0x2A, 0x2B, 0x43, 0x87, 0xCC, 0xDD}) {
        const station::message request(static_cast<uint8_t>(id));
        EXPECT_EQ(ask(app, request), done(static_cast<uint8_t>(id + 1))) << id;
    }
    m_at->teach("AT^DTTEST=15 => \\r\\n^DTTEST: 18000000000000002A0300000001020A\\r\\n\\r\\nOK\\r\\n");
    EXPECT_EQ(ask(app, station::message(0x15)),
              station::message(0x18).with_int(1, 0).with_int(12, 42).with_bytes(4, std::string("\x01\x02\x0A", 3)))
        << "any answer, not only its own";
    m_at->teach("AT^DTTEST=17 => \\r\\n^DTTEST: 1800000000\\r\\n\\r\\nOK\\r\\n");
    EXPECT_EQ(ask(app, station::message(0x17)), failure(0x18)) << "with a field of no bytes";
    m_at->teach("AT^DTTEST=19 => \\r\\nOK\\r\\n");
    app.write(station::message(0x19).encode());
    m_at->wait_received("AT^DTTEST=19\r");
    EXPECT_EQ(ask(app, station::message(0x43)), done(0x44)) << "an OK alone is no answer, and no failure";
    m_at->teach("AT^DTTEST=05* => \\r\\n^DTTEST: 0800000000\\r\\n\\r\\nOK\\r\\n");
    EXPECT_EQ(ask(app, station::message(0x05).with_string(21, "1")),
              station::message(0x08).with_int(1, 0).with_bytes(21, std::string(15, '\0')))
        << "fields that the modem leaves out are zero";
    (void)end(service);
}

TEST_F(ModemRequests, TakeOneTunnelledLineAReading)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    m_at->teach("AT^DTTEST=27 => \\r\\n^DTTEST: 2800000001\\r\\n\\r\\n^DTTEST: CC00000002\\r\\n\\r\\nOK\\r\\n");
    EXPECT_EQ(ask(app, station::message(0x27)), station::message(0x28).with_int(1, 1));
    EXPECT_EQ(ask(app, station::message(0x43)), done(0x44)) << "the second line came with the first and is lost";
    m_at->teach("AT^DTTEST=27 => \\r\\n^DTTEST: 2800000001\\r\\n\\r\\n^DTTEST: CC00000002\\r\\n");
    EXPECT_EQ(ask(app, station::message(0x27)), station::message(0x28).with_int(1, 1));
    m_at->say("\r\nOK\r\n");
    EXPECT_EQ(receive(app), station::message(0xCC).with_int(1, 2)) << "it goes with the next reading";
    (void)end(service);
}

// The tty is gone between the command and its answer; the modem has forgotten the question.
TEST_F(ModemRequests, GoOnWithAModemThatComesBack)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    silence_modem();
    app.write(station::message(0x07).encode());
    m_at->wait_received("AT^DGSN?\r");
    m_at->control({});
    emulator::tty next = m_handset.open_tty("/dev/ttyAT");
    m_at->hang_up();
    m_at->come_back(std::move(next));
    m_at->wait_received("AT^DGSN?\rAT^DLKS=0\r");
    (void)m_handset.wait_log("open device \"/dev/ttyAT\" successfully");
    emulator::wait_until("the service to be read out", [&] {
        m_at->say("\r\n^DGSN: 1\r\n\r\nOK\r\n"); // once it reads again
        return !app.read_all(std::chrono::milliseconds(20)).empty();
    });
    (void)end(service);
}

// --- the handset itself

TEST_F(ModemRequests, TellTheVersionsThatAreNotTheModems)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    m_at->clear_received();
    for (const std::uint32_t type : {0x01U, 0x10U, 0x13U, 0x14U, 0x20U, 0x40U}) {
        EXPECT_EQ(ask(app, station::message(0x2D).with_int(19, type)),
                  station::message(0x2E).with_int(19, type).with_bytes(18, k_fixed_version).with_int(1, 0));
    }
    EXPECT_EQ(ask(app, station::message(0x2D).with_int(19, 0x15)), failure(0x2E));
    EXPECT_THAT(told(m_handset.log_records()), Contains("error | -100 - Unknown error | unknown version type: 0x15"));
    EXPECT_THAT(m_at->received(), IsEmpty());
    (void)end(service);
}

TEST_F(ModemRequests, TellTheTemperatureOfTheBattery)
{
    const emulator::process service = start_up();
    emulator::tty app = open_app();
    m_handset.files.write("/sys/class/power_supply/battery/temp", "312\n");
    EXPECT_EQ(ask(app, station::message(0x37)), station::message(0x38).with_int(22, 312).with_int(1, 0));
    m_handset.files.remove("/sys/class/power_supply/battery/temp");
    EXPECT_EQ(ask(app, station::message(0x37)), modem_failure(0x38));
    (void)end(service);
}

TEST_F(ModemRequests, AreRegisteredWithOneReplacement)
{
    const emulator::process service = start_up();
    EXPECT_THAT(told(m_handset.log_records()), Contains(HasSubstr("re-register")).Times(1));
    EXPECT_THAT(told(m_handset.log_records()),
                Contains("warning | re-register the handle function of request id: 219"));
    (void)end(service);
}

} // namespace
