// A bad link between station and handset, as the tool tells it, and the first request once the link is good again.

#include "tests/tools/station_tool.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

const std::string k_done = "AMT_GPS_CONTROL_RSPCMD (0xAF)\n  result  0  done\n";
const std::string k_nothing =
    "no whole answer within 150 ms, nothing came: see whether the handset is in test mode and "
    "knows the request; \"handset status --name default\" tells whether its service runs";

class Link : public station_tool {
  protected:
    Link()
    {
        (void)handset({"link", "clear"});
        (void)handset({"modem", "reset"});
    }

    // What the modem has begun to hear ends with this line, which it may refuse.
    static void end_half_heard_line() { (void)ask({"--timeout", "5", "at", "AT"}); }

    static void expect_all_well(const std::string &after)
    {
        const std::string name = "after " + after;
        expect_row({name.c_str(), {"--timeout", "5", "send", "gps-test"}, 0, k_done});
        expect_row({name.c_str(), {"--timeout", "5", "get", "imei"}, 0, "490154203237518\n"});
    }

    static std::string service_state()
    {
        return nlohmann::json::parse(handset({"status", "--json"}))["service"]["state"];
    }
};

struct fault_row {
    const char *name;
    command_words fault; // behind "handset link"
    command_words words;
    int status;
    std::string out;
    std::string err;
};

TEST_F(Link, FaultsAreToldAsWhatTheyAre)
{
    const std::string neither = "what came is neither a frame nor text: ";
    const fault_row rows[] = {
        {"a flip in the announcement",
         {"flip"},
         {"send", "gps-test"},
         5,
         "",
         failure(neither + "AB BB CC DD 08 00 00 00 02 02 00 00 76 4A EE 1D")},
        {"a flip in a text",
         {"flip"},
         {"--timeout", "0.5", "at", "AT"},
         5,
         "",
         failure("what came is neither a frame nor lines of text within 500 ms: 0C 0A 4F 4B 0D 0A")},
        {"a byte of the announcement lost",
         {"drop"},
         {"send", "gps-test"},
         5,
         "",
         failure(neither + "BB CC DD 08 00 00 00 02 02 00 00 76 4A EE 1D")},
        {"the announcement lost",
         {"drop", "16"},
         {"send", "gps-test"},
         5,
         "",
         failure("the answer came without a pre-response, so it is not the handset's own, or bytes were lost: "
                 "AMT_GPS_CONTROL_RSPCMD (0xAF): result=0 (done)")},
        {"all lost", {"drop", "47"}, {"--timeout", "0.15", "send", "gps-test"}, 4, "", failure(k_nothing)},
        {"pieces of a byte", {"split", "1"}, {"send", "gps-test"}, 0, k_done, ""},
        {"pieces of 5 bytes", {"split", "5"}, {"get", "imei"}, 0, "490154203237518\n", ""},
        {"a stall that ends", {"stall", "300"}, {"send", "gps-test"}, 0, k_done, ""},
        {"a stall", {"stall", "on"}, {"--timeout", "0.15", "send", "gps-test"}, 4, "", failure(k_nothing)},
        {"a stalled text", {"stall", "on"}, {"--timeout", "0.15", "get", "imei", "sn"}, 4, "", failure(k_nothing)},
        {"a flip in a line", {"flip", "--to", "handset"}, {"at", "AT"}, 1, "ERROR\n", failure("the answer is ERROR")},
        {"a flip in a request",
         {"flip", "--to", "handset"},
         {"--timeout", "0.15", "send", "gps-test"},
         4,
         "",
         failure(k_nothing)},
        {"a byte of a request lost",
         {"drop", "--to", "handset"},
         {"--timeout", "0.15", "send", "gps-test"},
         4,
         "",
         failure(k_nothing)},
        {"a stalled request",
         {"stall", "--to", "handset", "on"},
         {"--timeout", "0.15", "send", "gps-test"},
         4,
         "",
         failure(k_nothing)},
    };
    for (const fault_row &row : rows) {
        command_words fault = {"link"};
        fault.insert(fault.end(), row.fault.begin(), row.fault.end());
        (void)handset(fault);
        EXPECT_EQ(ask(row.words), (outcome{row.status, row.out, row.err})) << row.name;
        (void)handset({"link", "clear"});
        end_half_heard_line();
        expect_all_well(row.name);
    }
}

TEST_F(Link, OfAnApplicationIsHeldToItsLengths)
{
    (void)tools().up("app", {"--mode", "normal"});
    const std::string port = "handset:app/application";
    const auto ask_it = [&] { return ask({"-p", port, "--timeout", "1", "send", "showlcd"}); };
    const struct {
        const char *name;
        command_words fault;
        std::string err;
    } rows[] = {
        {"a shorter length",
         {"flip"},
         "a damaged answer came, body length 9 of a message of 14 bytes: 0E 00 BB 1E 09 00 "
         "EE 01 01 04 00 00 00 00"},
        {"another head",
         {"flip", "4"},
         "a damaged answer came, command head 0xBA instead of 0xBB: 0E 01 BA 1F 09 00 EE "
         "01 01 04 00 00 00 00 00"},
        {"a length that never comes",
         {"drop", "4"},
         "a damaged answer came, command head 0xEE instead of 0xBB: 09 00 EE "
         "01 01 04 00 00 00 00 00"},
        {"a byte", {"drop", "14"}, "a message has begun, and only 1 byte of it came within 1000 ms: 00"},
    };
    for (const auto &row : rows) {
        command_words fault = {"link", row.fault[0], "--name", "app"};
        fault.insert(fault.end(), row.fault.begin() + 1, row.fault.end());
        (void)handset(fault);
        EXPECT_EQ(ask_it(), (outcome{5, "", mistake(port + ": " + row.err)})) << row.name;
        EXPECT_EQ(ask_it(), (outcome{0, "AMT_SHOWLCD_RSPCMD (0x1E)\n  result  0  done\n", ""})) << row.name;
    }
    (void)handset({"down", "--name", "app"});
}

TEST_F(Link, ThatIsCutIsLostUntilItIsMended)
{
    (void)handset({"modem", "silence", "on"});
    running_tool asking = start({"-v", "at", "AT"});
    wait_until_heard("AT");
    (void)handset({"link", "cut"});
    const outcome lost = asking.wait();
    EXPECT_EQ(lost.status, 3) << lost;
    EXPECT_EQ(lost.out, "");
    EXPECT_THAT(lost.err, AllOf(HasSubstr("\namt-station: handset:default: no more answers can be received"),
                                HasSubstr("see whether the handset is still connected and its service runs\n")));
    const outcome gone = ask({"-p", "handset:default", "at", "AT"});
    EXPECT_EQ(gone.status, 3) << gone;
    EXPECT_THAT(gone.err, Not(HasSubstr("no handset of that name"))) << "there is one, of which the link is cut";
    emulator::wait_until("the service's end", [] { return service_state().find("running") == std::string::npos; });
    (void)handset({"link", "mend"});
    (void)handset({"modem", "silence", "off"});
    expect_all_well("the cut");
}

} // namespace
