// The service of a handset and its cable: started, stopped, plugged, unplugged, and what the handset then shows.

#include "tests/tools/handset_tool.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

class Service : public handset_tool {
  protected:
    static std::string state_of(const std::string &name) { return status_of(name)["service"]["state"]; }

    // What is done, and what standard error says of it; nothing is on standard output.
    static void expect_told(const command_words &words, const std::string &pattern)
    {
        const outcome come = ask(words);
        EXPECT_EQ(come.status, 0) << ::testing::PrintToString(words);
        EXPECT_EQ(come.out, "") << ::testing::PrintToString(words);
        EXPECT_THAT(come.err, MatchesRegex(pattern)) << ::testing::PrintToString(words);
    }

    static void wait_until_ended(const std::string &name)
    {
        emulator::wait_until("the service's end", [&] { return !status_of(name)["service"]["running"].get<bool>(); });
    }
};

TEST_F(Service, IsStartedAndStopped)
{
    for (const char *mode : {"normal", "simplified"}) {
        (void)tools().up("one", {"--mode", mode});
        const std::string before = state_of("one");
        const outcome again = ask({"start", "--name", "one"});
        EXPECT_EQ(again, (outcome{3, "", mistake("the service runs already: " + before)})) << mode;
        expect_told({"stop", "--name", "one"}, "the service: exited with 0\n");
        expect_told({"stop", "--name", "one"}, "the service: exited with 0\n"); // nothing to be done
        expect_told({"start", "--name", "one"}, "the service: running, pid [0-9]+\n");
        EXPECT_NE(state_of("one"), before) << mode;
        const std::string second = state_of("one");
        expect_told({"restart", "--name", "one"}, "the service: running, pid [0-9]+\n");
        EXPECT_NE(state_of("one"), second) << mode;
        const bool is_normal = std::string(mode) == "normal";
        EXPECT_EQ(station(is_normal ? "one/application" : "one", {"send", "version", "module=platform"}).status, 0)
            << mode;
        (void)done({"down", "--name", "one"});
    }
}

TEST_F(Service, OfAStationEndsWithTheCable)
{
    (void)tools().up("one");
    expect_told({"usb", "unplug", "--name", "one"}, "unplugged, the service: exited with 0\n");
    EXPECT_EQ(status_of("one")["usb"], "unplugged");
    expect_told({"usb", "plug", "--name", "one"}, "plugged, the service: running, pid [0-9]+\n");
    EXPECT_EQ(status_of("one")["usb"], "plugged");
    expect_answered("one");
    const std::string before = state_of("one");
    expect_told({"usb", "plug", "--name", "one"}, "plugged, the service: running, pid [0-9]+\n");
    EXPECT_EQ(state_of("one"), before) << "plugged twice";
    (void)done({"down", "--name", "one"});
}

TEST_F(Service, OfAnApplicationDoesNotMindTheCable)
{
    (void)tools().up("one", {"--mode", "normal"});
    const std::string before = state_of("one");
    expect_told({"usb", "unplug", "--name", "one"}, "unplugged, the service: " + before + "\n");
    expect_told({"usb", "plug", "--name", "one"}, "plugged, the service: " + before + "\n");
    EXPECT_EQ(station("one/application", {"send", "readimei"}).status, 0);
    (void)done({"down", "--name", "one"});
}

// An application has the handset switched: it is a station's at the next start.
TEST_F(Service, IsForAStationOnceItWasSwitched)
{
    (void)tools().up("one", {"--mode", "normal"});
    EXPECT_EQ(station("one/application", {"send", "normal-to-amt", "mode=0"}).status, 0);
    wait_until_ended("one");
    EXPECT_EQ(value_of("one", "usb.config"), "serial,adb");
    EXPECT_EQ(value_of("one", "switched"), "1");
    expect_told({"start", "--name", "one"}, "the service: running, pid [0-9]+\n");
    EXPECT_EQ(status_of("one")["serves"], "station");
    EXPECT_EQ(object_of({"list", "--json"})[0]["tty"], tty_of("one"));
    EXPECT_FALSE(std::filesystem::is_symlink(tools().handset_folder("one") + "/application"));
    expect_answered("one");
    (void)done({"set", "--name", "one", "switched=0"});
    expect_told({"restart", "--name", "one"}, "the service: running, pid [0-9]+\n");
    EXPECT_EQ(status_of("one")["serves"], "application") << "and an application's again";
    EXPECT_EQ(station("one/application", {"send", "readimei"}).status, 0);
    (void)done({"down", "--name", "one"});
}

// --- the start on a cable

