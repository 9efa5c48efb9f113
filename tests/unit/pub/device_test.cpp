#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <termios.h>
#include <unistd.h>

#include "pub/log/errors.h"
#include "pub/util/util.h"
#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_log.h"
#include "tests/unit/pub/util_fakes.h"

extern "C" {

int __real_open(const char *path, int flags, mode_t mode);
int __wrap_open(const char *path, int flags, mode_t mode)
{
    const int fd = __real_open(path, flags, mode);
    if (fd > 0 && g_fake.open_gives_0) {
        g_fake.open_gives_0 = false;
        (void)dup2(fd, 0);
        (void)close(fd);
        return 0;
    }
    return fd;
}

int __real_fcntl(int fd, int command, long argument);
int __wrap_fcntl(int fd, int command, long argument)
{
    if (g_fake.fcntl_fails_at > 0 && --g_fake.fcntl_fails_at == 0) {
        errno = EBADF;
        return -1;
    }
    return __real_fcntl(fd, command, argument);
}

int __real_tcgetattr(int fd, termios *attributes);
int __wrap_tcgetattr(int fd, termios *attributes)
{
    if (g_fake.tcgetattr_fails) {
        errno = EIO;
        return -1;
    }
    return __real_tcgetattr(fd, attributes);
}

int __real_cfsetispeed(termios *attributes, speed_t speed);
int __wrap_cfsetispeed(termios *attributes, speed_t speed)
{
    if (g_fake.cfsetispeed_fails) {
        errno = EINVAL;
        return -1;
    }
    return __real_cfsetispeed(attributes, speed);
}

int __real_cfsetospeed(termios *attributes, speed_t speed);
int __wrap_cfsetospeed(termios *attributes, speed_t speed)
{
    if (g_fake.cfsetospeed_fails) {
        errno = EINVAL;
        return -1;
    }
    return __real_cfsetospeed(attributes, speed);
}

int __real_tcsetattr(int fd, int when, const termios *attributes);
int __wrap_tcsetattr(int fd, int when, const termios *attributes)
{
    if (g_fake.tcsetattr_fails) {
        errno = EIO;
        return -1;
    }
    EXPECT_EQ(when, TCSANOW);
    return __real_tcsetattr(fd, when, attributes);
}

int __real_statfs(const char *path, struct statfs *info);
int __wrap_statfs(const char *path, struct statfs *info)
{
    if (g_fake.statfs_fails) {
        errno = EACCES;
        return -1;
    }
    if (g_fake.files.count("/proc/mounts") == 0) {
        return __real_statfs(path, info);
    }
    // A card of 5 TB: every figure passes 32 bits before it becomes KiB.
    *info = {};
    info->f_bsize = 4096;
    info->f_blocks = 1'000'000'000;
    info->f_bfree = 900'000'000;
    info->f_bavail = 800'000'000;
    return 0;
}
}

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

// A pseudo-terminal, whose slave takes line attributes like a serial device.
class pty_pair {
  public:
    pty_pair() { EXPECT_EQ(openpty(&m_master, &m_slave, m_name, nullptr, nullptr), 0); }
    ~pty_pair()
    {
        (void)close(m_slave);
        (void)close(m_master);
    }
    pty_pair(const pty_pair &) = delete;
    pty_pair &operator=(const pty_pair &) = delete;

    [[nodiscard]] int slave() const { return m_slave; }
    [[nodiscard]] const char *name() const { return m_name; }
    [[nodiscard]] termios attributes() const
    {
        termios result = {};
        EXPECT_EQ(tcgetattr(m_slave, &result), 0);
        return result;
    }
    void set_attributes(const termios &attributes) const { EXPECT_EQ(tcsetattr(m_slave, TCSANOW, &attributes), 0); }

  private:
    int m_master = -1;
    int m_slave = -1;
    char m_name[64] = "";
};

// --- pub_util_set_fd_mode

