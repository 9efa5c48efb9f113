#include "amt/run-mode.h"

#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "pub/base/console.h"
#include "pub/log/log_directory.h"
#include "pub/util/util.h"

int32_t g_usb_activate = 0;

namespace {

constexpr char k_normal_text[] = "normal mode(with ZEP platform)";
// Told for a start with -u as well: those who read the logs know these two texts only, keep.
constexpr char k_simplified_text[] = "simplified mode(only with kernel)";
constexpr int k_usage_line = 238; // part of the text, not this file's line

void fill_path(char (&path)[59], const char *directory, const char *ending)
{
    memset(path, 0, sizeof(path));
    (void)snprintf(path, sizeof(path), "%s/%s%s", directory, AMT_PROCESS_NAME, ending);
}

void fill_platform_paths(amt_run_mode *mode)
{
    fill_path(mode->m_config_file_a, "/system/etc", ".cfg");
    fill_path(mode->m_pid_file_a, "/tmp", ".pid");
}

void choose_by_directory(amt_run_mode *mode)
{
    char directory[256] = "";
    (void)pub_util_get_process_path(directory, sizeof(directory)); // an unknown one is not the platform's
    pub_util_print("[%s]command path is \"%s\"\n", AMT_PROCESS_NAME, directory);
    if (strstr(directory, "/system/bin") != nullptr) {
        mode->m_text = k_normal_text;
        mode->m_platform_flag = 1;
    }
    pub_util_print("[%s]run under %s \n", AMT_PROCESS_NAME, mode->m_text);
    if (mode->m_platform_flag == 1) {
        fill_platform_paths(mode);
        return;
    }
    (void)sfw_log_set_directory(directory); // one that cannot be used leaves the default
    fill_path(mode->m_config_file_a, directory, ".cfg");
    fill_path(mode->m_pid_file_a, directory, ".pid");
}

} // namespace

int prompt_usage(const char *program)
{
    if (program == nullptr) {
        pub_util_print("%s(L%d)invalid parameter\n", "prompt_usage", k_usage_line);
        return -1;
    }
    pub_util_print("\nUsage: %s [OPTION]\n"
                   "  -h                     Display this help and exit.\n"
                   "  -u                     For usb-insert-enter-amt.\n\n",
                   program);
    return 0;
}

bool amt_parse_options(int argc, char *argv[], int *exit_status)
{
    g_usb_activate = 0;
    if (argc <= 1) {
        return true;
    }
    for (;;) {
        // The plus takes the words in their order, as the handset's C library always does and others do if told to.
        const int option = getopt(argc, argv, "+h:u"); // NOLINT(concurrency-mt-unsafe): there is no other thread yet
        if (option == -1) {
            if (optind >= argc || strcmp(argv[optind - 1], "--") == 0) {
                return true;
            }
            optind++; // a word that is no option
            continue;
        }
        if (option != 'u') {
            *exit_status = prompt_usage(argv[0]);
            return false;
        }
        g_usb_activate = 1;
    }
}

void amt_choose_run_mode(amt_run_mode *mode)
{
    *mode = {};
    mode->m_text = k_simplified_text;
    if (g_usb_activate != 0) {
        fill_platform_paths(mode);
    } else {
        choose_by_directory(mode);
    }
    pub_util_print("[%s]config file is \"%s\"\n            pid file is \"%s\"\n", AMT_PROCESS_NAME,
                   mode->m_config_file_a, mode->m_pid_file_a);
}
