// The end of the system.
#pragma once

#include <linux/reboot.h>

#define RB_POWER_OFF LINUX_REBOOT_CMD_POWER_OFF

extern "C" {
int reboot(int operation);
}
