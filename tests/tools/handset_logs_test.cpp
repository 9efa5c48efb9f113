// The service's log as the tool shows it: in order, over rounds of its ring and starts of the service, and waited for.

#include "emulator/log_records.h"
#include "tests/tools/handset_tool.h"

#include <algorithm>
#include <csignal>

namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

constexpr char k_record_line[] = "[0-9]{2}:[0-9]{2}:[0-9]{2}:[0-9]{3} -?[0-9]+ [A-Za-z0-9_]+:[0-9]+ [a-z ]+: .*";

class Logs : public shared_handset {
  protected:
    // A word that the log tells as it stands, in one record: the line goes to the modem.
    static std::string mark(int number) { return "AT^MARK" + std::to_string(100000 + number); }

    static std::vector<json> records_in(const std::string &out)
    {
        std::vector<json> records;
        for (const std::string &line : lines_in(out)) {
            records.push_back(json::parse(line));
        }
        return records;
    }

    static std::vector<std::string> texts_of(const std::vector<json> &records)
    {
        std::vector<std::string> texts;
        for (const json &record : records) {
            texts.push_back(record.at("text"));
        }
        return texts;
    }

    // A line's bytes as the log has them.
    static std::string digits_of(const std::string &line)
    {
        constexpr char k_digits[] = "0123456789ABCDEF";
        std::string digits;
        for (const char byte : line) {
            digits += k_digits[static_cast<unsigned char>(byte) >> 4U];
            digits += k_digits[static_cast<unsigned char>(byte) & 15U];
        }
        return digits;
    }

    static std::string heard(int number) { return "write to modem: (data len = 14) " + digits_of(mark(number) + "\r"); }

    // The service takes so many lines, with an answer each; the log grows by some 1,300 bytes a line.
    static void send_marks(const std::string &name, int from, int count)
    {
        std::string lines;
        for (int i = from; i < from + count; i++) {
            lines += mark(i) + "\n";
        }
        const outcome come = tools().run({"amt-station", "-p", "handset:" + name, "shell"}, lines);
        EXPECT_EQ(come.status, 0) << come;
    }

    static std::string log_file(const std::string &name)
    {
        return tools().path_inside(name, "/data/local/log/kv-zep-amt-log/kv-zep-amt.log");
    }

    // The numbers of the marks among the texts, in their order.
    static std::vector<int> marks_in(const std::vector<std::string> &texts)
    {
        std::vector<int> marks;
        const std::string beginning = heard(0).substr(0, heard(0).size() - 14); // six digits and a carriage return
        for (const std::string &text : texts) {
            const std::size_t at = text.find(beginning);
            if (at != std::string::npos) {
                std::string number;
                for (std::size_t i = at + beginning.size() + 1; number.size() < 6 && i < text.size(); i += 2) {
                    number += text[i];
                }
                marks.push_back(std::stoi(number) - 100000);
            }
        }
        return marks;
    }

    // Until it has the log open.
    static void wait_until_reading(const running_tool &reader)
    {
        const fs::path descriptors = "/proc/" + std::to_string(reader.pid()) + "/fd";
        emulator::wait_until("the log to be open", [&] {
            std::error_code ignored;
            for (const fs::directory_entry &each : fs::directory_iterator(descriptors, ignored)) {
                if (fs::read_symlink(each.path(), ignored).filename() == "kv-zep-amt.log") {
                    return true;
                }
            }
            return false;
        });
    }

    static std::vector<int> counted(int from, int count)
    {
        std::vector<int> numbers;
        for (int i = from; i < from + count; i++) {
            numbers.push_back(i);
        }
        return numbers;
    }
};

TEST_F(Logs, AreShownOldestFirst)
{
    (void)done({"modem", "rule", "AT^MARK* => \\r\\nOK\\r\\n"});
    send_marks("default", 1, 2);
    const outcome come = ask({"logs"});
    EXPECT_EQ(come.status, 0);
    EXPECT_EQ(come.err, "");
    const std::vector<std::string> lines = lines_in(come.out);
    EXPECT_THAT(lines.front(), MatchesRegex(k_record_line));
    const std::vector<json> records = records_in(done({"logs", "--json"}));
    ASSERT_GT(records.size(), 20U);
    EXPECT_TRUE(std::is_sorted(records.begin(), records.end(),
                               [](const json &a, const json &b) { return a["time"] < b["time"]; }));
    EXPECT_THAT(marks_in(texts_of(records)), ElementsAre(1, 2));
    for (const json &record : records) {
        EXPECT_EQ(record.size(), 6U) << record;
        for (const char *member : {"time", "thread", "function", "line", "level", "text"}) {
            EXPECT_TRUE(record.contains(member)) << member;
        }
    }
    std::ostringstream last;
    const json &record = records.back();
    last << record["time"].get<std::string>() << ' ' << record["thread"] << ' ' << record["function"].get<std::string>()
         << ':' << record["line"] << ' ' << record["level"].get<std::string>() << ": "
         << record["text"].get<std::string>();
    EXPECT_EQ(lines.back(), last.str());
}

