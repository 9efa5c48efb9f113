// Which handset is asked: by name, by tty, by the environment, the one that is there, several side by side; and what
// becomes of the tool when there is none, or none to be had.

#include "tests/tools/station_tool.h"

#include <sys/stat.h>

#include <csignal>

namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char k_imei[] = "490154203237518\n";

class Ports : public station_tool {
  protected:
    Ports() { (void)handset({"modem", "reset"}); }

    static std::string tty() { return std::filesystem::read_symlink(link()); }
    static std::string link() { return tools().handset_folder("default") + "/station"; }

    // The process has a handler of its own for the signal.
    static void wait_until_caught(pid_t pid, int number)
    {
        emulator::wait_until("a handler of the signal", [&] {
            const std::string status = read_whole_file("/proc/" + std::to_string(pid) + "/status");
            const std::size_t at = status.find("SigCgt:");
            return at != std::string::npos &&
                   (std::stoull(status.substr(at + 7), nullptr, 16) >> (number - 1) & 1) != 0;
        });
    }
};

TEST_F(Ports, AreNames)
{
    const variables other = {{"AMT_STATION_PORT", "handset:nobody"}};
    const struct {
        const char *name;
        command_words words;
        variables more;
    } rows[] = {
        {"none, one is there", {"get", "imei"}, {}},
        {"a handset", {"-p", "handset:default", "get", "imei"}, {}},
        {"behind the verb", {"get", "imei", "-p", "handset:default"}, {}},
        {"a tty", {"--port", tty(), "get", "imei"}, {}},
        {"a link to a tty", {"--port=" + link(), "get", "imei"}, {}},
        {"of the environment", {"get", "imei"}, {{"AMT_STATION_PORT", "handset:default"}}},
        {"in place of that", {"-p", "handset:default", "get", "imei"}, other},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(ask(row.words, "", row.more), (outcome{0, k_imei, ""})) << row.name;
    }
    EXPECT_EQ(ask({"get", "imei"}, "", other).status, 3);
}

TEST_F(Ports, ThatCannotBeHadAreToldInOneLine)
{
    const std::string file = tools().folder() + "/file";
    std::ofstream(file) << "no tty";
    const std::string here = tools().handset_folder("default");
    expect_rows({
        {"no handset",
         {"-p", "handset:nobody", "get", "imei"},
         3,
         "",
         mistake("handset:nobody: no handset of that name is on: start it with \"handset up --name nobody\"")},
        {"no application",
         {"-p", "handset:default/application", "send", "showlcd"},
         3,
         "",
         mistake("handset:default/application is not served in the mode of this handset: use handset:default")},
        {"no tty there",
         {"-p", "/dev/ttyACM77", "get", "imei"},
         3,
         "",
         mistake("/dev/ttyACM77: no handset is there; see whether it is connected and in test mode")},
        {"a device",
         {"-p", "/dev/null", "get", "imei"},
         3,
         "",
         mistake("/dev/null is not a tty: give the handset's, such as /dev/ttyACM0")},
        {"a file",
         {"-p", file, "get", "imei"},
         3,
         "",
         mistake(file + " is not a tty: give the handset's, such as /dev/ttyACM0")},
        {"a folder", {"-p", here, "get", "imei"}, 3, "", mistake(here + ": Is a directory")},
        {"one of several, and the others are asked",
         {"-p", "handset:nobody", "-p", "handset:default", "get", "imei"},
         3,
         std::string("handset:nobody:\nhandset:default:\n") + k_imei,
         mistake("handset:nobody: no handset of that name is on: start it with \"handset up --name nobody\"")},
        {"a station's verb at an application's port",
         {"--bare", "-p", tty(), "get", "imei"},
         2,
         "",
         mistake(tty() + ": get is for a station's port; " + tty() +
                 " is an application's: use send there, see \"amt-station list commands\"")},
        {"a line at an application's port",
         {"--bare", "-p", tty(), "at", "AT"},
         2,
         "",
         mistake(tty() + ": an application's port takes no AT lines: use a station's")},
    });
}

