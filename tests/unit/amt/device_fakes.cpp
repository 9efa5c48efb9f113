#include "tests/unit/amt/device_fakes.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>

#include "amt/platform-library.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"

device_fakes g_fake;

extern "C" int __real_ftruncate(int fd, off_t length);

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

// What of the handset a device test may reach; no test may reach the machine's own.
constexpr const char *k_places_a[] = {"/amt/",    "/data/", "/dev/video0",       "/mnt/", "/proc/", "/storage/",
                                      "/system/", "/sys/",  "/tmp/amt-audio.pid"};

bool is_below(const std::string &path, const std::string &place)
{
    return path.compare(0, place.size(), place) == 0;
}

// Where a path really leads. What the process looks up of itself is no file of the handset.
std::string real_path(const std::string &path)
{
    if (is_below(path, "/proc/self/") || is_below(path, "/proc/" + std::to_string(getpid()) + "/")) {
        return path;
    }
    const bool is_handset =
        std::any_of(std::begin(k_places_a), std::end(k_places_a), [&](auto place) { return is_below(path, place); });
    return is_handset ? g_fake.root + path : path;
}

std::string purpose(int flags)
{
    switch (flags & O_ACCMODE) {
    case O_RDONLY:
        return "read ";
    case O_WRONLY:
        return "write ";
    default:
        return "read and write ";
    }
}

// Writes the event down; false, with errno, when it is to fail.
bool happens(const std::string &event)
{
    if (g_fake.on_event) {
        g_fake.on_event(event);
    }
    g_fake.events.push_back(event);
    const auto refusal = g_fake.refused.find(event);
    errno = refusal == g_fake.refused.end() ? EXDEV : refusal->second; // a call that succeeds may leave anything there
    return refusal == g_fake.refused.end();
}

bool is_handset_file(int fd)
{
    return g_fake.files.count(fd) != 0;
}

bool is_link(int fd)
{
    return fd > 0 && (fd == handle_context_st.m_fd_pc || fd == handle_context_st.m_pty.m_ptm_fd);
}

// False, with errno, when the file cannot be closed as it should; it is closed.
bool close_handset_file(int fd)
{
    if (!is_handset_file(fd)) {
        return true;
    }
    const std::string path = g_fake.files[fd];
    g_fake.files.erase(fd);
    return happens("close " + path);
}

bool has_limited_room(int fd)
{
    const auto file = g_fake.files.find(fd);
    return file != g_fake.files.end() && g_fake.rooms.count(file->second) > 0;
}

// Has a file of limited room, opened for writing, stand for the opened one.
void limit_room(int fd, int flags)
{
    if (!has_limited_room(fd) || (flags & O_ACCMODE) == O_RDONLY) {
        return;
    }
    const int limited = memfd_create("limited", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    EXPECT_EQ(__real_ftruncate(limited, static_cast<off_t>(g_fake.rooms[g_fake.files[fd]])), 0);
    EXPECT_EQ(fcntl(limited, F_ADD_SEALS, F_SEAL_GROW), 0);
    EXPECT_EQ(dup3(limited, fd, O_CLOEXEC), fd);
    (void)close(limited);
}

ssize_t end_of(const output_end &end)
{
    if (end.error != 0) {
        errno = end.error;
    }
    return end.result;
}

template <typename type>
type take(std::deque<type> &queue)
{
    if (queue.empty()) {
        return {};
    }
    const type next = queue.front();
    queue.pop_front();
    return next;
}

bool is_of_sending(const std::string &record)
{
    return record == "func | " || is_below(record, "data | send ");
}

std::vector<std::string> without_sending(std::vector<std::string> records)
{
    records.erase(std::remove_if(records.begin(), records.end(), is_of_sending), records.end());
    return records;
}

} // namespace

