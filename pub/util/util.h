// Process and device utilities of the service family. Each logs its entry; a bad argument is logged as a row of 1/0
// flags and gives ERR_INVALID_PARAM, a failed system call is logged with errno and gives ERR_C_FUNCTION. All may be
// called on any thread unless said otherwise.
#pragma once

#include <pthread.h>
#include <stdint.h>
#include <sys/types.h>

#include <atomic>

#include "pub/base/wait.h"

// --- threads (thread.cpp)

// The handle of a worker, shared between the worker, which clears it on its way out, and whoever ends it. 0: none.
using pub_util_thread = std::atomic<pthread_t>;

// Starts a worker, detached. When this returns 0 the worker has stored its own handle and admitted its end, so it can
// be ended from then on. Otherwise the error of pthread_create.
[[nodiscard]] int pub_util_start_thread(pub_util_thread *handle, void (*body)());

// Ends a worker wherever it waits: signals it, gives it 10 ms, or up to half a second when it is busy, and clears the
// handle. A handle of 0, of a thread that no longer exists or of the calling thread is cleared and left alone (0).
// Otherwise 0 or the error of pthread_kill.
int32_t pub_util_kill_thread(pub_util_thread *handle);

// A worker's last step before it returns or ends the process, once it has admitted its end. When somebody is about to
// end this thread already, it waits here for that: a signal must never be sent to a thread that is gone.
void pub_util_clear_own_thread(pub_util_thread *handle);

// For a copy of the process, whose only thread may be a worker: its handle is its own again, also when somebody had
// taken it out to end the one that was copied.
void pub_util_keep_own_thread();

// The first step of every worker, taken for it by pub_util_start_thread: stores its own handle (its creator's copy may
// come too late for a thread that ends at once), installs pub_util_handle_thread_signal for SIGUSR1 and lets it in
// during waits.
void pub_util_admit_kill(pub_util_thread *own_handle);

// The SIGUSR1 handler of the workers: logs and ends the calling thread.
void pub_util_handle_thread_signal(int signal_number);

// The priority of the calling process becomes real-time (SCHED_FIFO, four below the highest). Refusals are logged only;
// returns 0 or what the log returned. Main thread, before any other exists.
int32_t pub_util_raise_process_priority();

// The short name of a signal, for example "SIGTERM"; an empty text for a number of no row (signal_name.cpp).
const char *pub_util_get_signal_name(int signal_number);

// --- devices (device.cpp)

// Sets or clears O_NONBLOCK.
int32_t pub_util_set_fd_mode(int fd, int32_t is_nonblock_mode);

// Raw 8-bit transfer with hardware flow control at the next supported rate: 115200, 230400, 460800 or, for all above,
// 921600 baud. Changes no flag that it does not have to.
void pub_util_set_serial_dev_attr(int fd, uint32_t baud_rate);

// Opens a device that may not be there yet. Closes and clears *fd first if it is open (above 0); tries `attempts` times
// and sleeps `interval_ms` after each failure, the last one included: a wait in which the calling thread can be ended.
// The device never becomes the controlling terminal and is closed on exec. ERR_C_FUNCTION, with *fd 0, after the last.
[[nodiscard]] int32_t pub_util_try_to_open_device(int *fd, const char *path, int flags, uint32_t attempts,
                                                  uint32_t interval_ms);

struct pub_util_fs_info {
    uint32_t m_total_kib;
    uint32_t m_used_kib; // whatever is not available
    uint32_t m_available_kib;
};

// The sizes of the file system at `path`, if a line of /proc/mounts contains it. ERR_NOT_FOUND when none does.
[[nodiscard]] int32_t pub_util_get_mount_fs_info(const char *path, pub_util_fs_info *info);

// --- processes (process.cpp)

// Whether the process named in the pid file runs and has `name` in its command line. *is_run 1 and *pid its number if
// so, both 0 if not, also when a file is missing or unreadable.
[[nodiscard]] int32_t pub_util_get_pid_and_check_run(const char *pid_file, const char *name, int32_t *is_run,
                                                     int32_t *pid);

// The first command-line word of a process, cut to capacity - 1 characters (255 at most).
[[nodiscard]] int32_t pub_util_get_cmd_line(pid_t pid, char *buffer, uint32_t capacity);

// The folder of this process's program as the command line names it: the word up to its last "/", or all of it.
[[nodiscard]] int32_t pub_util_get_process_path(char *buffer, uint32_t capacity);

// Writes this process's number to "/tmp/<name>.pid".
void pub_util_create_pid_file(const char *name);