// Root may open everything, so it has somebody else try.
TEST_F(Ports, OfOthersAreNotPermitted)
{
    const std::string tool = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "amt-station";
    std::string port = tty();
    outcome come;
    if (geteuid() == 0) {
        const command_words as_nobody = {"setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups"};
        command_words words = as_nobody;
        words.insert(words.end(), {tool, "--version"});
        if (tools().run(words).status != 0) {
            GTEST_SKIP() << "nobody else may run " << tool;
        }
        words = as_nobody;
        words.insert(words.end(), {tool, "-p", port, "get", "imei"});
        come = tools().run(words);
    } else {
        port = tools().folder() + "/forbidden";
        std::ofstream{port} << "";
        ASSERT_EQ(chmod(port.c_str(), 0), 0);
        come = ask({"-p", port, "get", "imei"});
    }
    EXPECT_EQ(come, (outcome{3, "",
                             mistake(port + ": no permission; join the group that owns it (often dialout), or run "
                                            "as root")}));
}

TEST_F(Ports, AreForOneAtATime)
{
    (void)handset({"modem", "silence", "on"});
    running_tool first = start({"-v", "at", "AT"});
    wait_until_heard("AT");
    const std::string holder = "process " + std::to_string(first.pid()) +
                               " (amt-station) has it, end that or use "
                               "another port";
    expect_rows({
        {"by name", {"get", "imei"}, 3, "", mistake("handset:default is busy: " + holder)},
        {"by tty", {"-p", tty(), "get", "imei"}, 3, "", mistake(tty() + " is busy: " + holder)},
        {"busy is not missing", {"--wait", "get", "imei"}, 3, "", mistake("handset:default is busy: " + holder)},
    });
    first.signal(SIGTERM);
    EXPECT_EQ(first.wait().status, 130);
    (void)handset({"modem", "silence", "off"});
    expect_row({"and then for the next", {"get", "imei"}, 0, k_imei});
}

TEST_F(Ports, AreLeftAsTheyWere)
{
    const command_words look = {"stty", "-F", tty(), "-a"};
    const command_words cook = {"stty", "-F", tty(), "sane", "9600"};
    const std::string raw = tools().run(look).out;
    EXPECT_EQ(tools().run(cook).status, 0);
    const std::string before = tools().run(look).out;
    EXPECT_NE(before, raw);
    expect_row({"asked", {"get", "imei"}, 0, k_imei});
    EXPECT_EQ(tools().run(look).out, before);
    EXPECT_EQ(tools().run({"stty", "-F", tty(), "raw", "-echo", "115200"}).status, 0);
}

TEST_F(Ports, AreNamedOnceEach)
{
    expect_rows({
        {"the same name",
         {"-p", "handset:default", "-p", "handset:default", "get", "imei"},
         2,
         "",
         mistake("handset:default is named twice: name each port once")},
        {"by another name",
         {"-p", "handset:default", "-p", link(), "get", "imei"},
         2,
         "",
         mistake(link() + " is named twice: name each port once")},
        {"by what the name leads to",
         {"-p", "handset:default", "-p", tty(), "get", "imei"},
         2,
         "",
         mistake(tty() + " is named twice: name each port once")},
    });
}

// --- several

