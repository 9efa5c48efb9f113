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

// The misc library from now until it is unloaded; one that lacks an entry stays loaded.
class misc_library {
  public:
    misc_library()
        : m_handle(dlopen(g_misc_library_a, RTLD_LAZY))
    {
    }

    // The entry of that name; null, and logged, when it or the library is missing.
    template <typename entry_type>
    [[nodiscard]] entry_type find(const char *name) const
    {
        void *entry = m_handle == nullptr ? nullptr : dlsym(m_handle, name);
        if (entry == nullptr) {
            const char *reason = dlerror(); // NOLINT(concurrency-mt-unsafe): the text is the calling thread's own
            (void)log_error(ERR_C_FUNCTION, "call dlopen fail: - %s", reason == nullptr ? name : reason);
        }
        return reinterpret_cast<entry_type>(entry);
    }

    // Behind a call of an entry that was found.
    void unload()
    {
        (void)dlclose(m_handle); // nothing to be done about it here
        m_handle = nullptr;
    }

  private:
    void *m_handle;
};

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
    misc_library library;
    const auto enable = library.find<amt_usb_charger_enable_fn>("amt_usb_charger_enable");
    if (enable == nullptr) {
        return ERR_C_FUNCTION;
    }
    log_info("will call amt_usb_charger_enable.");
    const int32_t result = enable(type);
    log_info("stop call amt_usb_charger_enable. return value:%d.", result);
    library.unload();
    if (result == 0) {
        log_info("amt_usb_charger_enable return OK.");
    }
    return result;
}

int32_t amt_boot_dl_fin_read(int32_t *state)
{
    log_func();
    log_info("amt_boot_dl_fin_read start.");
    *state = 0;
    misc_library library;
    const auto check = library.find<amt_check_system_sanity_fn>("amt_check_system_sanity");
    if (check == nullptr) {
        return ERR_C_FUNCTION;
    }
    log_info("will call amt_check_system_sanity.");
    *state = check();
    log_info("stop call amt_check_system_sanity. return value:%d.", *state);
    library.unload();
    return ERR_NONE;
}
