#include "amt/identity/identity-files.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "pub/base/scoped.h"
#include "pub/base/shell.h"
#include "pub/base/wait.h"
#include "pub/cfg/cfg.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr size_t k_command_size = 100; // a longer command is cut
constexpr int k_line_size = 99;        // a longer line is cut

constexpr char k_sync[] = "/system/bin/sync";
constexpr uint32_t k_sync_pause_ms = 50;

void run_on(const char *command, const char *path)
{
    char text[k_command_size];
    (void)snprintf(text, sizeof(text), "%s %s", command, path);
    (void)pub_util_run_shell(text); // a folder without its group serves its purpose
}

} // namespace

int32_t amt_make_folder(const char *path)
{
    log_func();
    if (access(path, F_OK) == 0) {
        log_info("amt_make_folder: %s exist.\r\n", path);
        return ERR_NONE;
    }
    log_info("amt_make_folder: %s does not exist.\r\n", path);
    if (mkdir(path, 0777) != 0) {
        const int error = errno;
        return log_error(ERR_C_FUNCTION, "amt_make_folder mkdir(%s) faild errno[%d] strerror[%s]", path, error,
                         error_text(error).c_str());
    }
    log_info("amt_make_folder mkdir(%s) successfully", path);
    run_on("chgrp -R radio", path);
    run_on("chmod 766", path);
    return ERR_NONE;
}

int32_t amt_read_data_from_file(char (&text)[AMT_FILE_TEXT_SIZE], const char *path)
{
    log_func();
    text[0] = '\0';
    const scoped_file file(pub_cfg_open(path));
    if (!file.is_open()) {
        const int error = errno;
        return log_error(ERR_C_FUNCTION, "open(\"%s\") fail: %d - %s", path, error, error_text(error).c_str());
    }
    errno = 0;
    if (fgets(text, k_line_size, file.get()) == nullptr) {
        const int error = errno; // 0 at the end of the file
        text[0] = '\0';
        return log_error(ERR_C_FUNCTION, "read fail: %d - %s", error, error_text(error).c_str());
    }
    log_info("read content: %s", text);
    return ERR_NONE;
}

bool amt_write_text(int fd, const char *text)
{
    errno = 0; // a short write sets none
    return write(fd, text, strlen(text)) == static_cast<ssize_t>(strlen(text));
}

bool amt_write_line(int fd, const char *line)
{
    char text[AMT_FILE_TEXT_SIZE];
    (void)snprintf(text, sizeof(text), "%s\n", line);
    return amt_write_text(fd, text);
}

void amt_protect_folder(const char *path)
{
    run_on("chmod -R 555", path);
    log_info("path = %s change to chmod -R 555", path);
}

void amt_sync_files()
{
    for (int round = 0; round < 2; round++) {
        pub_util_sleep_ms(k_sync_pause_ms);
        (void)pub_util_run_shell(k_sync); // a disk that cannot be told keeps its own time
    }
}
