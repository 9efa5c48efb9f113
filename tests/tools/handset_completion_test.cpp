// What bash offers to complete a command line of the tool, by the file that is installed for it.

#include "tests/tools/bash_completion.h"
#include "tests/tools/handset_tool.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAreArray;

class HandsetCompletion : public shared_handset {
  protected:
    static std::vector<std::string> offered(const std::string &line)
    {
        return offered_by_bash(tools(), HANDSET_COMPLETION, "_handset", line);
    }
};

TEST_F(HandsetCompletion, OffersWhatMayStandNext)
{
    (void)tools().up("app", {"--mode", "normal"});
    const struct {
        std::string line; // behind "handset "
        std::vector<std::string> offers;
    } rows[] = {
        {"", {"up",   "down", "start", "stop",       "restart", "usb",  "list",  "status", "logs",   "wait-log",
              "keys", "get",  "set",   "screenshot", "modem",   "link", "shell", "--name", "--help", "--version"}},
        {"sta", {"start", "status"}},
        {"up --", {"--name", "--mode", "--root", "--unplugged"}},
        {"up --mode ", {"normal", "switched", "usb", "simplified"}},
        {"up --mode s", {"switched", "simplified"}},
        {"down --name ", {"app", "default"}},
        {"status --name a", {"app"}},
        {"down --", {"--name", "--all"}},
        {"list ", {"--json"}},
        {"usb ", {"plug", "unplug"}},
        {"usb plug ", {"--name"}},
        {"logs --", {"--name", "--follow", "--lines", "--json"}},
        {"get camera.", {"camera.open", "camera.input", "camera.select", "camera.update"}},
        {"get --name app --json camera.o", {"camera.open"}},
        {"get card cha", {"charger", "charger.enable"}},
        {"set bat",
         {"battery.voltage=", "battery.temperature=", "battery.converter=", "battery.driver=", "battery.calibration="}},
        {"set idl", {"compopt -o nospace", "idle="}},
        {"set card=1 idl", {"compopt -o nospace", "idle="}},
        {"set charger.", {"compopt -o nospace", "charger.enable="}},
        {"set charger=", {"host", "ac", "none"}},
        {"set charger=a", {"ac"}},
        {"set card=", {}},
        {"set scr", {}}, // it can only be read
        {"modem s", {"show", "silence", "split", "say"}},
        {"modem silence ", {"on", "off", "--name", "--port"}},
        {"modem refuse o", {"off"}},
        {"modem delay 5 --port ", {"data", "at"}},
        {"link ", {"show", "flip", "drop", "split", "stall", "cut", "mend", "clear", "--name", "--json"}},
        {"link stall o", {"on", "off"}},
        {"link flip --to ", {"station", "handset"}},
        {"link drop --", {"--name", "--to", "--after"}},
        {"--name app get card.", {"card.storage"}},
        {"--name=app get card.", {"card.storage"}},
        {"link mend --", {"--name"}},
        {"shell ", {}},
        {"shell ls --", {}},
        {"screenshot ", {}},
        {"wait-log --t", {"--timeout"}},
    };
    for (const auto &row : rows) {
        EXPECT_THAT(offered("handset " + row.line), ElementsAreArray(row.offers)) << '"' << row.line << '"';
    }
    (void)done({"down", "--name", "app"});
}

TEST_F(HandsetCompletion, OffersEveryKeyAndVerb)
{
    std::vector<std::string> keys;
    for (const json &row : json::parse(done({"keys", "--json"}))) {
        keys.push_back(row.at("key"));
    }
    for (const std::string &key : keys) {
        EXPECT_THAT(offered("handset get "), Contains(key));
    }
    const std::vector<std::string> verbs = offered("handset ");
    bool is_listed = false;
    for (const std::string &line : lines_in(ask({"--help"}).out)) {
        is_listed = line == "Subcommands:" || (is_listed && !line.empty());
        if (is_listed && line.compare(0, 2, "  ") == 0) {
            EXPECT_THAT(verbs, Contains(line.substr(2, line.find(' ', 2) - 2)));
        }
    }
}

} // namespace
