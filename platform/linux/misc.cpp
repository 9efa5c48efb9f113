// The misc library of a workstation, as if made for the chip kv7100: each entry records its call and answers as its
// control file says. Loaded by the service while running, each entry found by its name.
#include <misc.h>

#include "platform/linux/handset.h"

PLATFORM_ENTRY int codec_loop_test(int type, int enable)
{
    const handset_call call = handset_begin("codec_loop_test(%d, %d)", type, enable);
    return handset_end(call);
}

PLATFORM_ENTRY int create_devinfo(char *buffer, int size)
{
    const handset_call call = handset_begin("create_devinfo(%d)", size);
    if (buffer != nullptr && size > 0) {
        handset_text(call, "text", "chip: kv7100, memory: 2048 MB, storage: 16 GB", buffer, static_cast<size_t>(size));
    }
    return handset_end(call);
}

PLATFORM_ENTRY int enter_idle(void)
{
    const handset_call call = handset_begin("enter_idle()");
    return handset_end(call);
}

PLATFORM_ENTRY int amt_usb_charger_enable(int type)
{
    const handset_call call = handset_begin("amt_usb_charger_enable(%d)", type);
    return handset_end(call);
}

PLATFORM_ENTRY int amt_check_system_sanity(void)
{
    const handset_call call = handset_begin("amt_check_system_sanity()");
    return handset_end(call);
}

PLATFORM_ENTRY int IsChargeState(void)
{
    constexpr int k_usb_host = 2; // the cable that a workstation is at the other end of
    const handset_call call = handset_begin("IsChargeState()");
    return handset_end(call, k_usb_host);
}
