// The addresses of Bluetooth and WiFi by lines: "?" reads, a value in quotes writes, "=?" only asks whether the line is
// known. Each returns ERR_NOT_FOUND when the station's request is not for it, else the result of its answer. Of the PC
// reader's thread.
#pragma once

#include <stdint.h>

// The lines AT^DBTADDR. An address is written into a file that there is; none is made.
[[nodiscard]] int32_t handle_amt_pc_req_at();

// The lines AT^DWIFIADDR.
[[nodiscard]] int32_t handle_amt_wifi_at();
