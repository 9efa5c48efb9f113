// System calls of a pseudo-terminal that fail on request, and a record in a folder of its own. Only inside in_child:
// the log and the descriptors are the process's.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>

#include "pub/pty/pty.h"

// Reset by assignment: g_fake = {};
struct pty_fakes {
    std::string failing;         // the name of the call
    std::string pts_name;        // in place of the slave's own
    bool chown_is_faked = false; // succeeds without being made
    std::string chown_path;      // what was asked for
    uid_t chown_user = 0;
    gid_t chown_group = 0;
    int open_flags = 0; // of the last master
};
extern pty_fakes g_fake;

// Whether this process may give a slave to the system user; an ordinary user may not.
bool can_give_away();

// Masters of pseudo-terminals that this process has open, inherited ones included.
int count_masters();

// What may be at the path before a record is opened.
void make_file(const std::string &path);
void make_link(const std::string &path);
void make_dangling_link(const std::string &path);

// A short folder of the test's own: the path in the record has 27 characters at most.
class short_folder {
  public:
    short_folder() { EXPECT_NE(mkdtemp(m_path), nullptr); }
    ~short_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    short_folder(const short_folder &) = delete;
    short_folder &operator=(const short_folder &) = delete;
    [[nodiscard]] std::string path(const std::string &name) const { return std::string(m_path) + "/" + name; }

  private:
    char m_path[19] = "/tmp/kv-pty-XXXXXX";
};

// A record with its path, and what a test looks at.
class port {
  public:
    port()
    {
        g_fake = {};
        g_fake.chown_is_faked = !can_give_away();
        m_record.m_ptm_fd = -1;
        const std::string path = m_folder.path("port");
        memcpy(m_record.m_pts_mapping_name_a, path.c_str(), path.size() + 1);
    }

    pub_pty *operator->() { return &m_record; }
    pub_pty *get() { return &m_record; }

    [[nodiscard]] std::string path() const { return m_folder.path("port"); }
    [[nodiscard]] std::string fd() const { return std::to_string(m_record.m_ptm_fd); }
    [[nodiscard]] std::string pts() const { return m_record.m_pts_name_a; }
    [[nodiscard]] std::string file(const std::string &name) const { return m_folder.path(name); }

    // Masters that were opened since this port is there, and are still open.
    [[nodiscard]] int masters() const { return count_masters() - m_masters_before; }

    // Where the link leads; nothing when there is no link.
    [[nodiscard]] std::optional<std::string> link() const
    {
        std::error_code error;
        const std::string target = std::filesystem::read_symlink(path(), error);
        return error ? std::nullopt : std::optional<std::string>(target);
    }
    [[nodiscard]] bool is_anything_there() const
    {
        return std::filesystem::symlink_status(path()).type() != std::filesystem::file_type::not_found;
    }

  private:
    short_folder m_folder;
    int m_masters_before = count_masters();
    pub_pty m_record = {};
};
