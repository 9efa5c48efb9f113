// The property store of a workstation: one small file per property in /dev/__properties__, its name the key and its
// content the value, without a line feed. A value is written beside its place and renamed into it, so a reader finds
// the old value or the new one and never a part. Names that begin with a dot are values on their way and no properties.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cutils/properties.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/linux/handset.h"

static const char k_store[] = "/dev/__properties__/";

static bool is_key(const char *key)
{
    return key != nullptr && key[0] != '\0' && key[0] != '.' && strlen(key) < PROPERTY_KEY_MAX &&
           strchr(key, '/') == nullptr;
}

// Returns the length read, 0 also for a property that is not there.
static size_t read_value(const char *key, char *value)
{
    const int descriptor = open(handset_path_of(k_store, key).m_text, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return 0;
    }
    ssize_t count = 0;
    do {
        count = read(descriptor, value, PROPERTY_VALUE_MAX - 1);
    } while (count < 0 && errno == EINTR);
    (void)close(descriptor);
    return count < 0 ? 0 : strnlen(value, static_cast<size_t>(count));
}

PLATFORM_ENTRY int property_get(const char *key, char *value, const char *default_value)
{
    size_t length = is_key(key) ? read_value(key, value) : 0;
    if (length == 0 && default_value != nullptr) {
        length = strnlen(default_value, PROPERTY_VALUE_MAX - 1);
        memcpy(value, default_value, length);
    }
    value[length] = '\0';
    return static_cast<int>(length);
}

static bool write_value(int descriptor, const char *value)
{
    const size_t length = strlen(value);
    // Readable by all, as properties are; the temporary file was created for its owner only.
    const bool is_whole = handset_write(descriptor, value, length) == static_cast<int>(length);
    return fchmod(descriptor, 0644) == 0 && is_whole;
}

static int store_value(const char *key, const char *value)
{
    handset_path temporary = handset_path_of(k_store, ".new.XXXXXX");
    const int descriptor = mkostemp(temporary.m_text, O_CLOEXEC);
    if (descriptor < 0) {
        return -1;
    }
    const bool is_written = write_value(descriptor, value);
    (void)close(descriptor);
    if (is_written && rename(temporary.m_text, handset_path_of(k_store, key).m_text) == 0) {
        return 0;
    }
    (void)unlink(temporary.m_text);
    return -1;
}

PLATFORM_ENTRY int property_set(const char *key, const char *value)
{
    const char *const text = value == nullptr ? "" : value;
    // Also what is refused below: the record is of calls, and whoever sees a property changed finds the call in it.
    handset_record("property_set(%s, %s)", key == nullptr ? "" : key, text);
    if (!is_key(key) || strlen(text) >= PROPERTY_VALUE_MAX) {
        return -1;
    }
    return store_value(key, text);
}