TEST_F(Logs, AreShownFromTheNewest)
{
    const std::vector<json> all = records_in(done({"logs", "--json"}));
    for (const std::size_t count : {std::size_t{1}, std::size_t{3}, all.size(), std::size_t{1000000}}) {
        const std::vector<json> some = records_in(done({"logs", "--json", "-n", std::to_string(count)}));
        const std::size_t expected = std::min(count, all.size());
        EXPECT_THAT(some, ElementsAreArray(all.end() - static_cast<std::ptrdiff_t>(expected), all.end())) << count;
    }
    expect_row({"none", {"logs", "-n", "0"}, 0});
    EXPECT_EQ(ask({"logs", "--lines", "1"}), ask({"logs", "-n", "1"}));
    EXPECT_EQ(ask({"logs", "-n", "-1"}).status, 2);
    EXPECT_EQ(ask({"logs", "-n", "some"}).status, 2);
}

TEST_F(Logs, OfAFullRingBeginWithTheStart)
{
    (void)tools().up("full");
    (void)done({"modem", "rule", "AT^MARK* => \\r\\nOK\\r\\n", "--name", "full"});
    constexpr int k_marks = 200;
    send_marks("full", 0, k_marks);
    EXPECT_GE(fs::file_size(log_file("full")), emulator::k_log_ring_size);
    const std::vector<json> records = records_in(done({"logs", "--json", "--name", "full"}));
    const std::vector<std::string> texts = texts_of(records);
    EXPECT_THAT(
        std::count_if(texts.begin(), texts.begin() + 20,
                      [](const std::string &text) { return text.find("PID of kv-zep-amt: ") != std::string::npos; }),
        1)
        << "the start's records are in front";
    const std::vector<int> marks = marks_in(texts);
    ASSERT_GT(marks.size(), 40U);
    ASSERT_LT(marks.size(), 199U) << "it has gone round";
    EXPECT_EQ(marks, counted(k_marks - static_cast<int>(marks.size()), static_cast<int>(marks.size())));
    EXPECT_TRUE(std::is_sorted(records.begin(), records.end(),
                               [](const json &a, const json &b) { return a["time"] < b["time"]; }));
    EXPECT_EQ(records_in(done({"logs", "--json", "-n", "5", "--name", "full"})),
              std::vector<json>(records.end() - 5, records.end()));
    (void)done({"down", "--name", "full"});
}

// Each line is sent when the one before has been shown, so that nothing is overwritten before it is read.
TEST_F(Logs, AreFollowedOverRoundsAndStarts)
{
    (void)tools().up("long");
    (void)done({"modem", "rule", "AT^MARK* => \\r\\nOK\\r\\n", "--name", "long"});
    running_tool following = start({"logs", "-f", "--json", "--name", "long"});
    following.wait_for("PID of kv-zep-amt: ");
    constexpr int k_marks = 120; // rather more than a round
    int number = 0;
    for (int starts = 0; starts < 2; starts++) {
        running_tool station = tools().start({"amt-station", "-p", "handset:long", "shell"});
        for (const int last = number + k_marks; number < last; number++) {
            station.write(mark(number) + "\n");
            following.wait_for(heard(number));
            station.wait_for("OK\n");
        }
        EXPECT_GE(fs::file_size(log_file("long")), emulator::k_log_ring_size);
        station.end_input();
        EXPECT_EQ(station.wait().status, 0);
        (void)done({"restart", "--name", "long"});
        following.wait_for("PID of kv-zep-amt: ");
        following.wait_for("read_modem_loop, read ready");
    }
    EXPECT_EQ(ask({"down", "--name", "long"}).status, 0);
    const outcome come = following.wait();
    EXPECT_EQ(come.status, 0) << "it ends quietly with the handset";
    EXPECT_EQ(come.err, "");
    const std::vector<std::string> texts = texts_of(records_in(come.out));
    EXPECT_EQ(marks_in(texts), counted(0, 2 * k_marks)) << "none is lost, none comes twice";
    const auto count = [&](const std::string &what) {
        return std::count_if(texts.begin(), texts.end(),
                             [&](const std::string &text) { return text.find(what) != std::string::npos; });
    };
    EXPECT_EQ(count("PID of kv-zep-amt: "), 3);
    EXPECT_EQ(count("receive Modem data: (data len = 6) 0D0A4F4B0D0A"), 2 * k_marks);
    EXPECT_EQ(count("write to pc, m_buf_len=6, write_len=6"), 2 * k_marks);
}

