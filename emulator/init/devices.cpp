// Ttys, memory cards and device events, see devices.h.

#include "emulator/init/devices.h"

#include <fcntl.h>
#include <linux/netlink.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <termios.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace emulator {

static outcome failed(const char *step)
{
    return {errno, step, {}};
}

static bool set_raw(int master)
{
    termios attributes = {};
    if (tcgetattr(master, &attributes) != 0) {
        return false;
    }
    cfmakeraw(&attributes);
    return tcsetattr(master, TCSANOW, &attributes) == 0;
}

bool make_proc_read_only()
{
    constexpr unsigned long as_mounted = MS_NOSUID | MS_NODEV | MS_NOEXEC;
    return mount(nullptr, "/proc", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY | as_mounted, nullptr) == 0;
}

// Opens the slave once: only then does the master report a hang-up while nobody has the device open, which is how its
// owner tells whether somebody has.
static bool open_once(const char *slave)
{
    return static_cast<bool>(descriptor(open(slave, O_RDWR | O_NOCTTY | O_CLOEXEC)));
}

// Puts the link in place of whatever is there in one step, so that a program waiting for the device never finds a hole.
static bool replace_link(const std::string &path, const char *target)
{
    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
    const std::string fresh = path + ".new";
    (void)unlink(fresh.c_str());
    return symlink(target, fresh.c_str()) == 0 && rename(fresh.c_str(), path.c_str()) == 0;
}

outcome open_tty(const std::string &path, bool raw)
{
    descriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!master) {
        return failed("open /dev/ptmx");
    }
    char slave[64];
    if (unlockpt(master.get()) != 0 || ptsname_r(master.get(), slave, sizeof(slave)) != 0) {
        return failed("unlock the pseudo-terminal");
    }
    if (raw && !set_raw(master.get())) {
        return failed("set the line discipline");
    }
    if (!open_once(slave)) {
        return failed("open the slave");
    }
    if (!replace_link(path, slave)) {
        return failed("link");
    }
    return {0, slave, std::move(master)};
}

outcome open_path(const std::string &path, int flags)
{
    descriptor file(open(path.c_str(), flags | O_NOCTTY | O_CLOEXEC, 0666));
    return file ? outcome{0, "", std::move(file)} : failed("open");
}

outcome remove_path(const std::string &path)
{
    return unlink(path.c_str()) == 0 ? outcome{} : failed("unlink");
}

outcome mount_card(const std::string &folder, const std::string &size_kib)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    const std::string options = "mode=0775,size=" + size_kib + "k";
    return mount("tmpfs", folder.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, options.c_str()) == 0 ? outcome{}
                                                                                               : failed("mount");
}

outcome unmount_card(const std::string &folder)
{
    return umount2(folder.c_str(), MNT_DETACH) == 0 ? outcome{} : failed("unmount");
}

static std::vector<char> uevent_message(const std::vector<std::string> &texts)
{
    std::string body;
    for (const std::string &text : texts) {
        body.append(text.c_str(), text.size() + 1);
    }
    nlmsghdr header = {};
    header.nlmsg_len = static_cast<unsigned>(NLMSG_LENGTH(body.size()));
    header.nlmsg_type = NLMSG_MIN_TYPE; // any type above the reserved ones; listeners never see this header
    header.nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
    std::vector<char> bytes(NLMSG_SPACE(body.size()));
    memcpy(bytes.data(), &header, sizeof(header));
    memcpy(bytes.data() + NLMSG_HDRLEN, body.data(), body.size());
    return bytes;
}

// The kernel has dealt with a message when sending it returns; its acknowledgement says how.
static outcome read_acknowledgement(int socket)
{
    struct {
        nlmsghdr header;
        nlmsgerr result;
        char quoted[4096];
    } reply = {};
    const ssize_t count = TEMP_FAILURE_RETRY(recv(socket, &reply, sizeof(reply), MSG_DONTWAIT));
    if (count < 0) {
        return failed("no acknowledgement");
    }
    if (reply.header.nlmsg_type != NLMSG_ERROR) {
        return {EPROTO, "acknowledgement", {}};
    }
    return {-reply.result.error, reply.result.error != 0 ? "refused by the kernel" : "", {}};
}

outcome send_uevent(const std::vector<std::string> &texts)
{
    const descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT));
    if (!socket) {
        return failed("socket");
    }
    sockaddr_nl kernel = {};
    kernel.nl_family = AF_NETLINK;
    const std::vector<char> bytes = uevent_message(texts);
    if (sendto(socket.get(), bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>(&kernel), sizeof(kernel)) <
        0) {
        return failed("send");
    }
    return read_acknowledgement(socket.get());
}

} // namespace emulator
