#include "amt/at-local/device-at.h"

#include <hwt.h>
#include <stddef.h>
#include <string.h>

#include "amt/at-local/at-fields.h"
#include "amt/at-local/at-line.h"
#include "amt/core/at-parameter.h"
#include "amt/device/radio.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr char k_rate_unit[] = "(will multi 100)"; // the log's; the number goes to the library as it is, keep

uint8_t g_receive_channel = AMT_WIFI_FIRST_RX_CHANNEL; // of the last start by a line

int32_t unknown(int32_t operation)
{
    return log_error(ERR_INVALID_PARAM, "unknown operation: %d", operation);
}

// Reads the next field as a number. False, told in the log, when there is none.
bool get_number(at_fields &fields, const char *name, int *number)
{
    const char *field = fields.next();
    if (field == nullptr) {
        (void)amt_tell_missing_field(name, LOG_HERE);
        return false;
    }
    *number = amt_get_field_number(field);
    return true;
}

// --- connections, Bluetooth

int32_t check_connection(int32_t radio)
{
    switch (radio) {
    case 0:
        return amt_radio_run(AMT_WIFI_CHECK, LOG_HERE);
    case 1:
        return amt_radio_run(AMT_GPS_CHECK, LOG_HERE);
    case 3:
        return amt_radio_run(AMT_BT_CHECK, LOG_HERE);
    default:
        return unknown(radio);
    }
}

int32_t switch_bluetooth(int32_t position)
{
    switch (position) {
    case 0:
        return amt_radio_run(AMT_BT_STOP, LOG_HERE);
    case 1:
        return amt_radio_run(AMT_BT_START, LOG_HERE);
    default:
        return unknown(position);
    }
}

// --- GPS

int32_t read_satellite(int index, int *number, int *strength)
{
    log_info("GPS-READ-SIGNAL start. index:%d", index);
    const int result = hwt_gpsCtrl(AMT_GPS_READ, index, number, strength);
    log_info("GPS-READ-SIGNAL end. return:%d; index:%d; svid:%d; cnr:%d.", result, index, *number, *strength);
    return amt_radio_check("GPS-READ-SIGNAL", "hwt_gpsCtrl", result, LOG_HERE);
}

int32_t start_and_read_satellite(at_fields &fields)
{
    int index = 0;
    int number = 0;
    int strength = 0;
    if (amt_radio_run(AMT_GPS_START, LOG_HERE, "start gps firstly, ") != ERR_NONE ||
        !get_number(fields, "index", &index) || read_satellite(index, &number, &strength) != ERR_NONE) {
        return amt_reply_result(ERR_UNKNOWN);
    }
    return amt_reply_to_line("\r\n^DGPSCTRL: %d,%d\r\n\r\nOK\r\n", number, strength);
}

int32_t control_gps(int32_t flag, at_fields &fields)
{
    switch (flag) {
    case 0:
        return amt_reply_result(amt_radio_run(AMT_GPS_STOP_BY_LINE, LOG_HERE));
    case 2:
        return start_and_read_satellite(fields);
    default:
        return amt_reply_result(unknown(flag));
    }
}

// --- WiFi

bool start_wifi()
{
    return amt_radio_run(AMT_WIFI_START, LOG_HERE, "start wifi firstly, ") == ERR_NONE;
}

int32_t stop_wifi()
{
    return amt_radio_run(AMT_WIFI_STOP, LOG_HERE, "then will stop wifi, ");
}

int32_t start_sending(at_fields &fields)
{
    int channel = 0;
    int rate = 0;
    int power = 0;
    if (!start_wifi() || !get_number(fields, "channel", &channel) || !get_number(fields, "rate", &rate) ||
        !get_number(fields, "power", &power)) {
        return ERR_UNKNOWN;
    }
    return amt_wifi_start_tx(static_cast<uint8_t>(channel), static_cast<uint16_t>(rate), static_cast<int16_t>(power),
                             k_rate_unit, LOG_HERE);
}

int32_t stop_sending()
{
    const int32_t result = amt_wifi_stop_tx(LOG_HERE);
    return result != ERR_NONE ? result : stop_wifi();
}

