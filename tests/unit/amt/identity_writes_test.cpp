#include "amt/identity/identity-writes.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "amt/channels/pc-dispatch.h"
#include "amt/core/context.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/links.h"
#include "tests/unit/amt/pending_notes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

std::function<void()> g_around_change; // happens before and after the text of a note changes

void happen_around_change()
{
    if (g_around_change) {
        g_around_change();
    }
}

} // namespace

extern "C" {

void __real__ZN12pending_text3setERA22_Kc(pending_text *store, const pending_copy *text);
void __wrap__ZN12pending_text3setERA22_Kc(pending_text *store, const pending_copy *text)
{
    happen_around_change();
    __real__ZN12pending_text3setERA22_Kc(store, text);
    happen_around_change();
}
}

namespace {

// What all stores hold before each row, to show which are touched.
const std::string k_old_imei = "OLD-IMEI-OF-21-LETTER";
const std::string k_old_sn = "OLD-SN-OF-21-LETTERS.";
constexpr uint8_t k_old_kind = 7;
constexpr uint8_t k_old_channel = 77;

void set_request(const std::string &bytes)
{
    amt_buffer_clear(&handle_context_st.m_request);
    handle_context_st.m_request.m_length = static_cast<uint32_t>(bytes.size());
    memcpy(handle_context_st.m_request.m_data_a, bytes.data(), bytes.size());
}

void begin(const std::string &bytes)
{
    amt_context_clear();
    note_text(pending_imei(), k_old_imei);
    note_text(pending_sn(), k_old_sn);
    pending_kind() = k_old_kind;
    pending_channel() = k_old_channel;
    set_request(bytes);
}

// The stores as they are, whole: what a store holds must be zero behind its text.
std::string stored(const pending_text &store)
{
    pending_copy text;
    store.get(text);
    const std::string all(text, sizeof(text));
    const size_t end = all.find('\0');
    return all.find_first_not_of('\0', end) == std::string::npos ? all.substr(0, end) : "garbage behind " + all;
}

struct stores {
    std::string m_imei = k_old_imei;
    std::string m_sn = k_old_sn;
    int m_kind = k_old_kind;
    int m_channel = k_old_channel;
};

void expect_stores(const stores &expected, const char *name)
{
    EXPECT_EQ(stored(pending_imei()), expected.m_imei) << name;
    EXPECT_EQ(stored(pending_sn()), expected.m_sn) << name;
    EXPECT_EQ(pending_kind(), expected.m_kind) << name;
    EXPECT_EQ(pending_channel(), expected.m_channel) << name;
}

stores imei_of(const std::string &imei)
{
    return {imei, k_old_sn, AMT_PENDING_IMEI, k_old_channel};
}

stores sn_of(const std::string &sn)
{
    return {k_old_imei, sn, AMT_PENDING_SN, k_old_channel};
}

stores channel_of(int channel)
{
    return {k_old_imei, k_old_sn, k_old_kind, channel};
}

// --- lines

struct line_row {
    const char *name;
    const char *line;
    stores expected;
};

const line_row k_lines_a[] = {
    {"IMEI", "AT^DCGSNW=490154203237518\r", imei_of("490154203237518")},
    {"IMEI behind blanks", "AT^DCGSNW=  490154203237518\r\n", imei_of("490154203237518")},
    {"no IMEI", "AT^DCGSNW=\r", imei_of("")},
    {"IMEI without a carriage return", "AT^DCGSNW=4901", imei_of("4901")},
    {"20 characters", "AT^DCGSNW=12345678901234567890\r", imei_of("12345678901234567890")},
    {"21 characters keep 20", "AT^DCGSNW=123456789012345678901\r", imei_of("12345678901234567890")},
    {"anywhere in the request", "AT;+CFUN=1\r\nxAT^DCGSNW=5\r", imei_of("5")},
    {"serial number", "AT^DMSN=EMU0000001\r", sn_of("EMU0000001")},
    {"serial number behind a blank", "AT^DMSN= EMU0000001\r", sn_of("EMU0000001")},
    {"a long serial number", "AT^DMSN=ABCDEFGHIJKLMNOPQRSTUVWXYZ\r", sn_of("ABCDEFGHIJKLMNOPQRST")},
    {"IMEI before serial number", "AT^DMSN=1\rAT^DCGSNW=2\r", imei_of("2")},
    {"IMEI before channel", "AT^DMPCHN=1\rAT^DCGSNW=2\r", imei_of("2")},
    {"serial number before channel", "AT^DMPCHN=1\rAT^DMSN=3\r", sn_of("3")},
    {"channel", "AT^DMPCHN=2\r", channel_of(2)},
    {"channel behind blanks", "AT^DMPCHN=  3\r", channel_of(3)},
    {"channel 255", "AT^DMPCHN=255\r", channel_of(255)},
    {"channel 256 has one byte", "AT^DMPCHN=256\r", channel_of(0)},
    {"channel 258", "AT^DMPCHN=258\r", channel_of(2)},
    {"a negative channel", "AT^DMPCHN=-1\r", channel_of(255)},
    {"no channel", "AT^DMPCHN=\r", channel_of(0)},
    {"a channel that is no number", "AT^DMPCHN=x1\r", channel_of(0)},
    {"a channel with something behind it", "AT^DMPCHN=1,2\r", channel_of(1)},
    {"a channel of 20 digits", "AT^DMPCHN=00000000000000000003\r", channel_of(3)},
    {"a channel of 22 digits loses two", "AT^DMPCHN=0000000000000000000456\r", channel_of(4)},
    {"a channel is decimal", "AT^DMPCHN=010\r", channel_of(10)},
    {"another line", "ATI\r", {}},
    {"a line in small letters", "at^dmsn=1\r", {}},
    {"a query", "AT^DMSN?\r", {}},
    {"a query of the IMEI", "AT^DCGSNW?\r", {}},
    {"a query of the channel", "AT^DMPCHN?\r", {}},
};

TEST(PendingIdentity, IsNotedFromALine)
{
    for (const line_row &row : k_lines_a) {
        in_child([&row] {
            begin(row.line);
            handle_amt_imei_and_sn(255);
            expect_stores(row.expected, row.name);
            EXPECT_STREQ(reinterpret_cast<char *>(handle_context_st.m_request.m_data_a), row.line)
                << "the request travels on as it is";
        });
    }
}

TEST(PendingIdentity, OfALineIsToldInTheLog)
{
    in_child([] {
        begin("AT^DCGSNW= 490154203237518\r");
        const test_log log;
        handle_amt_imei_and_sn(255);
        set_request("AT^DMSN=123456789012345678901");
        handle_amt_imei_and_sn(255);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "info | received at command in amt4:AT^DCGSNW= 490154203237518\r", "func | ",
                                "info | getted parameter:490154203237518. prefix:AT^DCGSNW=; rtn:0.", "func | ",
                                "info | received at command in amt4:AT^DMSN=123456789012345678901", "func | ",
                                "info | getted parameter:12345678901234567890. prefix:AT^DMSN=; rtn:0."));
    });
}

