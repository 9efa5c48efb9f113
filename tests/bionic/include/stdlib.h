// Memory, numbers in texts, the end of the process, pseudo-terminals.
#pragma once

#include <stddef.h>

extern "C" {
void *calloc(size_t count, size_t size);
[[noreturn]] void exit(int status);
void free(void *memory);
int grantpt(int fd);
void *malloc(size_t size);
char *ptsname(int fd);
long strtol(const char *text, char **end, int base);
long long strtoll(const char *text, char **end, int base);
int unlockpt(int fd);
}
