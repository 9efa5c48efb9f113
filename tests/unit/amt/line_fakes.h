// A handset that is asked by lines: the files and drivers of device_fakes.h, the seconds that a line waits, the power
// of the handset, which no test may touch, and a modem for what is not the handset's. Only inside in_child.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/identity_steps.h"

// Besides those of device_fakes: "pause SECONDS s", "power off".
struct line_fakes {
    int power_error = 0;             // of a power-off that is refused; 0: it comes back all the same
    std::vector<int32_t> flags_seen; // what the flag of the last download was when it was asked for
};
extern line_fakes g_line_fakes;

constexpr char k_ok_line[] = "\r\nOK\r\n";
constexpr char k_error_line[] = "\r\nERROR\r\n";
constexpr char k_cme_line[] = "\r\n+CME ERROR: 100\r\n";

// The answer to reading an address of Bluetooth.
inline std::string bt_line(const std::string &address)
{
    return "\r\n^DBTADDR: \"" + address + "\"\r\n\r\nOK\r\n";
}

using line_handler = int32_t (*)();

// Has the handler treat a request of the station, whose response buffer is full of an answer that was never sent. The
// outcome's answers are texts as they went out, not hex. The request has to be as it was.
outcome say(const device_handset &handset, line_handler handler, const std::string &request);

// An answered line, and one that is not: the dispatcher answers for it.
void expect_answered(const outcome &seen, const std::string &answer);
void expect_unanswered(const outcome &seen);

// Types of an operation that lines with fields do not take, with what follows; and the number by which the log tells an
// unknown one, null: it is missing.
struct type_row {
    const char *field;
    const char *told;
};
extern const std::vector<type_row> k_bad_types;

// What has two ends: the modem's tty of the context and where its bytes arrive, each write a text.
class modem_link {
  public:
    modem_link();
    ~modem_link();
    modem_link(const modem_link &) = delete;
    modem_link &operator=(const modem_link &) = delete;
    [[nodiscard]] std::vector<std::string> arrived() const;

  private:
    int m_modem = -1; // the far end
};
