// The emulated devices and their requests, see devices.h.
//
// Every entry can be told how to answer in /handset/control/<entry> (result, errno, value):
//
//   fb.open     fb.FBIOGET_FSCREENINFO  fb.FBIOGET_VSCREENINFO  fb.FBIOPUT_VSCREENINFO  fb.mmap  fb.close
//               fb.VEXIOFB_IOCTL_EN_LAYER  fb.VEXIOFB_IOCTL_SET_LAYER_INPUT_FORMAT
//   tty0.open   tty0.KDSETMODE  tty0.close
//   video.open  video.VIDIOC_S_INPUT  video.CAMERA_SELECT  video.CAMERA_SWITCH  video.close
//   battery.open  battery.read  battery.adc
//   reboot      sched_setscheduler  sched_get_priority_max
//
// Of the battery, "open" is of every open; "read" of those for reading alone (result=0: there is nothing to read);
// "adc" has the number that is read as its value. What the driver was told is in /handset/vexio_battery, a line each.

#include "emulator/preload/devices.h"

#include "emulator/preload/battery.h"
#include "emulator/preload/controls.h"
#include "emulator/preload/framebuffer.h"

#include <fcntl.h>
#include <linux/fb.h>
#include <linux/kd.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

// Requests of the handset's own drivers.
constexpr uint32_t k_enable_layer = _IOW('d', 9, int);
constexpr uint32_t k_layer_input_format = _IOW('d', 1, int);
constexpr uint32_t k_camera_select = _IOWR('V', 98, int);
constexpr uint32_t k_camera_switch = _IOWR('V', 99, int);

struct device_st {
    const char *path;
    const char *file;    // what it is open on
    const char *name;    // in the record of calls; null: once open it is a plain file, of which nothing is recorded
    const char *control; // first part of its entries' names
    int (*open)(const char *file, int flags);
};

// How a request takes its argument, and what it does beyond being recorded and answered.
enum class argument_kind { in_number, in_pointer, in_out_pointer, get_fixed, get_variable, put_variable };

struct request_st {
    const char *device;
    uint32_t number;
    const char *name;
    argument_kind argument;
};

static int open_file(const char *file, int flags)
{
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, file, flags | O_CREAT, 0644));
}

// clang-format off
constexpr device_st k_devices[] = {
    {"/dev/graphics/fb0",          k_framebuffer_memory,     "fb0",    "fb",      framebuffer_open},
    {"/dev/tty0",                  "/handset/tty0",          "tty0",   "tty0",    open_file},
    {"/dev/video0",                "/handset/video0",        "video0", "video",   open_file},
    {"/proc/driver/vexio_battery", "/handset/vexio_battery", nullptr,  "battery", battery_open},
};

constexpr request_st k_requests[] = {
    {"fb0",    FBIOGET_FSCREENINFO,  "FBIOGET_FSCREENINFO",                  argument_kind::get_fixed},
    {"fb0",    FBIOGET_VSCREENINFO,  "FBIOGET_VSCREENINFO",                  argument_kind::get_variable},
    {"fb0",    FBIOPUT_VSCREENINFO,  "FBIOPUT_VSCREENINFO",                  argument_kind::put_variable},
    {"fb0",    k_enable_layer,       "VEXIOFB_IOCTL_EN_LAYER",               argument_kind::in_pointer},
    {"fb0",    k_layer_input_format, "VEXIOFB_IOCTL_SET_LAYER_INPUT_FORMAT", argument_kind::in_pointer},
    {"tty0",   KDSETMODE,            "KDSETMODE",                            argument_kind::in_number},
    {"video0", VIDIOC_S_INPUT,       "VIDIOC_S_INPUT",                       argument_kind::in_out_pointer},
    {"video0", k_camera_select,      "CAMERA_SELECT",                        argument_kind::in_out_pointer},
    {"video0", k_camera_switch,      "CAMERA_SWITCH",                        argument_kind::in_out_pointer},
};
// clang-format on

const device_st *device_by_path(const char *path)
{
    for (const device_st &device : k_devices) {
        if (path != nullptr && strcmp(path, device.path) == 0) {
            return &device;
        }
    }
    return nullptr;
}

const device_st *device_by_fd(int fd)
{
    const int saved_errno = errno;
    char link[40];
    char file[64];
    (void)snprintf(link, sizeof(link), "/proc/thread-self/fd/%d", fd);
    const long length = fd < 0 ? -1 : syscall(SYS_readlinkat, AT_FDCWD, link, file, sizeof(file) - 1);
    errno = saved_errno;
    if (length <= 0) {
        return nullptr;
    }
    file[length] = '\0';
    for (const device_st &device : k_devices) {
        if (device.name != nullptr && strcmp(file, device.file) == 0) {
            return &device;
        }
    }
    return nullptr;
}

