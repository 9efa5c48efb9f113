// What the sweep and the shim in the service have in common: one file of the handset that both have mapped. The sweep
// writes the plan and the mode while no service runs its plan, the shim counts calls; every field that both write while
// the service runs is an atomic. A process that the service forks shares it, and counts on.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

// In one order with k_fault_functions.
enum class fault_function : uint32_t {
    access,
    bind,
    calloc,
    cfsetispeed,
    cfsetospeed,
    chmod,
    chown,
    close,
    dlopen,
    dup2,
    execl,
    fchmod,
    fclose,
    fcntl,
    fdopen,
    fflush,
    fgets,
    fork,
    fprintf,
    fputs,
    fscanf,
    fstat,
    ftruncate,
    fwrite,
    grantpt,
    ioctl,
    lseek,
    lstat,
    malloc,
    mkdir,
    mmap,
    nanosleep,
    open,
    poll,
    property_set,
    pthread_create,
    ptsname,
    pwrite,
    read,
    sched_setscheduler,
    select,
    sem_timedwait,
    sem_wait,
    setsockopt,
    socket,
    stat,
    statfs,
    symlink,
    tcgetattr,
    tcsetattr,
    timer_create,
    timer_settime,
    unlink,
    unlockpt,
    waitpid,
    write,
};

// Their names, as the dynamic linker knows them.
constexpr const char *k_fault_functions[] = {
    "access",
    "bind",
    "calloc",
    "cfsetispeed",
    "cfsetospeed",
    "chmod",
    "chown",
    "close",
    "dlopen",
    "dup2",
    "execl",
    "fchmod",
    "fclose",
    "fcntl",
    "fdopen",
    "fflush",
    "fgets",
    "fork",
    "fprintf",
    "fputs",
    "__isoc99_fscanf",
    "fstat",
    "ftruncate",
    "fwrite",
    "grantpt",
    "ioctl",
    "lseek",
    "lstat",
    "malloc",
    "mkdir",
    "mmap",
    "nanosleep",
    "open",
    "poll",
    "property_set",
    "pthread_create",
    "ptsname",
    "pwrite",
    "read",
    "sched_setscheduler",
    "select",
    "sem_timedwait",
    "sem_wait",
    "setsockopt",
    "socket",
    "stat",
    "statfs",
    "symlink",
    "tcgetattr",
    "tcsetattr",
    "timer_create",
    "timer_settime",
    "unlink",
    "unlockpt",
    "waitpid",
    "write",
};
constexpr uint32_t k_fault_function_count = sizeof(k_fault_functions) / sizeof(k_fault_functions[0]);
static_assert(k_fault_function_count == static_cast<uint32_t>(fault_function::write) + 1, "one name for each");

// What becomes of a call that is to fail.
enum class fault_effect : uint32_t {
    error,    // -1 (or what the function has for it) with errno
    one_byte, // a read or write of a single byte
    half,     // a read or write of half the bytes
    nothing,  // a read of the end of the file, a write of no byte
};

// Which further calls fail once the chosen one has.
enum class fault_reach : uint32_t {
    place,  // none but the chosen one
    target, // those of the same function on the same target
    disk,   // those of the same function on any file of the disk
    all,    // those of the same function
};

struct fault_plan {
    uint64_t key;     // the place of the chosen call
    uint32_t ordinal; // which call of that place, from 1
    uint32_t repeat;  // how many calls fail, the chosen one included
    int32_t error;    // errno
    fault_effect effect;
    fault_reach reach;
};

constexpr uint32_t k_fault_frames = 4;
constexpr uint32_t k_fault_target_size = 52;

// A place that calls: a function, what it is called on, and the service's innermost frames.
struct fault_site {
    std::atomic<uint64_t> key; // 0: free
    std::atomic<uint32_t> count;
    uint32_t order; // of their first calls
    fault_function function;
    uint32_t frames[k_fault_frames]; // offsets in the service's program, innermost first; 0: none
    char target[k_fault_target_size];
};

enum class fault_mode : uint32_t { off, count, fail };

constexpr uint32_t k_fault_site_count = 4096; // a power of two

struct fault_block {
    std::atomic<fault_mode> mode;
    std::atomic<uint32_t> order;
    std::atomic<uint32_t> hits; // calls that have failed
    uint32_t sleep_divisor;     // of sleeps that keep somebody waiting; 0 and 1: none
    fault_plan plan;
    fault_site sites[k_fault_site_count];
};

// The file, inside the handset; without the variable the shim does nothing.
constexpr char k_fault_variable[] = "FAULT_BLOCK";

// What LD_PRELOAD is to be for the programs that the service starts.
constexpr char k_fault_preload_variable[] = "FAULT_PRELOAD";
