// The modem behind a handset: what it is told on each of its ports, and what a station or an application then sees.

#include "tests/tools/handset_tool.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

class Modem : public handset_tool {
  protected:
    // The data port is a station's, the AT port an application's.
    static void SetUpTestSuite()
    {
        handset_tool::SetUpTestSuite();
        (void)tools().up("default");
        (void)tools().up("app", {"--mode", "normal"});
    }

    Modem()
    {
        for (const char *name : {"default", "app"}) {
            (void)done({"modem", "reset", "--name", name});
        }
    }

    // Told to the modem of both; acts say nothing.
    static void tell(const command_words &words)
    {
        command_words all = words_of("modem", words);
        all.insert(all.end(), {"--name", ""});
        for (const char *name : {"default", "app"}) {
            all.back() = name;
            EXPECT_EQ(ask(all), (outcome{})) << ::testing::PrintToString(all);
        }
    }

    static json shown(const std::string &name) { return object_of({"modem", "show", "--json", "--name", name}); }

    static void expect_data(const std::string &out, int status, const std::string &why)
    {
        const outcome come = station("default", {"--timeout", "10", "at", "AT+CSQ"});
        EXPECT_EQ(come.out, out) << why;
        EXPECT_EQ(come.status, status) << why;
    }

    // What a station says first has the service open the port again, and is lost.
    static void wait_for_data_port()
    {
        emulator::wait_until("the modem's data port", [] {
            return station("default", {"--timeout", "1", "at", "AT+CSQ"}).status == 0;
        });
    }

    static void expect_at(const std::string &items, int status, const std::string &why)
    {
        const outcome come = station("app/application", {"send", "readimei"});
        EXPECT_THAT(come.out, HasSubstr(items)) << why;
        EXPECT_EQ(come.status, status) << why;
    }
};

constexpr char k_signal[] = "+CSQ: 23,99\nOK\n";
constexpr char k_imei[] = "\n  imei    490154203237518\n  result  0 ";
constexpr char k_taught[] = "\n  imei    112\n  result  0 ";
constexpr char k_no_imei[] = "\n  result  10 ";

TEST_F(Modem, AnswersAsItIsTold)
{
    const struct {
        const char *name;
        command_words words;
        std::string data; // what a station gets
        int data_status;
        std::string at; // what an application gets
        int at_status;
    } rows[] = {
        {"as by default", {"reset"}, k_signal, 0, k_imei, 0},
        {"refuses", {"refuse"}, "ERROR\n", 1, k_no_imei, 1},
        {"refuses its own way", {"refuse", "\\r\\n+CME ERROR: 10\\r\\n"}, "+CME ERROR: 10\n", 1, k_no_imei, 1},
        {"refuses no more", {"refuse", "off"}, k_signal, 0, k_imei, 0},
        {"refuses on the data port", {"refuse", "--port", "data"}, "ERROR\n", 1, k_imei, 0},
        {"as new there", {"reset", "--port", "data"}, k_signal, 0, k_imei, 0},
        {"refuses on the AT port", {"refuse", "--port", "at"}, k_signal, 0, k_no_imei, 1},
        {"as new", {"reset"}, k_signal, 0, k_imei, 0},
        {"takes its time, in pieces", {"delay", "1"}, k_signal, 0, k_imei, 0},
        {"the pieces", {"split", "1"}, k_signal, 0, k_imei, 0},
        {"large ones", {"split", "65536"}, k_signal, 0, k_imei, 0},
        {"whole", {"split", "0"}, k_signal, 0, k_imei, 0},
        {"at once", {"delay", "0"}, k_signal, 0, k_imei, 0},
        {"is taught an answer",
         {"rule", "AT+CSQ => \\r\\n+CSQ: 5,1\\r\\n\\r\\nOK\\r\\n"},
         "+CSQ: 5,1\nOK\n",
         0,
         k_imei,
         0},
        {"and another",
         {"rule", "AT^DGSN? => \\r\\n^DGSN: 11\\x32\\r\\n\\r\\nOK\\r\\n", "--port", "at"},
         "+CSQ: 5,1\nOK\n",
         0,
         k_taught,
         0},
        {"as new again", {"reset"}, k_signal, 0, k_imei, 0},
    };
    for (const auto &row : rows) {
        tell(row.words);
        expect_data(row.data, row.data_status, row.name);
        expect_at(row.at, row.at_status, row.name);
    }
}

