// Counting and deciding, see consult.h.

#include "tests/faults/shim/consult.h"

#include "tests/faults/shim/intercept.h"

#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <unwind.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char k_program[] = "kv-zep-amt";
constexpr int k_names = 256;

std::atomic<fault_block *> g_block{nullptr};
uintptr_t g_begin = 0; // the service's program in memory
uintptr_t g_end = 0;

// What descriptors have been opened as. Two threads that open and use one descriptor at a time would be a defect of the
// service's own.
char g_names[k_names][k_fault_target_size];

int find_program(dl_phdr_info *information, size_t, void *)
{
    g_begin = information->dlpi_addr;
    for (int i = 0; i < information->dlpi_phnum; i++) {
        const auto &header = information->dlpi_phdr[i];
        if (header.p_type == PT_LOAD) {
            g_end = std::max<uintptr_t>(g_end, g_begin + header.p_vaddr + header.p_memsz);
        }
    }
    return 1; // the first is the program
}

void map_block(const char *path)
{
    const long fd = syscall(SYS_openat, AT_FDCWD, path, O_RDWR | O_CLOEXEC, 0);
    if (fd < 0) {
        return;
    }
    const long memory = syscall(SYS_mmap, nullptr, sizeof(fault_block), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    (void)syscall(SYS_close, fd);
    if (memory != -1) {
        g_block = reinterpret_cast<fault_block *>(memory);
    }
}

__attribute__((constructor)) void begin()
{
    const char *path = getenv(k_fault_variable);
    if (path == nullptr || strstr(program_invocation_short_name, k_program) == nullptr) {
        return;
    }
    const char *preload = getenv(k_fault_preload_variable);
    (void)(preload != nullptr ? setenv("LD_PRELOAD", preload, 1) : unsetenv("LD_PRELOAD"));
    (void)unsetenv(k_fault_variable);
    (void)dl_iterate_phdr(find_program, nullptr);
    map_block(path);
}

bool is_own(const void *address)
{
    const auto at = reinterpret_cast<uintptr_t>(address);
    return at >= g_begin && at < g_end;
}

struct frames {
    uint32_t offsets[k_fault_frames] = {};
    uint32_t count = 0;
};

_Unwind_Reason_Code take_frame(_Unwind_Context *context, void *memory)
{
    auto &found = *static_cast<frames *>(memory);
    const uintptr_t at = _Unwind_GetIP(context);
    if (at >= g_begin && at < g_end) {
        found.offsets[found.count++] = static_cast<uint32_t>(at - g_begin);
    }
    return found.count < k_fault_frames ? _URC_NO_REASON : _URC_END_OF_STACK;
}

// FNV-1a.
uint64_t mix(uint64_t hash, const void *bytes, size_t count)
{
    const auto *at = static_cast<const unsigned char *>(bytes);
    for (size_t i = 0; i < count; i++) {
        hash = (hash ^ at[i]) * 0x100000001B3U;
    }
    return hash;
}

// Numbers of processes, terminals and sockets differ from run to run.
void normalise(const char *from, char (&to)[k_fault_target_size])
{
    const bool has_numbers = strncmp(from, "/proc/", 6) == 0 || strncmp(from, "/dev/pts/", 9) == 0 || from[0] != '/';
    size_t length = 0;
    for (bool in_number = false; *from != '\0' && length < sizeof(to) - 1; from++) {
        const bool is_digit = has_numbers && *from >= '0' && *from <= '9';
        if (!is_digit || !in_number) {
            to[length++] = is_digit ? '#' : *from;
        }
        in_number = is_digit;
    }
    memset(to + length, 0, sizeof(to) - length);
}

// The place's entry, made at its first call; null when there is no room.
fault_site *find_site(fault_block &block, fault_function function, const char *target, const frames &found,
                      uint64_t key)
{
    for (uint32_t i = 0; i < k_fault_site_count; i++) {
        fault_site &site = block.sites[(key + i) % k_fault_site_count];
        uint64_t there = 0;
        if (site.key.compare_exchange_strong(there, key)) {
            site.order = block.order++;
            site.function = function;
            memcpy(site.frames, found.offsets, sizeof(site.frames));
            memcpy(site.target, target, sizeof(site.target));
            return &site;
        }
        if (there == key) {
            return &site;
        }
    }
    return nullptr;
}

bool is_on_disk(const char *target)
{
    return target[0] == '/' && strncmp(target, "/dev/", 5) != 0 && strncmp(target, "/proc/", 6) != 0 &&
           strncmp(target, "/sys/", 5) != 0;
}

// The chosen one's function and target; another call fails like it when it is within the reach.
bool is_within_reach(const fault_block &block, const fault_site &chosen, fault_function function, const char *target)
{
    if (chosen.function != function) {
        return false;
    }
    switch (block.plan.reach) {
    case fault_reach::place:
        return false;
    case fault_reach::target:
        return strcmp(chosen.target, target) == 0;
    case fault_reach::disk:
        return is_on_disk(target);
    case fault_reach::all:
        return true;
    }
    return false;
}

bool fails(fault_block &block, fault_function function, const char *target, uint64_t key, uint32_t ordinal)
{
    const fault_plan &plan = block.plan;
    if (key == plan.key && ordinal == plan.ordinal) {
        block.hits++;
        return true;
    }
    uint32_t hits = block.hits;
    if (hits == 0 || hits >= plan.repeat) {
        return false;
    }
    const frames none;
    const fault_site *chosen = find_site(block, function, target, none, plan.key); // it is there: it has been hit
    if (chosen == nullptr || !is_within_reach(block, *chosen, function, target)) {
        return false;
    }
    block.hits++;
    return true;
}

fault_call consult(fault_block &block, fault_function function, const char *target)
{
    const int saved_errno = errno;
    frames found;
    (void)_Unwind_Backtrace(take_frame, &found);
    uint64_t key = mix(0xCBF29CE484222325U, &function, sizeof(function));
    key = mix(key, target, strlen(target));
    key = mix(key, found.offsets, sizeof(found.offsets)) | 1U;
    fault_site *site = find_site(block, function, target, found, key);
    const uint32_t ordinal = site != nullptr ? ++site->count : 0;
    const bool is_to_fail = block.mode == fault_mode::fail && fails(block, function, target, key, ordinal);
    errno = saved_errno;
    return {is_to_fail, block.plan.effect, block.plan.error};
}

fault_block *block_for(const void *caller)
{
    fault_block *block = g_block.load(std::memory_order_relaxed);
    return block != nullptr && block->mode.load(std::memory_order_relaxed) != fault_mode::off && is_own(caller)
               ? block
               : nullptr;
}

// What a descriptor is that was not noted.
void look_up(int fd, char (&name)[k_fault_target_size])
{
    const int saved_errno = errno;
    char link[40];
    char text[256];
    (void)snprintf(link, sizeof(link), "/proc/thread-self/fd/%d", fd);
    const long length = syscall(SYS_readlinkat, AT_FDCWD, link, text, sizeof(text) - 1);
    text[std::max(length, 0L)] = '\0';
    normalise(text, name);
    errno = saved_errno;
}

} // namespace

