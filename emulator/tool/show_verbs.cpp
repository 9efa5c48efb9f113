// The verbs that tell which handsets there are, and how one is.

#include "emulator/tool/control.h"
#include "emulator/tool/verbs.h"
#include "tool/failure.h"
#include "tool/runtime_folder.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <iostream>
#include <vector>

namespace handset_tool {

using tool::exit_code;

constexpr std::chrono::seconds k_look_wait{10};

// In the words of a line.
static std::string service_text(const json &status)
{
    if (status.contains("problem")) {
        return status.value("problem", "");
    }
    if (status.contains("doing")) {
        return "busy (" + status.value("doing", "") + ")";
    }
    return status.value("power", "") == "off" ? "off" : status["service"].value("state", "");
}

// The status with the name, or with what is the matter.
static json look_at(const std::string &name)
{
    json status;
    try {
        status = is_up(name) ? ask(name, {{"verb", "status"}}, k_look_wait)
                             : json{{"problem", "killed (handset down removes it)"}};
    } catch (const tool::failure &failure) {
        if (failure.code() == exit_code::interrupted) {
            throw;
        }
        status = {{"problem", failure.what()}};
    }
    status["name"] = name;
    return status;
}

static void print_table(const std::vector<std::array<std::string, 4>> &rows)
{
    std::array<std::size_t, 4> widths = {};
    for (const auto &row : rows) {
        for (std::size_t i = 0; i < row.size(); i++) {
            widths.at(i) = std::max(widths.at(i), row.at(i).size());
        }
    }
    for (const auto &row : rows) {
        std::cout << std::left;
        for (std::size_t i = 0; i + 1 < row.size(); i++) {
            std::cout << std::setw(static_cast<int>(widths.at(i)) + 2) << row.at(i);
        }
        std::cout << row.back() << '\n';
    }
}

static std::string path_of(const json &status)
{
    const std::string path = status.contains("station") ? status["station"].value("path", "") : "";
    return path.empty() ? "-" : path;
}

exit_code list(bool as_json)
{
    json all = json::array();
    std::vector<std::array<std::string, 4>> rows = {{"NAME", "MODE", "SERVICE", "STATION"}};
    for (const std::string &name : tool::handset_names()) {
        const json status = look_at(name);
        rows.push_back({name, status.value("mode", "-"), service_text(status), path_of(status)});
        all.push_back({{"name", name},
                       {"mode", status.value("mode", "")},
                       {"service", service_text(status)},
                       {"for", status.value("serves", "")},
                       {"tty", path_of(status) == "-" ? "" : path_of(status)}});
    }
    if (as_json) {
        std::cout << all.dump(2) << '\n';
    } else if (all.empty()) {
        std::cerr << "no handset is up: handset up starts one\n";
    } else {
        print_table(rows);
    }
    return exit_code::done;
}

// --- one handset

static void line(const std::string &label, const std::string &text)
{
    std::cout << std::left << std::setw(12) << label << text << '\n';
}

static std::string holders_text(const json &station)
{
    std::string text;
    for (const json &holder : station.value("holders", json::array())) {
        text +=
            (text.empty() ? "" : ", ") + holder.value("name", "") + " (" + std::to_string(holder.value("pid", 0)) + ")";
    }
    return text.empty() ? "nobody" : text;
}

static std::string number_if(const char *label, const json &from, const char *key)
{
    const long value = from.value(key, 0L);
    return value == 0 ? "" : std::string(", ") + label + " " + std::to_string(value);
}

static std::string number_after(const json &from, const char *key)
{
    const long value = from.value(key, 0L);
    return value == 0 ? "" : " after " + std::to_string(value);
}

static std::string modem_text(const json &modem)
{
    if (!modem.value("there", false)) {
        return "hung up";
    }
    std::string text = modem.value("silent", false) ? "silent" : "answers";
    if (!modem.value("refuses", "").empty()) {
        text = "refuses";
    }
    return text + number_if("result", modem, "result") + number_if("delay (ms)", modem, "delay_ms") +
           number_if("pieces of", modem, "split");
}

static std::string way_text(const json &way)
{
    return std::string(way.value("stalled", false) ? "stalled" : "passes") + number_if("flips", way, "flip") +
           number_after(way, "flip_after") + number_if("drops", way, "drop") + number_after(way, "drop_after") +
           number_if("pieces of", way, "split") + number_if("kept", way, "kept");
}

static void print_devices(const json &status)
{
    line("modem", modem_text(status["modem"]["data"]) + "; AT port: " + modem_text(status["modem"]["at"]));
    if (status["link"].value("cut", false)) {
        line("link", "cut: handset link mend");
    } else {
        line("link", "to the station: " + way_text(status["link"]["to_station"]) +
                         "; to the handset: " + way_text(status["link"]["to_handset"]));
    }
    line("screen", status.value("screen", ""));
    const json &handshake = status["handshake"];
    line("handshake", (handshake.value("value", "").empty() ? "-" : handshake.value("value", "")) + ": " +
                          handshake.value("meaning", "") +
                          (handshake.value("earlier", false) ? " (of an earlier start)" : ""));
}

exit_code status(const std::string &name, bool as_json)
{
    json status = ask(name, {{"verb", "status"}});
    status["name"] = name;
    if (as_json) {
        std::cout << status.dump(2) << '\n';
        return exit_code::done;
    }
    line("name", name);
    line("power", status.value("power", ""));
    line("mode", status.value("mode", ""));
    line("service", service_text(status));
    line("usb", status.value("usb", ""));
    line(status.value("serves", ""), path_of(status));
    line("held by", holders_text(status["station"]));
    if (status.value("power", "") == "on") {
        print_devices(status);
    }
    line("root", status.value("root", ""));
    line("keeper", "pid " + std::to_string(status.value("keeper", 0)));
    return exit_code::done;
}

} // namespace handset_tool
