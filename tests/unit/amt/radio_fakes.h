// The radios of a handset on a workstation: a handler or a line, what it asks of the maker's library and what comes of
// it. The library is the stand-in, which the control files of the handset's folders direct; what it cannot do is done
// in front of it here. With port_fakes.h and amt_folder.h. Reset by assignment: g_radio = {};
#pragma once

#include <sys/types.h>

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "amt/core/context.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/amt_folder.h"
#include "tests/unit/amt/links.h"
#include "tests/unit/platform/handset_root.h"

// What a fork returns without any: 0 for the copy's road, -1 with errno.
struct forking {
    pid_t result = 0;
    int error = 0;
};

struct radio_fakes {
    std::function<void()> on_call; // happens before each call of the library
    bool stores_nothing = false;   // the library leaves alone what it is to fill
    std::deque<forking> forks;     // in order; when there are no more, they are real
};
extern radio_fakes g_radio;

struct outcome {
    int32_t result = 0;
    std::vector<std::string> at_station;     // answers, each in hex
    std::vector<std::string> at_application; // likewise
    std::vector<std::string> told;           // in the log, but for the entries of functions and for the answer at last
    std::vector<std::string> calls;          // of the library
    std::vector<std::string> told_before;    // the last record when each of them was made
    std::vector<std::string> commands;       // that the shell was given
};

// Somebody who tests the radios of a handset with both links; a folder below "/amt" for each radio's address. Of each
// request and line it sees to it that it is told where it begins, and that no descriptor stays open. Only inside
// in_child.
class radio_bench {
  public:
    explicit radio_bench(const std::string &calls_path);
    radio_bench(const radio_bench &) = delete;
    radio_bench &operator=(const radio_bench &) = delete;

    // Has the handler handle a request, given in hex. In the response buffer lies an answer that was never sent.
    [[nodiscard]] outcome ask(amt_handle_func handler, uint8_t channel, const std::string &request);

    // Has the handler of lines look at one, after which the request is still what it was.
    [[nodiscard]] outcome line(const std::string &text);
    [[nodiscard]] outcome line(const std::string &text, uint32_t length); // that the buffer tells instead of its own

    // From now on nothing can be answered.
    static void close_links();

    [[nodiscard]] const amt_folder &folder() const { return m_folder; }
    [[nodiscard]] size_t number_of_records() const { return m_log.records().size(); }

  private:
    [[nodiscard]] outcome watch(const std::function<int32_t()> &call);
    [[nodiscard]] std::vector<std::string> calls() const;

    std::string m_calls_path;
    links m_links;
    amt_folder m_folder;
    test_log m_log;
};

// A handset with a bench, in a process of its own.
class radio_handset : public handset_root {
  protected:
    void SetUp() override;
    void with_bench(const std::function<void(radio_bench &)> &body) const;
};

// What a line is answered with, as it arrives.
std::string text_answer(const std::string &text);

inline const std::string k_line_ok = text_answer("\r\nOK\r\n");
inline const std::string k_line_error = text_answer("\r\nERROR\r\n");
