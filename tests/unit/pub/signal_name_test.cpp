#include <gtest/gtest.h>

#include "pub/util/util.h"

namespace {

struct name_row {
    int number;
    const char *name;
};

TEST(SignalName, IsTheFirstOfItsNumber)
{
    // clang-format off
    constexpr name_row k_rows_a[] = {
        { 1, "SIGHUP"},  { 2, "SIGINT"},  { 3, "SIGQUIT"}, { 4, "SIGILL"},    { 5, "SIGTRAP"}, { 6, "SIGABRT"},
        { 7, "SIGBUS"},  { 8, "SIGFPE"},  { 9, "SIGKILL"}, {10, "SIGUSR1"},   {11, "SIGSEGV"}, {12, "SIGUSR2"},
        {13, "SIGPIPE"}, {14, "SIGALRM"}, {15, "SIGTERM"}, {16, "SIGSTKFLT"}, {17, "SIGCHLD"}, {18, "SIGCONT"},
        {19, "SIGSTOP"}, {20, "SIGTSTP"}, {21, "SIGTTIN"}, {22, "SIGTTOU"},   {23, "SIGURG"},  {24, "SIGXCPU"},
        {25, "SIGXFSZ"}, {26, "SIGVTALRM"}, {27, "SIGPROF"}, {28, "SIGWINCH"}, {29, "SIGPOLL"}, {30, "SIGPWR"},
        {31, "SIGSYS"},
    };
    // clang-format on
    for (const name_row &row : k_rows_a) {
        EXPECT_STREQ(pub_util_get_signal_name(row.number), row.name);
    }
}

TEST(SignalName, IsEmptyForAnUnknownNumber)
{
    for (const int number : {-1, 0, 32, 64, 1000}) {
        EXPECT_STREQ(pub_util_get_signal_name(number), "") << number;
    }
}

} // namespace
