// A program that the tests run inside the emulated handset: each command does one thing that a service does with the
// kernel or a device, and writes what came of it, one result a line, "ok" or the name of the error where there is one.

#include <fcntl.h>
#include <linux/fb.h>
#include <linux/kd.h>
#include <linux/netlink.h>
#include <linux/videodev2.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/reboot.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

// The buffer checks' form of open, which programs built with them call.
extern "C" int __open_2(const char *path, int flags);

// Writes a call's outcome and passes it on.
static int show(const char *what, int result)
{
    printf("%s %s\n", what, result >= 0 ? "ok" : strerrorname_np(errno));
    return result;
}

static int echo(char **arguments)
{
    const int fd = open(arguments[0], O_RDWR | O_NOCTTY);
    char bytes[256];
    ssize_t count = 0;
    for (long left = strtol(arguments[1], nullptr, 10); left > 0 && (count = read(fd, bytes, sizeof(bytes))) > 0;) {
        left -= count;
        if (write(fd, bytes, static_cast<size_t>(count)) != count) {
            return 1;
        }
    }
    return count > 0 ? 0 : 1;
}

// Reads until the line ends, and tells how it ended.
static int read_to_end(char **arguments)
{
    const int fd = show("open", open(arguments[0], O_RDWR | O_NOCTTY));
    fflush(stdout);
    char bytes[256];
    ssize_t count = 0;
    while ((count = read(fd, bytes, sizeof(bytes))) > 0) {
        printf("%.*s", static_cast<int>(count), bytes);
        fflush(stdout);
    }
    printf("end %s\n", count == 0 ? "of file" : strerrorname_np(errno));
    return 0;
}

// Makes a terminal of its own behind a link, and shows the first line that arrives there.
static int make_terminal(char **arguments)
{
    const int fd = posix_openpt(O_RDWR | O_NOCTTY);
    if (unlockpt(fd) != 0 || symlink(ptsname(fd), arguments[0]) != 0) {
        return 1;
    }
    printf("made\n");
    fflush(stdout);
    char byte = 0;
    while (byte != '\n' && read(fd, &byte, 1) == 1) {
        putchar(byte);
    }
    return 0;
}

static int give_away(char **arguments)
{
    show("chown", chown(arguments[0], 1000, 1001));
    return 0;
}

// Waits for one device event; tells the sender and each text.
static int hear_event(char **)
{
    const int fd = socket(AF_NETLINK, SOCK_RAW, NETLINK_KOBJECT_UEVENT);
    sockaddr_nl address = {};
    address.nl_family = AF_NETLINK;
    address.nl_pid = static_cast<unsigned>(getpid());
    address.nl_groups = 1;
    show("bind", bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof(address)));
    fflush(stdout);
    char bytes[2048];
    socklen_t size = sizeof(address);
    const ssize_t count = recvfrom(fd, bytes, sizeof(bytes), 0, reinterpret_cast<sockaddr *>(&address), &size);
    printf("from %u\n", address.nl_pid);
    for (ssize_t at = 0; at < count;
         at += static_cast<ssize_t>(strnlen(bytes + at, static_cast<size_t>(count - at))) + 1) {
        printf("%s\n", bytes + at);
    }
    return 0;
}

static int layer_request(int fd, unsigned number, int value)
{
    return ioctl(fd, _IOW('d', number, int), &value);
}

