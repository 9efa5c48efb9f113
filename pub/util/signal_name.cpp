#include "pub/util/util.h"

namespace {

struct signal_row {
    int number;
    const char *name;
    char action; // T terminate, A abort, I ignore, C continue, S stop, ? other
    const char *description;
};

// The numbers are the handset's (Linux on AArch64), whatever the workstation calls them. The row without a name ends
// the search; of two rows with one number the first counts.
// clang-format off
constexpr signal_row k_signals_a[] = {
    { 1, "SIGHUP",    'T', "Hangup (POSIX)."},
    { 2, "SIGINT",    'T', "Terminal interrupt signal (ANSI)."},
    { 3, "SIGQUIT",   'A', "Terminal quit signal (POSIX)."},
    { 4, "SIGILL",    'A', "Illegal instruction (ANSI)."},
    { 5, "SIGTRAP",   'A', "Trace/breakpoint trap (POSIX)."},
    { 6, "SIGABRT",   'A', "Process abort signal (ANSI)."},
    { 6, "SIGIOT",    'A', "IOT trap (4.2 BSD)."},
    { 7, "SIGBUS",    'A', "Access to an undefined portion of a memory object (4.2 BSD)."},
    { 8, "SIGFPE",    'A', "Erroneous arithmetic operation (ANSI)."},
    { 9, "SIGKILL",   'T', "Kill (cannot be caught or ignored) (POSIX)."},
    {10, "SIGUSR1",   'T', "User-defined signal 1 (POSIX)."},
    {11, "SIGSEGV",   'A', "Invalid memory reference (ANSI)."},
    {12, "SIGUSR2",   'T', "User-defined signal 2 (POSIX)."},
    {13, "SIGPIPE",   'T', "Write on a pipe with no one to read it (POSIX)."},
    {14, "SIGALRM",   'T', "Alarm clock (POSIX)."},
    {15, "SIGTERM",   'T', "Termination signal (ANSI)."},
    {16, "SIGSTKFLT", '?', "Stack fault"},
    {17, "SIGCHLD",   'I', "Child process terminated, stopped (POSIX)."},
    {18, "SIGCONT",   'C', "Continue executing, if stopped (POSIX)."},
    {19, "SIGSTOP",   'S', "Stop executing (cannot be caught or ignored) (POSIX)."},
    {20, "SIGTSTP",   'S', "Terminal stop signal (POSIX)."},
    {21, "SIGTTIN",   'S', "Background process attempting read (POSIX)."},
    {22, "SIGTTOU",   'S', "Background process attempting write (POSIX)."},
    {23, "SIGURG",    'I', "High bandwidth data is available at a socket (4.2 BSD)."},
    {24, "SIGXCPU",   'A', "CPU time limit exceeded (4.2 BSD)."},
    {25, "SIGXFSZ",   'A', "File size limit exceeded (4.2 BSD)."},
    {26, "SIGVTALRM", 'T', "Virtual timer expired (4.2 BSD)."},
    {27, "SIGPROF",   'T', "Profiling timer expired (4.2 BSD)."},
    {28, "SIGWINCH",  '?', "Window size change (4.3 BSD, Sun)."},
    {29, "SIGPOLL",   'T', "Pollable event (System V)."},
    {29, "SIGIO",     'T', "I/O now possible (4.2 BSD)."},
    {30, "SIGPWR",    '?', "Power failure restart (System V)."},
    {31, "SIGSYS",    'A', "Bad system call."},
    { 0, nullptr,     '?', ""},
};
// clang-format on
static_assert(sizeof(k_signals_a) / sizeof(k_signals_a[0]) == 34, "33 names and the end");

} // namespace

const char *pub_util_get_signal_name(int signal_number)
{
    for (const signal_row *row = k_signals_a; row->name != nullptr; row++) {
        if (row->number == signal_number) {
            return row->name;
        }
    }
    return "";
}
