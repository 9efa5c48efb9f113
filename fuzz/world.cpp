#include "fuzz/world.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <setjmp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "amt/amt-cfg.h"
#include "amt/channels/app-reader.h"
#include "amt/channels/modem-reader.h"
#include "amt/channels/pc-dispatch.h"
#include "amt/channels/pc-reader.h"
#include "amt/channels/registrations.h"
#include "amt/core/context.h"
#include "amt/device/simple.h"
#include "amt/device/wifi.h"
#include "amt/identity/identity-writes.h"
#include "amt/identity/pending-identity.h"
#include "amt/modem/at-channel.h"
#include "amt/platform-library.h"
#include "amt/wire/amt-convert.h"
#include "fuzz/script.h"
#include "fuzz/world_choices.h"
#include "fuzz/world_files.h"
#include "fuzz/world_laws.h"
#include "pub/log/errors.h"
#include "pub/log/log_client.h"

bool g_world_runs = false;

namespace {

constexpr int k_time_outs_max = 8; // of one input
constexpr int k_failures_max = 8;  // of its readings
constexpr int k_requests_max = 8;  // more of them are not faster to be tried at once
constexpr int64_t k_start_of_clock = 1'000'000'000;

constexpr const char *k_properties_a[] = {
    "ro.build.customer",      "ro.product.manufacturer", "ro.build.version.incremental",
    "ro.build.display.kv.id", "ro.build.display.id",     "sys.usb.config",
};
constexpr size_t k_property_count = sizeof(k_properties_a) / sizeof(k_properties_a[0]);
constexpr size_t k_property_max = 91;

struct property {
    bool is_set;
    char value_a[k_property_max + 1];
};

// What is left of the script, and what it has said about the handset.
struct play {
    world_side side;
    world_translation translate;
    const uint8_t *script;
    size_t left;
    world_request reading; // of which the rest comes with the next reading
    property properties_a[k_property_count];
    int64_t seconds;
    int time_outs;
    int failures;
    int requests;
};
play g_play;
bool g_wifi_was_used = false;

jmp_buf g_end;       // of the run
jmp_buf g_relay_end; // of what the modem says between two requests

// --- the script

bool peek(script_record *record)
{
    const uint8_t *at = g_play.script;
    size_t left = g_play.left;
    return script_take(at, left, record);
}

void skip()
{
    script_record record;
    (void)script_take(g_play.script, g_play.left, &record);
}

// The number behind the properties' says, by any value at all, that the modem's port could not be opened.
void set_property(const script_record &record)
{
    if (record.length == 0) {
        return;
    }
    const size_t number = record.bytes[0] % (k_property_count + 1);
    if (number == k_property_count) {
        g_at_dev_not_opened = record.length > 1 ? 1 : 0;
        return;
    }
    property &target = g_play.properties_a[number];
    const size_t length = std::min(record.length - 1, k_property_max);
    memcpy(target.value_a, record.bytes + 1, length);
    target.value_a[length] = '\0';
    target.is_set = true;
}

// Whether the record is about the handset; then it has been heeded.
bool heed(const script_record &record)
{
    switch (record.kind) {
    case record_kind::choices:
        choices_set(record.bytes, record.length);
        return true;
    case record_kind::file:
        if (record.length > 0) {
            files_put(record.bytes[0], record.bytes + 1, record.length - 1);
        }
        return true;
    case record_kind::property:
        set_property(record);
        return true;
    case record_kind::request:
    case record_kind::modem:
        break;
    }
    return false;
}

// The next record, if it is the modem's; what is said about the handset before it is heeded.
bool take_modems(script_record *record)
{
    while (peek(record)) {
        if (record->kind == record_kind::modem) {
            skip();
            return true;
        }
        if (!heed(*record)) {
            return false;
        }
        skip();
    }
    return false;
}

// --- relaying

void relay()
{
    if (setjmp(g_relay_end) == 0) {
        amt_handle_read_modem_loop();
    }
}

void open_if_closed(amt_channel_fd *channel, const char *path)
{
    if (!amt_channel_is_open(*channel)) {
        *channel = files_open(path, O_RDWR);
    }
}

// As if the station's request had come by its reader, whose buffers these are.
void note_and_relay(const world_request &request)
{
    static amt_buffer kept;
    kept = handle_context_st.m_request;
    open_if_closed(&handle_context_st.m_fd_pc, k_station_path);
    open_if_closed(&handle_context_st.m_fd_modem, k_modem_path);
    amt_buffer &noted = handle_context_st.m_request;
    amt_buffer_clear(&noted);
    noted.m_length = static_cast<uint32_t>(std::min<size_t>(request.length, AMT_REQUEST_MAX));
    memcpy(noted.m_data_a, request.bytes, noted.m_length);
    amt_buffer &dispatch = handle_context_st.m_dispatch;
    dispatch = noted;
    const bool is_message = amt_convert_pc_2_app(&dispatch) == ERR_NONE;
    handle_amt_imei_and_sn(is_message ? amt_message_get_command_id(dispatch.m_data_a) : uint8_t{255});
    handle_context_st.m_request = kept;
    relay();
}

// --- requests

// The next request's bytes; false at the end of the script.
bool find_reading()
{
    script_record record;
    while (g_play.requests < k_requests_max && peek(&record)) {
        if (record.kind == record_kind::modem && g_play.side == world_side::station) {
            relay();
            continue;
        }
        skip();
        if (heed(record) || record.kind == record_kind::modem) {
            continue;
        }
        g_play.requests++;
        world_request request = {record.bytes, record.length, false};
        request = g_play.translate == nullptr ? request : g_play.translate(record.bytes, record.length);
        if (!request.is_relayed) {
            g_play.reading = request;
            return true;
        }
        note_and_relay(request);
        laws_settle();
    }
    return false;
}

// --- the service

void open_channels()
{
    handle_context &context = handle_context_st;
    if (g_play.side == world_side::station) {
        context.m_fd_pc = files_open(k_station_path, O_RDWR);
        context.m_fd_modem = files_open(k_modem_path, O_RDWR);
    } else {
        context.m_pty.m_ptm_fd = files_open(k_application_path, O_RDWR);
        context.m_fd_at = files_open(k_at_path, O_RDWR);
    }
}

// Has a handler carry out one request, unanswered: the channel is closed.
void order(amt_handle_func handler, uint8_t command_id, uint8_t atom_id, uint8_t value)
{
    static amt_buffer request;
    static amt_buffer response;
    amt_buffer_clear(&request);
    amt_message_init(request.m_data_a, command_id);
    (void)amt_message_append_bytes(request.m_data_a, atom_id, &value, sizeof(value));
    request.m_length = amt_message_get_total_length(request.m_data_a);
    (void)handler(AMT_CHANNEL_APP, &request, &response);
}

void stop_wifi()
{
    order(amt_device_wifi_rtx_test, 0xBB, 154, 2);
}

// The first of these requests keeps the brightness of before, for the life of the process.
void keep_brightness()
{
    order(amt_device_lcd_brightness, 0x39, 26, 0);
}

void reset_service()
{
    handle_context &context = handle_context_st;
    for (amt_channel_fd *channel : {&context.m_fd_pc, &context.m_fd_at, &context.m_fd_modem}) {
        channel->store(0);
    }
    context.m_pty.m_ptm_fd = -1;
    context.m_thread_app = pthread_self(); // which its reader clears in the end
    for (amt_buffer *buffer : {&context.m_request, &context.m_response, &context.m_dispatch, &context.m_modem_relay}) {
        amt_buffer_clear(buffer);
    }
    g_at_cmd_buf = {};
    g_at_rsp_buf = {};
    g_at_dev_not_opened = 0;
    g_amt_mode = AMT_MODE_UNKNOWN;
    amt_clear_pending_identity();
    if (g_wifi_was_used) {
        stop_wifi();
        g_wifi_was_used = false;
    }
}

void copy_path(char *target, size_t size, const char *path)
{
    (void)snprintf(target, size, "%s", path);
}

void configure()
{
    amt_cfg &cfg = amt_cfg_st;
    copy_path(cfg.m_tty_pc_a, sizeof(cfg.m_tty_pc_a), k_station_path);
    copy_path(cfg.m_tty_app_a, sizeof(cfg.m_tty_app_a), k_application_path);
    copy_path(cfg.m_tty_modem_a, sizeof(cfg.m_tty_modem_a), k_modem_path);
    copy_path(cfg.m_tty_at_mux_a, sizeof(cfg.m_tty_at_mux_a), k_at_path);
    copy_path(cfg.m_audio_file_a, sizeof(cfg.m_audio_file_a), "/system/media/amt.wav");
    cfg.m_modem_uart_at_baudrate = 115200;
    cfg.m_modem_uart_amt_baudrate = 921600;
}

void run_reader()
{
    if (setjmp(g_end) != 0) {
        return;
    }
    if (g_play.side == world_side::station) {
        amt_handle_read_pc_loop();
    } else {
        amt_handle_read_app_loop();
    }
}

} // namespace

