// Telling messages, see report.h.

#include "station/tool/report.h"

#include "station/request.h"
#include "station/text.h"

#include <algorithm>

namespace station_tool {

void say(report &to, const std::string &line)
{
    to.text += line + '\n';
}

std::string joined(const std::vector<std::string> &words)
{
    std::string line;
    for (const std::string &word : words) {
        line += (line.empty() ? "" : " ") + word;
    }
    return line;
}

std::string in_columns(const std::vector<std::vector<std::string>> &rows)
{
    std::vector<std::size_t> widths;
    for (const std::vector<std::string> &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); i++) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const std::vector<std::string> &row : rows) {
        std::string line = " ";
        for (std::size_t i = 0; i < row.size(); i++) {
            line += ' ' + row[i];
            line.append(widths[i] - row[i].size() + 1, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + '\n';
    }
    return text;
}

std::string as_printable(const std::string &bytes)
{
    const auto is_plain = [](char c) { return c >= ' ' && c <= '~'; };
    if (std::all_of(bytes.begin(), bytes.end(), is_plain)) {
        return bytes;
    }
    std::string text;
    for (const char c : bytes) {
        const std::string told = station::quoted({&c, 1});
        text += c == '"' ? "\"" : told.substr(1, told.size() - 2);
    }
    return text;
}

std::string as_shown(const std::string &value)
{
    return as_printable(value.substr(0, value.find_last_not_of("\r\n") + 1));
}

static json value_of(const station::told_item &what)
{
    switch (what.form) {
    case station::item_form::number:
    case station::item_form::flag:
        return station::number_in(what.atom);
    case station::item_form::signed_number:
        return station::signed_number_in(what.atom);
    case station::item_form::text:
    case station::item_form::bytes:
        break;
    }
    return as_printable(what.value);
}

static json to_json(const station::told_item &what)
{
    json item = {{"atom", what.atom.id}, {"type", station::type_name(what.atom.type)}};
    item["value"] = value_of(what);
    if (!what.meaning.empty()) {
        item["meaning"] = what.meaning;
    }
    return item;
}

json to_json(const station::message &what, bool is_answer)
{
    const station::command *owner = station::command_of(what, is_answer);
    const std::string name = station::name_of(what.id());
    json told = {{"id", what.id()}, {"name", name.substr(0, name.find(' '))}};
    if (owner != nullptr) {
        told["command"] = owner->word;
    }
    json items = json::object();
    for (const station::told_item &each : station::items_of(what, is_answer)) {
        std::string key = each.name;
        for (int number = 2; items.contains(key); number++) {
            key = each.name + "#" + std::to_string(number);
        }
        items[key] = to_json(each);
    }
    told["items"] = items;
    return told;
}

std::string to_text(const station::message &what, bool is_answer)
{
    std::vector<std::vector<std::string>> rows;
    for (const station::told_item &each : station::items_of(what, is_answer)) {
        rows.push_back({each.name, as_shown(each.value), each.meaning});
    }
    return station::heading_of(what, is_answer) + '\n' + in_columns(rows);
}

} // namespace station_tool
