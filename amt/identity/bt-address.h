// Where the address of the handset's Bluetooth lies: in one of two files, of which nobody who looks for it makes one.
// Any thread.
#pragma once

// The file of this handset; null when there is none.
[[nodiscard]] const char *get_bt_addr_file();
