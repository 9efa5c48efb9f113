// Any values of the properties that name the firmware: the version is made of the right ones, and never longer than a
// version may be.
//
// Input: the values, each up to a zero byte, in the order of the list below.
#include <cutils/properties.h>
#include <string.h>
#include <strings.h>

#include <algorithm>
#include <iterator>
#include <string>

#include "amt/at-local/version.h"
#include "fuzz/pure_input.h"
#include "pub/log/errors.h"

namespace {

enum property : size_t { customer, manufacturer, incremental, firmware_id, display_id };
constexpr const char *k_keys_a[] = {"ro.build.customer", "ro.product.manufacturer", "ro.build.version.incremental",
                                    "ro.build.display.kv.id", "ro.build.display.id"};
std::string g_values_a[std::size(k_keys_a)];

std::string value_or_blank(property which)
{
    return g_values_a[which].empty() ? " " : g_values_a[which];
}

std::string expect_version()
{
    const bool is_makers_own = strcasecmp(g_values_a[customer].c_str(), "korven") == 0 ||
                               strcasecmp(g_values_a[manufacturer].c_str(), "korven") == 0;
    const std::string own = "TELO " + value_or_blank(incremental) + "(" + value_or_blank(firmware_id) + ")";
    return (is_makers_own ? own : value_or_blank(display_id)).substr(0, AMT_VERSION_SIZE - 1);
}

} // namespace

extern "C" int __wrap_property_get(const char *key, char *value, const char *default_value)
{
    const auto *found =
        std::find_if(std::begin(k_keys_a), std::end(k_keys_a), [&](const char *own) { return strcmp(own, key) == 0; });
    fuzz_check(found != std::end(k_keys_a));
    const std::string &set = g_values_a[found - k_keys_a];
    const std::string text = set.empty() ? default_value : set;
    memset(value, 'x', PROPERTY_VALUE_MAX); // all of the array is the property's
    memcpy(value, text.c_str(), text.size() + 1);
    return static_cast<int>(text.size());
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    for (std::string &value : g_values_a) {
        value = input.take_text().substr(0, PROPERTY_VALUE_MAX - 1);
    }
    static guarded_bytes<AMT_VERSION_SIZE> place;
    uint32_t length = 77;
    const std::string expected = expect_version();
    fuzz_check(get_ap_sw_version(place.of(AMT_VERSION_SIZE), &length) == ERR_NONE);
    fuzz_check(place.is_guarded() && place.bytes().substr(0, length) == expected);
    return 0;
}
