// Clocks and timers. A timer's id is a pointer.
#pragma once

#include <signal.h>
#include <sys/time.h>
#include <sys/types.h>

struct tm {
    int tm_sec;
    int tm_min;
    int tm_hour;
    int tm_mday;
    int tm_mon;
    int tm_year;
    int tm_wday;
    int tm_yday;
    int tm_isdst;
    long tm_gmtoff;
    const char *tm_zone;
};

extern "C" {
int clock_gettime(int clock, timespec *now);
tm *localtime_r(const time_t *seconds, tm *local);
int nanosleep(const timespec *time, timespec *left);
int timer_create(int clock, sigevent *notification, timer_t *timer);
int timer_delete(timer_t timer);
int timer_settime(timer_t timer, int flags, const itimerspec *time, itimerspec *previous);
}
