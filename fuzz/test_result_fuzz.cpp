// Any contents of the two files of verdicts, and any sequence of readings and writings on them, against two texts that
// are changed by hand: every item is where it belongs, and nothing else changes.
//
// Input: a byte that tells which file is missing, the first file (up to 0xFF), the second (likewise), then steps.
#include <string>

#include "amt/results/amt-test-result.h"
#include "fuzz/pure_files.h"
#include "fuzz/pure_input.h"

namespace {

constexpr int k_most_steps = 8;
constexpr size_t k_most_bytes = 4096;

struct expected_file {
    const char *m_path;
    int32_t m_count;
    bool m_exists;
    std::string m_content;
};

expected_file g_product = {"/amt/product.txt", 36, false, ""};
expected_file g_modem = {"/amt/amt_result.txt", 20, false, ""};

void put(expected_file &file, bool exists, std::string_view content)
{
    file.m_exists = exists;
    file.m_content = exists ? content.substr(0, k_most_bytes) : "";
    if (exists) {
        fuzz_file_put(file.m_path, file.m_content);
    } else {
        fuzz_file_remove(file.m_path);
    }
}

void expect_made(expected_file &file)
{
    for (int32_t item = 0; !file.m_exists && item < file.m_count; item++) {
        file.m_content += "0\n";
    }
    file.m_exists = true;
}

// What a file that is too short lacks is filled with zero bytes; below item 0 it is item 0 that changes.
void expect_written(expected_file &file, int32_t index, uint32_t result)
{
    const size_t at = index < 0 ? 0 : 2 * static_cast<size_t>(index);
    file.m_content.resize(std::max(file.m_content.size(), at + 1));
    file.m_content[at] = result == 1 ? '1' : result == 2 ? '2' : '0';
}

void check_write(expected_file &file, int32_t index, uint32_t verdict, int32_t result)
{
    if (index >= file.m_count) {
        fuzz_check(result == AMT_RESULT_NOT_SAVED);
        return;
    }
    expect_made(file);
    expect_written(file, index, verdict);
    fuzz_check(result == 0);
}

void check_read(int32_t index)
{
    const int32_t result = read_item(index);
    if (index >= g_product.m_count) {
        fuzz_check(result == AMT_RESULT_NOT_SAVED);
        return;
    }
    expect_made(g_product);
    if (index < 0) {
        fuzz_check(result == AMT_RESULT_NO_ACCESS);
        return;
    }
    const size_t at = 2 * static_cast<size_t>(index);
    const char digit = at < g_product.m_content.size() ? g_product.m_content[at] : '0';
    fuzz_check(result == (digit >= '0' && digit <= '9' ? digit - '0' : 0));
}

void check_file(const expected_file &file)
{
    fuzz_check(fuzz_file_exists(file.m_path) == file.m_exists);
    fuzz_check(fuzz_file_content(file.m_path) == file.m_content);
}

void step(fuzz_input &input)
{
    const uint8_t what = input.take_u8();
    const int32_t index = (what & 4) != 0 ? static_cast<int32_t>(input.take_u32()) : input.take_u8() % 40;
    const uint32_t verdict = (what & 8) != 0 ? input.take_u32() : what >> 4;
    switch (what % 4) {
    case 0:
        return check_read(index);
    case 1:
        return check_write(g_modem, index, verdict, write_amt_item(index, verdict));
    default:
        return check_write(g_product, index, verdict, write_item(index, verdict));
    }
}

std::string_view take_file(fuzz_input &input)
{
    fuzz_input ahead = input;
    const std::string_view content = ahead.take_rest();
    const std::string_view file = input.take(content.find('\xFF'));
    (void)input.take(1);
    return file;
}

} // namespace

// The console of the service.
extern "C" void __wrap__Z14pub_util_printPKcz(const char * /*format*/, ...) {}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const uint8_t choices = input.take_u8();
    put(g_product, (choices & 1) == 0, take_file(input));
    put(g_modem, (choices & 2) == 0, take_file(input));
    for (int i = 0; i < k_most_steps && !input.is_empty(); i++) {
        step(input);
    }
    check_read(0);
    check_file(g_product);
    check_file(g_modem);
    return 0;
}
