// A small value of which each thread has its own, all bytes 0 at first. Not thread_local: the oldest compilers that
// build for the handset do not have it there, and the others take memory for it at a thread's first use, which may be
// in the handler of a signal or in a child that has just been made.
#pragma once

#include <pthread.h>
#include <stddef.h>
#include <string.h>

// Of a type that is copied byte by byte and no larger than a pointer. Made before main, never destroyed; any thread.
template <typename type>
class thread_value {
    static constexpr size_t k_size = sizeof(type); // NOLINT(bugprone-sizeof-expression): a pointer is as long as it is
    static_assert(k_size <= sizeof(void *), "a thread keeps a pointer");

  public:
    // Fails only once all keys of the process are taken, 128 on a handset. This is before main: a library that was
    // loaded with the service may have taken one or the other, and the service itself has a handful.
    thread_value() { (void)pthread_key_create(&m_key, nullptr); }
    thread_value(const thread_value &) = delete;
    thread_value &operator=(const thread_value &) = delete;

    [[nodiscard]] type get() const
    {
        const void *held = pthread_getspecific(m_key);
        type value;
        memcpy(&value, &held, k_size);
        return value;
    }

    void set(type value)
    {
        void *held = nullptr;
        memcpy(&held, &value, k_size);
        (void)pthread_setspecific(m_key, held); // fails on a key that is none only
    }

  private:
    pthread_key_t m_key{};
};
