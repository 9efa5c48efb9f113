// The verbs that read the service's log. The file is a ring, and a new one at each start of the service; what is new in
// it is found by the records that were seen last.

#include "emulator/tool/control.h"
#include "emulator/tool/verbs.h"

#include "emulator/log_records.h"
#include "tool/failure.h"
#include "tool/program.h"
#include "tool/runtime_folder.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <sstream>

namespace handset_tool {

namespace fs = std::filesystem;
using emulator::descriptor;
using emulator::log_record;
using tool::exit_code;
using tool::failure;

// A busy service goes round its ring in some 30 ms, and what it has overwritten nobody sees.
constexpr int k_look_ms = 5;
constexpr int k_looks_between_calls = 50; // looks at the file for one at the keeper
constexpr int k_most_readings = 10;

static fs::path log_file(const std::string &name)
{
    const json status = ask(name, {{"verb", "status"}});
    return status.value("root", "") + status.value("log", "");
}

static std::string content_of(const descriptor &file)
{
    std::string content;
    char bytes[65536];
    for (ssize_t count = 0;
         (count = pread(file.get(), bytes, sizeof(bytes), static_cast<off_t>(content.size()))) > 0;) {
        content.append(bytes, static_cast<std::size_t>(count));
    }
    return content;
}

// The service writes on while the file is read, and a reading may have a later record without an earlier one. What two
// readings have alike is of one moment; of a service that is never silent it is the last one.
static std::string settled_content_of(const descriptor &file)
{
    std::string content = content_of(file);
    for (int readings = 1; readings < k_most_readings; readings++) {
        std::string again = content_of(file);
        if (again == content) {
            break;
        }
        content = std::move(again);
    }
    return content;
}

static bool is_same(const log_record &a, const log_record &b)
{
    return a.time == b.time && a.thread_id == b.thread_id && a.function == b.function && a.line == b.line &&
           a.level == b.level && a.text == b.text;
}

// How many records up to `now[at]` are those up to `before[last]`.
static std::size_t run_length(const std::vector<log_record> &before, std::size_t last,
                              const std::vector<log_record> &now, std::size_t at)
{
    std::size_t length = 0;
    while (length <= last && length <= at && is_same(before[last - length], now[at - length])) {
        length++;
    }
    return length;
}

// Where in `now` begins what is not in `before`: behind the longest run up to its last record that is still there;
// nothing when none of them is.
static std::optional<std::size_t> first_new(const std::vector<log_record> &before, const std::vector<log_record> &now)
{
    for (std::size_t last = before.size(); last-- > 0;) {
        std::size_t longest = 0;
        std::size_t end = 0;
        for (std::size_t at = 0; at < now.size(); at++) {
            const std::size_t length = run_length(before, last, now, at);
            if (length > longest) {
                longest = length;
                end = at + 1;
            }
        }
        if (longest > 0) {
            return end;
        }
    }
    return std::nullopt;
}

namespace {

// The log as it grows, over the ring's rounds and the service's starts.
class log_reader {
  public:
    explicit log_reader(fs::path path)
        : m_path(std::move(path))
    {
    }

    // What has been added since the last call, oldest first.
    std::vector<log_record> take_new()
    {
        std::vector<log_record> fresh = take_from_file(); // of a file that moved away, what is left
        struct stat found = {};
        if (stat(m_path.c_str(), &found) == 0 && found.st_ino != m_inode) {
            m_file.reset(open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
            m_inode = found.st_ino;
            m_content.clear();
            m_seen.clear();
            const std::vector<log_record> more = take_from_file();
            fresh.insert(fresh.end(), more.begin(), more.end());
        }
        return fresh;
    }

  private:
    std::vector<log_record> take_from_file()
    {
        std::string content = m_file ? settled_content_of(m_file) : "";
        if (content == m_content) {
            return {};
        }
        std::vector<log_record> now = emulator::parse_log(content);
        const std::optional<std::size_t> at = first_new(m_seen, now);
        if (!at && !m_seen.empty() && !now.empty()) {
            std::cerr << "handset: the service has overwritten records that were not read yet\n";
        }
        std::vector<log_record> fresh(now.begin() + static_cast<std::ptrdiff_t>(at.value_or(0)), now.end());
        if (!now.empty()) {
            m_seen = std::move(now);
        }
        m_content = std::move(content);
        return fresh;
    }

    const fs::path m_path;
    descriptor m_file;
    ino_t m_inode = 0;
    std::string m_content;
    std::vector<log_record> m_seen;
};

} // namespace

static tool::colour colour_of(const log_record &record)
{
    if (record.level.find("error") != std::string::npos) {
        return tool::colour::red;
    }
    if (record.level.find("warn") != std::string::npos) {
        return tool::colour::yellow;
    }
    return record.level == "func" ? tool::colour::dim : tool::colour::none;
}

static void print(const log_record &record, bool as_json)
{
    if (as_json) {
        const json object = {{"time", record.time}, {"thread", record.thread_id}, {"function", record.function},
                             {"line", record.line}, {"level", record.level},      {"text", record.text}};
        std::cout << object.dump(-1, ' ', false, json::error_handler_t::replace) << '\n';
        return;
    }
    std::ostringstream text;
    text << record;
    std::cout << tool::coloured(text.str(), colour_of(record), tool::in_colour(STDOUT_FILENO)) << '\n';
}

static void print_all(const std::vector<log_record> &records, std::size_t from, bool as_json)
{
    for (std::size_t i = from; i < records.size(); i++) {
        print(records[i], as_json);
    }
    if (!std::cout.flush()) {
        throw failure(exit_code::refused, "cannot write to standard output: see where it leads");
    }
}

// A look at the log, and now and then at the keeper; false when that is gone.
static bool pause_between_looks(const std::string &name, int looks)
{
    tool::check_interrupted();
    (void)poll(nullptr, 0, k_look_ms);
    tool::check_interrupted();
    return looks % k_looks_between_calls != 0 || is_up(name);
}

exit_code logs(const log_options &options)
{
    log_reader reader(log_file(options.name));
    const std::vector<log_record> there = reader.take_new();
    print_all(there, there.size() - std::min(there.size(), options.newest.value_or(there.size())), options.as_json);
    for (int looks = 1; options.follow; looks++) {
        const bool is_up = pause_between_looks(options.name, looks);
        print_all(reader.take_new(), 0, options.as_json);
        if (!is_up) {
            break;
        }
    }
    return exit_code::done;
}

exit_code wait_log(const std::string &name, const std::string &text, double timeout_s)
{
    const emulator::deadline limit = std::chrono::milliseconds(static_cast<long>(timeout_s * 1000));
    log_reader reader(log_file(name));
    for (int looks = 1;; looks++) {
        const std::vector<log_record> records = reader.take_new();
        if (const log_record *found = emulator::find_record(records, text)) {
            print(*found, false);
            return exit_code::done;
        }
        if (limit.passed()) {
            throw failure(exit_code::no_answer, "no record of the log held \"" + text + "\" in time: handset logs");
        }
        if (!pause_between_looks(name, looks)) {
            throw failure(exit_code::no_device, "the handset " + name + " went down meanwhile");
        }
    }
}

} // namespace handset_tool
