#include "amt/identity/identity-files.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "pub/base/file.h"
#include "pub/base/shell.h"
#include "pub/base/wait.h"
#include "pub/cfg/cfg.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr size_t k_command_size = 100; // a longer command is cut
constexpr int k_line_size = 99;        // a longer line is cut
#define WORD_FORMAT "%99s"
static_assert(k_line_size < static_cast<int>(AMT_FILE_TEXT_SIZE), "a line fits the text, and so does a word");

constexpr char k_sync[] = "/system/bin/sync";
constexpr uint32_t k_sync_pause_ms = 50;

void run_on(const char *command, const char *path)
{
    char text[k_command_size];
    (void)snprintf(text, sizeof(text), "%s %s", command, path);
    (void)pub_util_run_shell(text); // a folder without its group serves its purpose
}

// Reads a text from a file by a function that tells whether there was any.
template <typename read_type>
file_reading read_text(const char *path, char (&text)[AMT_FILE_TEXT_SIZE], const read_type &read)
{
    text[0] = '\0';
    FILE *file = pub_cfg_open(path);
    if (file == nullptr) {
        return file_reading::not_opened;
    }
    errno = 0; // the end of the file sets none
    const bool is_read = read(file);
    const int error = errno;
    (void)fclose(file); // read from
    errno = error;
    if (!is_read) {
        text[0] = '\0'; // a failed read leaves it undefined
        return file_reading::nothing_read;
    }
    return file_reading::done;
}

bool write_all(int fd, const char *text)
{
    errno = 0; // a short write sets none
    return write(fd, text, strlen(text)) == static_cast<ssize_t>(strlen(text));
}

// A line with its line feed.
struct line_text {
    explicit line_text(const char *line) { (void)snprintf(m_text, sizeof(m_text), "%s\n", line); }
    char m_text[AMT_FILE_TEXT_SIZE];
};

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

void amt_protect_folder(const char *path)
{
    run_on("chmod -R 555", path);
    log_info("path = %s change to chmod -R 555", path);
}

file_reading amt_read_line(const char *path, char (&line)[AMT_FILE_TEXT_SIZE])
{
    return read_text(path, line, [&line](FILE *file) { return fgets(line, k_line_size, file) != nullptr; });
}

file_reading amt_read_word(const char *path, char (&word)[AMT_FILE_TEXT_SIZE])
{
    return read_text(path, word, [&word](FILE *file) { return fscanf(file, WORD_FORMAT, word) == 1; });
}

int32_t amt_read_line_or_tell(const char *path, char (&line)[AMT_FILE_TEXT_SIZE], log_caller caller)
{
    const file_reading reading = amt_read_line(path, line);
    if (reading == file_reading::not_opened) {
        return amt_tell_open_failure(ERR_C_FUNCTION, path, caller);
    }
    if (reading == file_reading::nothing_read) {
        const int error = errno;
        return log_error_of(caller, ERR_C_FUNCTION, "read fail: %d - %s", error, error_text(error).c_str());
    }
    return ERR_NONE;
}

int32_t amt_read_data_from_file(char (&text)[AMT_FILE_TEXT_SIZE], const char *path)
{
    log_func();
    const int32_t result = amt_read_line_or_tell(path, text, LOG_HERE);
    if (result == ERR_NONE) {
        log_info("read content: %s", text);
    }
    return result;
}

int amt_open_anew(const char *path)
{
    return pub_util_open_file(path, O_RDWR | O_CREAT | O_TRUNC);
}

int32_t amt_tell_open_failure(int32_t code, const char *path, log_caller caller)
{
    const int error = errno;
    return log_error_of(caller, code, "open(\"%s\") fail: %d - %s", path, error, error_text(error).c_str());
}

bool amt_write_and_close(int fd, const char *text)
{
    const bool is_written = write_all(fd, text);
    const int error = errno;
    const bool is_closed = close(fd) == 0; // some file systems tell only now that there is no room
    errno = is_written ? errno : error;
    return is_written && is_closed;
}

bool amt_write_line_and_close(int fd, const char *line)
{
    return amt_write_and_close(fd, line_text(line).m_text);
}

bool amt_write_line(int fd, const char *line)
{
    return write_all(fd, line_text(line).m_text);
}

void amt_sync_files()
{
    for (int round = 0; round < 2; round++) {
        pub_util_sleep_ms(k_sync_pause_ms);
        (void)pub_util_run_shell(k_sync); // a disk that cannot be told keeps its own time
    }
}

int32_t amt_write_and_tell(const char *path, const char *text, const char *what, log_caller caller)
{
    const int fd = amt_open_anew(path);
    if (fd < 0) {
        return amt_tell_open_failure(ERR_C_FUNCTION, path, caller);
    }
    int32_t result = ERR_NONE;
    if (amt_write_and_close(fd, text)) {
        log_info_of(caller, "%s: %s", what, text);
    } else {
        const int error = errno; // 0 when the file took only a part
        result = log_error_of(caller, ERR_C_FUNCTION, "fputs fail: %d - %s", error, error_text(error).c_str());
    }
    amt_sync_files();
    return result;
}
