// Threads. None can be cancelled here: there is no pthread_cancel.
#pragma once

#include <sched.h>
#include <signal.h>
#include <stdint.h>
#include <sys/types.h>
#include <time.h>

struct pthread_attr_t {
    uint32_t flags;
    void *stack_base;
    size_t stack_size;
    size_t guard_size;
    int32_t sched_policy;
    int32_t sched_priority;
    char reserved[16];
};

struct pthread_mutex_t {
    int32_t reserved[10];
};
using pthread_mutexattr_t = long;
using pthread_key_t = int;

#define PTHREAD_CREATE_DETACHED 1
#define PTHREAD_MUTEX_INITIALIZER                                                                                      \
    {                                                                                                                  \
        {                                                                                                              \
            0                                                                                                          \
        }                                                                                                              \
    }

extern "C" {
int pthread_atfork(void (*prepare)(), void (*parent)(), void (*child)());
int pthread_attr_destroy(pthread_attr_t *attributes);
int pthread_attr_init(pthread_attr_t *attributes);
int pthread_attr_setdetachstate(pthread_attr_t *attributes, int state);
int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *), void *argument);
int pthread_equal(pthread_t one, pthread_t other);
[[noreturn]] void pthread_exit(void *result);
void *pthread_getspecific(pthread_key_t key);
int pthread_key_create(pthread_key_t *key, void (*destroy)(void *));
int pthread_mutex_destroy(pthread_mutex_t *mutex);
int pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attributes);
int pthread_mutex_lock(pthread_mutex_t *mutex);
int pthread_mutex_unlock(pthread_mutex_t *mutex);
pthread_t pthread_self();
int pthread_setspecific(pthread_key_t key, const void *value);
}
