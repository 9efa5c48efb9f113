// The maker's library for testing the radios: Bluetooth, WiFi, satellite positioning. Every entry returns 0 for success
// and anything else for failure, and blocks until the chip is done, which may take seconds. Calls for one radio are
// made one after the other. A pointer is used during the call only; what it points to is undefined after a failure.
#pragma once

extern "C" {

// Bluetooth. `on`: 1 powers the chip and brings its firmware up, 0 takes it down.
int hwt_btCtrl(int on);
// Asks whether the chip answers; it is to be on.
int hwt_btCheck(void);

// WiFi, the same way.
int hwt_wifiCtrl(int on);
int hwt_wifiCheck(void);

// Satellite positioning. `mode` 1 starts the search and 0 ends it, both with index 0 and null pointers. 2 reads one
// satellite of the search: slot `index`, its number into `svid` and its signal strength (carrier to noise, dB-Hz) into
// `cnr`.
int hwt_gpsCtrl(int mode, int index, int *svid, int *cnr);
// Asks whether the receiver answers.
int hwt_gpsCheck(void);

// WiFi sends test frames while `on` is 1, until called with 0. `power`, `rate` and `channel` are in the units of the
// station's request and are passed on as they are.
int hwt_TxTest(int on, int power, int rate, int channel);
// WiFi counts the test frames it hears: `on` 1 starts, with `count` null; 0 stops and stores how many there were.
int hwt_RxTest(int on, int channel, int rate, int *count);
}