fault_call fault_consult(fault_function function, const char *target, const void *caller)
{
    fault_block *block = block_for(caller);
    if (block == nullptr) {
        return {};
    }
    char name[k_fault_target_size];
    normalise(target != nullptr ? target : "(null)", name);
    return consult(*block, function, name);
}

fault_call fault_consult(fault_function function, int fd, const void *caller)
{
    fault_block *block = block_for(caller);
    if (block == nullptr) {
        return {};
    }
    char name[k_fault_target_size];
    if (fd >= 0 && fd < k_names && g_names[fd][0] != '\0') {
        memcpy(name, g_names[fd], sizeof(name));
    } else {
        look_up(fd, name);
    }
    return consult(*block, function, name);
}

void fault_note_open(int fd, const char *path)
{
    if (g_block.load(std::memory_order_relaxed) != nullptr && fd >= 0 && fd < k_names) {
        normalise(path, g_names[fd]);
    }
}

void fault_note_close(int fd)
{
    if (fd >= 0 && fd < k_names) {
        g_names[fd][0] = '\0';
    }
}

unsigned fault_sleep_divisor(const void *caller)
{
    const fault_block *block = g_block.load(std::memory_order_relaxed);
    return block != nullptr && is_own(caller) ? std::max(block->sleep_divisor, 1U) : 1;
}

std::atomic<void *> &next_slot(fault_function id)
{
    static std::atomic<void *> slots[k_fault_function_count];
    return slots[static_cast<uint32_t>(id)];
}
