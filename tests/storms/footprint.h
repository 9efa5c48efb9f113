// What a running service takes of the machine, for showing that it takes no more after hours than after a minute.
#pragma once

#include <string>
#include <vector>

#include "tests/storms/bench.h"

struct footprint {
    long resident_kib = 0;
    long dirty_kib = 0; // private to the process
    long descriptors = 0;
    std::size_t log_size = 0; // bytes
};

footprint footprint_of(const bench &b, const emulator::process &service);

// The most of each.
footprint most_of(std::vector<footprint>::const_iterator begin, std::vector<footprint>::const_iterator end);

// "VmRSS 2112 KiB, Private_Dirty 320 KiB, 7 descriptors"
std::string to_string(const footprint &what);

// Throws unless the last of the samples, a tenth of them, need no more than the first did.
void require_flat(const std::vector<footprint> &samples);
