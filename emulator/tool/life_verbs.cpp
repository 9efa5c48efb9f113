// The verbs by which a handset and its service come and go.

#include "emulator/tool/control.h"
#include "emulator/tool/keeper.h"
#include "emulator/tool/verbs.h"
#include "tool/failure.h"
#include "tool/program.h"
#include "tool/runtime_folder.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

namespace handset_tool {

using tool::exit_code;
using tool::failure;

constexpr std::chrono::seconds k_power_wait{180};
constexpr std::chrono::seconds k_down_wait{60};

// How to speak to it, for people.
static std::string advice(const std::string &name, const json &status)
{
    const bool is_station = status.value("serves", "station") == "station";
    return "amt-station -p handset:" + name + (is_station ? "" : "/application");
}

static void tell_up(const std::string &name, const json &status)
{
    const std::string path = status["station"].value("path", "");
    std::cout << path << std::endl;
    std::cerr << name << " is up (" << status.value("mode", "");
    const bool runs = status["service"].value("running", false);
    if (runs) {
        std::cerr << "), " << advice(name, status) << '\n';
    } else {
        std::cerr << "), the service " << status["service"].value("state", "") << ": handset usb plug --name " << name
                  << " starts it\n";
    }
    if (runs && status.value("mode", "") == "usb") {
        std::cerr << "the station has 5 seconds from now on to say something\n";
    }
}

// A handset that was switched off is there still, with its files.
static json switch_on(const up_options &options)
{
    json request = {{"verb", "up"}, {"plugged", !options.unplugged}};
    if (options.mode) {
        request["mode"] = *options.mode;
    }
    return ask(options.name, request, k_power_wait);
}

static bool is_off(const std::string &name)
{
    return is_up(name) && ask(name, {{"verb", "status"}}).value("power", "on") == "off";
}

exit_code up(const up_options &options)
{
    up_order order;
    order.name = options.name;
    order.mode = run_mode_of(options.mode.value_or("switched"));
    order.plugged = !options.unplugged;
    if (options.unplugged && order.mode != run_mode::usb) {
        throw failure(exit_code::usage, "--unplugged goes with --mode usb only");
    }
    if (!options.root.empty()) {
        order.root = std::filesystem::absolute(options.root);
    }
    tell_up(options.name, is_off(options.name) ? switch_on(options) : start_keeper(order));
    return exit_code::done;
}

// The keeper closes the connection when all has ended.
static void take_down(const std::string &name)
{
    const emulator::descriptor connection = connect_to(tool::handset_folder(name));
    if (connection && send_line(connection.get(), {{"verb", "down"}})) {
        (void)receive_line(connection.get(), k_down_wait);
    } else if (!remove_remains(name)) {
        (void)require_handset(name); // there is none, which it tells
    }
    std::cerr << name << " is down\n";
}

exit_code down(const std::string &name, bool all)
{
    if (!all) {
        take_down(name);
        return exit_code::done;
    }
    for (const std::string &each : tool::handset_names()) {
        take_down(each);
    }
    return exit_code::done;
}

exit_code service(const std::string &name, const std::string &verb)
{
    const json answer = ask(name, {{"verb", verb}}, k_power_wait);
    std::cerr << "the service: " << answer.value("service", "") << '\n';
    return exit_code::done;
}

exit_code usb(const std::string &name, bool plug)
{
    const json answer = ask(name, {{"verb", "usb"}, {"plug", plug}}, k_power_wait);
    std::cerr << (plug ? "plugged" : "unplugged") << ", the service: " << answer.value("service", "") << '\n';
    return exit_code::done;
}

} // namespace handset_tool
