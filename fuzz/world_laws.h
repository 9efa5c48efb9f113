// What holds for every input whatever: the sentences that a fuzzer checks, all in one place. A broken one ends the
// process with its sentence, which is a finding.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include "fuzz/world.h"

[[noreturn]] void law_broken(const char *sentence, const char *detail);

// A new input: nothing has happened yet.
void laws_reset(world_side side);

// A request has been read: these bytes stand in the reader's buffer now.
void laws_take_request(const uint8_t *bytes, size_t length);

// The modem has been heard: bytes on the AT port, or a chunk on its data tty that is to be relayed.
void laws_take_answer(const uint8_t *bytes, size_t length);
void laws_take_chunk(const uint8_t *bytes, size_t length);

// What the service does. Each is checked as it happens, by what has been taken before.
void law_station_write(const uint8_t *bytes, size_t count);
void law_application_write(const uint8_t *bytes, size_t count);
void law_modem_write(const uint8_t *bytes, size_t count, bool succeeds);
void law_at_write(const uint8_t *bytes, size_t count);
void law_shell_command(const char *command);
void law_file_change(const char *path);
void law_power_off();
void law_signal(pid_t pid, int signal_number);

// The service is ready for the next request, or has ended: all of the last one has been done.
void laws_settle();
