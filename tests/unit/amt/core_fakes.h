// System and platform calls that fail or are recorded on request in the core's tests. Reset by assignment: g_fake = {};
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

struct core_fakes {
    int write_fails_at = 0; // the n-th write to a link from now, 1 is the next one
    int write_error = 0;    // with this errno; 0: it is cut to write_count bytes instead
    size_t write_count = 0;
    std::vector<std::string> commands;    // what would have been run by the shell
    int command_status = 0;               // of each of them
    std::vector<uint32_t> pauses;         // milliseconds that would have been slept
    std::function<void()> on_pause;       // happens in place of each pause
    std::vector<uint32_t> long_pauses;    // seconds that would have been slept
    std::function<void()> on_long_pause;  // happens in place of each
    std::function<int()> on_power_off;    // in place of the power-off; without it nobody is to come there
    std::function<void(int fd)> on_close; // happens before each close
    std::string empty_property;           // reads as empty, whatever the default
    bool has_no_library = false;          // the misc library cannot be loaded
    bool has_no_entry = false;            // or does not have what is looked for
    void *entry = nullptr;                // stands for every entry; null: the library's own
    bool has_no_reason = false;           // and the loader does not say why
    std::vector<std::string> loaded;      // paths of the libraries that were asked for
    std::vector<int> load_flags;          // how they were
    std::vector<std::string> looked_up;   // names of the entries
    int unloaded = 0;                     // how many libraries
    std::function<void()> on_unload;      // happens before each of them
};
extern core_fakes g_fake;
