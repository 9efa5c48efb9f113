#include "fuzz/world_files.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>

#include "fuzz/world_laws.h"

namespace {

constexpr size_t k_content_max = 2048;

struct node_row {
    const char *path;
    node_kind kind;
    const char *initial; // null: missing
};

// What the service may look at. A handset that has been through the line's first stations.
// clang-format off
constexpr node_row k_nodes_a[] = {
    {"/amt",                                         node_kind::folder, ""},
    {"/amt/imei.txt",                                node_kind::file,   nullptr},
    {"/amt/imei-2.txt",                              node_kind::file,   nullptr},
    {"/amt/sn.txt",                                  node_kind::file,   nullptr},
    {"/amt/sn-2.txt",                                node_kind::file,   "BOARD0123456789\n"},
    {"/amt/usb_serial",                              node_kind::file,   "0123456789ABCDEF"},
    {"/amt/BT/BT_Address.txt",                       node_kind::file,   "00:11:22:33:44:55\n"},
    {"/mnt/opl/nvm/BT_Address.txt",                  node_kind::file,   nullptr},
    {"/amt/WIFI/WIFI_nvram.txt",                     node_kind::file,   "00:11:22:33:44:66\n"},
    {"/amt/power_usb_amt.txt",                       node_kind::file,   nullptr},
    {"/amt/vbatt",                                   node_kind::file,   nullptr},
    {"/amt/product.txt",                             node_kind::file,   nullptr},
    {"/amt/amt_result.txt",                          node_kind::file,   nullptr},
    {"/sys/class/leds/lcd-backlight/brightness",     node_kind::file,   "120\n"},
    {"/sys/class/leds/button-backlight/brightness",  node_kind::file,   "0\n"},
    {"/sys/class/timed_output/vibrator/enable",      node_kind::file,   "0\n"},
    {"/sys/class/power_supply/battery/voltage_now",  node_kind::kept,   "3812345\n"},
    {"sys/class/power_supply/battery/temp",          node_kind::kept,   "293\n"},
    {"/proc/driver/vexio_battery",                   node_kind::kept,   "3812\n"},
    {"/proc/mounts",                                 node_kind::kept,   "card /storage/sdcard1 vfat rw 0 0\n"},
    {"/data/etc/storage.config",                     node_kind::kept,   "2\n"},
    {"/tmp/amt-audio.pid",                           node_kind::kept,   "4321\n"},
    {"/proc/PID/cmdline",                            node_kind::kept,   "/system/bin/amt-audio"},
    {"/system/bin/amt-audio",                        node_kind::kept,   ""},
    {"/system/media/amt.wav",                        node_kind::kept,   ""},
    {"/dev/video0",                                  node_kind::camera, ""},
    {k_station_path,                                 node_kind::station, ""},
    {k_application_path,                             node_kind::application, ""},
    {k_modem_path,                                   node_kind::modem,  ""},
    {k_at_path,                                      node_kind::at_port, ""},
    {"/log",                                         node_kind::log,    ""},
};
// clang-format on
constexpr size_t k_node_count = sizeof(k_nodes_a) / sizeof(k_nodes_a[0]);

struct node {
    bool exists;
    bool is_dirty;
    size_t length;
    uint8_t content_a[k_content_max];
};

struct description {
    bool is_open;
    size_t node;
    size_t offset;
};

node g_nodes_a[k_node_count];
description g_open_a[FILES_COUNT];

// "/proc/4321/cmdline" and the log's own folders are told by their form.
const char *form_of(const char *path)
{
    if (strncmp(path, "/log/", 5) == 0) {
        return "/log";
    }
    const char *digits = strncmp(path, "/proc/", 6) == 0 ? path + 6 : "";
    digits += *digits == '-' ? 1 : 0; // whatever stands in a pid file
    const size_t count = strspn(digits, "0123456789");
    return count > 0 && strcmp(digits + count, "/cmdline") == 0 ? "/proc/PID/cmdline" : path;
}

size_t find(const char *path)
{
    const char *form = form_of(path);
    for (size_t i = 0; i < k_node_count; i++) {
        if (strcmp(k_nodes_a[i].path, form) == 0) {
            return i;
        }
    }
    law_broken("a path that is none of the handset's", path);
}

void reset(size_t number)
{
    node &target = g_nodes_a[number];
    const char *initial = k_nodes_a[number].initial;
    target.exists = initial != nullptr;
    target.is_dirty = false;
    target.length = initial == nullptr ? 0 : strlen(initial);
    memcpy(target.content_a, initial == nullptr ? "" : initial, target.length);
}

description &open_description(int fd)
{
    if (!files_owns(fd) || !g_open_a[fd - FILES_FIRST_FD].is_open) {
        law_broken("a descriptor that is not open", "");
    }
    return g_open_a[fd - FILES_FIRST_FD];
}

void change(size_t number)
{
    if (k_nodes_a[number].kind != node_kind::file) {
        law_broken("a file that the service has no business writing to", k_nodes_a[number].path);
    }
    g_nodes_a[number].is_dirty = true;
    g_nodes_a[number].exists = true;
    law_file_change(k_nodes_a[number].path);
}

int describe(size_t number)
{
    for (int i = 0; i < FILES_COUNT; i++) {
        if (!g_open_a[i].is_open) {
            g_open_a[i] = {true, number, 0};
            return FILES_FIRST_FD + i;
        }
    }
    law_broken("more descriptors than a request needs", k_nodes_a[number].path);
}

// The others keep nothing.
bool is_kept(size_t number)
{
    return k_nodes_a[number].kind == node_kind::file || k_nodes_a[number].kind == node_kind::kept;
}

} // namespace

