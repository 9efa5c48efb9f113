// Streams and formatted texts.
#pragma once

#include <stdarg.h>
#include <sys/types.h>

struct FILE;

extern "C" {
int fclose(FILE *file);
FILE *fdopen(int fd, const char *mode);
int ferror(FILE *file);
int fflush(FILE *file);
char *fgets(char *text, int size, FILE *file);
int fprintf(FILE *file, const char *format, ...) __attribute__((format(printf, 2, 3)));
int fputs(const char *text, FILE *file);
int fscanf(FILE *file, const char *format, ...) __attribute__((format(scanf, 2, 3)));
int snprintf(char *text, size_t size, const char *format, ...) __attribute__((format(printf, 3, 4)));
int vsnprintf(char *text, size_t size, const char *format, va_list arguments) __attribute__((format(printf, 3, 0)));
}
