// A whole log: a folder and a file of any name, any texts and bytes in its records, a ring of any size. What stands in
// the file at the end is compared, byte for byte, with a text that is written by hand; so are the file's path and the
// commands that move older logs away. The lines themselves are those of sfw_log_format_record, which log-record checks.
//
// Input: numbers, the folder, the command line, the file's name (each up to a zero byte), then steps.
#include <errno.h>
#include <string.h>
#include <sys/time.h>
#include <unistd.h>

#include <iterator>
#include <string>

#include "fuzz/pure_files.h"
#include "fuzz/pure_input.h"
#include "fuzz/pure_texts.h"
#include "pub/log/log.h"
#include "pub/log/log_client.h"

namespace {

constexpr char k_log[] = "the log";
constexpr char k_internal_log[] = "the internal log";
constexpr char k_command_line[] = "the command line";
constexpr int k_most_steps = 24;
constexpr size_t k_directory_size = 255;
constexpr size_t k_path_size = 512;
constexpr time_t k_now = 86400 * 365 + 3600 * 7 + 60 * 8 + 9; // 1971-01-01 07:08:09
constexpr char k_date[] = "1971-01-01 07:08:09:010\n\n";
constexpr char k_titles[] =
    "    TIME     |   TID    |              FUNCTION              |  LINE  |    LEVEL     | INFO\n";
constexpr char k_footer[] =
    "\n========================================= log  end =========================================\n";

constexpr sfw_log_site k_site = {"fuzz", "function", 5};
constexpr int k_error = 7; // errno at each record

std::string g_opened; // the path of the log's file
std::string g_commands;

const char *file_of(const char *path)
{
    const std::string_view view = path;
    if (view.substr(0, 6) == "/proc/" && view.substr(view.rfind('/')) == "/cmdline") {
        return k_command_line;
    }
    constexpr std::string_view internal = "/log_internal.log";
    static bool has_internal = false; // it is opened once
    if (!has_internal && view.size() > internal.size() && view.substr(view.size() - internal.size()) == internal) {
        has_internal = true;
        return k_internal_log;
    }
    g_opened = path;
    return k_log;
}

void note_command(const char *command)
{
    g_commands.append(command).append("\n");
}

// --- names

struct names {
    std::string m_folder; // without a slash at its end, but for the log's own
    std::string m_process;
    bool m_is_own;
};

names expect_names(std::string_view directory, std::string_view command_line)
{
    const std::string_view word = fuzz_text_of(command_line.substr(0, std::min<size_t>(command_line.find('\n'), 99)));
    names expected = {std::string(directory), "", false};
    for (size_t i = directory.size(); i > 0 && directory[i - 1] == '/'; i--) {
        expected.m_folder[i - 1] = '0';
    }
    const std::string_view name = word.substr(word.rfind('/') + 1);
    if (!word.empty() && name.empty()) {
        return expected;
    }
    expected.m_process = name.substr(0, 49);
    expected.m_folder += "/";
    expected.m_is_own = expected.m_folder.size() + expected.m_process.size() + 4 < k_directory_size;
    expected.m_folder += expected.m_is_own ? expected.m_process + "-log" : "";
    return expected;
}

std::string expect_path(const names &expected, std::string_view name)
{
    std::string component(name.substr(name.rfind('/') + 1));
    component = component.empty() ? expected.m_process : component;
    char number_a[16];
    (void)snprintf(number_a, sizeof(number_a), "%08X", static_cast<unsigned>(getpid()));
    component = component.empty() ? number_a : component;
    const bool has_ending = component.size() >= 4 && component.substr(component.size() - 4) == ".log";
    return (expected.m_folder + "/" + component + (has_ending ? "" : ".log")).substr(0, k_path_size - 1);
}

std::string quoted(const std::string &text)
{
    std::string word = "'";
    for (const char character : text) {
        word += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return word + "'";
}

void check_rotation(const names &expected, uint32_t generations)
{
    std::string commands;
    const auto folder = [&](uint32_t generation) {
        return " " + quoted(expected.m_folder) + (generation == 0 ? "" : "-" + std::to_string(generation));
    };
    if (expected.m_is_own && generations > 0) {
        commands = "/system/bin/rm" + folder(generations) + "/*\n/system/bin/rmdir" + folder(generations) + "\n";
        for (uint32_t generation = generations; generation > 0; generation--) {
            commands += "/system/bin/mv" + folder(generation - 1) + folder(generation) + "\n";
        }
    }
    g_commands.clear();
    sfw_log_rotate(generations);
    fuzz_check(g_commands == commands);
}

// --- the ring

std::string g_expected;
size_t g_position;
size_t g_ring_start;
uint32_t g_limit;

void expect_text(std::string_view text)
{
    g_position = g_position > g_limit ? g_ring_start : g_position;
    g_expected.replace(g_position, text.size(), text);
    g_position += text.size();
}

// The caller's own text, if there is one, is 1,023 characters at most.
void expect_record(const sfw_log_record &record, const std::string *text)
{
    const std::string info = text == nullptr ? "" : text->substr(0, 1023);
    const sfw_log_circumstances now = {7, 8, 9, 10, gettid(), k_error, text == nullptr ? nullptr : info.c_str()};
    char line[SFW_LOG_LINE_SIZE];
    expect_text({line, sfw_log_format_record(record, now, line)});
}

void expect_header()
{
    const std::string bar(92, '=');
    g_expected.clear();
    g_position = 0;
    g_ring_start = 0;
    expect_text(k_date + bar + "\n" + k_titles + bar + "\n");
    g_ring_start = g_position;
}

// --- records

std::string take_text(fuzz_input &input)
{
    std::string text(input.take_text());
    const size_t repeats = input.take_u8() % 32U; // short texts become long ones
    const std::string once = text;
    for (size_t i = 0; i < repeats && text.size() < 2048; i++) {
        text += once;
    }
    return text;
}

// A record as the fuzzer expects it, of any level; what it is about is added by whoever wants it.
sfw_log_record record_of(uint32_t level)
{
    return {k_site, level, 0, sfw_log_dump::none, nullptr, 0, nullptr, sfw_log_port::none, 0};
}

void write_warning(int32_t /*code*/, const std::string &text)
{
    sfw_log_text(k_site, SFW_LOG_WARNING, "%s", text.c_str());
    expect_record(record_of(SFW_LOG_WARNING), &text);
}

void write_failure(int32_t code, const std::string &text)
{
    sfw_log_record record = record_of(SFW_LOG_ERROR);
    record.m_code = code;
    fuzz_check(sfw_log_failure(k_site, SFW_LOG_ERROR, code, "%s", text.c_str()) == code);
    expect_record(record, &text);
}

void write_fatal_failure(int32_t code, const std::string & /*text*/)
{
    sfw_log_record record = record_of(SFW_LOG_FATAL_ERROR);
    record.m_code = code;
    fuzz_check(sfw_log_failure(k_site, SFW_LOG_FATAL_ERROR, code) == code);
    expect_record(record, nullptr);
}

void write_failed_call(int32_t /*code*/, const std::string &text)
{
    sfw_log_record record = record_of(SFW_LOG_SYS_ERROR);
    record.m_name = text.c_str();
    fuzz_check(sfw_log_failed_call(k_site, text.c_str()) == ERR_C_FUNCTION);
    expect_record(record, nullptr);
}

void write_bytes(int32_t /*code*/, const std::string &text)
{
    sfw_log_record record = record_of(SFW_LOG_DATA);
    record.m_dump_kind = sfw_log_dump::bytes;
    record.m_data = text.data();
    record.m_length = text.size();
    sfw_log_bytes(k_site, text.c_str(), text.data(), text.size());
    expect_record(record, &text);
}

void write_at_text(int32_t code, const std::string &text)
{
    constexpr auto first_kind = static_cast<unsigned>(sfw_log_dump::at_mux_to_ata);
    sfw_log_record record = record_of(SFW_LOG_AT_CMD);
    record.m_dump_kind = static_cast<sfw_log_dump>(first_kind + static_cast<uint8_t>(code) % 6);
    record.m_data = text.data();
    record.m_length = text.size();
    sfw_log_at_text(k_site, record.m_dump_kind, text.data(), text.size());
    expect_record(record, nullptr);
}

void write_entry(int32_t /*code*/, const std::string & /*text*/)
{
    sfw_log_entry(k_site);
    expect_record(record_of(SFW_LOG_FUNC), nullptr);
}

void mark(int32_t /*code*/, const std::string & /*text*/)
{
    sfw_log_mark_position();
    g_ring_start = g_position <= g_limit - g_limit / 4 ? g_position : g_ring_start;
}

constexpr void (*k_steps_a[])(int32_t code, const std::string &text) = {
    write_warning, write_failure, write_fatal_failure, write_failed_call, write_bytes, write_at_text, write_entry, mark,
};

void step(fuzz_input &input)
{
    const uint8_t what = input.take_u8();
    const auto code = static_cast<int32_t>(static_cast<int8_t>(input.take_u8()));
    const std::string text = take_text(input);
    errno = k_error;
    k_steps_a[what % std::size(k_steps_a)](code, text);
    fuzz_check(errno == k_error);
}

} // namespace

extern "C" int __wrap_gettimeofday(timeval *now, void * /*zone*/)
{
    *now = {k_now, 10999};
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    (void)setenv("TZ", "UTC", 1);
    g_fuzz_file_of = file_of;
    g_fuzz_shell = note_command;
    fuzz_file_put(k_command_line, "fuzz");
    fuzz_check(sfw_log_set_directory("/first") == ERR_NONE);
    (void)sfw_log_start(SFW_LOG_DEFAULT_OBJECT, "first"); // opens the internal log
    sfw_log_stop(nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const uint8_t choices = input.take_u8();
    g_limit = input.take_u8() * 32U;
    sfw_log_set_size_limit(g_limit);
    const std::string directory = take_text(input);
    const bool is_path = !directory.empty() && directory.size() < k_directory_size - 1;
    fuzz_check(sfw_log_set_directory(directory.c_str()) == (is_path ? ERR_NONE : ERR_INVALID_PARAM));
    if (!is_path) {
        fuzz_check(sfw_log_set_directory("/data/local/log") == ERR_NONE);
    }
    const std::string command_line = take_text(input);
    const std::string name = take_text(input);
    fuzz_file_put(k_command_line, command_line);
    fuzz_file_remove(k_log);
    const names expected = expect_names(is_path ? directory : "/data/local/log", command_line);
    if (choices % 2 != 0) {
        check_rotation(expected, choices / 2 % 4);
    }
    expect_header();
    fuzz_check(sfw_log_start(SFW_LOG_DEFAULT_OBJECT, name.c_str()) != nullptr);
    fuzz_check(g_opened == expect_path(expected, name));
    for (int i = 0; i < k_most_steps && !input.is_empty(); i++) {
        step(input);
    }
    sfw_log_stop(nullptr);
    expect_text(k_footer);
    fuzz_check(fuzz_file_content(k_log) == g_expected);
    return 0;
}
