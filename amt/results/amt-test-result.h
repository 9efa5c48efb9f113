// The verdicts of the line's test stations, as the handset keeps them in two small text files below "/amt": one line an
// item, a digit and a line feed, so that item i is the byte at 2 * i. Nothing else stands in them, and nobody but the
// line makes "/amt".
//
// Each call opens its file and closes it again; there is no lock, so two that write one file at a time race. Called on
// the readers' threads.
#pragma once

#include <stdint.h>

// A verdict, as messages carry it and files keep it; every other number counts as "not tested", a "0" in a file.
constexpr uint32_t AMT_TEST_PASSED = 1;
constexpr uint32_t AMT_TEST_FAILED = 2;

// What these functions fail with: numbers of their own, without a text in pub/log/errors.h.
constexpr int32_t AMT_RESULT_NO_ACCESS = -1; // the folder or the file could not be had, or a new one not be filled
constexpr int32_t AMT_RESULT_NOT_MADE = -2;  // a missing file could not be made, or an item took nothing
constexpr int32_t AMT_RESULT_NOT_SAVED = -3; // there is no such item, or it could not be changed

// Makes a file of `count` items (36 at most) that are not tested; one that exists is overwritten, and one that could
// not be filled stays as far as it came. 0 or AMT_RESULT_NO_ACCESS.
[[nodiscard]] int32_t initTestFile(const char *path, int32_t count);

// Changes one item of a file that exists, whatever its index; below 0 it is item 0 that changes. AMT_RESULT_NO_ACCESS
// when the file cannot be opened, AMT_RESULT_NOT_MADE when nothing could be written.
[[nodiscard]] int32_t update_item(const char *path, int32_t index, uint32_t result);

// Changes one of the 36 items of "/amt/product.txt" or of the 20 of "/amt/amt_result.txt"; a missing file is made.
// AMT_RESULT_NO_ACCESS for the folder, AMT_RESULT_NOT_MADE for a new file, AMT_RESULT_NOT_SAVED for an index behind the
// last or an item that could not be changed.
[[nodiscard]] int32_t write_item(int32_t index, uint32_t result);
[[nodiscard]] int32_t write_amt_item(int32_t index, uint32_t result);

// The digit of one of the 36 items of "/amt/product.txt", which is made when it is missing; 0 for anything else that
// stands there, and behind the end of the file. AMT_RESULT_NOT_SAVED for an index behind the last, AMT_RESULT_NOT_MADE
// for a new file, AMT_RESULT_NO_ACCESS for all else, an index below 0 too.
[[nodiscard]] int32_t read_item(int32_t index);
