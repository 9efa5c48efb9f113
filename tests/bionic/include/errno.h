// errno and its numbers.
#pragma once

#include <linux/errno.h>

extern "C" {
int *__errno() __attribute__((const));
}

#define errno (*__errno())
