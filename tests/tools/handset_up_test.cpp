// How handsets come up: in each mode, with files of their own, one name for one handset, and how `up` gives up.

#include "tests/tools/handset_processes.h"
#include "tests/tools/handset_tool.h"

#include <csignal>

namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;
using ::testing::StartsWith;

constexpr char k_modem_missing[] = "kv.tty.pc = /dev/ttyGS0\n"
                                   "kv.tty.app = /dev/ttyAMT\n"
                                   "kv.tty.modem = /dev/ttyNONE\n"
                                   "kv.tty.at.mux = /dev/ttyAT\n";

class Up : public handset_tool {
  protected:
    // A folder of files with which the service goes on looking for its modem, for a minute: `up` takes that long.
    static std::string slow_root(const std::string &name)
    {
        const std::string root = tools().folder() + "/" + name;
        (void)tools().up("prepared", {"--root", root, "--mode", "normal"});
        (void)done({"set", "--name", "prepared", std::string("file./system/etc/kv-zep-amt.cfg=") + k_modem_missing});
        (void)done({"down", "--name", "prepared"});
        return root;
    }

    static void wait_until_busy(const std::string &name)
    {
        emulator::wait_until("the handset to be coming up", [&] {
            const json all = object_of({"list", "--json"});
            return !all.empty() && all[0]["name"] == name && all[0]["service"] == "busy (up)";
        });
    }

    static std::vector<seen_process> processes_of(const std::string &name)
    {
        return processes_under(status_of(name).at("keeper").get<pid_t>());
    }

    static void expect_nothing_left(const std::string &name, const std::vector<seen_process> &processes)
    {
        EXPECT_THAT(names_of(processes), IsSupersetOf({"handset-init", "kv-zep-amt"}));
        EXPECT_NO_THROW(wait_until_gone(processes)) << name;
        EXPECT_FALSE(fs::exists(tools().handset_folder(name))) << name;
        EXPECT_EQ(ask({"list", "--json"}), (outcome{0, "[]\n", ""})) << name;
    }
};

// --- modes

TEST_F(Up, PrintsTheTtyAloneInEachMode)
{
    const struct {
        const char *mode;
        std::string link;
        std::string behind; // the name, on standard error
        command_words more;
    } rows[] = {
        {"switched", "station", " is up (switched), amt-station -p handset:one\n", {"--mode", "switched"}},
        {"normal", "application", " is up (normal), amt-station -p handset:one/application\n", {"--mode", "normal"}},
        {"simplified", "station", " is up (simplified), amt-station -p handset:one\n", {"--mode", "simplified"}},
        {"usb",
         "station",
         " is up (usb), the service not started: handset usb plug --name one starts it\n",
         {"--mode", "usb", "--unplugged"}},
        {"usb",
         "station",
         " is up (usb), amt-station -p handset:one\nthe station has 5 seconds from now on to say something\n",
         {"--mode", "usb"}},
    };
    for (const auto &row : rows) {
        command_words words = {"up", "--name", "one"};
        words.insert(words.end(), row.more.begin(), row.more.end());
        const std::string path = tools().handset_folder("one") + "/" + row.link;
        EXPECT_EQ(ask(words), (outcome{0, path + "\n", "one" + row.behind})) << ::testing::PrintToString(words);
        if (words.back() != "--unplugged") { // at once, as on a cable the service stays for seconds only
            const std::string port = row.link == "station" ? "one" : "one/application";
            EXPECT_EQ(station(port, {"send", "version", "module=platform"}).status, 0) << row.mode;
        }
        EXPECT_TRUE(fs::is_character_file(path)) << row.mode;
        const json status = status_of("one");
        EXPECT_EQ(status["mode"], row.mode);
        EXPECT_EQ(status["serves"], row.link);
        EXPECT_EQ(status["service"]["running"], words.back() != "--unplugged") << row.mode;
        EXPECT_EQ(ask({"down", "--name", "one"}), (outcome{0, "", "one is down\n"})) << row.mode;
        EXPECT_FALSE(fs::exists(tools().handset_folder("one"))) << row.mode;
    }
}