TEST(FdMode, SetsAndClearsNonBlockingModeAndNothingElse)
{
    in_child([] {
        const test_log log;
        int fds[2];
        ASSERT_EQ(pipe(fds), 0);
        ASSERT_EQ(fcntl(fds[0], F_SETFL, O_ASYNC), 0);
        const int before = fcntl(fds[0], F_GETFL);
        EXPECT_EQ(pub_util_set_fd_mode(fds[0], 1), ERR_NONE);
        EXPECT_EQ(fcntl(fds[0], F_GETFL), before | O_NONBLOCK);
        EXPECT_EQ(pub_util_set_fd_mode(fds[0], 0), ERR_NONE);
        EXPECT_EQ(fcntl(fds[0], F_GETFL), before);
        const std::string fd = std::to_string(fds[0]);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "info | pub_util_set_fd_mode fd[" + fd + "] is_nonblock_mode[1]",
                                "info | pub_util_set_fd_mode return ERR_NONE", "func | ",
                                "info | pub_util_set_fd_mode fd[" + fd + "] is_nonblock_mode[0]",
                                "info | pub_util_set_fd_mode return ERR_NONE"));
    });
}

TEST(FdMode, RefusesANegativeDescriptor)
{
    in_child([] {
        const test_log log;
        EXPECT_EQ(pub_util_set_fd_mode(-1, 1), ERR_INVALID_PARAM);
        EXPECT_THAT(log.records(), Contains(k_bad_argument + "1"));
    });
}

TEST(FdMode, TellsWhenTheFlagsCannotBeReadOrWritten)
{
    for (const int failing_call : {1, 2}) {
        in_child([failing_call] {
            const test_log log;
            g_fake.fcntl_fails_at = failing_call;
            EXPECT_EQ(pub_util_set_fd_mode(0, 1), ERR_C_FUNCTION);
            EXPECT_EQ(g_fake.fcntl_fails_at, 0);
            EXPECT_THAT(log.records(), Contains("sys error | fcntl: 9 - Bad file descriptor"));
            EXPECT_THAT(log.records(), Not(Contains("info | pub_util_set_fd_mode return ERR_NONE")));
        });
    }
}

// --- pub_util_set_serial_dev_attr

struct speed_row {
    uint32_t baud;
    speed_t speed;
    const char *name;
};

// clang-format off
constexpr speed_row k_speeds_a[] = {
    {         0, B115200, "B115200"}, {      9600, B115200, "B115200"}, {    115200, B115200, "B115200"},
    {    115201, B230400, "B230400"}, {    230400, B230400, "B230400"}, {    230401, B460800, "B460800"},
    {    300000, B460800, "B460800"}, {    460800, B460800, "B460800"},
};
constexpr speed_row k_fastest_a[] = {
    {    460801, B921600, "B921600"}, {    921600, B921600, "B921600"}, {   1000000, B921600, "B921600"},
    {4294967295, B921600, "B921600"},
};
// clang-format on

template <size_t count>
void expect_speeds(const speed_row (&rows)[count])
{
    in_child([&] {
        const test_log log;
        const pty_pair pty;
        for (const speed_row &row : rows) {
            pub_util_set_serial_dev_attr(pty.slave(), row.baud);
            const termios attributes = pty.attributes();
            EXPECT_EQ(cfgetispeed(&attributes), row.speed) << row.baud;
            EXPECT_EQ(cfgetospeed(&attributes), row.speed) << row.baud;
            EXPECT_THAT(log.records(),
                        Contains("info | convert speed " + std::to_string(row.baud) + " -> " + row.name));
        }
    });
}

TEST(SerialAttributes, ChooseTheNextSupportedSpeed)
{
    expect_speeds(k_speeds_a);
}

TEST(SerialAttributes, ChooseTheFastestSpeedForAllAbove)
{
    expect_speeds(k_fastest_a);
}

