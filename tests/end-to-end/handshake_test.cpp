// The start on the insertion of a USB cable: the service stays only if a station is there and answers.
#include <iterator>
#include <list>

#include "picture/picture.h"
#include "station/message.h"
#include "tests/end-to-end/station_handset.h"

namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char k_permit_file[] = "/amt/power_usb_amt.txt";
constexpr char k_usb_state_file[] = "/sys/class/android_usb/android0/state";
constexpr char k_failure_property[] = "sys.kv.amt.failure.handshake";
constexpr char k_property_is_set[] = "set property(sys.kv.amt.failure.handshake) to ";

constexpr size_t k_pre_response = 16; // bytes, in front of an answer

// The timers end after 20 s and 5 s; a loaded machine takes its own time on top.
constexpr std::chrono::seconds k_expiry_wait{60};

emulator::program with_cable()
{
    return emulator::service({"-u"});
}

size_t count(const emulator::handset &handset, const std::string &text)
{
    size_t result = 0;
    for (const emulator::log_record &record : handset.log_records()) {
        result += record.text.find(text) != std::string::npos ? 1 : 0;
    }
    return result;
}

// It has ended well, has said why in the property, and has set that once.
void expect_failure(const emulator::handset &handset, const emulator::process &service, const std::string &property,
                    const std::string &name)
{
    EXPECT_EQ(service.wait(k_expiry_wait), emulator::exited(0)) << name << ": " << service.err();
    EXPECT_EQ(handset.property(k_failure_property), property) << name;
    EXPECT_EQ(count(handset, k_property_is_set), 1U) << name;
    EXPECT_THAT(entered(handset.log_records()), Contains("amt_handle_deinit").Times(1)) << name;
    EXPECT_THAT(handset.files.read(emulator::k_service_log), EndsWith(k_footer)) << name;
}

class Handshake : public station_handset {
  protected:
    emulator::process start() { return start_reading(with_cable()); }

    void tell_cable(const std::string &state)
    {
        m_handset.uevent({"change@/devices/virtual/android_usb/android0", "ACTION=change", "USB_STATE=" + state});
    }

    // The modem says something first: from then on the station has five seconds.
    void open_period()
    {
        m_modem.write("\r\nREADY\r\n");
        EXPECT_EQ(m_station.read_exactly(9), "\r\nREADY\r\n");
        (void)m_handset.wait_log("timeMSec:5000. ");
    }

    // The station says something, which goes on to the modem as always.
    void answer(const std::string &line = "ATI\r")
    {
        m_station.write(line);
        EXPECT_EQ(m_modem.read_exactly(line.size()), line);
    }

    // It has stayed until now.
    void expect_end(const emulator::process &service, const std::string &property)
    {
        EXPECT_TRUE(service.signal(SIGTERM)) << service.err();
        expect_failure(m_handset, service, property, "ended");
        EXPECT_THAT(entered(m_handset.log_records()), Not(Contains("amt_handle_failure_exit")));
    }
};

// --- who stays

TEST_F(Handshake, IsDoneByAStationThatAnswersAndShowsThePicture)
{
    const emulator::process service = start();
    tell_cable("CONFIGURED");
    (void)m_handset.wait_log("get usb CONFIGURED event");
    open_period();
    answer();
    (void)m_handset.wait_log("pthread_create() amt_handle_load_image_for_handshake success.");
    (void)m_handset.wait_log("call amt_usb_charge_ctrl. return:0, current amt mode:0, usb_charge_mode:0.");
    emulator::wait_until("the picture", [&] { return !calls_of("ioctl(fb0, VEXIOFB_IOCTL_EN_LAYER, 1)").empty(); });
    EXPECT_THAT(calls_of("ioctl("),
                ElementsAre("ioctl(tty0, KDSETMODE, 1)", "ioctl(fb0, FBIOGET_FSCREENINFO)",
                            "ioctl(fb0, FBIOGET_VSCREENINFO)", "ioctl(fb0, VEXIOFB_IOCTL_EN_LAYER, 0)",
                            "ioctl(fb0, VEXIOFB_IOCTL_SET_LAYER_INPUT_FORMAT, 1)", "ioctl(fb0, FBIOPUT_VSCREENINFO)",
                            "ioctl(fb0, VEXIOFB_IOCTL_EN_LAYER, 1)"));
    EXPECT_EQ(m_handset.property(k_failure_property), "");
    expect_relay("AT+CSQ\r", "\r\n+CSQ: 31,99\r\n\r\nOK\r\n");
    EXPECT_THAT(told(m_handset.log_records()), Contains("info | handshake success.").Times(1));
    EXPECT_EQ(count_log("will create timer."), 1U);
    expect_end(service, "2");
    EXPECT_THAT(service.err(), Not(HasSubstr("D : "))) << "nothing went wrong on the screen";
}