TEST_F(Up, LeavesTheServiceInAFolderOfItsOwnWhenSimplified)
{
    (void)tools().up("one", {"--mode", "simplified"});
    EXPECT_EQ(status_of("one")["log"], "/data/local/tmp/kv-zep-amt-log/kv-zep-amt.log");
    EXPECT_TRUE(fs::exists(tools().path_inside("one", "/data/local/tmp/kv-zep-amt.cfg")));
    EXPECT_FALSE(fs::exists(tools().path_inside("one", "/data/local/log/kv-zep-amt-log")));
    EXPECT_THAT(done({"logs", "--name", "one"}), HasSubstr("PID of kv-zep-amt: "));
    (void)done({"down", "--name", "one"});
}

// --- one name, one handset

TEST_F(Up, IsRefusedTwice)
{
    (void)tools().up("one");
    expect_row({"again",
                {"up", "--name", "one"},
                3,
                "",
                mistake("the handset one is up already: handset down --name one ends it")});
    expect_answered("one");
    (void)done({"down", "--name", "one"});
}

TEST_F(Up, IsWonByOneOfTwo)
{
    running_tool first = start({"up", "--name", "one"});
    running_tool second = start({"up", "--name", "one"});
    const outcome came[] = {first.wait(), second.wait()};
    const outcome &won = came[0].status == 0 ? came[0] : came[1];
    const outcome &lost = came[0].status == 0 ? came[1] : came[0];
    EXPECT_EQ(won, (outcome{0, tty_of("one") + "\n", "one is up (switched), amt-station -p handset:one\n"}));
    EXPECT_EQ(lost, (outcome{3, "", mistake("the handset one is up already: handset down --name one ends it")}));
    expect_answered("one");
    (void)done({"down", "--name", "one"});
}

TEST_F(Up, BringsHandsetsThatKnowNothingOfEachOther)
{
    (void)tools().up("one");
    (void)tools().up("two");
    (void)done({"set", "--name", "one", "version.software=V1"});
    (void)done({"set", "--name", "two", "version.software=V2"});
    EXPECT_EQ(station("one", {"get", "software-version"}).out, "V1\n");
    EXPECT_EQ(station("two", {"get", "software-version"}).out, "V2\n");
    (void)done({"modem", "refuse", "--name", "one"});
    EXPECT_EQ(station("one", {"at", "AT"}).out, "ERROR\n");
    expect_answered("two");
    (void)done({"down", "--name", "one"});
    expect_answered("two", "when the other is gone");
    EXPECT_EQ(object_of({"list", "--json"}).size(), 1U);
    (void)done({"down", "--name", "two"});
}

// --- files that stay

TEST_F(Up, KeepsTheFilesOfARootFolder)
{
    const std::string root = tools().folder() + "/kept";
    for (const bool again : {false, true}) {
        EXPECT_EQ(tools().up("one", {"--root", root, "--mode", "normal"}),
                  tools().handset_folder("one") + "/application");
        EXPECT_EQ(status_of("one")["root"], root);
        EXPECT_EQ(ask({"get", "--name", "one", "file./amt/mark.txt"}).out, again ? "kept\n" : "");
        (void)done({"set", "--name", "one", "file./amt/mark.txt=kept"});
        (void)done({"down", "--name", "one"});
        EXPECT_EQ(read_whole_file(root + "/amt/mark.txt"), "kept");
    }
    fs::create_directory(tools().folder() + "/empty");
    (void)tools().up("one", {"--root", tools().folder() + "/empty", "--mode", "normal"});
    (void)done({"down", "--name", "one"});
    EXPECT_TRUE(fs::exists(tools().folder() + "/empty/amt"));
}

TEST_F(Up, RefusesARootThatIsSomethingElse)
{
    const std::string full = tools().folder() + "/full";
    fs::create_directory(full);
    std::ofstream(full + "/letter") << "dear";
    const auto refused = [](const std::string &root) {
        return mistake(root + " is neither an empty folder nor a handset's root: name one");
    };
    expect_rows({
        {"a folder with something in it", {"up", "--root", full}, 2, "", refused(full)},
        {"a file", {"up", "--root", full + "/letter"}, 2, "", refused(full + "/letter")},
        {"below a file", {"up", "--root", full + "/letter/a"}, 2, "", refused(full + "/letter/a")},
    });
    EXPECT_EQ(read_whole_file(full + "/letter"), "dear");
    EXPECT_FALSE(fs::exists(tools().handset_folder("default")));
    EXPECT_EQ(ask({"list", "--json"}).out, "[]\n");
}

