// Programs inside: who they are, how they are started, and what comes back from them.

#include "fixture.h"

#include <csignal>

using namespace emulator_test;
using emulator::exited;
using emulator::signalled;
using testing::HasSubstr;
using testing::ThrowsMessage;

using Programs = running_handset;

TEST_F(Programs, RunAsTheSystemUserInTheRadioGroup)
{
    EXPECT_EQ(output_of(m_handset, "id -u; id -g; id -un; id -gn"), "1000\n1001\nsystem\nradio\n");
}

// CAP_DAC_OVERRIDE, in their own user namespace.
TEST_F(Programs, HaveOneCapabilityAndNoWayToGetAnother)
{
    EXPECT_EQ(output_of(m_handset, "grep -E 'Cap|NoNewPrivs' /proc/self/status"), "CapInh:\t0000000000000002\n"
                                                                                  "CapPrm:\t0000000000000002\n"
                                                                                  "CapEff:\t0000000000000002\n"
                                                                                  "CapBnd:\t0000000000000000\n"
                                                                                  "CapAmb:\t0000000000000002\n"
                                                                                  "NoNewPrivs:\t1\n");
}

// As a service that runs as root on a handset.
TEST_F(Programs, WriteAgainWhatTheyHaveMadeReadOnly)
{
    EXPECT_EQ(output_of(m_handset, "mkdir /amt/BT && echo once >/amt/BT/a && chmod 0555 /amt/BT/a /amt/BT && "
                                   "echo again >/amt/BT/a && echo more >/amt/BT/b && cat /amt/BT/a /amt/BT/b && "
                                   "rm -r /amt/BT && echo gone"),
              "again\nmore\ngone\n");
}

// What of this machine is seen inside stays as it is, whoever runs the emulation. Null devices are no part of it.
TEST_F(Programs, CanWriteNothingOfThisMachine)
{
    EXPECT_EQ(output_of(m_handset, "find /usr /lib/. /etc/alternatives /handset/bin/handset-init "
                                   "/handset/bin/libhandset-preload.so -maxdepth 2 ! -type l | "
                                   "while read -r path; do [ -w \"$path\" ] && echo \"$path\"; done; true"),
              "");
    EXPECT_EQ(output_of(m_handset, "find /proc -path /proc/driver -prune -o ! -type l -print 2>/dev/null | "
                                   "while read -r path; do [ -w \"$path\" ] && echo \"$path\"; done; true"),
              "");
}

TEST_F(Programs, ProcessOneHasNoPowerOverThisMachine)
{
    const std::string status = m_handset.files.read("/proc/1/status");
    EXPECT_THAT(status, HasSubstr("CapEff:\t0000000000200000\n")); // mounts and device events of its own namespaces
    EXPECT_NE(std::filesystem::read_symlink("/proc/self/ns/user"),
              std::filesystem::read_symlink("/proc/" + std::to_string(m_handset.init_pid()) + "/ns/user"));
}

TEST_F(Programs, GiveBackTheirExitStatus)
{
    EXPECT_EQ(m_handset.start(shell("exit 0")).wait(), exited(0));
    EXPECT_EQ(m_handset.start(shell("exit 37")).wait(), exited(37));
}

TEST_F(Programs, GiveBackTheSignalThatKilledThem)
{
    EXPECT_EQ(m_handset.start(shell("kill -9 $$")).wait(), signalled(SIGKILL));
}

TEST_F(Programs, AreReachedBySignals)
{
    const emulator::process run =
        m_handset.start(shell("trap 'echo caught; exit 5' USR1; echo ready; while :; do sleep 0.01; done"));
    run.wait_output("ready");
    EXPECT_TRUE(run.running());
    EXPECT_TRUE(run.signal(SIGUSR1));
    EXPECT_EQ(run.wait(), exited(5));
    EXPECT_EQ(run.out(), "ready\ncaught\n");
    EXPECT_FALSE(run.running());
    EXPECT_FALSE(run.signal(SIGUSR1)) << "a program that has ended takes no signal";
}

