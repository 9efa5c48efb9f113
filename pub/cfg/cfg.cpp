#include "pub/cfg/cfg.h"

#include <fcntl.h>
#include <string.h>

#include "pub/base/file.h"

#define LOG_MODULE "kv-zep-pub"
#include "pub/log/log.h"

namespace {

// Ends `text` behind its last character that is not one of `unwanted`.
void cut_trailing(char *text, const char *unwanted)
{
    size_t length = strlen(text);
    while (length > 0 && strchr(unwanted, text[length - 1]) != nullptr) {
        length--;
    }
    text[length] = '\0';
}

char *skip_blanks(char *text)
{
    return text + strspn(text, " ");
}

} // namespace

FILE *pub_cfg_open(const char *path)
{
    return pub_util_open_stream(path, O_RDONLY, "r");
}

int32_t pub_cfg_get_line(FILE *file, char *line, uint32_t size, uint32_t *length, int32_t *end_of_file)
{
    if (file == nullptr || line == nullptr || size < 3 || length == nullptr || end_of_file == nullptr) {
        return log_error(ERR_INVALID_PARAM, "%d, %d, %d, %d, %d", file == nullptr, line == nullptr, size < 3,
                         length == nullptr, end_of_file == nullptr);
    }
    memset(line, 0, size);
    *length = 0;
    *end_of_file = 0;
    if (fgets(line, static_cast<int>(size - 1), file) == nullptr) {
        line[0] = '\0'; // a failed read leaves it undefined
        *end_of_file = 1;
        return ERR_NONE;
    }
    *length = static_cast<uint32_t>(strlen(line));
    return ERR_NONE;
}

int32_t pub_cfg_get_param_and_value(char *line, char **name, char **value)
{
    if (line == nullptr || name == nullptr || value == nullptr) {
        return log_error(ERR_INVALID_PARAM, "%d, %d, %d", line == nullptr, name == nullptr, value == nullptr);
    }
    char *start = skip_blanks(line);
    char *equals = strchr(start, '=');
    if (*start == '#' || equals == nullptr) {
        return ERR_NOT_FOUND;
    }
    *equals = '\0';
    cut_trailing(start, " ");
    *name = start;
    *value = skip_blanks(equals + 1);
    cut_trailing(*value, " \r\n");
    return ERR_NONE;
}