TEST_F(Handshake, ShowsThePictureInTheMiddleOfTheDisplay)
{
    const picture::image picture = picture::read_png(AMT_MODE_IMAGE);
    const emulator::process service = start();
    m_handset.files.write(k_usb_state_file, "CONFIGURED\n");
    open_period();
    answer();
    emulator::wait_until("the picture", [&] { return !calls_of("ioctl(fb0, VEXIOFB_IOCTL_EN_LAYER, 1)").empty(); });
    const emulator::screen screen = m_handset.screen();
    ASSERT_EQ(screen.width, 720U);
    ASSERT_EQ(screen.height, 1280U);
    constexpr unsigned k_left = 187;
    constexpr unsigned k_top = 445;
    unsigned wrong = 0;
    for (unsigned row = 0; row < screen.height; row++) {
        for (unsigned column = 0; column < screen.width; column++) {
            const bool is_inside = column - k_left < picture.width && row - k_top < picture.height;
            const unsigned grey = is_inside ? picture.greys[(row - k_top) * picture.width + column - k_left] : 0;
            const unsigned shown = (grey >> 3) * 255 / 31;
            const unsigned char *pixel = &screen.rgb[(std::size_t{row} * screen.width + column) * 3];
            wrong += pixel[0] != shown || pixel[1] != shown || pixel[2] != shown ? 1 : 0;
        }
    }
    EXPECT_EQ(wrong, 0U) << "pixels";
    expect_end(service, "2");
}

TEST_F(Handshake, IsDoneWithoutAUsableDisplay)
{
    m_handset.control("fb.mmap", {"result=-1", "errno=12"});
    const emulator::process service = start();
    m_handset.files.write(k_usb_state_file, "CONFIGURED\n");
    open_period();
    answer();
    (void)m_handset.wait_log("screen_init return error, not update screen.");
    expect_relay("AT+CSQ\r", "OK");
    expect_end(service, "2");
    EXPECT_THAT(service.err(), EndsWith("\nD : fb mapping failed!\n"));
}

TEST_F(Handshake, TakesAnythingForAnAnswerAndAProbeForTheSecondLanguage)
{
    const emulator::process service = start();
    m_handset.files.write(k_usb_state_file, "CONFIGURED\n");
    open_period();
    m_station.write("AT\r");
    EXPECT_EQ(m_modem.read_exactly(11), "AT;^DLKS=1\r");
    (void)m_handset.wait_log("call amt_usb_charge_ctrl for amt4. return:0, current amt mode:4.");
    EXPECT_THAT(calls_of("amt_usb_charger_enable"),
                ElementsAre("amt_usb_charger_enable(0)", "amt_usb_charger_enable(1)"));
    expect_end(service, "2");
}

// --- how the enumeration becomes known

TEST_F(Handshake, KnowsTheEnumerationFromTheKernelsEvent)
{
    const emulator::process service = start();
    tell_cable("CONFIGURED");
    (void)m_handset.wait_log("delete timer.timerId:");
    open_period();
    EXPECT_EQ(count_log(k_usb_state_file), 0U) << "nobody has to look";
    EXPECT_EQ(count_log("handshake success."), 0U);
    answer();
    (void)m_handset.wait_log("handshake success.");
    expect_end(service, "2");
}

