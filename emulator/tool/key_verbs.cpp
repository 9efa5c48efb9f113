// The verbs that look at a handset's values and set them.

#include "emulator/tool/control.h"
#include "emulator/tool/verbs.h"
#include "tool/failure.h"
#include "tool/runtime_folder.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>

namespace handset_tool {

namespace fs = std::filesystem;
using tool::exit_code;
using tool::failure;

exit_code keys(const std::string &name, bool as_json)
{
    const json rows = ask(name, {{"verb", "keys"}})["keys"];
    if (as_json) {
        std::cout << rows.dump(2, ' ', false, json::error_handler_t::replace) << '\n';
        return exit_code::done;
    }
    std::size_t key_width = 0;
    std::size_t value_width = 0;
    const auto value_of = [](const json &row) { return row.value("value", "").empty() ? "-" : row.value("value", ""); };
    constexpr std::size_t k_widest = 20;
    for (const json &row : rows) {
        key_width = std::max(key_width, row.value("key", "").size());
        value_width = std::min(k_widest, std::max(value_width, value_of(row).size()));
    }
    for (const json &row : rows) {
        const std::string unit = row.value("unit", "");
        std::cout << std::left << std::setw(static_cast<int>(key_width) + 2) << row.value("key", "")
                  << std::setw(static_cast<int>(value_width)) << value_of(row) << "  "
                  << (unit.empty() ? "" : unit + ": ") << row.value("meaning", "") << '\n';
    }
    std::cerr << "and property.NAME, file.PATH (=@FILE: a file of this machine; empty: removed), driver.ENTRY "
                 "(=KEY=VALUE,...; empty: as by default)\n";
    return exit_code::done;
}

exit_code get(const std::string &name, const std::vector<std::string> &keys, bool as_json)
{
    const json values = ask(name, {{"verb", "get"}, {"keys", keys}})["values"];
    json object = json::object();
    for (const json &each : values) {
        const std::string value = from_digits(each.value("value", ""));
        object[each.value("key", "")] = value;
        if (!as_json) {
            const bool ends = !value.empty() && value.back() == '\n';
            std::cout << (keys.size() > 1 ? each.value("key", "") + "=" : "") << value << (ends ? "" : "\n");
        }
    }
    if (as_json) {
        std::cout << object.dump(2, ' ', false, json::error_handler_t::replace) << '\n';
    }
    return exit_code::done;
}

static std::string content_of(const std::string &path)
{
    std::ostringstream content;
    const std::ifstream file(path, std::ios::binary);
    if (!file || fs::is_directory(path)) {
        throw failure(exit_code::usage, "cannot read the file " + path);
    }
    content << file.rdbuf();
    return content.str();
}

static json setting_of(const std::string &text)
{
    const std::size_t mark = text.find('=');
    if (mark == std::string::npos || mark == 0) {
        throw failure(exit_code::usage, "\"" + text + "\" is no KEY=VALUE; handset keys lists the keys");
    }
    const std::string key = text.substr(0, mark);
    std::string value = text.substr(mark + 1);
    const bool is_file = key.compare(0, 5, "file.") == 0;
    if (is_file && !value.empty() && value[0] == '@') {
        value = content_of(value.substr(1));
    }
    return {{"key", key}, {"value", to_digits(value)}};
}

exit_code set(const std::string &name, const std::vector<std::string> &settings)
{
    json all = json::array();
    for (const std::string &text : settings) {
        all.push_back(setting_of(text));
    }
    (void)ask(name, {{"verb", "set"}, {"settings", all}});
    return exit_code::done;
}

// By a file of the handset's folder, which the keeper writes.
static void print_screenshot(const std::string &name)
{
    const fs::path path = tool::handset_folder(name) / ("screenshot-" + std::to_string(getpid()) + ".png");
    std::string content;
    try {
        (void)ask(name, {{"verb", "screenshot"}, {"file", path.string()}});
        content = content_of(path);
    } catch (...) {
        (void)unlink(path.c_str());
        throw;
    }
    (void)unlink(path.c_str());
    std::cout << content;
}

exit_code screenshot(const std::string &name, const std::string &file)
{
    if (file == "-") {
        print_screenshot(name);
        return exit_code::done;
    }
    const fs::path path = fs::absolute(file);
    (void)ask(name, {{"verb", "screenshot"}, {"file", path.string()}});
    std::cerr << "written: " << file << '\n';
    return exit_code::done;
}

} // namespace handset_tool
