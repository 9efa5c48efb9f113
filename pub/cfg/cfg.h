// Reading small text files line by line, and lines of the form "name = value". No state; any thread.
#pragma once

#include <stdint.h>
#include <stdio.h>

// Opens a text for reading, or returns null with errno. Never waits: a pipe or a device under the name is refused with
// EINVAL. The caller closes it.
[[nodiscard]] FILE *pub_cfg_open(const char *path);

// Reads one line into `line` (its line feed included, `size` - 2 characters at most: a longer line comes in pieces) and
// stores its length up to the first NUL. At the end of the file, or when the file cannot be read any further, stores
// length 0 and end of file 1. The last line may lack its line feed. ERR_INVALID_PARAM for a null pointer or a size
// below 3.
[[nodiscard]] int32_t pub_cfg_get_line(FILE *file, char *line, uint32_t size, uint32_t *length, int32_t *end_of_file);

// Splits "name = value" in place. Both results point into `line`; blanks around them are cut, and so are the line's
// carriage return and line feed. ERR_NOT_FOUND for a comment ("#") or a line without "=", ERR_INVALID_PARAM for a null
// pointer. Name and value may be empty.
[[nodiscard]] int32_t pub_cfg_get_param_and_value(char *line, char **name, char **value);
