// How answers leave: each in one write, on the descriptor of its channel (AMT_CHANNEL_PC the station's, any other valid
// one the application's). Valid channels are 1 to 254; anything else, or a null buffer, is ERR_INVALID_PARAM. Any
// reader's thread; the write is a wait in which it can be ended.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Sends a buffer of up to 4096 bytes; with a length of 0 it is as long as its message says. Clears the buffer once all
// of it is written, and leaves it alone otherwise. ERR_INVALID_PARAM also for an empty message or one that is too long,
// ERR_UNKNOWN for a closed channel, ERR_C_FUNCTION for a failed write, ERR_WRITE_NOT_COMPLETED for a short one.
int32_t amt_handle_send_rsp(uint8_t channel, amt_buffer *response);

// The result in the answer of a handler that tells its failure itself. One that returns a code and answers nothing is
// answered for by its reader, with 1.
constexpr uint32_t AMT_HANDLER_FAILURE = 10;

// The steps of a built answer: begin it, append its atoms, wrap and send it. What an answer that was never sent left in
// the buffer, its length above all, is gone with the first. The station gets its answer in an envelope.
void amt_handle_begin_rsp(amt_buffer *response, uint8_t response_id);
void amt_handle_append_result(amt_buffer *response, uint32_t code);
int32_t amt_handle_wrap_and_send_rsp(uint8_t channel, amt_buffer *response);

// Builds and sends the plain answer: `response_id` with the result code 0, or with `code`. The buffer is overwritten.
int32_t amt_handle_send_rsp_ok(uint8_t channel, amt_buffer *response, uint8_t response_id);
int32_t amt_handle_send_rsp_err(uint8_t channel, amt_buffer *response, uint8_t response_id, uint32_t code);

// Tells the station at once that its request has arrived, before an answer that may take long. AMT_CHANNEL_PC only. The
// buffer is overwritten.
int32_t amt_handle_send_pre_rsp_for_pc(uint8_t channel, amt_buffer *response);
