// How the fuzzers of the world vary their inputs: record by record, and then, most of the time, with every length and
// checksum made right again, so that an input gets past them.
//
// LLVMFuzzerCustomMutator and LLVMFuzzerCustomCrossOver are found by their names; nothing calls what stands here but
// the fuzzers' own start.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <vector>

// Makes the lengths and the checksum of a message or an envelope right, whichever the bytes begin like; others are left
// alone. An atom that reaches behind its message is cut.
void mutator_repair(std::vector<uint8_t> &bytes);
