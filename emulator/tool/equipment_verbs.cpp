// The verbs of the modem and of the link: one request each, and how it is then.

#include "emulator/tool/control.h"
#include "emulator/tool/verbs.h"
#include "tool/failure.h"

#include <iostream>

namespace handset_tool {

using tool::exit_code;

static void print_port(const std::string &port, const json &modem)
{
    std::cout << (port == "at" ? "AT port" : "data port") << (modem.value("there", false) ? "" : ", hung up") << '\n';
    const std::string refusal = modem.value("refuses", "");
    std::cout << "  answers  ";
    if (modem.value("silent", false)) {
        std::cout << "nothing";
    } else {
        std::cout << (refusal.empty() ? "by its rules" : "everything with " + refusal);
    }
    std::cout << ", messages with result " << modem.value("result", 0U) << ", after " << modem.value("delay_ms", 0)
              << " ms";
    if (modem.value("split", 0) > 0) {
        std::cout << ", in pieces of " << modem.value("split", 0);
    }
    std::cout << "\n  heard    " << modem.value("heard", "") << '\n';
    for (const auto &[key, value] : modem["keeps"].items()) {
        std::cout << "  keeps    " << key << ": " << value.get<std::string>() << '\n';
    }
}

static std::vector<std::string> ports_of(const modem_order &order)
{
    if (!order.port.empty()) {
        return {order.port};
    }
    return order.act == "say" ? std::vector<std::string>{"data"} : std::vector<std::string>{"data", "at"};
}

exit_code modem(const modem_order &order)
{
    json request = {{"verb", "modem"}, {"act", order.act}, {"ports", ports_of(order)}, {"value", order.value}};
    const bool refuses = order.act == "refuse";
    request["text"] = refuses && order.text.empty()    ? "\\r\\nERROR\\r\\n"
                      : refuses && order.text == "off" ? ""
                                                       : order.text;
    const json answer = ask(order.name, request);
    if (order.act != "show") {
        return exit_code::done;
    }
    if (order.as_json) {
        std::cout << answer.dump(2, ' ', false, json::error_handler_t::replace) << '\n';
        return exit_code::done;
    }
    for (const std::string &port : ports_of(order)) {
        print_port(port, answer[port]);
    }
    return exit_code::done;
}

// How much of a fault is still to come, and behind how many bytes.
static std::string fault_text(const json &way, const std::string &fault)
{
    const long after = way.value(fault + "_after", 0L);
    return ", " + fault + " " + std::to_string(way.value(fault, 0L)) +
           (after == 0 ? "" : " after " + std::to_string(after));
}

static void print_way(const char *label, const json &way)
{
    std::cout << label << (way.value("stalled", false) ? "stalled" : "passes") << ", passed " << way.value("passed", 0L)
              << ", kept " << way.value("kept", 0L) << fault_text(way, "flip") << fault_text(way, "drop") << ", split "
              << way.value("split", 0L) << '\n';
}

exit_code link(const link_order &order)
{
    const bool counts = order.act == "flip" || order.act == "drop";
    const long value = counts && order.value == 0 ? 1 : order.value;
    const json answer = ask(
        order.name, {{"verb", "link"}, {"act", order.act}, {"to", order.to}, {"value", value}, {"after", order.after}},
        std::chrono::seconds(180));
    if (order.act != "show") {
        return exit_code::done;
    }
    if (order.as_json) {
        std::cout << answer.dump(2) << '\n';
        return exit_code::done;
    }
    if (answer.value("cut", false)) {
        std::cout << "cut: handset link mend\n";
        return exit_code::done;
    }
    print_way("to the station  ", answer["to_station"]);
    print_way("to the handset  ", answer["to_handset"]);
    return exit_code::done;
}

} // namespace handset_tool
