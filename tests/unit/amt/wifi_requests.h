// Requests for WiFi's tests of sending and receiving, and their answers, in hex. With radio_fakes.h; only inside
// in_child.
#pragma once

#include <stdint.h>

#include <string>

#include "tests/unit/amt/radio_fakes.h"

enum wifi_command : uint8_t {
    ON = 1,
    OFF = 2,
    SEND = 3,
    STOP_SENDING = 4,
    RECEIVE = 5,
    STOP_RECEIVING = 6,
};

std::string channel_atom(uint8_t channel);
std::string rate_atom(uint16_t rate);
std::string power_atom(uint16_t power);

// What a request needs to be complete, whichever command it has: channel 6, rate 540, power 15.
std::string all_numbers();

std::string wifi_request(uint8_t command, const std::string &atoms = "");
std::string wifi_answer(uint8_t command, const std::string &atoms = "");

// What the shell is given when a command arrives.
std::string trace_of(int command);

// Has a request handled for the application.
outcome ask_wifi(radio_bench &bench, const std::string &request);

// Has a command carried out, which is to succeed, with the usual numbers.
outcome carry_out(radio_bench &bench, uint8_t command);

// Nobody has got an answer.
void expect_unanswered(const outcome &seen);
