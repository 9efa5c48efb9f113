#include "amt/device/simple.h"

#include "amt/core/request.h"
#include "amt/core/response.h"
#include "amt/device/kernel-file.h"

#define LOG_MODULE "amt/amt-device"
#include "pub/log/log.h"

namespace {

constexpr char k_brightness_file[] = "/sys/class/leds/lcd-backlight/brightness";
constexpr char k_vibrator_file[] = "/sys/class/timed_output/vibrator/enable";
constexpr char k_button_file[] = "/sys/class/leds/button-backlight/brightness";

constexpr uint8_t k_color_response_id = 30;
constexpr uint8_t k_vibrator_response_id = 36;
constexpr uint8_t k_button_response_id = 38;
constexpr uint8_t k_brightness_response_id = 58;

constexpr uint8_t k_switch_atom = 15; // without it a device is started
constexpr uint8_t k_brightness_atom = 26;

constexpr int32_t k_brightness_end = 256; // above every brightness: the one of before is meant
constexpr int32_t k_usual_brightness = 200;
constexpr int32_t k_vibration_ms = 3000;

int32_t g_brightness_before = -1; // of the first request; below zero while it could not be read

// A brightness of before that could not be read is below 256, too, and is written as it is: keep.
int32_t choose_brightness(int32_t level)
{
    if (level < k_brightness_end) {
        log_info("lcd_brightness: %d", level);
        return level;
    }
    if (g_brightness_before < k_brightness_end) {
        log_info("src_lcd_brightness: %d", g_brightness_before);
        return g_brightness_before;
    }
    log_info("lcd_brightness: %d", k_usual_brightness);
    return k_usual_brightness;
}

} // namespace

int32_t amt_device_lcd_color(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    return amt_handle_send_rsp_ok(channel, response, k_color_response_id);
}

int32_t amt_device_lcd_brightness(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    if (g_brightness_before < 0) {
        // One that fails is tried again with the next request.
        (void)amt_device_read_number(k_brightness_file, &g_brightness_before, LOG_HERE);
    }
    const auto level = static_cast<int32_t>(amt_message_get_int(request->m_data_a, k_brightness_atom));
    log_info("amt_device_lcd_brightness lcd_brightness: %d", level);
    log_info("amt_device_lcd_brightness src_lcd_brightness: %d", g_brightness_before);
    if (amt_device_write_number(k_brightness_file, choose_brightness(level), LOG_HERE) == ERR_NONE) {
        (void)amt_handle_send_rsp_ok(channel, response, k_brightness_response_id); // see below
    }
    return ERR_NONE; // whatever became of it: who sees the display sees it, keep
}

int32_t amt_device_vibrator(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const uint32_t position = amt_message_get_int_or_one(request->m_data_a, k_switch_atom);
    result = amt_device_write_number(k_vibrator_file, position != 0 ? k_vibration_ms : 0, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    log_info("%s vibrator", position == 1 ? "start" : "stop");
    return amt_handle_send_rsp_ok(channel, response, k_vibrator_response_id);
}

int32_t amt_device_button_backlight(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const uint32_t position = amt_message_get_int_or_one(request->m_data_a, k_switch_atom);
    result = amt_device_write_number(k_button_file, static_cast<int32_t>(position), LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    log_info("%s button backlight", position == 1 ? "open" : "close");
    return amt_handle_send_rsp_ok(channel, response, k_button_response_id);
}
