// The page that tells people of the wire format is right: its tables are the catalogue's, its bytes are the library's.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "amt/wire/amt-convert.h"
#include "station/answer.h"
#include "station/catalogue.h"
#include "station/message.h"
#include "station/text.h"
#include "tests/unit/station/samples.h"

namespace {

constexpr char k_begin[] = "<!-- commands: begin -->\n";
constexpr char k_end[] = "<!-- commands: end -->\n";

const std::string &page()
{
    static const std::string text = [] {
        std::ostringstream read;
        read << std::ifstream(WIRE_FORMAT_PAGE).rdbuf();
        return read.str();
    }();
    return text;
}

// Set in the environment, it has the page rewritten.
bool is_to_be_updated()
{
    const char *set = std::getenv("KV_ZEP_UPDATE_DOCS");
    return set != nullptr && std::string(set) == "1";
}

TEST(WireFormatPage, HoldsTheCatalogue)
{
    const std::size_t marker = page().find(k_begin);
    ASSERT_NE(marker, std::string::npos) << WIRE_FORMAT_PAGE << " has no line " << k_begin;
    const std::size_t begin = marker + sizeof(k_begin) - 1;
    const std::size_t end = page().find(k_end, begin);
    ASSERT_NE(end, std::string::npos) << WIRE_FORMAT_PAGE << " has no line " << k_end;
    if (is_to_be_updated()) {
        const std::string renewed = page().substr(0, begin) + station::catalogue_as_markdown() + page().substr(end);
        ASSERT_TRUE(std::ofstream(WIRE_FORMAT_PAGE) << renewed) << WIRE_FORMAT_PAGE;
        return;
    }
    EXPECT_TRUE(page().substr(begin, end - begin) == station::catalogue_as_markdown())
        << "the tables of " << WIRE_FORMAT_PAGE
        << " are not the catalogue's: run this test with KV_ZEP_UPDATE_DOCS=1 in the environment to renew them";
}

// --- its examples

struct example {
    std::string told;
    std::string bytes;
};

bool is_hex_line(const std::string &line)
{
    constexpr char k_indent[] = "       ";
    return line.compare(0, 7, k_indent) == 0 && line.size() > 8 &&
           line.find_first_not_of("0123456789ABCDEF ") == std::string::npos;
}

// Lines "-> MESSAGE" and "<- MESSAGE" with their bytes below.
std::vector<example> examples()
{
    std::vector<example> found;
    std::istringstream lines(page());
    std::string arrow;
    for (std::string line; std::getline(lines, line);) {
        if (is_hex_line(line) && !arrow.empty()) {
            if (found.empty() || found.back().told != arrow) {
                found.push_back({arrow, ""});
            }
            found.back().bytes += station_test::bytes(line);
        } else {
            const bool is_arrow = line.compare(0, 7, "    -> ") == 0 || line.compare(0, 7, "    <- ") == 0;
            arrow = is_arrow ? line.substr(7) : "";
        }
    }
    return found;
}

bool is_enveloped(const std::string &bytes)
{
    return bytes.compare(0, 4, "\xAA\xBB\xCC\xDD") == 0;
}

// What the bytes are, as the library reads them.
std::string read(const std::string &bytes)
{
    if (!is_enveloped(bytes)) {
        const station::decoded decoded = station::decode(bytes);
        return decoded.message ? describe(*decoded.message) : decoded.error;
    }
    station::answer_stream stream;
    stream.add(bytes);
    const std::optional<station::answer> answer = stream.next();
    return answer ? describe(*answer) : "unfinished";
}

TEST(WireFormatPage, ShowsTheBytesOfItsExamples)
{
    const std::vector<example> all = examples();
    EXPECT_GE(all.size(), 16U);
    for (const example &each : all) {
        EXPECT_EQ(read(each.bytes), each.told) << station::in_hex(each.bytes);
    }
}

TEST(WireFormatPage, HasExamplesThatAreSentAsTheyStand)
{
    for (const example &each : examples()) {
        const bool enveloped = is_enveloped(each.bytes);
        const std::string bare = enveloped ? each.bytes.substr(12, each.bytes.size() - AMT_ENVELOPE_SIZE) : each.bytes;
        if (const station::decoded decoded = station::decode(bare); decoded.message) {
            const std::string sent = enveloped ? decoded.message->envelope() : decoded.message->encode();
            EXPECT_EQ(station::in_hex(sent), station::in_hex(each.bytes)) << each.told;
        }
    }
}

TEST(WireFormatPage, ShowsChecksumsThatAreRight)
{
    int seen = 0;
    std::istringstream lines(page());
    for (std::string line; std::getline(lines, line);) {
        const std::size_t middle = line.find("` | `0x");
        if (line.compare(0, 3, "| `") != 0 || middle == std::string::npos) {
            continue;
        }
        const std::string bytes = station_test::bytes(line.substr(3, middle - 3));
        const unsigned long told = std::stoul(line.substr(middle + 5), nullptr, 16);
        EXPECT_EQ(amt_convert_crc(station::as_wire(bytes), static_cast<std::uint32_t>(bytes.size())), told) << line;
        ++seen;
    }
    EXPECT_EQ(seen, 5);
}

} // namespace
