// The link between station and handset: what passes unchanged, each fault in each direction, and a cable that is torn
// out and comes back.

#include "tests/tools/handset_tool.h"

#include <csignal>

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr char k_signal[] = "+CSQ: 23,99\nOK\n";

class Link : public shared_handset {
  protected:
    Link()
    {
        (void)done({"link", "clear"});
        (void)done({"modem", "reset"});
    }

    // Acts say nothing.
    static void tell(const command_words &words)
    {
        EXPECT_EQ(ask(words_of("link", words)), (outcome{})) << ::testing::PrintToString(words);
    }

    static json way_to(const std::string &end) { return object_of({"link", "show", "--json"})["to_" + end]; }
    static std::string heard() { return object_of({"modem", "show", "--json"})["data"]["heard"]; }

    static void expect_signal(const std::string &why)
    {
        EXPECT_EQ(station("default", {"at", "AT+CSQ"}), (outcome{0, k_signal, ""})) << why;
    }

    // Somebody at the tty who sees every byte.
    static running_tool listener()
    {
        running_tool listening = tools().start({"cat", tty_of("default")});
        emulator::wait_until("somebody at the tty", [] { return !status_of("default")["station"]["holders"].empty(); });
        return listening;
    }

    static std::size_t log_count(const std::string &text)
    {
        std::size_t count = 0;
        for (const std::string &line : lines_in(done({"logs"}))) {
            count += line.find(text) != std::string::npos ? 1 : 0;
        }
        return count;
    }
};

// --- nothing wrong

TEST_F(Link, PassesEveryByteToTheHandset)
{
    std::string bytes = "~"; // no 'A' first: it is no line of the handset's own
    std::string escapes = "~";
    for (int byte = 1; byte < 256; byte++) {
        const char each = static_cast<char>(byte == '\r' ? '.' : byte);
        bytes += each;
    }
    bytes += '\r';
    const std::string file = tools().folder() + "/bytes";
    std::ofstream(file, std::ios::binary) << bytes;
    const std::size_t before = way_to("handset")["passed"];
    EXPECT_EQ(tools().run({"cp", file, tty_of("default")}).status, 0);
    emulator::wait_until("the bytes", [&] { return way_to("handset")["passed"] == before + bytes.size(); });
    emulator::wait_until("the modem to hear", [] { return heard().size() > 600; });
    for (const char *part :
         {"\\x01\\x02", "\\t\\n\\x0B\\x0C.\\x0E", "\\x1F !\\\"#", "~\\x7F\\x80", "\\xFD\\xFE\\xFF\\r"}) {
        EXPECT_THAT(heard(), HasSubstr(part));
    }
}

TEST_F(Link, PassesALongRequest)
{
    (void)done({"modem", "rule", "AT^LONG=* => \\r\\nOK\\r\\n"});
    for (const std::size_t size : {std::size_t{2048}, std::size_t{4095}}) {
        const std::string line = "AT^LONG=" + std::string(size - 8 - 1 - 4, 'x') + "tail"; // and a carriage return
        const std::size_t before = way_to("handset")["passed"];
        EXPECT_EQ(station("default", {"at", line}), (outcome{0, "OK\n", ""}));
        EXPECT_EQ(way_to("handset")["passed"], before + size);
        EXPECT_THAT(heard(), ::testing::EndsWith("xtail\\r\""));
    }
    // The kernel takes a terminal's bytes by 2048, so that what is longer may come to the service in two readings.
    EXPECT_EQ(ask({"wait-log", "handle PC req data: (data len = 2048)", "--timeout", "0"}).status, 0);
}

// --- faults

