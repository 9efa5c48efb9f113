// The station's tool against an emulated handset that a whole group of tests shares: "default", with a station at its
// tty. A test that needs another has it brought up; all go down with the group.
#pragma once

#include "tests/tools/tool_runner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

// A request to the tool, and what comes of it.
struct station_row {
    const char *name;
    command_words words; // behind "amt-station"
    int status;
    std::string out;
    std::string err = "";
    std::string input = "";
};

// The line of an error: of a command line, and of the handset that was asked.
inline std::string mistake(const std::string &what)
{
    return "amt-station: " + what + "\n";
}

inline std::string failure(const std::string &what)
{
    return mistake("handset:default: " + what);
}

class station_tool : public ::testing::Test {
  protected:
    static void SetUpTestSuite()
    {
        s_tools = std::make_unique<tool_runner>();
        (void)s_tools->up("default");
    }
    static void TearDownTestSuite() { s_tools.reset(); }

    // What a test that failed half-way has left is nothing to the next one.
    void TearDown() override
    {
        const std::filesystem::path all = std::filesystem::path(tools().handset_folder("default")).parent_path();
        std::vector<std::string> left;
        for (const auto &each : std::filesystem::directory_iterator(all)) {
            left.push_back(each.path().filename());
        }
        for (const std::string &name : left) {
            if (name != "default") {
                (void)handset({"down", "--name", name});
            }
        }
    }

    static tool_runner &tools() { return *s_tools; }

    static command_words tool_words(const command_words &words)
    {
        command_words all = {"amt-station"};
        all.insert(all.end(), words.begin(), words.end());
        return all;
    }

    static outcome ask(const command_words &words, const std::string &input = "", const variables &more = {})
    {
        return tools().run(tool_words(words), input, more);
    }

    static running_tool start(const command_words &words, const variables &more = {})
    {
        return tools().start(tool_words(words), more);
    }

    // A verb of `handset`, which must be done.
    static std::string handset(const command_words &words)
    {
        command_words all = {"handset"};
        all.insert(all.end(), words.begin(), words.end());
        const outcome come = tools().run(all);
        EXPECT_EQ(come.status, 0) << ::testing::PrintToString(words) << '\n' << come;
        return come.out;
    }

    // What the modem has heard last, as a quoted text; and until it has heard that. What is on its way to it while it
    // is silent would be answered once it speaks again.
    static std::string heard()
    {
        const nlohmann::json shown = nlohmann::json::parse(handset({"modem", "--json"}));
        return shown["data"]["heard"];
    }
    static void wait_until_heard(const std::string &line)
    {
        emulator::wait_until("the modem to hear " + line, [&] { return heard().find(line) != std::string::npos; });
    }

    // The objects of an output in which nothing else may be: one a line.
    static std::vector<nlohmann::json> objects(const std::string &out)
    {
        std::vector<nlohmann::json> all;
        std::istringstream lines(out);
        for (std::string line; std::getline(lines, line);) {
            all.push_back(nlohmann::json::parse(line));
            EXPECT_TRUE(all.back().is_object()) << line;
        }
        return all;
    }

    // The names of all tests of devices, in the order of the list.
    static std::vector<std::string> tests_listed()
    {
        const std::vector<nlohmann::json> all = objects(ask({"--json", "list", "tests"}).out);
        std::vector<std::string> names;
        for (const nlohmann::json &each : all.at(0).at("result").at("tests")) {
            names.push_back(each.at("test"));
        }
        return names;
    }

    static void expect_row(const station_row &row)
    {
        EXPECT_EQ(ask(row.words, row.input), (outcome{row.status, row.out, row.err})) << row.name;
    }

    static void expect_rows(const std::vector<station_row> &rows)
    {
        for (const station_row &row : rows) {
            expect_row(row);
        }
    }

  private:
    static inline std::unique_ptr<tool_runner> s_tools;
};