int32_t start_receiving(at_fields &fields)
{
    int channel = 0;
    int rate = 0;
    if (!start_wifi() || !get_number(fields, "channel", &channel) || !get_number(fields, "rate", &rate)) {
        return ERR_UNKNOWN;
    }
    const int32_t result =
        amt_wifi_start_rx(static_cast<uint8_t>(channel), static_cast<uint16_t>(rate), k_rate_unit, LOG_HERE);
    if (result == ERR_NONE) {
        g_receive_channel = static_cast<uint8_t>(channel);
    }
    return result;
}

int32_t stop_receiving()
{
    int count = 0; // for the log
    const int32_t result = amt_wifi_stop_rx(g_receive_channel, &count, LOG_HERE);
    return result != ERR_NONE ? result : stop_wifi();
}

int32_t test_sending(int32_t control, at_fields &fields)
{
    switch (control) {
    case 0:
        return amt_reply_result(stop_sending());
    case 1:
        return amt_reply_result(start_sending(fields));
    default:
        return amt_reply_result(unknown(control));
    }
}

int32_t test_receiving(int32_t control, at_fields &fields)
{
    switch (control) {
    case 0:
        return amt_reply_result(stop_receiving());
    case 1:
        return amt_reply_result(start_receiving(fields));
    default:
        return amt_reply_result(unknown(control));
    }
}

// --- the lines

// One whose whole parameter is a number.
struct number_line {
    const char *m_prefix;
    int32_t (*m_carry_out)(int32_t number);
};

// One with fields, of which the first is a number, too.
struct field_line {
    const char *m_prefix;
    const char *m_first_field;
    int32_t (*m_answer)(int32_t number, at_fields &others);
};

// In the order tried, the numbers before the fields, which decides for a request that holds several of the prefixes.
// clang-format off
constexpr number_line k_number_lines_a[] = {
    {"AT^DDEVCONNCHK=", check_connection},
    {"AT^DBTCTRL=",     switch_bluetooth},
};
constexpr field_line k_field_lines_a[] = {
    {"AT^DGPSCTRL=", "flag",    control_gps},
    {"AT^DWLTSD=",   "control", test_sending},
    {"AT^DWLTRD=",   "control", test_receiving},
};
// clang-format on

// The first whose prefix stands in the request; null when none does.
template <typename line_type, size_t count>
const line_type *find_line(const line_type (&lines)[count])
{
    for (const line_type &line : lines) {
        if (amt_find_in_request(&handle_context_st.m_request, line.m_prefix) != nullptr) {
            return &line;
        }
    }
    return nullptr;
}

int32_t treat(const number_line &line)
{
    char parameter[AMT_AT_PARAMETER_MAX + 1] = "";
    const int32_t result = amt_fetch_at_para(line.m_prefix, parameter);
    return amt_reply_result(result != ERR_NONE ? result : line.m_carry_out(amt_get_field_number(parameter)));
}

int32_t treat(const field_line &line)
{
    const char *text = amt_behind(line.m_prefix);
    at_fields fields(text, strlen(text)); // the carriage return is a part of the last field
    int number = 0;
    if (!get_number(fields, line.m_first_field, &number)) {
        return ERR_INVALID_PARAM; // unanswered: the station gets the dispatcher's message instead of a text, keep
    }
    log_info("getted %s:%d.", line.m_first_field, number);
    return line.m_answer(number, fields);
}

} // namespace

int32_t handle_amt_device_at()
{
    const number_line *with_number = find_line(k_number_lines_a);
    const field_line *with_fields = with_number == nullptr ? find_line(k_field_lines_a) : nullptr;
    if (with_number == nullptr && with_fields == nullptr) {
        return ERR_NOT_FOUND; // and not a word of it: lines on their way to the modem come through here
    }
    log_func();
    log_info("received at command:%s", reinterpret_cast<const char *>(handle_context_st.m_request.m_data_a));
    return with_number != nullptr ? treat(*with_number) : treat(*with_fields);
}
