// Who called a function that several operations share. Its records carry that operation's name, by which a reader of
// the log tells one's failure from another's. The function takes its caller last,
//
//     int32_t read_number(const char *path, int32_t *number, log_caller caller = log_caller::here());
//
// and logs with log_info_of and log_error_of.
#pragma once

#include <stdint.h>

struct log_caller {
    const char *m_function;
    int32_t m_line;

    // As the default of a parameter: the place of the call.
    static constexpr log_caller here(const char *function = __builtin_FUNCTION(), int32_t line = __builtin_LINE())
    {
        return {function, line};
    }
};
