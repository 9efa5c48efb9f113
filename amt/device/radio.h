// The steps of the radio tests, each one call of the maker's library, told in the log with its outcome in the name of
// the caller. They are asked for by messages and by lines alike. Each returns ERR_NONE, or ERR_UNKNOWN when the library
// returned anything but 0, and blocks until the library is done, which may take seconds. Of the reader's thread.
#pragma once

#include <stdint.h>

#include "pub/log/caller.h"

struct radio_step {
    const char *m_name;
    const char *m_entry; // that is blamed for a failure
    int (*m_call)();
};

extern const radio_step AMT_BT_START;
extern const radio_step AMT_BT_STOP;
extern const radio_step AMT_BT_CLOSE; // does what the one before does, under the name that it has in messages
extern const radio_step AMT_BT_OPEN;  // likewise
extern const radio_step AMT_BT_CHECK;
extern const radio_step AMT_WIFI_START;
extern const radio_step AMT_WIFI_STOP;
extern const radio_step AMT_WIFI_CHECK;
extern const radio_step AMT_GPS_START;
extern const radio_step AMT_GPS_STOP;         // asked for by a message
extern const radio_step AMT_GPS_STOP_BY_LINE; // the same under another name
extern const radio_step AMT_GPS_CHECK;

constexpr int AMT_GPS_READ = 2; // the mode of hwt_gpsCtrl that reads a satellite

// Takes the step. `prefix` stands before its beginning in the log.
[[nodiscard]] int32_t amt_radio_run(const radio_step &step, log_caller caller, const char *prefix = "");

// ERR_UNKNOWN, told in the log, when what the entry returned is not 0.
[[nodiscard]] int32_t amt_radio_check(const char *name, const char *entry, int result, log_caller caller);

// WiFi sends or counts test frames. The rate's unit is the library's business; `unit` stands behind the rate in the
// log. The count of received frames is 0 when the library stores none.
[[nodiscard]] int32_t amt_wifi_start_tx(uint8_t channel, uint16_t rate, int16_t power, const char *unit,
                                        log_caller caller);
[[nodiscard]] int32_t amt_wifi_stop_tx(log_caller caller);
[[nodiscard]] int32_t amt_wifi_start_rx(uint8_t channel, uint16_t rate, const char *unit, log_caller caller);
[[nodiscard]] int32_t amt_wifi_stop_rx(uint8_t channel, int *count, log_caller caller);

// The channel on which receiving is stopped that was never started. Messages and lines each remember a channel of their
// own: keep.
constexpr uint8_t AMT_WIFI_FIRST_RX_CHANNEL = 6;