// Shows a page the way a driver of the screen does.
static int show_page(char **)
{
    const int fd = show("open", open("/dev/graphics/fb0", O_RDWR));
    fb_fix_screeninfo fixed = {};
    fb_var_screeninfo variable = {};
    show("fixed", ioctl(fd, FBIOGET_FSCREENINFO, &fixed));
    show("variable", ioctl(fd, FBIOGET_VSCREENINFO, &variable));
    printf("%ux%u %u\n", variable.xres, variable.yres, fixed.smem_len);
    void *memory = mmap(nullptr, fixed.smem_len, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (show("mmap", memory == MAP_FAILED ? -1 : 0) == 0) {
        memset(static_cast<char *>(memory) + fixed.smem_len - 4, 0x5A, 4);
    }
    variable.yoffset = variable.yres;
    variable.bits_per_pixel = 16;
    show("disable", layer_request(fd, 9, 0));
    show("format", layer_request(fd, 1, 1));
    show("put", ioctl(fd, FBIOPUT_VSCREENINFO, &variable));
    show("enable", layer_request(fd, 9, 1));
    show("close", close(fd));
    return 0;
}

static int show_offset(char **)
{
    const int fd = open("/dev/graphics/fb0", O_RDWR);
    fb_var_screeninfo variable = {};
    ioctl(fd, FBIOGET_VSCREENINFO, &variable);
    printf("%u %u\n", variable.yoffset, variable.bits_per_pixel);
    return 0;
}

static int misuse(char **)
{
    const int fd = open("/dev/graphics/fb0", O_RDWR);
    show("unknown request", ioctl(fd, _IO('d', 77)));
    show("bad address", ioctl(fd, FBIOGET_FSCREENINFO, nullptr));
    show("bad argument", ioctl(fd, _IOW('d', 9, int), 1));
    return 0;
}

static int switch_console(char **)
{
    const int fd = show("open", open("/dev/tty0", O_RDWR | O_SYNC));
    show("graphics", ioctl(fd, KDSETMODE, KD_GRAPHICS));
    show("close", close(fd));
    return 0;
}

static int use_camera(char **)
{
    const int fd = show("open", __open_2("/dev/video0", O_RDWR));
    int number = 1;
    show("input", ioctl(fd, VIDIOC_S_INPUT, &number));
    number = 0;
    printf("select %d", ioctl(fd, _IOWR('V', 98, int), &number));
    printf(" %d\n", number);
    number = 1;
    printf("switch %d", ioctl(fd, _IOWR('V', 99, int), &number));
    printf(" %d\n", number);
    show("close", close(fd));
    return 0;
}

// Reads the battery's answer, in two parts as the kernel may give it.
static int read_battery(char **)
{
    const int fd = show("open", open("/proc/driver/vexio_battery", O_RDONLY | O_CLOEXEC));
    struct stat state = {};
    const bool is_regular = fstat(fd, &state) == 0 && S_ISREG(state.st_mode);
    printf("regular %d, closed on exec %d\n", is_regular, fcntl(fd, F_GETFD) == FD_CLOEXEC);
    show("write", write(fd, "1", 1) == 1 ? 0 : -1);
    char bytes[64] = {};
    ssize_t count = read(fd, bytes, 2);
    count += read(fd, bytes + 2, sizeof(bytes) - 3);
    printf("%zd: %s.\n", count, bytes);
    show("close", close(fd));
    return 0;
}

static int switch_off(char **)
{
    show("reboot", reboot(RB_POWER_OFF));
    return 0;
}

static int raise_priority(char **)
{
    const sched_param parameters = {show("highest", sched_get_priority_max(SCHED_FIFO)) - 4};
    show("raise", sched_setscheduler(getpid(), SCHED_FIFO, &parameters));
    printf("policy %d\n", sched_getscheduler(0));
    return 0;
}

// Uses the devices from two threads, as a sanitized program.
static int use_threads(char **)
{
    std::thread other([] { switch_console(nullptr); });
    other.join();
    return show_page(nullptr);
}

// Loses what only this function knew, for the leak check at the end.
static int leak(char **)
{
    static void *volatile kept = nullptr;
    kept = malloc(100);
    const bool had_some = kept != nullptr;
    kept = nullptr;
    return had_some ? 0 : 1;
}

static int run_command(char **arguments)
{
    return system(arguments[0]);
}

static int show_start(char **arguments)
{
    char folder[256];
    printf("%s\n%s\n", arguments[-2], getcwd(folder, sizeof(folder)));
    return 0;
}

int main(int argc, char **argv)
{
    // clang-format off
    const struct { const char *name; int arguments; int (*run)(char **arguments); } commands[] = {
        {"echo",           2, echo},
        {"read-to-end",    1, read_to_end},
        {"make-terminal",  1, make_terminal},
        {"give-away",      1, give_away},
        {"hear-event",     0, hear_event},
        {"show-page",      0, show_page},
        {"show-offset",    0, show_offset},
        {"misuse",         0, misuse},
        {"switch-console", 0, switch_console},
        {"use-camera",     0, use_camera},
        {"read-battery",   0, read_battery},
        {"switch-off",     0, switch_off},
        {"raise-priority", 0, raise_priority},
        {"use-threads",    0, use_threads},
        {"leak",           0, leak},
        {"run-command",    1, run_command},
        {"show-start",     0, show_start},
    };
    // clang-format on
    for (const auto &command : commands) {
        if (argc - 2 == command.arguments && strcmp(argv[1], command.name) == 0) {
            return command.run(argv + 2);
        }
    }
    fprintf(stderr, "no such command\n");
    return 2;
}
