#include "tool/line_editor.h"

#include <gmock/gmock.h>

#include <iostream>
#include <stdexcept>

#include "tests/unit/tool/ended_program.h"

namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;
using tool_test::ended_program;
using tool_test::run_as_program;
using tool_test::set_variable;
using words = std::vector<std::string>;

// --- words

struct words_row {
    const char *name;
    std::string line;
    words expected;
};

TEST(ToolLineEditor, PartsALineIntoWords)
{
    const words_row rows[] = {
        {"nothing", "", {}},
        {"blanks", " \t ", {}},
        {"a word", "info", {"info"}},
        {"words", "get imei", {"get", "imei"}},
        {"many blanks", "\t get \t imei  ", {"get", "imei"}},
        {"double quotes", R"(set number="a b")", {"set", "number=a b"}},
        {"single quotes", "set 'number=a b'", {"set", "number=a b"}},
        {"a quote in the other", R"("it's" 'a "b"')", {"it's", R"(a "b")"}},
        {"quotes next to each other", R"(a"b c"'d e'f)", {"ab cd ef"}},
        {"an empty word", R"(a "" b)", {"a", "", "b"}},
        {"an empty word of single quotes", "''", {""}},
        {"an empty part of a word", "a''b", {"ab"}},
        {"a blank behind a backslash", R"(a\ b)", {"a b"}},
        {"a quote behind a backslash", R"(\"a\')", {"\"a'"}},
        {"a backslash behind one", R"(a\\ b)", {R"(a\)", "b"}},
        {"a quote behind a backslash in double quotes", R"("a\"b" c)", {R"(a"b)", "c"}},
        {"a backslash in single quotes", R"('a\' b)", {R"(a\)", "b"}},
        {"a backslash at the end", R"(a\)", {R"(a\)"}},
        {"a backslash alone", R"(\)", {R"(\)"}},
        {"what a shell would take otherwise", "a=$b;c|d #e *", {"a=$b;c|d", "#e", "*"}},
        {"beyond ASCII", "\xC3\xA4 \xC3\xB6", {"\xC3\xA4", "\xC3\xB6"}},
    };
    for (const words_row &row : rows) {
        EXPECT_EQ(tool::split_words(row.line), row.expected) << row.name;
    }
}

struct open_row {
    const char *line;
    const char *told;
};

TEST(ToolLineEditor, SaysWhichQuoteDoesNotEnd)
{
    const open_row rows[] = {
        {R"(")", "end the word with \""},    {"'", "end the word with '"},         {R"(a "b)", "end the word with \""},
        {"a 'b\" c", "end the word with '"}, {R"("it's)", "end the word with \""}, {R"("a\")", "end the word with \""},
        {R"('a' ')", "end the word with '"},
    };
    for (const open_row &row : rows) {
        EXPECT_THAT([&] { (void)tool::split_words(row.line); },
                    ThrowsMessage<std::invalid_argument>(HasSubstr(row.told)))
            << row.line;
    }
}

// --- the file of the history

struct history_row {
    const char *name;
    const char *state;
    const char *home;
    const char *expected;
};

TEST(ToolLineEditor, KeepsItsHistoryAmongTheUsersOtherState)
{
    const history_row rows[] = {
        {"a folder for state", "/var/state", "/home/u", "/var/state/kv-zep-amt/amt-test.history"},
        {"and no home", "/var/state", nullptr, "/var/state/kv-zep-amt/amt-test.history"},
        {"a home", nullptr, "/home/u", "/home/u/.local/state/kv-zep-amt/amt-test.history"},
        {"an empty folder for state", "", "/home/u", "/home/u/.local/state/kv-zep-amt/amt-test.history"},
        {"neither", nullptr, nullptr, ""},
        {"both empty", "", "", ""},
    };
    for (const history_row &row : rows) {
        SCOPED_TRACE(row.name);
        in_child([&] {
            set_variable("XDG_STATE_HOME", row.state);
            set_variable("HOME", row.home);
            EXPECT_EQ(tool::history_file("amt-test"), row.expected);
        });
    }
}

// --- elsewhere than at a terminal

words nothing_offered(const words &)
{
    return {};
}

TEST(ToolLineEditor, ReadsAScriptLineByLineAndPrintsNoPrompt)
{
    const temp_folder folder;
    const std::string history = folder.path("state/history");
    const ended_program ended = run_as_program(
        [&] {
            tool::line_editor editor("amt> ", nothing_offered, history);
            while (const std::optional<std::string> line = editor.read()) {
                std::cout << '[' << *line << ']';
            }
            return editor.read() ? 1 : 0;
        },
        "info\n\n get  imei\t\nlast");
    EXPECT_EQ(ended.code(), 0);
    EXPECT_EQ(ended.out, "[info][][ get  imei\t][last]");
    EXPECT_EQ(ended.err, "");
    EXPECT_FALSE(std::filesystem::exists(history)) << "a script is no history";
}

} // namespace
