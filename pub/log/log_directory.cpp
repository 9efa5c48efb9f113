#include "pub/log/log_directory.h"

#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>

#include "pub/base/scoped.h"
#include "pub/base/shell.h"
#include "pub/log/errors.h"

#define INTERNAL_SITE (sfw_log_site{"log/log_client", __func__, __LINE__})

namespace {

constexpr size_t k_directory_size = 255;
constexpr size_t k_name_size = 50;
constexpr size_t k_path_size = k_directory_size + 1 + 256; // a directory, "/" and a file name
constexpr uint32_t k_internal_limit = 102400;
constexpr char k_tools[] = "/system/bin";
constexpr char k_ending[] = ".log";

char g_directory_a[k_directory_size] = "/data/local/log";
bool g_initialised = false; // the directory ends in the process name, or has no room for it
bool g_own_folder = false;  // it does end in the process name
std::atomic<int> g_internal_fd{-1};
std::atomic<uint32_t> g_internal_count{0};

// The first command-line word, up to 99 characters or a line feed. Empty when it could not be read.
void read_first_word(int fd, char (&word)[100])
{
    size_t length = 0;
    while (length < sizeof(word) - 1 && read(fd, word + length, 1) == 1 && word[length] != '\n') {
        length++;
    }
    word[length] = '\0';
}

// "/data/local/log" -> "/data/local/log/kv-zep-amt-log", when the process has a name and the text has room.
void initialise_directory()
{
    char name[k_name_size] = "";
    if (g_initialised || get_process_name(name, sizeof(name)) != ERR_NONE) {
        return;
    }
    size_t length = strlen(g_directory_a);
    while (length > 0 && g_directory_a[length - 1] == '/') {
        length--;
    }
    g_directory_a[length++] = '/'; // 253 characters at most came in, so there is room
    g_directory_a[length] = '\0';
    const size_t room = sizeof(g_directory_a) - length;
    if (strlen(name) + strlen("-log") < room) {
        (void)snprintf(g_directory_a + length, room, "%s-log", name);
        g_own_folder = true;
    }
    g_initialised = true;
}

void make_directories()
{
    char path[k_directory_size];
    memcpy(path, g_directory_a, sizeof(path));
    for (size_t i = 1; path[i - 1] != '\0'; i++) {
        const char end = path[i];
        if (end != '/' && end != '\0') {
            continue;
        }
        path[i] = '\0';
        if (mkdir(path, 0777) != 0 && errno != EEXIST) {
            return;
        }
        path[i] = end;
    }
}

const char *last_component(const char *path)
{
    const char *slash = strrchr(path, '/');
    return slash == nullptr ? path : slash + 1;
}

bool ends_in_log(const char *name)
{
    const size_t length = strlen(name);
    const size_t ending = strlen(k_ending);
    return length >= ending && strcmp(name + length - ending, k_ending) == 0;
}

void build_file_path(const char *name, char (&path)[k_path_size])
{
    char process_name[k_name_size] = "";
    const char *component = name == nullptr ? "" : last_component(name);
    if (component[0] == '\0' && get_process_name(process_name, sizeof(process_name)) == ERR_NONE) {
        component = process_name;
    }
    if (component[0] == '\0') {
        (void)snprintf(path, sizeof(path), "%s/%08X%s", g_directory_a, static_cast<unsigned>(getpid()), k_ending);
    } else {
        (void)snprintf(path, sizeof(path), "%s/%s%s", g_directory_a, component, ends_in_log(component) ? "" : k_ending);
    }
}

bool is_there(uint32_t generation)
{
    char path[k_path_size];
    (void)snprintf(path, sizeof(path), "%s-%u", g_directory_a, generation);
    return access(path, F_OK) == 0;
}

} // namespace

