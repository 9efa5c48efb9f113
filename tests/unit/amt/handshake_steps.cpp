#include "tests/unit/amt/handshake_steps.h"

handshake_steps g_steps;

namespace {

void take(const std::string &step)
{
    g_steps.taken.push_back(step);
    if (g_steps.on_step) {
        g_steps.on_step(step);
    }
}

} // namespace

extern "C" {

void __real__Z18amt_forget_failurev();
void __wrap__Z18amt_forget_failurev()
{
    take(k_forget_failure);
    __real__Z18amt_forget_failurev();
}

void __real__Z24decide_platform_lib_namev();
void __wrap__Z24decide_platform_lib_namev()
{
    take(k_choose_libraries);
    __real__Z24decide_platform_lib_namev();
}

void __real__Z18amt_prepare_timersv();
void __wrap__Z18amt_prepare_timersv()
{
    take(k_prepare_timers);
    __real__Z18amt_prepare_timersv();
}

bool __wrap__Z9amt_admitv()
{
    take(k_admit);
    return g_steps.is_admitted;
}

void __wrap__Z25amt_await_usb_enumerationv()
{
    take(k_await_cable);
}

void __wrap__Z15amt_begin_relayv()
{
    take(k_begin_relay);
}

void __wrap__Z13amt_end_relayv()
{
    take(k_end_relay);
}

void __wrap__Z21amt_take_station_datav()
{
    take(k_take_data);
}
}
