// Bytes and texts. strerror_r is the GNU one, under a name of its own, as in every C++ source since this level.
#pragma once

#include <stddef.h>
#include <strings.h>

extern "C" {
void *memchr(const void *bytes, int byte, size_t count);
int memcmp(const void *one, const void *other, size_t count);
void *memcpy(void *to, const void *from, size_t count);
void *memmove(void *to, const void *from, size_t count);
void *memset(void *bytes, int byte, size_t count);
char *strchr(const char *text, int character);
int strcmp(const char *one, const char *other);
size_t strcspn(const char *text, const char *characters);
char *strerror_r(int error, char *buffer, size_t size) __asm__("__gnu_strerror_r");
size_t strlen(const char *text);
int strncmp(const char *one, const char *other, size_t count);
size_t strnlen(const char *text, size_t max);
char *strrchr(const char *text, int character);
size_t strspn(const char *text, const char *characters);
char *strstr(const char *text, const char *part);
char *strtok_r(char *text, const char *separators, char **rest);
}
