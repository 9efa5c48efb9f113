#include "tool/runtime_folder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/unit/tool/ended_program.h"
#include "tool/failure.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using tool::exit_code;
using tool_test::set_variable;

template <typename body_type>
void expect_failure(exit_code code, const std::string &told, const body_type &body)
{
    try {
        body();
        ADD_FAILURE() << "nothing was thrown instead of \"" << told << '"';
    } catch (const tool::failure &error) {
        EXPECT_THAT(error.what(), HasSubstr(told));
        EXPECT_EQ(error.code(), code) << error.what();
    } catch (const std::exception &error) {
        ADD_FAILURE() << "another exception, \"" << error.what() << "\", instead of \"" << told << '"';
    }
}

mode_t mode_of(const fs::path &path)
{
    struct stat found = {};
    EXPECT_EQ(lstat(path.c_str(), &found), 0) << path;
    return found.st_mode & 07777U;
}

// --- where it is

TEST(ToolRuntimeFolder, IsInTheUsersOwn)
{
    const temp_folder folder;
    in_child([&] {
        set_variable("XDG_RUNTIME_DIR", folder.path().c_str());
        EXPECT_EQ(tool::runtime_folder(), folder.path("kv-zep-amt"));
        EXPECT_TRUE(fs::is_directory(folder.path("kv-zep-amt")));
    });
}

TEST(ToolRuntimeFolder, IsAmongTheTemporaryFilesWhereThereIsNone)
{
    const temp_folder folder;
    const std::string expected = folder.path("kv-zep-amt-" + std::to_string(getuid()));
    for (const char *unset : {static_cast<const char *>(nullptr), ""}) {
        in_child([&] {
            set_variable("XDG_RUNTIME_DIR", unset);
            set_variable("TMPDIR", folder.path().c_str());
            EXPECT_EQ(tool::runtime_folder(), expected);
            EXPECT_TRUE(fs::is_directory(expected));
        });
    }
}

TEST(ToolRuntimeFolder, IsNowhereWithoutAFolderForTemporaryFiles)
{
    const temp_folder folder;
    for (const std::string &none : {folder.path("none"), folder.with_file("file", "")}) {
        in_child([&] {
            set_variable("XDG_RUNTIME_DIR", nullptr);
            set_variable("TMPDIR", none.c_str());
            expect_failure(exit_code::no_device, "no folder for temporary files: set TMPDIR or XDG_RUNTIME_DIR",
                           [] { (void)tool::runtime_folder(); });
        });
    }
}

TEST(ToolRuntimeFolder, IsForThisUserAloneWhateverTheMask)
{
    const temp_folder folder;
    in_child([&] {
        (void)umask(0);
        set_variable("XDG_RUNTIME_DIR", folder.path().c_str());
        EXPECT_EQ(mode_of(tool::runtime_folder()), 0700U);
    });
}

TEST(ToolRuntimeFolder, IsMadeWithTheFolderThatItIsIn)
{
    const temp_folder folder;
    in_child([&] {
        set_variable("XDG_RUNTIME_DIR", folder.path("run/1000").c_str());
        EXPECT_TRUE(fs::is_directory(tool::runtime_folder()));
    });
}

TEST(ToolRuntimeFolder, StaysWithAllThatIsInIt)
{
    const temp_folder folder;
    in_child([&] {
        set_variable("XDG_RUNTIME_DIR", folder.path().c_str());
        fs::create_directories(tool::runtime_folder() / "bench" / "root");
        EXPECT_TRUE(fs::exists(tool::runtime_folder() / "bench" / "root"));
    });
}

// --- somebody else's

enum class in_place { of_another, link, file, dangling_link };

struct place_row {
    const char *name;
    in_place what;
};

void put(in_place what, const std::string &path, const temp_folder &folder)
{
    constexpr uid_t k_nobody = 65534;
    switch (what) {
    case in_place::of_another:
        ASSERT_EQ(mkdir(path.c_str(), 0777), 0);
        ASSERT_EQ(chown(path.c_str(), k_nobody, k_nobody), 0);
        break;
    case in_place::link:
        ASSERT_EQ(mkdir(folder.path("mine").c_str(), 0700), 0);
        ASSERT_EQ(symlink(folder.path("mine").c_str(), path.c_str()), 0);
        break;
    case in_place::file:
        (void)folder.with_file("kv-zep-amt", "");
        break;
    case in_place::dangling_link:
        ASSERT_EQ(symlink(folder.path("made-by-us").c_str(), path.c_str()), 0);
        break;
    }
}

