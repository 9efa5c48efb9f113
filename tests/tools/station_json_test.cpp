// What the tool tells programs: one JSON object a line for each port, the same members for every verb, and nothing else
// on standard output.

#include "tests/tools/station_tool.h"

namespace {

using nlohmann::json;

class ForPrograms : public station_tool {
  protected:
    ForPrograms()
    {
        (void)handset({"modem", "reset"});
        (void)handset({"set", "version.software=KV-2.0", "gps.satellites=27:41,5:33"});
    }

    // The one object; of the time that was taken only the kind is held.
    static json told(command_words words, int status, const std::string &input = "")
    {
        words.insert(words.begin(), "--json");
        const outcome come = ask(words, input);
        EXPECT_EQ(come.status, status) << come;
        const std::vector<json> all = objects(come.out);
        EXPECT_EQ(all.size(), 1U) << come;
        json object = all.empty() ? json() : all[0];
        if (object["result"].contains("ms")) {
            EXPECT_TRUE(object["result"]["ms"].is_number()) << object;
            object["result"].erase("ms");
        }
        return object;
    }
};

struct json_row {
    const char *name;
    command_words words;
    int status;
    const char *object; // but for the time
};

TEST_F(ForPrograms, EveryVerbIsAnObject)
{
    const json_row rows[] = {
        {"get", {"get", "imei", "sn"}, 0, R"({"port": "handset:default", "verb": "get", "code": 0,
            "result": {"items": {"imei": "490154203237518", "sn": "EMU0000001"}}})"},
        {"get, refused",
         {"get", "imei", "bt-address"},
         1,
         R"({"port": "handset:default", "verb": "get", "code": 1,
            "error": "bt-address: the answer to \"AT^DBTADDR?\" is \"\\r\\n+CME ERROR: 100\\r\\n\"",
            "result": {"items": {"imei": "490154203237518", "bt-address": null}}})"},
        {"get, unknown verbatim", {"at", "AT^X", "y"}, 1, R"({"port": "handset:default", "verb": "at", "code": 1,
            "error": "the answer is ERROR", "result": {"line": "AT^X y", "lines": [], "final": "ERROR"}})"},
        {"set", {"set", "sn=SN1", "modem-mode=2"}, 0, R"({"port": "handset:default", "verb": "set", "code": 0,
            "result": {"items": {"sn": "SN1", "modem-mode": "2"}}})"},
        {"at", {"at", "ATI"}, 0, R"({"port": "handset:default", "verb": "at", "code": 0,
            "result": {"line": "ATI", "lines": ["Emulated modem, revision 1"], "final": "OK"}})"},
        {"a verdict with quotes",
         {"at", "AT^DATOMW=3,1,all \"well\""},
         0,
         R"({"port": "handset:default", "verb": "at", "code": 0,
            "result": {"line": "AT^DATOMW=3,1,all \"well\"", "lines": [], "final": "OK"}})"},
        {"results", {"results", "3", "4"}, 0, R"({"port": "handset:default", "verb": "results", "code": 0,
            "result": {"stations": [{"station": 3, "verdict": "passed", "text": "all \"well\""},
                                    {"station": 4, "verdict": "not tested", "text": ""}]}})"},
        {"test", {"test", "gps-satellite", "index=1"}, 0, R"({"port": "handset:default", "verb": "test", "code": 0,
            "result": {"request": {"id": 178, "name": "AMT_GPS_READ_RESULT_CMD", "command": "gps-read-result",
                                   "items": {"index": {"atom": 141, "type": "int", "value": 1}}},
                       "answer": {"id": 179, "name": "AMT_GPS_READ_RESULT_RSPCMD", "command": "gps-read-result",
                                  "items": {"strength": {"atom": 144, "type": "int", "value": 33, "meaning": "dB-Hz"},
                                            "satellite": {"atom": 141, "type": "int", "value": 5},
                                            "result": {"atom": 1, "type": "int", "value": 0, "meaning": "done"}}},
                       "result": 0, "pre_response": true, "test": "gps-satellite"}})"},
        {"send", {"send", "version", "module=16"}, 0, R"({"port": "handset:default", "verb": "send", "code": 0,
            "result": {"request": {"id": 45, "name": "AMT_VERSION_CMD", "command": "version",
                                   "items": {"module": {"atom": 19, "type": "int", "value": 16,
                                                        "meaning": "software"}}},
                       "answer": {"id": 46, "name": "AMT_VERSION_RSPCMD", "command": "version",
                                  "items": {"module": {"atom": 19, "type": "int", "value": 16, "meaning": "software"},
                                            "version": {"atom": 18, "type": "bytes", "value": "KV-2.0"},
                                            "result": {"atom": 1, "type": "int", "value": 0, "meaning": "done"}}},
                       "result": 0, "pre_response": true}})"},
        {"raw", {"raw", "41540D"}, 0, R"({"port": "handset:default", "verb": "raw", "code": 0,
            "result": {"bytes": "41 54 0D", "answered": "0D 0A 4F 4B 0D 0A", "lines": [], "final": "OK"}})"},
        {"raw, a message",
         {"raw", "AA BB CC DD 0E 00 00 00 02 00 00 00 06 00 BB B0 00 00 AF 7C AC F7"},
         0,
         R"({"port": "handset:default", "verb": "raw", "code": 0,
            "result": {"bytes": "AA BB CC DD 0E 00 00 00 02 00 00 00 06 00 BB B0 00 00 AF 7C AC F7",
                       "answered": "AA BB CC DD 17 00 00 00 02 00 00 00 0F 00 BB AF 09 00 EE 01 01 04 00 00 00 00 00 9B 61 FE EC",
                       "answer": {"id": 175, "name": "AMT_GPS_CONTROL_RSPCMD", "command": "gps-control",
                                  "items": {"result": {"atom": 1, "type": "int", "value": 0, "meaning": "done"}}},
                       "result": 0, "pre_response": true}})"},
        {"list", {"list", "ports"}, 0, nullptr},
        {"decode",
         {"decode", "AABBCCDD 08000000 02020000 764AEE1D 0D0A4F4B0D0A FF"},
         5,
         R"({"verb": "decode", "code": 5, "error": "what came is neither a frame nor lines of text",
            "result": {"parts": [
                {"kind": "pre-response", "bytes": "AA BB CC DD 08 00 00 00 02 02 00 00 76 4A EE 1D"},
                {"kind": "text", "bytes": "0D 0A 4F 4B 0D 0A", "text": "\\r\\nOK\\r\\n"},
                {"kind": "damaged", "bytes": "FF", "error": "what came is neither a frame nor lines of text"}]}})"},
    };
    const std::string ports = R"({"verb": "list", "code": 0, "result": {"ports": [{"port": "handset:default",
        "path": ")" + tools().handset_folder("default") +
                              R"(/station", "for": "station"}]}})";
    for (const json_row &row : rows) {
        EXPECT_EQ(told(row.words, row.status), json::parse(row.object == nullptr ? ports : row.object)) << row.name;
    }
}

