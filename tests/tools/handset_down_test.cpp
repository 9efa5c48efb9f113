// How handsets go: by `down`, by the end of their keeper, switched off by a station; and what is left then.

#include "tests/tools/handset_processes.h"
#include "tests/tools/handset_tool.h"

#include <csignal>

namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;

std::string none_up(const std::string &name, const std::string &others = "")
{
    return mistake("no handset " + name + " is up: handset up --name " + name + " starts one" + others);
}

class Down : public handset_tool {
  protected:
    static pid_t keeper_of(const std::string &name) { return status_of(name).at("keeper").get<pid_t>(); }

    // Ends the keeper; returns when all that was below it is gone.
    static void end_keeper(const std::string &name, int number)
    {
        const std::vector<seen_process> processes = processes_under(keeper_of(name));
        EXPECT_THAT(names_of(processes), IsSupersetOf({"handset-init", "kv-zep-amt"}));
        ASSERT_EQ(kill(processes.at(0).pid, number), 0);
        EXPECT_NO_THROW(wait_until_gone(processes));
    }
};

TEST_F(Down, EndsOneOrAll)
{
    for (const char *name : {"one", "three", "two"}) {
        (void)tools().up(name, {"--mode", "normal"});
    }
    const std::vector<seen_process> processes = processes_under(keeper_of("one"));
    expect_rows({
        {"one of them", {"down", "--name", "one"}, 0, "", "one is down\n"},
        {"the same again", {"down", "--name", "one"}, 3, "", none_up("one", " (up: three, two)")},
        {"none of that name", {"down"}, 3, "", none_up("default", " (up: three, two)")},
        {"all", {"down", "--all"}, 0, "", "three is down\ntwo is down\n"},
        {"all, when there are none", {"down", "--all"}, 0},
        {"one, when there are none", {"down"}, 3, "", none_up("default")},
    });
    EXPECT_NO_THROW(wait_until_gone(processes));
}

TEST_F(Down, EndsAServiceInOrder)
{
    const std::string root = tools().folder() + "/ordered";
    (void)tools().up("one", {"--root", root, "--mode", "normal"});
    EXPECT_EQ(ask({"down", "--name", "one"}), (outcome{0, "", "one is down\n"}));
    EXPECT_THAT(read_whole_file(root + "/data/local/log/kv-zep-amt-log/kv-zep-amt.log"), HasSubstr("amt_handle_deinit"))
        << "the service was told, not killed";
}

TEST_F(Down, IsWhatAKeeperDoesWhenItIsToldToEnd)
{
    const std::string root = tools().folder() + "/told";
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        (void)tools().up("one", {"--root", root});
        running_tool holder = tools().start({"cat", tty_of("one")});
        emulator::wait_until("somebody at the tty", [] { return !status_of("one")["station"]["holders"].empty(); });
        end_keeper("one", number);
        EXPECT_FALSE(fs::exists(tools().handset_folder("one"))) << number;
        EXPECT_THAT(read_whole_file(root + "/data/local/log/kv-zep-amt-log/kv-zep-amt.log"),
                    HasSubstr("amt_handle_deinit"))
            << number;
        EXPECT_NE(holder.wait().status, -SIGKILL) << "who had the tty open sees a hang-up";
        EXPECT_EQ(ask({"list", "--json"}), (outcome{0, "[]\n", ""})) << number;
    }
}