TEST_F(Logs, AreFollowedFromTheNewest)
{
    const std::string last = lines_in(done({"logs"})).back();
    running_tool following = start({"logs", "-f", "-n", "1"});
    following.wait_for(last + "\n");
    expect_answered("default");
    following.wait_for("write to pc, m_buf_len=6");
    following.signal(SIGINT);
    const outcome come = following.wait();
    EXPECT_EQ(come.status, 130);
    EXPECT_EQ(come.err, mistake("interrupted"));
    EXPECT_EQ(lines_in(come.out).front(), last);
}

TEST_F(Logs, AreFollowedOverAPowerOff)
{
    (void)tools().up("off");
    running_tool following = start({"logs", "-f", "--name", "off"});
    following.wait_for("PID of kv-zep-amt: ");
    EXPECT_EQ(station("off", {"power-off", "--yes"}).status, 0);
    emulator::wait_until("the power-off", [] { return status_of("off")["power"] == "off"; });
    EXPECT_EQ(ask({"up", "--name", "off", "--mode", "normal"}),
              (outcome{0, tools().handset_folder("off") + "/application\n",
                       "off is up (normal), amt-station -p handset:off/application\n"}));
    following.wait_for("PID of kv-zep-amt: ");
    following.wait_for("amt_handle_read_app_loop");
    (void)done({"down", "--name", "off"});
    EXPECT_EQ(following.wait().status, 0);
}

TEST_F(Logs, EndWithTheirReader)
{
    running_tool following = start({"logs", "-f"});
    following.wait_for("\n");
    following.close_output();
    expect_answered("default");
    const int status = following.wait().status;
    EXPECT_TRUE(status == -SIGPIPE || status == 1) << status;
}

// --- waiting

TEST_F(Logs, AreWaitedFor)
{
    const outcome there = ask({"wait-log", "PID of kv-zep-amt: "});
    EXPECT_EQ(there.status, 0);
    EXPECT_EQ(there.err, "");
    EXPECT_THAT(lines_in(there.out), ElementsAre(AllOf(MatchesRegex(k_record_line), HasSubstr("PID of kv-zep-amt: "))));
    running_tool waiting = start({"wait-log", "5741495445445F464F52"});
    wait_until_reading(waiting);
    EXPECT_EQ(station("default", {"at", "AT^WAITED_FOR"}).status, 1);
    const outcome later = waiting.wait();
    EXPECT_EQ(later.status, 0) << later;
    EXPECT_THAT(lines_in(later.out), ElementsAre(HasSubstr("5741495445445F464F52")));
}

TEST_F(Logs, AreWaitedForInVain)
{
    const std::string never = mistake("no record of the log held \"never\" in time: handset logs");
    expect_rows({
        {"never", {"wait-log", "never", "--timeout", "0.1"}, 4, "", never},
        {"not now", {"wait-log", "--timeout", "0", "never"}, 4, "", never},
    });
    EXPECT_EQ(ask({"wait-log", "PID of kv-zep-amt: ", "--timeout", "0"}).status, 0) << "it is there";
    EXPECT_EQ(ask({"wait-log", "never", "--timeout", "-1"}).status, 2);
    running_tool interrupted = start({"wait-log", "never"});
    (void)tools().up("gone", {"--mode", "normal"});
    running_tool left = start({"wait-log", "never", "--name", "gone"});
    wait_until_reading(left);
    (void)done({"down", "--name", "gone"});
    EXPECT_EQ(left.wait(), (outcome{3, "", mistake("the handset gone went down meanwhile")}));
    wait_until_reading(interrupted);
    interrupted.signal(SIGINT);
    EXPECT_EQ(interrupted.wait(), (outcome{130, "", mistake("interrupted")}));
}

} // namespace
