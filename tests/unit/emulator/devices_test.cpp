// The devices answered by the preloaded library: what is recorded, what a program sees, and failures on demand.

#include "fixture.h"

#include <sys/stat.h>

using namespace emulator_test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;

using Devices = running_handset;

TEST_F(Devices, ShowAPageOnTheFramebuffer)
{
    EXPECT_EQ(probe_output({"show-page"}), "open ok\nfixed ok\nvariable ok\n720x1280 7372800\nmmap ok\n"
                                           "disable ok\nformat ok\nput ok\nenable ok\nclose ok\n");
    EXPECT_THAT(m_handset.calls(),
                ElementsAre("open(/dev/graphics/fb0)", "ioctl(fb0, FBIOGET_FSCREENINFO)",
                            "ioctl(fb0, FBIOGET_VSCREENINFO)", "mmap(fb0, 7372800)",
                            "ioctl(fb0, VEXIOFB_IOCTL_EN_LAYER, 0)",
                            "ioctl(fb0, VEXIOFB_IOCTL_SET_LAYER_INPUT_FORMAT, 1)", "ioctl(fb0, FBIOPUT_VSCREENINFO)",
                            "ioctl(fb0, VEXIOFB_IOCTL_EN_LAYER, 1)", "close(fb0)"));
}

TEST_F(Devices, LeaveWhatIsDrawnInAFile)
{
    (void)probe_output({"show-page"});
    const std::string memory = m_handset.files.read("/handset/fb0");
    ASSERT_EQ(memory.size(), 720U * 1280 * 2 * 4);
    EXPECT_EQ(memory.substr(memory.size() - 5), std::string("\0ZZZZ", 5));
    EXPECT_EQ(m_handset.files.read("/handset/fb0.state"),
              "xres=720\nyres=1280\nxres_virtual=720\nyres_virtual=2560\nxoffset=0\nyoffset=1280\n"
              "bits_per_pixel=16\nactivate=0\n");
}

TEST_F(Devices, KeepTheScreensStateFromOneProgramToTheNext)
{
    EXPECT_EQ(probe_output({"show-offset"}), "0 32\n");
    (void)probe_output({"show-page"});
    EXPECT_EQ(probe_output({"show-offset"}), "1280 16\n");
}

TEST_F(Devices, TakeTheScreensSizeFromItsControl)
{
    m_handset.control("fb", {"width=480", "height=800"});
    EXPECT_THAT(probe_output({"show-page"}), HasSubstr("480x800 3072000\n"));
}

TEST_F(Devices, RefuseWhatADriverRefuses)
{
    EXPECT_EQ(probe_output({"misuse"}), "unknown request ENOTTY\nbad address EFAULT\nbad argument EFAULT\n");
    EXPECT_THAT(m_handset.calls(), IsSupersetOf({"ioctl(fb0, 0x644d)", "ioctl(fb0, VEXIOFB_IOCTL_EN_LAYER, ?)"}));
}

TEST_F(Devices, SwitchTheConsole)
{
    EXPECT_EQ(probe_output({"switch-console"}), "open ok\ngraphics ok\nclose ok\n");
    EXPECT_THAT(m_handset.calls(), ElementsAre("open(/dev/tty0)", "ioctl(tty0, KDSETMODE, 1)", "close(tty0)"));
}

TEST_F(Devices, SwitchTheCamera)
{
    EXPECT_EQ(probe_output({"use-camera"}), "open ok\ninput ok\nselect 0 0\nswitch 0 1\nclose ok\n");
    EXPECT_THAT(m_handset.calls(),
                ElementsAre("open(/dev/video0)", "ioctl(video0, VIDIOC_S_INPUT, 1)", "ioctl(video0, CAMERA_SELECT, 0)",
                            "ioctl(video0, CAMERA_SWITCH, 1)", "close(video0)"));
}

TEST_F(Devices, AnswerTheCameraAsTold)
{
    m_handset.control("video.VIDIOC_S_INPUT", {"result=-1", "errno=19"});
    m_handset.control("video.CAMERA_SELECT", {"result=-1"});
    m_handset.control("video.CAMERA_SWITCH", {"result=7", "value=0x20"});
    EXPECT_EQ(probe_output({"use-camera"}), "open ok\ninput ENODEV\nselect -1 0\nswitch 7 32\nclose ok\n");
}

TEST_F(Devices, RecordAPowerOffAndDoNotPerformIt)
{
    EXPECT_EQ(probe_output({"switch-off"}), "reboot ok\n");
    EXPECT_THAT(m_handset.calls(), ElementsAre("reboot(POWER_OFF)"));
    EXPECT_TRUE(m_handset.is_on());
}