TEST_F(Down, RemovesWhatAKilledKeeperHasLeft)
{
    for (const bool by_down : {true, false}) {
        (void)tools().up("one");
        if (by_down) {
            (void)tools().up("two");
        }
        end_keeper("one", SIGKILL);
        const outcome listed = ask({"list"});
        EXPECT_EQ(listed.status, 0);
        EXPECT_THAT(lines_in(listed.out).at(1), HasSubstr("killed (handset down removes it)"));
        EXPECT_EQ(object_of({"list", "--json"})[0], (json{{"name", "one"},
                                                          {"mode", ""},
                                                          {"service", "killed (handset down removes it)"},
                                                          {"for", ""},
                                                          {"tty", ""}}));
        const std::string others = none_up("one", by_down ? " (up: two)" : "");
        expect_row({"status", {"status", "--name", "one"}, 3, "", others});
        expect_row({"logs", {"logs", "--name", "one"}, 3, "", others});
        EXPECT_EQ(station("one", {"at", "AT"}).status, 3);
        if (by_down) {
            expect_row({"down", {"down", "--name", "one"}, 0, "", "one is down\n"});
            EXPECT_FALSE(fs::exists(tools().handset_folder("one")));
        } else {
            EXPECT_EQ(tools().up("one"), tty_of("one")) << "in place of it";
            expect_answered("one");
        }
        (void)done({"down", "--all"});
    }
}

TEST_F(Down, KeepsARootFolderOfAKilledKeeper)
{
    const std::string root = tools().folder() + "/kept";
    (void)tools().up("one", {"--root", root});
    (void)done({"set", "--name", "one", "file./amt/mark.txt=kept"});
    end_keeper("one", SIGKILL);
    (void)done({"down", "--all"});
    EXPECT_EQ(read_whole_file(root + "/amt/mark.txt"), "kept");
    const outcome again = ask({"up", "--name", "one", "--root", root});
    ASSERT_EQ(again.status, 0) << again;
    expect_answered("one");
    (void)done({"down", "--name", "one"});
}

// --- switched off by a station

class PowerOff : public handset_tool {
  protected:
    static void switch_off(const std::string &name)
    {
        EXPECT_EQ(station(name, {"power-off", "--yes"}).status, 0);
        emulator::wait_until("the power-off", [&] { return status_of(name)["power"] == "off"; });
    }
};

TEST_F(PowerOff, LeavesAHandsetThatCanBeSwitchedOn)
{
    (void)tools().up("one");
    (void)done({"set", "--name", "one", "file./amt/mark.txt=kept", "version.software=V7"});
    (void)done({"modem", "silence", "on", "--port", "at", "--name", "one"});
    switch_off("one");
    EXPECT_FALSE(fs::is_symlink(tty_of("one")));
    const std::string off = mistake("the handset is off: handset up switches it on");
    expect_rows({
        {"list", {"list"}, 0, "NAME  MODE      SERVICE  STATION\none   switched  off      -\n"},
        {"a value", {"get", "--name", "one", "card"}, 3, "", off},
        {"a setting", {"set", "--name", "one", "card=1"}, 3, "", off},
        {"its keys", {"keys", "--name", "one"}, 3, "", off},
        {"the service", {"start", "--name", "one"}, 3, "", off},
        {"the cable", {"usb", "plug", "--name", "one"}, 3, "", off},
        {"the modem", {"modem", "--name", "one"}, 3, "", off},
        {"the link", {"link", "mend", "--name", "one"}, 3, "", off},
        {"a shell", {"shell", "--name", "one", "true"}, 3, "", off},
        {"its screen", {"screenshot", "--name", "one", tools().folder() + "/off.png"}, 3, "", off},
    });
    EXPECT_THAT(done({"status", "--name", "one"}), AllOf(HasSubstr("power       off\n"), HasSubstr("root        ")));
    EXPECT_THAT(done({"logs", "--name", "one"}), HasSubstr("receive command id: 236(0xEC)"))
        << "the log is there still";
    EXPECT_EQ(ask({"up", "--name", "one"}),
              (outcome{0, tty_of("one") + "\n", "one is up (switched), amt-station -p handset:one\n"}));
    EXPECT_EQ(value_of("one", "file./amt/mark.txt"), "kept");
    EXPECT_EQ(station("one", {"get", "software-version"}).out, "V7\n");
    EXPECT_EQ(status_of("one")["modem"]["at"]["silent"], false) << "the modem answers";
    switch_off("one");
    expect_row({"down", {"down", "--name", "one"}, 0, "", "one is down\n"});
    EXPECT_FALSE(fs::exists(tools().handset_folder("one")));
}

} // namespace
