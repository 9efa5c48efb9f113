// What becomes of the calls that reach out of the service: all succeed unless the input has chosen otherwise.
#pragma once

#include <stddef.h>
#include <stdint.h>

// Where the input can choose. The numbers stand in the corpora: append only.
enum class point : uint8_t {
    station_write, // of a write: 1 EIO, 2 EBADF, 3 ENOSPC, 4 EAGAIN, 5 a byte short, 6 nothing, else as it should be
    modem_write,
    application_write,
    at_write,
    file_write,
    file_read, // of a call: 1 to 4 the same errors, else as it should be
    open,
    at_read,
    at_hang_up,   // anything but 0: the port has
    at_wait,      // 1 to 4 errors, 5 times out, 6 ready without the port in the set
    shell,        // the status
    library,      // 1 cannot be loaded, 2 has no such entry, 3 and the loader does not say why
    library_call, // what an entry returns: 1 -1, 2 1, 3 the code of "not mine", 4 the least, 5 the greatest number
    radio,        // the same
    radio_count,  // the same, of what an entry counts
    fork,         // 1 the copy goes on, 2 fails
    power,        // anything but 0: it is refused
    property,     // the setting of one: anything but 0 is refused
    system,       // statfs, ioctl, lseek, the terminals' attributes: as open
    access,       // anything but 0: it is refused
    request_read, // of a reading by the station's or the application's reader: as file_read
    clock,        // whether a wait that times out moves the second: anything but 0 is no
    count,
};

// Every point as it should be.
void choices_reset();

// Takes pairs of a point and a choice: bits 0 to 3 the behaviour, 4 to 6 how many calls go well before, 7: it stays.
void choices_set(const uint8_t *pairs, size_t length);

// The behaviour of the next call at the point; 0: as it should be.
uint8_t choose(point at);

// For the points whose behaviours 1 to 4 are errors: sets errno and returns true for one of those.
bool choose_failure(point at);
bool is_failure(uint8_t behaviour); // the same for a behaviour that has been taken

// For the points that return a number: 0 unless chosen.
int choose_number(point at);
