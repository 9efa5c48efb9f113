// The tool where a person sits: questions, colours, and the shell, from a script as well as at a terminal.

#include "tests/tools/station_tool.h"

#include <csignal>

namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char k_imei[] = "490154203237518\n";
constexpr char k_prompt[] = "amt> ";

class Person : public station_tool {
  protected:
    Person() { (void)handset({"modem", "reset"}); }

    static running_tool at_terminal(const command_words &words, const variables &more = {})
    {
        return tools().start_at_terminal(tool_words(words), more);
    }

    static std::string power_of(const std::string &name)
    {
        return nlohmann::json::parse(handset({"status", "--name", name, "--json"}))["power"];
    }
};

// --- the question before a power-off

TEST_F(Person, IsAskedBeforeAPowerOff)
{
    const struct {
        const char *name;
        const char *typed;
    } rows[] = {{"no", "n\r"}, {"nothing", "\r"}, {"something", "never\r"}, {"the end of the input", "\004"}};
    for (const auto &row : rows) {
        running_tool asking = at_terminal({"power-off"});
        asking.wait_for("Switch off handset:default? [y/N] ");
        asking.write(row.typed);
        const outcome come = asking.wait();
        EXPECT_EQ(come.status, 130) << row.name;
        EXPECT_THAT(come.out, HasSubstr("amt-station: nothing was done")) << row.name;
        EXPECT_EQ(power_of("default"), "on") << row.name;
    }
    expect_row({"nobody there",
                {"power-off"},
                2,
                "",
                mistake("this asks first, and standard input is no terminal: add --yes")});
    expect_row({"nobody there, but a line",
                {"power-off"},
                2,
                "",
                mistake("this asks first, and standard input is no terminal: add --yes"),
                "y\n"});
    EXPECT_EQ(power_of("default"), "on");
}

TEST_F(Person, IsAskedAboutEveryHandset)
{
    (void)tools().up("two");
    running_tool asking = at_terminal({"-p", "handset:two", "-p", "handset:default", "power-off"});
    asking.wait_for("Switch off handset:two handset:default? [y/N] ");
    asking.signal(SIGINT);
    EXPECT_EQ(asking.wait().status, 130);
    EXPECT_EQ(power_of("two"), "on");
    (void)handset({"down", "--name", "two"});
}

TEST_F(Person, SwitchesAHandsetOff)
{
    const std::string anonymous =
        "power-off, answer (0xED)\n  result  0  done\nthe handset switches off in two seconds\n";
    (void)tools().up("one");
    (void)tools().up("two");
    running_tool asking = at_terminal({"-p", "handset:one", "power-off"});
    asking.wait_for("Switch off handset:one? [y/N] ");
    asking.write("y\r");
    asking.wait_for("the handset switches off in two seconds\r\n");
    EXPECT_EQ(asking.wait().status, 0);
    expect_row({"without a question", {"-p", "handset:two", "power-off", "-y"}, 0, anonymous});
    for (const char *name : {"one", "two"}) {
        emulator::wait_until("the power-off", [&] { return power_of(name) == "off"; });
        (void)handset({"down", "--name", name});
    }
}

// --- colours

TEST_F(Person, SeesErrorsInRedAtATerminal)
{
    const std::string line = "amt-station: handset:default: the answer is ERROR";
    const struct {
        const char *name;
        variables more;
        std::string told;
    } rows[] = {
        {"colour", {}, "ERROR\r\n\033[31m" + line + "\033[0m\r\n"},
        {"none wanted", {{"NO_COLOR", "1"}}, "ERROR\r\n" + line + "\r\n"},
        {"a dumb terminal", {{"TERM", "dumb"}}, "ERROR\r\n" + line + "\r\n"},
    };
    for (const auto &row : rows) {
        const outcome come = at_terminal({"at", "AT^X"}, row.more).wait();
        EXPECT_EQ(come, (outcome{1, row.told, ""})) << row.name;
    }
    EXPECT_THAT(at_terminal({"fly"}).wait().out, AllOf(StartsWith("\033[31mamt-station: "), EndsWith("\033[0m\r\n")));
    EXPECT_EQ(at_terminal({"get", "imei"}).wait().out, "490154203237518\r\n") << "what is no error has no colour";
}

// --- a script

