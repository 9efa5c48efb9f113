#include "tests/unit/amt/handler_arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/links.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct argument_row {
    const char *name;
    bool has_channel, has_request, is_empty, has_response;
    const char *flags;
};

// clang-format off
constexpr argument_row k_arguments_a[] = {
    {"channel 255",                   false, true,  false, true,  "1, 0, 0, 0"},
    {"no request",                    true,  false, false, true,  "0, 1, 0, 0"},
    {"no response",                   true,  true,  false, false, "0, 0, 1, 0"},
    {"an empty request",              true,  true,  true,  true,  "0, 0, 0, 1"},
    {"nothing right",                 false, true,  true,  false, "1, 0, 1, 1"},
    {"nothing at all",                false, false, false, false, "1, 1, 1, 0"},
};
// clang-format on

} // namespace

void expect_bad_arguments_refused(amt_handle_func handler, uint8_t channel, const std::string &request_hex)
{
    for (const argument_row &row : k_arguments_a) {
        in_child([handler, channel, &request_hex, &row] {
            SCOPED_TRACE(row.name);
            const links link;
            const test_log log;
            amt_buffer request = buffer_with(request_hex);
            request.m_length = row.is_empty ? 0 : request.m_length;
            amt_buffer response = {};
            EXPECT_EQ(handler(row.has_channel ? channel : 255, row.has_request ? &request : nullptr,
                              row.has_response ? &response : nullptr),
                      ERR_INVALID_PARAM);
            EXPECT_THAT(link.at_station(), IsEmpty());
            EXPECT_THAT(link.at_application(), IsEmpty());
            EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + row.flags));
            EXPECT_EQ(log.functions().back(), log.functions().front()) << "told as the handler's own";
        });
    }
}
