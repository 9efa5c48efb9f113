// The platform's log, the one that a developer reads over the debug bridge. The service's own log is elsewhere; this is
// where it goes when that one cannot be had. Any thread may call it.
#pragma once

// Priorities, of rising urgency.
enum : int {
    ANDROID_LOG_DEBUG = 3,
    ANDROID_LOG_INFO = 4,
    ANDROID_LOG_WARN = 5,
    ANDROID_LOG_ERROR = 6,
};

extern "C" {

// Logs one record, printf-formatted, under the name `tag` (null: none). A text too long for the log is cut.
// Returns a positive count of bytes, or a negative number if the record was lost. Changes errno. Does not wait for
// readers.
int __android_log_print(int prio, const char *tag, const char *fmt, ...) __attribute__((format(printf, 3, 4)));
}
