#include "amt/device/radio.h"

#include <hwt.h>

#define LOG_MODULE "amt/amt-device"
#include "pub/log/log.h"

namespace {

// clang-format off
int start_bt()   { return hwt_btCtrl(1); }
int stop_bt()    { return hwt_btCtrl(0); }
int start_wifi() { return hwt_wifiCtrl(1); }
int stop_wifi()  { return hwt_wifiCtrl(0); }
int start_gps()  { return hwt_gpsCtrl(1, 0, nullptr, nullptr); }
int stop_gps()   { return hwt_gpsCtrl(0, 0, nullptr, nullptr); }
// clang-format on

} // namespace

// clang-format off
const radio_step AMT_BT_START         = {"BT-start",                "hwt_btCtrl",   start_bt};
const radio_step AMT_BT_STOP          = {"BT-stop",                 "hwt_btCtrl",   stop_bt};
const radio_step AMT_BT_CLOSE         = {"BT-start close",          "hwt_btCtrl",   stop_bt};
const radio_step AMT_BT_OPEN          = {"BT-start open",           "hwt_btCtrl",   start_bt};
const radio_step AMT_BT_CHECK         = {"BT hardware check",       "hwt_btCheck",  hwt_btCheck};
const radio_step AMT_WIFI_START       = {"WIFI-start",              "hwt_wifiCtrl", start_wifi};
const radio_step AMT_WIFI_STOP        = {"WIFI-stop",               "hwt_wifiCtrl", stop_wifi};
const radio_step AMT_WIFI_CHECK       = {"wifi connectivity check", "hwt_btCtrl",   hwt_wifiCheck}; // another's: keep
const radio_step AMT_GPS_START        = {"GPS-start",               "hwt_gpsCtrl",  start_gps};
const radio_step AMT_GPS_STOP         = {"GPS stop",                "hwt_gpsCtrl",  stop_gps};
const radio_step AMT_GPS_STOP_BY_LINE = {"GPS-stop",                "hwt_gpsCtrl",  stop_gps};
const radio_step AMT_GPS_CHECK        = {"GPS connectivity check",  "hwt_gpsCheck", hwt_gpsCheck};
// clang-format on

int32_t amt_radio_run(const radio_step &step, log_caller caller, const char *prefix)
{
    log_info_of(caller, "%s%s start", prefix, step.m_name);
    const int result = step.m_call();
    log_info_of(caller, "%s end. return:%d.", step.m_name, result);
    return amt_radio_check(step.m_name, step.m_entry, result, caller);
}

int32_t amt_radio_check(const char *name, const char *entry, int result, log_caller caller)
{
    return result == 0 ? ERR_NONE
                       : log_error_of(caller, ERR_UNKNOWN, "%s error. call %s fail: %d", name, entry, result);
}

int32_t amt_wifi_start_tx(uint8_t channel, uint16_t rate, int16_t power, const char *unit, log_caller caller)
{
    log_info_of(caller, "WIFI-TX-start start. channel:%d; power:%d; rate:%d%s", channel, power, rate, unit);
    const int result = hwt_TxTest(1, power, rate, channel);
    log_info_of(caller, "WIFI-TX-start end. return:%d.", result);
    return amt_radio_check("WIFI-TX-start", "hwt_TxTest", result, caller);
}

int32_t amt_wifi_stop_tx(log_caller caller)
{
    log_info_of(caller, "WIFI-TX-stop start. ");
    const int result = hwt_TxTest(0, 0, 0, 0);
    log_info_of(caller, "WIFI-TX-stop end. return:%d.", result);
    return amt_radio_check("WIFI-TX-stop", "hwt_TxTest", result, caller);
}

int32_t amt_wifi_start_rx(uint8_t channel, uint16_t rate, const char *unit, log_caller caller)
{
    log_info_of(caller, "WIFI-RX-start start. channel:%d; rate:%d%s", channel, rate, unit);
    const int result = hwt_RxTest(1, channel, rate, nullptr);
    log_info_of(caller, "WIFI-RX-start end. return:%d.", result);
    return amt_radio_check("WIFI-RX-start", "hwt_RxTest", result, caller);
}

int32_t amt_wifi_stop_rx(uint8_t channel, int *count, log_caller caller)
{
    log_info_of(caller, "WIFI-RX-stop start. channel:%d", channel);
    *count = 0;
    const int result = hwt_RxTest(0, channel, 0, count);
    log_info_of(caller, "WIFI-RX-stop end. return:%d; cnt:%d.", result, *count);
    return amt_radio_check("WIFI-RX-stop", "hwt_RxTest", result, caller);
}
