#include "amt/device/camera.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>

#include "amt/core/request.h"
#include "amt/core/response.h"
#include "pub/base/scoped.h"

#define LOG_MODULE "amt/amt-device"
#include "pub/log/log.h"

namespace {

constexpr char k_device[] = "/dev/video0";

// The driver's own requests.
constexpr unsigned k_select_camera = _IOWR('V', 98, int32_t);
constexpr unsigned k_update_camera = _IOWR('V', 99, int32_t);

constexpr uint8_t k_preview_id = 139;
constexpr uint8_t k_second_preview_id = 147;
constexpr uint8_t k_control_response_id = 181;
constexpr uint8_t k_control_atom = 112;
constexpr uint8_t k_result_atom = 113;

constexpr int32_t k_input = 1;
constexpr int32_t k_no_camera = 3; // the result of an update

int open_device()
{
    const int fd = open(k_device, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (fd == 0) {
        errno = EBADF; // none of a device's
    }
    if (fd < 1) {
        (void)log_sys_error("open");
    }
    return fd;
}

// The driver may store another number in place of its argument; what it returns is what counts.
int request_with(int fd, unsigned request, int32_t number)
{
    return ioctl(fd, request, &number);
}

int32_t select_camera(int32_t camera)
{
    const scoped_fd device(open_device());
    if (device.get() < 1) {
        return ERR_UNKNOWN;
    }
    if (request_with(device.get(), k_select_camera, camera) < 0) {
        (void)log_sys_error("ioctl");
        return ERR_UNKNOWN;
    }
    return ERR_NONE;
}

int32_t update_camera(int32_t camera, int32_t *result)
{
    const scoped_fd device(open_device());
    if (device.get() < 1) {
        return ERR_UNKNOWN;
    }
    if (request_with(device.get(), VIDIOC_S_INPUT, k_input) >= 0) {
        *result = request_with(device.get(), k_update_camera, camera);
    } else {
        *result = errno == ENODEV ? k_no_camera : -1;
    }
    if (*result < 0) {
        (void)log_sys_error("ioctl");
        return ERR_UNKNOWN;
    }
    log_info("update result: %d", *result);
    return ERR_NONE;
}

} // namespace

int32_t amt_device_camera(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const uint8_t id = amt_message_get_command_id(request->m_data_a);
    if (id != k_preview_id && id != k_second_preview_id) {
        return log_error(ERR_UNKNOWN, "Invalid command id[%d]", id);
    }
    result = select_camera(id == k_preview_id ? 1 : 0);
    return result != ERR_NONE ? result : amt_handle_send_rsp_ok(channel, response, static_cast<uint8_t>(id + 1));
}

int32_t amt_device_camera_control(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const auto control_id = static_cast<int32_t>(amt_message_get_int(request->m_data_a, k_control_atom));
    log_info("control_id = %d", control_id);
    if (control_id != 1 && control_id != 2) {
        return log_error(ERR_UNKNOWN, "invalid control_id: %d", control_id);
    }
    int32_t update = 0;
    result = update_camera(control_id - 1, &update);
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_begin_rsp(response, k_control_response_id);
    (void)amt_message_append_int(response->m_data_a, k_result_atom, static_cast<uint32_t>(update)); // it has room
    amt_handle_append_result(response, 0);
    return amt_handle_wrap_and_send_rsp(channel, response);
}
