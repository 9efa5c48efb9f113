// Plain system calls throughout: stdio would take a verdict into its buffer and tell only at the closing, or never,
// that the disk did not.
#include "amt/results/amt-test-result.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include "pub/base/console.h"
#include "pub/base/file.h"
#include "pub/base/scoped.h"

#define LOG_MODULE "amt/amt-test-result"
#include "pub/log/log.h"

namespace {

constexpr char k_folder[] = "/amt";

struct result_file {
    const char *m_path;
    int32_t m_count; // items
};

constexpr result_file k_product_file = {"/amt/product.txt", 36};
constexpr result_file k_modem_file = {"/amt/amt_result.txt", 20}; // a copy of what the modem keeps

constexpr int32_t k_max_count = 36;
static_assert(k_product_file.m_count <= k_max_count && k_modem_file.m_count <= k_max_count, "must fit a new file");

constexpr off_t k_item_size = 2; // its digit and its line feed
static_assert(sizeof(off_t) > sizeof(int32_t), "the place of any index can be computed");

int open_file(const char *path, int flags)
{
    const int fd = pub_util_open_file(path, flags);
    if (fd < 0) {
        const int error = errno;
        (void)log_error(AMT_RESULT_NO_ACCESS, "open file(%s) failure. errorr: %d - %s", path, error,
                        error_text(error).c_str());
    }
    return fd;
}

bool write_whole(int fd, const char *text, size_t length)
{
    const ssize_t written = write(fd, text, length);
    if (written < 0) {
        (void)log_sys_error("write");
        return false;
    }
    if (static_cast<size_t>(written) != length) {
        log_warning("write not completed: to write(%d) != written(%d)", static_cast<int>(length),
                    static_cast<int>(written));
        return false;
    }
    return true;
}

const char *digit_of(uint32_t result)
{
    switch (result) {
    case AMT_TEST_PASSED:
        return "1";
    case AMT_TEST_FAILED:
        return "2";
    default:
        return "0";
    }
}

// A verdict that passed is not worth a line on the console.
void show(uint32_t result)
{
    if (result == AMT_TEST_FAILED) {
        pub_util_print("[TEST_RESULT] update item for TEST_FAIL");
    } else if (result != AMT_TEST_PASSED) {
        pub_util_print("[TEST_RESULT] update item for TEST_UNKNOWN");
    }
}

// One that cannot be looked at is left alone: made anew it would lose all its verdicts.
bool is_missing(const char *path)
{
    return access(path, F_OK) != 0 && errno == ENOENT;
}

int32_t write_to(const result_file &file, int32_t index, uint32_t result)
{
    if (index >= file.m_count) {
        return log_error(AMT_RESULT_NOT_SAVED, "item index error: %d\n", index);
    }
    if (access(k_folder, R_OK | W_OK) != 0) {
        return log_error(AMT_RESULT_NO_ACCESS, "Save fail: Directory access deny\n");
    }
    if (is_missing(file.m_path) && initTestFile(file.m_path, file.m_count) != 0) {
        return log_error(AMT_RESULT_NOT_MADE, "Save fail: init result file error\n");
    }
    if (update_item(file.m_path, index, result) != 0) {
        return log_error(AMT_RESULT_NOT_SAVED, "Save fail: update result error\n");
    }
    return 0;
}

// The folder readable and the file there, which is made if need be.
int32_t prepare_reading(const result_file &file)
{
    if (access(k_folder, R_OK) != 0) {
        const int error = errno;
        return log_error(AMT_RESULT_NO_ACCESS, "access folder(%s) failure. errorr: %d - %s", k_folder, error,
                         error_text(error).c_str());
    }
    if (access(file.m_path, F_OK) == 0) {
        return 0;
    }
    const int error = errno;
    // No failure yet: it is made if it is missing, and opened if it is not.
    log_warning("access file(%s) failure. errorr: %d - %s", file.m_path, error, error_text(error).c_str());
    if (error == ENOENT && initTestFile(file.m_path, file.m_count) != 0) {
        return log_error(AMT_RESULT_NOT_MADE, "initTestFile fail: init result file error\n");
    }
    return 0;
}

int32_t read_digit(int fd, int32_t index)
{
    if (lseek(fd, index * k_item_size, SEEK_SET) < 0) {
        const int error = errno;
        return log_error(AMT_RESULT_NO_ACCESS, "call fseek failure. errorr: %d - %s", error, error_text(error).c_str());
    }
    char text[2] = "";
    const ssize_t count = read(fd, text, 1);
    if (count < 0) {
        const int error = errno;
        return log_error(AMT_RESULT_NO_ACCESS, "call fgets error. errorr: %d - %s", error, error_text(error).c_str());
    }
    if (count > 0) {
        log_info("itemIndex = %d, buf= %s\n", index, text);
    }
    return text[0] >= '0' && text[0] <= '9' ? text[0] - '0' : 0;
}

} // namespace

int32_t initTestFile(const char *path, int32_t count)
{
    log_func();
    if (count > k_max_count) {
        return log_error(AMT_RESULT_NO_ACCESS, "test item error: %d\n", count);
    }
    log_info("initTestFile . path:%s; count: %d\n", path, count);
    const scoped_fd file(open_file(path, O_WRONLY | O_CREAT | O_TRUNC));
    if (!file.is_open()) {
        return AMT_RESULT_NO_ACCESS;
    }
    char text[k_max_count * k_item_size];
    size_t length = 0;
    for (int32_t item = 0; item < count; item++) {
        text[length++] = '0';
        text[length++] = '\n';
    }
    return write_whole(file.get(), text, length) ? 0 : AMT_RESULT_NO_ACCESS;
}

int32_t update_item(const char *path, int32_t index, uint32_t result)
{
    log_func();
    const scoped_fd file(open_file(path, O_RDWR));
    if (!file.is_open()) {
        return AMT_RESULT_NO_ACCESS;
    }
    (void)lseek(file.get(), index * k_item_size, SEEK_SET); // below 0 it fails, and item 0 is meant: keep
    const char *digit = digit_of(result);
    if (!write_whole(file.get(), digit, 1)) {
        return AMT_RESULT_NOT_MADE;
    }
    show(result);
    log_info("write item [%d], result= %s\n", index, digit);
    return 0;
}

int32_t write_item(int32_t index, uint32_t result)
{
    log_func();
    return write_to(k_product_file, index, result);
}

int32_t write_amt_item(int32_t index, uint32_t result)
{
    log_func();
    return write_to(k_modem_file, index, result);
}

int32_t read_item(int32_t index)
{
    log_func();
    if (index >= k_product_file.m_count) {
        return log_error(AMT_RESULT_NOT_SAVED, "item index error: %d\n", index);
    }
    const int32_t result = prepare_reading(k_product_file);
    if (result != 0) {
        return result;
    }
    const scoped_fd file(open_file(k_product_file.m_path, O_RDONLY));
    return file.is_open() ? read_digit(file.get(), index) : AMT_RESULT_NO_ACCESS;
}
