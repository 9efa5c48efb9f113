// Starting programs and hearing them out, see tool_runner.h. Between fork and exec only what is safe there is called.

#include "tests/tools/tool_runner.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;
using emulator::deadline;
using emulator::descriptor;

constexpr int k_look_ms = 5;    // for what no descriptor announces: that a process has ended
constexpr char k_at_ease = 'e'; // to the watchman: nothing is left to be done

bool operator==(const outcome &a, const outcome &b)
{
    return a.status == b.status && a.out == b.out && a.err == b.err;
}

std::ostream &operator<<(std::ostream &stream, const outcome &what)
{
    return stream << "status " << what.status << "\n--- out\n" << what.out << "--- err\n" << what.err << "---";
}

[[noreturn]] static void fail_system(const char *what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

// --- a program that runs

running_tool::running_tool(running_tool &&other) noexcept
    : m_name(std::move(other.m_name))
    , m_pid(std::exchange(other.m_pid, -1))
    , m_in(std::move(other.m_in))
    , m_out(std::move(other.m_out))
    , m_err(std::move(other.m_err))
    , m_at_terminal(other.m_at_terminal)
    , m_said(std::move(other.m_said))
    , m_seen_out(other.m_seen_out)
    , m_seen_err(other.m_seen_err)
{
}

running_tool::~running_tool()
{
    if (m_pid > 0) {
        (void)kill(m_pid, SIGKILL);
        (void)TEMP_FAILURE_RETRY(waitpid(m_pid, nullptr, 0));
    }
}

void running_tool::fail(const std::string &what) const
{
    std::ostringstream text;
    text << m_name << ' ' << what << "; it has said\n" << m_said;
    throw std::runtime_error(text.str());
}

// What has come on one descriptor; nothing more will when it closes.
static void read_from(descriptor &from, std::string &to)
{
    char room[4096];
    const ssize_t count = ::read(from.get(), room, sizeof(room));
    if (count > 0) {
        to.append(room, static_cast<std::size_t>(count));
    } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
        from.reset();
    }
}

// False when nothing more can come.
bool running_tool::read_some(int wait_ms)
{
    pollfd ends[] = {{m_out.get(), POLLIN, 0}, {m_err.get(), POLLIN, 0}};
    if (!m_out && !m_err) {
        return false;
    }
    if (poll(ends, std::size(ends), wait_ms) > 0) {
        if (ends[0].revents != 0) {
            read_from(m_out, m_said.out);
        }
        if (ends[1].revents != 0) {
            read_from(m_err, m_said.err);
        }
    }
    return true;
}

// What it says meanwhile is taken, so that it is never kept from reading.
void running_tool::write(const std::string &text, deadline limit)
{
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = ::write(m_in.get(), text.data() + done, text.size() - done);
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (count < 0 && errno != EAGAIN && errno != EINTR) {
            return; // it has ended, or reads no more: what it said tells
        } else if (limit.passed()) {
            fail("takes no input");
        } else {
            (void)read_some(k_look_ms);
        }
    }
}

void running_tool::end_input()
{
    if (m_at_terminal) {
        write("\004");
    } else {
        m_in.reset();
    }
}

void running_tool::signal(int number) const
{
    if (m_pid <= 0 || kill(m_pid, number) != 0) {
        fail("is no more to be signalled");
    }
}

void running_tool::resize(unsigned short lines, unsigned short columns) const
{
    const winsize size = {lines, columns, 0, 0};
    if (ioctl(m_out.get(), TIOCSWINSZ, &size) != 0) {
        fail("has no terminal to be resized");
    }
}

static bool find_behind(const std::string &said, const std::string &text, std::size_t &seen)
{
    const std::size_t at = said.find(text, seen);
    seen = at == std::string::npos ? seen : at + text.size();
    return at != std::string::npos;
}

void running_tool::wait_for(const std::string &text, deadline limit)
{
    while (!find_behind(m_said.out, text, m_seen_out) && !find_behind(m_said.err, text, m_seen_err)) {
        if (limit.passed() || !read_some(limit.left_ms())) {
            fail("has not said \"" + text + "\"");
        }
    }
}

