// Programs of another architecture than this machine's, and the runner that executes them.

#include "fixture.h"

#include <elf.h>

#include <cstring>
#include <fstream>

#include "tests/support/temp_folder.h"

using namespace emulator_test;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace {

constexpr char k_foreign[] = "/data/local/tmp/foreign";

// The beginning of a program for a processor that no machine has.
std::string foreign_program()
{
    Elf64_Ehdr header = {};
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_machine = 0xFFFF;
    return {reinterpret_cast<const char *>(&header), sizeof(header)};
}

// Tells what it is given, and what of the two preloaded libraries its program would see.
constexpr char k_runner[] =
    "#!/system/bin/sh\nfor word; do echo \"$word\"; done\ncat $2/handset/bin/libhandset-preload.so\n";

class ForeignPrograms : public testing::Test {
  protected:
    ForeignPrograms()
    {
        write(m_folder.path() + "/runner", k_runner);
        write(m_folder.path() + "/preload", "theirs\n");
    }

    emulator::handset_options options(bool with_runner) const
    {
        emulator::handset_options result;
        if (with_runner) {
            result.runner = m_folder.path() + "/runner";
            result.runner_preload = m_folder.path() + "/preload";
        }
        return result;
    }

    static emulator::program program(const std::string &name)
    {
        emulator::program what;
        what.path = k_foreign;
        what.name = name;
        what.arguments = {"-u", "two words"};
        what.with_devices = false;
        return what;
    }

  private:
    static void write(const std::string &path, const std::string &content)
    {
        std::ofstream(path) << content;
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    }

    temp_folder m_folder;
};

TEST_F(ForeignPrograms, AreRunByTheRunnerUnderTheirOwnName)
{
    emulator::handset handset(options(true));
    handset.files.write(k_foreign, foreign_program(), 0755);
    handset.boot();
    const emulator::process run = handset.start(program("their name"));
    EXPECT_EQ(run.wait(), emulator::exited(0)) << run.err();
    EXPECT_EQ(run.out(), "-L\n/handset/runner\n-0\ntheir name\n/data/local/tmp/foreign\n-u\ntwo words\ntheirs\n");
}

TEST_F(ForeignPrograms, CannotBeExecutedWithoutARunner)
{
    emulator::handset handset(options(false));
    handset.files.write(k_foreign, foreign_program(), 0755);
    handset.boot();
    EXPECT_THAT([&] { (void)handset.start(program("")); },
                ThrowsMessage<std::runtime_error>(HasSubstr("execute by the runner of foreign programs")));
}

TEST_F(ForeignPrograms, AreNoneOfThisMachinesAndNoScripts)
{
    emulator::handset handset(options(true));
    handset.boot();
    EXPECT_EQ(output_of(handset, "echo by this machine"), "by this machine\n");
    handset.files.write(k_foreign, "#!/system/bin/sh\necho a script\n", 0755);
    const emulator::process run = handset.start(program(""));
    EXPECT_EQ(run.wait(), emulator::exited(0)) << run.err();
    EXPECT_EQ(run.out(), "a script\n");
}

} // namespace
