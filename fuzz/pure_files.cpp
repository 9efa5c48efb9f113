#include "fuzz/pure_files.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/pure_input.h"

const char *(*g_fuzz_file_of)(const char *path) = nullptr;
void (*g_fuzz_shell)(const char *command) = nullptr;

namespace {

constexpr size_t k_most_files = 8;
constexpr size_t k_most_bytes = 65536;

// Each is one piece of memory with a descriptor of its own, through which the service opens it anew.
struct memory_file {
    const char *m_path;
    int m_fd;
    bool m_exists;
    char m_opened_as_a[32];
};

memory_file g_files_a[k_most_files];

memory_file *find(const char *path)
{
    for (memory_file &file : g_files_a) {
        if (file.m_path != nullptr && strcmp(file.m_path, path) == 0) {
            return &file;
        }
    }
    return nullptr;
}

memory_file &find_or_make(const char *path)
{
    memory_file *found = find(path);
    for (size_t i = 0; found == nullptr && i < k_most_files; i++) {
        if (g_files_a[i].m_path == nullptr) {
            found = &g_files_a[i];
            found->m_path = path;
            found->m_fd = memfd_create("fuzz", MFD_CLOEXEC);
            fuzz_check(found->m_fd >= 0);
            (void)snprintf(found->m_opened_as_a, sizeof(found->m_opened_as_a), "/proc/self/fd/%d", found->m_fd);
        }
    }
    fuzz_check(found != nullptr);
    return *found;
}

// The file that the service means.
memory_file &meant(const char *path)
{
    memory_file *file = find(path);
    if (file == nullptr && g_fuzz_file_of != nullptr) {
        path = g_fuzz_file_of(path);
        file = path == nullptr ? nullptr : &find_or_make(path);
    }
    fuzz_check(file != nullptr && "a path that the service was not to open");
    return *file;
}

} // namespace

void fuzz_file_put(const char *path, std::string_view bytes)
{
    memory_file &file = find_or_make(path);
    fuzz_check(ftruncate(file.m_fd, static_cast<off_t>(bytes.size())) == 0);
    fuzz_check(pwrite(file.m_fd, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    file.m_exists = true;
}

void fuzz_file_remove(const char *path)
{
    find_or_make(path).m_exists = false;
}

bool fuzz_file_exists(const char *path)
{
    return find_or_make(path).m_exists;
}

std::string_view fuzz_file_content(const char *path)
{
    static char bytes_a[k_most_bytes];
    const memory_file &file = find_or_make(path);
    const ssize_t count = file.m_exists ? pread(file.m_fd, bytes_a, sizeof(bytes_a), 0) : 0;
    fuzz_check(count >= 0);
    return {bytes_a, static_cast<size_t>(count)};
}

extern "C" {

int __real_open(const char *path, int flags, ...);
int __wrap_open(const char *path, int flags, ...)
{
    memory_file &file = meant(path);
    if (!file.m_exists && (flags & O_CREAT) == 0) {
        errno = ENOENT;
        return -1;
    }
    if (!file.m_exists) {
        fuzz_check(ftruncate(file.m_fd, 0) == 0);
        file.m_exists = true;
    }
    return __real_open(file.m_opened_as_a, flags & ~O_CREAT);
}

int __wrap_access(const char *path, int /*mode*/)
{
    if (strcmp(path, "/amt") == 0 || meant(path).m_exists) {
        return 0;
    }
    errno = ENOENT;
    return -1;
}

int __wrap_mkdir(const char * /*path*/, unsigned /*mode*/)
{
    return 0;
}

int __wrap__Z18pub_util_run_shellPKc(const char *command)
{
    if (g_fuzz_shell != nullptr) {
        g_fuzz_shell(command);
    }
    return 0;
}

void __wrap__Z17pub_util_sleep_msj(uint32_t /*milliseconds*/) {}
}