TEST_F(ForPrograms, AnIntroductionHasEveryItem)
{
    const json object = told({"info"}, 0);
    EXPECT_EQ(object["code"], 0);
    const json &items = object["result"]["items"];
    EXPECT_EQ(items["imei"], "490154203237518");
    EXPECT_EQ(items["software-version"], "KV-2.0");
    EXPECT_TRUE(items["bt-address"].is_null()) << items;
}

TEST_F(ForPrograms, TheListsHaveEveryRow)
{
    const json items = told({"list", "items"}, 0)["result"]["items"];
    EXPECT_EQ(items[0], json::parse(R"({"item": "imei", "readable": true, "writable": true,
        "meaning": "IMEI, 15 digits; the modem's, of which the handset keeps a copy"})"));
    const json tests = told({"list", "tests"}, 0)["result"]["tests"];
    EXPECT_EQ(tests[0], json::parse(R"({"test": "battery-voltage", "meaning": "the battery's voltage, by the kernel",
        "command": "read-battery", "settings": "", "answered_on": "application"})"));
    const json commands = told({"list", "commands"}, 0)["result"]["commands"];
    EXPECT_EQ(commands.size(), 111U);
    const json one = told({"list", "commands", "gps-read-result"}, 0)["result"];
    EXPECT_EQ(one["id"], 178);
    EXPECT_EQ(one["request"][0]["item"], "index");
    EXPECT_EQ(one["answer"][0]["unit"], "dB-Hz");
    EXPECT_NE(std::find(commands.begin(), commands.end(), one), commands.end()) << "as among all of them";
}

// A failure is told twice: in the object, and to people on standard error.
TEST_F(ForPrograms, AnErrorIsTheLineThatPeopleGet)
{
    (void)handset({"modem", "silence", "on"});
    const command_words requests[] = {{"--timeout", "0.1", "at", "AT"},
                                      {"get", "bt-address", "board-sn"},
                                      {"send", "version", "19=string:x"},
                                      {"test", "vibrator"}};
    for (command_words words : requests) {
        words.insert(words.begin(), "--json");
        const outcome come = ask(words);
        const std::vector<json> all = objects(come.out);
        ASSERT_EQ(all.size(), 1U) << come;
        EXPECT_EQ(all[0]["code"], come.status) << come;
        EXPECT_EQ(failure(all[0].value("error", "")), come.err) << come;
        EXPECT_TRUE(all[0]["result"].is_object()) << come;
    }
}

TEST_F(ForPrograms, APowerOffIsAnObject)
{
    (void)tools().up("gone");
    const json object = told({"-p", "handset:gone", "power-off", "--yes"}, 0);
    EXPECT_EQ(object["port"], "handset:gone");
    EXPECT_EQ(object["verb"], "power-off");
    EXPECT_EQ(object["result"]["answer"]["command"], "power-off");
    EXPECT_EQ(object["result"]["result"], 0);
    (void)handset({"down", "--name", "gone"});
}

TEST_F(ForPrograms, AScriptOfTheShellIsAnObjectForEachVerb)
{
    const outcome come = ask({"--json", "shell"}, "get imei\nAT\nget sn\nlist ports\n");
    EXPECT_EQ(come.status, 0) << come;
    std::string verbs;
    for (const json &each : objects(come.out)) {
        verbs += each["verb"].get<std::string>() + " ";
    }
    EXPECT_EQ(verbs, "get at get list ");
}

} // namespace
