// What is installed beside the service: the init definitions are such as the init of Android 6 reads, and both files
// name what the service really uses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

#include "amt/amt-cfg.h"
#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_log.h"

namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Le;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::SizeIs;

using word_list = std::vector<std::string>;

// A head ("on", "service") and what is indented below it.
struct section {
    word_list m_head;
    std::vector<word_list> m_lines;
};

word_list words_of(const std::string &line)
{
    std::istringstream words(line);
    return {std::istream_iterator<std::string>(words), {}};
}

std::string definitions()
{
    return read_whole_file(SOURCE_FOLDER "/etc/kv-zep-amt.rc");
}

std::vector<section> sections_of(const std::string &text)
{
    std::vector<section> sections;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const word_list words = words_of(line);
        if (words.empty() || words[0][0] == '#') {
            continue;
        }
        if (line[0] != ' ') {
            sections.push_back({words, {}});
        } else if (!sections.empty()) {
            sections.back().m_lines.push_back(words);
        }
    }
    return sections;
}

// The same with the lines that a board may take the "#" from: those of code are not set off from it by a blank.
std::string with_all_taken(const std::string &text)
{
    std::string taken = "\n" + text;
    for (const char *code : {"\n#on ", "\n#    start "}) {
        const size_t at = taken.find(code);
        EXPECT_NE(at, std::string::npos) << code;
        taken.erase(at + 1, 1);
    }
    return taken;
}

// All lines of the sections of a kind that begin with that word.
std::vector<word_list> lines_of(const std::string &kind, const std::string &word)
{
    std::vector<word_list> found;
    for (const section &each : sections_of(with_all_taken(definitions()))) {
        for (const word_list &line : each.m_lines) {
            if (each.m_head[0] == kind && line[0] == word) {
                found.push_back(line);
            }
        }
    }
    return found;
}

// How many words follow at least and at most.
struct arguments {
    size_t m_least;
    size_t m_most;
};

// Of the words that the init of Android 6 knows those of use here.
const std::map<std::string, std::map<std::string, arguments>> k_words = {
    {"on",
     {{"chmod", {2, 2}},
      {"chown", {2, 3}},
      {"mkdir", {1, 4}},
      {"mount", {3, 10}},
      {"restorecon_recursive", {1, 10}},
      {"setprop", {2, 2}},
      {"start", {1, 1}}}},
    {"service",
     {{"class", {1, 1}},
      {"disabled", {0, 0}},
      {"group", {1, 13}},
      {"oneshot", {0, 0}},
      {"seclabel", {1, 1}},
      {"user", {1, 1}}}},
};

TEST(InitDefinitions, AreWhatInitReads)
{
    const std::vector<section> sections = sections_of(with_all_taken(definitions()));
    ASSERT_THAT(sections, Not(IsEmpty()));
    for (const section &each : sections) {
        const auto known = k_words.find(each.m_head[0]);
        ASSERT_NE(known, k_words.end()) << each.m_head[0];
        for (const word_list &line : each.m_lines) {
            const auto word = known->second.find(line[0]);
            ASSERT_NE(word, known->second.end()) << "in " << each.m_head[0] << ": " << line[0];
            EXPECT_GE(line.size() - 1, word->second.m_least) << line[0];
            EXPECT_LE(line.size() - 1, word->second.m_most) << line[0];
        }
    }
}

TEST(InitDefinitions, NameServicesAsInitAllows)
{
    std::set<std::string> names;
    for (const section &each : sections_of(definitions())) {
        if (each.m_head[0] == "service") {
            ASSERT_THAT(each.m_head, SizeIs(testing::Ge(3U)));
            EXPECT_TRUE(names.insert(each.m_head[1]).second) << each.m_head[1] << " is defined twice";
        }
    }
    EXPECT_THAT(names, ElementsAre("kv-zep-amt", "kv-zep-amt-usb"));
    for (const std::string &name : names) {
        EXPECT_THAT(name, MatchesRegex("[A-Za-z0-9_-]+"));
        EXPECT_THAT(name, SizeIs(Le(16U)));
    }
    for (const word_list &start : lines_of("on", "start")) {
        EXPECT_EQ(names.count(start[1]), 1U) << start[1];
    }
}

TEST(InitDefinitions, StartTheInstalledServiceAsRootInItsWays)
{
    std::vector<word_list> commands;
    for (const section &each : sections_of(definitions())) {
        if (each.m_head[0] == "service") {
            commands.emplace_back(each.m_head.begin() + 2, each.m_head.end());
        }
    }
    EXPECT_THAT(commands, ElementsAre(word_list{"/system/bin/kv-zep-amt"}, word_list{"/system/bin/kv-zep-amt", "-u"}));
    EXPECT_EQ(lines_of("service", "user"), std::vector<word_list>(2, {"user", "root"}));
    EXPECT_THAT(lines_of("service", "disabled"), SizeIs(1)) << "one of the two starts by itself";
}

