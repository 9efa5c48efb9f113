#include "amt/device/device-info.h"

#include "amt/core/request.h"
#include "amt/core/response.h"
#include "amt/platform-library.h"

#define LOG_MODULE "amt/amt-device"
#include "pub/log/log.h"

namespace {

constexpr uint8_t k_info_response_id = 239;
constexpr uint8_t k_info_atom = 200;
constexpr uint8_t k_idle_response_id = 241;

static_assert(AMT_DEVICE_INFO_SIZE + 2 * AMT_ATOM_HEADER_SIZE + AMT_INT_LENGTH + AMT_COMMAND_HEADER_SIZE <=
                  AMT_MESSAGE_SIZE,
              "the longest text and the result fit the answer");

} // namespace

int32_t amt_read_dev_info(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_begin_rsp(response, k_info_response_id);
    char text[AMT_DEVICE_INFO_SIZE + 1] = "";
    result = amt_create_device_info(text);
    if (result != ERR_NONE) {
        return result;
    }
    log_info("create_devinfo return OK. %s", text);
    (void)amt_message_append_string(response->m_data_a, k_info_atom, text); // it has room
    amt_handle_append_result(response, 0);
    return amt_handle_send_rsp(channel, response);
}

int32_t amt_enter_idle(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    result = amt_make_ue_enter_idle();
    if (result != ERR_NONE) {
        return result;
    }
    log_info("enter_idle return OK.");
    return amt_handle_send_rsp_ok(channel, response, k_idle_response_id);
}