int32_t get_process_name(char *name, size_t size)
{
    if (name == nullptr || size == 0) {
        log_internal(INTERNAL_SITE, "%d - %s.\n", ERR_INVALID_PARAM, error_text(ERR_INVALID_PARAM).c_str());
        return ERR_INVALID_PARAM;
    }
    char path[32];
    (void)snprintf(path, sizeof(path), "/proc/%d/cmdline", static_cast<int>(getpid()));
    const scoped_fd file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file.is_open()) {
        const int saved = errno;
        log_internal(INTERNAL_SITE, "open \"%s\" fail: %d - %s.\n", path, saved, error_text(saved).c_str());
        return ERR_UNKNOWN;
    }
    char word[100];
    read_first_word(file.get(), word);
    const char *component = last_component(word);
    if (word[0] != '\0' && component[0] == '\0') {
        log_internal(INTERNAL_SITE, "can not get valid name from \"%s\".\n", word);
        return ERR_UNKNOWN;
    }
    memset(name, 0, size);
    memcpy(name, component, strnlen(component, size - 1));
    return ERR_NONE;
}

int32_t sfw_log_set_directory(const char *path)
{
    const size_t length = path == nullptr ? 0 : strlen(path);
    if (length == 0 || length > k_directory_size - 2) {
        return ERR_INVALID_PARAM;
    }
    g_initialised = false;
    g_own_folder = false;
    memset(g_directory_a, 0, sizeof(g_directory_a));
    memcpy(g_directory_a, path, length);
    for (size_t i = length; i > 0 && g_directory_a[i - 1] == '/'; i--) {
        g_directory_a[i - 1] = '0';
    }
    return ERR_NONE;
}

void sfw_log_rotate(uint32_t generations)
{
    initialise_directory();
    if (!g_own_folder || generations == 0) {
        return;
    }
    char folder[4 * k_directory_size + 3];
    char command[2 * sizeof(folder) + 64];
    (void)pub_util_quote_for_shell(g_directory_a, folder, sizeof(folder)); // it has room for the worst
    (void)snprintf(command, sizeof(command), "%s/rm %s-%u/*", k_tools, folder, generations);
    (void)pub_util_run_shell(command); // a generation that is not there yet is no failure
    (void)snprintf(command, sizeof(command), "%s/rmdir %s-%u", k_tools, folder, generations);
    (void)pub_util_run_shell(command);
    // One that is still there, as a command has failed, would take the next one in, and could never be removed again.
    for (uint32_t k = generations; k >= 2 && !is_there(k); k--) {
        (void)snprintf(command, sizeof(command), "%s/mv %s-%u %s-%u", k_tools, folder, k - 1, folder, k);
        (void)pub_util_run_shell(command);
    }
    if (!is_there(1)) {
        (void)snprintf(command, sizeof(command), "%s/mv %s %s-1", k_tools, folder, folder);
        (void)pub_util_run_shell(command);
    }
}

int log_directory_open_file(const char *name)
{
    initialise_directory();
    make_directories();
    char path[k_path_size];
    build_file_path(name, path);
    // A pipe in place of the file is refused, not waited for.
    return open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666);
}

void log_directory_open_internal()
{
    if (g_internal_fd < 0) {
        const int fd = log_directory_open_file("log_internal.log");
        if (fd >= 0) {
            (void)fcntl(fd, F_SETFL, O_APPEND); // a line is one write at the end, whichever threads write
        }
        g_internal_fd = fd;
    }
}

void log_internal(const sfw_log_site &site, const char *format, ...)
{
    const int fd = g_internal_fd;
    if (fd < 0 || g_internal_count >= k_internal_limit) {
        return;
    }
    const int saved = errno;
    char text[512];
    char line[640];
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    (void)snprintf(line, sizeof(line), "%s -> %s -> %d -> %s", site.m_module, site.m_function, site.m_line, text);
    const size_t length = strlen(line);
    if (write(fd, line, length) > 0) {
        g_internal_count += static_cast<uint32_t>(length);
    }
    errno = saved;
}
