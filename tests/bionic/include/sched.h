// Priorities of processes.
#pragma once

#include <linux/sched.h>
#include <sys/types.h>

struct sched_param {
    int sched_priority;
};

extern "C" {
int sched_get_priority_max(int policy);
int sched_setscheduler(pid_t pid, int policy, const sched_param *parameter);
}