TEST(SerialAttributes, ChangeTheNamedFlagsAndNoOthers)
{
    const pty_pair pty;
    termios all = pty.attributes();
    all.c_iflag |= INLCR | ICRNL | IXON | IXOFF | IXANY | IGNCR | INPCK | ISTRIP | BRKINT;
    all.c_oflag |= ONLCR | OCRNL | OPOST | ONOCR | ONLRET;
    all.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);
    all.c_lflag |= ECHO | ICANON | ISIG | IEXTEN;
    pty.set_attributes(all);
    const termios before = pty.attributes();
    pub_util_set_serial_dev_attr(pty.slave(), 115200);
    const termios after = pty.attributes();
    EXPECT_EQ(after.c_iflag, before.c_iflag & ~static_cast<tcflag_t>(INLCR | ICRNL | IXON));
    EXPECT_EQ(after.c_oflag, before.c_oflag & ~static_cast<tcflag_t>(ONLCR | OCRNL));
    EXPECT_EQ(after.c_cflag & ~static_cast<tcflag_t>(CBAUD),
              (before.c_cflag | CRTSCTS) & ~static_cast<tcflag_t>(CBAUD));
    EXPECT_EQ(after.c_lflag, 0U);
    EXPECT_EQ(memcmp(after.c_cc, before.c_cc, sizeof(after.c_cc)), 0);
}

TEST(SerialAttributes, OfANegativeDescriptorAreRefused)
{
    in_child([] {
        const test_log log;
        pub_util_set_serial_dev_attr(-1, 115200);
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "1"));
    });
}

TEST(SerialAttributes, StayAsTheyAreWhenTheyCannotBeRead)
{
    in_child([] {
        const test_log log;
        const pty_pair pty;
        const termios before = pty.attributes();
        g_fake.tcgetattr_fails = true;
        pub_util_set_serial_dev_attr(pty.slave(), 9600);
        g_fake = {};
        EXPECT_EQ(pty.attributes().c_lflag, before.c_lflag);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | convert speed 9600 -> B115200"));
    });
}

TEST(SerialAttributes, TellEachFailingCallAndGoOn)
{
    in_child([] {
        const test_log log;
        const pty_pair pty;
        g_fake.cfsetispeed_fails = true;
        g_fake.cfsetospeed_fails = true;
        pub_util_set_serial_dev_attr(pty.slave(), 9600);
        EXPECT_EQ(pty.attributes().c_lflag, 0U) << "the rest is still set";
        g_fake = {};
        g_fake.tcsetattr_fails = true;
        pub_util_set_serial_dev_attr(pty.slave(), 9600);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | convert speed 9600 -> B115200",
                                               "sys error | cfsetispeed: 22 - Invalid argument",
                                               "sys error | cfsetospeed: 22 - Invalid argument", "func | ",
                                               "info | convert speed 9600 -> B115200",
                                               "sys error | tcsetattr: 5 - Input/output error"));
    });
}

// --- pub_util_try_to_open_device

TEST(OpenDevice, StoresTheDescriptorOfTheFirstAttemptThatSucceeds)
{
    in_child([] {
        const test_log log;
        const pty_pair pty;
        int fd = -1;
        EXPECT_EQ(pub_util_try_to_open_device(&fd, pty.name(), O_RDWR, 60, 1000), ERR_NONE);
        EXPECT_GT(fd, 0);
        EXPECT_EQ(fcntl(fd, F_GETFL) & O_ACCMODE, O_RDWR);
        EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC) << "programs run by the service do not keep ports open";
        const std::string device = std::string("device \"") + pty.name() + "\"";
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "info | begin to check if can open " + device,
                                "info | (0/60)try to open " + device, "info | open " + device + " successfully"));
    });
}

TEST(OpenDevice, NeverGainsAControllingTerminal)
{
    const pty_pair pty;
    in_child([&pty] {
        ASSERT_GT(setsid(), 0); // as a service started by init: without a terminal
        int fd = 0;
        EXPECT_EQ(pub_util_try_to_open_device(&fd, pty.name(), O_RDWR, 1, 0), ERR_NONE);
        EXPECT_EQ(open("/dev/tty", O_RDWR), -1) << "there is none";
    });
}

