#include "pub/log/errors.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <string.h>

namespace {

struct code_row {
    int32_t code;
    const char *text;
};

// clang-format off
constexpr code_row k_rows_a[] = {
    {   0, "No error"},
    {-100, "Unknown error"},
    {-101, "Invalid parameter"},
    {-102, "Parameter pointer is null"},
    {-103, "Invalid parameter value"},
    {-104, "Not found"},
    {-111, "Not ready"},
    {-113, "Timeout"},
    {-116, "Unknown operation"},
    {-117, "Exceed max size"},
    {-118, "Call C function unsuccessfully"},
    {-119, "Write() not completedly"},
    {-600, "for \"\\r\\nERROR\\r\\n\""},
    {-601, "can not initialize mux"},
    {-602, "can not de-initialize mux"},
    {-603, "can not open mux port"},
    {-604, "can not close mux port"},
    {-605, "No idle mux port"},
    {-606, "mux response timeout"},
};
// clang-format on

TEST(Errors, EveryCodeHasItsText)
{
    for (const code_row &row : k_rows_a) {
        EXPECT_STREQ(error_text(row.code).c_str(), row.text) << row.code;
    }
}

TEST(Errors, ACodeWithoutARowHasAnEmptyText)
{
    for (const int32_t code : {-1, -99, -105, -110, -112, -120, -599, -607, INT32_MIN}) {
        EXPECT_STREQ(error_text(code).c_str(), "") << code;
    }
}

TEST(Errors, APositiveCodeHasTheSystemsText)
{
    for (const int code : {EPERM, ENOENT, EIO, ENODEV, EHWPOISON}) {
        EXPECT_STREQ(error_text(code).c_str(), strerror(code)) << code;
    }
    EXPECT_STRNE(error_text(99999).c_str(), "") << "also a number that the system does not know";
}

TEST(Errors, AskingForATextKeepsErrno)
{
    errno = ENOTTY;
    (void)error_text(99999);
    (void)error_text(-101);
    EXPECT_EQ(errno, ENOTTY);
}

} // namespace