TEST_F(Handshake, KnowsTheEnumerationFromTheKernelsFileOnceTheModemTalks)
{
    const emulator::process service = start();
    for (const std::string state : {"DISCONNECTED\n", "CONNECTED\n"}) {
        m_handset.files.write(k_usb_state_file, state);
        m_modem.write("BOOT");
        EXPECT_EQ(m_station.read_exactly(4), "BOOT");
        (void)m_handset.wait_log("readed success from file(" + std::string(k_usb_state_file) + "). value: " + state);
    }
    EXPECT_EQ(count_log("will create timer."), 0U);
    m_handset.files.write(k_usb_state_file, "CONFIGURED\n");
    open_period();
    EXPECT_EQ(count_log("delete timer.timerId:"), 1U) << "the enumeration is over";
    tell_cable("CONFIGURED");
    (void)m_handset.wait_log("get usb CONFIGURED event");
    answer();
    (void)m_handset.wait_log("handshake success.");
    expect_end(service, "2");
}

TEST_F(Handshake, KnowsTheEnumerationFromTheFirstDataWhichDoNotCompleteIt)
{
    const emulator::process service = start();
    answer();
    (void)m_handset.wait_log("delete timer.timerId:");
    EXPECT_EQ(count_log("handshake success."), 0U);
    open_period();
    EXPECT_EQ(count_log(k_usb_state_file), 0U) << "nobody has to look";
    answer("AT+CSQ\r");
    (void)m_handset.wait_log("handshake success.");
    expect_end(service, "2");
}

TEST_F(Handshake, StaysWhenTheCableIsPulled)
{
    const emulator::process service = start();
    for (const char *state : {"CONFIGURED", "DISCONNECTED"}) {
        tell_cable(state);
    }
    (void)m_handset.wait_log("get usb disconnect event");
    expect_relay("ATI\r", "OK");
    expect_end(service, "2");
}

TEST_F(Handshake, IsOverWithTheStationsPort)
{
    for (const std::string permit : {"1", "0"}) {
        m_handset.set_property(k_failure_property, "");
        m_handset.files.write(k_permit_file, "1");
        m_handset.files.write(k_usb_state_file, "CONFIGURED\n");
        const emulator::process service = start();
        open_period();
        answer();
        (void)m_handset.wait_log("handshake success.");
        m_handset.files.write(k_permit_file, permit);
        emulator::wait_until("it to wait for the station", [this, &service] { // else its port only reads empty
            return count_log("read_pc_loop, read ready") == 2 && is_all(service.pid(), 'S');
        });
        m_station = m_handset.open_tty("/dev/ttyGS0"); // the one that the service reads from is hung up
        expect_failure(m_handset, service, permit == "1" ? "2" : "1", permit);
        EXPECT_EQ(count_log("receive signal"), 0U) << permit;
    }
}

TEST_F(Handshake, OfAServiceWithoutAConfigurationIsOverAtOnce)
{
    m_handset.files.remove(k_config_path);
    const emulator::process service = m_handset.start(with_cable());
    EXPECT_EQ(service.wait(), emulator::exited(256 - 118)) << service.err();
    EXPECT_EQ(m_handset.property(k_failure_property), "2");
    EXPECT_EQ(count_log(k_property_is_set), 1U);
}

// --- who may not stay

struct refusal {
    const char *name;
    const char *charge_mode; // what the platform tells; null: a USB host
    const char *permit;      // in the file; null: there is none
    const char *record;
};

TEST_F(Handshake, IsRefusedToAChargerAndWhereItIsForbidden)
{
    constexpr refusal k_rows_a[] = {
        {"charger", "result=1", nullptr, "power-supply is ac, do not enter amt by handshake. will exit"},
        {"charger, permitted", "result=1", "1", "power-supply is ac, do not enter amt by handshake. will exit"},
        {"0", nullptr, "0", "do not permit to enter amt by handshake. will exit"},
        {"0 and a line end", nullptr, "0\n", "do not permit to enter amt by handshake. will exit"},
        {"no number", nullptr, "yes", "do not permit to enter amt by handshake. will exit"},
    };
    for (const refusal &row : k_rows_a) {
        m_handset.control("IsChargeState", row.charge_mode == nullptr ? std::vector<std::string>{}
                                                                      : std::vector<std::string>{row.charge_mode});
        m_handset.files.remove(k_permit_file);
        if (row.permit != nullptr) {
            m_handset.files.write(k_permit_file, row.permit);
        }
        m_handset.set_property(k_failure_property, "");
        const emulator::process service = m_handset.start(with_cable());
        expect_failure(m_handset, service, "1", row.name);
        EXPECT_THAT(told(m_handset.log_records()),
                    AllOf(Contains("info | will treat handshake."), Contains(std::string("info | ") + row.record)))
            << row.name;
        EXPECT_THAT(service.out(), Not(HasSubstr("init over"))) << row.name << ": it has ended by its signal";
        EXPECT_EQ(count(m_handset, "setTimer"), 0U) << row.name;
    }
}

