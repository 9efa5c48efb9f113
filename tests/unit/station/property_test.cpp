#include "station/property.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "station/text.h"
#include "tests/unit/station/cable.h"
#include "tests/unit/station/samples.h"

namespace {

using station::identity;
using station::message;
using station::value_form;
using station_test::answering_handset;
using station_test::cable;
using station_test::make_packets;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::ThrowsMessage;

const std::string k_done = "\r\nOK\r\n";
const std::string k_pre_response = station_test::bytes("AABBCCDD 08000000 02020000 764AEE1D");

// Each way in which the catalogue tells how to read and write.
constexpr identity k_line = {"imei", "", true, "AT^DGSN?", "AT^DCGSNW={}", "^DGSN:"};
constexpr identity k_line_in_quotes = {"address", "", true, "AT^DBTADDR?", "AT^DBTADDR=\"{}\"", "^DBTADDR:"};
constexpr identity k_first_line = {"modem", "", true, "ATI", "", ""};
constexpr identity k_message = {"adb",   "", true, "0xBF action=read", "0xBF action=write number={} length={#}",
                                "number"};
constexpr identity k_version = {"version", "", true, "0x2D module=19", "", "version"};

struct read_row {
    const identity &what;
    std::string request;
    std::string answer;
    const char *value;
};

TEST(StationProperty, IsReadInTheWayTheCatalogueTells)
{
    const read_row rows[] = {
        {k_line, "AT^DGSN?\r", "\r\n^DGSN: 490154203237518\r\n" + k_done, "490154203237518"},
        {k_line, "AT^DGSN?\r", "\r\n^DGSN: \"KV-2.0 of May\"\r\n" + k_done, "KV-2.0 of May"},
        {k_line, "AT^DGSN?\r", "\r\n^READY\r\n\r\n^DGSN: 1\r\n" + k_done, "1"},
        {k_line, "AT^DGSN?\r", "\r\n^DGSN: \r\n" + k_done, ""},
        {k_first_line, "ATI\r", "\r\nKV modem 1\r\n\r\nand more\r\n" + k_done, "KV modem 1"},
        {k_message, message(0xBF).with_int(160, 0).envelope(),
         k_pre_response + message(0xC0).with_string(161, "A \"1\"").with_int(1, 0).envelope(), "A \"1\""},
        {k_version, message(0x2D).with_int(19, 19).envelope(),
         k_pre_response + message(0x2E).with_int(19, 19).with_bytes(18, "KV-3").with_int(1, 0).envelope(), "KV-3"},
    };
    for (const read_row &row : rows) {
        SCOPED_TRACE(row.what.name);
        const cable packets = make_packets();
        answering_handset other_end(packets, {{row.answer}});
        station::dialogue handset(packets.station.get());
        EXPECT_EQ(station::read_value(handset, row.what), row.value);
        EXPECT_THAT(other_end.requests(), ElementsAre(row.request));
    }
}

struct write_row {
    const identity &what;
    const char *value;
    std::string request;
    std::string answer;
};

TEST(StationProperty, IsWrittenInTheWayTheCatalogueTells)
{
    const std::string adb_done = k_pre_response + message(0xC0).with_int(1, 0).envelope();
    const std::string longest(99, 'x');
    const write_row rows[] = {
        {k_line, "490154203237518", "AT^DCGSNW=490154203237518\r", k_done},
        {k_line_in_quotes, "11:22:33:44:55:66", "AT^DBTADDR=\"11:22:33:44:55:66\"\r", k_done},
        {k_line, "A 1, {} = {#}", "AT^DCGSNW=A 1, {} = {#}\r", k_done},
        {k_line, "", "AT^DCGSNW=\r", k_done},
        {k_message, "KV1", message(0xBF).with_int(160, 1).with_string(161, "KV1").with_int(162, 3).envelope(),
         adb_done},
        {k_message, "A 1 = {#}",
         message(0xBF).with_int(160, 1).with_string(161, "A 1 = {#}").with_int(162, 9).envelope(), adb_done},
        {k_message, longest.c_str(),
         message(0xBF).with_int(160, 1).with_string(161, longest).with_int(162, 99).envelope(), adb_done},
    };
    for (const write_row &row : rows) {
        SCOPED_TRACE(testing::Message() << row.what.name << ' ' << row.value);
        const cable packets = make_packets();
        answering_handset other_end(packets, {{row.answer}});
        station::dialogue handset(packets.station.get());
        station::write_value(handset, row.what, row.value);
        EXPECT_THAT(other_end.requests(), ElementsAre(row.request));
    }
}

struct failure_row {
    const identity &what;
    std::string answer;
    const char *told;
};

TEST(StationProperty, IsRefusedByTheHandset)
{
    const failure_row rows[] = {
        {k_line, "\r\nERROR\r\n", "ERROR"},
        {k_line, "\r\n^DGSN: 1\r\n\r\n+CME ERROR: 3\r\n", "+CME ERROR: 3"},
        {k_message, message(0xC0).with_int(1, 10).envelope(), "result=10 (failed in its handler)"},
        {k_message, message(0xC0).with_string(161, "1").with_int(1, 1).envelope(), "result=1 (failed)"},
        {k_message, "\r\nERROR\r\n", "the modem"},
    };
    for (const failure_row &row : rows) {
        SCOPED_TRACE(testing::Message() << row.what.name << ' ' << station::quoted(row.answer));
        const cable packets = make_packets();
        answering_handset other_end(packets, {{row.answer}, {row.answer}});
        station::dialogue handset(packets.station.get());
        EXPECT_THAT([&] { (void)station::read_value(handset, row.what); },
                    ThrowsMessage<station::refused>(HasSubstr(row.told)));
        EXPECT_THAT([&] { station::write_value(handset, row.what, "1"); },
                    ThrowsMessage<station::refused>(HasSubstr(row.told)));
    }
}

TEST(StationProperty, IsNotInTheAnswer)
{
    const failure_row rows[] = {
        {k_line, k_done, "the answer holds no imei, which is behind \"^DGSN:\""},
        {k_line, "\r\n^DMSN: 1\r\n" + k_done, R"("\r\n^DMSN: 1\r\n)"},
        {k_line, "\r\n^DMSN: 1\r\n" + k_done, "; it may be the late answer to an earlier request"},
        {k_first_line, k_done, "the answer holds no modem"},
        {k_message, k_pre_response + message(0xC0).with_int(1, 0).envelope(), "the answer holds no number: "},
        {k_version, k_pre_response + message(0x2E).with_int(19, 19).with_int(1, 0).envelope(),
         "the answer holds no version: "},
    };
    for (const failure_row &row : rows) {
        SCOPED_TRACE(testing::Message() << row.what.name << ' ' << station::quoted(row.answer));
        const cable packets = make_packets();
        answering_handset other_end(packets, {{row.answer}});
        station::dialogue handset(packets.station.get());
        EXPECT_THAT([&] { (void)station::read_value(handset, row.what); },
                    ThrowsMessage<station::malformed>(HasSubstr(row.told)));
    }
}

// --- what no request is made of

TEST(StationProperty, CannotBeReadOrWrittenWhereThereIsNoWay)
{
    const cable packets = make_packets();
    answering_handset other_end(packets, {});
    station::dialogue handset(packets.station.get());
    const identity neither = {"colour", "", false, "", "", ""};
    EXPECT_THAT([&] { (void)station::read_value(handset, neither); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("colour cannot be read")));
    EXPECT_THAT([&] { station::write_value(handset, neither, "red"); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("colour can only be read")));
    EXPECT_THAT([&] { station::write_value(handset, k_first_line, "1"); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("modem can only be read")));
    EXPECT_THAT(other_end.requests(), IsEmpty());
}

struct value_row {
    const identity &what;
    std::string value;
    const char *told; // null: it is good
};

constexpr identity k_imei = {"imei", "", true, "AT^DGSN?", "AT^DCGSNW={}", "^DGSN:", value_form::imei};
constexpr identity k_address = {
    "address", "", true, "AT^DBTADDR?", "bluetooth-address action=write address={}", "^DBTADDR:", value_form::address};

TEST(StationProperty, IsCheckedBeforeItIsWritten)
{
    const char *k_imei_told = "imei takes 15 digits, not ";
    const char *k_address_told = "address takes an address such as 11:22:33:44:55:66, not ";
    const char *k_text_told = "sn takes a text without line ends and control characters, not ";
    const identity text = {"sn", "", true, "AT^DMSN", "AT^DMSN={}", "^DMSN:"};
    const value_row rows[] = {
        {k_imei, "490154203237518", nullptr},
        {k_imei, "49015420323751", k_imei_told},
        {k_imei, "4901542032375181", k_imei_told},
        {k_imei, "49015420323751A", k_imei_told},
        {k_imei, "", "imei takes 15 digits, not \"\""},
        {k_imei, "49015420323751\r", R"(not "49015420323751\r")"},
        {k_imei, " 90154203237518", k_imei_told},
        {k_address, "11:22:33:44:55:66", nullptr},
        {k_address, "aA:bB:cC:dD:eE:fF", nullptr},
        {k_address, "11:22:33:44:55", k_address_told},
        {k_address, "11:22:33:44:55:66:", k_address_told},
        {k_address, "11:22:33:44:55:66:77", k_address_told},
        {k_address, "11-22-33-44-55-66", k_address_told},
        {k_address, "112233445566", k_address_told},
        {k_address, "1:122:33:44:55:66", k_address_told},
        {k_address, "11:22:33:44:55:6G", k_address_told},
        {k_address, "11:22:33:44:55:\r\n", k_address_told},
        {k_address, "", k_address_told},
        {text, "SN 1, \"a\" = \xC3\xA4", nullptr},
        {text, "", nullptr},
        {text, "1\rAT^DMSN=2", k_text_told},
        {text, "1\n", R"(sn takes a text without line ends and control characters, not "1\n")"},
        {text, std::string("1\0", 2), k_text_told},
        {text, "\x1A", k_text_told},
        {text, "\x7F", k_text_told},
        {k_message, "1\n", "adb takes a text without line ends and control characters, not "},
        {k_version, "1", "version can only be read"},
    };
    for (const value_row &row : rows) {
        SCOPED_TRACE(testing::Message() << row.what.name << ' ' << station::quoted(row.value));
        if (row.told == nullptr) {
            EXPECT_NO_THROW(station::check_value(row.what, row.value));
        } else {
            EXPECT_THAT([&] { station::check_value(row.what, row.value); },
                        ThrowsMessage<std::invalid_argument>(AllOf(HasSubstr(row.told), Not(HasSubstr("\n")))));
        }
    }
}

TEST(StationProperty, CannotBeWrittenAsWhatNoRequestCarries)
{
    const value_row rows[] = {
        {k_line, "1\rAT^DMSN=2", "imei takes a text without line ends"},
        {k_imei, "1", "imei takes 15 digits"},
        {k_address, "1", "address takes an address"},
        {k_message, std::string(100, 'x'), "is not possible: number takes a text, of 99 bytes at most"},
    };
    const cable packets = make_packets();
    answering_handset other_end(packets, {});
    station::dialogue handset(packets.station.get());
    for (const value_row &row : rows) {
        SCOPED_TRACE(testing::Message() << row.what.name << ' ' << station::quoted(row.value));
        EXPECT_THAT([&] { station::write_value(handset, row.what, row.value); },
                    ThrowsMessage<std::invalid_argument>(HasSubstr(row.told)));
    }
    EXPECT_THAT(other_end.requests(), IsEmpty());
}

// Of the handset as it is: the lines for an address ask for one that is there already.
TEST(StationProperty, ThatIsAnAddressIsWrittenByMessage)
{
    const struct {
        const char *name;
        message request;
        message answer;
    } rows[] = {
        {"bt-address", message(0xAC).with_int(110, 2).with_string(111, "11:22:33:44:55:66"),
         message(0xAD).with_int(1, 0)},
        {"wifi-address", message(0xB9).with_int(152, 1).with_string(153, "11:22:33:44:55:66"),
         message(0xBA).with_int(1, 0)},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const identity *what = station::find_identity(row.name);
        ASSERT_NE(what, nullptr);
        EXPECT_EQ(what->form, value_form::address);
        const cable packets = make_packets();
        answering_handset other_end(packets, {{k_pre_response + row.answer.envelope()}});
        station::dialogue handset(packets.station.get());
        station::write_value(handset, *what, "11:22:33:44:55:66");
        EXPECT_THAT(other_end.requests(), ElementsAre(row.request.envelope()));
    }
    EXPECT_EQ(station::find_identity("imei")->form, value_form::imei);
}

} // namespace
