// What is told of the handsets that are up: list and status, for people and for programs.

#include "tests/tools/handset_tool.h"

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class Look : public handset_tool {
  protected:
    static std::vector<std::string> members_of(const json &object)
    {
        std::vector<std::string> names;
        for (const auto &[name, value] : object.items()) {
            names.push_back(name);
        }
        return names;
    }
};

TEST_F(Look, ListsNothingWhenNothingIsUp)
{
    expect_rows({
        {"for people", {"list"}, 0, "", "no handset is up: handset up starts one\n"},
        {"for programs", {"list", "--json"}, 0, "[]\n"},
    });
}

TEST_F(Look, ListsByName)
{
    (void)tools().up("one");
    (void)tools().up("b", {"--mode", "usb", "--unplugged"});
    (void)tools().up("c", {"--mode", "normal"});
    (void)done({"stop", "--name", "c"});
    const std::string folder = tools().folder() + "/kv-zep-amt/";
    const std::string state = status_of("one")["service"]["state"];
    expect_rows({
        {"for people",
         {"list"},
         0,
         "NAME  MODE      SERVICE         STATION\n"
         "b     usb       not started     " +
             folder +
             "b/station\n"
             "c     normal    exited with 0   " +
             folder +
             "c/application\n"
             "one   switched  " +
             state + "  " + folder + "one/station\n"},
    });
    const json all = object_of({"list", "--json"});
    ASSERT_EQ(all.size(), 3U);
    EXPECT_EQ(all[1], (json{{"name", "c"},
                            {"mode", "normal"},
                            {"service", "exited with 0"},
                            {"for", "application"},
                            {"tty", folder + "c/application"}}));
    EXPECT_EQ(
        all[2],
        (json{{"name", "one"}, {"mode", "switched"}, {"service", state}, {"for", "station"}, {"tty", tty_of("one")}}));
    (void)done({"down", "--all"});
}

TEST_F(Look, TellsEverythingOfOne)
{
    (void)tools().up("one");
    const std::string state = status_of("one")["service"]["state"];
    const std::string keeper = "keeper      pid " + std::to_string(status_of("one")["keeper"].get<int>()) + "\n";
    EXPECT_EQ(done({"status", "--name", "one"}), "name        one\n"
                                                 "power       on\n"
                                                 "mode        switched\n"
                                                 "service     " +
                                                     state +
                                                     "\n"
                                                     "usb         plugged\n"
                                                     "station     " +
                                                     tty_of("one") +
                                                     "\n"
                                                     "held by     nobody\n"
                                                     "modem       answers; AT port: answers\n"
                                                     "link        to the station: passes; to the handset: passes\n"
                                                     "screen      blank\n"
                                                     "handshake   -: no start on a cable has ended\n"
                                                     "root        " +
                                                     tools().handset_folder("one") + "/root\n" + keeper);
    (void)done({"modem", "refuse", "--name", "one"});
    (void)done({"modem", "delay", "20", "--port", "data", "--name", "one"});
    (void)done({"modem", "split", "3", "--port", "data", "--name", "one"});
    (void)done({"modem", "result", "9", "--port", "data", "--name", "one"});
    (void)done({"modem", "hang-up", "--port", "at", "--name", "one"});
    (void)done({"link", "stall", "on", "--name", "one"});
    (void)done({"link", "flip", "2", "--to", "handset", "--name", "one"});
    (void)done({"link", "drop", "3", "--after", "8", "--to", "handset", "--name", "one"});
    (void)done({"link", "split", "4", "--to", "handset", "--name", "one"});
    const std::string told = done({"status", "--name", "one"});
    EXPECT_THAT(told, HasSubstr("modem       refuses, result 9, delay (ms) 20, pieces of 3; AT port: hung up\n"));
    EXPECT_THAT(told, HasSubstr("link        to the station: stalled; to the handset: passes, flips 2, drops 3 after "
                                "8, pieces of 4\n"));
    (void)done({"link", "cut", "--name", "one"});
    EXPECT_THAT(done({"status", "--name", "one"}),
                AllOf(HasSubstr("station     -\n"), HasSubstr("link        cut: handset link mend\n"),
                      HasSubstr("service     exited with 0\n")));
    (void)done({"down", "--name", "one"});
}

TEST_F(Look, TellsProgramsTheSame)
{
    (void)tools().up("one");
    const json status = status_of("one");
    EXPECT_THAT(members_of(status), ElementsAre("handshake", "keeper", "link", "log", "mode", "modem", "name", "power",
                                                "root", "screen", "serves", "service", "station", "usb"));
    EXPECT_EQ(status["name"], "one");
    EXPECT_EQ(status["power"], "on");
    EXPECT_EQ(status["mode"], "switched");
    EXPECT_EQ(status["serves"], "station");
    EXPECT_EQ(status["usb"], "plugged");
    EXPECT_EQ(status["screen"], "blank");
    EXPECT_EQ(status["log"], "/data/local/log/kv-zep-amt-log/kv-zep-amt.log");
    EXPECT_TRUE(std::filesystem::exists(status["root"].get<std::string>() + status["log"].get<std::string>()));
    EXPECT_TRUE(status["service"]["running"].get<bool>());
    EXPECT_EQ(status["service"]["state"], "running, pid " + std::to_string(status["service"]["pid"].get<int>()));
    EXPECT_EQ(status["station"]["path"], tty_of("one"));
    EXPECT_EQ(status["station"]["tty"], std::filesystem::read_symlink(tty_of("one")).string());
    EXPECT_THAT(members_of(status["link"]), ElementsAre("cut", "handset_listens", "to_handset", "to_station"));
    EXPECT_THAT(members_of(status["link"]["to_handset"]),
                ElementsAre("drop", "drop_after", "flip", "flip_after", "kept", "passed", "split", "stalled"));
    EXPECT_THAT(members_of(status["modem"]), ElementsAre("at", "data"));
    EXPECT_THAT(members_of(status["modem"]["at"]),
                ElementsAre("delay_ms", "refuses", "result", "silent", "split", "there"));
    (void)done({"down", "--name", "one"});
}

TEST_F(Look, TellsWhoHoldsTheTty)
{
    (void)tools().up("one");
    running_tool holder = tools().start({"cat", tty_of("one")});
    const auto is_held = [] { return !status_of("one")["station"]["holders"].empty(); };
    EXPECT_NO_THROW(emulator::wait_until("the holder", is_held));
    EXPECT_EQ(status_of("one")["station"]["holders"], (json{{{"name", "cat"}, {"pid", holder.pid()}}}));
    EXPECT_THAT(done({"status", "--name", "one"}),
                HasSubstr("held by     cat (" + std::to_string(holder.pid()) + ")\n"));
    (void)done({"down", "--name", "one"});
}

} // namespace
