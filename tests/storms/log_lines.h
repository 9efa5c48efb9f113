// Whether a log file is made of whole lines: stricter than whoever only reads it.
#pragma once

#include <string>
#include <string_view>

struct log_history {
    int footers = 1;         // so many ends are told; -1: any number
    bool header = true;      // it begins with the header; not when the file was emptied meanwhile
    bool unfinished = false; // the last line may have been cut by a disk that was full, or may still be written
};

// What is wrong with the file's content; empty when nothing is. A ring that has come round may have one torn place,
// where its newest record ends.
std::string fault_of_log(std::string_view content, const log_history &history = {});