TEST_F(Link, DamagesWhatGoesToTheHandset)
{
    (void)done({"modem", "rule", "*  => \\r\\nOK\\r\\n"});
    const struct {
        const char *name;
        command_words words;
        std::string arrives; // of AT+CSQ and a carriage return
    } rows[] = {
        {"a bit", {"flip", "--to", "handset"}, "\"@T+CSQ\\r\""},
        {"the same, told", {"flip", "1", "--to", "handset"}, "\"@T+CSQ\\r\""},
        {"several", {"flip", "3", "--to", "handset"}, "\"@U*CSQ\\r\""},
        {"a byte lost", {"drop", "--to", "handset"}, "\"T+CSQ\\r\""},
        {"several lost", {"drop", "3", "--to", "handset"}, "\"CSQ\\r\""},
        {"a bit further on", {"flip", "--after", "5", "--to", "handset"}, "\"AT+CSP\\r\""},
        {"lost further on", {"drop", "2", "--after", "3", "--to", "handset"}, "\"AT+Q\\r\""},
    };
    for (const auto &row : rows) {
        (void)done({"modem", "reset"});
        tell(row.words);
        (void)station("default", {"--timeout", "5", "at", "AT+CSQ"});
        EXPECT_EQ(heard(), row.arrives) << row.name;
        EXPECT_EQ(way_to("handset")["flip"], 0) << row.name;
        EXPECT_EQ(way_to("handset")["drop"], 0) << row.name;
        expect_signal("all right again");
    }
}

TEST_F(Link, DamagesWhatGoesToTheStation)
{
    const struct {
        const char *name;
        command_words words;
        std::string arrives; // of "RING 7"
    } rows[] = {
        {"nothing", {"clear"}, "RING 7"},
        {"a bit", {"flip"}, "SING 7"},
        {"several", {"flip", "2", "--to", "station"}, "SHNG 7"},
        {"a byte lost", {"drop"}, "ING 7"},
        {"several lost", {"drop", "5"}, "7"},
        {"both", {"drop", "2"}, "NG 7"},
        {"further on", {"flip", "2", "--after", "1"}, "RHOG 7"},
    };
    running_tool listening = listener();
    std::string all;
    for (const auto &row : rows) {
        tell(row.words);
        (void)done({"modem", "say", "RING 7\\n"});
        EXPECT_NO_THROW(listening.wait_for("7\n")) << row.name;
        all += row.arrives + "\n";
    }
    tell({"flip", "1"});
    tell({"drop", "1"});
    (void)done({"modem", "say", "XRING 7\\n"});
    listening.wait_for("7\n");
    listening.signal(SIGTERM);
    const std::string out = listening.wait().out;
    EXPECT_THAT(out, StartsWith(all));
    EXPECT_EQ(way_to("station")["flip"], 0);
    EXPECT_EQ(way_to("station")["drop"], 0);
}

TEST_F(Link, TellsAStationThatAnAnswerIsDamaged)
{
    tell({"flip"});
    const outcome come = station("default", {"send", "version", "module=software"});
    EXPECT_EQ(come.status, 5) << come;
    EXPECT_EQ(lines_in(come.err).size(), 1U);
    expect_signal("afterwards");
}

TEST_F(Link, CountsFaultsUntilTheyAreUsedOrCleared)
{
    tell({"flip", "10"});
    tell({"flip", "5"});
    tell({"drop", "20", "--to", "handset"});
    tell({"split", "3", "--to", "handset"});
    tell({"stall", "on"});
    EXPECT_EQ(way_to("station")["flip"], 15);
    EXPECT_EQ(way_to("station")["stalled"], true);
    EXPECT_EQ(way_to("handset")["drop"], 20);
    EXPECT_EQ(way_to("handset")["split"], 3);
    const json all = object_of({"link", "--json"});
    const auto passed = [&](const char *way) { return std::to_string(all[way]["passed"].get<int>()); };
    const std::string faults = "to the station  stalled, passed " + passed("to_station") +
                               ", kept 0, flip 15, drop 0, split 0\nto the handset  passes, passed " +
                               passed("to_handset") + ", kept 0, flip 0, drop 20, split 3\n";
    expect_rows({
        {"shown", {"link", "show"}, 0, faults},
        {"without a word", {"link"}, 0, faults},
        {"cleared", {"link", "clear"}, 0},
        {"shown again",
         {"link", "show"},
         0,
         "to the station  passes, passed " + passed("to_station") +
             ", kept 0, flip 0, drop 0, split 0\nto the handset  passes, passed " + passed("to_handset") +
             ", kept 0, flip 0, drop 0, split 0\n"},
    });
    EXPECT_EQ(all["cut"], false);
    EXPECT_EQ(all["handset_listens"], true);
    expect_signal("cleared");
}

