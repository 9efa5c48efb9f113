// Semaphores without a name; there are no others.
#pragma once

#include <time.h>

struct sem_t {
    unsigned count;
    int reserved[3];
};

extern "C" {
int sem_init(sem_t *semaphore, int is_shared, unsigned count);
int sem_post(sem_t *semaphore);
int sem_timedwait(sem_t *semaphore, const timespec *end);
int sem_wait(sem_t *semaphore);
}
