// The table of what may come of which fault, see verdict.h.

#include "tests/faults/sweep/verdict.h"

#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string_view>

namespace faults {

namespace {

constexpr auto k_answered = static_cast<unsigned>(outcome::answered);
constexpr auto k_refused = static_cast<unsigned>(outcome::refused);
constexpr auto k_cut = static_cast<unsigned>(outcome::cut);
constexpr auto k_ended = static_cast<unsigned>(outcome::ended);
constexpr auto k_silent = static_cast<unsigned>(outcome::silent);
constexpr auto k_failed_start = static_cast<unsigned>(outcome::failed_start);
constexpr unsigned k_told_or_cut = outcome::refused | outcome::cut;

constexpr auto k_next_is_lost = static_cast<unsigned>(aftermath::next_is_lost);
constexpr auto k_has_ended = static_cast<unsigned>(aftermath::has_ended);
constexpr auto k_is_deaf = static_cast<unsigned>(aftermath::is_deaf);
constexpr auto k_is_torn = static_cast<unsigned>(aftermath::is_torn);

constexpr int k_call_failed = 138; // a code of the service's, as an exit status
constexpr int k_minus_one = 255;

// clang-format off
// The first row that matches counts. An empty text matches everything; one that ends in '*' what begins like it; words
// with blanks between them are alternatives.
constexpr struct verdict_row {
    const char *scenario;
    const char *function;
    const char *target;
    const char *kind;
    const char *duration;
    allowance allowed;
} k_rows[] = {
    // The AT port that cannot be opened at the start counts as absent from then on.
    {"start/application", "open", "/dev/ttyAT", "", "lasting", {k_refused, k_is_deaf}},

    // Nothing can be had of the system any more: what the start cannot do without, it fails by. The picture of a
    // handshake is not among it.
    {"start/cable", "fdopen fstat malloc mmap open", "", "ENOMEM EMFILE", "lasting",
     {outcome::answered | outcome::failed_start | outcome::refused | outcome::cut | outcome::ended,
      k_is_torn | aftermath::has_ended, k_call_failed}},
    {"start/*", "fdopen fstat malloc", "", "ENOMEM", "lasting",
     {outcome::answered | outcome::failed_start, k_is_torn, k_call_failed}},
    {"start/*", "open", "", "EMFILE", "lasting", {outcome::refused | outcome::failed_start, 0, k_call_failed}},

    // A wait that is interrupted is waited again.
    {"", "read write", "/dev/*", "EINTR", "", {}},

    // The station's tty. What is lost of an answer is lost, and told by another if it can be.
    {"", "write", "/dev/ttyGS0", "", "once", {k_told_or_cut | outcome::ended}},
    {"", "write", "/dev/ttyGS0", "", "lasting", {k_ended}},
    {"", "read", "/dev/ttyGS0", "EIO EAGAIN ENODEV", "", {outcome::answered | outcome::ended, k_has_ended}},
    {"", "read", "/dev/ttyGS0", "nothing", "once", {}},
    // What has not been read meanwhile may come together with the next; and on a cable time runs out.
    {"start/cable", "read", "/dev/ttyGS0", "nothing", "lasting",
     {outcome::answered | outcome::silent | outcome::ended, k_next_is_lost | aftermath::has_ended}},
    {"", "read", "/dev/ttyGS0", "nothing", "lasting", {outcome::answered | outcome::silent, k_next_is_lost}},
    {"", "read", "/dev/ttyGS0", "one-byte half", "", {k_answered | outcome::cut, k_next_is_lost}},

    // The modem's data tty. The request that meets its loss is lost with it.
    {"relay/modem-back", "write", "/dev/ttyMODEM", "EIO", "once", {}},
    {"relay/modem-back", "write", "/dev/ttyMODEM", "", "", {
     outcome::answered | outcome::refused | outcome::silent, k_next_is_lost}},
    {"", "write", "/dev/ttyMODEM", "EIO", "", {k_silent}},
    {"", "write", "/dev/ttyMODEM", "", "", {k_refused, k_next_is_lost}},
    {"", "read", "/dev/ttyMODEM", "one-byte half", "", {k_answered}},
    {"start/cable", "read", "/dev/ttyMODEM", "", "lasting",
     {outcome::answered | outcome::silent | outcome::cut | outcome::ended, k_next_is_lost | aftermath::has_ended}},
    {"", "read", "/dev/ttyMODEM", "", "lasting", {outcome::answered | outcome::silent, k_next_is_lost}},
    {"start/*", "open", "/dev/ttyMODEM /dev/ttyGS0", "", "lasting", {k_failed_start, 0, k_call_failed}},
    {"", "open", "/dev/ttyMODEM", "", "lasting", {outcome::refused | outcome::ended, k_has_ended}},

    // The application's port, and the modem's behind it. Who reopens it in the midst of an answer
    // waits for more of it, and a short write there counts as whole: the modem is waited for until it says something.
    {"application/* start/application", "write", "/dev/ptmx", "", "",
     {k_told_or_cut | outcome::silent, k_next_is_lost}},
    {"application/* start/application", "read", "/dev/ptmx", "EIO", "once", {outcome::answered | outcome::silent}},
    {"application/* start/application", "read", "/dev/ptmx", "EAGAIN ENODEV", "",
     {outcome::answered | outcome::silent, k_is_deaf}},
    {"application/* start/application", "read", "/dev/ptmx", "nothing", "once", {}},
    {"application/* start/application", "read", "/dev/ptmx", "EIO nothing", "lasting",
     {outcome::answered | outcome::silent, k_next_is_lost}},
    {"application/* start/application", "read", "/dev/ptmx", "one-byte half", "",
     {k_answered | outcome::cut, k_next_is_lost}},
    {"start/application", "write", "/dev/ttyAT", "one-byte half nothing", "",
     {outcome::answered | outcome::refused | outcome::silent, k_is_deaf}},
    {"start/application", "read", "/dev/ttyAT", "nothing", "lasting",
     {k_refused | outcome::silent, aftermath::next_is_lost | aftermath::is_deaf}},
    {"start/application", "read", "/dev/ttyAT", "EIO", "",
     {outcome::answered | outcome::refused | outcome::silent, k_is_deaf}},
    {"start/application", "write read select", "/dev/ttyAT", "", "", {outcome::answered | outcome::refused, k_is_deaf}},
    // The new port is asked for silence first; what comes of that in pieces is never seen as an answer.
    {"application/modem-back", "write", "/dev/ttyAT", "one-byte half nothing", "",
     {outcome::answered | outcome::refused | outcome::silent, aftermath::next_is_lost | aftermath::is_deaf}},
    {"application/modem-back", "read", "/dev/ttyAT", "EIO nothing one-byte half", "",
     {outcome::answered | outcome::refused | outcome::silent, aftermath::next_is_lost | aftermath::is_deaf}},
    {"application/modem-back", "write read select", "/dev/ttyAT", "", "",
     {outcome::answered | outcome::refused, k_next_is_lost}},
    {"application/*", "write", "/dev/ttyAT", "EIO", "once", {}},
    {"application/*", "write", "/dev/ttyAT", "one-byte half nothing", "", {k_silent, k_is_deaf}},
    {"application/*", "write", "/dev/ttyAT", "", "", {k_refused}},
    {"application/*", "read", "/dev/ttyAT", "EIO", "once", {outcome::answered | outcome::silent, k_is_deaf}},
    {"application/*", "read", "/dev/ttyAT", "nothing one-byte half", "once", {}},
    {"application/*", "read", "/dev/ttyAT", "one-byte half", "lasting", {}},
    {"application/*", "read", "/dev/ttyAT", "nothing EIO", "lasting", {k_refused | outcome::silent, k_next_is_lost}},
    {"application/*", "read", "/dev/ttyAT", "", "", {k_refused, k_next_is_lost}},
    // One that cannot be opened any more stays closed.
    {"application/*", "open", "/dev/ttyAT", "", "lasting", {k_refused, k_is_deaf}},

    // An answer without its checksum.
    {"", "malloc", "", "", "", {k_cut}},

    // The start.
    {"start/*", "tcgetattr tcsetattr cfsetispeed cfsetospeed", "/dev/ttyGS0 speed", "", "",
     {k_failed_start, 0, k_minus_one}},
    {"start/cable", "pthread_create", "", "", "", {outcome::cut | outcome::failed_start, 0, k_call_failed}},
    {"start/*", "pthread_create", "", "", "", {k_failed_start, 0, k_call_failed}},

    {"start/station start/application start/simplified", "open fstat fdopen __isoc99_fscanf read",
     "/proc/#/cmdline", "", "",
     {outcome::answered | outcome::failed_start, 0, k_call_failed}},
    {"start/simplified", "open", "/data/local/tmp/kv-zep-amt.cfg", "ENOSPC EROFS", "", {}}, // it is only read
    {"start/*", "open fstat fdopen", "/system/etc/kv-zep-amt.cfg /data/local/tmp/kv-zep-amt.cfg", "", "",
     {k_failed_start, 0, k_call_failed}},
    {"start/*", "fgets", "/system/etc/kv-zep-amt.cfg /data/local/tmp/kv-zep-amt.cfg", "", "",
     {k_failed_start, 0, k_call_failed}},
    {"start/cable", "", "/dev/graphics/* /dev/tty0 /sys/class/android_usb/*", "", "",
     {outcome::answered | outcome::cut | outcome::ended, k_has_ended}},
    {"start/cable", "timer_create", "", "", "",
     {outcome::answered | outcome::cut | outcome::ended, k_has_ended}}, // armed late, it waits for one line more
    {"start/cable", "dlopen", "", "", "lasting", {outcome::answered | outcome::ended}},
    {"start/application",
     "open chmod chown symlink ptsname tcgetattr tcsetattr cfsetispeed cfsetospeed grantpt unlockpt",
     "/dev/ptmx /dev/ttyAMT", "", "",
     {k_failed_start, 0, k_call_failed}},
    {"start/*", "", "/amt/WIFI/* /system/etc/wifi/* /data/misc/wifi/*", "", "", {k_answered, k_is_torn}},

    // A library that cannot be had is a failure of the test that needs it.
    {"application/*", "dlopen", "", "", "", {k_refused}},

    // A port that cannot be taken away is not made anew: the application is not heard any more.
    {"application/reopen", "unlink", "/dev/ttyAMT", "", "lasting", {outcome::answered | outcome::silent, k_is_deaf}},
    {"application/reopen",
     "open chmod chown symlink ptsname tcgetattr tcsetattr cfsetispeed cfsetospeed grantpt unlockpt",
     "/dev/ptmx /dev/ttyAMT", "", "", {k_silent, k_is_deaf}},

    // Identities. Those that the modem confirms are answered by the modem.
    {"identity/bt-elsewhere", "access", "/amt/BT/*", "", "", {}}, // it is not there anyhow
    {"identity/verdict", "access open lseek fstat ftruncate", "/amt/*", "", "", {k_answered, k_is_torn}},
    {"identity/imei* identity/sn* identity/board* identity/verdict", "write", "/amt/*", "", "",
     {k_answered, k_is_torn}},
    {"identity/imei* identity/sn* identity/board* identity/verdict", "", "/amt/*", "", "", {}},
    {"identity/flag", "write", "/amt/*", "one-byte", "", {}},
    {"identity/*", "write", "/amt/* /mnt/opl/*", "", "", {k_refused, k_is_torn}},
    {"identity/adb-read identity/bt-read identity/pcba-read identity/wifi-read", "open", "/amt/*", "ENOSPC EROFS", "",
     {}},
    {"identity/*", "open fstat ftruncate fdopen fgets __isoc99_fscanf close access", "/amt/* /mnt/opl/*", "", "",
     {k_refused}},

    // The results. What the modem has is what counts. A file that there is not is made, with no verdict, and then
    // written; one that cannot be looked at is left to the open behind it.
    {"application/copy-write", "access", "/amt/*", "ENOENT", "", {k_answered, k_is_torn}},
    {"application/copy-write", "lseek", "/amt/*", "", "", {k_answered, k_is_torn}},
    {"application/copy-write", "", "/amt*", "", "", {}},
    {"application/result-first application/result-write", "lseek", "/amt/*", "", "", {k_answered, k_is_torn}},
    {"application/result-write", "write", "/amt/*", "one-byte", "", {}},
    {"application/result-first", "write", "/amt/*", "one-byte", "", {outcome::answered | outcome::refused, k_is_torn}},
    {"application/result-first", "write open fstat ftruncate", "/amt/*", "", "", {k_refused, k_is_torn}},
    {"application/result-write", "write fstat", "/amt/*", "", "", {k_refused}},
    {"application/result-first", "access", "/amt/*", "ENOENT", "", {}},
    {"application/result-first", "access", "/amt/*", "", "", {k_refused}},
    {"application/result-write", "access", "/amt/*", "ENOENT", "", {k_answered, k_is_torn}},
    {"application/result-read", "access", "/amt/*", "ENOENT", "", {k_cut, k_is_torn}},
    {"application/result-read", "read", "/amt/*", "half nothing", "", {k_cut}},
    {"application/*", "access", "/amt", "", "", {k_refused}},
    {"application/result-read", "open", "/amt/*", "ENOSPC EROFS", "", {}},
    {"application/*", "open read lseek fstat fdopen ftruncate",
     "/amt/*", "EINTR EIO EAGAIN EINVAL EACCES ENOENT EMFILE ENOMEM ENODEV ENOSPC EROFS", "",
     {k_refused}},
};
// clang-format on

bool matches_one(std::string_view pattern, std::string_view text)
{
    if (!pattern.empty() && pattern.back() == '*') {
        pattern.remove_suffix(1);
        return text.substr(0, pattern.size()) == pattern;
    }
    return pattern == text;
}

bool matches(std::string_view alternatives, std::string_view text)
{
    if (alternatives.empty()) {
        return true;
    }
    for (;;) {
        const std::size_t end = alternatives.find(' ');
        if (matches_one(alternatives.substr(0, end), text)) {
            return true;
        }
        if (end == std::string_view::npos) {
            return false;
        }
        alternatives.remove_prefix(end + 1);
    }
}

// Whether every text that the narrow one matches is matched by the wide one.
bool covers(std::string_view wide, std::string_view narrow)
{
    if (narrow.empty()) {
        return wide.empty();
    }
    std::istringstream words{std::string(narrow)};
    for (std::string word; words >> word;) {
        if (!matches(wide, word)) {
            return false;
        }
    }
    return true;
}

bool covers(const verdict_row &wide, const verdict_row &narrow)
{
    return covers(wide.scenario, narrow.scenario) && covers(wide.function, narrow.function) &&
           covers(wide.target, narrow.target) && covers(wide.kind, narrow.kind) &&
           covers(wide.duration, narrow.duration);
}

std::string text_of(const verdict_row &row)
{
    std::string text;
    for (const char *part : {row.scenario, row.function, row.target, row.kind, row.duration}) {
        text += text.empty() ? "{\"" : ", \"";
        text += std::string(part) + "\"";
    }
    return text + "}";
}

} // namespace

allowance allowed(const fault_case &what)
{
    const char *function = k_fault_functions[static_cast<std::uint32_t>(what.where.function)];
    const char *duration = what.lasts ? "lasting" : "once";
    for (std::size_t i = 0; i < std::size(k_rows); i++) {
        const verdict_row &row = k_rows[i];
        if (matches(row.scenario, what.of->name) && matches(row.function, function) &&
            matches(row.target, what.where.target) && matches(row.kind, what.how->name) &&
            matches(row.duration, duration)) {
            allowance found = row.allowed;
            found.row = i;
            return found;
        }
    }
    return {};
}

std::vector<verdict> verdicts()
{
    std::vector<verdict> result;
    for (const verdict_row &row : k_rows) {
        result.push_back({text_of(row), row.allowed});
    }
    return result;
}

void check_verdicts()
{
    for (std::size_t i = 0; i < std::size(k_rows); i++) {
        for (std::size_t earlier = 0; earlier < i; earlier++) {
            if (covers(k_rows[earlier], k_rows[i])) {
                throw std::logic_error(text_of(k_rows[i]) + " never counts: it is behind " + text_of(k_rows[earlier]));
            }
        }
    }
}

} // namespace faults
