// Tests of what lights, shows and shakes: handlers, of the reader's thread. ERR_INVALID_PARAM is returned unanswered,
// and so is ERR_C_FUNCTION of a file that cannot be written; otherwise the result of the answer.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Nothing is drawn: the person in front of the display has the application for that.
int32_t amt_device_lcd_color(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Sets the display's brightness, 0 to 255; anything above gives it back the brightness that it had before the first
// request. Always ERR_NONE once the arguments are good; a failure is not answered at all.
int32_t amt_device_lcd_brightness(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Runs the motor for three seconds, or stops it when the switch is 0.
int32_t amt_device_vibrator(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Lights the keys with 1, darkens them with 0.
int32_t amt_device_button_backlight(uint8_t channel, const amt_buffer *request, amt_buffer *response);