// All text in double quotes of the service's sources.
std::set<std::string> texts_of_the_sources()
{
    std::set<std::string> texts;
    for (const char *folder : {"amt", "pub"}) {
        for (const fs::directory_entry &file : fs::recursive_directory_iterator(fs::path(SOURCE_FOLDER) / folder)) {
            if (file.path().extension() != ".cpp" && file.path().extension() != ".h") {
                continue;
            }
            std::istringstream lines(read_whole_file(file.path()));
            for (std::string line; std::getline(lines, line);) {
                std::istringstream parts(line);
                std::string part;
                for (bool quoted = false; std::getline(parts, part, '"'); quoted = !quoted) {
                    if (quoted) {
                        texts.insert(part);
                    }
                }
            }
        }
    }
    return texts;
}

bool is_in(const std::string &folder, const std::string &path)
{
    return path == folder || path.compare(0, folder.size() + 1, folder + "/") == 0;
}

TEST(InitDefinitions, MakeFoldersThatTheServiceUses)
{
    const std::set<std::string> texts = texts_of_the_sources();
    std::vector<word_list> made = lines_of("on", "mkdir");
    ASSERT_THAT(made, Not(IsEmpty()));
    for (const word_list &line : made) {
        EXPECT_TRUE(std::any_of(texts.begin(), texts.end(), [&](const std::string &text) {
            return is_in(line[1], text);
        })) << line[1];
        if (line.size() > 2) {
            EXPECT_THAT(line[2], MatchesRegex("0[0-7][0-7][0-7]"));
        }
    }
}

// The handset's paths in a text, wherever they stand; of one that is put together its beginning.
std::set<std::string> paths_in(std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return !isalnum(c) && strchr("/._-", c) == nullptr; }, ' ');
    std::set<std::string> paths;
    for (const std::string &word : words_of(text)) {
        for (const char *folder : {"/amt", "/data", "/dev", "/mnt", "/proc", "/storage", "/sys", "/system", "/tmp"}) {
            if (is_in(folder, word) && word != "/dev/null") {
                paths.insert(word);
            }
        }
    }
    return paths;
}

bool is_property(const std::string &text)
{
    for (const char *kind : {"amt.", "ctl.", "ro.", "sys."}) {
        if (text.compare(0, strlen(kind), kind) == 0) {
            return text.find(' ') == std::string::npos;
        }
    }
    return false;
}

TEST(HandsetsDocument, NamesEveryPathAndPropertyOfTheService)
{
    const std::string document = read_whole_file(SOURCE_FOLDER "/docs/handset.md");
    std::set<std::string> names; // what a board must have, or give the service leave to
    for (const std::string &text : texts_of_the_sources()) {
        names.merge(paths_in(text));
        if (is_property(text)) {
            names.insert(text);
        }
    }
    EXPECT_THAT(names, SizeIs(testing::Gt(40U)));
    EXPECT_THAT(names, testing::Contains("/data/local/wifi/gps_get_result.txt")) << "within a command";
    for (const std::string &name : names) {
        EXPECT_THAT(document, HasSubstr("`" + name)) << name;
    }
}

TEST(HandsetsDocument, TellsTheDefinitionsAsTheyAre)
{
    const std::string document = read_whole_file(SOURCE_FOLDER "/docs/handset.md");
    for (const section &each : sections_of(with_all_taken(definitions()))) {
        for (const word_list &line : each.m_lines) {
            std::string text;
            for (const std::string &word : line) {
                text += text.empty() ? word : " " + word;
            }
            EXPECT_THAT(document, HasSubstr("`" + text + "`"));
        }
    }
}

// The keys that a text sets, in the order of its lines; also those that it would, without the "#".
word_list keys_of(const std::string &text)
{
    word_list keys;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_THAT(line, SizeIs(Le(98U))) << "more is read as a line of its own";
        const word_list words = words_of(line);
        if (words.size() > 1 && words[1] == "=") {
            keys.push_back(words[0].substr(words[0].find_first_not_of('#')));
        }
    }
    return keys;
}

TEST(InstalledConfiguration, HasEveryKeyOnceAndNoOther)
{
    word_list known;
    for (const std::string &text : texts_of_the_sources()) {
        if (text.compare(0, 3, "kv.") == 0) {
            known.push_back(text);
        }
    }
    EXPECT_THAT(keys_of(read_whole_file(SOURCE_FOLDER "/etc/kv-zep-amt.cfg")),
                ::testing::UnorderedElementsAreArray(known));
}

TEST(InstalledConfiguration, IsReadAsItStands)
{
    const char *const path = SOURCE_FOLDER "/etc/kv-zep-amt.cfg";
    in_child([path] {
        const test_log log;
        ASSERT_EQ(amt_cfg_init(path), 0);
        std::istringstream lines(read_whole_file(path));
        const std::string said = log.text();
        for (std::string line; std::getline(lines, line);) {
            const word_list words = words_of(line);
            if (words.size() == 3 && words[1] == "=" && words[0][0] != '#') {
                EXPECT_THAT(said, HasSubstr("[cfg]" + words[0] + " = " + words[2] + "\n"));
            }
        }
    });
}

} // namespace
