#include "pub/pty/pty.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/pub/pty_fixture.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::Not;
using ::testing::StartsWith;

// What opening logs: to the mapping, and from its success on.
std::vector<std::string> records_of_opening(const port &opened)
{
    const std::string fd = opened.fd();
    const std::string path = opened.path();
    const std::string pts = opened.pts();
    return {
        "func | ", // pub_pty_open
        "info | pub_pty_open m_ptm_fd[-1]",
        "info | pub_pty_open m_ptm_fd[" + fd + "]",
        "func | ", // create_pts_mapping
        "info | create_pts_mapping pts_name_ptr[" + pts + "]",
        "info | create_pts_mapping m_pts_name_a[" + pts + "] ret_val[0]",
        "info | create_pts_mapping unlink(" + path + ") ret_val[-1]",
        "info | create_pts_mapping symlink(" + pts + ", " + path + ") ret_val[0]",
        "info | create_pts_mapping chmod(" + path + ", 432) ret_val[0]",
        "info | create_pts_mapping chown(" + path + ", 1000, 1001) ret_val[0]",
        "info | create_pts_mapping m_pts_mapping_name_a[" + path + "] ret_val[0]",
        "func | ", // set_ptm_attr
        "info | set_ptm_attr fd[" + fd + "]",
        "info | set_ptm_attr tcgetattr(" + fd + ") ret_val[0]",
        "info | set_ptm_attr tcsetattr(" + fd + ") ret_val[0]",
        "info | set_ptm_attr grantpt(" + fd + ") ret_val[0]",
        "info | set_ptm_attr unlockpt(" + fd + ") ret_val[0]",
        "info | set_ptm_attr fd[" + fd + "] ret_val[0]",
        "info | pub_pty_open \"" + path + "\" exists",
        "info | pub_pty_open m_ptm_fd[" + fd + "]; m_pts_name_a[" + pts + "] m_pts_mapping_name_a[" + path + "]",
    };
}

// --- opening

