#include "amt/core/version-module.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

// clang-format off
constexpr version_module k_modules_a[] = {
    { 1, version_source::fixed_text, "AMT_PRODUCT_MODULE"},
    {16, version_source::software,   "AMT_SOFTWARE_MODULE"},
    {17, version_source::modem,      "AMT_L1_MODULE"},
    {18, version_source::modem,      "AMT_HLS_MODULE"},
    {19, version_source::fixed_text, "AMT_PLATFORM_MODULE"},
    {20, version_source::fixed_text, "AMT_APP_MODULE"},
    {32, version_source::fixed_text, "AMT_HARDWARE_MODULE"},
    {64, version_source::fixed_text, "AMT_WHOLE_MODULE"},
};
// clang-format on

constexpr char k_fixed_text[] = "\rAndroid4.2,2013-01-21"
                                "\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n"
                                "\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n";
static_assert(sizeof(k_fixed_text) - 1 == 64, "the fixed version is 64 characters");

const version_module *find_module(int32_t type)
{
    for (const version_module &module : k_modules_a) {
        if (module.m_type == type) {
            return &module;
        }
    }
    return nullptr;
}

} // namespace

const char *amt_get_module_name(int32_t type)
{
    const version_module *module = find_module(type);
    return module == nullptr ? "(undefined)" : module->m_name;
}

int32_t amt_read_version_module(const amt_buffer *request, const version_module **module)
{
    const uint32_t type = amt_message_get_int(request->m_data_a, AMT_VERSION_TYPE_ATOM);
    log_info("version type: 0x%02x - %s", type, amt_get_module_name(static_cast<int32_t>(type)));
    *module = find_module(static_cast<int32_t>(type));
    if (*module == nullptr) {
        return log_error(ERR_UNKNOWN, "unknown version type: 0x%02x", type);
    }
    return ERR_NONE;
}

int32_t amt_append_fixed_version(uint8_t *message)
{
    return amt_message_append_bytes(message, AMT_VERSION_TEXT_ATOM, k_fixed_text, sizeof(k_fixed_text) - 1);
}
