// The surroundings of the service's readers in one process: its ttys, files, programs, libraries and clock are replaced
// (world_calls.cpp), so that no input can touch this machine, nothing waits, and an input does the same each time.
//
// An input is a script (script.h). Its requests come through the service's own readers, whose loops end with it.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

// Who asks, and so which reader runs.
enum class world_side : uint8_t { station, application };

// A request that stands for a record of it. Of the bytes, which are the record's own unless it says otherwise, up to
// 4095 are read at once.
struct world_request {
    const uint8_t *bytes;
    size_t length;
    bool is_relayed; // noted as the station's, and what the modem says next is relayed to the station
};
using world_translation = world_request (*)(const uint8_t *bytes, size_t length);

// Starts log and tables, once: from LLVMFuzzerInitialize.
void world_begin();

// Runs the reader on a script. Without a translation requests are what their records say.
void world_run(world_side side, const uint8_t *script, size_t size, world_translation translate = nullptr);

// --- for the calls that are replaced

extern bool g_world_runs; // outside of a run every call is the real one

// One reading of a channel; as read(2).
ssize_t world_read_request(void *bytes, size_t room);
ssize_t world_read_answer(void *bytes, size_t room); // of the AT port
ssize_t world_read_chunk(void *bytes, size_t room);  // of the modem's data tty

[[noreturn]] void world_end_service();

// The next run is to switch Wi-Fi off first: that it is on is the one state that only a request can put back.
void world_note_wifi();

// Null for one that is not set.
const char *world_property(const char *key);

// Seconds. They pass in waits that time out only.
int64_t world_clock();

// Lets a wait time out. False when the input has had enough of these.
bool world_times_out();

// Whether the modem says something next.
bool world_has_answer();
