// Ending and speaking, see program.h.

#include "tool/program.h"

#include "tool/failure.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string_view>

namespace tool {

static volatile std::sig_atomic_t g_interrupted = 0;
static int g_wake = -1; // written once, before there is a handler

std::string exit_codes_told()
{
    std::string text = "Exit status";
    const char *separator = ": ";
    for (const auto &each : k_exit_codes) {
        text += separator + std::to_string(static_cast<int>(each.code)) + " " + each.meaning;
        separator = ", ";
    }
    return text + ".";
}

void say_error(const std::string &line)
{
    std::string one = line;
    std::replace_if(
        one.begin(), one.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    std::cerr << coloured(one, colour::red, in_colour(STDERR_FILENO)) + '\n' << std::flush;
}

static exit_code told(const std::string &name, const char *what, exit_code code)
{
    std::cout << std::flush;
    say_error(name + ": " + what);
    return code;
}

int run(const std::string &name, const std::function<exit_code()> &body)
{
    exit_code code = exit_code::done;
    try {
        code = body();
    } catch (const failure &error) {
        code = told(name, error.what(), error.code());
    } catch (const std::invalid_argument &error) {
        code = told(name, error.what(), exit_code::usage);
    } catch (const std::exception &error) {
        code = told(name, error.what(), exit_code::refused);
    }
    if (!std::cout.flush() && code == exit_code::done) {
        code = told(name, "cannot write to standard output: see where it leads", exit_code::refused);
    }
    return static_cast<int>(code);
}

// All that a handler may do.
static void note_interrupt(int number)
{
    const int error = errno;
    const std::uint64_t one = 1;
    g_interrupted = number;
    (void)alarm(1); // once more: a read that begins behind this very moment would not notice
    (void)!write(g_wake, &one, sizeof(one));
    errno = error;
}

int interrupt_fd()
{
    return g_wake;
}

static void wake_up(int) {}

void hold_interrupts()
{
    g_wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    struct sigaction action = {};
    action.sa_handler = note_interrupt; // without SA_RESTART: blocking calls return
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        (void)sigaction(number, &action, nullptr);
    }
    action.sa_handler = wake_up;
    (void)sigaction(SIGALRM, &action, nullptr);
}

bool interrupted()
{
    return g_interrupted != 0;
}

void forget_interrupt()
{
    std::uint64_t count = 0;
    (void)alarm(0);
    if (g_interrupted != SIGINT) {
        return;
    }
    g_interrupted = 0;
    (void)!read(g_wake, &count, sizeof(count));
}

void check_interrupted()
{
    if (interrupted()) {
        throw failure(exit_code::interrupted, "interrupted");
    }
}

static std::string_view variable(const char *name)
{
    const char *value = getenv(name); // NOLINT(concurrency-mt-unsafe): nothing here sets variables
    return value != nullptr ? value : "";
}

bool in_colour(int fd)
{
    return isatty(fd) != 0 && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
}

std::string coloured(const std::string &text, colour which, bool on)
{
    constexpr const char *k_codes[] = {"", "31", "32", "33", "2"};
    if (!on || which == colour::none) {
        return text;
    }
    return std::string("\033[") + k_codes[static_cast<int>(which)] + "m" + text + "\033[0m";
}

} // namespace tool
