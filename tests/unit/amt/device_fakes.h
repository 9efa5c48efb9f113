// A handset of the test's own for the device tests: its files lie in a temporary folder, its drivers answer as the test
// says, nothing is run, slept or signalled for real, and what happens is written down in order. Reset by assignment:
// g_fake = {}; only inside in_child.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "amt/core/context.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/links.h"
#include "tests/unit/amt/messages.h"
#include "tests/unit/platform/handset_root.h"

// What a driver returns to an ioctl, with errno below 0, and what it stores in place of the number that it was given.
struct ioctl_answer {
    int result = 0;
    int error = 0;
    std::optional<int32_t> stores = std::nullopt;
};

// How a command of the shell ends: its status, or -1 with errno when there was no process.
struct command_end {
    int status = 0;
    int error = 0;
};

// What a call that prints or writes returns in place of doing it, with errno unless that is 0.
struct output_end {
    ssize_t result = 0;
    int error = 0;
};

struct card_size {
    uint64_t blocks = 0;
    int64_t block_size = 0; // bytes
};

struct device_fakes {
    std::string root = "/missing"; // where the handset's files really lie

    // Events, as below, that fail with this errno: opening, closing (the file is closed all the same), unlinking,
    // signalling, asking for a size, loading, looking up.
    std::map<std::string, int> refused;

    std::map<std::string, size_t> rooms; // bytes that a file takes, by its path; they are not found there afterwards

    std::deque<ioctl_answer> ioctls;        // in order; when there are no more, 0
    std::deque<command_end> commands;       // in order; when there are no more, they succeed
    std::optional<output_end> printing;     // of numbers to the handset's files
    std::optional<output_end> writing;      // of bytes to them
    std::map<std::string, card_size> cards; // file systems, by the path at which they are asked for
    bool is_send_cut = false;               // an answer loses its last byte on its way

    void *entry = nullptr; // stands for every entry of the misc library; null: the stand-in's own

    // What happened, in order:
    //     "read PATH", "write PATH", "read and write PATH", "close PATH"   files of the handset
    //     "bytes to PATH", "ioctl REQUEST NUMBER", "size of PATH", "unlink PATH"
    //     "run COMMAND", "pause MILLISECONDS", "kill PID SIGNAL"
    //     "load PATH", "look up NAME", "unload"                            the misc library
    //     "send"                                                           an answer on either link
    std::vector<std::string> events;
    std::function<void(const std::string &event)> on_event; // happens before each

    amt_buffer *response = nullptr;   // of the request that is being handled
    std::map<int, std::string> files; // of the handset that are open
};
extern device_fakes g_fake;

constexpr uint8_t k_both_channels_a[] = {AMT_CHANNEL_PC, AMT_CHANNEL_APP};

// An answer as the channel gets it: in an envelope on the station's.
std::string answer_on(uint8_t channel, const std::string &message);

// The number that the next descriptor gets.
int next_descriptor();

// What came of a request.
struct outcome {
    int32_t result = 0;
    std::vector<std::string> at_station;     // the answers, each in hex
    std::vector<std::string> at_application; // likewise
    std::vector<std::string> told;           // in the log, but for entries of functions and what was sent
    std::vector<std::string> events;
    bool is_response_clear = false; // nothing is left in the response buffer

    // At the channel, of which the other got nothing.
    [[nodiscard]] std::vector<std::string> answers(uint8_t channel) const;
};

class device_handset {
  public:
    device_handset();
    ~device_handset();
    device_handset(const device_handset &) = delete;
    device_handset &operator=(const device_handset &) = delete;

    // Files and folders of the handset, by its own paths. What is above them is made as needed.
    void put(const std::string &path, const std::string &content) const;
    void make_folder(const std::string &path) const;
    void make_pipe(const std::string &path) const;
    [[nodiscard]] std::string content(const std::string &path) const; // "(missing)" if it is
    [[nodiscard]] std::string host_path(const std::string &path) const { return m_folder.path(path.substr(1)); }

    // What comes of a call. Every file that is opened meanwhile has to be closed again.
    [[nodiscard]] outcome watch(const std::function<int32_t()> &call) const;

    // The same of a handler that handles a request, given in hex, with the remains of an answer in its response buffer.
    [[nodiscard]] outcome ask(amt_handle_func handler, uint8_t channel, const std::string &request) const;

    // In the log, but for entries of functions and what was sent.
    [[nodiscard]] std::vector<std::string> told() const;
    [[nodiscard]] const test_log &log() const { return m_log; }

  private:
    temp_folder m_folder;
    links m_links;
    test_log m_log;
};

// The result of a cut answer, whatever it was to say, is the handler's own; on each of the channels. `prepare` makes
// the request succeed.
void expect_result_of_sending(amt_handle_func handler, const std::string &request,
                              const std::function<void(const device_handset &)> &prepare);

// The misc library of a workstation, chosen; with the record of its calls.
class misc_library : public handset_root {
  protected:
    void SetUp() override;
};
constexpr char k_load[] = "load /system/lib64/hw/amt.kv7100.misc.so";

// Without the library and without the entry that it looks up (an event), the handler tells why, leaves the library as
// it is and answers nothing; on each of the channels.
void expect_nothing_without_library(amt_handle_func handler, const std::string &request, const std::string &look_up);