void running_tool::wait_for_prompt(const std::string &prompt, deadline limit)
{
    wait_for(prompt, limit);
    const auto reads_keys = [this] {
        termios settings = {};
        return tcgetattr(m_in.get(), &settings) == 0 && (settings.c_lflag & ICANON) == 0;
    };
    emulator::wait_until("the editor of lines to read keys", reads_keys, limit);
}

outcome running_tool::wait(deadline limit)
{
    while (read_some(limit.left_ms())) {
        if (limit.passed()) {
            fail("has not ended");
        }
    }
    int status = 0;
    pid_t ended = 0;
    while ((ended = waitpid(m_pid, &status, WNOHANG)) == 0 || (ended < 0 && errno == EINTR)) {
        if (limit.passed()) {
            fail("has not ended, but closed its output");
        }
        (void)poll(nullptr, 0, k_look_ms);
    }
    m_pid = -1;
    m_said.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return m_said;
}

// --- the surrounding

static fs::path bin_folder()
{
    return fs::read_symlink("/proc/self/exe").parent_path();
}

tool_runner::tool_runner()
{
    (void)signal(SIGPIPE, SIG_IGN); // what is written to a program that has ended is lost, and no more
    for (const char *kept : {"TMPDIR", "ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
        const char *value = getenv(kept);
        m_environment[kept] = value == nullptr ? "" : value;
    }
    m_environment["PATH"] = bin_folder().string() + ":/usr/local/bin:/usr/bin:/bin:/usr/local/sbin:/usr/sbin:/sbin";
    m_environment["HOME"] = folder();
    m_environment["XDG_RUNTIME_DIR"] = folder();
    m_environment["TERM"] = "xterm";
    m_environment["LC_ALL"] = "C.UTF-8";
    watch_over();
}

tool_runner::~tool_runner()
{
    try {
        down_all();
        (void)!::write(m_watchman.get(), &k_at_ease, 1);
    } catch (const std::exception &error) {
        (void)fprintf(stderr, "handsets may still be up: %s\n", error.what());
    }
}

std::vector<std::string> tool_runner::environment_with(const variables &more) const
{
    variables all = m_environment;
    for (const auto &[name, value] : more) {
        all[name] = value;
    }
    std::vector<std::string> lines;
    for (const auto &[name, value] : all) {
        if (!value.empty()) {
            lines.push_back(name + "=" + value);
        }
    }
    return lines;
}

// As exec takes it; the strings stay the caller's.
static std::vector<char *> pointers_to(std::vector<std::string> &strings)
{
    std::vector<char *> pointers;
    for (std::string &each : strings) {
        pointers.push_back(each.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

// A test that is killed leaves nobody to take its handsets down. A process that is not the test's child, and so is not
// killed with it, waits for that.
void tool_runner::watch_over()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        fail_system("cannot make a pipe for the watchman");
    }
    const descriptor listening(ends[0]);
    m_watchman.reset(ends[1]);
    command_words words = {(bin_folder() / "handset").string(), "down", "--all"};
    std::vector<std::string> environment = environment_with({});
    const std::vector<char *> argv = pointers_to(words);
    const std::vector<char *> envp = pointers_to(environment);
    const pid_t first = fork();
    if (first == 0) {
        if (fork() != 0) {
            _exit(0);
        }
        (void)setsid();
        (void)close(ends[1]);
        const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            (void)dup2(nothing, stream);
        }
        char told = 0;
        if (TEMP_FAILURE_RETRY(read(ends[0], &told, 1)) == 0) {
            (void)execve(argv[0], argv.data(), envp.data());
        }
        _exit(0);
    }
    (void)TEMP_FAILURE_RETRY(waitpid(first, nullptr, 0));
}

namespace {

// The ends of a program's streams: its own, and those of the test.
struct streams {
    descriptor its_in, its_out, its_err;
    descriptor in, out, err;
};

} // namespace

static void connect(descriptor &reads, descriptor &writes)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        fail_system("cannot make a pipe");
    }
    reads.reset(ends[0]);
    writes.reset(ends[1]);
}

static streams pipes()
{
    streams all;
    connect(all.its_in, all.in);
    connect(all.out, all.its_out);
    connect(all.err, all.its_err);
    return all;
}