TEST_F(Person, WritesScripts)
{
    expect_rows({
        {"nothing", {"shell"}, 0, ""},
        {"verbs", {"shell"}, 0, "490154203237518\nEMU0000001\n", "", "get imei\nget sn\n"},
        {"without a line end", {"shell"}, 0, k_imei, "", "get imei"},
        {"comments and blanks", {"shell"}, 0, k_imei, "", "# who is it?\n\n   \n  get   imei  \n"},
        {"lines of AT", {"shell"}, 0, "OK\n+CSQ: 23,99\nOK\nOK\n", "", "AT\n  AT+CSQ\nat AT\n"},
        {"lower case", {"shell"}, 1, "ERROR\n", failure("the answer is ERROR"), "ati\n"},
        {"quotes", {"shell"}, 0, "OK\n^DATOMR: 3,1,a  \"b\"\nOK\n", "", "at 'AT^DATOMW=3,1,a  \"b\"'\nAT^DATOMR=1,3\n"},
        {"an option for a line",
         {"shell"},
         0,
         "OK\nOK\n",
         "handset:default -> \"AT\\r\"\nhandset:default <- text "
         "\"\\r\\nOK\\r\\n\"\n",
         "at AT -v\nAT\n"},
        {"the end before the end", {"shell"}, 0, k_imei, "", "get imei\nexit\nget sn\n"},
        {"the same in another word", {"shell"}, 0, k_imei, "", "get imei\nquit\nget sn\n"},
        {"the first failure",
         {"shell"},
         1,
         "490154203237518\nERROR\n",
         failure("the answer is ERROR"),
         "get imei\nAT^X\nget sn\n"},
        {"a verb that there is not",
         {"shell"},
         2,
         "",
         mistake("there is no verb \"fly\": there are info, get, set, test, results, at, send, raw, power-off, decode, "
                 "list, shell"),
         "fly\nget sn\n"},
        {"a mistake", {"shell"}, 2, "", mistake("date can only be read"), "set date=1\nget sn\n"},
        {"another port",
         {"shell"},
         2,
         "",
         mistake("the shell keeps its ports: leave it to use others"),
         "-p handset:two get sn\nget sn\n"},
        {"a shell in a shell",
         {"shell"},
         2,
         "",
         mistake("the shell keeps its ports: leave it to use others"),
         "shell\nget sn\n"},
        {"an open quote", {"shell"}, 2, "", mistake("a quote is open: end the word with '"), "at 'AT\nget sn\n"},
        {"a question",
         {"shell"},
         2,
         "",
         mistake("this asks first, and standard input is no terminal: add --yes"),
         "power-off\nget sn\n"},
        {"no port",
         {"-p", "handset:nobody", "shell"},
         3,
         "",
         mistake("handset:nobody: no handset of that name is on: start it with \"handset up --name nobody\""),
         "get sn\n"},
    });
    EXPECT_THAT(ask({"shell"}, "help\n").out, HasSubstr("\n  info "));
}

TEST_F(Person, HasOneTraceForAScript)
{
    const std::string file = tools().folder() + "/trace";
    EXPECT_EQ(ask({"--trace", file, "shell"}, "AT\nATI\n").status, 0);
    EXPECT_THAT(read_whole_file(file), AllOf(HasSubstr("-> 41 54 0D"), HasSubstr("-> 41 54 49 0D")));
}

TEST_F(Person, HasATraceForOneLineOfAScript)
{
    const std::string file = tools().folder() + "/trace-of-a-line";
    const std::string other = tools().folder() + "/trace-of-another";
    const std::string script = "ATI\nat AT --trace " + file + "\nAT+CSQ\nat AT^DMSN --trace " + other + "\n";
    EXPECT_EQ(ask({"shell"}, script).status, 0);
    const auto requests = [](const std::string &path) {
        std::istringstream lines(read_whole_file(path));
        std::string all;
        for (std::string line; std::getline(lines, line);) {
            all += line.find(" -> ") == std::string::npos ? "" : line.substr(line.find(" | "));
        }
        return all;
    };
    EXPECT_EQ(requests(file), " | \"AT\\r\"");
    EXPECT_EQ(requests(other), " | \"AT^DMSN\\r\"");
}

TEST_F(Person, EndsAScriptByAnInterrupt)
{
    for (const int number : {SIGINT, SIGTERM}) {
        running_tool script = start({"-v", "shell"});
        (void)handset({"modem", "reset"});
        (void)handset({"modem", "silence", "on"});
        script.write("AT\nget sn\n");
        wait_until_heard("AT");
        script.signal(number);
        EXPECT_EQ(script.wait(), (outcome{130, "", "handset:default -> \"AT\\r\"\n" + failure("interrupted")}))
            << number;
    }
}

// --- the shell at a terminal

TEST_F(Person, SitsAtTheShell)
{
    running_tool shell = at_terminal({"shell"});
    shell.wait_for_prompt(k_prompt);
    shell.write("get imei\r");
    shell.wait_for("490154203237518\r\n");
    shell.wait_for_prompt(k_prompt);
    shell.write("AT+CSQ\r");
    shell.wait_for("+CSQ: 23,99\r\nOK\r\n");
    shell.wait_for_prompt(k_prompt);
    shell.write("get colour\r");
    shell.wait_for("there is no item \"colour\"");
    shell.wait_for_prompt(k_prompt); // it goes on
    shell.write("exit\r");
    EXPECT_EQ(shell.wait().status, 0);
    running_tool again = at_terminal({"shell"});
    again.wait_for_prompt(k_prompt);
    again.end_input();
    EXPECT_EQ(again.wait().status, 0) << "the end of the input";
}