TEST(PtyOpen, PutsALinkToTheSlaveInPlaceAndTellsEachStep)
{
    in_child([] {
        const test_log log;
        port opened;
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        EXPECT_GT(opened->m_ptm_fd, 0);
        EXPECT_THAT(opened.pts(), StartsWith("/dev/pts/"));
        EXPECT_EQ(opened.pts(), ptsname(opened->m_ptm_fd));
        EXPECT_EQ(opened.link(), opened.pts());
        EXPECT_THAT(log.records(), ElementsAreArray(records_of_opening(opened)));
        EXPECT_EQ(g_fake.open_flags, O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_EQ(fcntl(opened->m_ptm_fd, F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(fcntl(opened->m_ptm_fd, F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDWR) << "reads block";
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
    });
}

TEST(PtyOpen, GivesTheSlaveToTheSystemUserAndTheRadioGroup)
{
    in_child([] {
        port opened;
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        EXPECT_EQ(g_fake.chown_path, opened.path());
        EXPECT_EQ(g_fake.chown_user, 1000U);
        EXPECT_EQ(g_fake.chown_group, 1001U);
        struct stat slave = {};
        ASSERT_EQ(stat(opened.path().c_str(), &slave), 0);
        EXPECT_TRUE(S_ISCHR(slave.st_mode));
        EXPECT_EQ(slave.st_mode & 07777, 0660U);
        if (!g_fake.chown_is_faked) {
            EXPECT_EQ(slave.st_uid, 1000U);
            EXPECT_EQ(slave.st_gid, 1001U);
        }
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
    });
}

void write_all(int fd, const std::string &bytes)
{
    ASSERT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
}

// Reads until `count` bytes have come; fewer when nothing more comes for a long while.
std::string read_some(int fd, size_t count)
{
    std::string result;
    pollfd waiting = {fd, POLLIN, 0};
    while (result.size() < count && poll(&waiting, 1, 10'000) == 1) {
        char bytes[512];
        const ssize_t got = read(fd, bytes, std::min(sizeof(bytes), count - result.size()));
        if (got <= 0) {
            break;
        }
        result.append(bytes, static_cast<size_t>(got));
    }
    return result;
}

TEST(PtyOpen, LetsEveryByteThroughUnchangedBothWays)
{
    in_child([] {
        std::string all;
        for (int byte = 0; byte < 256; byte++) {
            all += static_cast<char>(byte);
        }
        port opened;
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        const int slave = open(opened.path().c_str(), O_RDWR | O_NOCTTY);
        ASSERT_GT(slave, 0);
        write_all(slave, all);
        EXPECT_EQ(read_some(opened->m_ptm_fd, all.size()), all);
        write_all(opened->m_ptm_fd, all);
        EXPECT_EQ(read_some(slave, all.size()), all);
        // What was written first would have been echoed in front of this.
        write_all(slave, "end");
        EXPECT_EQ(read_some(opened->m_ptm_fd, 3), "end");
        (void)close(slave);
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
    });
}

TEST(PtyOpen, ChangesTheNamedAttributesAndNoOthers)
{
    in_child([] {
        port opened;
        const int other = open("/dev/ptmx", O_RDWR | O_NOCTTY | O_CLOEXEC);
        termios before = {};
        ASSERT_EQ(tcgetattr(other, &before), 0);
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        termios after = {};
        ASSERT_EQ(tcgetattr(opened->m_ptm_fd, &after), 0);
        EXPECT_EQ(after.c_iflag, 0U);
        EXPECT_EQ(after.c_oflag, before.c_oflag & ~static_cast<tcflag_t>(OPOST | OLCUC | OCRNL | ONOCR | ONLRET));
        EXPECT_EQ(after.c_lflag, before.c_lflag & ~static_cast<tcflag_t>(ISIG | ICANON | ECHO | ECHOE));
        EXPECT_EQ(after.c_cflag, before.c_cflag);
        EXPECT_EQ(memcmp(after.c_cc, before.c_cc, sizeof(after.c_cc)), 0);
        EXPECT_EQ(opened->m_attributes.c_lflag, after.c_lflag) << "the record has the working copy";
        (void)close(other);
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
    });
}

TEST(PtyOpen, DoesNotBlockWhenTheRecordSaysSo)
{
    in_child([] {
        const test_log log;
        port opened;
        opened->m_is_nonblock_mode = 1;
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        EXPECT_EQ(fcntl(opened->m_ptm_fd, F_GETFL) & O_NONBLOCK, O_NONBLOCK);
        EXPECT_THAT(log.records(), Contains("info | pub_util_set_fd_mode fd[" + opened.fd() + "] is_nonblock_mode[1]"));
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
    });
}

TEST(PtyOpen, NeverGainsAControllingTerminal)
{
    in_child([] {
        ASSERT_GT(setsid(), 0); // as a service started by init: without a terminal
        port opened;
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        EXPECT_EQ(open("/dev/tty", O_RDWR), -1) << "there is none";
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
    });
}

// --- what is at the path already

struct stale_row {
    const char *name;
    void (*make)(const std::string &path);
};

TEST(PtyOpen, ReplacesAStaleFileOrLink)
{
    constexpr stale_row rows_a[] = {{"file", make_file}, {"link", make_link}, {"dangling", make_dangling_link}};
    for (const stale_row &row : rows_a) {
        SCOPED_TRACE(row.name);
        in_child([&row] {
            const test_log log;
            port opened;
            row.make(opened.path());
            ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
            EXPECT_EQ(opened.link(), opened.pts());
            std::vector<std::string> expected = records_of_opening(opened);
            expected[6] = "info | create_pts_mapping unlink(" + opened.path() + ") ret_val[0]";
            expected.insert(expected.begin() + 7, "info | create_pts_mapping \"" + opened.path() + "\" not exists");
            EXPECT_THAT(log.records(), ElementsAreArray(expected));
            EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
        });
    }
}

TEST(PtyOpen, ClosesAnOpenRecordFirst)
{
    in_child([] {
        const test_log log;
        port opened;
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        const int slave = open(opened.path().c_str(), O_RDWR | O_NOCTTY);
        const std::string before = opened.fd();
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        EXPECT_EQ(opened.masters(), 1);
        EXPECT_EQ(opened.link(), opened.pts());
        char byte = 0;
        EXPECT_LE(read(slave, &byte, 1), 0) << "the master of the old slave is gone";
        (void)close(slave);
        std::vector<std::string> records = log.records();
        records.erase(records.begin(), records.begin() + 20);
        records.resize(7);
        EXPECT_THAT(records,
                    ElementsAre("func | ", "info | pub_pty_open m_ptm_fd[" + before + "]", "func | ", "func | ",
                                "info | pub_pty_delete_mapping unlink(" + opened.path() + ") ret_val[0]",
                                "info | pub_pty_close pub_pty_delete_mapping ret_val[0]",
                                "info | pub_pty_open m_ptm_fd[" + opened.fd() + "]"));
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
    });
}

TEST(PtyOpen, MakesANewSlaveForAnApplicationThatClosedItsPort)
{
    in_child([] {
        port opened;
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        (void)close(open(opened.path().c_str(), O_RDWR | O_NOCTTY));
        char byte = 0;
        EXPECT_EQ(read(opened->m_ptm_fd, &byte, 1), -1);
        EXPECT_EQ(errno, EIO);
        ASSERT_EQ(pub_pty_close(opened.get()), ERR_NONE);
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        const int slave = open(opened.path().c_str(), O_RDWR | O_NOCTTY);
        write_all(slave, "again");
        EXPECT_EQ(read_some(opened->m_ptm_fd, 5), "again");
        (void)close(slave);
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
    });
}

TEST(PtyOpen, TakesARecordOfZerosForClosed)
{
    in_child([] {
        const test_log log;
        port opened;
        opened->m_ptm_fd = 0;
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        EXPECT_EQ(log.records()[1], "info | pub_pty_open m_ptm_fd[0]");
        EXPECT_EQ(log.records()[2], "info | pub_pty_open m_ptm_fd[" + opened.fd() + "]");
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
    });
}

// --- the name of the slave

struct name_row {
    const char *name;
    size_t length;
    size_t kept;
};

TEST(PtyOpen, CutsTheNameOfTheSlaveTo39Characters)
{
    constexpr name_row rows_a[] = {{"fits", 39, 39}, {"one too long", 40, 39}, {"far too long", 90, 39}};
    for (const name_row &row : rows_a) {
        SCOPED_TRACE(row.name);
        in_child([&row] {
            const test_log log;
            port opened;
            std::string name = opened.file("");
            name.resize(row.length, 's');
            make_file(name.substr(0, row.kept)); // what the link leads to, so that its mode can be set
            g_fake.pts_name = name;
            memset(opened->m_pts_name_a, 'X', sizeof(opened->m_pts_name_a));
            ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
            EXPECT_EQ(opened.pts(), name.substr(0, row.kept));
            EXPECT_EQ(opened.link(), name.substr(0, row.kept));
            EXPECT_THAT(log.records(), Contains("info | create_pts_mapping pts_name_ptr[" + name + "]"));
            const std::string warning = "warning | [PTY]" + std::to_string(row.length) + " > 39";
            if (row.length > 39) {
                EXPECT_THAT(log.records(), Contains(warning));
            } else {
                EXPECT_THAT(log.records(), Not(Contains(warning)));
            }
            EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
        });
    }
}

// --- closing

TEST(PtyClose, RemovesTheLinkAndKeepsThePathForTheNextOpening)
{
    in_child([] {
        port opened;
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        const test_log log;
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
        EXPECT_EQ(opened->m_ptm_fd, -1);
        EXPECT_EQ(opened.pts(), "");
        EXPECT_EQ(opened->m_pts_mapping_name_a, opened.path());
        EXPECT_FALSE(opened.is_anything_there());
        EXPECT_EQ(opened.masters(), 0);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "func | ",
                                               "info | pub_pty_delete_mapping unlink(" + opened.path() + ") ret_val[0]",
                                               "info | pub_pty_close pub_pty_delete_mapping ret_val[0]"));
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
    });
}

TEST(PtyClose, ClosesTheMasterWhenSomebodyElseRemovedTheLink)
{
    in_child([] {
        port opened;
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        ASSERT_EQ(unlink(opened.path().c_str()), 0);
        const test_log log;
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
        EXPECT_EQ(opened.masters(), 0);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "func | ",
                                "warning | pub_pty_delete_mapping \"" + opened.path() + "\" does not exist",
                                "info | pub_pty_close pub_pty_delete_mapping ret_val[0]"));
    });
}

TEST(PtyClose, KeepsTheMasterWhenTheLinkCannotBeRemoved)
{
    in_child([] {
        port opened;
        ASSERT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        const std::string pts = opened.pts();
        const test_log log;
        g_fake.failing = "unlink";
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_C_FUNCTION);
        g_fake.failing = "";
        EXPECT_EQ(opened.masters(), 1);
        EXPECT_GT(opened->m_ptm_fd, 0);
        EXPECT_EQ(opened.pts(), pts);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "func | ",
                                "info | pub_pty_delete_mapping unlink(" + opened.path() + ") ret_val[-1]",
                                "sys error | unlink: 30 - Read-only file system",
                                "info | pub_pty_close pub_pty_delete_mapping ret_val[-118]"));
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
        EXPECT_EQ(opened.masters(), 0);
    });
}

