// The log client: a text file of one record a line, in a directory of the process's own, that never grows past its size
// limit: behind the header (or behind the start-up's records, once marked) it is a ring that overwrites its oldest
// records.
//
// One record is written by three calls, from one thread and in this order; log.h has the one-call forms that the
// sources use. Taking the arguments never happens under the lock. The three keep errno. Any thread may log at any
// time: what comes before the start of the log is dropped, what comes behind its end goes to the internal log.
#pragma once

#include <stdarg.h>
#include <stdint.h>

#include "pub/log/log_directory.h"
#include "pub/log/log_record.h"

constexpr uint32_t SFW_LOG_DEFAULT_OBJECT = 1;  // start flag
constexpr uint32_t SFW_LOG_SIZE_LIMIT = 102400; // bytes

struct sfw_log_object;

// Starts the default object (flag SFW_LOG_DEFAULT_OBJECT; a second start does nothing) or a new one, with the file
// "<name>.log" or, for a null name, one of the process's name. Returns null when no new object could be had. A file
// that cannot be opened is told in the internal log, and the object then swallows its records. Main thread.
sfw_log_object *sfw_log_start(uint32_t flags, const char *name);

// Writes the footer and closes the file; null is the default object. Frees an object that is not the default one, whose
// users must be done with it; the default one may still be in use by any thread. Can be repeated.
void sfw_log_stop(sfw_log_object *object);

// First call of a record: chooses (null: the default object) and locks. Returns the object for the other two.
sfw_log_object *sfw_log_select_and_lock(sfw_log_object *object);

// Second call, left out when a record has no text of its own: up to 1,023 characters.
__attribute__((format(printf, 2, 3))) void sfw_log_build_extended_info(sfw_log_object *object, const char *format, ...);
__attribute__((format(printf, 2, 0))) void sfw_log_vbuild_extended_info(sfw_log_object *object, const char *format,
                                                                        va_list arguments);

// Third call: writes the record and unlocks. "sys error" takes errno as it is at this call.
void sfw_log_full(sfw_log_object *object, const sfw_log_record &record);

// From which position on, in bytes, the ring begins again; for all objects.
void sfw_log_set_size_limit(uint32_t limit);

// Makes the default object's ring begin at the current position: what stands before it is kept. Not when that leaves
// the ring less than a quarter of the limit: a log of the start alone would tell nothing of the line.
void sfw_log_mark_position();
