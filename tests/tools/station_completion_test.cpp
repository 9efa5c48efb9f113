// What bash offers to complete a command line of the station's tool, by the file that is installed for it.

#include "tests/tools/bash_completion.h"
#include "tests/tools/station_tool.h"

namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

class Completion : public station_tool {
  protected:
    static std::vector<std::string> offered(const std::string &line)
    {
        return offered_by_bash(tools(), STATION_COMPLETION, "_amt_station", line);
    }
};

TEST_F(Completion, OffersWhatMayStandNext)
{
    const struct {
        std::string line; // behind "amt-station "
        std::vector<std::string> offers;
    } rows[] = {
        {"", {"info", "get", "set", "test", "results", "at", "send", "raw", "power-off", "decode", "list", "shell"}},
        {"s", {"set", "send", "shell"}},
        {"-v ge", {"get"}},
        {"--timeout 3 ge", {"get"}},
        {"get im", {"imei"}},
        {"get imei mod", {"modem", "modem-channel", "modem-mode"}},
        {"--json get --timeout 3 sof", {"software-version"}},
        {"set ime", {"compopt -o nospace", "imei="}},
        {"set modem-", {"modem-channel=", "modem-mode="}},
        {"test gps-s", {"gps-start", "gps-stop", "gps-satellite"}},
        {"test gps-satellite ", {"compopt -o nospace", "index="}},
        {"send vers", {"version"}},
        {"send version ", {"compopt -o nospace", "module="}},
        {"send version module=", {"product", "software", "l1", "hls", "platform", "app", "hardware", "whole"}},
        {"send version module=h", {"hls", "hardware"}},
        {"list ", {"ports", "items", "tests", "commands"}},
        {"list tests lcd-b", {"lcd-brightness", "lcd-bright"}},
        {"list commands gps-", {"gps-control", "gps-test", "gps-read-result"}},
        {"list ports ", {}},
        {"-p ", {"handset:default"}},
        {"-p hand", {"handset:default"}},
        {"-p handset:", {"default"}},
        {"-p handset:d", {"default"}},
        {"--port handset:d", {"default"}},
        {"-p handset:x", {}},
        {"-p handset:default get im", {"imei"}},
        {"--ti", {"--timeout"}},
        {"--js", {"--json"}},
        {"--timeout ", {}},
        {"fly ", {}},
        {"at ", {}},
    };
    for (const auto &row : rows) {
        EXPECT_THAT(offered("amt-station " + row.line), ElementsAreArray(row.offers)) << '"' << row.line << '"';
    }
}

TEST_F(Completion, OffersEveryTestAndOption)
{
    const std::vector<std::string> names = tests_listed();
    EXPECT_THAT(names, SizeIs(41));
    EXPECT_THAT(offered("amt-station test "), ElementsAreArray(names));
    EXPECT_THAT(offered("amt-station -"),
                AllOf(Contains("--port"), Contains("-p"), Contains("--bare"), Contains("--json"), Contains("--trace"),
                      Contains("--timeout"), Contains("--wait"), Contains("--yes"), Contains("--verbose"),
                      Contains("--help")));
}

// A port of each of several handsets, and of an application.
TEST_F(Completion, OffersThePortsThatAreThere)
{
    (void)tools().up("app", {"--mode", "normal"});
    EXPECT_THAT(offered("amt-station -p handset:"), ElementsAre("app/application", "default"));
    (void)handset({"down", "--name", "app"});
}

} // namespace