TEST_F(Link, TearsARequestApart)
{
    (void)done({"restart"});
    tell({"split", "20", "--to", "handset"});
    EXPECT_EQ(station("default", {"send", "version", "module=software"}).status, 1);
    EXPECT_EQ(ask({"wait-log", "(data len = 11) 01040010000000BF5CE407"}).status, 0);
    EXPECT_EQ(log_count("handle PC req data: (data len = 20)"), 1U);
    EXPECT_EQ(log_count("handle PC req data: (data len = 11)"), 1U);
    tell({"split", "0", "--to", "handset"});
    EXPECT_EQ(station("default", {"send", "version", "module=software"}).status, 0);
    EXPECT_EQ(log_count("handle PC req data: (data len = 31)"), 1U);
}

TEST_F(Link, TearsAnAnswerApartThatAStationPutsTogether)
{
    tell({"split", "3"});
    EXPECT_EQ(station("default", {"send", "version", "module=software"}).status, 0);
    expect_signal("in pieces");
    EXPECT_EQ(way_to("station")["split"], 3);
}

TEST_F(Link, KeepsWhatItHoldsUp)
{
    tell({"stall", "on", "--to", "handset"});
    const std::size_t passed = way_to("handset")["passed"];
    EXPECT_EQ(station("default", {"--timeout", "0.1", "at", "AT+CSQ"}).status, 4);
    EXPECT_EQ(way_to("handset")["kept"], 7);
    EXPECT_EQ(heard(), "\"\"");
    EXPECT_THAT(done({"link"}), HasSubstr("to the handset  stalled, "));
    tell({"stall", "off", "--to", "handset"});
    emulator::wait_until("what was kept", [] { return heard() == "\"AT+CSQ\\r\""; });
    EXPECT_EQ(way_to("handset")["passed"], passed + 7);
    EXPECT_EQ(way_to("handset")["kept"], 0);
    tell({"stall", "on"});
    running_tool listening = listener();
    const std::size_t kept = way_to("station")["kept"];
    (void)done({"modem", "say", "one\\n"});
    emulator::wait_until("what is kept", [&] { return way_to("station")["kept"] == kept + 4; });
    (void)done({"modem", "say", "two\\n"});
    tell({"clear"});
    EXPECT_NO_THROW(listening.wait_for("one\ntwo\n"));
}

TEST_F(Link, HoldsUpForATime)
{
    tell({"stall", "200", "--to", "handset"});
    expect_signal("a fifth of a second later");
    tell({"stall", "200"});
    expect_signal("the other way");
    tell({"stall", "9999999"});
    EXPECT_EQ(station("default", {"--timeout", "0.1", "at", "AT+CSQ"}).status, 4);
    tell({"clear"});
    expect_signal("not that long");
}

