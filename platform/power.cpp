#include "power.h"

#include <sys/reboot.h>

int platform_power_off()
{
    return reboot(RB_POWER_OFF);
}
