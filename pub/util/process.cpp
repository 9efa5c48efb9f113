// This process and others: command lines and pid files.
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "pub/base/scoped.h"
#include "pub/base/shell.h"
#include "pub/cfg/cfg.h"
#include "pub/util/util.h"

#define LOG_MODULE "kv-zep-pub"
#include "pub/log/log.h"

namespace {

constexpr size_t k_word_size = 256;
#define WORD_FORMAT "%255s"

void log_open_failure(const char *path)
{
    const int saved = errno;
    (void)log_error(ERR_C_FUNCTION, "Open file \"%s\" fail: %d - %s", path, saved, error_text(saved).c_str());
}

// The number in the pid file; false when there is none.
bool read_pid(const char *path, long *pid)
{
    const scoped_file file(pub_cfg_open(path));
    if (!file.is_open()) {
        log_open_failure(path);
        return false;
    }
    errno = 0;
    const int result = fscanf(file.get(), "%ld", pid); // NOLINT(cert-err34-c): a number out of range is no process
    if (result != 1) {
        const int saved = errno;
        (void)log_error(ERR_C_FUNCTION, "fscanf() return: %d; %d - %s", result, saved, error_text(saved).c_str());
        return false;
    }
    log_info("pub_util_get_pid_and_check_run pid[%d]", static_cast<int>(*pid));
    return true;
}

// Whether the first word of the process's command line, up to its first NUL, contains the name.
bool is_process_named(long pid, const char *name)
{
    char path[80];
    (void)snprintf(path, sizeof(path), "/proc/%ld/cmdline", pid);
    const scoped_file file(pub_cfg_open(path));
    if (!file.is_open()) {
        log_open_failure(path);
        return false;
    }
    char word[k_word_size] = "";
    const int result = fscanf(file.get(), WORD_FORMAT, word);
    log_info("pub_util_get_pid_and_check_run fscanf buf_a[%s] ret_val[%d]", word, result);
    return strstr(word, name) != nullptr;
}

} // namespace

int32_t pub_util_get_pid_and_check_run(const char *pid_file, const char *name, int32_t *is_run, int32_t *pid)
{
    log_func();
    const bool file_is_empty = pid_file != nullptr && pid_file[0] == '\0';
    const bool name_is_empty = name != nullptr && name[0] == '\0';
    if (pid_file == nullptr || name == nullptr || is_run == nullptr || pid == nullptr || file_is_empty ||
        name_is_empty) {
        return log_error(ERR_INVALID_PARAM, "%d, %d, %d, %d, %d, %d", pid_file == nullptr, file_is_empty,
                         name == nullptr, name_is_empty, is_run == nullptr, pid == nullptr);
    }
    log_info("pub_util_get_pid_and_check_run pid_file_ptr[%s] name_ptr[%s]", pid_file, name);
    *is_run = 0;
    *pid = 0;
    long number = 0;
    if (read_pid(pid_file, &number) && is_process_named(number, name)) {
        *is_run = 1;
        *pid = static_cast<int32_t>(number);
    }
    log_info("pub_util_get_pid_and_check_run return is_run_ptr[%d] pid_ptr[%d]", *is_run, *pid);
    return ERR_NONE;
}

int32_t pub_util_get_cmd_line(pid_t pid, char *buffer, uint32_t capacity)
{
    log_func();
    if (buffer == nullptr || capacity == 0) {
        return log_error(ERR_INVALID_PARAM, "%d, %d", buffer == nullptr, capacity == 0);
    }
    memset(buffer, 0, capacity);
    char path[80];
    (void)snprintf(path, sizeof(path), "/proc/%ld/cmdline", static_cast<long>(pid));
    const scoped_file file(pub_cfg_open(path));
    if (!file.is_open()) {
        log_open_failure(path);
        return ERR_C_FUNCTION;
    }
    char word[k_word_size] = "";
    if (fscanf(file.get(), WORD_FORMAT, word) != 1) {
        return log_sys_error("fscanf");
    }
    memcpy(buffer, word, strnlen(word, capacity - 1));
    return ERR_NONE;
}

int32_t pub_util_get_process_path(char *buffer, uint32_t capacity)
{
    log_func();
    const int32_t result = pub_util_get_cmd_line(getpid(), buffer, capacity);
    if (result != ERR_NONE) {
        return result;
    }
    char *slash = strrchr(buffer, '/');
    if (slash != nullptr) {
        *slash = '\0';
    }
    return ERR_NONE;
}

void pub_util_create_pid_file(const char *name)
{
    log_func();
    if (name == nullptr) {
        (void)log_error(ERR_INVALID_PARAM, "%d", name == nullptr);
        return;
    }
    const int pid = static_cast<int>(getpid());
    char path[60];
    struct stat info = {};
    (void)snprintf(path, sizeof(path), "/tmp/%s.pid", name);
    if (stat(path, &info) == 0 && S_ISFIFO(info.st_mode)) {
        log_warning("\"%s\" is a pipe: it would hold the start until somebody reads it", path);
    } else {
        char command[60]; // a longer one is cut
        (void)snprintf(command, sizeof(command), "echo %d > /tmp/%s.pid", pid, name);
        (void)pub_util_run_shell(command); // a service without its pid file still serves
    }
    log_info("PID of %s: %d", name, pid);
}