TEST_F(Modem, IsSilentAndHearsEverything)
{
    tell({"silence", "on", "--port", "data"});
    EXPECT_EQ(station("default", {"--timeout", "0.1", "at", "AT+CSQ"}).status, 4);
    EXPECT_EQ(shown("default")["data"]["heard"], "\"AT+CSQ\\r\"");
    EXPECT_EQ(shown("default")["data"]["silent"], true);
    EXPECT_EQ(shown("default")["at"]["silent"], false);
    tell({"silence", "off"});
    expect_data(k_signal, 0, "no more");
}

TEST_F(Modem, TellsAResultInAnswersToMessages)
{
    const auto answer = [](const std::string &port) { return station(port, {"send", "dial", "9=string:112"}); };
    for (const char *port : {"default", "app/application"}) {
        EXPECT_EQ(answer(port).status, 0) << port << '\n' << answer(port);
    }
    tell({"result", "7"});
    for (const char *port : {"default", "app/application"}) {
        const outcome come = answer(port);
        EXPECT_EQ(come.status, 1) << port;
        EXPECT_THAT(come.err, HasSubstr("the handset answered result 7")) << port;
    }
    tell({"result", "4294967295"});
    EXPECT_EQ(shown("app")["at"]["result"], 4294967295U);
}

TEST_F(Modem, SaysSomethingByItself)
{
    running_tool listening = tools().start({"cat", tty_of("default")});
    emulator::wait_until("somebody at the tty", [] { return !status_of("default")["station"]["holders"].empty(); });
    std::string escapes;
    std::string bytes;
    for (int byte = 0; byte < 256; byte++) {
        constexpr char k_digits[] = "0123456789ABCDEF";
        escapes += {'\\', 'x', k_digits[byte / 16], k_digits[byte % 16]};
        bytes += static_cast<char>(byte);
    }
    EXPECT_EQ(ask({"modem", "say", escapes}), (outcome{}));
    EXPECT_NO_THROW(listening.wait_for(bytes)) << "every byte, as it is";
    EXPECT_EQ(ask({"modem", "say", "--port", "data", "\\r\\nRING\\r\\n"}), (outcome{}));
    EXPECT_NO_THROW(listening.wait_for("\r\nRING\r\n"));
}

TEST_F(Modem, GoesAndComesBack)
{
    for (const char *port : {"data", "at"}) {
        tell({"hang-up", "--port", port});
        for (const char *name : {"default", "app"}) {
            EXPECT_EQ(shown(name)["data"]["there"], std::string(port) != "data") << port;
            EXPECT_EQ(shown(name)["at"]["there"], std::string(port) != "at") << port;
        }
        tell({"hang-up", "--port", port}); // nothing more to be done
        tell({"return", "--port", port});
        wait_for_data_port();
        expect_data(k_signal, 0, port);
        expect_at(k_imei, 0, port);
    }
    tell({"hang-up"});
    tell({"say", "lost"});
    EXPECT_THAT(done({"modem", "show"}), AllOf(HasSubstr("data port, hung up\n"), HasSubstr("AT port, hung up\n")));
    tell({"return"});
    wait_for_data_port();
    expect_data(k_signal, 0, "both");
    expect_at(k_imei, 0, "both");
}

// An answer that takes a minute is forgotten.
TEST_F(Modem, IsAsNewAtOnce)
{
    (void)tools().up("slow");
    (void)done({"modem", "delay", "60000", "--name", "slow"});
    EXPECT_EQ(station("slow", {"--timeout", "0.1", "at", "AT+CSQ"}).status, 4);
    (void)done({"modem", "reset", "--name", "slow"});
    EXPECT_EQ(station("slow", {"--timeout", "5", "at", "AT+CSQ"}), (outcome{0, k_signal, ""}));
    (void)done({"down", "--name", "slow"});
}

TEST_F(Modem, StaysWhenItReturnsWithoutHavingGone)
{
    (void)tools().up("there");
    EXPECT_EQ(ask({"modem", "return", "--name", "there"}).err, "");
    EXPECT_EQ(station("there", {"--timeout", "5", "at", "AT+CSQ"}), (outcome{0, k_signal, ""})) << "the next line";
    (void)done({"down", "--name", "there"});
}

