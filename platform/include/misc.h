// The entries of the misc library, of which the maker provides one per chip (amt.<chip>.misc.so). The service loads it
// while running and finds each entry by name, so these declarations are never linked against: they give the types. All
// block until done; calls are made one after the other. A pointer is used during the call only.
#pragma once

extern "C" {

// Audio loop test: the microphone is heard on an output. `type` chooses the pair, `enable` is 1 to start and 0 to stop.
// What it returns says nothing and is to be ignored.
int codec_loop_test(int type, int enable);

// Describes the handset's parts in zero-terminated text, cut to the `size` bytes of the caller's `buffer` (terminator
// included). Returns 0 for success; after anything else the buffer's content is undefined.
int create_devinfo(char *buffer, int size);

// Lets the handset sink into its idle state, to have its current measured. Returns 0 for success.
int enter_idle(void);

// Allows or forbids charging from the cable, as `type` says. Returns 0 for success.
int amt_usb_charger_enable(int type);

// Returns the system's state of health, a number that is passed on as it is.
int amt_check_system_sanity(void);

// Returns the charge mode: what is at the other end of the cable. 1 an AC charger, 2 a USB host; others are undefined.
int IsChargeState(void);

// What a look-up of the entry of that name gives.
using codec_loop_test_fn = decltype(&codec_loop_test);
using create_devinfo_fn = decltype(&create_devinfo);
using enter_idle_fn = decltype(&enter_idle);
using amt_usb_charger_enable_fn = decltype(&amt_usb_charger_enable);
using amt_check_system_sanity_fn = decltype(&amt_check_system_sanity);
using is_charge_state_fn = decltype(&IsChargeState);
}
