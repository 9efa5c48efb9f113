// The handset's libraries and properties, replaced at link time like the calls of world_calls.cpp.
#include <cutils/properties.h>
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include <initializer_list>

#include "fuzz/world.h"
#include "fuzz/world_choices.h"
#include "fuzz/world_laws.h"

namespace {

int answer_of_library()
{
    return choose_number(point::library_call);
}
int answer_to_number(int)
{
    return choose_number(point::library_call);
}
int answer_to_two(int, int)
{
    return choose_number(point::library_call);
}

// As long as there is room for, when the answer is not chosen.
int describe_handset(char *buffer, int size)
{
    memset(buffer, 'x', static_cast<size_t>(size) - 1);
    buffer[size - 1] = '\0';
    return choose_number(point::library_call);
}

struct entry_row {
    const char *name;
    void *entry;
};
const entry_row k_entries_a[] = {
    {"codec_loop_test", reinterpret_cast<void *>(answer_to_two)},
    {"create_devinfo", reinterpret_cast<void *>(describe_handset)},
    {"enter_idle", reinterpret_cast<void *>(answer_of_library)},
    {"amt_usb_charger_enable", reinterpret_cast<void *>(answer_to_number)},
    {"amt_check_system_sanity", reinterpret_cast<void *>(answer_of_library)},
    {"IsChargeState", reinterpret_cast<void *>(answer_of_library)},
};

void *find_entry(const char *name)
{
    for (const entry_row &row : k_entries_a) {
        if (strcmp(row.name, name) == 0) {
            return row.entry;
        }
    }
    law_broken("an entry that the misc library has not", name);
}

uint8_t g_library_choice = 0; // of the loading, which decides for all that follows
int g_loaded = 0;             // the library's place, as a handle

} // namespace

extern "C" {

// --- the misc library

void *__real_dlopen(const char *path, int flags);
void *__wrap_dlopen(const char *path, int flags)
{
    if (!g_world_runs) {
        return __real_dlopen(path, flags);
    }
    g_library_choice = choose(point::library);
    return g_library_choice == 1 ? nullptr : &g_loaded;
}

void *__real_dlsym(void *library, const char *name);
void *__wrap_dlsym(void *library, const char *name)
{
    if (!g_world_runs || library != &g_loaded) {
        return __real_dlsym(library, name);
    }
    return g_library_choice == 0 ? find_entry(name) : nullptr;
}

int __real_dlclose(void *library);
int __wrap_dlclose(void *library)
{
    return g_world_runs ? 0 : __real_dlclose(library);
}

char *__real_dlerror();
char *__wrap_dlerror()
{
    static char reason_a[] = "the input says so";
    if (!g_world_runs) {
        return __real_dlerror();
    }
    return g_library_choice == 3 ? nullptr : reason_a;
}

// --- properties

int __wrap_property_get(const char *key, char *value, const char *default_value)
{
    const char *chosen = world_property(key);
    (void)snprintf(value, PROPERTY_VALUE_MAX, "%s", chosen == nullptr ? default_value : chosen);
    return static_cast<int>(strlen(value));
}

int __wrap_property_set(const char *, const char *)
{
    return choose(point::property) == 0 ? 0 : -1;
}

// --- radios

int __wrap_hwt_btCtrl(int)
{
    return choose_number(point::radio);
}
int __wrap_hwt_btCheck()
{
    return choose_number(point::radio);
}
int __wrap_hwt_wifiCtrl(int)
{
    world_note_wifi();
    return choose_number(point::radio);
}
int __wrap_hwt_wifiCheck()
{
    return choose_number(point::radio);
}
int __wrap_hwt_gpsCtrl(int, int, int *svid, int *cnr)
{
    for (int *number : {svid, cnr}) {
        if (number != nullptr) {
            *number = choose_number(point::radio_count);
        }
    }
    return choose_number(point::radio);
}
int __wrap_hwt_gpsCheck()
{
    return choose_number(point::radio);
}
int __wrap_hwt_TxTest(int, int, int, int)
{
    return choose_number(point::radio);
}
int __wrap_hwt_RxTest(int, int, int, int *count)
{
    if (count != nullptr) {
        *count = choose_number(point::radio_count);
    }
    return choose_number(point::radio);
}
}