TEST(PendingIdentity, OfALineReplacesTheOneBefore)
{
    in_child([] {
        begin("AT^DMSN=12345678901234567890\r");
        handle_amt_imei_and_sn(255);
        set_request("AT^DMSN=1\r");
        handle_amt_imei_and_sn(255);
        expect_stores(sn_of("1"), "shorter than the one before");
    });
}

TEST(PendingIdentity, WaitsForNoConfirmationWhileItsTextChanges)
{
    const std::pair<uint8_t, const char *> rows[] = {
        {255, "AT^DCGSNW=4901\r"}, {255, "AT^DMSN=1\r"}, {5, "message"}, {87, "message"}};
    for (const auto &[command_id, request] : rows) {
        in_child([command_id = command_id, request = request] {
            SCOPED_TRACE(static_cast<int>(command_id));
            begin(request);
            amt_message_init(handle_context_st.m_dispatch.m_data_a, command_id);
            std::vector<int> kinds;
            g_around_change = [&kinds] { kinds.push_back(pending_kind()); };
            handle_amt_imei_and_sn(command_id);
            EXPECT_THAT(kinds, ElementsAre(AMT_PENDING_NONE, AMT_PENDING_NONE));
            EXPECT_NE(pending_kind(), AMT_PENDING_NONE);
        });
    }
}

TEST(PendingIdentity, OfALineWithAChannelIsNotToldInTheLog)
{
    in_child([] {
        begin("AT^DMPCHN=1\r");
        const test_log log;
        handle_amt_imei_and_sn(255);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "func | "));
    });
}