TEST(OpenDevice, ClosesWhatWasOpenBefore)
{
    const pty_pair pty;
    int fd = dup(pty.slave());
    const int before = fd;
    EXPECT_EQ(pub_util_try_to_open_device(&fd, "/no/such/device", O_RDWR, 1, 0), ERR_C_FUNCTION);
    EXPECT_EQ(fd, 0);
    EXPECT_EQ(fcntl(before, F_GETFD), -1);
    fd = -1;
    EXPECT_EQ(pub_util_try_to_open_device(&fd, "/no/such/device", O_RDWR, 1, 0), ERR_C_FUNCTION);
    EXPECT_EQ(fd, 0) << "closed is 0, whatever it was before";
}

TEST(OpenDevice, TriesAsOftenAsItIsToldAndPausesEachTime)
{
    in_child([] {
        const test_log log;
        int fd = 0;
        timespec before = {};
        timespec after = {};
        (void)clock_gettime(CLOCK_MONOTONIC, &before);
        EXPECT_EQ(pub_util_try_to_open_device(&fd, "/no/such/device", O_RDWR, 3, 1000), ERR_C_FUNCTION);
        (void)clock_gettime(CLOCK_MONOTONIC, &after);
        EXPECT_GE((after.tv_sec - before.tv_sec) * 1000 + (after.tv_nsec - before.tv_nsec) / 1'000'000, 2999)
            << "three pauses of a second, the last attempt pauses too";
        const std::string attempt = "try to open device \"/no/such/device\"";
        const std::string failure = "error | -118 - Call C function unsuccessfully | open device \"/no/such/device\" "
                                    "fail: 2 - No such file or directory";
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "info | begin to check if can open device \"/no/such/device\"",
                                "info | (0/3)" + attempt, failure, "info | (1/3)" + attempt, failure,
                                "info | (2/3)" + attempt, failure, failure));
    });
}

TEST(OpenDevice, CanBeEndedWhileTheDeviceKeepsItWaiting)
{
    const temp_folder folder;
    ASSERT_EQ(mkfifo(folder.path("device").c_str(), 0600), 0);
    const int status = wait_status_of_child([&folder] {
        pub_util_block_ending_signals();
        (void)signal(SIGTERM, [](int) { _exit(42); });
        pub_util_admit_ending_signals(ending_signals::main_thread);
        (void)raise(SIGTERM);
        int fd = 0;
        (void)pub_util_try_to_open_device(&fd, folder.path("device").c_str(), O_WRONLY, 1, 0); // nobody reads it
    });
    EXPECT_EQ(WEXITSTATUS(status), 42);
}

TEST(OpenDevice, TakesADescriptorOf0ForAFailure)
{
    in_child([] {
        const pty_pair pty;
        g_fake.open_gives_0 = true;
        int fd = 0;
        EXPECT_EQ(pub_util_try_to_open_device(&fd, pty.name(), O_RDWR, 1, 0), ERR_C_FUNCTION);
        EXPECT_EQ(fd, 0);
        EXPECT_EQ(fcntl(0, F_GETFD), -1) << "nothing stays open";
    });
}

TEST(OpenDevice, RefusesBadArgumentsAndTellsWhich)
{
    in_child([] {
        const test_log log;
        int fd = 7;
        EXPECT_EQ(pub_util_try_to_open_device(nullptr, "/dev/null", O_RDWR, 1, 0), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_util_try_to_open_device(&fd, nullptr, O_RDWR, 1, 0), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_util_try_to_open_device(&fd, "", O_RDWR, 1, 0), ERR_INVALID_PARAM);
        EXPECT_EQ(fd, 7);
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "1, 0, 0", "func | ",
                                               k_bad_argument + "0, 1, 0", "func | ", k_bad_argument + "0, 0, 1"));
    });
}

