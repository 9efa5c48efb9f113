// Command lines that make no sense, help, and surroundings in which a handset cannot be had.

#include "tests/tools/handset_tool.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr unsigned k_nobody = 65534;

class Usage : public handset_tool {
  protected:
    // A failure of one line.
    static void expect_line(const outcome &come, int status, const std::string &part, const std::string &name)
    {
        EXPECT_EQ(come.status, status) << name << '\n' << come;
        EXPECT_EQ(come.out, "") << name;
        EXPECT_THAT(lines_in(come.err), ElementsAre(AllOf(StartsWith("handset: "), HasSubstr(part)))) << name;
    }
};

TEST_F(Usage, IsRefusedInALine)
{
    const std::string more = " --help tells more";
    const std::string names = " is no handset's name: use 1 to 32 letters, digits, dashes and underscores";
    const std::string long_name(33, 'a');
    const struct {
        const char *name;
        command_words words;
        std::string why;
    } rows[] = {
        {"no verb", {}, "A subcommand is required; handset" + more},
        {"an unknown verb", {"fly"}, "no verb fly; handset --help lists them"},
        {"one that is near", {"statuss"}, "no verb statuss: do you mean status?; handset --help lists them"},
        {"no verb below", {"usb"}, "A subcommand is required; handset usb" + more},
        {"an unknown one below", {"usb", "plugg"}, "no verb plugg: do you mean plug?; handset --help lists them"},
        {"a word too many", {"up", "now"}, "The following argument was not expected: now; handset up" + more},
        {"an unknown option", {"down", "--now"}, "The following argument was not expected: --now; handset down" + more},
        {"no key to get", {"get"}, "KEY is required; handset get" + more},
        {"no key to set", {"set"}, "KEY=VALUE is required; handset set" + more},
        {"no text", {"wait-log"}, "TEXT is required; handset wait-log" + more},
        {"no file", {"screenshot"}, "FILE is required; handset screenshot" + more},
        {"one and all", {"down", "--all", "--name", "x"}, "--name excludes --all; handset down" + more},
        {"an unknown mode", {"up", "--mode", "fly"}, "there is no mode fly: say normal, switched, usb or simplified"},
        {"unplugged without a cable", {"up", "--unplugged"}, "--unplugged goes with --mode usb only"},
        {"a list of one", {"list", "one"}, "The following argument was not expected: one; handset list" + more},
        {"a list of one, named",
         {"--name", "x", "list"},
         "The following arguments were not expected: --name x; handset list" + more},
        {"no name", {"up", "--name", ""}, "\"\"" + names},
        {"a path", {"up", "--name", "a/b"}, "\"a/b\"" + names},
        {"a path upwards", {"down", "--name", ".."}, "\"..\"" + names},
        {"blanks", {"status", "--name", "a b"}, "\"a b\"" + names},
        {"dots", {"get", "--name", "a.b", "card"}, "\"a.b\"" + names},
        {"other letters", {"logs", "--name", "\xC3\xA4"}, "\"\xC3\xA4\"" + names},
        {"a long name", {"shell", "--name", long_name, "true"}, "\"" + long_name + "\"" + names},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(ask(row.words), (outcome{2, "", mistake(row.why)})) << row.name;
    }
    EXPECT_EQ(ask({"list", "--json"}).out, "[]\n");
}

TEST_F(Usage, MissesAHandset)
{
    const std::string file = tools().folder() + "/x.png";
    for (const command_words &words :
         std::vector<command_words>{{"down"},          {"start"},         {"stop"},
                                    {"restart"},       {"usb", "plug"},   {"usb", "unplug"},
                                    {"status"},        {"logs"},          {"logs", "-f"},
                                    {"wait-log", "x"}, {"keys"},          {"modem"},
                                    {"get", "card"},   {"set", "card=1"}, {"screenshot", file},
                                    {"link"},          {"shell"},         {"modem", "reset"},
                                    {"link", "mend"},  {"shell", "true"}, {"status", "--json"}}) {
        EXPECT_EQ(ask(words),
                  (outcome{3, "", mistake("no handset default is up: handset up --name default starts one")}))
            << ::testing::PrintToString(words);
    }
    EXPECT_FALSE(fs::exists(file));
    const std::string one = mistake("no handset one is up: handset up --name one starts one");
    expect_rows({
        {"named before", {"--name", "one", "get", "card"}, 3, "", one},
        {"named in the middle", {"modem", "--name", "one", "reset"}, 3, "", one},
        {"named in one word", {"--name=one", "shell", "ls", "--name", "two"}, 3, "", one},
    });
}

