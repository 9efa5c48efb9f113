// The manual pages know every verb and every option that the tools have, the documents that they name exist, and what
// is installed works where it is.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "tests/tools/tool_runner.h"
#include "tests/tools/transcript.h"

namespace {

namespace fs = std::filesystem;
using ::testing::IsEmpty;
using ::testing::Not;

std::string content_of(const fs::path &path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What a manual page says, without its dashes' backslashes.
std::string manual_of(const std::string &tool)
{
    std::string text = content_of(fs::path(SOURCE_FOLDER) / "man" / (tool + ".1"));
    text.erase(std::remove(text.begin(), text.end(), '\\'), text.end());
    return text;
}

// The first words of the indented lines of a part of a help text; of options all spellings.
std::set<std::string> words_of_help(const std::string &help, const std::string &heading)
{
    std::set<std::string> words;
    bool is_inside = false;
    for (const std::string &line : lines_of(help)) {
        if (line.compare(0, 2, "  ") != 0) {
            is_inside = line == heading;
        } else if (is_inside && line.size() > 2 && line[2] != ' ') {
            std::istringstream first(line.substr(2, line.find(' ', 2) - 2));
            for (std::string word; std::getline(first, word, ',');) {
                words.insert(word);
            }
        }
    }
    return words;
}

// As a word of its own behind a macro or a bold font, as verbs and options are set: "at" stands in many words.
bool sets(const std::string &manual, const std::string &word)
{
    const auto is_of_word = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-'; };
    for (std::size_t at = manual.find(word); at != std::string::npos; at = manual.find(word, at + 1)) {
        const std::size_t line = manual.rfind('\n', at) + 1;
        if (manual[line] == '.' && !is_of_word(manual[at - 1]) && !is_of_word(manual[at + word.size()])) {
            return true;
        }
    }
    return false;
}

TEST(ManualPage, KnowsEveryVerbAndOption)
{
    const tool_runner tools;
    for (const std::string tool : {"amt-station", "handset"}) {
        const std::string help = tools.run({tool, "--help"}).out;
        const std::string manual = manual_of(tool);
        ASSERT_THAT(manual, Not(IsEmpty())) << tool;
        for (const char *heading : {"Subcommands:", "Options:"}) {
            const std::set<std::string> words = words_of_help(help, heading);
            EXPECT_THAT(words, Not(IsEmpty())) << tool << " --help, " << heading;
            for (const std::string &word : words) {
                EXPECT_TRUE(sets(manual, word)) << tool << " has " << word;
            }
        }
    }
}

TEST(Documents, LeadToDocumentsThatExist)
{
    for (const std::string name : {"README.md", "docs/architecture.md", "docs/handset.md", "docs/log.md",
                                   "docs/tools.md", "docs/wire-format.md"}) {
        const fs::path document = fs::path(SOURCE_FOLDER) / name;
        const std::string text = content_of(document);
        ASSERT_THAT(text, Not(IsEmpty())) << name;
        for (std::size_t at = text.find("]("); at != std::string::npos; at = text.find("](", at + 1)) {
            const std::string target = text.substr(at + 2, text.find_first_of("#)", at + 2) - at - 2);
            if (!target.empty() && target.find("://") == std::string::npos) {
                EXPECT_TRUE(fs::exists(document.parent_path() / target)) << name << " leads to " << target;
            }
        }
    }
}

TEST(Installation, WorksWhereItIs)
{
    const tool_runner tools;
    const std::string prefix = tools.folder() + "/prefix";
    const outcome installed =
        tools.run({"cmake", "--install", BUILD_FOLDER, "--prefix", prefix, "--component", "tools"});
    ASSERT_EQ(installed.status, 0) << installed;
    for (const char *file : {"share/man/man1/handset.1", "share/man/man1/amt-station.1",
                             "share/bash-completion/completions/handset", "share/doc/kv-zep-amt/README.md"}) {
        EXPECT_TRUE(fs::exists(fs::path(prefix) / file)) << file;
    }
    const outcome up = tools.run({prefix + "/bin/handset", "up"});
    ASSERT_EQ(up.status, 0) << up;
    EXPECT_EQ(tools.run({prefix + "/bin/amt-station", "get", "imei"}).out, "490154203237518\n");
    EXPECT_EQ(tools.run({prefix + "/bin/handset", "down"}).status, 0);
}

TEST(Installation, OfAHandsetHasTheServiceAndWhatBelongsToIt)
{
    const tool_runner tools;
    const std::string tree = tools.folder() + "/tree";
    const outcome installed =
        tools.run({"cmake", "--install", BUILD_FOLDER, "--component", "handset", "--strip", "--prefix", tree});
    ASSERT_EQ(installed.status, 0) << installed;
    std::set<std::string> files;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(tree)) {
        if (!entry.is_directory()) {
            files.insert(entry.path().string().substr(tree.size()));
        }
    }
    EXPECT_THAT(files, ::testing::ElementsAre("/root/init.kv-zep-amt.rc", "/system/bin/kv-zep-amt",
                                              "/system/etc/kv-zep-amt.cfg"));
}

} // namespace