TEST(PtyClose, OfAClosedRecordOrNoneIsMinus1)
{
    in_child([] {
        const test_log log;
        port closed;
        make_file(closed.path());
        EXPECT_EQ(pub_pty_close(closed.get()), -1);
        EXPECT_EQ(pub_pty_close(nullptr), -1);
        EXPECT_TRUE(closed.is_anything_there());
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "0, 1", "func | ", k_bad_argument + "1, 0"));
    });
}

TEST(PtyClose, OfARecordOfZerosLeavesTheStandardInputAlone)
{
    in_child([] {
        port closed;
        closed->m_ptm_fd = 0;
        EXPECT_EQ(pub_pty_close(closed.get()), ERR_NONE);
        EXPECT_EQ(closed->m_ptm_fd, -1);
        EXPECT_NE(fcntl(0, F_GETFD), -1);
    });
}

// --- removing the link

TEST(PtyDeleteMapping, RemovesLinksAlsoWhenTheyLeadNowhere)
{
    in_child([] {
        port closed;
        for (const auto make : {make_link, make_dangling_link}) {
            make(closed.path());
            EXPECT_EQ(pub_pty_delete_mapping(closed.get()), ERR_NONE);
            EXPECT_FALSE(closed.is_anything_there());
        }
        EXPECT_EQ(pub_pty_delete_mapping(closed.get()), ERR_NONE) << "none is no error";
    });
}

TEST(PtyDeleteMapping, NeedsARecord)
{
    in_child([] {
        const test_log log;
        EXPECT_EQ(pub_pty_delete_mapping(nullptr), ERR_INVALID_PARAM);
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "[PTY]1"));
    });
}

} // namespace
