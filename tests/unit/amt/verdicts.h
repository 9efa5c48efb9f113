// Requests that carry a station's verdict, and what becomes of the handset's copy. With port_fakes.h and amt_folder.h;
// only inside in_child.
#pragma once

#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

#include "amt/wire/amt-message.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/amt_folder.h"
#include "tests/unit/amt/links.h"

// No handler looks at its own id.
amt_buffer verdict_request();
amt_buffer verdict_request(uint32_t station);
amt_buffer verdict_request(uint32_t station, uint32_t verdict);
amt_buffer verdict_request(uint32_t station, uint32_t verdict, const std::string &text);

// Runs the body with a modem, an application and a folder, in a process of their own.
void with_modem(const std::function<void(const links &, const amt_folder &, const test_log &)> &body);

// A verdict that is to be copied into a file of 20 items, which is there.
struct copy_row {
    const char *name;
    uint32_t station;
    uint32_t verdict;
    const char *numbers; // in the log
    bool is_kept;
    size_t offset; // of the byte that changes, to this
    char digit;
};
extern const std::vector<copy_row> k_copies;

// The file before, and what must be true of it and of the log afterwards.
void prepare_copy(const amt_folder &folder);
void expect_copy(const copy_row &row, const amt_folder &folder, const test_log &log);
