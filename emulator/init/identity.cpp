// The identity of programs inside, see identity.h.

#include "emulator/init/identity.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>

namespace emulator {

// What a service that runs as root may do to files of whatever mode. It counts for files whose owner and group the
// programs' namespace maps, which are those of whoever runs the emulation: their modes could be changed all the same.
constexpr unsigned long k_kept = CAP_DAC_OVERRIDE;

static bool set_capabilities(unsigned low_mask, unsigned inheritable)
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
    data[0].effective = low_mask;
    data[0].permitted = low_mask;
    data[0].inheritable = inheritable;
    return prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0) == 0 && syscall(SYS_capset, &header, data) == 0;
}

bool keep_one_capability()
{
    return set_capabilities(1U << CAP_SYS_ADMIN, 0);
}

static bool write_map(const char *path, const char *map)
{
    const descriptor file(open(path, O_WRONLY | O_CLOEXEC));
    return file && write(file.get(), map, strlen(map)) == static_cast<ssize_t>(strlen(map));
}

// In a child: enters a new user namespace, reports with one byte that it is mapped, and keeps it alive until killed.
[[noreturn]] static void hold_namespace(int report)
{
    const bool mapped = unshare(CLONE_NEWUSER) == 0 && write_map("/proc/self/setgroups", "deny") &&
                        write_map("/proc/self/uid_map", "1000 0 1") && write_map("/proc/self/gid_map", "1001 0 1");
    const int error = mapped ? 0 : errno;
    if (write(report, &error, sizeof(error)) == sizeof(error)) {
        (void)pause(); // no signal is handled, so nothing but the end interrupts it
    }
    _exit(1);
}

static descriptor open_namespace_of(pid_t pid)
{
    const std::string path = "/proc/" + std::to_string(pid) + "/ns/user";
    return descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC));
}

descriptor make_identity()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return {};
    }
    const descriptor reader(ends[0]);
    descriptor writer(ends[1]);
    const pid_t holder = fork();
    if (holder < 0) {
        return {};
    }
    if (holder == 0) {
        hold_namespace(writer.get());
    }
    writer.reset();
    int error = EIO; // the child died without a word
    const bool reported = read(reader.get(), &error, sizeof(error)) == sizeof(error);
    descriptor identity = reported && error == 0 ? open_namespace_of(holder) : descriptor();
    const int open_error = errno;
    (void)kill(holder, SIGKILL);
    (void)waitpid(holder, nullptr, 0);
    errno = reported && error == 0 ? open_error : error;
    return identity;
}

static bool give_up_bounding_set()
{
    for (unsigned long capability = 0; prctl(PR_CAPBSET_READ, capability, 0, 0, 0) >= 0; ++capability) {
        if (prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0) {
            return false;
        }
    }
    return true;
}

static bool set_limits()
{
    const rlimit none = {0, 0};
    return setrlimit(RLIMIT_CORE, &none) == 0 && setrlimit(RLIMIT_RTPRIO, &none) == 0;
}

// Ambient, so that it outlives the execution of programs and of what they start. It can be made inheritable only while
// the bounding set has it, and the bounding set can be emptied only before the rest is given up.
static bool keep_modes_from_counting()
{
    constexpr unsigned mask = 1U << k_kept;
    return set_capabilities(mask | 1U << CAP_SETPCAP, mask) && give_up_bounding_set() && set_capabilities(mask, mask) &&
           prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_RAISE, k_kept, 0, 0) == 0;
}

bool take_identity(const descriptor &identity)
{
    return setns(identity.get(), CLONE_NEWUSER) == 0 && keep_modes_from_counting() && set_limits() &&
           prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
}

} // namespace emulator
