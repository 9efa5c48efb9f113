#include "fuzz/world_choices.h"

#include <errno.h>
#include <limits.h>
#include <string.h>

#include "pub/log/errors.h"

namespace {

uint8_t g_choices_a[static_cast<size_t>(point::count)];

constexpr uint8_t k_behaviour = 0x0F;
constexpr uint8_t k_before = 0x70;
constexpr uint8_t k_one_before = 0x10;
constexpr uint8_t k_stays = 0x80;

constexpr int k_errors_a[] = {0, EIO, EBADF, ENOSPC, EAGAIN};
constexpr int k_numbers_a[] = {0, -1, 1, ERR_NOT_FOUND, INT_MIN, INT_MAX};

template <typename type, size_t count>
constexpr size_t count_of(const type (&)[count])
{
    return count;
}

} // namespace

void choices_reset()
{
    memset(g_choices_a, 0, sizeof(g_choices_a));
}

void choices_set(const uint8_t *pairs, size_t length)
{
    for (size_t i = 0; i + 1 < length; i += 2) {
        g_choices_a[pairs[i] % count_of(g_choices_a)] = pairs[i + 1];
    }
}

uint8_t choose(point at)
{
    uint8_t &choice = g_choices_a[static_cast<size_t>(at)];
    if ((choice & k_before) != 0) {
        choice = static_cast<uint8_t>(choice - k_one_before);
        return 0;
    }
    const uint8_t behaviour = choice & k_behaviour;
    if ((choice & k_stays) == 0) {
        choice = 0;
    }
    return behaviour;
}

bool is_failure(uint8_t behaviour)
{
    if (behaviour == 0 || behaviour >= count_of(k_errors_a)) {
        return false;
    }
    errno = k_errors_a[behaviour];
    return true;
}

bool choose_failure(point at)
{
    return is_failure(choose(at));
}

int choose_number(point at)
{
    return k_numbers_a[choose(at) % count_of(k_numbers_a)];
}