// --- messages

struct message_row {
    const char *name;
    uint8_t command_id;
    uint8_t atom_id; // a text; 0: the message has no atom
    const char *text;
    stores expected;
    std::vector<std::string> records;
};

const std::string k_board = "info | getted write-board command in amt1: board:";
const std::string k_imei = "info | getted write-imei command in amt1: imei:";

const message_row k_messages_a[] = {
    {"write IMEI", 5, 21, "490154203237518", imei_of("490154203237518"), {k_imei + "490154203237518;"}},
    {"20 characters",
     5,
     21,
     "12345678901234567890",
     imei_of("12345678901234567890"),
     {k_imei + "12345678901234567890;"}},
    {"21 characters are kept",
     5,
     21,
     "123456789012345678901",
     imei_of("123456789012345678901"),
     {k_imei + "123456789012345678901;"}},
    {"22 characters keep 20",
     5,
     21,
     "1234567890123456789012",
     imei_of("12345678901234567890"),
     {k_imei + "12345678901234567890;"}},
    {"an empty IMEI", 5, 21, "", imei_of(""), {k_imei + ";"}},
    {"without an IMEI", 5, 0, "", imei_of(""), {k_imei + ";"}},
    {"IMEI in another atom", 5, 38, "4901", imei_of(""), {k_imei + ";"}},
    {"write board", 87, 38, "EMU0000001", sn_of("EMU0000001"), {k_board + "EMU0000001;"}},
    {"board of 21 characters",
     87,
     38,
     "ABCDEFGHIJKLMNOPQRSTU",
     sn_of("ABCDEFGHIJKLMNOPQRSTU"),
     {k_board + "ABCDEFGHIJKLMNOPQRSTU;"}},
    {"board of 22 characters",
     87,
     38,
     "ABCDEFGHIJKLMNOPQRSTUV",
     sn_of("ABCDEFGHIJKLMNOPQRST"),
     {k_board + "ABCDEFGHIJKLMNOPQRST;"}},
    {"without a board", 87, 0, "", sn_of(""), {k_board + ";"}},
    {"board in another atom", 87, 21, "EMU", sn_of(""), {k_board + ";"}},
    {"no message", 255, 21, "4901", {}, {}},
    {"command 0", 0, 21, "4901", {}, {}},
    {"read IMEI", 7, 21, "4901", {}, {}},
    {"read board", 85, 38, "EMU", {}, {}},
};

// As the reader leaves it: the envelope in the request, the message in the dispatch copy.
void begin_message(uint8_t command_id)
{
    begin(std::string("\xAA\xBB\xCC\xDD\x20\0\0\0\x02\0\0\0", 12));
    amt_message_init(handle_context_st.m_dispatch.m_data_a, command_id);
}

TEST(PendingIdentity, IsNotedFromAMessage)
{
    for (const message_row &row : k_messages_a) {
        in_child([&row] {
            begin_message(row.command_id);
            if (row.atom_id != 0) {
                (void)amt_message_append_string(handle_context_st.m_dispatch.m_data_a, row.atom_id, row.text);
            }
            const test_log log;
            handle_amt_imei_and_sn(row.command_id);
            expect_stores(row.expected, row.name);
            std::vector<std::string> records = {"func | "};
            records.insert(records.end(), row.records.begin(), row.records.end());
            EXPECT_THAT(log.records(), ElementsAreArray(records)) << row.name;
        });
    }
}

struct channel_row {
    const char *name;
    bool has_atom;
    uint32_t value;
    int channel;
};

// clang-format off
constexpr channel_row k_channels_a[] = {
    {"channel 1",                true,  1,          1},
    {"channel 255",              true,  255,        255},
    {"channel 256 has one byte", true,  256,        0},
    {"all bits",                 true,  0xFFFFFFFF, 255},
    {"absent reads as 0",        false, 0,          0},
};
// clang-format on

TEST(PendingIdentity, OfASwitchIsItsChannel)
{
    for (const channel_row &row : k_channels_a) {
        in_child([&row] {
            begin_message(232);
            if (row.has_atom) {
                (void)amt_message_append_int(handle_context_st.m_dispatch.m_data_a, 159, row.value);
            }
            const test_log log;
            handle_amt_imei_and_sn(232);
            expect_stores(channel_of(row.channel), row.name);
            EXPECT_THAT(log.records(), ElementsAre("func | ", "info | getted switch-channel command in amt1: channel:" +
                                                                  std::to_string(row.channel) + ";"))
                << row.name;
        });
    }
}

