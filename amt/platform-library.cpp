#include "amt/platform-library.h"

#include <cutils/properties.h>
#include <dlfcn.h>
#include <misc.h>
#include <stdio.h>
#include <string.h>

#define LOG_MODULE "amt/amt-device"
#include "pub/log/log.h"

namespace {

constexpr char k_folder[] = "/system/lib64/hw";
constexpr char k_chip_property[] = "ro.board.platform";
constexpr char k_default_chip[] = "kv7100";
constexpr char k_other_chip[] = "kv7101";

char g_misc_library_a[512];
char g_audio_library_a[512]; // told in the log, loaded by others

// What is told of a call besides that it begins and ends.
enum class telling { nothing, value, value_and_success };

// An entry of the misc library.
struct misc_entry {
    const char *m_name;
    telling m_telling;
};

// clang-format off
constexpr misc_entry k_codec_loop_test      = {"codec_loop_test",         telling::nothing};
constexpr misc_entry k_create_devinfo       = {"create_devinfo",          telling::value};
constexpr misc_entry k_enter_idle           = {"enter_idle",              telling::value_and_success};
constexpr misc_entry k_usb_charger_enable   = {"amt_usb_charger_enable",  telling::value_and_success};
constexpr misc_entry k_check_system_sanity  = {"amt_check_system_sanity", telling::value};
constexpr misc_entry k_is_charge_state      = {"IsChargeState",           telling::value};
// clang-format on

void tell_end(const misc_entry &entry, int result, log_caller caller)
{
    if (entry.m_telling == telling::nothing) {
        log_info_of(caller, "stop call %s.", entry.m_name);
    } else {
        log_info_of(caller, "stop call %s. return value:%d.", entry.m_name, result);
    }
}

// Loads the library, hands the entry to `call`, and unloads the library; without the entry it stays loaded. Stores what
// the entry returned. It is told in the name of the caller, with `detail` behind the beginning. ERR_C_FUNCTION without
// the library or the entry.
template <typename entry_type, typename call_type>
int32_t call_library(const misc_entry &entry, const char *detail, int32_t *returned, const call_type &call,
                     log_caller caller)
{
    void *library = dlopen(g_misc_library_a, RTLD_LAZY);
    void *found = library == nullptr ? nullptr : dlsym(library, entry.m_name);
    if (found == nullptr) {
        const char *reason = dlerror(); // NOLINT(concurrency-mt-unsafe): the text is the calling thread's own
        return log_error_of(caller, ERR_C_FUNCTION, "call dlopen fail: - %s",
                            reason == nullptr ? entry.m_name : reason);
    }
    log_info_of(caller, "will call %s.%s", entry.m_name, detail);
    *returned = call(reinterpret_cast<entry_type>(found));
    tell_end(entry, *returned, caller);
    (void)dlclose(library); // nothing to be done about it here
    if (*returned == 0 && entry.m_telling == telling::value_and_success) {
        log_info_of(caller, "%s return OK.", entry.m_name);
    }
    return ERR_NONE;
}

// For an entry whose value is a result: it, or ERR_C_FUNCTION.
template <typename entry_type, typename call_type>
int32_t get_result(const misc_entry &entry, const call_type &call, log_caller caller)
{
    int32_t returned = 0;
    const int32_t result = call_library<entry_type>(entry, "", &returned, call, caller);
    return result != ERR_NONE ? result : returned;
}

// For an entry that takes nothing and whose value is what is asked for: 0 until it has been called.
template <typename entry_type>
int32_t read_value(const misc_entry &entry, uint32_t *value, log_caller caller)
{
    int32_t returned = 0;
    const int32_t result = call_library<entry_type>(
        entry, "", &returned, [](auto call) { return call(); }, caller);
    *value = static_cast<uint32_t>(returned);
    return result;
}

const char *get_chip()
{
    char value[PROPERTY_VALUE_MAX] = "";
    if (property_get(k_chip_property, value, "") <= 0) {
        return k_default_chip;
    }
    log_info("property-%s value: %s", k_chip_property, value);
    return strstr(value, k_other_chip) != nullptr ? k_other_chip : k_default_chip;
}

} // namespace

void decide_platform_lib_name()
{
    log_func();
    const char *chip = get_chip();
    (void)snprintf(g_audio_library_a, sizeof(g_audio_library_a), "%s/audio.primary.%s.amt.so", k_folder, chip);
    (void)snprintf(g_misc_library_a, sizeof(g_misc_library_a), "%s/amt.%s.misc.so", k_folder, chip);
    log_info("audio lib path-name: %s", g_audio_library_a);
    log_info("misc lib path-name: %s", g_misc_library_a);
}

int32_t amt_usb_charge_ctrl(int32_t type)
{
    log_func();
    log_info("will call amt_usb_charger_enable , type:%d.", type);
    if (type < 0) {
        return log_error(ERR_INVALID_PARAM, "parameter type(%d) is not valid.", type);
    }
    return get_result<amt_usb_charger_enable_fn>(
        k_usb_charger_enable, [type](auto enable) { return enable(type); }, LOG_HERE);
}

int32_t amt_boot_dl_fin_read(uint32_t *state)
{
    log_func();
    log_info("amt_boot_dl_fin_read start.");
    return read_value<amt_check_system_sanity_fn>(k_check_system_sanity, state, LOG_HERE);
}

int32_t amt_get_charge_mode(uint32_t *mode)
{
    log_func();
    return read_value<is_charge_state_fn>(k_is_charge_state, mode, LOG_HERE);
}

int32_t amt_make_ue_enter_idle()
{
    log_func();
    return get_result<enter_idle_fn>(
        k_enter_idle, [](auto enter) { return enter(); }, LOG_HERE);
}

int32_t amt_test_codec_loop(int32_t type, int32_t enable)
{
    log_func();
    char detail[64];
    (void)snprintf(detail, sizeof(detail), " enable:%d; type:%d.", enable, type);
    int32_t ignored = 0; // it says nothing
    return call_library<codec_loop_test_fn>(
        k_codec_loop_test, detail, &ignored, [type, enable](auto test) { return test(type, enable); }, LOG_HERE);
}

int32_t amt_create_device_info(char (&text)[AMT_DEVICE_INFO_SIZE + 1])
{
    log_func();
    memset(text, 0, sizeof(text)); // one more than the library is told of: it may forget the terminator
    return get_result<create_devinfo_fn>(
        k_create_devinfo, [&text](auto create) { return create(text, AMT_DEVICE_INFO_SIZE); }, LOG_HERE);
}
