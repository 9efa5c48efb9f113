// Opening and locking, see port.h.

#include "station/port.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace station {

namespace fs = std::filesystem;

static std::string name_of_process(const std::string &pid)
{
    std::ifstream file("/proc/" + pid + "/comm");
    std::string name;
    std::getline(file, name);
    return "process " + pid + (name.empty() ? "" : " (" + name + ")");
}

// From the kernel's table of locks: "1: FLOCK  ADVISORY  WRITE 4711 00:18:5 0 EOF", with the device in hexadecimal.
static std::string holder_of_lock(const struct stat &tty)
{
    std::ostringstream wanted;
    wanted << std::hex;
    wanted.fill('0');
    wanted.width(2);
    wanted << major(tty.st_dev) << ':';
    wanted.width(2);
    wanted << minor(tty.st_dev) << ':' << std::dec << tty.st_ino;
    std::ifstream table("/proc/locks");
    for (std::string line; std::getline(table, line);) {
        std::istringstream columns(line);
        std::string number, kind, how, mode, pid, file;
        if (columns >> number >> kind >> how >> mode >> pid >> file && kind == "FLOCK" && file == wanted.str()) {
            return name_of_process(pid);
        }
    }
    return "";
}

// A process that has the tty open, of those that may be looked at. Every sandbox has pseudo-terminals of the same
// numbers, in a file system of its own.
static std::string holder_of_tty(const struct stat &tty)
{
    const auto options = fs::directory_options::skip_permission_denied;
    std::error_code error;
    for (const fs::directory_entry &process : fs::directory_iterator("/proc", options, error)) {
        const std::string pid = process.path().filename();
        if (pid.find_first_not_of("0123456789") != std::string::npos || pid == std::to_string(getpid())) {
            continue;
        }
        for (const fs::directory_entry &open : fs::directory_iterator(process.path() / "fd", options, error)) {
            struct stat found = {};
            if (stat(open.path().c_str(), &found) == 0 && found.st_dev == tty.st_dev && found.st_ino == tty.st_ino) {
                return name_of_process(pid);
            }
        }
    }
    return "";
}

static std::string holder_of(const struct stat &tty)
{
    const std::string locker = holder_of_lock(tty);
    return locker.empty() ? holder_of_tty(tty) : locker;
}

[[noreturn]] static void refuse_busy(const std::string &name, const std::string &holder)
{
    throw no_port(name + " is busy: " + (holder.empty() ? "another program" : holder) +
                      " has it, end that or use another port",
                  false);
}

[[noreturn]] static void refuse(const std::string &path, const std::string &name, int error)
{
    struct stat found = {};
    switch (error) {
    case ENOENT:
    case ENXIO:
    case ENODEV:
    case EIO: // of a pseudo-terminal whose other end is gone
        throw no_port(name + ": no handset is there; see whether it is connected and in test mode", true);
    case EACCES:
    case EPERM:
        throw no_port(name + ": no permission; join the group that owns it (often dialout), or run as root", false);
    case EBUSY:
        refuse_busy(name, stat(path.c_str(), &found) == 0 ? holder_of(found) : "");
    default:
        throw no_port(name + ": " + std::generic_category().message(error), false);
    }
}

static bool is_pseudo_terminal(const struct stat &tty)
{
    constexpr unsigned k_first_major = 136;
    constexpr unsigned k_last_major = 143;
    return major(tty.st_rdev) >= k_first_major && major(tty.st_rdev) <= k_last_major;
}

// Other programs are kept out by two means: this program's like by the lock, and all others but those of root by the
// tty itself. The latter holds until nobody has the tty open, which of a pseudo-terminal may be long after this
// program.
static void lock(const std::string &name, int tty)
{
    struct stat found = {};
    (void)fstat(tty, &found);
    if (flock(tty, LOCK_EX | LOCK_NB) != 0) {
        refuse_busy(name, holder_of_lock(found));
    }
    if (!is_pseudo_terminal(found)) {
        (void)ioctl(tty, TIOCEXCL);
    }
}

// The speed is left alone: a USB tty has none, and on a real line it is the line's.
static termios raw(termios settings)
{
    cfmakeraw(&settings);
    settings.c_cflag |= CLOCAL | CREAD;
    settings.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    return settings;
}

port::port(const std::string &path, const std::string &name)
    : m_tty(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
{
    if (m_tty < 0) {
        refuse(path, name, errno);
    }
    try {
        if (tcgetattr(m_tty, &m_before) != 0) {
            throw no_port(name + " is not a tty: give the handset's, such as /dev/ttyACM0", false);
        }
        lock(name, m_tty);
    } catch (const no_port &) {
        (void)close(m_tty);
        throw;
    }
    const termios settings = raw(m_before);
    (void)tcsetattr(m_tty, TCSANOW, &settings);
    (void)tcflush(m_tty, TCIFLUSH);
}

port::~port()
{
    (void)tcsetattr(m_tty, TCSANOW, &m_before);
    (void)ioctl(m_tty, TIOCNXCL);
    (void)close(m_tty);
}

} // namespace station