static streams terminal()
{
    streams all;
    all.out.reset(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    char name[64];
    if (!all.out || unlockpt(all.out.get()) != 0 || ptsname_r(all.out.get(), name, sizeof(name)) != 0) {
        fail_system("cannot make a terminal");
    }
    const winsize size = {24, 200, 0, 0};
    (void)ioctl(all.out.get(), TIOCSWINSZ, &size);
    all.in.reset(fcntl(all.out.get(), F_DUPFD_CLOEXEC, 0));
    all.its_in.reset(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
    all.its_out.reset(fcntl(all.its_in.get(), F_DUPFD_CLOEXEC, 0));
    all.its_err.reset(fcntl(all.its_in.get(), F_DUPFD_CLOEXEC, 0));
    return all;
}

[[noreturn]] static void become(const streams &all, bool at_terminal, char *const *argv, char *const *envp)
{
    (void)signal(SIGPIPE, SIG_DFL);
    (void)setsid();
    (void)prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that runs out of time takes it along
    if (at_terminal) {
        (void)ioctl(all.its_in.get(), TIOCSCTTY, 0);
    }
    (void)dup2(all.its_in.get(), STDIN_FILENO);
    (void)dup2(all.its_out.get(), STDOUT_FILENO);
    (void)dup2(all.its_err.get(), STDERR_FILENO);
    (void)execvpe(argv[0], argv, envp);
    _exit(127);
}

running_tool tool_runner::launch(const command_words &words, const variables &more, bool at_terminal) const
{
    command_words own = words;
    const fs::path built = bin_folder() / words.at(0);
    if (words[0].find('/') == std::string::npos && fs::exists(built)) {
        own[0] = built;
    }
    std::vector<std::string> environment = environment_with(more);
    const std::vector<char *> argv = pointers_to(own);
    const std::vector<char *> envp = pointers_to(environment);
    streams all = at_terminal ? terminal() : pipes();
    running_tool started;
    started.m_name = words[0];
    started.m_at_terminal = at_terminal;
    started.m_pid = fork();
    if (started.m_pid == 0) {
        become(all, at_terminal, argv.data(), envp.data());
    }
    if (started.m_pid < 0) {
        fail_system("cannot start a process");
    }
    started.m_in = std::move(all.in);
    started.m_out = std::move(all.out);
    started.m_err = std::move(all.err);
    (void)fcntl(started.m_in.get(), F_SETFL, O_NONBLOCK);
    return started;
}

running_tool tool_runner::start(const command_words &words, const variables &more) const
{
    return launch(words, more, false);
}

running_tool tool_runner::start_at_terminal(const command_words &words, const variables &more) const
{
    return launch(words, more, true);
}

outcome tool_runner::run(const command_words &words, const std::string &input, const variables &more) const
{
    running_tool started = start(words, more);
    started.write(input);
    started.end_input();
    return started.wait();
}

// --- handsets

std::string tool_runner::up(const std::string &name, const command_words &more) const
{
    command_words words = {"handset", "up", "--name", name};
    words.insert(words.end(), more.begin(), more.end());
    const outcome come = run(words);
    if (come.status != 0) {
        throw std::runtime_error("no handset came up: " + come.err);
    }
    return come.out.substr(0, come.out.find('\n'));
}

void tool_runner::down_all() const
{
    const outcome come = run({"handset", "down", "--all"});
    if (come.status != 0) {
        throw std::runtime_error("no handset went down: " + come.err);
    }
}

std::string tool_runner::handset_folder(const std::string &name) const
{
    return folder() + "/kv-zep-amt/" + name;
}

std::string tool_runner::path_inside(const std::string &name, const std::string &path) const
{
    return handset_folder(name) + "/root" + path;
}

std::vector<std::string> tool_runner::calls(const std::string &name) const
{
    std::istringstream content(read_whole_file(path_inside(name, "/handset/calls")));
    std::vector<std::string> lines;
    for (std::string line; std::getline(content, line);) {
        lines.push_back(line);
    }
    return lines;
}

void tool_runner::forget_calls(const std::string &name) const
{
    fs::resize_file(path_inside(name, "/handset/calls"), 0);
}
