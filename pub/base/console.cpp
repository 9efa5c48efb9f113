#include "pub/base/console.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "pub/base/wait.h"

namespace {

constexpr size_t k_text_size = 4608; // a whole AT answer with what stands around it

} // namespace

void pub_util_print(const char *format, ...)
{
    char text[k_text_size] = "";
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(text, sizeof(text), format, arguments); // a longer one is cut
    va_end(arguments);
    (void)pub_util_write(STDOUT_FILENO, text, strlen(text)); // a console whose reader has gone is no reason to fail
}
