// The keeper's life, see keeper.h. The caller reserves the name: a folder with a socket that somebody listens to is a
// handset that is up; one without is what a killed keeper has left.

#include "emulator/tool/keeper.h"

#include "emulator/tool/keeper_loop.h"
#include "tool/failure.h"
#include "tool/program.h"
#include "tool/runtime_folder.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <iostream>
#include <vector>

namespace handset_tool {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using emulator::descriptor;
using tool::exit_code;
using tool::failure;

constexpr auto k_up_wait = 180s;

// Held while a name is looked at and taken, so that two do not take the same one.
static descriptor lock_names()
{
    descriptor folder(open(tool::runtime_folder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder || TEMP_FAILURE_RETRY(flock(folder.get(), LOCK_EX)) != 0) {
        throw failure(exit_code::no_device, "cannot lock " + tool::runtime_folder().string());
    }
    return folder;
}

// Folders that the service has made read-only bind this program, when it is an ordinary user's. No link is followed.
static void open_folders(const fs::path &folder)
{
    std::error_code ignored;
    fs::permissions(folder, fs::perms::owner_all, ignored);
    for (fs::directory_iterator each(folder, ignored); each != fs::directory_iterator(); each.increment(ignored)) {
        if (fs::is_directory(each->symlink_status(ignored))) {
            open_folders(each->path());
        }
    }
}

// A folder that was left; `root` may be a link to a folder that is to be kept.
static bool remove_folder(const fs::path &folder)
{
    std::error_code error;
    bool removed = fs::remove_all(folder, error) > 0;
    if (error == std::errc::permission_denied) {
        open_folders(folder);
        removed = fs::remove_all(folder, error) > 0;
    }
    if (error) {
        throw failure(exit_code::no_device, "cannot remove " + folder.string() + ": " + error.message());
    }
    return removed;
}

bool remove_remains(const std::string &name)
{
    const descriptor lock = lock_names();
    const fs::path folder = tool::handset_folder(name);
    if (connect_to(folder)) {
        throw failure(exit_code::no_device, "the handset " + name + " is being started by somebody else");
    }
    return remove_folder(folder);
}

// A handset's files in a folder of the caller's, which must not become one by mistake.
static void prepare_root(const fs::path &root)
{
    std::error_code error;
    fs::create_directories(root, error);
    if (error && error != std::errc::not_a_directory && error != std::errc::file_exists) {
        throw failure(exit_code::no_device, "cannot make " + root.string() + ": " + error.message());
    }
    const bool is_handset = fs::is_directory(root / "handset/control", error);
    if (!fs::is_directory(root, error) || (!is_handset && !fs::is_empty(root, error))) {
        throw failure(exit_code::usage, root.string() + " is neither an empty folder nor a handset's root: name one");
    }
    if (access(root.c_str(), W_OK) != 0) {
        throw failure(exit_code::no_device,
                      "cannot write in " + root.string() + ": " + std::generic_category().message(errno));
    }
}

// The handset whose files are in that folder.
static std::string holder_of(const fs::path &root)
{
    std::error_code ignored;
    for (const std::string &name : tool::handset_names()) {
        const fs::path folder = tool::runtime_folder() / name;
        if (fs::equivalent(folder / "root", root, ignored) && connect_to(folder)) {
            return "the handset " + name;
        }
    }
    return "a handset of another runtime folder";
}

// Held as long as a handset has its files there. Whatever is inside may write in the folder, so the lock is on itself.
static descriptor lock_root(const fs::path &root)
{
    descriptor folder(open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) {
        throw failure(exit_code::no_device,
                      "cannot open " + root.string() + ": " + std::generic_category().message(errno));
    }
    if (flock(folder.get(), LOCK_EX | LOCK_NB) != 0) {
        throw failure(exit_code::no_device, root.string() + " is in use by " + holder_of(root) +
                                                ": name another folder, or take that one down");
    }
    return folder;
}

// What a keeper has of its handset from the beginning.
struct reservation {
    descriptor root_lock;
    descriptor listener; // on the socket in the handset's folder
};

static reservation take_name(const up_order &order)
{
    const descriptor lock = lock_names();
    const fs::path folder = tool::handset_folder(order.name);
    if (connect_to(folder)) {
        throw failure(exit_code::no_device,
                      "the handset " + order.name + " is up already: handset down --name " + order.name + " ends it");
    }
    (void)remove_folder(folder);
    fs::create_directory(folder);
    try {
        reservation taken;
        if (order.root.empty()) {
            fs::create_directory(folder / "root");
            taken.root_lock = lock_root(folder / "root");
        } else {
            prepare_root(order.root);
            taken.root_lock = lock_root(order.root);
            fs::create_symlink(order.root, folder / "root");
        }
        taken.listener = listen_at(folder);
        return taken;
    } catch (...) {
        (void)remove_folder(folder);
        throw;
    }
}

// Away from the caller's terminal, folder and descriptors.
static void become_daemon(const fs::path &folder, std::vector<int> kept)
{
    (void)setsid();
    (void)prctl(PR_SET_NAME, "handset-keeper");
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const int log = open((folder / "keeper.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    (void)dup2(nothing, STDIN_FILENO);
    (void)dup2(log, STDOUT_FILENO);
    (void)dup2(log, STDERR_FILENO);
    std::sort(kept.begin(), kept.end());
    unsigned from = STDERR_FILENO + 1;
    for (const int fd : kept) {
        if (static_cast<unsigned>(fd) > from) {
            (void)close_range(from, static_cast<unsigned>(fd) - 1, 0);
        }
        from = static_cast<unsigned>(fd) + 1;
    }
    (void)close_range(from, ~0U, 0);
    (void)!chdir("/"); // it is there
}

[[noreturn]] static void run_keeper(const up_order &order, const reservation &taken, const descriptor &report)
{
    const fs::path folder = tool::handset_folder(order.name);
    become_daemon(folder, {taken.listener.get(), taken.root_lock.get(), report.get()});
    int status = 0;
    const auto leave = [&] {
        try {
            (void)remove_folder(folder);
        } catch (const std::exception &error) {
            std::cerr << "handset-keeper: " << error.what() << '\n';
        }
    };
    try {
        keeper_loop loop({folder, order.mode, order.plugged}, taken.listener.get());
        loop.power_on(report.get());
        (void)send_line(report.get(), loop.status());
        (void)shutdown(report.get(), SHUT_RDWR);
        loop.run();
        leave(); // before whoever waits for the end is let go
    } catch (const std::exception &error) {
        std::cerr << "handset-keeper: " << error.what() << '\n';
        leave();
        (void)send_line(report.get(), failure_answer(error));
        status = 1;
    }
    _exit(status);
}

static std::string last_line_of(const fs::path &file)
{
    std::string last;
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        last = line;
    }
    return last;
}

// Ends a keeper that is not ready, and waits until it has put everything in order.
static void end_keeper(pid_t keeper)
{
    (void)kill(keeper, SIGTERM);
    (void)TEMP_FAILURE_RETRY(waitpid(keeper, nullptr, 0));
}

static json await_report(pid_t keeper, int report, const fs::path &folder)
{
    std::optional<received_line> received;
    try {
        received = receive_line(report, k_up_wait);
    } catch (const failure &) {
        end_keeper(keeper);
        throw;
    }
    if (!received) {
        const std::string reason = last_line_of(folder / "keeper.log");
        (void)TEMP_FAILURE_RETRY(waitpid(keeper, nullptr, 0));
        (void)remove_folder(folder);
        throw failure(exit_code::refused, "the keeper ended unexpectedly" + (reason.empty() ? "" : ": " + reason));
    }
    if (received->content.contains("error")) {
        (void)TEMP_FAILURE_RETRY(waitpid(keeper, nullptr, 0)); // with its folder
    }
    check_answer(received->content);
    return received->content;
}

json start_keeper(const up_order &order)
{
    reservation taken = take_name(order);
    const fs::path folder = tool::handset_folder(order.name);
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        (void)remove_folder(folder);
        throw failure(exit_code::no_device, "cannot make a socket for the keeper's report");
    }
    const descriptor report(ends[0]);
    descriptor keepers_report(ends[1]);
    std::cout << std::flush;
    std::cerr << std::flush;
    const pid_t keeper = fork();
    if (keeper == 0) {
        run_keeper(order, taken, keepers_report);
    }
    taken = {};
    keepers_report.reset();
    if (keeper < 0) {
        (void)remove_folder(folder);
        throw failure(exit_code::no_device, "cannot start a process for the keeper");
    }
    return await_report(keeper, report.get(), folder);
}

} // namespace handset_tool
