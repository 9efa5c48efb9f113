// A body run as a program of its own, with all that it writes: what a person sees of a tool.
#pragma once

#include <fcntl.h>
#include <stdlib.h>

#include <string>

#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"

namespace tool_test {

struct ended_program {
    int status = -1; // as waitpid tells it
    std::string out;
    std::string err;

    // The status with which it exited; 128 and the signal where one ended it.
    int code() const { return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status); }
};

inline void redirect(const std::string &path, int flags, int fd)
{
    const int opened = open(path.c_str(), flags | O_CLOEXEC, 0600);
    if (opened < 0 || dup2(opened, fd) != fd) {
        _exit(98);
    }
}

// The body returns the exit status; it reads `in` from its standard input.
template <typename body_type>
ended_program run_as_program(const body_type &body, const std::string &in = "")
{
    const temp_folder folder;
    const std::string given = folder.with_file("in", in);
    ended_program ended;
    ended.status = wait_status_of_child([&] {
        redirect(given, O_RDONLY, STDIN_FILENO);
        redirect(folder.path("out"), O_WRONLY | O_CREAT, STDOUT_FILENO);
        redirect(folder.path("err"), O_WRONLY | O_CREAT, STDERR_FILENO);
        exit(body());
    });
    ended.out = read_whole_file(folder.path("out"));
    ended.err = read_whole_file(folder.path("err"));
    return ended;
}

inline void set_variable(const char *name, const char *value)
{
    if ((value != nullptr ? setenv(name, value, 1) : unsetenv(name)) != 0) {
        _exit(97);
    }
}

} // namespace tool_test
