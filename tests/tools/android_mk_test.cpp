// Android.mk, evaluated by a make that stands for the platform's: it builds the service as the preset for a handset
// does, of the same sources, with the flags that count, against the platform's libraries, and brings what is installed
// beside it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "tests/tools/android_build.h"

namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::UnorderedElementsAre;
using ::testing::UnorderedElementsAreArray;

using word_list = std::vector<std::string>;

// A module's variables by name, without their LOCAL_; RULE is what was included to build it.
using module_variables = std::map<std::string, word_list>;

word_list words_of(const std::string &text)
{
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

// The platform's rules, of which each tells what a module has set: "<module> <variable> <words>", a line each.
std::map<std::string, module_variables> modules_of_the_tree()
{
    const tool_runner tools;
    const temp_folder rules;
    const std::string clear = rules.with_file(
        "clear", "$(foreach v,$(filter-out LOCAL_PATH,$(filter LOCAL_%,$(.VARIABLES))),$(eval $(v) :=))\n");
    const std::string tell = "$(foreach v,$(filter LOCAL_%,$(.VARIABLES)),"
                             "$(info $(LOCAL_MODULE) $(v:LOCAL_%=%) $($(v))))\n";
    const std::string executable = rules.with_file("executable", "$(info $(LOCAL_MODULE) RULE executable)\n" + tell);
    const std::string prebuilt = rules.with_file("prebuilt", "$(info $(LOCAL_MODULE) RULE prebuilt)\n" + tell);
    const std::string tree =
        rules.with_file("tree", "my-dir = project\nCLEAR_VARS := " + clear + "\nBUILD_EXECUTABLE := " + executable +
                                    "\nBUILD_PREBUILT := " + prebuilt +
                                    "\nTARGET_ROOT_OUT := root\ninclude " SOURCE_FOLDER "/Android.mk\nall: ;\n");
    const outcome made = tools.run({"make", "--warn-undefined-variables", "-s", "-f", tree});
    EXPECT_EQ(made.status, 0) << made;
    EXPECT_EQ(made.err, "");
    std::map<std::string, module_variables> modules;
    std::istringstream lines(made.out);
    for (std::string line; std::getline(lines, line);) {
        const word_list words = words_of(line);
        EXPECT_GE(words.size(), 2U) << line;
        modules[words.at(0)][words.at(1)] = {words.begin() + 2, words.end()};
    }
    return modules;
}

module_variables service()
{
    return modules_of_the_tree()["kv-zep-amt"];
}

// What of these is not among those.
std::set<std::string> without(const std::set<std::string> &these, const std::set<std::string> &those)
{
    std::set<std::string> rest;
    std::set_difference(these.begin(), these.end(), those.begin(), those.end(), std::inserter(rest, rest.end()));
    return rest;
}

// How CMake builds the service for a handset.
struct preset_build {
    std::map<std::string, word_list> m_compile; // of each source the words of its command
    word_list m_link;
};

preset_build build_of_the_preset()
{
    const android_build build;
    const outcome configured = build.configure();
    EXPECT_EQ(configured.status, 0) << configured;
    preset_build found;
    const auto all = nlohmann::json::parse(read_whole_file(build.binary_folder() / "compile_commands.json"));
    for (const auto &entry : all) {
        const fs::path file = entry["file"].get<std::string>();
        found.m_compile[file.lexically_relative(SOURCE_FOLDER)] = words_of(entry["command"].get<std::string>());
    }
    found.m_link = words_of(build.commands().back());
    return found;
}

TEST(AndroidMk, HasTheSourcesThatCMakeHas)
{
    const word_list listed = service()["SRC_FILES"];
    const std::set<std::string> in_the_tree(listed.begin(), listed.end());
    std::set<std::string> of_the_preset;
    for (const auto &source : build_of_the_preset().m_compile) {
        of_the_preset.insert(source.first);
    }
    EXPECT_EQ(listed.size(), in_the_tree.size()) << "a source is listed twice";
    EXPECT_THAT(without(of_the_preset, in_the_tree), IsEmpty()) << "not in Android.mk";
    EXPECT_THAT(without(in_the_tree, of_the_preset), IsEmpty()) << "only in Android.mk";
}

// What changes the code that is made, and how it is linked. Warnings are for whoever writes the code.
word_list flags_that_count(const word_list &words)
{
    word_list kept;
    std::copy_if(words.begin(), words.end(), std::back_inserter(kept), [](const std::string &word) {
        for (const char *beginning : {"-std=", "-f", "-D", "-U", "-Wl,-z,"}) {
            if (word.rfind(beginning, 0) == 0) {
                return true;
            }
        }
        return false;
    });
    return kept;
}

TEST(AndroidMk, CompilesAndLinksAsCMakeDoes)
{
    module_variables tree = service();
    const preset_build preset = build_of_the_preset();
    EXPECT_THAT(preset.m_compile, Not(IsEmpty()));
    for (const auto &[source, command] : preset.m_compile) {
        EXPECT_THAT(flags_that_count(tree["CPPFLAGS"]), UnorderedElementsAreArray(flags_that_count(command))) << source;
    }
    EXPECT_EQ(tree["LDFLAGS"], flags_that_count(preset.m_link));
}

TEST(AndroidMk, FindsItsOwnHeadersAndTheTreesBeforeThem)
{
    module_variables tree = service();
    EXPECT_THAT(tree["C_INCLUDES"], ElementsAre("project", "external/zlib"));
    const word_list &flags = tree["CPPFLAGS"];
    const auto after = std::find(flags.begin(), flags.end(), "-idirafter");
    ASSERT_GT(std::distance(after, flags.end()), 1) << "the maker's are in no folder of the tree";
    EXPECT_EQ(after[1], "project/platform/include");
}

TEST(AndroidMk, IsAProgramOfThePlatformsOwn)
{
    module_variables tree = service();
    EXPECT_EQ(tree["RULE"], word_list{"executable"});
    EXPECT_EQ(tree["MULTILIB"], word_list{"64"});
    EXPECT_EQ(tree["CLANG"], word_list{"true"}) << "the other compiler of the tree knows only parts of C++14";
    EXPECT_EQ(tree["CXX_STL"], word_list{"libc++_static"}) << "the handset's own may be another";
    EXPECT_THAT(tree["SHARED_LIBRARIES"], UnorderedElementsAre("libcutils", "liblog", "libhwt", "libz", "libdl"));
}

struct installed_row {
    const char *m_module;
    const char *m_source;
    word_list m_folder; // none: /system/etc, as the class has it
};

TEST(AndroidMk, BringsWhatIsInstalledBesideIt)
{
    const installed_row rows[] = {
        {"kv-zep-amt.cfg", "etc/kv-zep-amt.cfg", {}},
        {"init.kv-zep-amt.rc", "etc/kv-zep-amt.rc", {"root"}},
    };
    std::map<std::string, module_variables> modules = modules_of_the_tree();
    EXPECT_EQ(modules.size(), std::size(rows) + 1);
    word_list required;
    for (const installed_row &row : rows) {
        SCOPED_TRACE(row.m_module);
        module_variables &module = modules[row.m_module];
        EXPECT_EQ(module["RULE"], word_list{"prebuilt"});
        EXPECT_EQ(module["MODULE_CLASS"], word_list{"ETC"});
        EXPECT_EQ(module["SRC_FILES"], word_list{row.m_source});
        EXPECT_TRUE(fs::exists(fs::path(SOURCE_FOLDER) / row.m_source));
        EXPECT_EQ(module["MODULE_PATH"], row.m_folder);
        required.emplace_back(row.m_module);
    }
    EXPECT_THAT(modules["kv-zep-amt"]["REQUIRED_MODULES"], UnorderedElementsAreArray(required));
}

} // namespace
