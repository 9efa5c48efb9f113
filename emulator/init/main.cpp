// handset-init: process 1 inside the emulated handset. It does what the library asks on the line inherited through
// bubblewrap (see messages.h), one request at a time, reaps every orphan, and ends when the line closes: the kernel
// then ends everything else inside, so nothing outlives the program that holds the handset. It runs no code of the
// handset's and never reads its files.

#include "emulator/init/devices.h"
#include "emulator/init/identity.h"
#include "emulator/init/programs.h"
#include "emulator/messages.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>

using namespace emulator;

namespace {

struct init_state {
    int line = -1;
    descriptor identity;
    running_programs running;
};

outcome send_signal(const message &request, init_state &)
{
    const pid_t pid = number_in(request.fields[2]);
    if (pid <= 1) {
        return {EINVAL, "process id", {}};
    }
    return kill(pid, number_in(request.fields[3])) == 0 ? outcome{} : outcome{errno, "kill", {}};
}

// One row per verb, with the number of fields that a request has at least.
// clang-format off
constexpr struct {
    const char *verb;
    std::size_t fields;
    outcome (*act)(const message &request, init_state &state);
} k_verbs[] = {
    {"start",    7, [](const message &r, init_state &s) { return start_program(r, s.identity, s.running); }},
    {"signal",   4, send_signal},
    {"open-tty", 4, [](const message &r, init_state &) { return open_tty(r.fields[2], r.fields[3] == "raw"); }},
    {"open",     4, [](const message &r, init_state &) { return open_path(r.fields[2], number_in(r.fields[3])); }},
    {"remove",   3, [](const message &r, init_state &) { return remove_path(r.fields[2]); }},
    {"mount",    4, [](const message &r, init_state &) { return mount_card(r.fields[2], r.fields[3]); }},
    {"unmount",  3, [](const message &r, init_state &) { return unmount_card(r.fields[2]); }},
    {"uevent",   3, [](const message &r, init_state &) { return send_uevent({r.fields.begin() + 2, r.fields.end()}); }},
};
// clang-format on

outcome carry_out(const message &request, init_state &state)
{
    for (const auto &row : k_verbs) {
        if (request.fields[0] == row.verb) {
            return request.fields.size() >= row.fields ? row.act(request, state) : outcome{EINVAL, "request", {}};
        }
    }
    return {ENOSYS, "request", {}};
}

// False when the line is closed.
bool serve_request(init_state &state)
{
    message request;
    if (!receive_message(state.line, request) || request.fields.size() < 2) {
        return false;
    }
    const outcome result = carry_out(request, state);
    // A program that cannot be signalled may just have ended: its end is to be known before the refusal.
    report_ends(state.line, state.running);
    const std::vector<int> passed = result.passed ? std::vector<int>{result.passed.get()} : std::vector<int>{};
    return send_message(state.line, {"answer", request.fields[1], std::to_string(result.error), result.text}, passed);
}

descriptor watch_children()
{
    sigset_t all;
    sigfillset(&all);
    (void)pthread_sigmask(SIG_SETMASK, &all, nullptr);
    sigset_t children;
    sigemptyset(&children);
    sigaddset(&children, SIGCHLD);
    return descriptor(signalfd(-1, &children, SFD_CLOEXEC | SFD_NONBLOCK));
}

void serve(init_state &state, int children)
{
    while (true) {
        pollfd ends[] = {{state.line, POLLIN, 0}, {children, POLLIN, 0}};
        if (TEMP_FAILURE_RETRY(poll(ends, 2, -1)) < 0) {
            return;
        }
        if (ends[1].revents != 0) {
            signalfd_siginfo ignored = {};
            (void)!read(children, &ignored, sizeof(ignored)); // one signal may stand for many ends
            report_ends(state.line, state.running);
        }
        if (ends[0].revents != 0 && !serve_request(state)) {
            return;
        }
    }
}

// Returns the step that failed with errno set, null when all is ready.
const char *prepare(init_state &state, descriptor &children)
{
    if (fcntl(state.line, F_SETFD, FD_CLOEXEC) != 0) {
        return "line";
    }
    if (close_range(static_cast<unsigned>(state.line) + 1, ~0U, 0) != 0) { // what the caller has let slip through
        return "descriptors";
    }
    (void)setsid(); // away from the terminal of whoever runs the emulation; fails when it is so already
    if (!(state.identity = make_identity())) {
        return "user namespace";
    }
    if (!keep_one_capability()) {
        return "capabilities";
    }
    if (!make_proc_read_only()) {
        return "/proc";
    }
    children = watch_children();
    return children ? nullptr : "signals";
}

} // namespace

int main(int argc, char **argv)
{
    init_state state;
    state.line = argc == 2 ? number_in(argv[1]) : -1;
    descriptor children;
    const char *step = prepare(state, children);
    const int error = step != nullptr ? errno : 0;
    if (!send_message(state.line, {"hello", std::to_string(error), step != nullptr ? step : ""}, {}) || error != 0) {
        return 1;
    }
    serve(state, children.get());
    return 0;
}