static control_st read_control(const device_st &device, const char *entry)
{
    char name[96];
    (void)snprintf(name, sizeof(name), "%s.%s", device.control, entry);
    return control_read(name);
}

int device_open(const device_st &device, int flags)
{
    control_record("open(%s)", device.path);
    const control_st control = read_control(device, "open");
    if (control.has_result && control.result < 0) {
        return control_answer(control, -1);
    }
    return device.open(device.file, flags);
}

// Copies a record by way of the kernel, in and out of a pipe: a bad address gives EFAULT, as of a driver, and no more.
static bool copy(void *to, const void *from, size_t size)
{
    int ends[2];
    if (syscall(SYS_pipe2, ends, O_CLOEXEC) != 0) {
        return false;
    }
    const auto whole = static_cast<long>(size); // far below what a pipe takes
    const bool is_copied =
        syscall(SYS_write, ends[1], from, size) == whole && syscall(SYS_read, ends[0], to, size) == whole;
    const int copy_errno = errno;
    (void)syscall(SYS_close, ends[0]);
    (void)syscall(SYS_close, ends[1]);
    errno = copy_errno;
    return is_copied;
}

// The number that goes into the record; false when the request takes none.
static bool number_argument(const request_st &request, void *argument, int &number)
{
    switch (request.argument) {
    case argument_kind::in_number:
        number = static_cast<int>(reinterpret_cast<intptr_t>(argument));
        return true;
    case argument_kind::in_pointer:
    case argument_kind::in_out_pointer:
        return copy(&number, argument, sizeof(number));
    case argument_kind::get_fixed:
    case argument_kind::get_variable:
    case argument_kind::put_variable:
        break;
    }
    return false;
}

// What a request does once it is known not to be told to fail.
static bool act(const request_st &request, void *argument, const control_st &control)
{
    fb_fix_screeninfo fixed;
    fb_var_screeninfo variable;
    int value = control.value;
    switch (request.argument) {
    case argument_kind::in_number:
    case argument_kind::in_pointer:
        return true;
    case argument_kind::in_out_pointer:
        return !control.has_value || copy(argument, &value, sizeof(value));
    case argument_kind::get_fixed:
        framebuffer_fixed(fixed);
        return copy(argument, &fixed, sizeof(fixed));
    case argument_kind::get_variable:
        framebuffer_variable(variable);
        return copy(argument, &variable, sizeof(variable));
    case argument_kind::put_variable:
        return copy(&variable, argument, sizeof(variable)) && framebuffer_keep(variable) == 0;
    }
    return false;
}

static int carry_out(const device_st &device, const request_st &request, void *argument)
{
    int number = 0;
    const bool takes_number = request.argument == argument_kind::in_number ||
                              request.argument == argument_kind::in_pointer ||
                              request.argument == argument_kind::in_out_pointer;
    if (takes_number && !number_argument(request, argument, number)) {
        control_record("ioctl(%s, %s, ?)", device.name, request.name);
        return -1;
    }
    if (takes_number) {
        control_record("ioctl(%s, %s, %d)", device.name, request.name, number);
    } else {
        control_record("ioctl(%s, %s)", device.name, request.name);
    }
    const control_st control = read_control(device, request.name);
    if (control.has_result && control.result < 0) {
        return control_answer(control, -1);
    }
    return act(request, argument, control) ? control_answer(control, 0) : -1;
}

int device_ioctl(const device_st &device, unsigned long request, void *argument)
{
    const uint32_t number = static_cast<uint32_t>(request); // the kernel looks at 32 bits, and callers pass an int
    for (const request_st &row : k_requests) {
        if (row.number == number && strcmp(row.device, device.name) == 0) {
            return carry_out(device, row, argument);
        }
    }
    control_record("ioctl(%s, 0x%x)", device.name, number);
    errno = ENOTTY;
    return -1;
}

bool device_admit(const device_st &device, const char *entry, long argument)
{
    if (argument >= 0) {
        control_record("%s(%s, %ld)", entry, device.name, argument);
    } else {
        control_record("%s(%s)", entry, device.name);
    }
    const control_st control = read_control(device, entry);
    return control_answer(control, 0) >= 0;
}
