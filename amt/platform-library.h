// The maker's misc library, one per chip: which one it is, and the services that it gives. It is loaded for each call
// and unloaded behind it; when it lacks the entry it stays loaded. Any thread.
#pragma once

#include <stdint.h>

// Chooses the libraries by the chip of the handset. Once, before any of the services is called.
void decide_platform_lib_name();

// Sets how the cable charges the handset; `type` is 0 or more. ERR_INVALID_PARAM for a negative type, ERR_C_FUNCTION
// when the library or its entry is missing, else what the library returned: 0 for success.
int32_t amt_usb_charge_ctrl(int32_t type);

// Lets the handset sink into its idle state. ERR_C_FUNCTION when the library or its entry is missing, else what the
// library returned: 0 for success.
[[nodiscard]] int32_t amt_make_ue_enter_idle();

// Leads the microphone to an output chosen by `type`, from `enable` 1 until `enable` 0. ERR_C_FUNCTION when the library
// or its entry is missing.
[[nodiscard]] int32_t amt_test_codec_loop(int32_t type, int32_t enable);

constexpr int32_t AMT_DEVICE_INFO_SIZE = 4055;

// Describes the handset's parts in text, terminated whatever the library does. ERR_C_FUNCTION when the library or its
// entry is missing, else what the library returned: 0 for success.
[[nodiscard]] int32_t amt_create_device_info(char (&text)[AMT_DEVICE_INFO_SIZE + 1]);

// Reads the flag that tells how the last download of the handset's software ended: *state is 0 when nothing was read.
// ERR_C_FUNCTION when the library or its entry is missing.
[[nodiscard]] int32_t amt_boot_dl_fin_read(uint32_t *state);

// Reads the charge mode, what is at the other end of the cable: *mode is 0 when nothing was read. ERR_C_FUNCTION when
// the library or its entry is missing.
[[nodiscard]] int32_t amt_get_charge_mode(uint32_t *mode);