TEST(ToolRuntimeFolder, IsRefusedWhenItIsNotTheUsers)
{
    const place_row rows[] = {
        {"a link to a folder", in_place::link},
        {"a file", in_place::file},
        {"a link to nowhere", in_place::dangling_link},
        {"another user's", in_place::of_another}, // only root can make one
    };
    for (const place_row &row : rows) {
        if (row.what == in_place::of_another && geteuid() != 0) {
            continue;
        }
        SCOPED_TRACE(row.name);
        const temp_folder folder;
        const std::string path = folder.path("kv-zep-amt");
        put(row.what, path, folder);
        in_child([&] {
            set_variable("XDG_RUNTIME_DIR", folder.path().c_str());
            const std::string told = path + " is not a folder of yours: remove it, or set XDG_RUNTIME_DIR";
            expect_failure(exit_code::no_device, told, [] { (void)tool::runtime_folder(); });
            expect_failure(exit_code::no_device, told, [] { (void)tool::handset_folder("bench"); });
            expect_failure(exit_code::no_device, told, [] { (void)tool::handset_names(); });
        });
        EXPECT_FALSE(fs::exists(folder.path("made-by-us")));
    }
}

TEST(ToolRuntimeFolder, IsRefusedWhereItCannotBeMade)
{
    const temp_folder folder;
    const std::string file = folder.with_file("file", "");
    in_child([&] {
        set_variable("XDG_RUNTIME_DIR", file.c_str());
        expect_failure(exit_code::no_device, file, [] { (void)tool::runtime_folder(); });
    });
    in_child([&] {
        set_variable("XDG_RUNTIME_DIR", nullptr);
        set_variable("TMPDIR", folder.path("nowhere").c_str());
        expect_failure(exit_code::no_device, "XDG_RUNTIME_DIR", [] { (void)tool::runtime_folder(); });
    });
}

// --- the handsets in it

TEST(ToolRuntimeFolder, HasAFolderForEachHandset)
{
    const temp_folder folder;
    const std::string longest(32, 'x');
    in_child([&] {
        set_variable("XDG_RUNTIME_DIR", folder.path().c_str());
        for (const std::string &name : {std::string("default"), std::string("A-9_z"), std::string("0"), longest}) {
            EXPECT_EQ(tool::handset_folder(name), folder.path("kv-zep-amt/" + name));
            EXPECT_FALSE(fs::exists(folder.path("kv-zep-amt/" + name)));
        }
        EXPECT_EQ(tool::handset_folder(tool::k_default_handset), folder.path("kv-zep-amt/default"));
    });
}

TEST(ToolRuntimeFolder, TakesNoNameThatCouldLeadElsewhere)
{
    const temp_folder folder;
    in_child([&] {
        set_variable("XDG_RUNTIME_DIR", folder.path().c_str());
        for (const std::string &name :
             {std::string(), std::string("."), std::string(".."), std::string("a/b"), std::string("/etc"),
              std::string("a b"), std::string("a.b"), std::string("a\n"), std::string("\xC3\xA4"), std::string("a@"),
              std::string("["), std::string("`"), std::string("{"), std::string(":"), std::string(33, 'x')}) {
            expect_failure(exit_code::usage, "is no handset's name: use 1 to 32 letters, digits, dashes and",
                           [&] { (void)tool::handset_folder(name); });
        }
    });
}

TEST(ToolRuntimeFolder, TellsWhichHandsetsAreThere)
{
    const temp_folder folder;
    in_child([&] {
        set_variable("XDG_RUNTIME_DIR", folder.path().c_str());
        EXPECT_THAT(tool::handset_names(), IsEmpty());
        for (const char *name : {"line-2", "default", "Bench", "line-1"}) {
            ASSERT_EQ(mkdir(tool::handset_folder(name).c_str(), 0700), 0);
        }
        (void)folder.with_file("kv-zep-amt/a-file", "");
        EXPECT_THAT(tool::handset_names(), ElementsAre("Bench", "default", "line-1", "line-2"));
    });
}

} // namespace
