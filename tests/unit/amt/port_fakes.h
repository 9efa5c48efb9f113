// The modem's AT port without a modem: what reads, writes, waits and openings of it bring is the test's to decide,
// nothing waits for real, and the clock stands still but for the waits. And the files below "/amt", which lie elsewhere
// (amt_folder.h). Reset by assignment: g_fake = {}; only inside in_child, the descriptors are the process's.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/time.h>
#include <sys/types.h>
#include <time.h>

#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

// What one read brings, of which the reader takes as much as it has room for; or errno.
struct reading {
    std::string bytes;
    int error = 0;
};

// What becomes of one write: all of it unless fewer bytes are said, or errno.
struct writing {
    size_t at_most = SIZE_MAX;
    int error = 0;
};

// How one select ends.
struct waiting {
    int ready = 0; // -1: fails
    int error = 0;
    bool is_in_set = true;                        // when ready
    timespec passes = {0, 0};                     // on the clock meanwhile
    std::optional<timeval> leaves = std::nullopt; // of the time-out; unless said, nothing when it timed out
};

struct port_fakes {
    std::deque<reading> readings;    // in order; when there are no more, nothing comes and a read fails with EAGAIN
    std::deque<writing> writings;    // in order; when there are no more, writes succeed
    std::deque<waiting> read_waits;  // in order; when there are no more, ready as long as there are readings
    std::deque<waiting> write_waits; // in order; when there are no more, ready at once
    std::deque<int> openings;        // errno of each, in order; when there are no more, openings succeed
    std::function<void()> on_pause;
    std::function<void(const std::string &command)> on_command; // of the shell
    bool has_hung_up = false;                                   // what a look at the port tells

    std::string amt_folder = "/missing"; // where "/amt" really lies
    std::deque<writing> file_writings;   // below it, in order; when there are no more, writes are real

    std::vector<std::string> written; // as attempted
    std::vector<size_t> rooms;        // of each read
    std::vector<timeval> time_outs;   // given to each select, for writing and for reading
    std::vector<int> opening_flags;   // of each attempt
    std::vector<uint32_t> pauses;     // milliseconds
    std::vector<std::string> shell_commands;
    timespec clock = {1000, 250};
    std::set<int> descriptors;           // that are open
    std::set<int> files;                 // below "/amt" that are open
    bool is_standard_input_used = false; // in place of a closed port
};
extern port_fakes g_fake;

constexpr char k_port_path[] = "/dev/at-port";

// What is said on it.
inline const std::string k_ok = "\r\nOK\r\n";
inline const std::string k_disable = "AT^DLKS=0\r";

// Where a path really leads: one below "/amt" into the test's folder, any other to itself.
std::string real_path(const std::string &path);

// Opens the AT port of the context, with the path it is reopened on. Returns its descriptor.
int open_port();

// One reading after the other.
void modem_says(const std::vector<std::string> &texts);

// The next reading or write fails.
void fail_read(int error);
void fail_write(int error);

// Standard output of a call.
std::string output_of(const std::function<void()> &call);

// While it lives, standard output takes nothing, and every attempt leaves an errno of its own.
class full_console {
  public:
    full_console();
    ~full_console();
    full_console(const full_console &) = delete;
    full_console &operator=(const full_console &) = delete;

  private:
    int m_before; // the standard output of before
};
