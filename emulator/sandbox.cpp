// Starting bubblewrap, see sandbox.h. Programs inside get their identity and lose their capabilities in handset-init;
// here process 1 gets just the two it needs over the sandbox's own namespaces (mounts and device events, and mapping
// the identity), none over this machine.

#include "emulator/sandbox.h"

#include "emulator/deadline.h"
#include "emulator/init/foreign.h"
#include "emulator/messages.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <csignal>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace emulator {

constexpr std::chrono::seconds k_boot_wait{60};

// The number under which process 1 finds its end of the line.
constexpr int k_line_inside = 3;

static void add(std::vector<std::string> &to, std::initializer_list<std::string> more)
{
    to.insert(to.end(), more);
}

// A system's /lib is a link into /usr or a folder of its own; inside it is the same.
static void add_system_folder(std::vector<std::string> &to, const std::string &folder)
{
    std::error_code ignored;
    if (std::filesystem::is_directory(std::filesystem::symlink_status(folder, ignored))) {
        add(to, {"--ro-bind", folder, folder});
    }
}

static std::vector<std::string> command_line(const sandbox_paths &paths)
{
    const std::string root = paths.root;
    std::vector<std::string> line = {"bwrap"};
    add(line, {"--unshare-user", "--uid", "0", "--gid", "0"});
    add(line, {"--unshare-pid", "--unshare-ipc", "--unshare-uts", "--unshare-net", "--hostname", "handset"});
    add(line, {"--bind", root, "/", "--ro-bind", "/usr", "/usr"});
    for (const char *folder : {"/lib", "/lib32", "/lib64", "/libx32"}) {
        add_system_folder(line, folder);
    }
    add(line, {"--ro-bind-try", "/etc/alternatives", "/etc/alternatives"});
    add(line, {"--proc", "/proc", "--bind", root + "/proc/driver", "/proc/driver"});
    add(line, {"--dev", "/dev", "--bind", root + "/dev/__properties__", "/dev/__properties__"});
    add(line, {"--ro-bind", paths.init, k_init_inside, "--ro-bind", paths.preload, k_preload_inside});
    if (!paths.runner.empty()) {
        add(line, {"--ro-bind", paths.runner, k_runner_inside});
        add(line, {"--ro-bind", paths.runner_preload, std::string(k_runner_root) + k_preload_inside});
    }
    add(line, {"--cap-drop", "ALL", "--cap-add", "CAP_SYS_ADMIN", "--cap-add", "CAP_SETFCAP"});
    add(line, {"--as-pid-1", "--chdir", "/", k_init_inside, std::to_string(k_line_inside)});
    return line;
}

struct spawn_settings {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;

    spawn_settings()
    {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
    }
    ~spawn_settings()
    {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    spawn_settings(const spawn_settings &) = delete;
    spawn_settings &operator=(const spawn_settings &) = delete;
};

// bubblewrap gets a process group of its own, so that the terminal's interrupt reaches the caller alone, whose end then
// ends the sandbox in order.
static pid_t spawn_bwrap(std::vector<std::string> line, int line_inside, int errors)
{
    std::vector<char *> arguments;
    arguments.reserve(line.size() + 1);
    for (std::string &argument : line) {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    spawn_settings settings;
    posix_spawn_file_actions_addopen(&settings.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&settings.actions, errors, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&settings.actions, errors, STDERR_FILENO);
    posix_spawn_file_actions_adddup2(&settings.actions, line_inside, k_line_inside);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&settings.attributes, &none);
    posix_spawnattr_setsigdefault(&settings.attributes, &all);
    posix_spawnattr_setflags(&settings.attributes,
                             POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, "bwrap", &settings.actions, &settings.attributes, arguments.data(), environ);
    if (error == ENOENT) {
        throw std::runtime_error(
            "bwrap is not installed, the emulated handset needs it: install the package bubblewrap");
    }
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot start bwrap for the emulated handset");
    }
    return pid;
}

static void require_file(const std::filesystem::path &path, const std::string &what)
{
    if (!std::filesystem::exists(path)) {
        throw std::runtime_error(path.string() + ": no such file; build the target " + what +
                                 " or say in handset_options where it is");
    }
}

sandbox::sandbox(const sandbox_paths &paths)
{
    require_file(paths.init, "handset-init");
    require_file(paths.preload, "handset-preload");
    start(paths);
    await_hello();
}

// Returns with this side's copies of the inner ends closed, so that the end of process 1 ends the line.
void sandbox::start(const sandbox_paths &paths)
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make the line to the sandbox");
    }
    m_line.reset(ends[0]);
    const descriptor line_inside(ends[1]);
    const int on = 1;
    (void)setsockopt(ends[0], SOL_SOCKET, SO_PASSCRED, &on, sizeof(on)); // the hello then tells the sender's number
    int errors[2];
    if (pipe2(errors, O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pipe for the sandbox");
    }
    m_errors.reset(errors[0]);
    const descriptor errors_inside(errors[1]);
    m_bwrap = spawn_bwrap(command_line(paths), line_inside.get(), errors_inside.get());
}

void sandbox::await_hello()
{
    const deadline limit = k_boot_wait;
    pollfd line = {m_line.get(), POLLIN, 0};
    message hello;
    if (TEMP_FAILURE_RETRY(poll(&line, 1, limit.left_ms())) <= 0) {
        fail("the sandbox does not come up");
    }
    if (!receive_message(m_line.get(), hello) || hello.fields.size() != 3 || hello.fields[0] != "hello") {
        fail("bwrap cannot set the sandbox up");
    }
    if (hello.fields[1] != "0") {
        const std::string reason = std::generic_category().message(number_in(hello.fields[1]));
        fail("process 1 of the sandbox cannot begin: " + hello.fields[2] + ": " + reason);
    }
    m_init_pid = hello.sender;
}

static std::string all_of(const descriptor &pipe)
{
    std::string text;
    char bytes[1024];
    for (ssize_t count = 0; (count = TEMP_FAILURE_RETRY(read(pipe.get(), bytes, sizeof(bytes)))) > 0;) {
        text.append(bytes, static_cast<std::size_t>(count));
    }
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

void sandbox::fail(const std::string &step)
{
    m_line.reset();
    reap();
    throw std::runtime_error(step + " (" + all_of(m_errors) + "); user namespaces must be allowed on this machine: " +
                             "look at user.max_user_namespaces, and where they exist at " +
                             "kernel.unprivileged_userns_clone and kernel.apparmor_restrict_unprivileged_userns; a " +
                             "container has to be a privileged one");
}

// bubblewrap ends when process 1 has, and that is after everything else inside.
void sandbox::reap()
{
    const descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, m_bwrap, 0)));
    pollfd ended = {handle.get(), POLLIN, 0};
    const deadline limit = k_boot_wait;
    if (handle && TEMP_FAILURE_RETRY(poll(&ended, 1, limit.left_ms())) == 0) {
        (void)kill(m_bwrap, SIGKILL); // stuck: better a kernel that cleans up later than a test that never ends
    }
    (void)TEMP_FAILURE_RETRY(waitpid(m_bwrap, nullptr, 0));
}

sandbox::~sandbox()
{
    m_line.reset();
    reap();
}

} // namespace emulator
