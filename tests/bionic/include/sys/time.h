// The time of day.
#pragma once

#include <linux/time.h>
#include <sys/types.h>

extern "C" {
int gettimeofday(struct timeval *now, struct timezone *zone);
}