// --- lines and messages

constexpr uint8_t k_ids_a[] = {0, 5, 87, 232, 255};

TEST(PendingIdentity, IsTheLinesWhateverTheCommandId)
{
    for (const uint8_t command_id : k_ids_a) {
        in_child([command_id] {
            begin("AT^DMSN=LINE\r");
            amt_message_init(handle_context_st.m_dispatch.m_data_a, command_id);
            (void)amt_message_append_string(handle_context_st.m_dispatch.m_data_a, 21, "4901");
            (void)amt_message_append_string(handle_context_st.m_dispatch.m_data_a, 38, "BOARD");
            (void)amt_message_append_int(handle_context_st.m_dispatch.m_data_a, 159, 5);
            handle_amt_imei_and_sn(command_id);
            expect_stores(sn_of("LINE"), "a line beats the id");
            set_request("AT^DMPCHN=3\r");
            handle_amt_imei_and_sn(command_id);
            expect_stores({k_old_imei, "LINE", AMT_PENDING_SN, 3}, "also the line of a channel");
            set_request("AT^DCGSNW=4902\r");
            handle_amt_imei_and_sn(command_id);
            expect_stores({"4902", "LINE", AMT_PENDING_IMEI, 3}, "and that of an IMEI");
        });
    }
}

// How often a request of the station is looked at for what it writes, by the entries into the function.
size_t count_looks(const std::string &request_hex)
{
    const test_log log;
    amt_context_clear();
    std::fill(std::begin(handle_context_st.m_handle_pc_func_a), std::end(handle_context_st.m_handle_pc_func_a),
              [](uint8_t, const amt_buffer *, amt_buffer *) { return ERR_NONE; });
    handle_context_st.m_fd_modem = open("/dev/null", O_WRONLY); // where goes what nobody handles
    handle_context_st.m_request = buffer_with(request_hex);
    EXPECT_EQ(handle_amt_pc_req(), ERR_NONE);
    const std::string entry = "| handle_amt_imei_and_sn ";
    const std::string text = log.text();
    size_t count = 0;
    for (size_t at = text.find(entry); at != std::string::npos; at = text.find(entry, at + 1)) {
        count++;
    }
    return count;
}

TEST(PendingIdentity, IsLookedForInTheCommandsThatWriteOneAndInLines)
{
    for (int id = 0; id <= 255; id++) {
        in_child([id] {
            const auto byte = static_cast<uint8_t>(id);
            const std::string message = "0600bb" + hex_of(std::string(1, static_cast<char>(byte))) + "0000";
            const bool is_one = std::find(std::begin(k_ids_a), std::end(k_ids_a), byte) != std::end(k_ids_a);
            EXPECT_EQ(count_looks(enveloped(message)), is_one ? 1U : 0U) << "command " << id;
        });
    }
    in_child([] { EXPECT_EQ(count_looks(hex_of("ATI\r")), 1U); });
}

TEST(PendingIdentity, OfAMessageIsNotTakenForALineByWhatItsAtomsCarry)
{
    in_child([] {
        begin(std::string("\xAA\xBB\xCC\xDD\x20\0\0\0\x02\0\0\0AT^DMSN=NOT-A-LINE\r", 31));
        amt_message_init(handle_context_st.m_dispatch.m_data_a, 5);
        (void)amt_message_append_string(handle_context_st.m_dispatch.m_data_a, 21, "AT^DMSN=1");
        handle_amt_imei_and_sn(5);
        expect_stores(imei_of("AT^DMSN=1"), "a text search ends at the header's first zero");
    });
}

TEST(PendingIdentity, IsNoneBeforeTheStart)
{
    in_child([] { expect_stores({"", "", AMT_PENDING_NONE, 0}, "nothing is noted"); });
}

TEST(PendingIdentity, CanBeForgotten)
{
    in_child([] {
        begin("");
        amt_clear_pending_identity();
        expect_stores({"", "", AMT_PENDING_NONE, 0}, "nothing is noted");
    });
}

} // namespace