void files_reset()
{
    static bool is_begun = false;
    for (size_t i = 0; i < k_node_count; i++) {
        if (g_nodes_a[i].is_dirty || !is_begun) {
            reset(i);
        }
    }
    is_begun = true;
    for (description &open : g_open_a) {
        if (open.is_open && k_nodes_a[open.node].kind != node_kind::log) {
            open.is_open = false;
        }
    }
}

void files_put(uint8_t number, const uint8_t *bytes, size_t length)
{
    const size_t chosen = number % k_node_count;
    if (!is_kept(chosen)) {
        return;
    }
    node &target = g_nodes_a[chosen];
    target.exists = true;
    target.is_dirty = true;
    target.length = std::min(length, k_content_max);
    memcpy(target.content_a, bytes, target.length);
}

bool files_exist(const char *path)
{
    return g_nodes_a[find(path)].exists;
}

void files_remove(const char *path)
{
    const size_t number = find(path);
    g_nodes_a[number].exists = false;
    g_nodes_a[number].is_dirty = true;
}

int files_open(const char *path, int flags)
{
    const size_t number = find(path);
    const bool may_make = (flags & O_CREAT) != 0;
    if (!g_nodes_a[number].exists && !may_make) {
        errno = ENOENT;
        return -1;
    }
    if (is_kept(number) && (flags & O_ACCMODE) != O_RDONLY) {
        change(number);
    }
    return describe(number);
}

void files_empty(int fd)
{
    const size_t number = open_description(fd).node;
    if (is_kept(number)) {
        g_nodes_a[number].length = 0;
    }
}

node_kind files_kind(int fd)
{
    return k_nodes_a[open_description(fd).node].kind;
}

void files_close(int fd)
{
    open_description(fd).is_open = false;
}

ssize_t files_read(int fd, void *bytes, size_t room)
{
    description &open = open_description(fd);
    const node &source = g_nodes_a[open.node];
    if (open.offset >= source.length) {
        return 0;
    }
    const size_t count = std::min(room, source.length - open.offset);
    memcpy(bytes, source.content_a + open.offset, count);
    open.offset += count;
    return static_cast<ssize_t>(count);
}

ssize_t files_write(int fd, const void *bytes, size_t count)
{
    description &open = open_description(fd);
    if (files_kind(fd) == node_kind::log) {
        static uint8_t sink_a[1 << 16];
        memcpy(sink_a, bytes, std::min(count, sizeof(sink_a)));
        return static_cast<ssize_t>(count);
    }
    node &target = g_nodes_a[open.node];
    if (count > k_content_max || open.offset > k_content_max - count) {
        errno = ENOSPC;
        return -1;
    }
    if (open.offset > target.length) {
        memset(target.content_a + target.length, 0, open.offset - target.length);
    }
    memcpy(target.content_a + open.offset, bytes, count);
    open.offset += count;
    target.length = std::max(target.length, open.offset);
    return static_cast<ssize_t>(count);
}

off_t files_seek(int fd, off_t offset, int whence)
{
    description &open = open_description(fd);
    if (whence != SEEK_SET || offset < 0) {
        errno = EINVAL;
        return -1;
    }
    open.offset = static_cast<size_t>(offset);
    return offset;
}

bool files_owns(int fd)
{
    return fd >= FILES_FIRST_FD && fd < FILES_FIRST_FD + FILES_COUNT;
}

int files_open_count()
{
    return static_cast<int>(std::count_if(std::begin(g_open_a), std::end(g_open_a), [](const description &open) {
        return open.is_open && k_nodes_a[open.node].kind != node_kind::log;
    }));
}
