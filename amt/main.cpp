// The entry of the service: the order of its start, and its end by a signal. The main thread only starts things; from
// then on it waits, and takes the signals that end the service.
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include "amt/amt-cfg.h"
#include "amt/channels/release.h"
#include "amt/channels/start-up.h"
#include "amt/run-mode.h"
#include "pub/base/console.h"
#include "pub/base/wait.h"
#include "pub/log/log_client.h"
#include "pub/util/util.h"

#define LOG_MODULE "amt/main"
#include "pub/log/log.h"

namespace {

constexpr uint32_t k_log_generations = 2;
constexpr uint32_t k_parked_seconds = 268435455;

// The release's own stamp, not the compiler's: two builds of one source are one program.
constexpr char k_version[] = "001.001";
constexpr char k_build_date[] = "Dec 15 2025";
constexpr char k_build_time[] = "21:34:37";

// Makes 0, 1 and 2 somebody's, or the first device opened would pass for one of them and take the console lines.
void open_standard_descriptors()
{
    int fd = open("/dev/null", O_RDWR);
    while (fd >= 0 && fd <= STDERR_FILENO) {
        fd = open("/dev/null", O_RDWR);
    }
    if (fd > STDERR_FILENO) {
        (void)close(fd);
    }
}

void amt_deinit_resource()
{
    log_func();
    if (!amt_handle_claim_deinit()) {
        pub_util_park(); // another thread is ending the process already
    }
    (void)amt_handle_deinit();
    sfw_log_stop(nullptr);
}

void signal_treatment(int signal_number)
{
    if (pub_util_hand_to_main_thread(signal_number)) {
        return;
    }
    log_func();
    log_info("receive signal: %d - %s", signal_number, pub_util_get_signal_name(signal_number));
    amt_deinit_resource();
    exit(0); // NOLINT(concurrency-mt-unsafe): the only thread that ends the process
}

void install_signal_treatment()
{
    struct sigaction action = {};
    action.sa_handler = signal_treatment;
    sigemptyset(&action.sa_mask);
    sigaddset(&action.sa_mask, SIGTERM);
    sigaddset(&action.sa_mask, SIGUSR2);
    if (sigaction(SIGTERM, &action, nullptr) != 0 || sigaction(SIGUSR2, &action, nullptr) != 0) {
        (void)log_sys_error("sigaction");
    }
    pub_util_admit_ending_signals(ending_signals::main_thread);
}

bool is_already_running(const amt_run_mode &mode)
{
    int32_t is_run = 0;
    int32_t pid = 0;
    return pub_util_get_pid_and_check_run(mode.m_pid_file_a, AMT_PROCESS_NAME, &is_run, &pid) == ERR_NONE &&
           is_run != 0;
}

void start_log()
{
    sfw_log_rotate(k_log_generations);
    (void)sfw_log_start(SFW_LOG_DEFAULT_OBJECT, nullptr);
    log_info("\n    %s\n    version: %s\n    build: %s %s", AMT_PROCESS_NAME, k_version, k_build_date, k_build_time);
}

int32_t configure_and_initialise(const amt_run_mode &mode)
{
    int32_t result = amt_cfg_init(mode.m_config_file_a);
    pub_util_print("[%s]config over result=%d\n", AMT_PROCESS_NAME, result);
    if (result == ERR_NONE) {
        result = amt_handle_init(mode.m_platform_flag);
        pub_util_print("[%s]init over result=%d\"\n", AMT_PROCESS_NAME, result); // the stray quote is looked for, keep
    }
    return result;
}

} // namespace

int main(int argc, char *argv[])
{
    pub_util_block_ending_signals();
    (void)signal(SIGPIPE, SIG_IGN); // a console whose reader has gone is no reason to end,
    (void)signal(SIGXFSZ, SIG_IGN); // nor is a file that may not grow: the write that fails is told;
    (void)signal(SIGUSR1, SIG_IGN); // and what ends a worker is nobody's before there is one
    open_standard_descriptors();

    int exit_status = 0;
    if (!amt_parse_options(argc, argv, &exit_status)) {
        return exit_status;
    }
    pub_util_print("g_usb_activate:%d.\n", g_usb_activate);
    amt_run_mode mode = {};
    amt_choose_run_mode(&mode);
    if (is_already_running(mode)) {
        pub_util_print("%s already run.\n", AMT_PROCESS_NAME);
        return 0;
    }
    start_log();
    pub_util_create_pid_file(AMT_PROCESS_NAME);
    log_info("run under %s", mode.m_text);
    log_info("config file[%s], pid file[%s]", mode.m_config_file_a, mode.m_pid_file_a);
    install_signal_treatment();
    (void)pub_util_raise_process_priority(); // a line works without it, if slower

    const int32_t result = configure_and_initialise(mode);
    sfw_log_set_size_limit(SFW_LOG_SIZE_LIMIT);
    sfw_log_mark_position(); // the records of the start stay, the ring begins behind them
    if (result != ERR_NONE) {
        (void)log_fatal_error(result);
        amt_deinit_resource();
        return result;
    }
    for (;;) {
        pub_util_sleep_seconds(k_parked_seconds);
    }
}
