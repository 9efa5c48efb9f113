#include "amt/device/storage.h"

#include <stdio.h>

#include "amt/core/request.h"
#include "amt/core/response.h"
#include "pub/base/scoped.h"
#include "pub/cfg/cfg.h"
#include "pub/util/util.h"

#define LOG_MODULE "amt/amt-device"
#include "pub/log/log.h"

namespace {

constexpr char k_selector_file[] = "/data/etc/storage.config";
constexpr int k_card_is_first = 1; // in that file
constexpr char k_first_path[] = "/storage/sdcard0";
constexpr char k_second_path[] = "/storage/sdcard1";

constexpr uint8_t k_response_id = 138;
constexpr uint8_t k_capacity_atom = 55;

// Which of the handset's storages is the card. A handset that does not say has the storage inside first.
const char *find_card_path()
{
    log_info("amt_device_tf_card--->will open storage config file: %s", k_selector_file);
    int value = 0;
    const scoped_file file(pub_cfg_open(k_selector_file));
    if (file.is_open() && fscanf(file.get(), "%d", &value) == 1) { // NOLINT(cert-err34-c): any other number is no 1
        log_info("amt_device_tf_card--->getted storage config value: %d", value);
    }
    log_info("amt_device_tf_card--->storage config value: %d", value);
    return value == k_card_is_first ? k_first_path : k_second_path;
}

uint32_t get_capacity(const char *path)
{
    pub_util_fs_info info = {};
    if (pub_util_get_mount_fs_info(path, &info) != ERR_NONE) {
        return 0;
    }
    log_info("external tf card capability: %ld KB", static_cast<long>(info.m_total_kib));
    return info.m_total_kib;
}

} // namespace

int32_t amt_device_tf_card(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const char *path = find_card_path();
    log_info("amt_device_tf_card--->external sd card path: %s", path);
    const uint32_t capacity = get_capacity(path);
    log_info("tf card capability: %ld KB", static_cast<long>(capacity));
    amt_handle_begin_rsp(response, k_response_id);
    (void)amt_message_append_int(response->m_data_a, k_capacity_atom, capacity); // it has room
    amt_handle_append_result(response, 0);
    return amt_handle_send_rsp(channel, response);
}
