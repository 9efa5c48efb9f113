#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/pub/pty_fixture.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

using record_list = std::vector<std::string>; // %f the master, %n the slave, %p the path

// How an opening that failed ends: the mapping is undone by the step that made it, then the record is closed.
const record_list k_never_mapped = {
    "info | create_pts_mapping m_pts_mapping_name_a[%p] ret_val[-118]",
    "func | ",
    "warning | pub_pty_delete_mapping \"%p\" does not exist",
    "func | ",
    "func | ",
    "warning | pub_pty_delete_mapping \"%p\" does not exist",
    "info | pub_pty_close pub_pty_delete_mapping ret_val[0]",
};
const record_list k_unmapped_at_once = {
    "info | create_pts_mapping m_pts_mapping_name_a[%p] ret_val[-118]",
    "func | ",
    "info | pub_pty_delete_mapping unlink(%p) ret_val[0]",
    "func | ",
    "func | ",
    "warning | pub_pty_delete_mapping \"%p\" does not exist",
    "info | pub_pty_close pub_pty_delete_mapping ret_val[0]",
};
const record_list k_unmapped_by_closing = {
    "func | ",
    "func | ",
    "info | pub_pty_delete_mapping unlink(%p) ret_val[0]",
    "info | pub_pty_close pub_pty_delete_mapping ret_val[0]",
};

struct failing_row {
    const char *call;
    record_list records; // of the failing call and what is still done behind it
    const record_list &ending;
};

const failing_row k_failing_a[] = {
    {"ptsname",
     {"info | create_pts_mapping pts_name_ptr[(null)]", "sys error | ptsname: 25 - Inappropriate ioctl for device"},
     k_never_mapped},
    {"symlink",
     {"info | create_pts_mapping symlink(%n, %p) ret_val[-1]", "sys error | symlink: 13 - Permission denied",
      "error | -118 - Call C function unsuccessfully | [PTY]map %p -> %n failed"},
     k_never_mapped},
    {"chmod",
     {"info | create_pts_mapping chmod(%p, 432) ret_val[-1]", "sys error | chmod: 1 - Operation not permitted",
      "info | create_pts_mapping chown(%p, 1000, 1001) ret_val[0]"},
     k_unmapped_at_once},
    {"chown",
     {"info | create_pts_mapping chown(%p, 1000, 1001) ret_val[-1]", "sys error | chown: 1 - Operation not permitted"},
     k_unmapped_at_once},
    {"tcgetattr",
     {"info | set_ptm_attr tcgetattr(%f) ret_val[-1]", "sys error | tcgetattr: 5 - Input/output error"},
     k_unmapped_by_closing},
    {"tcsetattr",
     {"info | set_ptm_attr tcsetattr(%f) ret_val[-1]", "sys error | tcsetattr: 5 - Input/output error"},
     k_unmapped_by_closing},
    {"grantpt",
     {"info | set_ptm_attr grantpt(%f) ret_val[-1]", "sys error | grantpt: 13 - Permission denied"},
     k_unmapped_by_closing},
    {"unlockpt",
     {"info | set_ptm_attr unlockpt(%f) ret_val[-1]", "sys error | unlockpt: 22 - Invalid argument"},
     k_unmapped_by_closing},
    {"fcntl",
     {"func | ", "info | pub_util_set_fd_mode fd[%f] is_nonblock_mode[1]",
      "sys error | fcntl: 9 - Bad file descriptor"},
     k_unmapped_by_closing},
};

std::string filled_in(std::string text, const std::string &mark, const std::string &value)
{
    for (size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + value.size())) {
        text.replace(at, mark.size(), value);
    }
    return text;
}

// What stands in brackets behind `before`, in the last record that has it.
std::string value_behind(const record_list &records, const std::string &before)
{
    std::string value;
    for (const std::string &record : records) {
        const size_t at = record.find(before);
        if (at != std::string::npos) {
            const size_t from = at + before.size();
            value = record.substr(from, record.find(']', from) - from);
        }
    }
    return value;
}

record_list expected_records(const failing_row &row, const record_list &records, const std::string &path)
{
    record_list expected = row.records;
    expected.insert(expected.end(), row.ending.begin(), row.ending.end());
    for (std::string &record : expected) {
        record = filled_in(record, "%f", value_behind(records, "pub_pty_open m_ptm_fd["));
        record = filled_in(record, "%n", value_behind(records, "pts_name_ptr["));
        record = filled_in(record, "%p", path);
    }
    return expected;
}

