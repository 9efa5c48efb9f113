// The tool of the emulated handsets as its user has it, and a handset that a whole group of tests shares: "default",
// with a station at its tty. A test that needs another has it brought up; all go down with the group.
#pragma once

#include "tests/tools/tool_runner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using nlohmann::json;

// A request to the tool, and what comes of it.
struct handset_row {
    const char *name;
    command_words words; // behind "handset"
    int status;
    std::string out = "";
    std::string err = "";
    std::string input = "";
};

// The line of an error.
inline std::string mistake(const std::string &what)
{
    return "handset: " + what + "\n";
}

inline std::vector<std::string> lines_in(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

class handset_tool : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { s_tools = std::make_unique<tool_runner>(); }
    static void TearDownTestSuite() { s_tools.reset(); }

    static tool_runner &tools() { return *s_tools; }

    static command_words words_of(const std::string &program, const command_words &words)
    {
        command_words all = {program};
        all.insert(all.end(), words.begin(), words.end());
        return all;
    }

    static outcome ask(const command_words &words, const std::string &input = "", const variables &more = {})
    {
        return tools().run(words_of("handset", words), input, more);
    }

    static running_tool start(const command_words &words) { return tools().start(words_of("handset", words)); }

    // What must be done, and what it then says.
    static std::string done(const command_words &words)
    {
        const outcome come = ask(words);
        EXPECT_EQ(come.status, 0) << ::testing::PrintToString(words) << '\n' << come;
        return come.out;
    }

    static json object_of(const command_words &words) { return json::parse(done(words)); }

    static json status_of(const std::string &name) { return object_of({"status", "--name", name, "--json"}); }

    static std::string value_of(const std::string &name, const std::string &key)
    {
        const std::string line = done({"get", "--name", name, key});
        return line.substr(0, line.size() - 1);
    }

    // The station, or an application, asks.
    static outcome station(const std::string &port, const command_words &words)
    {
        return tools().run(words_of("amt-station", [&] {
            command_words all = {"-p", "handset:" + port};
            all.insert(all.end(), words.begin(), words.end());
            return all;
        }()));
    }

    static void expect_answered(const std::string &name, const std::string &why = "")
    {
        EXPECT_EQ(station(name, {"at", "AT"}), (outcome{0, "OK\n", ""})) << name << ' ' << why;
    }

    static void expect_row(const handset_row &row)
    {
        EXPECT_EQ(ask(row.words, row.input), (outcome{row.status, row.out, row.err})) << row.name;
    }

    static void expect_rows(const std::vector<handset_row> &rows)
    {
        for (const handset_row &row : rows) {
            expect_row(row);
        }
    }

    static std::string tty_of(const std::string &name) { return tools().handset_folder(name) + "/station"; }

  private:
    static inline std::unique_ptr<tool_runner> s_tools;
};

// With the handset that is shared.
class shared_handset : public handset_tool {
  protected:
    static void SetUpTestSuite()
    {
        handset_tool::SetUpTestSuite();
        (void)tools().up("default");
    }
};
