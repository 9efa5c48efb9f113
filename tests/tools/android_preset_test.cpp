// The preset for a handset, configured with an NDK that only this machine's compiler stands behind: it is told which
// handset, only what runs there is built, linked against the platform's libraries, and whoever has not named a folder
// that is needed reads in one line which.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <sstream>

#include "tests/tools/android_build.h"

namespace {

namespace fs = std::filesystem;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char k_needed_libraries[] = SOURCE_FOLDER "/cmake/needed_libraries.cmake";

// The programs and shared libraries that a build makes, of its ninja's targets.
std::set<std::string> linked_files(const std::vector<std::string> &targets)
{
    std::set<std::string> files;
    for (const std::string &target : targets) {
        if (target.find("EXECUTABLE_LINKER") != std::string::npos ||
            target.find("SHARED_LIBRARY_LINKER") != std::string::npos) {
            files.insert(target.substr(0, target.find(':')));
        }
    }
    return files;
}

TEST(AndroidPreset, BuildsTheServiceAloneForTheHandsetsPlatform)
{
    const android_build build;
    const outcome configured = build.configure();
    ASSERT_EQ(configured.status, 0) << configured;
    EXPECT_EQ(build.told(), "arm64-v8a android-23 c++_static");
    EXPECT_THAT(linked_files(build.targets()), ElementsAre("bin/kv-zep-amt"));

    const std::vector<std::string> commands = build.commands();
    ASSERT_THAT(commands, Not(IsEmpty()));
    const std::string &compile = commands.front();
    EXPECT_THAT(compile, StartsWith(build.compiler().string() + " "));
    EXPECT_THAT(compile, ContainsRegex(" -O2 -g .*-fstack-protector-strong"));
    EXPECT_THAT(compile, HasSubstr(" -idirafter " SOURCE_FOLDER "/platform/include ")) << "the NDK's own come first";
    EXPECT_THAT(compile, Not(HasSubstr("-Werror"))) << "another compiler warns of other things";
    const std::string &link = commands.back();
    for (const char *library : {"libcutils.so", "liblog.so", "libhwt.so"}) {
        EXPECT_THAT(link, HasSubstr(" " + (build.libraries() / library).string() + " "));
    }
    EXPECT_THAT(link, HasSubstr(" -lz ")) << "by a path it could be the static one";
    EXPECT_THAT(link, HasSubstr("-Wl,-z,relro,-z,now,-z,noexecstack"));
    EXPECT_THAT(link, HasSubstr("-Wl,--allow-shlib-undefined")) << "the platform's libraries need what no NDK shows";
    EXPECT_THAT(link, Not(HasSubstr("rpath"))) << "this machine's folders mean nothing on a handset";
    EXPECT_THAT(link,
                ContainsRegex(std::string(" -P ") + k_needed_libraries + " [^ ]*readelf[^ ]* [^ ]*/bin/kv-zep-amt$"));
}

struct missing_row {
    const char *m_name;
    fs::path m_ndk;
    fs::path m_libraries;
    std::vector<std::string> m_told; // all lines of errors
};

// What CMake prints of the errors: a line each, indented. Where in its files it was is not for whoever reads.
std::vector<std::string> errors_of(const outcome &configured)
{
    std::istringstream text(configured.err);
    std::vector<std::string> errors;
    for (std::string line; std::getline(text, line);) {
        if (line.compare(0, 3, "   ") == 0 || line.find("CMake Error:") == 0) {
            errors.push_back(line.substr(line.find_first_not_of(' ')));
        }
    }
    return errors;
}

TEST(AndroidPreset, TellsInALineEachWhatIsMissing)
{
    const android_build build;
    const fs::path elsewhere = build.folder() / "elsewhere";
    fs::create_directories(elsewhere);
    const fs::path no_radios = build.folder() / "no-radios";
    write_file(no_radios / "libcutils.so", "");
    write_file(no_radios / "liblog.so", "");
    const auto not_there = [](const char *library, const fs::path &folder) {
        return std::string(library) + " is not in " + folder.string() +
               ", which KV_ZEP_PLATFORM_LIBRARIES names: name the platform build's system/lib64, or put a copy from a "
               "handset there";
    };
    const missing_row rows[] = {
        {"no NDK is named",
         "",
         build.libraries(),
         {"ANDROID_NDK_HOME is not set: name the NDK's folder, in the environment or with -DANDROID_NDK_HOME="}},
        {"what is named is no NDK",
         elsewhere,
         build.libraries(),
         {"ANDROID_NDK_HOME does not name an NDK's folder: there is no " + elsewhere.string() +
          "/build/cmake/android.toolchain.cmake"}},
        {"no libraries are named",
         build.ndk(),
         "",
         {"KV_ZEP_PLATFORM_LIBRARIES is not set: name the folder of libcutils.so, liblog.so and libhwt.so, in the "
          "environment or with -DKV_ZEP_PLATFORM_LIBRARIES="}},
        {"no library is there",
         build.ndk(),
         elsewhere,
         {not_there("libcutils.so", elsewhere), not_there("liblog.so", elsewhere), not_there("libhwt.so", elsewhere)}},
        {"the maker's library is not there", build.ndk(), no_radios, {not_there("libhwt.so", no_radios)}},
    };
    for (const missing_row &row : rows) {
        const outcome configured = build.configure(row.m_ndk, row.m_libraries);
        EXPECT_EQ(configured.status, 1) << row.m_name << ": " << configured;
        EXPECT_EQ(errors_of(configured), row.m_told) << row.m_name << ": " << configured;
    }
}

// Links something empty against such libraries, which tell their names or not.
fs::path linked_against(const android_build &build, const command_words &named, const command_words &nameless)
{
    const std::string empty = build.folder() / "empty.cpp";
    write_file(empty, "");
    command_words link = {build.compiler(), "-shared", "-nostdlib", "-Wl,--no-as-needed", empty};
    const auto add = [&](const std::string &name, const command_words &options) {
        const std::string library = build.folder() / name;
        command_words words = {build.compiler(), "-shared", "-nostdlib", "-o", library, empty};
        words.insert(words.end(), options.begin(), options.end());
        const outcome made = build.tools().run(words);
        EXPECT_EQ(made.status, 0) << made;
        link.push_back(library);
    };
    for (const std::string &name : named) {
        add(name, {"-Wl,-soname," + name});
    }
    for (const std::string &name : nameless) {
        add(name, {});
    }
    fs::path service = build.folder() / "service";
    link.insert(link.end(), {"-o", service});
    const outcome linked = build.tools().run(link);
    EXPECT_EQ(linked.status, 0) << linked;
    return service;
}

struct needed_row {
    const char *m_name;
    command_words m_named;
    command_words m_nameless;
    std::vector<std::string> m_told; // none: all is well
};

TEST(AndroidPreset, TellsWhatAHandsetsLoaderWouldNotFind)
{
    const android_build build;
    const auto strange = [](const std::string &name) {
        return "the service needs " + name +
               ", which no handset has by this name: if it is a copy without a name of its own (SONAME), put the "
               "platform build's into KV_ZEP_PLATFORM_LIBRARIES instead";
    };
    const needed_row rows[] = {
        {"what a handset has", {"libcutils.so", "liblog.so", "libhwt.so", "libz.so", "libdl.so", "libc.so"}, {}, {}},
        {"what an NDK adds",
         {"libcutils.so", "liblog.so", "libhwt.so", "libz.so", "libm.so", "libdl.so", "libc.so"},
         {},
         {}},
        {"the maker's library does not tell its name",
         {"libcutils.so", "liblog.so", "libz.so", "libdl.so", "libc.so"},
         {"libhwt.so"},
         {strange(build.folder() / "libhwt.so")}},
        {"the C++ library is shared",
         {"libcutils.so", "liblog.so", "libhwt.so", "libz.so", "libdl.so", "libc.so", "libc++_shared.so"},
         {},
         {strange("libc++_shared.so")}},
        {"libz is static",
         {"libcutils.so", "liblog.so", "libhwt.so", "libdl.so", "libc.so"},
         {},
         {"the service does not need the handset's libz.so: a static library has been linked in instead"}},
    };
    for (const needed_row &row : rows) {
        const fs::path service = linked_against(build, row.m_named, row.m_nameless);
        const outcome looked = build.tools().run({"cmake", "-P", k_needed_libraries, "readelf", service});
        EXPECT_EQ(looked.status, row.m_told.empty() ? 0 : 1) << row.m_name << ": " << looked;
        EXPECT_EQ(errors_of(looked), row.m_told) << row.m_name << ": " << looked;
    }
}

} // namespace
