// Tests of the radios by lines.
#pragma once

#include <stdint.h>

// Carries out the line of the station's request if it is for a radio, and answers it in text. ERR_NOT_FOUND when it is
// not, ERR_INVALID_PARAM, unanswered, when its first field is missing, otherwise the result of the answer. WiFi is
// started and stopped here with each test, whatever the tests by messages have made of it. Of the PC reader's thread.
[[nodiscard]] int32_t handle_amt_device_at();