void world_begin()
{
    g_world_runs = true;
    files_reset();
    (void)sfw_log_set_directory("/log");
    if (sfw_log_start(SFW_LOG_DEFAULT_OBJECT, "fuzz") == nullptr) {
        abort();
    }
    configure();
    decide_platform_lib_name();
    amt_context_clear();
    amt_register_handlers();
    keep_brightness();
    g_world_runs = false;
}

void world_run(world_side side, const uint8_t *script, size_t size, world_translation translate)
{
    g_world_runs = true;
    g_play = {side, translate, script, size, {}, {}, k_start_of_clock, 0, 0, 0};
    choices_reset();
    files_reset();
    laws_reset(side);
    reset_service();
    open_channels();
    run_reader();
    laws_settle();
    g_world_runs = false;
}

ssize_t world_read_request(void *bytes, size_t room)
{
    laws_settle();
    if (g_play.failures < k_failures_max && choose_failure(point::request_read)) {
        g_play.failures++;
        return -1;
    }
    if (g_play.reading.length == 0 && !find_reading()) {
        errno = EBADF;
        return -1;
    }
    world_request &reading = g_play.reading;
    const size_t count = std::min(room, reading.length);
    memcpy(bytes, reading.bytes, count);
    reading.bytes += count;
    reading.length -= count;
    if (count > 0) {
        const amt_buffer &request = handle_context_st.m_request;
        laws_take_request(request.m_data_a, request.m_length + count);
    }
    return static_cast<ssize_t>(count);
}

