// A folder of the test's own in place of "/amt", where the station's verdicts are kept. With port_fakes.h; only inside
// in_child.
#pragma once

#include <string>
#include <vector>

#include "tests/support/temp_folder.h"
#include "tests/support/test_log.h"

// As long as it lives, what is below "/amt" lies in it: nothing at first.
class amt_folder {
  public:
    amt_folder();
    ~amt_folder();
    amt_folder(const amt_folder &) = delete;
    amt_folder &operator=(const amt_folder &) = delete;

    // The folder itself is refused whoever wants one of these of it: R_OK, W_OK. 0: nobody.
    static void deny(int mode);

    // Whether a file is there cannot be told any more; errno.
    static void fail_looks(int error);

    // There is no such folder any more.
    static void remove();

    [[nodiscard]] std::string path(const std::string &name) const { return m_folder.path(name); }
    void put(const std::string &name, const std::string &content) const { (void)m_folder.with_file(name, content); }
    [[nodiscard]] std::string content(const std::string &name) const { return read_whole_file(path(name)); }
    [[nodiscard]] bool has(const std::string &name) const;

  private:
    temp_folder m_folder;
};

// A file of so many items that are not tested; or one of them with a digit at an offset.
std::string untested(int count);
std::string untested_but(int count, size_t offset, char digit);

constexpr char k_product[] = "product.txt";
constexpr char k_modem_copy[] = "amt_result.txt";

// How the failures of these files begin in the log: their codes have no text.
inline const std::string k_no_access = "error | -1 -  | ";
inline const std::string k_not_made = "error | -2 -  | ";
inline const std::string k_not_saved = "error | -3 -  | ";

// The records of a log but for the entries of functions.
std::vector<std::string> without_entries(const test_log &log);
