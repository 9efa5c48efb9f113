#include "amt/identity/serial-number.h"

#include <string.h>

#include "amt/identity/identity-files.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

int32_t amt_write_pcba_sn(const char *text, const char *path)
{
    log_func();
    const bool is_empty = text != nullptr && text[0] == '\0';
    if (text == nullptr || is_empty) {
        return log_error(ERR_INVALID_PARAM, "%d, %d", text == nullptr, is_empty);
    }
    return amt_write_and_tell(path, text, "write pcba-sn", LOG_HERE);
}

int32_t amt_read_pcba_sn(char (&number)[AMT_PCBA_SN_SIZE])
{
    log_func();
    memset(number, 0, sizeof(number));
    char line[AMT_FILE_TEXT_SIZE];
    const int32_t result = amt_read_line_or_tell(AMT_PCBA_SN_FILE, line, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    memcpy(number, line, strnlen(line, sizeof(number) - 1));
    log_info("read pcba-sn: %s", number);
    return ERR_NONE;
}