TEST_F(Up, RefusesARootThatIsInUse)
{
    const std::string root = tools().folder() + "/shared";
    (void)tools().up("one", {"--root", root});
    (void)done({"set", "--name", "one", "switched=1"});
    for (const char *name : {"two", "one"}) {
        const outcome second = ask({"up", "--name", name, "--root", root, "--mode", "normal"});
        EXPECT_EQ(second.status, 3) << second;
        EXPECT_EQ(second.out, "");
        EXPECT_THAT(lines_in(second.err), ElementsAre(AllOf(StartsWith("handset: "), HasSubstr("the handset one"))));
    }
    expect_row({"its folder",
                {"up", "--name", "two", "--root", root + "/."},
                3,
                "",
                mistake(root + "/. is in use by the handset one: name another folder, or take that one down")});
    EXPECT_EQ(value_of("one", "switched"), "1") << "the first one's files";
    expect_answered("one");
    (void)done({"down", "--all"});
}

// --- giving up

TEST_F(Up, LeavesNothingWhenInterrupted)
{
    const std::string root = slow_root("slow");
    for (const int number : {SIGINT, SIGTERM}) {
        running_tool coming = start({"up", "--name", "one", "--root", root});
        wait_until_busy("one");
        const std::vector<seen_process> processes = processes_of("one");
        coming.signal(number);
        EXPECT_EQ(coming.wait(), (outcome{130, "", mistake("interrupted")})) << number;
        expect_nothing_left("one", processes);
        EXPECT_TRUE(fs::exists(root + "/system/etc/kv-zep-amt.cfg")) << "what is kept";
    }
}

TEST_F(Up, LetsOthersKnowWhileItTakesItsTime)
{
    running_tool coming = start({"up", "--name", "one", "--root", slow_root("long")});
    wait_until_busy("one");
    EXPECT_EQ(status_of("one")["doing"], "up");
    const std::string busy = mistake("the handset one is busy with \"up\": try again");
    expect_rows({
        {"a list",
         {"list"},
         0,
         "NAME  MODE      SERVICE    STATION\none   switched  busy (up)  " + tty_of("one") + "\n"},
        {"a second up",
         {"up", "--name", "one"},
         3,
         "",
         mistake("the handset one is up already: handset down --name one ends it")},
    });
    for (const command_words &words : std::vector<command_words>{{"get", "--name", "one", "card"},
                                                                 {"set", "--name", "one", "card=1"},
                                                                 {"shell", "--name", "one", "true"},
                                                                 {"restart", "--name", "one"},
                                                                 {"link", "cut", "--name", "one"}}) {
        const outcome come = ask(words);
        EXPECT_EQ(come.status, 3) << come;
        EXPECT_THAT(come.err, HasSubstr("busy with \"up\": try again\n"));
    }
    EXPECT_EQ(ask({"down", "--name", "one"}), (outcome{0, "", "one is down\n"}));
    const outcome come = coming.wait();
    EXPECT_EQ(come, (outcome{3, "", mistake("the handset goes down")}));
    EXPECT_FALSE(fs::exists(tools().handset_folder("one")));
}

TEST_F(Up, TellsWhyTheServiceDidNotCome)
{
    const std::string root = tools().folder() + "/broken";
    (void)tools().up("prepared", {"--root", root, "--mode", "normal"});
    (void)done({"set", "--name", "prepared", "file./system/etc/kv-zep-amt.cfg=kv.tty.pc = /dev/null\n"});
    (void)done({"down", "--name", "prepared"});
    const outcome come = ask({"up", "--name", "one", "--root", root});
    EXPECT_EQ(come.status, 1) << come;
    EXPECT_EQ(come.out, "");
    EXPECT_THAT(lines_in(come.err),
                ElementsAre(StartsWith("handset: the service exited with 255 before it was ready, after ")));
    EXPECT_FALSE(fs::exists(tools().handset_folder("one")));
}

} // namespace