TEST_F(Person, FindsWhatWasTypedBefore)
{
    const variables state = {{"XDG_STATE_HOME", tools().folder() + "/state"}};
    running_tool shell = at_terminal({"shell"}, state);
    shell.wait_for_prompt(k_prompt);
    shell.write("get modem\r");
    shell.wait_for("Emulated modem, revision 1\r\n");
    shell.wait_for_prompt(k_prompt);
    shell.write("exit\r");
    EXPECT_EQ(shell.wait().status, 0);
    EXPECT_THAT(read_whole_file(tools().folder() + "/state/kv-zep-amt/amt-station.history"), HasSubstr("get"));
    running_tool again = at_terminal({"shell"}, state);
    again.wait_for_prompt(k_prompt);
    again.write("\033[A\033[A\r"); // up, beyond "exit"
    again.wait_for("Emulated modem, revision 1\r\n");
    again.wait_for_prompt(k_prompt);
    again.end_input();
    EXPECT_EQ(again.wait().status, 0);
    running_tool at_home = at_terminal({"shell"});
    at_home.wait_for_prompt(k_prompt);
    at_home.write("get sn\r");
    at_home.wait_for("EMU0000001\r\n");
    at_home.wait_for_prompt(k_prompt);
    at_home.end_input();
    EXPECT_EQ(at_home.wait().status, 0);
    EXPECT_TRUE(std::filesystem::exists(tools().folder() + "/.local/state/kv-zep-amt/amt-station.history"));
}

TEST_F(Person, HasWordsCompleted)
{
    const struct {
        const char *name;
        const char *typed;
        const char *told;
    } rows[] = {
        {"a verb and an item", "ge\tsoftware\t\r", "KV-2.0\r\n"},
        {"a setting", "set modem-m\t4\r", "  modem-mode  4  read back\r\n"},
        {"a value", "send version module=plat\t\r", "platform"},
        {"several", "get modem\t-\tm\t\r", "4\r\n"},
    };
    (void)handset({"set", "version.software=KV-2.0"});
    running_tool shell = at_terminal({"shell"});
    for (const auto &row : rows) {
        shell.wait_for_prompt(k_prompt);
        shell.write(row.typed);
        EXPECT_NO_THROW(shell.wait_for(row.told, std::chrono::seconds(5))) << row.name;
    }
    shell.write("exit\r");
    EXPECT_EQ(shell.wait().status, 0);
}

TEST_F(Person, GoesOnInTheShellAfterAnInterrupt)
{
    (void)handset({"modem", "silence", "on"});
    running_tool shell = at_terminal({"-v", "shell"});
    shell.wait_for_prompt(k_prompt);
    for (const std::string line : {"ATI", "AT+CSQ"}) {
        shell.write(line + "\r");
        wait_until_heard(line);
        shell.signal(SIGINT);
        shell.wait_for("amt-station: handset:default: interrupted");
        shell.wait_for_prompt(k_prompt);
    }
    (void)handset({"modem", "silence", "off"});
    shell.write("half a line");
    shell.wait_for("half a line");
    shell.write("\x03");
    shell.wait_for_prompt(k_prompt);
    shell.write("get imei\r");
    shell.wait_for("490154203237518\r\n");
    shell.wait_for_prompt(k_prompt);
    shell.write("exit\r");
    EXPECT_EQ(shell.wait().status, 0);
}

// However the question before was left.
TEST_F(Person, IsAskedInTheShellAgain)
{
    const struct {
        const char *name;
        const char *typed;
        const char *told;
    } rows[] = {{"no", "n\r", "nothing was done"},
                {"the end of the input", "\004", "nothing was done"},
                {"an interrupt", "\x03", "interrupted"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        (void)tools().up("one");
        running_tool shell = at_terminal({"-p", "handset:one", "shell"});
        shell.wait_for_prompt(k_prompt);
        shell.write("power-off\r");
        shell.wait_for("Switch off handset:one? [y/N] ");
        shell.write(row.typed);
        shell.wait_for(row.told);
        shell.wait_for_prompt(k_prompt);
        EXPECT_EQ(power_of("one"), "on");
        shell.write("power-off\r");
        shell.wait_for("Switch off handset:one? [y/N] ");
        shell.write("y\r");
        EXPECT_NO_THROW(shell.wait_for("the handset switches off in two seconds", std::chrono::seconds(5)));
        (void)handset({"down", "--name", "one"});
    }
}

TEST_F(Person, GoesOnInTheShellAfterAMistake)
{
    running_tool shell = at_terminal({"shell"});
    const struct {
        const char *typed;
        const char *told;
    } rows[] = {
        {"fly\r", "there is no verb \"fly\""},
        {"get --colour imei\r", "--colour"},
        {"set imei=1\r", "imei takes 15 digits"},
        {"at 'AT\r", "a quote is open"},
        {"AT^X\r", "amt-station: handset:default: the answer is ERROR"},
        {"get imei\r", "490154203237518\r\n"},
    };
    for (const auto &row : rows) {
        shell.wait_for_prompt(k_prompt);
        shell.write(row.typed);
        shell.wait_for(row.told);
    }
    shell.wait_for_prompt(k_prompt);
    shell.write("exit\r");
    EXPECT_EQ(shell.wait().status, 0);
}

} // namespace
