// The requests that keep a test station's verdict, in the modem or on the handset, and read it back. Request handlers:
// of the readers' threads. A message names the station in int atom 39, its verdict in int atom 36 (0 when absent) and
// what it has to say in string atom 37.
//
// Each gives ERR_INVALID_PARAM for what amt_handle_check_request refuses, and the two that need the modem ERR_NOT_READY
// without one: unanswered. Every other failure is answered with AMT_HANDLER_FAILURE, and the result is that of the
// send.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Writes the verdict and up to 127 characters of text (a longer one is cut to 126, keep) into the modem, and the
// verdict into "/amt/amt_result.txt" too, where the station's number is the item's index. That copy may fail. Answers
// with command id 0x5C.
int32_t amt_modem_write_test_result(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Reads verdict and text back from the modem, with the same copy. Answers with command id 0x5A and the atoms 39,
// 36, 37.
int32_t amt_modem_read_test_result(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Writes the verdict into "/amt/product.txt": station 1 is item 0. Answers with command id 0xE7.
int32_t amt_item_write_test_result(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Reads a verdict from "/amt/product.txt": station 1 is item 1. Answers with command id 0xE5 and the atoms 39 and 36.
int32_t amt_item_read_test_result(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Keeps the copy of what a station has the modem keep, in "/amt/amt_result.txt". Answers nothing and returns
// ERR_NOT_FOUND, whatever becomes of the copy: the modem is to get the request, and will answer.
int32_t amt_modem_write_pc_test_result(uint8_t channel, const amt_buffer *request, amt_buffer *response);
