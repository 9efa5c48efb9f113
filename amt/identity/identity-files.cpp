#include "amt/identity/identity-files.h"

#include <errno.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "pub/base/shell.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr size_t k_command_size = 100; // a longer command is cut

void run_on(const char *command, const char *path)
{
    char text[k_command_size];
    (void)snprintf(text, sizeof(text), "%s %s", command, path);
    (void)pub_util_run_shell(text); // a folder without its group serves its purpose
}

} // namespace

int32_t amt_make_folder(const char *path)
{
    log_func();
    if (access(path, F_OK) == 0) {
        log_info("amt_make_folder: %s exist.\r\n", path);
        return ERR_NONE;
    }
    log_info("amt_make_folder: %s does not exist.\r\n", path);
    if (mkdir(path, 0777) != 0) {
        const int error = errno;
        return log_error(ERR_C_FUNCTION, "amt_make_folder mkdir(%s) faild errno[%d] strerror[%s]", path, error,
                         error_text(error).c_str());
    }
    log_info("amt_make_folder mkdir(%s) successfully", path);
    run_on("chgrp -R radio", path);
    run_on("chmod 766", path);
    return ERR_NONE;
}
