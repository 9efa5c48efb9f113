// What a command of the shell writes, for tests that read a file with a tool.
#pragma once

#include <gtest/gtest.h>
#include <stdio.h>

#include <memory>
#include <string>

// All of its standard output; a command that cannot be run, or fails, fails the test.
inline std::string output_of(const std::string &command)
{
    std::unique_ptr<FILE, int (*)(FILE *)> pipe(popen(command.c_str(), "r"), pclose);
    EXPECT_NE(pipe, nullptr) << command;
    std::string text;
    char part[4096];
    for (size_t count = 1; pipe != nullptr && count > 0; text.append(part, count)) {
        count = fread(part, 1, sizeof(part), pipe.get());
    }
    EXPECT_EQ(pipe == nullptr ? -1 : pclose(pipe.release()), 0) << command;
    return text;
}
