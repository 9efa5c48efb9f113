// Runs a piece of a test in a process of its own, for what there is only one of in a process: the log, the directory it
// lies in, the thread that ends. Expectations inside count as the test's own.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

// Returns the wait status of the child; a body that comes to its end exits with 0 or, after a failed expectation, 99.
template <typename body_type>
int wait_status_of_child(const body_type &body, pid_t *pid = nullptr)
{
    (void)fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        (void)prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that runs out of time takes its child along
        body();
        (void)fflush(nullptr);
        _exit(::testing::Test::HasFailure() ? 99 : 0);
    }
    if (pid != nullptr) {
        *pid = child;
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}

template <typename body_type>
void in_child(const body_type &body)
{
    EXPECT_EQ(wait_status_of_child(body), 0) << "see the child's output above";
}
