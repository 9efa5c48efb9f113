// Any bytes in what the kernel and others tell of processes and of mounts: pid files, command lines, the list of the
// mounts. Each reader stays within its buffer and finds what a reader of the fuzzer's own finds.
//
// Input: a byte of choices, the bounds, the name that is looked for (up to a zero byte), the file; a pid file ends with
// a zero byte, behind which the command line stands.
#include <string.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <string>

#include "amt/run-mode.h"
#include "fuzz/pure_files.h"
#include "fuzz/pure_input.h"
#include "fuzz/pure_number.h"
#include "fuzz/pure_texts.h"
#include "pub/log/errors.h"
#include "pub/log/log_directory.h"
#include "pub/util/util.h"

namespace {

constexpr char k_pid_file[] = "/tmp/kv-zep-amt.pid";
constexpr char k_mounts[] = "/proc/mounts";
constexpr char k_command_line[] = "/proc/<pid>/cmdline";
constexpr size_t k_name_max = 60;
constexpr size_t k_word_max = 255;
constexpr size_t k_piece_max = 198;
constexpr const char *k_white_space = " \t\n\v\f\r";

guarded_bytes<300> g_place;
std::string g_command_line_path; // of the process that is asked for
struct statfs g_sizes;

const char *file_of(const char *path)
{
    return path == g_command_line_path ? k_command_line : nullptr;
}

void expect_process(long pid)
{
    g_command_line_path = "/proc/" + std::to_string(pid) + "/cmdline";
}

// The first word; null when there is none.
std::string_view word_of(std::string_view content)
{
    const size_t begin = content.find_first_not_of(k_white_space);
    if (begin == std::string_view::npos) {
        return {};
    }
    content.remove_prefix(begin);
    return content.substr(0, std::min(content.find_first_of(k_white_space), k_word_max));
}

void check_command_line(std::string_view content, uint32_t capacity)
{
    const std::string_view word = word_of(content);
    const std::string_view expected = fuzz_text_of(word).substr(0, capacity - 1);
    const int32_t result = word.empty() ? ERR_C_FUNCTION : ERR_NONE;
    fuzz_file_put(k_command_line, content);
    expect_process(getpid());
    const char *buffer = g_place.of(capacity);
    fuzz_check(pub_util_get_cmd_line(getpid(), g_place.of(capacity), capacity) == result);
    fuzz_check(g_place.is_guarded() && buffer == expected);
    fuzz_check(pub_util_get_process_path(g_place.of(capacity), capacity) == result);
    fuzz_check(g_place.is_guarded() && buffer == expected.substr(0, expected.rfind('/')));
}

// The log's own reader: up to a line feed, blanks and all.
void check_process_name(std::string_view content, uint32_t size)
{
    const std::string_view word = fuzz_text_of(content.substr(0, std::min<size_t>(content.find('\n'), 99)));
    const std::string_view name = word.substr(word.rfind('/') + 1);
    const bool is_named = word.empty() || !name.empty();
    fuzz_file_put(k_command_line, content);
    expect_process(getpid());
    const char *buffer = g_place.of(size);
    fuzz_check(get_process_name(g_place.of(size), size) == (is_named ? ERR_NONE : ERR_UNKNOWN));
    fuzz_check(g_place.is_guarded() && (!is_named || buffer == name.substr(0, size - 1)));
}

void check_pid_file(std::string_view pid_file, std::string_view command_line, const std::string &name)
{
    const fuzz_number number = fuzz_number_of(fuzz_text_of(pid_file));
    const std::string_view word = fuzz_text_of(word_of(command_line));
    const bool is_run = number.m_is_there && word.find(name) != std::string_view::npos;
    fuzz_file_put(k_pid_file, pid_file);
    fuzz_file_put(k_command_line, command_line);
    int32_t is_run_told = 77;
    int32_t pid = 77;
    expect_process(number.m_value);
    const int32_t result = pub_util_get_pid_and_check_run(k_pid_file, name.c_str(), &is_run_told, &pid);
    if (name.empty()) {
        fuzz_check(result == ERR_INVALID_PARAM && is_run_told == 77 && pid == 77);
        return;
    }
    fuzz_check(result == ERR_NONE && is_run_told == (is_run ? 1 : 0));
    fuzz_check(pid == (is_run ? static_cast<int32_t>(static_cast<uint64_t>(number.m_value)) : 0));
}

// The folder of the program decides where it looks for its own files; only the platform's is looked for by its name.
void check_run_mode(std::string_view command_line)
{
    const std::string_view word = fuzz_text_of(word_of(command_line));
    const std::string folder(word.substr(0, word.rfind('/')));
    const bool is_platforms = folder.find("/system/bin") != std::string::npos;
    fuzz_file_put(k_command_line, command_line);
    expect_process(getpid());
    amt_run_mode mode = {};
    memset(mode.m_config_file_a, 'x', sizeof(mode.m_config_file_a));
    amt_choose_run_mode(&mode);
    const std::string config = (is_platforms ? "/system/etc" : folder) + "/kv-zep-amt.cfg";
    const std::string pid_file = (is_platforms ? "/tmp" : folder) + "/kv-zep-amt.pid";
    fuzz_check(mode.m_platform_flag == (is_platforms ? 1 : 0) && mode.m_text != nullptr);
    fuzz_check(mode.m_config_file_a == config.substr(0, sizeof(mode.m_config_file_a) - 1));
    fuzz_check(mode.m_pid_file_a == pid_file.substr(0, sizeof(mode.m_pid_file_a) - 1));
}

void check_mounts(std::string_view mounts, const std::string &path)
{
    fuzz_file_put(k_mounts, mounts);
    bool is_mounted = false;
    while (!mounts.empty()) {
        const std::string_view line = fuzz_text_of(fuzz_take_piece(mounts, k_piece_max));
        is_mounted = is_mounted || line.find(path) != std::string_view::npos;
    }
    pub_util_fs_info info = {};
    const int32_t result = pub_util_get_mount_fs_info(path.c_str(), &info);
    if (path.empty() || !is_mounted) {
        fuzz_check(result == (path.empty() ? ERR_INVALID_PARAM : ERR_NOT_FOUND));
        return;
    }
    const auto in_kib = [](uint64_t blocks) { return static_cast<uint32_t>(blocks * 4096 / 1024); };
    fuzz_check(result == ERR_NONE && info.m_total_kib == in_kib(g_sizes.f_blocks));
    fuzz_check(info.m_available_kib == in_kib(g_sizes.f_bavail));
    fuzz_check(info.m_used_kib == in_kib(g_sizes.f_blocks) - in_kib(g_sizes.f_bavail));
}

} // namespace

// The console of the service.
extern "C" void __wrap__Z14pub_util_printPKcz(const char * /*format*/, ...) {}

extern "C" int __wrap_statfs(const char * /*path*/, struct statfs *info)
{
    *info = g_sizes;
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    g_fuzz_file_of = file_of;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const uint8_t choices = input.take_u8();
    const uint32_t capacity = 1U + input.take_u8() + choices % 8;
    g_sizes.f_bsize = 4096;
    g_sizes.f_blocks = input.take_u32() >> 12; // less than a terabyte, of which the lower bits count
    g_sizes.f_bavail = g_sizes.f_blocks / (1U + input.take_u8());
    const std::string name(input.take_text().substr(0, k_name_max));
    switch (choices / 8 % 5) {
    case 0:
        check_mounts(input.take_rest(), name);
        break;
    case 1:
        check_command_line(input.take_rest(), capacity);
        break;
    case 2:
        check_process_name(input.take_rest(), capacity);
        break;
    case 3:
        check_run_mode(input.take_rest());
        break;
    default: {
        const std::string_view pid_file = input.take_text();
        check_pid_file(pid_file, input.take_rest(), name);
        break;
    }
    }
    return 0;
}
