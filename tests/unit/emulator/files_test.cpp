// The handset's files as a test reads and writes them, and the walls between them and this machine's.

#include "fixture.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

using namespace emulator_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;

namespace fs = std::filesystem;

using Files = running_handset;

// A folder of this machine that a test may do anything to.
class scratch_folder {
  public:
    scratch_folder()
        : m_path(fs::temp_directory_path() / "handset-test-XXXXXX")
    {
        std::string path = m_path;
        EXPECT_NE(mkdtemp(path.data()), nullptr);
        m_path = path;
    }
    ~scratch_folder() { fs::remove_all(m_path); }
    scratch_folder(const scratch_folder &) = delete;
    scratch_folder &operator=(const scratch_folder &) = delete;

    fs::path operator/(const std::string &name) const { return m_path / name; }

  private:
    fs::path m_path;
};

static std::string content_of(const fs::path &path)
{
    std::ostringstream content;
    content << std::ifstream(path).rdbuf();
    return content.str();
}

class WrittenInside : public running_handset, public testing::WithParamInterface<const char *> {};

TEST_P(WrittenInside, LandsInTheRootFolderAndNotOnThisMachine)
{
    const std::string path = std::string(GetParam()) + "/handset-test-" + std::to_string(getpid());
    EXPECT_EQ(output_of(m_handset, "mkdir -p $(dirname " + path + "); printf inside > " + path), "");
    EXPECT_EQ(m_handset.files.read(path), "inside");
    EXPECT_EQ(content_of(m_handset.files.root() / path.substr(1)), "inside");
    EXPECT_FALSE(fs::exists(path));
}

INSTANTIATE_TEST_SUITE_P(Emulator, WrittenInside,
                         testing::Values("/amt", "/tmp", "/data", "/data/local/log", "/data/etc", "/system/etc", "/sys",
                                         "/storage/sdcard0", "/mnt/opl/nvm", "/proc/driver", "/dev/__properties__",
                                         "/new-at-the-top"));

TEST_F(Files, OfThisMachinesSystemAreReadOnlyInside)
{
    const emulator::process run = m_handset.start(shell("echo x > /usr/handset-test"));
    EXPECT_NE(run.wait(), emulator::exited(0));
    EXPECT_THAT(run.err(), HasSubstr("Read-only file system"));
    EXPECT_FALSE(fs::exists("/usr/handset-test"));
}

TEST_F(Files, WrittenOutsideAreReadInside)
{
    m_handset.files.write("/sys/class/leds/lcd-backlight/brightness", "120\n");
    m_handset.files.write("/proc/driver/other", "3800");
    EXPECT_EQ(output_of(m_handset, "cat /sys/class/leds/lcd-backlight/brightness /proc/driver/other"), "120\n3800");
}

// Files that a service finds on a handset, and what it reads there.
constexpr struct {
    const char *path;
    const char *content;
} k_kernel_files[] = {
    {"/sys/class/power_supply/battery/voltage_now", "3900000\n"},
    {"/sys/class/power_supply/battery/temp", "275\n"},
    {"/sys/class/leds/lcd-backlight/brightness", "102\n"},
    {"/sys/class/leds/button-backlight/brightness", "0\n"},
    {"/sys/class/timed_output/vibrator/enable", "0\n"},
};

TEST_F(Files, OfTheKernelsDriversAreReadAndWrittenByAService)
{
    for (const auto &file : k_kernel_files) {
        EXPECT_EQ(output_of(m_handset, std::string("cat ") + file.path), file.content) << file.path;
        EXPECT_EQ(output_of(m_handset, std::string("echo 7 > ") + file.path), "") << file.path;
        EXPECT_EQ(m_handset.files.read(file.path), "7\n") << file.path;
    }
}

TEST_F(Files, OfTheKernelsDriversKeepTheirStateInAFolderThatIsKept)
{
    const scratch_folder machine;
    emulator::handset_options options;
    options.root = machine / "root";
    for (const auto &file : k_kernel_files) {
        emulator::handset(options).files.write(file.path, "7\n");
        EXPECT_EQ(emulator::handset(options).files.read(file.path), "7\n") << file.path;
    }
}

TEST_F(Files, OfAServiceHaveFoldersThatItMayWriteTo)
{
    EXPECT_EQ(m_handset.files.mode("/data/local/wifi"), 0777U);
    EXPECT_EQ(m_handset.files.mode("/system/media/amt"), 0755U);
    EXPECT_FALSE(m_handset.files.exists("/mnt/opl/nvm"));
}

TEST_F(Files, TakeTheModeTheyAreGiven)
{
    m_handset.files.write("/data/x", "", 0640);
    m_handset.files.make_folder("/data/folder", 0711);
    EXPECT_EQ(m_handset.files.mode("/data/x"), 0640U);
    EXPECT_EQ(m_handset.files.mode("/data/folder"), 0711U);
}

TEST_F(Files, AreReplacedWhereALinkWasAndNeverWrittenThroughIt)
{
    const scratch_folder machine;
    std::ofstream(machine / "precious") << "untouched";
    fs::create_symlink(machine / "precious", m_handset.files.root() / "data/link");
    fs::create_symlink(machine / "precious", m_handset.files.root() / "data/other");
    m_handset.files.write("/data/link", "new");
    m_handset.files.install("/usr/bin/env", "/data/other");
    EXPECT_EQ(content_of(machine / "precious"), "untouched");
    EXPECT_EQ(m_handset.files.read("/data/link"), "new");
}