TEST_F(Link, SaysWhatIsWrongInALine)
{
    const std::string stall = "stall takes on, off or milliseconds, not ";
    expect_rows({
        {"no number of bytes",
         {"link", "flip", "few"},
         2,
         "",
         mistake("N: Value few not in range 1 to 1000000; handset link flip --help tells more")},
        {"none",
         {"link", "drop", "0"},
         2,
         "",
         mistake("N: Value 0 not in range 1 to 1000000; handset link drop --help tells more")},
        {"no size", {"link", "split"}, 2, "", mistake("N is required; handset link split --help tells more")},
        {"no state", {"link", "stall"}, 2, "", mistake("STATE is required; handset link stall --help tells more")},
        {"another state", {"link", "stall", "long"}, 2, "", mistake(stall + "\"long\"")},
        {"a time and more", {"link", "stall", "5s"}, 2, "", mistake(stall + "\"5s\"")},
        {"too long", {"link", "stall", "10000000"}, 2, "", mistake(stall + "\"10000000\"")},
        {"to nobody",
         {"link", "flip", "--to", "modem"},
         2,
         "",
         mistake("--to: modem not in {station,handset}; handset link flip --help tells more")},
        {"no act", {"link", "mends"}, 2, "", mistake("no verb mends: do you mean mend?; handset --help lists them")},
    });
}

// --- torn out

class CutLink : public handset_tool {};

TEST_F(CutLink, ComesBackWithAServiceThatAnswers)
{
    const struct {
        const char *mode;
        const char *port;
    } rows[] = {{"switched", "one"}, {"normal", "one/application"}};
    for (const auto &row : rows) {
        const std::string link = tools().up("one", {"--mode", row.mode});
        running_tool holder = tools().start({"cat", link});
        emulator::wait_until("somebody at the tty", [] { return !status_of("one")["station"]["holders"].empty(); });
        EXPECT_EQ(ask({"link", "cut", "--name", "one"}), (outcome{})) << row.mode;
        (void)holder.wait(); // it was hung up
        EXPECT_FALSE(std::filesystem::is_symlink(link)) << row.mode;
        EXPECT_EQ(ask({"link", "show", "--name", "one"}), (outcome{0, "cut: handset link mend\n", ""})) << row.mode;
        EXPECT_EQ(status_of("one")["link"]["cut"], true) << row.mode;
        EXPECT_EQ(station(row.port, {"send", "version", "module=platform"}).status, 3) << row.mode;
        EXPECT_EQ(ask({"link", "cut", "--name", "one"}), (outcome{})) << row.mode << ": again";
        EXPECT_EQ(ask({"link", "clear", "--name", "one"}), (outcome{})) << row.mode;
        EXPECT_EQ(status_of("one")["link"]["cut"], true) << row.mode << ": a cut stays";
        EXPECT_EQ(ask({"link", "mend", "--name", "one"}), (outcome{})) << row.mode;
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(ask({"link", "cut", "--name", "one"}), (outcome{})) << row.mode << ' ' << i;
            EXPECT_EQ(ask({"link", "mend", "--name", "one"}), (outcome{})) << row.mode << ' ' << i;
            EXPECT_TRUE(std::filesystem::is_character_file(link)) << row.mode << ' ' << i;
            EXPECT_EQ(station(row.port, {"send", "version", "module=platform"}).status, 0) << row.mode << ' ' << i;
        }
        EXPECT_EQ(ask({"link", "mend", "--name", "one"}), (outcome{})) << row.mode << ": nothing to be done";
        EXPECT_EQ(station(row.port, {"send", "version", "module=platform"}).status, 0) << row.mode;
        (void)done({"down", "--name", "one"});
    }
}

TEST_F(CutLink, IsCutUnderARequest)
{
    (void)tools().up("one");
    (void)done({"modem", "silence", "on", "--name", "one"});
    running_tool asking = tools().start({"amt-station", "-p", "handset:one", "at", "AT+CSQ"});
    EXPECT_EQ(ask({"wait-log", "write to modem: (data len = 7)", "--name", "one"}).status, 0);
    EXPECT_EQ(ask({"link", "cut", "--name", "one"}), (outcome{}));
    const outcome come = asking.wait();
    EXPECT_EQ(come.status, 3) << come;
    EXPECT_EQ(lines_in(come.err).size(), 1U);
    (void)done({"modem", "silence", "off", "--name", "one"});
    EXPECT_EQ(ask({"link", "mend", "--name", "one"}), (outcome{}));
    expect_answered("one");
    (void)done({"down", "--name", "one"});
}

} // namespace
