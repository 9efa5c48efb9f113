// How the tools end: one table, the same for all of them. Any thread.
#pragma once

namespace tool {

enum class exit_code {
    done = 0,
    refused = 1,       // the handset answered failure, or a program inside it failed
    usage = 2,         // the command line makes no sense; also what std::invalid_argument stands for
    no_device = 3,     // there is none of that name, it is not permitted, or somebody else has it
    no_answer = 4,     // not in time
    malformed = 5,     // what came is no answer
    interrupted = 130, // by SIGINT or SIGTERM
};

constexpr struct {
    exit_code code;
    const char *meaning;
} k_exit_codes[] = {
    {exit_code::done, "done"},
    {exit_code::refused, "the handset answered failure"},
    {exit_code::usage, "the command line makes no sense"},
    {exit_code::no_device, "no device, no permission, or busy"},
    {exit_code::no_answer, "no answer in time"},
    {exit_code::malformed, "malformed answer"},
    {exit_code::interrupted, "interrupted"},
};

} // namespace tool
