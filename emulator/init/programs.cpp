// Starting programs, see programs.h.

#include "emulator/init/programs.h"

#include "emulator/init/foreign.h"
#include "emulator/init/identity.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace emulator {

// As the handset's own start-up starts its services.
constexpr mode_t k_umask = 077;

// A "start" request taken apart; the pointers lead into the request.
struct start_request {
    const char *path = nullptr;
    const char *folder = nullptr;
    std::vector<char *> arguments;   // argv, with its null
    std::vector<char *> environment; // with its null
    int out = -1;
    int err = -1;
    int in = -1; // none: there is nothing to read
};

// What a child reports when it cannot become the program.
struct failure {
    int error;
    char step[64];
};

static bool take_list(const message &request, std::size_t &at, std::vector<char *> &list)
{
    if (at >= request.fields.size()) {
        return false;
    }
    const std::size_t count = std::strtoul(request.fields[at++].c_str(), nullptr, 10);
    if (count > request.fields.size() - at) {
        return false;
    }
    for (const std::size_t end = at + count; at < end; ++at) {
        list.push_back(const_cast<char *>(request.fields[at].c_str())); // execvp's signature; nothing writes to them
    }
    list.push_back(nullptr);
    return true;
}

static bool parse(const message &request, start_request &parsed)
{
    if (request.fields.size() < 7 || request.descriptors.size() < 2) {
        return false;
    }
    parsed.path = request.fields[2].c_str();
    parsed.folder = request.fields[4].c_str();
    parsed.out = request.descriptors[0].get();
    parsed.err = request.descriptors[1].get();
    parsed.in = request.descriptors.size() > 2 ? request.descriptors[2].get() : -1;
    parsed.arguments.push_back(const_cast<char *>(request.fields[3].c_str()));
    std::size_t at = 5;
    return take_list(request, at, parsed.arguments) && take_list(request, at, parsed.environment);
}

// Every signal, also the two that the C library keeps to itself and leaves ignored in what it spawns: a timer of the
// program's may use one of them.
static void reset_signals()
{
    constexpr std::size_t k_kernel_set_size = 8;
    const char all_default[64] = {}; // more than the kernel's own record of an action, in which 0 is the default
    for (int number = 1; number < NSIG; ++number) {
        (void)syscall(SYS_rt_sigaction, number, all_default, nullptr, k_kernel_set_size); // some cannot be set
    }
    sigset_t none;
    sigemptyset(&none);
    (void)pthread_sigmask(SIG_SETMASK, &none, nullptr);
}

static bool connect_streams(const start_request &request)
{
    const descriptor null(open("/dev/null", O_RDONLY | O_CLOEXEC));
    return null && dup2(request.in >= 0 ? request.in : null.get(), STDIN_FILENO) >= 0 &&
           dup2(request.out, STDOUT_FILENO) >= 0 && dup2(request.err, STDERR_FILENO) >= 0;
}

// In the child. A process group of its own but no session: as on the handset, a tty that a service opens never becomes
// its controlling terminal. Returns the step that failed, with errno set.
static const char *become(const start_request &request, const descriptor &identity)
{
    if (setpgid(0, 0) != 0) {
        return "process group";
    }
    if (!connect_streams(request)) {
        return "standard streams";
    }
    if (!take_identity(identity)) {
        return "identity";
    }
    if (chdir(request.folder) != 0) {
        return "working directory";
    }
    (void)umask(k_umask);
    reset_signals();
    // The program's own PATH is what a bare name is sought in; that leads to programs of this machine's.
    environ = const_cast<char **>(request.environment.data());
    if (is_foreign(request.path)) {
        (void)execute_foreign(request.path, request.arguments);
        return "execute by the runner of foreign programs";
    }
    (void)execvp(request.path, request.arguments.data());
    return "execute";
}

[[noreturn]] static void run_child(const start_request &request, const descriptor &identity, int report)
{
    failure failed = {};
    const std::string step = become(request, identity);
    failed.error = errno;
    step.copy(failed.step, sizeof(failed.step) - 1);
    (void)!write(report, &failed, sizeof(failed)); // the parent takes silence for success, but then _exit tells
    _exit(127);
}

outcome start_program(const message &request, const descriptor &identity, running_programs &running)
{
    start_request parsed;
    int ends[2];
    if (!parse(request, parsed)) {
        return {EINVAL, "request", {}};
    }
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return {errno, "pipe", {}};
    }
    const descriptor reader(ends[0]);
    descriptor writer(ends[1]);
    const pid_t pid = fork();
    if (pid < 0) {
        return {errno, "fork", {}};
    }
    if (pid == 0) {
        run_child(parsed, identity, writer.get());
    }
    writer.reset();
    failure failed = {};
    if (TEMP_FAILURE_RETRY(read(reader.get(), &failed, sizeof(failed))) == sizeof(failed)) {
        (void)waitpid(pid, nullptr, 0);
        return {failed.error, failed.step, {}};
    }
    running[pid] = request.fields[1];
    return {0, std::to_string(pid), {}};
}

void report_ends(int line, running_programs &running)
{
    int status = 0;
    for (pid_t pid = 0; (pid = waitpid(-1, &status, WNOHANG)) > 0;) {
        const auto at = running.find(pid);
        if (at == running.end()) {
            continue; // an orphan
        }
        const bool by_itself = WIFEXITED(status);
        const int number = by_itself ? WEXITSTATUS(status) : WTERMSIG(status);
        // A line that is down is noticed where it is read.
        (void)send_message(line, {"ended", at->second, by_itself ? "exited" : "signalled", std::to_string(number)}, {});
        running.erase(at);
    }
}

} // namespace emulator
