// Who called a function that several operations share. Its records carry that operation's name, by which a reader of
// the log tells one's failure from another's. The function takes its caller,
//
//     int32_t read_number(const char *path, int32_t *number, log_caller caller);
//
// logs with log_info_of and log_error_of, and is called with LOG_HERE.
#pragma once

#include <stdint.h>

struct log_caller {
    const char *m_function;
    int32_t m_line;
};

#define LOG_HERE (log_caller{__func__, __LINE__})
