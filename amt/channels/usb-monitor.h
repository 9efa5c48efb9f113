// Watches the cable through the kernel's device events.
#pragma once

#include <stddef.h>

// The body of the USB monitor. Without -u it ends the service when the cable is pulled; with -u the timers decide.
void amt_handle_monitor_usb_loop();

// Takes the state of the cable from one event, if it tells any: texts one behind the other, each with its terminator;
// a zero byte stands behind the last. The USB monitor's thread.
void amt_handle_usb_event(const char *event, size_t length);