TEST_F(Usage, IsHelped)
{
    for (const command_words &words : std::vector<command_words>{
             {},
             {"up"},
             {"down"},
             {"start"},
             {"stop"},
             {"restart"},
             {"usb"},
             {"usb", "plug"},
             {"usb", "unplug"},
             {"list"},
             {"status"},
             {"logs"},
             {"wait-log"},
             {"keys"},
             {"get"},
             {"set"},
             {"screenshot"},
             {"shell"},
             {"modem"},
             {"modem", "show"},
             {"modem", "silence"},
             {"modem", "refuse"},
             {"modem", "delay"},
             {"modem", "split"},
             {"modem", "result"},
             {"modem", "rule"},
             {"modem", "say"},
             {"modem", "hang-up"},
             {"modem", "return"},
             {"modem", "reset"},
             {"link"},
             {"link", "show"},
             {"link", "flip"},
             {"link", "drop"},
             {"link", "split"},
             {"link", "stall"},
             {"link", "cut"},
             {"link", "mend"},
             {"link", "clear"},
         }) {
        std::string usage = "Usage: handset";
        for (const std::string &word : words) {
            usage += " " + word;
        }
        for (const char *option : {"--help", "-h"}) {
            command_words all = words;
            all.emplace_back(option);
            const outcome come = ask(all);
            EXPECT_EQ(come.status, 0) << usage;
            EXPECT_EQ(come.err, "") << usage;
            EXPECT_THAT(come.out, HasSubstr(usage + " ")) << usage;
            for (const std::string &line : lines_in(come.out)) {
                EXPECT_LE(line.size(), 200U) << usage << '\n' << line;
            }
        }
    }
    const outcome version = ask({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.err, "");
    EXPECT_THAT(lines_in(version.out), ElementsAre(StartsWith("handset (kv-zep-amt) ")));
}

// --- where its output goes

TEST_F(Usage, TellsWhenNobodyTakesItsOutput)
{
    (void)tools().up("default", {"--mode", "normal"});
    const std::string lost = mistake("cannot write to standard output: see where it leads");
    for (const std::string verb : {"list", "list --json", "status", "keys --json", "get card", "logs",
                                   "wait-log kv-zep-amt", "modem", "link", "--help", "--version"}) {
        for (const std::string way : {">&-", ">/dev/full"}) {
            EXPECT_EQ(tools().run({"bash", "-c", "handset " + verb + way}), (outcome{1, "", lost})) << verb << way;
        }
    }
    const outcome come = tools().run({"bash", "-c", "handset up --mode normal --name one >&-"});
    EXPECT_EQ(come.status, 1);
    EXPECT_THAT(come.err, EndsWith(lost));
    (void)done({"down", "--all"});
}

// --- the folder of handsets

TEST_F(Usage, HasAFolderWithoutTheVariable)
{
    const std::string folder = tools().folder() + "/temporary";
    fs::create_directory(folder);
    const variables surrounding = {{"XDG_RUNTIME_DIR", ""}, {"TMPDIR", folder}};
    const std::string own = folder + "/kv-zep-amt-" + std::to_string(getuid());
    const outcome come = ask({"up"}, "", surrounding);
    EXPECT_EQ(come,
              (outcome{0, own + "/default/station\n", "default is up (switched), amt-station -p handset:default\n"}));
    EXPECT_EQ(tools().run({"amt-station", "at", "AT"}, "", surrounding), (outcome{0, "OK\n", ""}));
    EXPECT_EQ(ask({"list", "--json"}), (outcome{0, "[]\n", ""})) << "the other folder knows nothing of it";
    struct stat found = {};
    ASSERT_EQ(stat(own.c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 0777U, 0700U) << "nobody else's";
    EXPECT_EQ(ask({"down"}, "", surrounding), (outcome{0, "", "default is down\n"}));
}

TEST_F(Usage, IsRefusedAFolderOfSomebodyElses)
{
    const std::string folder = tools().folder() + "/foreign";
    const variables surrounding = {{"XDG_RUNTIME_DIR", folder}};
    fs::create_directory(folder);
    std::ofstream(folder + "/kv-zep-amt") << "a file";
    const auto refused = mistake(folder + "/kv-zep-amt is not a folder of yours: remove it, or set XDG_RUNTIME_DIR to "
                                          "one that is");
    EXPECT_EQ(ask({"list"}, "", surrounding), (outcome{3, "", refused})) << "a file";
    fs::remove(folder + "/kv-zep-amt");
    fs::create_directory_symlink(tools().folder(), folder + "/kv-zep-amt");
    EXPECT_EQ(ask({"up"}, "", surrounding), (outcome{3, "", refused})) << "a link";
    fs::remove(folder + "/kv-zep-amt");
    if (getuid() == 0) {
        fs::create_directory(folder + "/kv-zep-amt");
        ASSERT_EQ(chown((folder + "/kv-zep-amt").c_str(), k_nobody, k_nobody), 0);
        EXPECT_EQ(ask({"up"}, "", surrounding), (outcome{3, "", refused})) << "another user's";
    }
}

TEST_F(Usage, NeedsBubblewrap)
{
    const std::string bin = fs::read_symlink("/proc/self/exe").parent_path();
    const outcome come = ask({"up"}, "", {{"PATH", bin}});
    EXPECT_EQ(come, (outcome{3, "",
                             mistake("bwrap is not installed, the emulated handset needs it: install the "
                                     "package bubblewrap")}));
    EXPECT_FALSE(fs::exists(tools().handset_folder("default")));
}

// --- as an ordinary user

class OrdinaryUser : public Usage {
  protected:
    void SetUp() override
    {
        if (getuid() != 0) {
            GTEST_SKIP() << "only root becomes somebody else";
        }
        if (as_nobody({"--version"}).status != 0) {
            GTEST_SKIP() << "this build lies where nobody else may look";
        }
        ASSERT_EQ(chown(m_folder.path().c_str(), k_nobody, k_nobody), 0);
    }

    void TearDown() override { (void)as_nobody({"down", "--all"}); }

    outcome as_nobody(const command_words &words, const std::string &program = "handset",
                      const std::string &runtime_folder = "") const
    {
        const std::string bin = fs::read_symlink("/proc/self/exe").parent_path();
        command_words all = {
            "setpriv",        "--reuid",          std::to_string(k_nobody), "--regid", std::to_string(k_nobody),
            "--clear-groups", bin + "/" + program};
        all.insert(all.end(), words.begin(), words.end());
        const std::string folder = runtime_folder.empty() ? m_folder.path() : runtime_folder;
        return tools().run(all, "", {{"XDG_RUNTIME_DIR", folder}, {"HOME", folder}});
    }

    temp_folder m_folder; // nobody's
};

TEST_F(OrdinaryUser, HasHandsetsAsWell)
{
    const std::string tty = m_folder.path() + "/kv-zep-amt/default/station\n";
    const std::string root = m_folder.path() + "/root";
    EXPECT_EQ(as_nobody({"up", "--root", root}),
              (outcome{0, tty, "default is up (switched), amt-station -p handset:default\n"}));
    EXPECT_EQ(as_nobody({"test", "wifi-check"}, "amt-station").out, "AMT_WIFI_TEST_RSPCMD (0xBA)\n  result  0  done\n");
    EXPECT_EQ(as_nobody({"set", "card=4096", "file./amt/x=y"}), (outcome{}));
    EXPECT_EQ(as_nobody({"get", "card"}).out, "4096\n");
    EXPECT_EQ(as_nobody({"shell", "id -u; cat /amt/x"}).out, "1000\ny");
    EXPECT_EQ(as_nobody({"link", "cut"}), (outcome{}));
    EXPECT_EQ(as_nobody({"link", "mend"}), (outcome{}));
    EXPECT_EQ(as_nobody({"screenshot", m_folder.path() + "/x.png"}).status, 0);
    EXPECT_EQ(as_nobody({"down"}), (outcome{0, "", "default is down\n"}));
    EXPECT_EQ(read_whole_file(root + "/amt/x"), "y");
}

TEST_F(OrdinaryUser, IsToldWhereThereIsNoPermission)
{
    const std::string folder = tools().folder() + "/roots"; // root's, and to be looked into
    fs::create_directories(folder + "/empty");
    ASSERT_EQ(chmod(tools().folder().c_str(), 0755), 0);
    const std::string runtime = folder + "/kv-zep-amt";
    expect_line(as_nobody({"up"}, "handset", folder), 3, runtime, "a folder that is root's");
    fs::create_directory(runtime);
    expect_line(as_nobody({"list"}, "handset", folder), 3, runtime + " is not a folder of yours", "handsets of root's");
    expect_line(as_nobody({"up", "--root", folder + "/new"}), 3, "Permission denied", "a root that cannot be made");
    expect_line(as_nobody({"up", "--root", folder + "/empty"}), 3, folder + "/empty", "a root that is not writable");
    EXPECT_FALSE(fs::exists(m_folder.path() + "/kv-zep-amt/default")) << "nothing is left";
    ASSERT_EQ(as_nobody({"up"}).status, 0);
    expect_line(as_nobody({"screenshot", folder + "/x.png"}), 1, "cannot write " + folder + "/x.png: Permission denied",
                "a picture");
}

} // namespace