// --- pub_util_get_mount_fs_info

TEST(MountInfo, GivesTheSizesInKib)
{
    const temp_folder folder;
    g_fake.files["/proc/mounts"] =
        folder.with_file("mounts", "rootfs / rootfs ro 0 0\n/dev/x /storage/sdcard1 vfat rw\n");
    pub_util_fs_info info = {1, 2, 3};
    EXPECT_EQ(pub_util_get_mount_fs_info("/storage/sdcard1", &info), ERR_NONE);
    EXPECT_EQ(info.m_total_kib, 4'000'000'000U);
    EXPECT_EQ(info.m_used_kib, 800'000'000U) << "blocks that are not available count as used";
    EXPECT_EQ(info.m_available_kib, 3'200'000'000U);
    g_fake = {};
}

TEST(MountInfo, KnowsTheRealFileSystem)
{
    pub_util_fs_info info = {};
    EXPECT_EQ(pub_util_get_mount_fs_info("/", &info), ERR_NONE);
    EXPECT_GT(info.m_total_kib, 0U);
    EXPECT_NEAR(static_cast<double>(info.m_total_kib),
                static_cast<double>(info.m_used_kib) + static_cast<double>(info.m_available_kib), 1.0);
}

TEST(MountInfo, FindsNothingThatIsNotMounted)
{
    in_child([] {
        const test_log log;
        const temp_folder folder;
        g_fake.files["/proc/mounts"] = folder.with_file("mounts", "/dev/x /storage/sdcard0 vfat rw\n");
        pub_util_fs_info info = {7, 7, 7};
        EXPECT_EQ(pub_util_get_mount_fs_info("/storage/sdcard1", &info), ERR_NOT_FOUND);
        g_fake.files["/proc/mounts"] = folder.path("missing");
        EXPECT_EQ(pub_util_get_mount_fs_info("/storage/sdcard1", &info), ERR_NOT_FOUND);
        EXPECT_EQ(info.m_total_kib, 7U);
        const std::string error = "error | -104 - Not found | file system \"/storage/sdcard1\" has not been mounted";
        EXPECT_THAT(log.records(), ElementsAre("func | ", error, "func | ", error));
    });
}

TEST(MountInfo, ReadsLinesInPiecesOf198Characters)
{
    const temp_folder folder;
    g_fake.files["/proc/mounts"] = folder.with_file("mounts", std::string(198 - 8, 'x') + "/storage/sdcard1\n");
    pub_util_fs_info info = {};
    EXPECT_EQ(pub_util_get_mount_fs_info("/storage/sdcard1", &info), ERR_NOT_FOUND) << "cut in two";
    g_fake.files["/proc/mounts"] = folder.with_file("mounts", std::string(198 - 16, 'x') + "/storage/sdcard1\n");
    EXPECT_EQ(pub_util_get_mount_fs_info("/storage/sdcard1", &info), ERR_NONE) << "just not";
    g_fake = {};
}

TEST(MountInfo, TellsWhenTheFileSystemDoesNotAnswer)
{
    in_child([] {
        const test_log log;
        g_fake.statfs_fails = true;
        pub_util_fs_info info = {};
        EXPECT_EQ(pub_util_get_mount_fs_info("/", &info), ERR_C_FUNCTION);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "sys error | statfs: 13 - Permission denied"));
    });
}

TEST(MountInfo, RefusesBadArgumentsAndTellsWhich)
{
    in_child([] {
        const test_log log;
        pub_util_fs_info info = {};
        EXPECT_EQ(pub_util_get_mount_fs_info(nullptr, &info), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_util_get_mount_fs_info("", &info), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_util_get_mount_fs_info("/", nullptr), ERR_INVALID_PARAM);
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "1, 0, 0", "func | ",
                                               k_bad_argument + "0, 1, 0", "func | ", k_bad_argument + "0, 0, 1"));
    });
}

} // namespace
