// The verb shell: a command with this program's own streams, or a shell at a tty inside, whose far end is tied to this
// terminal.

#include "emulator/tool/control.h"
#include "emulator/tool/verbs.h"
#include "tool/failure.h"
#include "tool/program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <csignal>
#include <cstdlib>

namespace handset_tool {

using emulator::descriptor;
using tool::exit_code;
using tool::failure;

constexpr std::chrono::hours k_as_long_as_it_takes{24 * 365};
constexpr int k_look_ms = 20; // while nobody has the tty open the kernel reports a hang-up at once, always

static volatile std::sig_atomic_t g_resized = 0;

static void note_resize(int)
{
    g_resized = 1;
}

namespace {

// The terminal passes everything on as it is typed, until this goes.
class raw_terminal {
  public:
    raw_terminal()
    {
        (void)tcgetattr(STDIN_FILENO, &m_before);
        termios raw = m_before;
        cfmakeraw(&raw);
        (void)tcsetattr(STDIN_FILENO, TCSADRAIN, &raw);
    }
    ~raw_terminal() { (void)tcsetattr(STDIN_FILENO, TCSADRAIN, &m_before); }
    raw_terminal(const raw_terminal &) = delete;
    raw_terminal &operator=(const raw_terminal &) = delete;

  private:
    termios m_before = {};
};

} // namespace

static std::string variable(const char *key, const char *missing)
{
    const char *value = getenv(key); // NOLINT(concurrency-mt-unsafe): nothing here sets variables
    return value != nullptr ? value : missing;
}

static void pass_size_on(int master)
{
    winsize size = {};
    if (ioctl(STDIN_FILENO, TIOCGWINSZ, &size) == 0) {
        (void)ioctl(master, TIOCSWINSZ, &size);
    }
}

static void write_all(int fd, const char *bytes, std::size_t count)
{
    while (count > 0) {
        const ssize_t written = write(fd, bytes, count);
        if (written > 0) {
            bytes += written;
            count -= static_cast<std::size_t>(written);
        } else if (errno == EAGAIN) {
            pollfd end = {fd, POLLOUT, 0};
            (void)poll(&end, 1, k_look_ms);
        } else if (errno != EINTR) {
            return;
        }
    }
}

// Whether anything could be taken from one to the other.
static bool pass_on(int from, int to)
{
    char bytes[4096];
    const ssize_t count = read(from, bytes, sizeof(bytes));
    if (count > 0) {
        write_all(to, bytes, static_cast<std::size_t>(count));
    }
    return count > 0;
}

// One round between the terminal and the shell's tty; true when the shell has ended.
static bool exchange(int master, int connection, bool &typed_all, bool &nobody_there)
{
    pollfd ends[] = {
        {connection, POLLIN, 0}, {nobody_there ? -1 : master, POLLIN, 0}, {typed_all ? -1 : STDIN_FILENO, POLLIN, 0}};
    (void)poll(ends, std::size(ends), nobody_there ? k_look_ms : 500);
    if (g_resized != 0) {
        g_resized = 0;
        pass_size_on(master);
    }
    if (ends[1].revents != 0 || nobody_there) {
        nobody_there = !pass_on(master, STDOUT_FILENO);
    }
    if (ends[2].revents != 0) {
        typed_all = !pass_on(STDIN_FILENO, master);
    }
    return ends[0].revents != 0 || tool::interrupted();
}

static int end_of(int connection)
{
    const std::optional<received_line> end = receive_line(connection, k_as_long_as_it_takes);
    if (!end) {
        throw failure(exit_code::no_device, "the handset went down meanwhile");
    }
    check_answer(end->content);
    return end->content.value("exit", static_cast<int>(exit_code::malformed));
}

static int at_terminal(const descriptor &connection, json request)
{
    request["tty"] = true;
    const bool sent = send_line(connection.get(), request);
    std::optional<received_line> made = sent ? receive_line(connection.get(), k_answer_wait) : std::nullopt;
    if (!made) {
        throw failure(exit_code::no_device, "the handset went down meanwhile");
    }
    check_answer(made->content);
    if (made->descriptors.empty()) {
        throw failure(exit_code::malformed, "the keeper has sent no tty");
    }
    const descriptor master = std::move(made->descriptors[0]);
    pass_size_on(master.get());
    struct sigaction resized = {};
    resized.sa_handler = note_resize;
    (void)sigaction(SIGWINCH, &resized, nullptr);
    const raw_terminal raw;
    bool typed_all = false;
    bool nobody_there = true; // yet
    while (!exchange(master.get(), connection.get(), typed_all, nobody_there)) {
    }
    while (pass_on(master.get(), STDOUT_FILENO)) { // its last words
    }
    tool::check_interrupted();
    return end_of(connection.get());
}

int shell(const std::string &name, const std::vector<std::string> &command)
{
    json words = json::array();
    for (const std::string &word : command) {
        words.push_back(to_digits(word));
    }
    const descriptor connection = require_handset(name);
    const json request = {{"verb", "shell"}, {"words", words}, {"term", variable("TERM", "dumb")}, {"prompt", name}};
    if (command.empty() && isatty(STDIN_FILENO) != 0) {
        return at_terminal(connection, request);
    }
    if (!send_line(connection.get(), request, {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})) {
        throw failure(exit_code::no_device, "the handset went down meanwhile");
    }
    return end_of(connection.get());
}

} // namespace handset_tool