ssize_t world_read_answer(void *bytes, size_t room)
{
    script_record record;
    if (choose_failure(point::at_read)) {
        return -1;
    }
    if (!take_modems(&record)) {
        errno = EAGAIN; // which no port says: here the script's modem falls silent
        return -1;
    }
    const size_t count = std::min(room, record.length);
    memcpy(bytes, record.bytes, count);
    laws_take_answer(record.bytes, count);
    return static_cast<ssize_t>(count);
}

ssize_t world_read_chunk(void *bytes, size_t room)
{
    script_record record;
    if (!take_modems(&record)) {
        longjmp(g_relay_end, 1);
    }
    const size_t count = std::min(room, record.length);
    memcpy(bytes, record.bytes, count);
    laws_take_chunk(record.bytes, count);
    return static_cast<ssize_t>(count);
}

void world_note_wifi()
{
    g_wifi_was_used = true;
}

void world_end_service()
{
    longjmp(g_end, 1);
}

const char *world_property(const char *key)
{
    for (size_t i = 0; i < k_property_count; i++) {
        if (strcmp(k_properties_a[i], key) == 0) {
            return g_play.properties_a[i].is_set ? g_play.properties_a[i].value_a : nullptr;
        }
    }
    return nullptr;
}

int64_t world_clock()
{
    return g_play.seconds;
}

bool world_times_out()
{
    if (g_play.time_outs >= k_time_outs_max) {
        return false;
    }
    g_play.time_outs++;
    g_play.seconds += choose(point::clock) == 0 ? 5 : 0;
    return true;
}

bool world_has_answer()
{
    script_record record;
    return peek(&record) && record.kind == record_kind::modem;
}
