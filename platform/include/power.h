// The power of the handset.
#pragma once

// Switches the handset off at once, without ending a program or telling the disk. Returns, with -1 and errno, only when
// that is refused.
int platform_power_off();
