// Log records as the sources write them, one call each. A source names its module once, before it includes this:
//
//     #define LOG_MODULE "amt/main"
//     #include "pub/log/log.h"
//
// Every call keeps errno, evaluates its arguments before any lock is taken, and may be made on any thread at any time.
// The failures return their code, so that `return log_error(ERR_INVALID_PARAM, "%d", fd < 0);` says it all.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "pub/log/caller.h"
#include "pub/log/errors.h"
#include "pub/log/log_record.h"

#define LOG_SITE (sfw_log_site{LOG_MODULE, __func__, __LINE__})

#define log_func() sfw_log_entry(LOG_SITE)
#define log_info(...) sfw_log_text(LOG_SITE, SFW_LOG_INFO, __VA_ARGS__)
#define log_warning(...) sfw_log_text(LOG_SITE, SFW_LOG_WARNING, __VA_ARGS__)
#define log_error(...) sfw_log_failure(LOG_SITE, SFW_LOG_ERROR, __VA_ARGS__)
#define log_fatal_error(...) sfw_log_failure(LOG_SITE, SFW_LOG_FATAL_ERROR, __VA_ARGS__)
#define log_sys_error(call) sfw_log_failed_call(LOG_SITE, call)
#define log_data(heading, data, length) sfw_log_bytes(LOG_SITE, heading, data, length)
#define log_at(kind, text, length) sfw_log_at_text(LOG_SITE, kind, text, length)

// For a function that logs in the name of its caller, see caller.h.
#define LOG_CALLER_SITE(caller) (sfw_log_site{LOG_MODULE, (caller).m_function, (caller).m_line})
#define log_info_of(caller, ...) sfw_log_text(LOG_CALLER_SITE(caller), SFW_LOG_INFO, __VA_ARGS__)
#define log_error_of(caller, ...) sfw_log_failure(LOG_CALLER_SITE(caller), SFW_LOG_ERROR, __VA_ARGS__)

// Entry of a function, level "func".
void sfw_log_entry(const sfw_log_site &site);

// A text of one level.
__attribute__((format(printf, 3, 4))) void sfw_log_text(const sfw_log_site &site, uint32_t level, const char *format,
                                                        ...);

// A code with its text, and the caller's own text behind it if there is one. Returns the code.
int32_t sfw_log_failure(const sfw_log_site &site, uint32_t level, int32_t code);
__attribute__((format(printf, 4, 5))) int32_t sfw_log_failure(const sfw_log_site &site, uint32_t level, int32_t code,
                                                              const char *format, ...);

// A system call that failed: its name, errno and its text. Returns ERR_C_FUNCTION.
int32_t sfw_log_failed_call(const sfw_log_site &site, const char *call);

// The heading, then `length` bytes in hexadecimal.
void sfw_log_bytes(const sfw_log_site &site, const char *heading, const void *data, size_t length);

// AT text with its control characters spelled out; the kind is one of the AT dumps.
void sfw_log_at_text(const sfw_log_site &site, sfw_log_dump kind, const void *text, size_t length);