TEST_F(Programs, StartWithDefaultSignalHandlingWhateverTheCallerHas)
{
    EXPECT_EQ(output_of(m_handset, "grep -E 'SigBlk|SigIgn' /proc/self/status"),
              "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
}

TEST_F(Programs, KeepStandardOutputAndErrorApart)
{
    const emulator::process run = m_handset.start(shell("echo to out; echo to err >&2; printf 'no line feed'"));
    EXPECT_EQ(run.wait(), exited(0));
    EXPECT_EQ(run.out(), "to out\nno line feed");
    EXPECT_EQ(run.err(), "to err\n");
}

TEST_F(Programs, NeverBlockOnOutputThatNobodyReads)
{
    const emulator::process run = m_handset.start(shell("head -c 1000000 /dev/zero"));
    EXPECT_EQ(run.wait(), exited(0));
    EXPECT_EQ(run.out().size(), 1000000U);
}

TEST_F(Programs, ReadNothingFromStandardInput)
{
    EXPECT_EQ(output_of(m_handset, "cat; readlink /proc/self/fd/0"), "/dev/null\n");
}

TEST_F(Programs, InheritNoDescriptorButTheThreeStandardOnes)
{
    EXPECT_EQ(output_of(m_handset, "cd /proc/self/fd && echo *"), "0 1 2 3\n"); // 3 is the folder being listed
}

TEST_F(Programs, BelongToNoTerminal)
{
    EXPECT_EQ(output_of(m_handset, "ps -o tty= -p $$"), "?\n");
}

TEST_F(Programs, GetTheHandsetsEnvironmentAndNotTheCallers)
{
    emulator::program what;
    what.path = "/usr/bin/env";
    what.with_devices = false;
    what.environment = {"EXTRA=1", "ANDROID_DATA=/elsewhere"};
    const emulator::process run = m_handset.start(what);
    EXPECT_EQ(run.wait(), exited(0));
    EXPECT_THAT(run.out(), HasSubstr("PATH=/sbin:/vendor/bin:/system/sbin:/system/bin:/system/xbin\n"));
    EXPECT_THAT(run.out(), HasSubstr("LD_LIBRARY_PATH=/system/lib64\n"));
    EXPECT_THAT(run.out(), HasSubstr("EXTRA=1\n"));
    EXPECT_THAT(run.out(), HasSubstr("ANDROID_DATA=/elsewhere\n"));
    EXPECT_THAT(run.out(), Not(HasSubstr("ANDROID_DATA=/data\n")));
    EXPECT_THAT(run.out(), Not(HasSubstr("HOME=")));
}

// How a program may be started, and the name that it then sees.
struct start_form {
    const char *description;
    const char *path;
    const char *name;
    const char *folder;
    const char *seen_name;
};

static void PrintTo(const start_form &form, std::ostream *stream)
{
    *stream << form.description;
}

class StartForms : public running_handset, public testing::WithParamInterface<start_form> {};

TEST_P(StartForms, AreAsTheCallerSays)
{
    m_handset.files.install(beside_test("handset-probe"), "/system/bin/kv-zep-amt");
    m_handset.files.install(beside_test("handset-probe"), "/data/local/tmp/kv-zep-amt");
    emulator::program what = probe({"show-start"});
    what.path = GetParam().path;
    what.name = GetParam().name;
    what.folder = GetParam().folder;
    const emulator::process run = m_handset.start(what);
    EXPECT_EQ(run.wait(), exited(0)) << run.err();
    EXPECT_EQ(run.out(), std::string(GetParam().seen_name) + "\n" + GetParam().folder + "\n");
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Emulator, StartForms, testing::Values(
    start_form{"absolute path",     "/system/bin/kv-zep-amt",     "",          "/",               "/system/bin/kv-zep-amt"},
    start_form{"bare name in PATH", "kv-zep-amt",                 "",          "/amt",            "kv-zep-amt"},
    start_form{"relative path",     "./kv-zep-amt",               "",          "/data/local/tmp", "./kv-zep-amt"},
    start_form{"other name",        "/data/local/tmp/kv-zep-amt", "something", "/data",           "something"}));
// clang-format on

TEST_F(Programs, GetTheirArgumentsAsTheyAre)
{
    emulator::program what;
    what.path = "/usr/bin/printf";
    what.arguments = {"<%s>", "", "two words", "line\nfeed", "\xE4\x01"};
    const emulator::process run = m_handset.start(what);
    EXPECT_EQ(run.wait(), exited(0));
    EXPECT_EQ(run.out(), "<><two words><line\nfeed><\xE4\x01>");
}

TEST_F(Programs, ThatAreNotThereAreRefused)
{
    emulator::program what;
    what.path = "/system/bin/nothing";
    EXPECT_THAT([&] { m_handset.start(what); },
                ThrowsMessage<std::runtime_error>(HasSubstr("cannot start /system/bin/nothing in the handset")));
}

TEST_F(Programs, ThatDoNotEndInTimeAreReportedWithTheirOutput)
{
    const emulator::process run = m_handset.start(shell("echo still here; exec sleep 1000"));
    run.wait_output("still here");
    EXPECT_THAT([&] { run.wait(std::chrono::milliseconds(1)); },
                ThrowsMessage<std::runtime_error>(HasSubstr("still here")));
}

TEST_F(Programs, ThatEndWithoutTheAwaitedOutputAreReportedAtOnce)
{
    const emulator::process run = m_handset.start(shell("echo something else; exit 4"));
    EXPECT_THAT([&] { run.wait_output("never written"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("exited with 4")));
}

// Its disk is this machine's.
TEST_F(Programs, SeeASyncThatLeavesTheDiskAlone)
{
    EXPECT_EQ(output_of(m_handset, "/system/bin/sync; echo $?"), "0\n");
    EXPECT_EQ(m_handset.files.read("/system/bin/sync"), "#!/system/bin/sh\n") << "and does nothing";
}

TEST_F(Programs, SeeTheToolsThatATestPutsInPlaceOfTheHandsets)
{
    m_handset.files.write("/system/bin/sync", "#!/usr/bin/sh\necho replaced\n", 0755);
    EXPECT_EQ(output_of(m_handset, "/system/bin/sync"), "replaced\n");
}

TEST_F(Programs, RunTheHandsetsOwnShellThroughTheCLibrary)
{
    m_handset.files.write("/system/bin/sh", "#!/usr/bin/sh\necho the handset is asked to: \"$2\"\n", 0755);
    EXPECT_EQ(probe_output({"run-command", "reset"}), "the handset is asked to: reset\n");
}
