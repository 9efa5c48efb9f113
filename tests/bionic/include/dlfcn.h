// Libraries loaded while running.
#pragma once

#define RTLD_LAZY 1

extern "C" {
int dlclose(void *library);
const char *dlerror();
void *dlopen(const char *path, int flags);
void *dlsym(void *library, const char *name);
}
