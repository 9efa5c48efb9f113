// Where a thread of the service may be ended: in these waits and nowhere else.
//
// SIGTERM and SIGUSR2 (main thread) and SIGUSR1 (workers) are blocked from the first moment on. A wait lets in those
// that its own thread has admitted, makes the blocking call and blocks them again. There the handlers never return, so
// nothing is lost between the unblocking and the call, and no thread is ended inside malloc, stdio or a lock.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/select.h>
#include <sys/types.h>

enum class ending_signals {
    none,        // 0, the state of every thread at first: a signal stays pending
    main_thread, // SIGTERM and SIGUSR2
    worker,      // SIGUSR1
};

// Blocks every ending signal for the calling thread and for all that it will create. Main thread, before anything else;
// and a timer's callback, into which the C library may let them.
void pub_util_block_ending_signals();

// Chooses the signals that end the calling thread while it waits. Their handlers must be installed before.
void pub_util_admit_ending_signals(ending_signals signals);

// For the handler of the main thread's signals: one that came in on another thread, as on that of a timer, is handed to
// the main thread, which gets it in its next wait. False on the main thread itself.
[[nodiscard]] bool pub_util_hand_to_main_thread(int signal_number);

// Lets the admitted signals in for as long as it lives; held around one blocking call.
class signal_window {
  public:
    signal_window();
    ~signal_window();
    signal_window(const signal_window &) = delete;
    signal_window &operator=(const signal_window &) = delete;
};

// Sleeps the whole time, whatever other signals arrive, unless an admitted one ends the thread. Any thread.
void pub_util_sleep_ms(uint32_t milliseconds);
void pub_util_sleep_seconds(uint32_t seconds);

// A wait of no length: the thread is ended here if it has been told to.
void pub_util_take_ending_signal();

// Sleeps the whole time and lets nothing in: for microseconds, and for whoever is releasing the process. Any thread.
void pub_util_pause_us(uint32_t microseconds);

// read(2) and write(2), each one call: the count, or -1 with errno. A plain blocking call, because a tty that hangs up
// answers a reader that waits inside it otherwise than one that comes later. EINTR is never a result. Any thread.
[[nodiscard]] ssize_t pub_util_read(int fd, void *bytes, size_t count);
[[nodiscard]] ssize_t pub_util_write(int fd, const void *bytes, size_t count);

// select(2), as it is, for reading and writing; *left becomes what is left of the time. EINTR is never a result. Any
// thread.
[[nodiscard]] int pub_util_select(int count, fd_set *readable, fd_set *writable, timeval *left);

// Never returns and lets nothing in: for a thread that leaves the ending of the process to another.
[[noreturn]] void pub_util_park();
