// The ways to fail, see kinds.h.

#include "tests/faults/sweep/kinds.h"

#include <cerrno>
#include <stdexcept>

namespace faults {

namespace {

// clang-format off
constexpr kind k_kinds[] = {
    // name        effect                  errno         others that fail, when it lasts
    {"EACCES",     fault_effect::error,    EACCES,       fault_reach::target},
    {"EADDRINUSE", fault_effect::error,    EADDRINUSE,   fault_reach::target},
    {"EAGAIN",     fault_effect::error,    EAGAIN,       fault_reach::target},
    {"ECHILD",     fault_effect::error,    ECHILD,       fault_reach::all},
    {"EEXIST",     fault_effect::error,    EEXIST,       fault_reach::target},
    {"EINTR",      fault_effect::error,    EINTR,        fault_reach::target},
    {"EINVAL",     fault_effect::error,    EINVAL,       fault_reach::target},
    {"EIO",        fault_effect::error,    EIO,          fault_reach::target},
    {"EMFILE",     fault_effect::error,    EMFILE,       fault_reach::all},
    {"ENODEV",     fault_effect::error,    ENODEV,       fault_reach::target},
    {"ENOENT",     fault_effect::error,    ENOENT,       fault_reach::target},
    {"ENOMEM",     fault_effect::error,    ENOMEM,       fault_reach::all},
    {"ENOSPC",     fault_effect::error,    ENOSPC,       fault_reach::disk},
    {"EPERM",      fault_effect::error,    EPERM,        fault_reach::target},
    {"EROFS",      fault_effect::error,    EROFS,        fault_reach::disk},
    {"ETIMEDOUT",  fault_effect::error,    ETIMEDOUT,    fault_reach::target},
    {"one-byte",   fault_effect::one_byte, 0,            fault_reach::target},
    {"half",       fault_effect::half,     0,            fault_reach::target},
    {"nothing",    fault_effect::nothing,  0,            fault_reach::target},
};

struct row {
    fault_function function;
    const char *kinds;
};

constexpr row k_rows[] = {
    {fault_function::access,             "EACCES ENOENT EIO"},
    {fault_function::bind,               "EADDRINUSE EACCES"},
    {fault_function::calloc,             "ENOMEM"},
    {fault_function::cfsetispeed,        "EINVAL"},
    {fault_function::cfsetospeed,        "EINVAL"},
    {fault_function::chmod,              "EPERM EIO"},
    {fault_function::chown,              "EPERM EIO"},
    {fault_function::close,              "EINTR EIO ENOSPC"},
    {fault_function::dlopen,             "ENOENT"},
    {fault_function::dup2,               "EMFILE EINTR"},
    {fault_function::execl,              "ENOENT EACCES ENOMEM"},
    {fault_function::fchmod,             "EPERM EROFS"},
    {fault_function::fclose,             "EIO ENOSPC"},
    {fault_function::fcntl,              "EINVAL EACCES"},
    {fault_function::fdopen,             "ENOMEM"},
    {fault_function::fflush,             "EIO ENOSPC"},
    {fault_function::fgets,              "EIO EINTR ENODEV"},
    {fault_function::fork,               "EAGAIN ENOMEM"},
    {fault_function::fprintf,            "EIO ENOSPC"},
    {fault_function::fputs,              "EIO ENOSPC"},
    {fault_function::fscanf,             "EIO EINTR ENODEV"},
    {fault_function::fstat,              "EIO ENOMEM"},
    {fault_function::ftruncate,          "EIO EINVAL EROFS"},
    {fault_function::fwrite,             "EIO ENOSPC"},
    {fault_function::grantpt,            "EACCES"},
    {fault_function::ioctl,              "EINTR EIO ENODEV"},
    {fault_function::lseek,              "EINVAL EIO"},
    {fault_function::lstat,              "ENOENT EACCES"},
    {fault_function::malloc,             "ENOMEM"},
    {fault_function::mkdir,              "EACCES ENOSPC EROFS"},
    {fault_function::mmap,               "ENOMEM ENODEV"},
    {fault_function::nanosleep,          "EINTR"},
    {fault_function::open,               "EINTR EIO EACCES ENOENT EMFILE ENODEV ENOSPC EROFS"},
    {fault_function::poll,               "EINTR ENOMEM"},
    {fault_function::property_set,       "EIO"},
    {fault_function::pthread_create,     "EAGAIN ENOMEM"},
    {fault_function::ptsname,            "EIO"},
    {fault_function::pwrite,             "EINTR EIO ENOSPC EAGAIN one-byte half nothing"},
    {fault_function::read,               "EINTR EIO EAGAIN ENODEV one-byte half nothing"},
    {fault_function::sched_setscheduler, "EPERM"},
    {fault_function::select,             "EINTR ENOMEM"},
    {fault_function::sem_timedwait,      "EINTR ETIMEDOUT"},
    {fault_function::sem_wait,           "EINTR"},
    {fault_function::setsockopt,         "EPERM"},
    {fault_function::socket,             "EMFILE EACCES"},
    {fault_function::stat,               "ENOENT EACCES"},
    {fault_function::statfs,             "EIO"},
    {fault_function::symlink,            "EEXIST EACCES ENOSPC"},
    {fault_function::tcgetattr,          "EIO EINTR"},
    {fault_function::tcsetattr,          "EIO EINTR"},
    {fault_function::timer_create,       "EAGAIN ENOMEM"},
    {fault_function::timer_settime,      "EINVAL"},
    {fault_function::unlink,             "ENOENT EACCES EIO"},
    {fault_function::unlockpt,           "EIO"},
    {fault_function::waitpid,            "EINTR ECHILD"},
    {fault_function::write,              "EINTR EIO ENOSPC EAGAIN ENODEV one-byte half nothing"},
};
// clang-format on
static_assert(sizeof(k_rows) / sizeof(k_rows[0]) == k_fault_function_count, "every function can fail");

bool begins(std::string_view text, std::string_view beginning)
{
    return text.substr(0, beginning.size()) == beginning;
}

bool suits(const kind &how, fault_function function, std::string_view target)
{
    switch (how.error) {
    case ENODEV: // a driver without its hardware
        return function == fault_function::mmap || is_line(target);
    case ENOSPC:
    case EROFS:
        return !is_line(target) && !begins(target, "/system/"); // only a disk that is written to can be full
    default:
        return true;
    }
}

} // namespace

bool is_telling(std::string_view target)
{
    return target.find("-log/") != std::string_view::npos || begins(target, "pipe:");
}

bool is_line(std::string_view target)
{
    return begins(target, "/dev/") || begins(target, "/proc/") || begins(target, "/sys/") || begins(target, "pipe:") ||
           begins(target, "socket:");
}

const kind *kind_named(std::string_view name)
{
    for (const kind &how : k_kinds) {
        if (name == how.name) {
            return &how;
        }
    }
    throw std::runtime_error("no fault is called " + std::string(name));
}

std::vector<const kind *> kinds_for(fault_function function, std::string_view target)
{
    std::vector<const kind *> result;
    for (const row &of : k_rows) {
        std::string_view names = of.function == function ? of.kinds : "";
        while (!names.empty()) {
            const std::size_t end = names.find(' ');
            const kind *how = kind_named(names.substr(0, end));
            names.remove_prefix(end == std::string_view::npos ? names.size() : end + 1);
            if (suits(*how, function, target)) {
                result.push_back(how);
            }
        }
    }
    return result;
}

} // namespace faults
