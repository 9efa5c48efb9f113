// An emulated handset's folders for one test, below a temporary folder that HANDSET_ROOT names, and what a test looks
// at there. Each test has its own and leaves nothing behind. To be set up before the test starts threads, since it
// changes the environment.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

class handset_root : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Paths are the handset's own, "/handset/calls".
    [[nodiscard]] std::string host_path(const std::string &path) const { return m_folder + path; }
    void write_file(const std::string &path, const std::string &content) const;
    [[nodiscard]] std::string read_file(const std::string &path) const; // "(missing)" if it is
    [[nodiscard]] std::vector<std::string> names_in(const std::string &folder) const;

    // The control file of an entry.
    void control(const std::string &entry, const std::string &lines) const;
    // The record of calls so far, without the folder's other content.
    [[nodiscard]] std::string calls() const { return read_file("/handset/calls"); }

  private:
    std::string m_folder;
};

// Takes standard error while it lives; each write(2) to it is one element.
class captured_stderr {
  public:
    captured_stderr();
    ~captured_stderr();
    captured_stderr(const captured_stderr &) = delete;
    captured_stderr &operator=(const captured_stderr &) = delete;

    // The writes since it was made or last asked.
    std::vector<std::string> writes();

  private:
    int m_saved = -1;
    int m_receiver = -1;
};
