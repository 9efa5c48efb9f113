// The radios of a workstation: each entry records its call and answers as its control file says (result, delay_ms, and
// what it reads). Outputs are stored whatever the result is, so that a test chooses both. There is no chip behind it:
// whether a call makes sense in its order is for the test to see in the record.
#include <hwt.h>

#include "platform/linux/handset.h"

PLATFORM_ENTRY int hwt_btCtrl(int on)
{
    const handset_call call = handset_begin("hwt_btCtrl(%d)", on);
    return handset_end(call);
}

PLATFORM_ENTRY int hwt_btCheck(void)
{
    const handset_call call = handset_begin("hwt_btCheck()");
    return handset_end(call);
}

PLATFORM_ENTRY int hwt_wifiCtrl(int on)
{
    const handset_call call = handset_begin("hwt_wifiCtrl(%d)", on);
    return handset_end(call);
}

PLATFORM_ENTRY int hwt_wifiCheck(void)
{
    const handset_call call = handset_begin("hwt_wifiCheck()");
    return handset_end(call);
}

// How the record shows a pointer: by its parameter's name, so that a caller's mistake is seen there.
static const char *pointer_name(const int *pointer, const char *name)
{
    return pointer == nullptr ? "null" : name;
}

// The number of one slot, <name>.<index>, or else the one of all slots, <name>.
static void store_satellite_number(const handset_call &call, const char *name, int index, int *number)
{
    if (number == nullptr) {
        return;
    }
    char key[32];
    (void)handset_append(key, sizeof(key), 0, "%s.%d", name, index);
    *number = handset_number(call, key, handset_number(call, name, 0));
}

PLATFORM_ENTRY int hwt_gpsCtrl(int mode, int index, int *svid, int *cnr)
{
    constexpr int k_read_satellite = 2;
    const handset_call call =
        handset_begin("hwt_gpsCtrl(%d, %d, %s, %s)", mode, index, pointer_name(svid, "svid"), pointer_name(cnr, "cnr"));
    if (mode == k_read_satellite) {
        store_satellite_number(call, "svid", index, svid);
        store_satellite_number(call, "cnr", index, cnr);
    }
    return handset_end(call);
}

PLATFORM_ENTRY int hwt_gpsCheck(void)
{
    const handset_call call = handset_begin("hwt_gpsCheck()");
    return handset_end(call);
}

PLATFORM_ENTRY int hwt_TxTest(int on, int power, int rate, int channel)
{
    const handset_call call = handset_begin("hwt_TxTest(%d, %d, %d, %d)", on, power, rate, channel);
    return handset_end(call);
}

PLATFORM_ENTRY int hwt_RxTest(int on, int channel, int rate, int *count)
{
    const handset_call call =
        handset_begin("hwt_RxTest(%d, %d, %d, %s)", on, channel, rate, pointer_name(count, "count"));
    if (on == 0 && count != nullptr) {
        *count = handset_number(call, "count", 0);
    }
    return handset_end(call);
}