TEST_F(Handshake, IsPermittedByAnyOtherFlagAndWithoutOne)
{
    constexpr struct {
        const char *name;
        const char *permit; // null: there is no file
    } k_rows_a[] = {{"no file", nullptr}, {"empty", ""}, {"1", "1"}, {"2 and a line end", "2\n"}};
    for (const auto &row : k_rows_a) {
        SCOPED_TRACE(row.name);
        if (row.permit != nullptr) {
            m_handset.files.write(k_permit_file, row.permit);
        }
        const emulator::process service = start();
        EXPECT_EQ(count_log("permit to enter amt by handshake."), 1U);
        expect_end(service, "2");
    }
}

TEST_F(Handshake, WaitsForThePlatformToFindOutWhatIsAtTheCable)
{
    m_handset.control("IsChargeState", {"result=0"});
    const emulator::process service = m_handset.start(with_cable());
    (void)m_handset.wait_log("will recall get function. return:0, mode:0.");
    m_handset.control("IsChargeState", {"result=2"});
    (void)m_handset.wait_log("permit to enter amt by handshake.");
    expect_end(service, "2");
}

TEST_F(Handshake, CanBeEndedWhileThePlatformIsAsked)
{
    m_handset.control("IsChargeState", {"result=0"});
    const emulator::process service = m_handset.start(with_cable());
    (void)m_handset.wait_log("will recall get function. return:0, mode:0.");
    expect_end(service, "2");
    EXPECT_EQ(count_log("receive signal: 15 - SIGTERM"), 1U);
}

TEST_F(Handshake, IsForbiddenByTheStationForTheNextTime)
{
    const emulator::process service = start();
    m_station.write(station::message(0xDB).envelope());
    emulator::wait_until("the flag", [&] { return m_handset.files.exists(k_permit_file); });
    const std::string answer = station::message(0xDC).with_int(1, 0).envelope();
    EXPECT_EQ(m_station.read_exactly(k_pre_response + answer.size()).substr(k_pre_response), answer);
    EXPECT_EQ(m_handset.files.read(k_permit_file), "0");
    expect_end(service, "1");
    m_handset.set_property(k_failure_property, "");
    expect_failure(m_handset, m_handset.start(with_cable()), "1", "the next time");
}

// --- who is late: side by side, for the timers take their time

// A handset of its own, with the service started on the insertion of a cable.
struct late_handset {
    explicit late_handset(const char *charge_mode, bool has_port)
        : handset(built_service())
    {
        handset.files.write(k_config_path, k_config);
        handset.control("IsChargeState", {charge_mode});
        handset.boot();
        if (has_port) {
            station = handset.open_tty("/dev/ttyGS0");
        }
        modem = handset.open_tty("/dev/ttyMODEM");
        service.emplace(handset.start(with_cable()));
    }

    emulator::handset handset;
    emulator::tty station;
    emulator::tty modem;
    std::optional<emulator::process> service;
};

// What the modem and the station do behind the start.
enum class scene {
    nothing,  // happens
    no_port,  // is there for a station
    event,    // of the enumeration is all that happens
    words,    // of the modem over a cable that is enumerated
    answered, // words, and the station answers
};

