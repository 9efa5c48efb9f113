// Tests of the battery, and its calibration: handlers, of the reader's thread, and what they are made of. A failure is
// returned unanswered; otherwise the result of the answer.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Tells the voltage in microvolts. To the application alone: it goes out bare. ERR_C_FUNCTION when the kernel does not
// tell it.
int32_t amt_device_battery_voltage(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Reads the converter behind the battery (224), or calibrates it with four numbers, which are kept in a file (226).
// ERR_UNKNOWN when the converter cannot be read or the file cannot be written, and for any other id.
int32_t amt_device_battery_voltage_check(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Asks the battery driver for the converter's value. One that does not take the question reads as 0: the station sees
// by the number that it cannot be. ERR_UNKNOWN when the driver takes it and then tells nothing.
[[nodiscard]] int32_t amt_read_adc(uint32_t *value);

struct amt_adc_calibration {
    int32_t m_numbers_a[4];
};

// Keeps the calibration for the starts to come. ERR_UNKNOWN when the file cannot be written.
[[nodiscard]] int32_t amt_write_adc_diff_value(const amt_adc_calibration &calibration);