TEST_F(Modem, IsShown)
{
    EXPECT_EQ(station("default", {"at", "AT^DMSN=12"}).status, 0);
    (void)done({"modem", "refuse", "no\\r\\n", "--port", "at"});
    (void)done({"modem", "result", "4", "--port", "at"});
    (void)done({"modem", "delay", "5", "--port", "at"});
    (void)done({"modem", "split", "6", "--port", "at"});
    const std::string data = "data port\n  answers  by its rules, messages with result 0, after 0 ms\n"
                             "  heard    \"AT^DMSN=12\\r\"\n  keeps    sn: 12\n";
    const std::string at = "AT port\n  answers  everything with \"no\\r\\n\", messages with result 4, after 5 ms, in "
                           "pieces of 6\n  heard    \"\"\n  keeps    sn: 12\n";
    expect_rows({
        {"both", {"modem", "show"}, 0, data + at},
        {"without a word", {"modem"}, 0, data + at},
        {"one", {"modem", "show", "--port", "data"}, 0, data},
        {"the other", {"modem", "show", "--port", "at"}, 0, at},
    });
    EXPECT_EQ(shown("default")["at"], (json{{"there", true},
                                            {"silent", false},
                                            {"refuses", "\"no\\r\\n\""},
                                            {"result", 4},
                                            {"delay_ms", 5},
                                            {"split", 6},
                                            {"keeps", {{"sn", "12"}}},
                                            {"heard", "\"\""}}));
    EXPECT_EQ(shown("default")["data"]["keeps"], (json{{"sn", "12"}}));
    EXPECT_EQ(object_of({"modem", "--json"}), shown("default"));
    EXPECT_EQ(object_of({"modem", "show", "--port", "at", "--json"}).size(), 1U);
    (void)done({"modem", "silence", "on", "--port", "at"});
    EXPECT_THAT(done({"modem", "show"}), HasSubstr("  answers  nothing, messages with result 4"));
    tell({"reset"});
    EXPECT_EQ(done({"modem", "show", "--port", "data"}),
              "data port\n  answers  by its rules, messages with result 0, after 0 ms\n  heard    \"\"\n");
}

TEST_F(Modem, SaysWhatIsWrongInALine)
{
    const std::string rule = ": a rule is 'COMMAND => ANSWER'";
    const std::string escapes = ": escapes are \\r \\n \\t \\\" \\\\ \\{ and \\xHH";
    expect_rows({
        {"no answer in a rule",
         {"modem", "rule", "AT+CSQ"},
         2,
         "",
         mistake("line 1 of the modem's rules: neither => nor a tab between command and answer" + rule)},
        {"a wrong escape in a rule",
         {"modem", "rule", "AT => \\q"},
         2,
         "",
         mistake("line 1 of the modem's rules: no escape \\q" + rule)},
        {"a wrong escape", {"modem", "say", "\\q"}, 2, "", mistake("no escape \\q" + escapes)},
        {"in a refusal", {"modem", "refuse", "\\x1"}, 2, "", mistake("\\x wants two hexadecimal digits" + escapes)},
        {"neither on nor off",
         {"modem", "silence", "maybe"},
         2,
         "",
         mistake("STATE: maybe not in {on,off}; handset modem silence --help tells more")},
        {"no state",
         {"modem", "silence"},
         2,
         "",
         mistake("STATE is required; handset modem silence --help tells more")},
        {"no number",
         {"modem", "delay", "long"},
         2,
         "",
         mistake("MS: Value long not in range 0 to 3600000; handset modem delay --help tells more")},
        {"too many",
         {"modem", "split", "65537"},
         2,
         "",
         mistake("N: Value 65537 not in range 0 to 65536; handset modem split --help tells more")},
        {"less than nothing",
         {"modem", "result", "-1"},
         2,
         "",
         mistake("N: Value -1 not in range 0 to 4294967295; handset modem result --help tells more")},
        {"no port",
         {"modem", "show", "--port", "usb"},
         2,
         "",
         mistake("--port: usb not in {data,at}; handset modem show --help tells more")},
        {"no act",
         {"modem", "silent"},
         2,
         "",
         mistake("no verb silent: do you mean silence?; handset --help lists them")},
    });
}

} // namespace