TEST_F(Ports, AreAskedSideBySide)
{
    (void)tools().up("two");
    (void)handset({"modem", "silence", "on"});
    const std::string none =
        "no whole answer within 1000 ms, nothing came: see whether the handset is in test mode and "
        "knows the request; \"handset status --name default\" tells whether its service runs";
    expect_rows({
        {"which of them",
         {"get", "imei"},
         2,
         "",
         mistake("several handsets are here, choose with -p: handset:default, handset:two")},
        {"in the order given",
         {"--timeout", "1", "-p", "handset:default", "-p", "handset:two", "get", "imei", "sn"},
         4,
         "handset:default:\nhandset:two:\n  imei  490154203237518\n  sn    EMU0000001\n",
         failure(none)},
        {"the other way round",
         {"--timeout", "1", "-p", "handset:two", "-p", "handset:default", "get", "imei"},
         4,
         "handset:two:\n490154203237518\nhandset:default:\n",
         failure(none)},
        {"the worst of two failures",
         {"--timeout", "1", "-p", "handset:two", "-p", "handset:default", "at", "AT^X"},
         4,
         "handset:two:\nERROR\nhandset:default:\n",
         mistake("handset:two: the answer is ERROR") + failure(none)},
        {"the list",
         {"list", "ports"},
         0,
         "  handset:default  for a station  " + link() + "\n  handset:two      for a station  " +
             tools().handset_folder("two") + "/station\n"},
    });
    const outcome come = ask({"--json", "--timeout", "1", "-p", "handset:default", "-p", "handset:two", "at", "AT"});
    const std::vector<nlohmann::json> all = objects(come.out);
    ASSERT_EQ(all.size(), 2U) << come;
    EXPECT_EQ(all[0], (nlohmann::json{{"port", "handset:default"},
                                      {"verb", "at"},
                                      {"code", 4},
                                      {"error", none},
                                      {"result", nlohmann::json::object()}}));
    EXPECT_EQ(all[1]["port"], "handset:two");
    EXPECT_EQ(all[1]["code"], 0);
    EXPECT_EQ(all[1]["result"]["final"], "OK");
    EXPECT_EQ(come.status, 4);
    (void)handset({"modem", "silence", "off"});
    expect_row({"both",
                {"-p", "handset:default", "-p", "handset:two", "at", "AT"},
                0,
                "handset:default:\nOK\nhandset:two:\nOK\n"});
    const outcome missing = ask({"--json", "-p", "handset:nobody", "-p", "handset:two", "at", "AT"});
    const std::vector<nlohmann::json> each = objects(missing.out);
    ASSERT_EQ(each.size(), 2U) << missing;
    EXPECT_EQ(each[0], (nlohmann::json{{"port", "handset:nobody"},
                                       {"verb", "at"},
                                       {"code", 3},
                                       {"error", "handset:nobody: no handset of that name is on: start it with "
                                                 "\"handset up --name nobody\""},
                                       {"result", nlohmann::json::object()}}));
    EXPECT_EQ(mistake(each[0]["error"]), missing.err) << "which begins with the port's name already";
    EXPECT_EQ(each[1]["code"], 0);
    EXPECT_EQ(missing.status, 3);
    const std::string file = tools().folder() + "/trace";
    EXPECT_EQ(ask({"--trace", file, "-p", "handset:default", "-p", "handset:two", "at", "AT"}).status, 0);
    EXPECT_THAT(read_whole_file(file), AllOf(HasSubstr(" handset:default -> 41 54 0D | \"AT\\r\"\n"),
                                             HasSubstr(" handset:two -> 41 54 0D | \"AT\\r\"\n")));
    (void)handset({"down", "--name", "two"});
}

TEST_F(Ports, OfWhichOneIsBusyAreAskedAllTheSame)
{
    (void)tools().up("two");
    (void)handset({"modem", "silence", "on"});
    running_tool first = start({"-v", "-p", "handset:default", "at", "AT"});
    wait_until_heard("AT");
    expect_row({"busy",
                {"-p", "handset:default", "-p", "handset:two", "get", "imei"},
                3,
                std::string("handset:default:\nhandset:two:\n") + k_imei,
                mistake("handset:default is busy: process " + std::to_string(first.pid()) +
                        " (amt-station) has it, end that or use another port")});
    expect_row({"a shell needs all",
                {"-p", "handset:two", "-p", "handset:nobody", "shell"},
                3,
                "",
                mistake("handset:nobody: no handset of that name is on: start it with \"handset up --name nobody\""),
                "get imei\n"});
    (void)handset({"down", "--name", "two"});
}