extern "C" {

int __real_open(const char *path, int flags, mode_t mode);
int __wrap_open(const char *path, int flags, mode_t mode)
{
    const std::string real = real_path(path);
    if (real == path) {
        return __real_open(path, flags, mode);
    }
    EXPECT_NE(flags & O_CLOEXEC, 0) << "no command of the shell is to have " << path;
    EXPECT_NE(flags & O_NOCTTY, 0) << "no tty is to end the service that stands for " << path;
    if (!happens(purpose(flags) + path)) {
        return -1;
    }
    const int fd = __real_open(real.c_str(), flags, mode);
    if (fd >= 0) {
        g_fake.files[fd] = path;
        limit_room(fd, flags);
    }
    return fd;
}

int __real_close(int fd);
int __wrap_close(int fd)
{
    if (close_handset_file(fd)) {
        return __real_close(fd);
    }
    const int error = errno;
    (void)__real_close(fd);
    errno = error;
    return -1;
}

int __real_fclose(FILE *file);
int __wrap_fclose(FILE *file)
{
    const int fd = fileno(file);
    const int result = __real_fclose(file); // first: what a number is written with
    return close_handset_file(fd) ? result : EOF;
}

ssize_t __real_write(int fd, const void *bytes, size_t count);
ssize_t __wrap_write(int fd, const void *bytes, size_t count)
{
    if (is_link(fd)) {
        (void)happens("send");
        return __real_write(fd, bytes, g_fake.is_send_cut ? count - 1 : count);
    }
    if (!is_handset_file(fd)) {
        return __real_write(fd, bytes, count);
    }
    const int before = errno;
    (void)happens("bytes to " + g_fake.files[fd]);
    errno = before; // a short write leaves it alone
    return g_fake.writing ? end_of(*g_fake.writing) : __real_write(fd, bytes, count);
}

__attribute__((format(printf, 2, 3))) int __wrap_fprintf(FILE *file, const char *format, ...)
{
    if (is_handset_file(fileno(file)) && g_fake.printing) {
        return static_cast<int>(end_of(*g_fake.printing));
    }
    va_list arguments;
    va_start(arguments, format);
    const int result = vfprintf(file, format, arguments);
    va_end(arguments);
    return result;
}

// One of limited room keeps its length, behind which it takes nothing.
int __wrap_ftruncate(int fd, off_t length)
{
    return has_limited_room(fd) ? 0 : __real_ftruncate(fd, length);
}

int __wrap_ioctl(int fd, unsigned long request, int32_t *number)
{
    EXPECT_TRUE(is_handset_file(fd)) << "no driver is behind " << fd;
    char event[40];
    (void)snprintf(event, sizeof(event), "ioctl %08lx %d", request, *number);
    (void)happens(event);
    const ioctl_answer answer = take(g_fake.ioctls);
    *number = answer.stores.value_or(*number);
    if (answer.result < 0) {
        errno = answer.error;
    }
    return answer.result;
}

int __wrap_statfs(const char *path, struct statfs *info)
{
    if (!happens(std::string("size of ") + path)) {
        return -1;
    }
    const card_size card = g_fake.cards[path];
    info->f_blocks = card.blocks;
    info->f_bfree = card.blocks / 2;
    info->f_bavail = card.blocks / 4;
    info->f_bsize = card.block_size;
    return 0;
}

int __real_access(const char *path, int mode);
int __wrap_access(const char *path, int mode)
{
    EXPECT_EQ(mode, F_OK) << "who may read " << path << " is the player's business";
    return __real_access(real_path(path).c_str(), mode);
}

int __real_unlink(const char *path);
int __wrap_unlink(const char *path)
{
    return happens(std::string("unlink ") + path) ? __real_unlink(real_path(path).c_str()) : -1;
}

int __wrap_kill(pid_t pid, int signal_number)
{
    return happens("kill " + std::to_string(pid) + " " + std::to_string(signal_number)) ? 0 : -1;
}

void *__real_dlopen(const char *path, int flags);
void *__wrap_dlopen(const char *path, int flags)
{
    EXPECT_EQ(flags, RTLD_LAZY);
    return __real_dlopen(happens(std::string("load ") + path) ? MISC_LIBRARY : "/no/such/library", flags);
}

void *__real_dlsym(void *library, const char *name);
void *__wrap_dlsym(void *library, const char *name)
{
    if (library == RTLD_NEXT) { // not the service, but what stands before its calls under a sanitizer
        return __real_dlsym(library, name);
    }
    const bool has_entry = happens(std::string("look up ") + name);
    if (has_entry && g_fake.entry != nullptr) {
        return g_fake.entry;
    }
    return __real_dlsym(library, has_entry ? name : "no_such_entry");
}

int __real_dlclose(void *library);
int __wrap_dlclose(void *library)
{
    (void)happens("unload");
    return __real_dlclose(library);
}

int __wrap__Z18pub_util_run_shellPKc(const char *command)
{
    const int before = errno;
    (void)happens(std::string("run ") + command);
    const command_end end = take(g_fake.commands);
    errno = end.error != 0 ? end.error : before; // a command that fails sets none
    return end.status;
}

void __wrap__Z17pub_util_sleep_msj(uint32_t milliseconds)
{
    (void)happens("pause " + std::to_string(milliseconds));
}
}

