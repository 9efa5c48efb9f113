// The handshake of a start on the insertion of a USB cable (-u): the service stays only if a station is there and
// answers. Two periods limit it: 20 s until the cable is enumerated; then, from the first words of the modem to the
// station on, 5 s until the station says anything at all. Whoever is late ends the service by its failure exit.
//
// Everything here but amt_end_usb_enumeration is called with -u only.
#pragma once

#include <signal.h>

// --- the start, on the main thread

// Admits the service, which may wait for a station then: there is a USB host at the cable, not a charger, and nobody
// has forbidden it. Otherwise false, when the failure exit does not end the process within: it has begun.
[[nodiscard]] bool amt_admit();

// Opens the first period.
void amt_await_usb_enumeration();

// --- any thread

// The cable is enumerated: the first period is over. Also without -u.
void amt_end_usb_enumeration();

// --- the modem reader, around each write to the station

// The station's answer to what is written now waits for amt_end_relay, some 20 ms at most.
void amt_begin_relay();

// Opens the second period once the cable is enumerated.
void amt_end_relay();

// --- the PC reader

// The station has said something: the cable is enumerated, and the handshake done if its period is open.
void amt_take_station_data();

// --- threads of their own

// The ends of the two periods: timer callbacks. They come to nothing when their timer has been deleted meanwhile or the
// handshake is done. The C library may let every signal in there; those that end the service are blocked first.
void HandUsbEnumTimeout(sigval);
void HandShakeTimeout(sigval);

// Shows the status screen, three seconds later. The body of a worker.
void amt_handle_load_image_for_handshake();
