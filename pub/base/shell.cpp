#include "pub/base/shell.h"

#include <errno.h>
#include <fcntl.h>
#include <paths.h>
#include <signal.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "pub/base/wait.h"

namespace {

constexpr int k_service_signals_a[] = {SIGTERM, SIGUSR1, SIGUSR2, SIGPIPE, SIGXFSZ};

[[noreturn]] void become_shell(const char *command)
{
    // What the service handles or ignores is the service's alone: its ending, let in here, would release it twice.
    for (const int signal_number : k_service_signals_a) {
        (void)signal(signal_number, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    (void)pthread_sigmask(SIG_SETMASK, &none, nullptr);
    const int no_input = open("/dev/null", O_RDONLY); // no program is to ask anybody anything
    if (no_input > STDIN_FILENO) {
        (void)dup2(no_input, STDIN_FILENO);
        (void)close(no_input);
    }
    (void)execl(_PATH_BSHELL, "sh", "-c", command, static_cast<char *>(nullptr));
    _exit(127);
}

// Appends `part` at `length`, leaving room for a terminator; false when it does not fit.
bool append(char *text, size_t size, size_t &length, const char *part)
{
    const size_t count = strlen(part);
    if (count >= size - length) {
        return false;
    }
    memcpy(text + length, part, count + 1);
    length += count;
    return true;
}

} // namespace

int pub_util_run_shell(const char *command)
{
    const pid_t child = fork();
    if (child < 0) {
        return -1;
    }
    if (child == 0) {
        become_shell(command);
    }
    int status = -1;
    const signal_window window;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return status;
}

bool pub_util_quote_for_shell(const char *text, char *quoted, size_t size)
{
    if (size == 0) {
        return false;
    }
    size_t length = 0;
    bool fits = append(quoted, size, length, "'");
    for (const char *at = text; fits && *at != '\0'; at++) {
        const char single[2] = {*at, '\0'};
        fits = append(quoted, size, length, *at == '\'' ? "'\\''" : single);
    }
    fits = fits && append(quoted, size, length, "'");
    if (!fits) {
        quoted[0] = '\0';
    }
    return fits;
}
