// What the handlers of AT lines share. Their answers are plain text, without an envelope, to the station alone. Of the
// PC reader's thread.
#pragma once

#include <stddef.h>
#include <stdint.h>

// Formats up to 4095 characters into the response buffer and sends them. Returns the result of amt_handle_send_rsp.
__attribute__((format(printf, 1, 2))) int32_t amt_reply_to_line(const char *format, ...);

// The answers without a value.
int32_t amt_reply_ok();                   // "OK"
int32_t amt_reply_error();                // "ERROR"
int32_t amt_reply_cme_error();            // "+CME ERROR: 100"
int32_t amt_reply_result(int32_t result); // "OK" for ERR_NONE, "ERROR" for anything else

// What stands behind a text in the station's request, in which it has been found.
[[nodiscard]] const char *amt_behind(const char *text);

// A text, and who answers a request that holds it: the result of its answer, or ERR_NOT_FOUND when the line is not its
// own after all. Without a text it looks for itself.
struct at_row {
    const char *m_text;
    int32_t (*m_handler)();
};

// The first row whose text the station's request holds; null when there is none.
[[nodiscard]] const at_row *amt_find_row(const at_row *rows, size_t count);

template <size_t count>
[[nodiscard]] const at_row *amt_find_row(const at_row (&rows)[count])
{
    return amt_find_row(rows, count);
}

// Has the station's request answered by the first row, in the rows' order, whose text it holds and whose handler does
// not decline. ERR_NOT_FOUND when there is none.
[[nodiscard]] int32_t amt_answer_line(const at_row *rows, size_t count);

template <size_t count>
[[nodiscard]] int32_t amt_answer_line(const at_row (&rows)[count])
{
    return amt_answer_line(rows, count);
}