void play(late_handset &late, scene played)
{
    if (played == scene::no_port) {
        (void)late.handset.wait_log("timeMSec:20000. ");
        EXPECT_TRUE(late.service->signal(SIGUSR1)) << "that of workers, before there is one";
    } else if (played == scene::event) {
        emulator::wait_until("the USB monitor", [&] { return late.handset.uevents_heard(); });
        late.handset.uevent({"change@/devices/virtual/android_usb/android0", "USB_STATE=CONFIGURED"});
    } else if (played == scene::words || played == scene::answered) {
        (void)late.handset.wait_log("read_modem_loop, read ready");
        late.handset.files.write(k_usb_state_file, "CONFIGURED\n");
        late.modem.write("READY");
    }
    if (played == scene::answered) {
        (void)late.handset.wait_log("timeMSec:5000. ");
        late.station.write("ATI\r");
        (void)late.handset.wait_log("handshake success.");
    }
}

TEST(LateHandshake, EndsTheServiceAndTellsWhyAndNobodyElses)
{
    struct row {
        const char *name;
        const char *charge_mode;
        scene played;
        const char *permit;   // in the file, from behind the admission on; null: there is none
        const char *property; // null: it stays
        const char *record;
    };
    constexpr row k_rows_a[] = {
        {"answered", "result=2", scene::answered, nullptr, nullptr, "handshake success."},
        {"enumerated, and the modem is silent", "result=2", scene::event, nullptr, nullptr,
         "amt_handle_monitor_usb_loop get usb CONFIGURED event"},
        {"no charge mode", "result=0", scene::nothing, nullptr, "1",
         "through (20) time's try. do not get valid mode, will exit as ac charge. return:0, mode:0."},
        {"not enumerated", "result=2", scene::nothing, nullptr, "2", "usb enum timeout. time:20 seconds."},
        {"not enumerated, forbidden meanwhile", "result=2", scene::nothing, "0", "1",
         "usb enum timeout. time:20 seconds."},
        {"no port to be opened", "result=2", scene::no_port, nullptr, "2", "usb enum timeout. time:20 seconds."},
        {"no answer", "result=2", scene::words, nullptr, "2", "timeout. time:5 seconds."},
        {"no answer, forbidden meanwhile", "result=2", scene::words, "0", "1", "timeout. time:5 seconds."},
    };
    // Those that stay start first, and are looked at when a later one has ended with the longer period.
    std::list<late_handset> handsets;
    for (const row &row : k_rows_a) {
        late_handset &late = handsets.emplace_front(row.charge_mode, row.played != scene::no_port);
        if (row.permit != nullptr) {
            (void)late.handset.wait_log("permit to enter amt by handshake.");
            late.handset.files.write(k_permit_file, row.permit);
        }
        play(late, row.played);
    }
    auto late = handsets.begin();
    for (auto at = std::rbegin(k_rows_a); at != std::rend(k_rows_a); ++at, ++late) {
        const row &row = *at;
        const std::string name = row.name;
        const bool stays = row.property == nullptr;
        EXPECT_TRUE(!stays || late->service->signal(SIGTERM)) << name << ": " << late->service->err();
        expect_failure(late->handset, *late->service, stays ? "2" : row.property, name);
        const std::vector<emulator::log_record> records = late->handset.log_records();
        EXPECT_THAT(told(records), Contains(std::string("info | ") + row.record).Times(1)) << name;
        EXPECT_THAT(told(records), Contains("info | receive signal: 15 - SIGTERM")) << name;
        EXPECT_THAT(entered(records), Contains("amt_handle_failure_exit").Times(stays ? 0 : 1)) << name;
    }
}

// --- who does not care

TEST_F(Handshake, IsNobodysBusinessAfterAnyOtherStart)
{
    m_handset.control("IsChargeState", {"result=1"});
    m_handset.files.write(k_permit_file, "0");
    m_handset.files.write(k_usb_state_file, "CONFIGURED\n");
    const emulator::process service = start_reading();
    m_modem.write("READY");
    EXPECT_EQ(m_station.read_exactly(5), "READY");
    expect_relay("ATI\r", "OK");
    (void)end(service);
    for (const char *text : {"handshake", "createTimer", "delete timer", k_usb_state_file}) {
        EXPECT_EQ(count_log(text), 0U) << text;
    }
    EXPECT_THAT(m_handset.calls(), Not(Contains(HasSubstr("IsChargeState"))));
    EXPECT_THAT(m_handset.calls(), Not(Contains(HasSubstr("fb0"))));
    EXPECT_EQ(m_handset.property(k_failure_property), "");
}

} // namespace
