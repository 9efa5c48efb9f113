#include "pub/log/log_client.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

#include "pub/base/shared_memory.h"
#include "pub/base/thread_value.h"
#include "pub/log/errors.h"

#define INTERNAL_SITE (sfw_log_site{"log/log_client", __func__, __LINE__})

struct sfw_log_object {
    int m_fd;             // -1 when closed
    int32_t m_in_use;     //
    int32_t m_is_default; //
    int32_t m_extended_pending;
    char m_extended_info_a[1024];
    pthread_mutex_t m_mutex; // the default object's outlives every thread
    uint32_t m_flags;
    int32_t m_pid;
    char m_process_name_a[20];
    std::atomic<uint32_t> *m_position; // where the next byte goes: m_own_position, or the default object's shared one
    std::atomic<uint32_t> m_own_position;
    uint32_t m_ring_start; // where the ring begins again
    time_t m_second;       // what m_local_time was worked out for
    tm m_local_time;
};

namespace {

// clang-format off
#define LINE_92 "============================================================================================"
// clang-format on
constexpr char k_column_header[] = LINE_92
    "\n    TIME     |   TID    |              FUNCTION              |  LINE  |    LEVEL     | INFO\n" LINE_92 "\n";
constexpr char k_footer[] =
    "\n========================================= log  end =========================================\n";

sfw_log_object g_default = {-1, 0, 1, 0, {}, PTHREAD_MUTEX_INITIALIZER, 0, 0, {}, nullptr, {0}, 0, -1, {}};
std::atomic<uint32_t> g_size_limit{SFW_LOG_SIZE_LIMIT};

// The calling thread's number; asking the kernel again for each record would cost a quarter of it.
thread_value<pid_t> g_thread_id;

pid_t thread_id()
{
    if (g_thread_id.get() == 0) {
        g_thread_id.set(gettid());
    }
    return g_thread_id.get();
}

// Whether a process has been made of this one, or this one of another: it may log, into the same file. Under the
// default object's lock.
bool g_is_doubled = false;

// A child of fork() takes over an open lock that nobody would ever open; with these it logs like its parent.
void lock_default()
{
    (void)pthread_mutex_lock(&g_default.m_mutex);
    g_is_doubled = true;
}
void unlock_default()
{
    (void)pthread_mutex_unlock(&g_default.m_mutex);
}
void unlock_default_in_child()
{
    g_thread_id.set(0);
    unlock_default();
}

// As long as it lives, no other process writes to the file. A lock of the file's, which ends with a process that is
// killed in its turn. Nothing for -1; and where there are no such locks everybody goes ahead.
class file_turn {
  public:
    explicit file_turn(int fd)
        : m_fd(fd)
    {
        while (m_fd >= 0 && !set(F_WRLCK) && errno == EINTR) {
        }
    }
    ~file_turn() { (void)(m_fd >= 0 && set(F_UNLCK)); }
    file_turn(const file_turn &) = delete;
    file_turn &operator=(const file_turn &) = delete;

  private:
    [[nodiscard]] bool set(short type) const
    {
        struct flock lock = {};
        lock.l_type = type;
        lock.l_whence = SEEK_SET;
        return fcntl(m_fd, F_SETLKW, &lock) == 0;
    }

    int m_fd;
};

// A full disk takes half a text: when it stands at the end of the file it is cut off again. True when it was.
bool cut_half(int fd, uint32_t begin, ssize_t written)
{
    return written > 0 && lseek(fd, 0, SEEK_END) == static_cast<off_t>(begin) + written && ftruncate(fd, begin) == 0;
}

// Under the object's lock. A write that fails or stays short loses the text, never the ring, and the next one takes its
// place.
void write_text(sfw_log_object &object, const char *text, size_t length)
{
    const file_turn turn(object.m_is_default != 0 && g_is_doubled ? object.m_fd : -1);
    uint32_t position = *object.m_position;
    if (position > g_size_limit.load(std::memory_order_relaxed)) {
        position = object.m_ring_start;
    }
    const ssize_t written = pwrite(object.m_fd, text, length, position); // the offset may be another process's as well
    if (written == static_cast<ssize_t>(length)) {
        position += static_cast<uint32_t>(length);
    } else {
        (void)cut_half(object.m_fd, position, written);
    }
    *object.m_position = position;
}

// The local time of `seconds`, worked out again only when the second changes.
const tm &local_time(sfw_log_object &object, time_t seconds)
{
    if (seconds != object.m_second) {
        (void)localtime_r(&seconds, &object.m_local_time);
        object.m_second = seconds;
    }
    return object.m_local_time;
}

void write_header(sfw_log_object &object)
{
    timeval now = {};
    (void)gettimeofday(&now, nullptr);
    const tm &local = local_time(object, now.tv_sec);
    char text[64 + sizeof(k_column_header)];
    const int length = snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d:%02d:%03ld\n\n%s", local.tm_year + 1900,
                                local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                                static_cast<long>(now.tv_usec / 1000), k_column_header);
    write_text(object, text, static_cast<size_t>(length));
    object.m_ring_start = *object.m_position;
}

