// Texts, whatever the case of their letters.
#pragma once

#include <stddef.h>

extern "C" {
int strcasecmp(const char *one, const char *other);
int strncasecmp(const char *one, const char *other, size_t count);
}
