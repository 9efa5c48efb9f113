// What the fuzzers of the pure readers share: the bytes of one execution, taken from the front, and the check that ends
// the program at once, so that the fuzzer keeps the input.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string_view>

[[noreturn]] inline void fuzz_fail(const char *condition, const char *file, int line)
{
    (void)fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    abort();
}

#define fuzz_check(condition) ((condition) ? static_cast<void>(0) : fuzz_fail(#condition, __FILE__, __LINE__))

// Whether all bytes are 0. By the C library, because a loop of the fuzzer's own would be slowed down by its probes.
inline bool are_zero(std::string_view bytes)
{
    static constexpr char k_zeros_a[8192] = {};
    fuzz_check(bytes.size() <= sizeof(k_zeros_a));
    return memcmp(bytes.data(), k_zeros_a, bytes.size()) == 0;
}

// What lies behind the end of the bytes reads as 0, or as nothing.
class fuzz_input {
  public:
    fuzz_input(const uint8_t *data, size_t size)
        : m_rest(reinterpret_cast<const char *>(data), size)
    {
    }
    explicit fuzz_input(std::string_view bytes)
        : m_rest(bytes)
    {
    }

    [[nodiscard]] bool is_empty() const { return m_rest.empty(); }

    uint8_t take_u8()
    {
        const std::string_view byte = take(1);
        return byte.empty() ? uint8_t{0} : static_cast<uint8_t>(byte[0]);
    }

    uint32_t take_u32()
    {
        uint32_t value = 0;
        for (int i = 0; i < 4; i++) {
            value = value << 8 | take_u8();
        }
        return value;
    }

    // Up to `count` bytes.
    std::string_view take(size_t count)
    {
        const std::string_view taken = m_rest.substr(0, count);
        m_rest.remove_prefix(taken.size());
        return taken;
    }

    // The bytes in front of the next zero byte, which is taken as well.
    std::string_view take_text()
    {
        const std::string_view text = take(m_rest.find('\0'));
        (void)take(1);
        return text;
    }

    std::string_view take_rest() { return take(m_rest.size()); }

  private:
    std::string_view m_rest;
};

// A buffer of `size` bytes at most, behind which eight bytes tell whether anything was written past its capacity.
template <size_t size>
class guarded_bytes {
  public:
    // The capacity of the next call, at most `size`; all of the buffer is other than 0 then.
    char *of(size_t capacity)
    {
        fuzz_check(capacity <= size);
        m_capacity = capacity;
        memset(m_bytes_a, k_mark, capacity + k_guard);
        return m_bytes_a;
    }

    [[nodiscard]] bool is_guarded() const
    {
        return std::string_view(m_bytes_a + m_capacity, k_guard) ==
               std::string_view("\xA5\xA5\xA5\xA5\xA5\xA5\xA5\xA5");
    }

    [[nodiscard]] std::string_view bytes() const { return {m_bytes_a, m_capacity}; }

  private:
    static constexpr size_t k_guard = 8;
    static constexpr int k_mark = 0xA5;
    size_t m_capacity = 0;
    char m_bytes_a[size + k_guard] = {};
};
