// The player inside the handset, as a service uses it: run by the shell, found by its pid file, killed.

#include "fixture.h"

using namespace emulator_test;
using testing::ElementsAre;

namespace fs = std::filesystem;

static emulator::handset_options with_player()
{
    emulator::handset_options options;
    options.player = beside_test("amt-audio");
    return options;
}

TEST(Player, IsInstalledWhereAServiceRunsIt)
{
    const emulator::handset handset(with_player());
    EXPECT_EQ(handset.files.mode("/system/bin/amt-audio"), 0755U);
    EXPECT_EQ(fs::file_size(handset.files.host_path("/system/bin/amt-audio")), fs::file_size(with_player().player));
}

TEST(Player, IsNotThereUnlessWanted)
{
    const emulator::handset handset;
    EXPECT_FALSE(handset.files.exists("/system/bin/amt-audio"));
}

TEST(Player, PlaysInTheBackgroundUntilItIsKilled)
{
    emulator::handset handset(with_player());
    handset.boot();
    // The shell's end is the end of its output: the player holds no part of it.
    EXPECT_EQ(output_of(handset, "/system/bin/amt-audio 44100 2 1024 /system/media/amt/ring.wav && echo started"),
              "started\n");
    EXPECT_THAT(handset.calls(), ElementsAre("amt-audio(44100 2 1024 /system/media/amt/ring.wav)"));
    EXPECT_EQ(output_of(handset, "read pid < /tmp/amt-audio.pid; head -z -n 1 /proc/$pid/cmdline | tr -d '\\0'"),
              "/system/bin/amt-audio");
    EXPECT_EQ(output_of(handset, "read pid < /tmp/amt-audio.pid; kill -9 $pid; "
                                 "while test -e /proc/$pid; do sleep 0.01; done; echo gone"),
              "gone\n");
}

TEST(Player, RefusesAsTold)
{
    emulator::handset handset(with_player());
    handset.boot();
    handset.control("amt-audio", {"result=1"});
    EXPECT_EQ(handset.start(shell("/system/bin/amt-audio 44100 2 1024 /none")).wait(), emulator::exited(1));
    EXPECT_FALSE(handset.files.exists("/tmp/amt-audio.pid"));
    EXPECT_THAT(handset.calls(), ElementsAre("amt-audio(44100 2 1024 /none)"));
}