// A child of the service writes on in the same file, so the two must count together, or they would overwrite each
// other. Without memory for that they do.
std::atomic<uint32_t> *shared_position()
{
    static void *memory = pub_util_share_memory(sizeof(std::atomic<uint32_t>));
    return memory == nullptr ? &g_default.m_own_position : static_cast<std::atomic<uint32_t> *>(memory);
}

bool client_open_file(sfw_log_object &object, const char *name)
{
    object.m_position = object.m_is_default != 0 ? shared_position() : &object.m_own_position;
    *object.m_position = 0;
    object.m_ring_start = 0;
    object.m_fd = log_directory_open_file(name);
    if (object.m_fd < 0) {
        return false;
    }
    write_header(object);
    return true;
}

sfw_log_object *new_object()
{
    void *memory = calloc(1, sizeof(sfw_log_object));
    if (memory == nullptr) {
        const int saved = errno;
        log_internal(INTERNAL_SITE, "call malloc() fail: %d - %s.\n", saved, error_text(saved).c_str());
        return nullptr;
    }
    auto *object = static_cast<sfw_log_object *>(memory);
    const int result = pthread_mutex_init(&object->m_mutex, nullptr);
    if (result != 0) {
        log_internal(INTERNAL_SITE, "call pthread_mutex_init() fail: %d - %s.\n", result, error_text(result).c_str());
        free(memory);
        return nullptr;
    }
    object->m_second = -1;
    return object;
}

} // namespace

sfw_log_object *sfw_log_start(uint32_t flags, const char *name)
{
    const bool is_default = (flags & SFW_LOG_DEFAULT_OBJECT) != 0;
    if (is_default && g_default.m_in_use != 0) {
        return &g_default;
    }
    log_directory_open_internal();
    sfw_log_object *object = is_default ? &g_default : new_object();
    if (object == nullptr) {
        return nullptr;
    }
    static bool fork_is_handled = false;
    if (is_default && !fork_is_handled) {
        fork_is_handled = pthread_atfork(lock_default, unlock_default, unlock_default_in_child) == 0;
    }
    (void)pthread_mutex_lock(&object->m_mutex);
    object->m_flags = flags;
    object->m_is_default = is_default ? 1 : 0;
    object->m_pid = getpid();
    (void)get_process_name(object->m_process_name_a, sizeof(object->m_process_name_a));
    if (!client_open_file(*object, name)) {
        log_internal(INTERNAL_SITE, "call client_open_file() fail.\n");
    }
    object->m_in_use = 1;
    (void)pthread_mutex_unlock(&object->m_mutex);
    return object;
}

void sfw_log_stop(sfw_log_object *object)
{
    sfw_log_object &stopped = object == nullptr ? g_default : *object;
    (void)pthread_mutex_lock(&stopped.m_mutex);
    if (stopped.m_fd >= 0) {
        write_text(stopped, k_footer, sizeof(k_footer) - 1);
        (void)close(stopped.m_fd);
        stopped.m_fd = -1;
    }
    stopped.m_in_use = 0;
    (void)pthread_mutex_unlock(&stopped.m_mutex);
    if (&stopped != &g_default) {
        (void)pthread_mutex_destroy(&stopped.m_mutex);
        free(&stopped);
    }
}

sfw_log_object *sfw_log_select_and_lock(sfw_log_object *object)
{
    sfw_log_object *selected = object == nullptr ? &g_default : object;
    (void)pthread_mutex_lock(&selected->m_mutex);
    return selected;
}

void sfw_log_build_extended_info(sfw_log_object *object, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    sfw_log_vbuild_extended_info(object, format, arguments);
    va_end(arguments);
}

void sfw_log_vbuild_extended_info(sfw_log_object *object, const char *format, va_list arguments)
{
    const int saved = errno;
    if (vsnprintf(object->m_extended_info_a, sizeof(object->m_extended_info_a), format, arguments) < 0) {
        object->m_extended_info_a[0] = '\0';
    }
    object->m_extended_pending = 1;
    errno = saved;
}

void sfw_log_full(sfw_log_object *object, const sfw_log_record &record)
{
    const int saved = errno;
    if (object->m_fd < 0) {
        log_internal(record.m_site, "assert(log_obj.m_fp).\n");
    } else {
        timeval now = {};
        (void)gettimeofday(&now, nullptr);
        const tm &local = local_time(*object, now.tv_sec);
        const char *info = object->m_extended_pending != 0 ? object->m_extended_info_a : nullptr;
        const sfw_log_circumstances circumstances = {
            local.tm_hour, local.tm_min, local.tm_sec, static_cast<long>(now.tv_usec / 1000), thread_id(), saved, info};
        char line[SFW_LOG_LINE_SIZE];
        write_text(*object, line, sfw_log_format_record(record, circumstances, line));
    }
    object->m_extended_pending = 0;
    (void)pthread_mutex_unlock(&object->m_mutex);
    errno = saved;
}

void sfw_log_set_size_limit(uint32_t limit)
{
    g_size_limit.store(limit, std::memory_order_relaxed);
}

void sfw_log_mark_position()
{
    sfw_log_object *object = sfw_log_select_and_lock(nullptr);
    const uint32_t limit = g_size_limit.load(std::memory_order_relaxed);
    if (object->m_fd >= 0 && *object->m_position <= limit - limit / 4) {
        object->m_ring_start = *object->m_position;
    }
    (void)pthread_mutex_unlock(&object->m_mutex);
}