TEST_F(Files, AreListedTestedAndRemoved)
{
    m_handset.files.write("/amt/b", "");
    m_handset.files.write("/amt/a/deep", "");
    EXPECT_THAT(m_handset.files.list("/amt"), ElementsAre("a", "b"));
    EXPECT_TRUE(m_handset.files.exists("/amt/a/deep"));
    m_handset.files.remove("/amt/a");
    m_handset.files.remove("/amt/not-there");
    EXPECT_FALSE(m_handset.files.exists("/amt/a/deep"));
    EXPECT_THAT(m_handset.files.list("/amt"), ElementsAre("b"));
}

TEST_F(Files, ThatAreNotThereAreReportedByName)
{
    EXPECT_THAT([&] { m_handset.files.read("/amt/nothing"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("/amt/nothing: No such file")));
    EXPECT_THAT([&] { m_handset.files.read("relative"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("no absolute path")));
}

TEST_F(Files, ThatMayBeMovedAwayAtAnyMomentReadAsSomethingElse)
{
    m_handset.files.write("/amt/a", "there");
    EXPECT_EQ(m_handset.files.read_or("/amt/a", "none"), "there");
    EXPECT_EQ(m_handset.files.read_or("/amt/nothing", "none"), "none");
    EXPECT_EQ(m_handset.files.read_or("/amt/nothing/deep", "none"), "none") << "its folder is gone as well";
    EXPECT_EQ(m_handset.files.read_or("/amt/a/deep", "none"), "none") << "or a file";
    EXPECT_THAT([&] { (void)m_handset.files.read_or("/amt", "none"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("/amt: Is a directory")));
}

TEST_F(Files, OfDevAndProcAreSeenWhileTheHandsetIsOn)
{
    EXPECT_THAT(m_handset.files.list("/dev"), Contains("ptmx"));
    EXPECT_THAT(m_handset.files.read("/proc/mounts"), HasSubstr(" /dev/pts devpts "));
    m_handset.power_off();
    EXPECT_THAT([&] { m_handset.files.list("/dev"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("only while the handset is on")));
}

TEST_F(Files, OfTmpAreGoneWithThePowerAndTheOthersStay)
{
    EXPECT_EQ(output_of(m_handset, "echo 3 > /tmp/kv-zep-amt.pid; echo 1 > /amt/sn"), "");
    m_handset.power_off();
    m_handset.boot();
    EXPECT_THAT(m_handset.files.list("/tmp"), IsEmpty());
    EXPECT_EQ(m_handset.files.read("/amt/sn"), "1\n");
}

TEST_F(Files, HoldTheProperties)
{
    EXPECT_EQ(m_handset.property("sys.usb.config"), "");
    m_handset.set_property("sys.usb.config", "amt1");
    EXPECT_EQ(m_handset.property("sys.usb.config"), "amt1");
    EXPECT_EQ(output_of(m_handset, "cat /dev/__properties__/sys.usb.config"), "amt1");
    EXPECT_EQ(output_of(m_handset, "printf amt4 > /dev/__properties__/sys.usb.config"), "");
    EXPECT_EQ(m_handset.property("sys.usb.config"), "amt4");
}

TEST_F(Files, HoldTheControlsAndTheCalls)
{
    EXPECT_THAT(m_handset.calls(), IsEmpty());
    m_handset.control("hwt_btCtrl", {"result=-1", "delay_ms=0"});
    EXPECT_EQ(output_of(m_handset, "cat /handset/control/hwt_btCtrl; echo 'hwt_btCtrl(1)' >> /handset/calls"),
              "result=-1\ndelay_ms=0\n");
    EXPECT_THAT(m_handset.calls(), ElementsAre("hwt_btCtrl(1)"));
    m_handset.clear_calls();
    EXPECT_THAT(m_handset.calls(), IsEmpty());
    m_handset.control("hwt_btCtrl", {});
    EXPECT_FALSE(m_handset.files.exists("/handset/control/hwt_btCtrl"));
}

TEST_F(Files, OfTheServiceAreInstalledWhereTheHandsetHasThem)
{
    const scratch_folder build;
    for (const char *name : {"libcutils.so", "amt.kv7100.misc.so", "libhandset-preload.so", "libemulator.a"}) {
        std::ofstream(build / name) << name;
    }
    emulator::handset_options options;
    options.service = beside_test("handset-probe");
    options.library_folder = build / ".";
    const emulator::handset handset(options);
    EXPECT_THAT(handset.files.list("/system/lib64"), ElementsAre("hw", "libcutils.so"));
    EXPECT_THAT(handset.files.list("/system/lib64/hw"), ElementsAre("amt.kv7100.misc.so"));
    EXPECT_EQ(handset.files.read(emulator::k_service_path), content_of(options.service));
    EXPECT_EQ(handset.files.mode(emulator::k_service_path), 0755U);
}

TEST_F(Files, HoldTheServicesLog)
{
    EXPECT_THAT(m_handset.log_records(), IsEmpty());
    const emulator::process writer = m_handset.start(
        shell("mkdir -p /data/local/log/kv-zep-amt-log; cd /data/local/log/kv-zep-amt-log; "
              "echo '10:00:00:000 |      100 | main                               |     12 | info         | started' "
              "> kv-zep-amt.log"));
    const emulator::log_record record = m_handset.wait_log("start");
    EXPECT_EQ(record.function, "main");
    EXPECT_EQ(record.text, "started");
    EXPECT_THAT([&] { m_handset.wait_log("never", std::chrono::milliseconds(1)); },
                ThrowsMessage<std::runtime_error>(HasSubstr("info: started")));
}
