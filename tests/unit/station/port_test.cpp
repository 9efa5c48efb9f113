#include "station/port.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/stat.h>

#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"
#include "tests/unit/station/cable.h"

namespace {

using emulator::descriptor;
using station::no_port;
using station::port;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testing::StrEq;
using testing::ThrowsMessage;

// The handset's end of a pseudo-terminal whose other end is there to be opened by its path, set as the kernel makes it.
class handset_tty {
  public:
    handset_tty()
        : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        char name[64] = "";
        if (grantpt(m_master.get()) != 0 || unlockpt(m_master.get()) != 0 ||
            ptsname_r(m_master.get(), name, sizeof(name)) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot make a pseudo-terminal");
        }
        m_path = name;
    }

    const std::string &path() const { return m_path; }

    // Those of the station's end.
    termios settings() const
    {
        termios now = {};
        EXPECT_EQ(tcgetattr(m_master.get(), &now), 0);
        return now;
    }
    void set(const termios &settings) const { ASSERT_EQ(tcsetattr(m_master.get(), TCSANOW, &settings), 0); }

    void writes(const std::string &bytes) const
    {
        ASSERT_EQ(write(m_master.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    std::string reads() const
    {
        char bytes[1024];
        const ssize_t count = read(m_master.get(), bytes, sizeof(bytes));
        return count < 0 ? "read: " + std::generic_category().message(errno) : std::string(bytes, count);
    }
    bool has_sent() const
    {
        pollfd ready = {m_master.get(), POLLIN, 0};
        return poll(&ready, 1, 0) == 1;
    }
    void go() { m_master.reset(); }

  private:
    descriptor m_master;
    std::string m_path;
};

// What comes until there is this much of it.
std::string read_until(int fd, const std::string &text)
{
    constexpr int k_patience_ms = 30'000;
    std::string all;
    pollfd ready = {fd, POLLIN, 0};
    while (all.find(text) == std::string::npos && poll(&ready, 1, k_patience_ms) == 1) {
        char bytes[1024];
        const ssize_t count = read(fd, bytes, sizeof(bytes));
        if (count <= 0) {
            break;
        }
        all.append(bytes, static_cast<size_t>(count));
    }
    return all;
}

// Root may open whatever is there. Only in a child: there is no way back.
void become_anybody()
{
    constexpr uid_t k_nobody = 65534;
    if (geteuid() == 0 && (setgid(k_nobody) != 0 || setuid(k_nobody) != 0)) {
        ADD_FAILURE() << "cannot become another user";
    }
}

// Another program, which does something with a tty and then has it until the object goes.
class other_program {
  public:
    template <typename body_type>
    explicit other_program(const char *name, const body_type &body)
    {
        int begun[2] = {-1, -1};
        int ended[2] = {-1, -1};
        if (pipe2(begun, O_CLOEXEC) != 0 || pipe2(ended, O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
        }
        m_pid = fork();
        if (m_pid == 0) {
            (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
            (void)close(ended[1]);
            body();
            (void)prctl(PR_SET_NAME, name);
            (void)prctl(PR_SET_DUMPABLE, 1); // a change of the user has forbidden to look at it
            char byte = 0;
            (void)!write(begun[1], testing::Test::HasFailure() ? "-" : "+", 1);
            (void)!read(ended[0], &byte, 1);
            _exit(0);
        }
        (void)close(begun[1]);
        (void)close(ended[0]);
        m_end.reset(ended[1]);
        char byte = 0;
        EXPECT_EQ(read(begun[0], &byte, 1), 1);
        EXPECT_EQ(byte, '+') << "see the child's output above";
        (void)close(begun[0]);
    }
    ~other_program() { end(); }
    other_program(const other_program &) = delete;
    other_program &operator=(const other_program &) = delete;

    std::string pid() const { return std::to_string(m_pid); }
    void end()
    {
        m_end.reset();
        if (m_pid > 0) {
            EXPECT_EQ(waitpid(m_pid, nullptr, 0), m_pid);
        }
        m_pid = -1;
    }

  private:
    pid_t m_pid = -1;
    descriptor m_end;
};

int open_tty(const std::string &path)
{
    return open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
}

template <typename matcher_type>
void expect_no_port(const std::string &path, bool missing, const matcher_type &told)
{
    try {
        const port opened(path);
        ADD_FAILURE() << path << " was opened";
    } catch (const no_port &error) {
        EXPECT_THAT(error.what(), AllOf(StartsWith(path), told, Not(HasSubstr("\n"))));
        EXPECT_EQ(error.is_missing(), missing) << error.what();
    }
}

// --- open

TEST(StationPort, PassesAllBytesBothWaysAsTheyAre)
{
    std::string all;
    for (int byte = 0; byte < 256; byte++) {
        all += static_cast<char>(byte);
    }
    const handset_tty handset;
    const port opened(handset.path());
    ASSERT_EQ(write(opened.fd(), all.data(), all.size()), 256);
    EXPECT_EQ(handset.reads(), all);
    handset.writes(all + "end");
    EXPECT_EQ(read_until(opened.fd(), "end"), all + "end");
    EXPECT_FALSE(handset.has_sent()) << "an echo of what it sent";
}

TEST(StationPort, NeverBlocksAndIsNotHandedToOtherPrograms)
{
    const handset_tty handset;
    const port opened(handset.path());
    char byte = 0;
    EXPECT_EQ(read(opened.fd(), &byte, 1), -1);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_NE(fcntl(opened.fd(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(StationPort, NeedsNoCarrierAndNoHandshakeOfLines)
{
    const handset_tty handset;
    termios line = handset.settings();
    line.c_cflag = (line.c_cflag & ~static_cast<tcflag_t>(CLOCAL | CREAD)) | CRTSCTS;
    handset.set(line);
    const port opened(handset.path());
    const tcflag_t now = handset.settings().c_cflag;
    EXPECT_EQ(now & (CLOCAL | CREAD), static_cast<tcflag_t>(CLOCAL | CREAD));
    EXPECT_EQ(now & CRTSCTS, 0U);
}

TEST(StationPort, ForgetsWhatCameBefore)
{
    const handset_tty handset;
    const descriptor before(open_tty(handset.path()));
    handset.writes("an old answer\n");
    pollfd ready = {before.get(), POLLIN, 0};
    ASSERT_EQ(poll(&ready, 1, 30'000), 1);
    const port opened(handset.path());
    handset.writes("new");
    EXPECT_EQ(read_until(opened.fd(), "new"), "new");
}

TEST(StationPort, IsOpenedThroughALink)
{
    const temp_folder folder;
    const handset_tty handset;
    ASSERT_EQ(symlink(handset.path().c_str(), folder.path("station").c_str()), 0);
    const port opened(folder.path("station"));
    ASSERT_EQ(write(opened.fd(), "AT\r", 3), 3);
    EXPECT_EQ(handset.reads(), "AT\r");
}

// --- left as it was found

void expect_same(const termios &now, const termios &before)
{
    EXPECT_EQ(now.c_iflag, before.c_iflag);
    EXPECT_EQ(now.c_oflag, before.c_oflag);
    EXPECT_EQ(now.c_cflag, before.c_cflag);
    EXPECT_EQ(now.c_lflag, before.c_lflag);
    EXPECT_EQ(now.c_line, before.c_line);
    EXPECT_THAT(now.c_cc, testing::ElementsAreArray(before.c_cc));
    EXPECT_EQ(cfgetispeed(&now), cfgetispeed(&before));
    EXPECT_EQ(cfgetospeed(&now), cfgetospeed(&before));
}

TEST(StationPort, LeavesTheSettingsAsItFoundThem)
{
    const handset_tty handset;
    termios before = handset.settings();
    before.c_iflag |= IXOFF | INLCR;
    before.c_cflag |= CRTSCTS;
    before.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    before.c_cc[VMIN] = 7;
    before.c_cc[VTIME] = 3;
    (void)cfsetspeed(&before, B9600);
    handset.set(before);
    before = handset.settings();
    {
        const port opened(handset.path());
        EXPECT_EQ(handset.settings().c_lflag & static_cast<tcflag_t>(ICANON), 0U);
        const termios now = handset.settings();
        EXPECT_EQ(cfgetospeed(&now), static_cast<speed_t>(B9600));
    }
    expect_same(handset.settings(), before);
}

TEST(StationPort, CanBeOpenedAgainOnceItIsClosed)
{
    const handset_tty handset;
    for (int round = 0; round < 3; round++) {
        EXPECT_NO_THROW(port(handset.path())) << round;
    }
    in_child([&] {
        ASSERT_EQ(chmod(handset.path().c_str(), 0666), 0);
        become_anybody();
        EXPECT_GE(open_tty(handset.path()), 0) << std::generic_category().message(errno);
    });
}

// --- busy

TEST(StationPort, IsBusyWhileAnotherProgramHasIt)
{
    const handset_tty handset;
    other_program other("line-bench", [&] { (void)new port(handset.path()); });
    expect_no_port(handset.path(), false,
                   HasSubstr(" is busy: process " + other.pid() + " (line-bench) has it, end that"));
    other.end();
    EXPECT_NO_THROW(port(handset.path()));
}

TEST(StationPort, IsBusyWhileAnotherProgramHasLockedIt)
{
    const handset_tty handset;
    const other_program other("locker", [&] { EXPECT_EQ(flock(open_tty(handset.path()), LOCK_EX), 0); });
    expect_no_port(handset.path(), false, HasSubstr("process " + other.pid() + " (locker) has it"));
}

TEST(StationPort, IsBusyForTheProgramThatHasItAsWell)
{
    const handset_tty handset;
    const port opened(handset.path());
    expect_no_port(handset.path(), false, HasSubstr(" is busy: process " + std::to_string(getpid())));
}

TEST(StationPort, IsAsItWasForTheOneThatHasItWhenAnotherIsRefused)
{
    const handset_tty handset;
    const port opened(handset.path());
    const termios before = handset.settings();
    EXPECT_THROW(port(handset.path()), no_port);
    expect_same(handset.settings(), before);
    expect_no_port(handset.path(), false, HasSubstr("is busy"));
}

TEST(StationPort, IsNotBusyWhileAnotherIsOpen)
{
    const handset_tty one;
    const handset_tty another;
    const port opened(one.path());
    EXPECT_NO_THROW(port(another.path()));
}

// A pseudo-terminal that somebody else keeps open would stay closed to everybody when this program is killed.
TEST(StationPort, LeavesAPseudoTerminalOpenToProgramsThatKnowOfNoLock)
{
    const handset_tty handset;
    ASSERT_EQ(chmod(handset.path().c_str(), 0666), 0);
    const port opened(handset.path());
    in_child([&] {
        become_anybody();
        EXPECT_GE(open_tty(handset.path()), 0);
        expect_no_port(handset.path(), false, HasSubstr("is busy"));
    });
}

TEST(StationPort, IsBusyWhileAProgramThatKnowsOfNoLockKeepsOthersOut)
{
    const handset_tty handset;
    ASSERT_EQ(chmod(handset.path().c_str(), 0666), 0);
    const other_program other("terminal", [&] {
        become_anybody();
        EXPECT_EQ(ioctl(open_tty(handset.path()), TIOCEXCL), 0);
    });
    in_child([&] {
        become_anybody();
        expect_no_port(handset.path(), false, HasSubstr(" is busy: process " + other.pid() + " (terminal) has it"));
    });
}

TEST(StationPort, IsBusyAlsoWhenItCannotBeSaidWhoHasIt)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs a program that may not be looked at: root's";
    }
    const handset_tty handset;
    ASSERT_EQ(chmod(handset.path().c_str(), 0666), 0);
    const other_program other("terminal", [&] { EXPECT_EQ(ioctl(open_tty(handset.path()), TIOCEXCL), 0); });
    in_child([&] {
        become_anybody();
        expect_no_port(handset.path(), false, HasSubstr(" is busy: another program has it"));
    });
}

// --- none

TEST(StationPort, IsMissing)
{
    const temp_folder folder;
    ASSERT_EQ(symlink(folder.path("nowhere").c_str(), folder.path("dangling").c_str()), 0);
    handset_tty gone;
    gone.go();
    handset_tty going;
    const descriptor open_still(open_tty(going.path()));
    going.go();
    const struct {
        const char *name;
        std::string path;
    } rows[] = {
        {"no such file", folder.path("ttyACM0")},
        {"no such folder", folder.path("none/ttyACM0")},
        {"a link to nowhere", folder.path("dangling")},
        {"a tty that was there", gone.path()},
        {"a tty that somebody has still open", going.path()},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        expect_no_port(row.path, true, AllOf(HasSubstr(": no handset is there"), HasSubstr("connected")));
    }
}

TEST(StationPort, IsNotPermitted)
{
    const handset_tty handset;
    in_child([&] {
        ASSERT_EQ(chmod(handset.path().c_str(), 0), 0);
        become_anybody();
        expect_no_port(handset.path(), false, AllOf(HasSubstr(": no permission"), HasSubstr("dialout")));
    });
}

TEST(StationPort, IsNoTty)
{
    const temp_folder folder;
    const std::string file = folder.with_file("file", "text");
    ASSERT_EQ(mkfifo(folder.path("pipe").c_str(), 0600), 0);
    for (const std::string &path : {file, folder.path("pipe"), std::string("/dev/null")}) {
        expect_no_port(path, false, HasSubstr(" is not a tty: give the handset's"));
    }
    EXPECT_EQ(read_whole_file(file), "text");
    expect_no_port(folder.path(), false, HasSubstr(": Is a directory"));
    expect_no_port(file + "/tty", false, HasSubstr(": Not a directory"));
}

// Whatever goes wrong, people read the name that they have given, and not what it stands for.
TEST(StationPort, IsCalledByItsName)
{
    const temp_folder folder;
    const handset_tty handset;
    const other_program other("terminal", [&] { EXPECT_EQ(flock(open_tty(handset.path()), LOCK_EX | LOCK_NB), 0); });
    const handset_tty shut;
    const other_program keeper("keeper", [&] { EXPECT_EQ(ioctl(open_tty(shut.path()), TIOCEXCL), 0); });
    const struct {
        const char *name;
        std::string path;
        std::string told;
    } rows[] = {
        {"missing", folder.path("none"), "handset:x: no handset is there; "},
        {"no tty", folder.with_file("file", "text"), "handset:x is not a tty: "},
        {"a folder", folder.path(), "handset:x: Is a directory"},
        {"locked", handset.path(), "handset:x is busy: process " + other.pid() + " (terminal) has it"},
        {"kept", shut.path(), "handset:x is busy: "},
    };
    in_child([&] {
        ASSERT_EQ(chmod(handset.path().c_str(), 0666), 0);
        ASSERT_EQ(chmod(shut.path().c_str(), 0666), 0);
        ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
        ASSERT_EQ(chmod(folder.path("file").c_str(), 0666), 0);
        for (const auto &row : rows) {
            SCOPED_TRACE(row.name);
            const auto open_it = [&] { port opened(row.path, "handset:x"); };
            if (row.name == std::string("kept")) {
                become_anybody(); // root is not kept out
            }
            EXPECT_THAT(open_it, ThrowsMessage<no_port>(AllOf(StartsWith(row.told), Not(HasSubstr(row.path)))));
        }
    });
}

} // namespace