TEST(PtyOpenFailure, IsToldAndLeavesNothingBehind)
{
    for (const failing_row &row : k_failing_a) {
        SCOPED_TRACE(row.call);
        in_child([&row] {
            const test_log log;
            port opened;
            opened->m_is_nonblock_mode = 1;
            g_fake.failing = row.call;
            EXPECT_EQ(pub_pty_open(opened.get()), ERR_C_FUNCTION);
            EXPECT_EQ(opened->m_ptm_fd, -1);
            EXPECT_EQ(opened.pts(), "");
            EXPECT_FALSE(opened.is_anything_there());
            EXPECT_EQ(opened.masters(), 0);
            record_list records = log.records();
            const record_list expected = expected_records(row, records, opened.path());
            ASSERT_GE(records.size(), expected.size());
            records.erase(records.begin(), records.end() - static_cast<std::ptrdiff_t>(expected.size()));
            EXPECT_THAT(records, ElementsAreArray(expected));
        });
    }
}

TEST(PtyOpenFailure, ToReplaceAFolderLastsUntilTheFolderIsGone)
{
    in_child([] {
        const test_log log;
        port opened;
        std::filesystem::create_directory(opened.path());
        EXPECT_EQ(pub_pty_open(opened.get()), ERR_C_FUNCTION);
        EXPECT_THAT(log.records(), Contains("sys error | symlink: 17 - File exists"));
        EXPECT_THAT(log.records(), Contains("sys error | unlink: 21 - Is a directory"));
        const int left_open = opened->m_ptm_fd;
        EXPECT_GT(left_open, 0) << "the master stays with a path that cannot be removed";
        EXPECT_EQ(pub_pty_open(opened.get()), ERR_C_FUNCTION);
        EXPECT_EQ(opened->m_ptm_fd, left_open);
        EXPECT_EQ(opened.masters(), 1) << "trying again opens no second one";
        std::filesystem::remove(opened.path());
        EXPECT_EQ(pub_pty_open(opened.get()), ERR_NONE);
        EXPECT_EQ(opened.masters(), 1);
        EXPECT_EQ(pub_pty_close(opened.get()), ERR_NONE);
    });
}

TEST(PtyOpenFailure, ToSetTheModeDoesNotKeepTheOwnerFromBeingSet)
{
    in_child([] {
        port opened;
        g_fake.failing = "chmod";
        EXPECT_EQ(pub_pty_open(opened.get()), ERR_C_FUNCTION);
        EXPECT_EQ(g_fake.chown_path, opened.path());
    });
}

TEST(PtyOpenFailure, ToGetAMasterEndsTheOpeningAtOnce)
{
    in_child([] {
        const test_log log;
        port opened;
        make_file(opened.path());
        g_fake.failing = "open";
        EXPECT_EQ(pub_pty_open(opened.get()), ERR_C_FUNCTION);
        EXPECT_EQ(opened->m_ptm_fd, -1);
        EXPECT_TRUE(opened.is_anything_there()) << "what is at the path is not touched yet";
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "info | pub_pty_open m_ptm_fd[-1]", "info | pub_pty_open m_ptm_fd[-1]",
                                "sys error | open: 28 - No space left on device"));
    });
}

TEST(PtyOpenFailure, WithoutAPathIsARefusalAndTheRecordIsClosedAgain)
{
    in_child([] {
        const test_log log;
        port opened;
        opened->m_pts_mapping_name_a[0] = '\0';
        EXPECT_EQ(pub_pty_open(opened.get()), ERR_INVALID_PARAM);
        EXPECT_EQ(opened->m_ptm_fd, -1);
        EXPECT_EQ(opened.masters(), 0);
        std::vector<std::string> records = log.records();
        records.erase(records.begin(), records.begin() + 3);
        EXPECT_THAT(records, ElementsAre("func | ", k_bad_argument + "[PTY]0, 0, 1", "func | ", "func | ",
                                         "warning | pub_pty_delete_mapping \"\" does not exist",
                                         "info | pub_pty_close pub_pty_delete_mapping ret_val[0]"));
    });
}

TEST(PtyOpenFailure, WithoutARecordIsARefusal)
{
    in_child([] {
        const test_log log;
        EXPECT_EQ(pub_pty_open(nullptr), ERR_INVALID_PARAM);
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "[PTY]1"));
    });
}

TEST(PtyOpenFailure, LeavesNoLinkThatLeadsNowhere)
{
    in_child([] {
        port opened;
        g_fake.pts_name = opened.file("no-such-slave");
        EXPECT_EQ(pub_pty_open(opened.get()), ERR_C_FUNCTION);
        EXPECT_FALSE(opened.is_anything_there());
        EXPECT_EQ(opened->m_ptm_fd, -1);
    });
}

} // namespace
