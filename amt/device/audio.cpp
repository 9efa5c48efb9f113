#include "amt/device/audio.h"

#include <errno.h>
#include <signal.h>
#include <unistd.h>

#include "amt/amt-cfg.h"
#include "amt/core/request.h"
#include "amt/core/response.h"
#include "amt/device/command.h"
#include "amt/platform-library.h"
#include "pub/base/shell.h"
#include "pub/util/util.h"

#define LOG_MODULE "amt/amt-device"
#include "pub/log/log.h"

namespace {

#define PLAYER "/system/bin/amt-audio"
constexpr char k_player_name[] = "amt-audio";
constexpr char k_player_pid_file[] = "/tmp/amt-audio.pid";

constexpr uint8_t k_loop_response_id = 32;
constexpr uint8_t k_sound_response_id = 34;
constexpr uint8_t k_switch_atom = 15; // without it a test is started
constexpr uint8_t k_loop_type_atom = 30;

const char *start_or_stop(uint32_t position)
{
    return position == 1 ? "start" : "stop";
}

bool exists(const char *path)
{
    if (access(path, F_OK) == 0) {
        return true;
    }
    const int error = errno;
    (void)log_error(ERR_C_FUNCTION, "access(\"%s\") fail: %d - %s", path, error, error_text(error).c_str());
    return false;
}

// The player goes to the background by itself.
int32_t start_player()
{
    const bool has_player = exists(PLAYER);
    const bool has_sound = exists(amt_cfg_st.m_audio_file_a); // told also when both are missing
    if (!has_player || !has_sound) {
        return ERR_C_FUNCTION;
    }
    const amt_cfg &sound = amt_cfg_st;
    device_command command;
    amt_device_format_command(command, PLAYER " %ld %ld %ld %s", static_cast<long>(sound.m_audio_sample_rate),
                              static_cast<long>(sound.m_audio_format), static_cast<long>(sound.m_audio_frame_count),
                              sound.m_audio_file_a);
    errno = 0; // a command that fails sets none
    if (pub_util_run_shell(command) != 0) {
        const int error = errno;
        return log_error(ERR_C_FUNCTION, "system(%s) fail: %d - %s", command, error, error_text(error).c_str());
    }
    return ERR_NONE;
}

// One that does not run is as good as ended.
void end_player()
{
    int32_t is_running = 0;
    int32_t pid = 0;
    (void)pub_util_get_pid_and_check_run(k_player_pid_file, k_player_name, &is_running, &pid); // good arguments
    if (is_running == 0 || pid <= 0) {
        return;
    }
    (void)unlink(k_player_pid_file); // first: behind its player's end it would name whoever gets the number next
    (void)kill(pid, SIGKILL);        // it may have ended just now
}

} // namespace

int32_t amt_device_audio(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const uint32_t position = amt_message_get_int_or_one(request->m_data_a, k_switch_atom);
    if (position != 0) {
        result = start_player();
    } else {
        end_player();
    }
    if (result != ERR_NONE) {
        return result;
    }
    log_info("%s audio", start_or_stop(position));
    return amt_handle_send_rsp_ok(channel, response, k_sound_response_id);
}

int32_t amt_device_audio_loop(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const uint32_t position = amt_message_get_int_or_one(request->m_data_a, k_switch_atom);
    const auto type = static_cast<int32_t>(amt_message_get_int(request->m_data_a, k_loop_type_atom));
    result = amt_test_codec_loop(type, position == 1 ? 1 : 0);
    if (result != ERR_NONE) {
        return result;
    }
    log_info("%s audio-loop", start_or_stop(position));
    return amt_handle_send_rsp_ok(channel, response, k_loop_response_id);
}