std::string answer_on(uint8_t channel, const std::string &message)
{
    return channel == AMT_CHANNEL_PC ? enveloped(message) : message;
}

int next_descriptor()
{
    const int fd = open("/dev/null", O_RDONLY);
    (void)close(fd);
    return fd;
}

std::vector<std::string> outcome::answers(uint8_t channel) const
{
    const bool is_station = channel == AMT_CHANNEL_PC;
    EXPECT_THAT(is_station ? at_application : at_station, IsEmpty()) << "the wrong channel";
    return is_station ? at_station : at_application;
}

device_handset::device_handset()
{
    g_fake.root = m_folder.path();
}

device_handset::~device_handset()
{
    g_fake = {};
}

void device_handset::put(const std::string &path, const std::string &content) const
{
    make_folder(std::filesystem::path(path).parent_path());
    (void)m_folder.with_file(path.substr(1), content);
}

void device_handset::make_folder(const std::string &path) const
{
    std::filesystem::create_directories(m_folder.path(path.substr(1)));
}

void device_handset::make_pipe(const std::string &path) const
{
    make_folder(std::filesystem::path(path).parent_path());
    EXPECT_EQ(mkfifo(m_folder.path(path.substr(1)).c_str(), 0600), 0);
}

std::string device_handset::content(const std::string &path) const
{
    const std::string real = host_path(path);
    return std::filesystem::exists(real) ? read_whole_file(real) : "(missing)";
}

outcome device_handset::watch(const std::function<int32_t()> &call) const
{
    const size_t told_before = told().size();
    const int descriptor = next_descriptor();
    g_fake.events.clear();
    outcome seen;
    errno = EXDEV; // of something before
    seen.result = call();
    EXPECT_EQ(next_descriptor(), descriptor) << "something stays open";
    EXPECT_THAT(g_fake.files, IsEmpty());
    seen.at_station = m_links.at_station();
    seen.at_application = m_links.at_application();
    seen.told = told();
    seen.told.erase(seen.told.begin(), seen.told.begin() + static_cast<ptrdiff_t>(told_before));
    seen.events = g_fake.events;
    return seen;
}

outcome device_handset::ask(amt_handle_func handler, uint8_t channel, const std::string &request) const
{
    const amt_buffer asked = buffer_with(request);
    amt_buffer response = buffer_with(std::string(400, 'f')); // of an answer that was never sent
    g_fake.response = &response;
    outcome seen = watch([&] { return handler(channel, &asked, &response); });
    g_fake.response = nullptr;
    seen.is_response_clear = is_clear(response);
    return seen;
}

std::vector<std::string> device_handset::told() const
{
    return without_sending(m_log.records());
}

void expect_result_of_sending(amt_handle_func handler, const std::string &request,
                              const std::function<void(const device_handset &)> &prepare)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([&] {
            SCOPED_TRACE(static_cast<int>(channel));
            const device_handset handset;
            prepare(handset);
            g_fake.is_send_cut = true;
            EXPECT_EQ(handset.ask(handler, channel, request).result, ERR_WRITE_NOT_COMPLETED);
        });
    }
}

void misc_library::SetUp()
{
    handset_root::SetUp();
    decide_platform_lib_name();
}

void expect_nothing_without_library(amt_handle_func handler, const std::string &request, const std::string &look_up)
{
    for (const uint8_t channel : k_both_channels_a) {
        in_child([&] {
            const device_handset handset;
            g_fake.refused = {{k_load, ENOENT}, {look_up, ENOENT}};
            const outcome loading = handset.ask(handler, channel, request);
            EXPECT_EQ(loading.result, ERR_C_FUNCTION);
            EXPECT_THAT(loading.answers(channel), IsEmpty());
            EXPECT_THAT(loading.events, ElementsAre(k_load));
            EXPECT_THAT(loading.told, ElementsAre(StartsWith(k_failed_call + "call dlopen fail: - /no/such/library")));
            g_fake.refused.erase(k_load);
            const outcome looking = handset.ask(handler, channel, request);
            EXPECT_EQ(looking.result, ERR_C_FUNCTION);
            EXPECT_THAT(looking.answers(channel), IsEmpty());
            EXPECT_THAT(looking.events, ElementsAre(k_load, look_up)) << "it stays loaded";
            EXPECT_THAT(looking.told, ElementsAre(StartsWith(k_failed_call + "call dlopen fail: - /")));
        });
    }
}