TEST_F(Devices, RecordARaisedPriorityAndDoNotRaiseIt)
{
    EXPECT_EQ(probe_output({"raise-priority"}), "highest ok\nraise ok\npolicy 0\n");
    EXPECT_THAT(m_handset.calls(),
                ElementsAre("sched_get_priority_max(SCHED_FIFO)", "sched_setscheduler(SCHED_FIFO, 95)"));
}

// An entry that is told to fail, the command that uses it, and what that then writes.
struct told_failure {
    const char *entry;
    const char *command;
    const char *line;
};

static void PrintTo(const told_failure &failure, std::ostream *stream)
{
    *stream << failure.entry;
}

class ToldFailures : public running_handset, public testing::WithParamInterface<told_failure> {};

TEST_P(ToldFailures, ReachTheProgram)
{
    m_handset.control(GetParam().entry, {"result=-1", "errno=12"});
    EXPECT_THAT(probe_output({GetParam().command}), HasSubstr(std::string(GetParam().line) + " ENOMEM\n"));
    m_handset.control(GetParam().entry, {});
    EXPECT_THAT(probe_output({GetParam().command}), HasSubstr(std::string(GetParam().line) + " ok\n"));
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Emulator, ToldFailures, testing::Values(
    told_failure{"fb.open",                                "show-page",      "open"},
    told_failure{"fb.FBIOGET_FSCREENINFO",                 "show-page",      "fixed"},
    told_failure{"fb.FBIOGET_VSCREENINFO",                 "show-page",      "variable"},
    told_failure{"fb.FBIOPUT_VSCREENINFO",                 "show-page",      "put"},
    told_failure{"fb.VEXIOFB_IOCTL_SET_LAYER_INPUT_FORMAT","show-page",      "format"},
    told_failure{"fb.VEXIOFB_IOCTL_EN_LAYER",              "show-page",      "enable"},
    told_failure{"fb.mmap",                                "show-page",      "mmap"},
    told_failure{"fb.close",                               "show-page",      "close"},
    told_failure{"tty0.open",                              "switch-console", "open"},
    told_failure{"tty0.KDSETMODE",                         "switch-console", "graphics"},
    told_failure{"tty0.close",                             "switch-console", "close"},
    told_failure{"video.open",                             "use-camera",     "open"},
    told_failure{"video.VIDIOC_S_INPUT",                   "use-camera",     "input"},
    told_failure{"video.close",                            "use-camera",     "close"},
    told_failure{"battery.open",                           "read-battery",   "open"},
    told_failure{"battery.read",                           "read-battery",   "open"},
    told_failure{"sched_get_priority_max",                 "raise-priority", "highest"},
    told_failure{"reboot",                                 "switch-off",     "reboot"},
    told_failure{"sched_setscheduler",                     "raise-priority", "raise"}));
// clang-format on

TEST_F(Devices, AreOnlyThereForProgramsThatWantThem)
{
    emulator::program what = probe({"show-page"});
    what.with_devices = false;
    const emulator::process run = m_handset.start(what);
    (void)run.wait();
    EXPECT_THAT(run.out(), HasSubstr("open ENOENT\n"));
    EXPECT_THAT(m_handset.calls(), ElementsAre());
}

TEST_F(Devices, AreKeptAcrossForkExecAndDuplication)
{
    EXPECT_EQ(output_of(m_handset, "exec 5<>/dev/tty0; printf x >&5; cat <&5 >/dev/null; echo y"), "y\n");
    EXPECT_THAT(m_handset.calls(), testing::Contains("open(/dev/tty0)"));
}

class Sanitized : public running_handset, public testing::WithParamInterface<const char *> {};

TEST_P(Sanitized, ProgramsGetOnWithTheDevices)
{
    m_handset.files.install(beside_test(GetParam()), k_probe);
    EXPECT_THAT(probe_output({"use-threads"}),
                HasSubstr("open ok\nfixed ok\nvariable ok\n720x1280 7372800\nmmap ok\n"));
    EXPECT_EQ(m_handset.calls().size(), 12U);
}

INSTANTIATE_TEST_SUITE_P(Emulator, Sanitized, testing::Values("handset-probe-asan", "handset-probe-tsan"));

TEST_F(Devices, LeaveTheLeakCheckOfASanitizedProgramAlone)
{
    m_handset.files.install(beside_test("handset-probe-asan"), k_probe);
    emulator::program what = probe({"leak"});
    what.environment = {"ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=1:exitcode=23"};
    const emulator::process run = m_handset.start(what);
    EXPECT_EQ(run.wait(), emulator::exited(23));
    EXPECT_THAT(run.err(), HasSubstr("100 byte(s) leaked in 1 allocation(s)"));
}