TEST_F(Service, StaysOnACableWhenAStationAnswers)
{
    (void)tools().up("one", {"--mode", "usb", "--unplugged"});
    const std::string blank = tools().folder() + "/blank.png";
    EXPECT_EQ(ask({"screenshot", "--name", "one", blank}), (outcome{0, "", "written: " + blank + "\n"}));
    EXPECT_EQ(value_of("one", "screen"), "blank");
    expect_told({"usb", "plug", "--name", "one"}, "plugged, the service: running, pid [0-9]+\n");
    expect_answered("one"); // at once: it stays for seconds only
    EXPECT_EQ(ask({"wait-log", "--name", "one", "handshake success."}).status, 0);
    EXPECT_EQ(status_of("one")["handshake"],
              (json{{"value", ""}, {"meaning", "no start on a cable has ended"}, {"earlier", false}}));
    emulator::wait_until("the picture", [] { return value_of("one", "screen") == "on"; });
    EXPECT_THAT(tools().calls("one"), Contains("ioctl(fb0, VEXIOFB_IOCTL_EN_LAYER, 1)"));
    const std::string shown = tools().folder() + "/shown.png";
    EXPECT_EQ(ask({"screenshot", "--name", "one", shown}).status, 0);
    const std::string signature("\x89PNG\r\n\x1A\n", 8);
    const std::string header("\0\0\0\x0DIHDR\0\0\x02\xD0\0\0\x05\0", 16); // 720 x 1280
    for (const std::string &file : {blank, shown}) {
        EXPECT_THAT(read_whole_file(file), StartsWith(signature + header)) << file;
    }
    EXPECT_NE(read_whole_file(blank), read_whole_file(shown));
    EXPECT_EQ(ask({"screenshot", "--name", "one", "-"}), (outcome{0, read_whole_file(shown), ""}));
    const std::string state = state_of("one");
    expect_told({"usb", "unplug", "--name", "one"}, "unplugged, the service: " + state + "\n");
    expect_answered("one", "the cable is only noted");
    expect_told({"stop", "--name", "one"}, "the service: exited with 0\n");
    EXPECT_EQ(status_of("one")["handshake"],
              (json{{"value", "2"}, {"meaning", "permitted, but failed or over"}, {"earlier", false}}));
    (void)done({"down", "--name", "one"});
}

TEST_F(Service, LeavesACableOnWhichNobodyAnswers)
{
    (void)tools().up("one", {"--mode", "usb"});
    wait_until_ended("one"); // 5 seconds
    EXPECT_EQ(state_of("one"), "exited with 0");
    EXPECT_EQ(status_of("one")["handshake"]["value"], "2");
    EXPECT_THAT(done({"status", "--name", "one"}), HasSubstr("handshake   2: permitted, but failed or over\n"));
    EXPECT_EQ(value_of("one", "screen"), "blank");
    (void)done({"down", "--name", "one"});
}

TEST_F(Service, IsNotPermittedOnACableByWhatIsSet)
{
    (void)tools().up("one", {"--mode", "usb", "--unplugged"});
    EXPECT_EQ(status_of("one")["usb"], "unplugged");
    EXPECT_EQ(state_of("one"), "not started");
    const struct {
        const char *setting;
        const char *default_setting;
    } rows[] = {{"charger=ac", "charger=host"}, {"handshake.permitted=0", "handshake.permitted=1"}};
    for (const auto &row : rows) {
        (void)done({"set", "--name", "one", row.setting});
        const outcome come = ask({"usb", "plug", "--name", "one"});
        EXPECT_EQ(come.status, 1) << row.setting;
        EXPECT_EQ(come.out, "");
        EXPECT_THAT(lines_in(come.err), ElementsAre(StartsWith("handset: the service did not stay: not permitted: ")))
            << row.setting;
        EXPECT_EQ(status_of("one")["handshake"]["value"], "1") << row.setting;
        EXPECT_THAT(done({"status", "--name", "one"}), HasSubstr("handshake   1: not permitted: ")) << row.setting;
        (void)done({"set", "--name", "one", row.default_setting});
    }
    (void)done({"set", "--name", "one", "charger.enable=3"});
    expect_told({"usb", "plug", "--name", "one"}, "plugged, the service: running, pid [0-9]+\n");
    expect_answered("one"); // at once: it stays for seconds only
    EXPECT_EQ(status_of("one")["handshake"]["earlier"], true) << "of the start before";
    EXPECT_THAT(done({"wait-log", "--name", "one", "for amt4. return:"}), HasSubstr("return:3, current amt mode:4."));
    (void)done({"down", "--name", "one"});
}

} // namespace
