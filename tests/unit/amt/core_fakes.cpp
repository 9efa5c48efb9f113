#include "tests/unit/amt/core_fakes.h"

#include <dlfcn.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "amt/core/context.h"

core_fakes g_fake;

namespace {

bool is_link(int fd)
{
    return fd > 0 && (fd == handle_context_st.m_fd_pc || fd == handle_context_st.m_pty.m_ptm_fd);
}

} // namespace

extern "C" {

ssize_t __real_write(int fd, const void *bytes, size_t count);
ssize_t __wrap_write(int fd, const void *bytes, size_t count)
{
    if (!is_link(fd) || g_fake.write_fails_at == 0 || --g_fake.write_fails_at != 0) {
        return __real_write(fd, bytes, count);
    }
    if (g_fake.write_error != 0) {
        errno = g_fake.write_error;
        return -1;
    }
    return g_fake.write_count == 0 ? 0 : __real_write(fd, bytes, g_fake.write_count);
}

int __real_close(int fd);
int __wrap_close(int fd)
{
    if (g_fake.on_close) {
        g_fake.on_close(fd);
    }
    return __real_close(fd);
}

int __wrap__Z18pub_util_run_shellPKc(const char *command)
{
    g_fake.commands.emplace_back(command);
    return g_fake.command_status;
}

void __wrap__Z17pub_util_sleep_msj(uint32_t milliseconds)
{
    g_fake.pauses.push_back(milliseconds);
    if (g_fake.on_pause) {
        g_fake.on_pause();
    }
}

void __wrap__Z22pub_util_sleep_secondsj(uint32_t seconds)
{
    g_fake.long_pauses.push_back(seconds);
    if (g_fake.on_long_pause) {
        g_fake.on_long_pause();
    }
}

int __wrap__Z18platform_power_offv()
{
    if (g_fake.on_power_off) {
        return g_fake.on_power_off();
    }
    ADD_FAILURE() << "nothing here is to switch the handset off";
    return 0;
}

int __real_property_get(const char *key, char *value, const char *default_value);
int __wrap_property_get(const char *key, char *value, const char *default_value)
{
    if (g_fake.empty_property == key) {
        value[0] = '\0';
        return 0;
    }
    return __real_property_get(key, value, default_value);
}

void *__real_dlopen(const char *path, int flags);
void *__wrap_dlopen(const char *path, int flags)
{
    g_fake.loaded.emplace_back(path);
    g_fake.load_flags.push_back(flags);
    return __real_dlopen(g_fake.has_no_library ? "/no/such/library" : MISC_LIBRARY, flags);
}

void *__real_dlsym(void *library, const char *name);
void *__wrap_dlsym(void *library, const char *name)
{
    if (library == RTLD_NEXT) { // not the service, but what stands before its calls under a sanitizer
        return __real_dlsym(library, name);
    }
    g_fake.looked_up.emplace_back(name);
    if (g_fake.entry != nullptr) {
        return g_fake.entry;
    }
    return __real_dlsym(library, g_fake.has_no_entry ? "no_such_entry" : name);
}

int __real_dlclose(void *library);
int __wrap_dlclose(void *library)
{
    g_fake.unloaded++;
    if (g_fake.on_unload) {
        g_fake.on_unload();
    }
    return __real_dlclose(library);
}

char *__real_dlerror();
char *__wrap_dlerror()
{
    return g_fake.has_no_reason ? nullptr : __real_dlerror();
}
}