TEST_F(Ports, OfEmulatedHandsetsSayWhereToLookWhenNothingComes)
{
    (void)handset({"modem", "silence", "on"});
    const std::string none = "no whole answer within 100 ms, nothing came: see whether the handset is in test mode and "
                             "knows the request";
    expect_rows({
        {"by name",
         {"--timeout", "0.1", "-p", "handset:default", "at", "AT"},
         4,
         "",
         failure(none + "; \"handset status --name default\" tells whether its service runs")},
        {"any tty", {"--timeout", "0.1", "-p", tty(), "at", "AT"}, 4, "", mistake(tty() + ": " + none)},
    });
}

// --- waiting

TEST_F(Ports, MayBeWaitedFor)
{
    running_tool asking = start({"--wait", "-p", "handset:late", "get", "imei"});
    wait_until_caught(asking.pid(), SIGINT);
    (void)tools().up("late");
    EXPECT_EQ(asking.wait(), (outcome{0, k_imei, ""}));
    (void)handset({"down", "--name", "late"});
}

TEST_F(Ports, MayBeWaitedForWithoutAName)
{
    tools().down_all();
    expect_row({"none is there",
                {"get", "imei"},
                3,
                "",
                mistake("no handset is here: connect one, or start an emulated one with \"handset up\"")});
    running_tool asking = start({"get", "--wait", "imei"});
    wait_until_caught(asking.pid(), SIGINT);
    (void)tools().up("default");
    EXPECT_EQ(asking.wait(), (outcome{0, k_imei, ""}));
}

TEST_F(Ports, AreWaitedForUntilAnInterrupt)
{
    for (const int number : {SIGINT, SIGTERM}) {
        running_tool asking = start({"--wait", "-p", "handset:never", "get", "imei"});
        wait_until_caught(asking.pid(), number);
        asking.signal(number);
        EXPECT_EQ(asking.wait(), (outcome{130, "", mistake("handset:never: interrupted")})) << number;
    }
}

// --- ends

TEST_F(Ports, AnInterruptEndsTheWaitForAnAnswer)
{
    (void)handset({"modem", "silence", "on"});
    const struct {
        int number;
        std::string line;
    } rows[] = {{SIGINT, "ATI"}, {SIGTERM, "AT+CSQ"}};
    for (const auto &[number, line] : rows) {
        running_tool asking = start({"-v", "at", line});
        wait_until_heard(line);
        asking.signal(number);
        EXPECT_EQ(asking.wait(),
                  (outcome{130, "", "handset:default -> \"" + line + "\\r\"\n" + failure("interrupted")}))
            << number;
    }
    (void)handset({"modem", "silence", "off"});
    expect_row({"and leaves the port to the next", {"get", "imei"}, 0, k_imei});
}

TEST_F(Ports, AnOutputThatNobodyReadsEndsQuietly)
{
    (void)handset({"modem", "silence", "on"});
    running_tool asking = start({"-v", "at", "AT"});
    wait_until_heard("AT");
    asking.close_output();
    (void)handset({"modem", "say", "\\r\\nOK\\r\\n"});
    const outcome come = asking.wait();
    EXPECT_EQ(come.status, -SIGPIPE) << come;
    EXPECT_EQ(come.err, "handset:default -> \"AT\\r\"\nhandset:default <- text \"\\r\\nOK\\r\\n\"\n");
}

TEST_F(Ports, AnOutputThatTakesNothingIsTold)
{
    const std::string line = mistake("cannot write to standard output: see where it leads");
    for (const char *to : {">/dev/full", ">&-"}) {
        const outcome come = tools().run({"sh", "-c", std::string("amt-station get imei ") + to});
        EXPECT_EQ(come, (outcome{1, "", line})) << to;
    }
}

} // namespace
