// The table of the keeper's verbs, see requests.h, and the short ones among them.

#include "emulator/tool/requests.h"

#include "emulator/tool/keys.h"
#include "tool/failure.h"

#include <algorithm>

namespace handset_tool {

using tool::exit_code;
using tool::failure;

static json service_told(const bench &of)
{
    return {{"service", of.service_state()}, {"running", of.service_runs()}};
}

static json start(bench &of, const json &)
{
    if (of.service_runs()) {
        throw failure(exit_code::no_device, "the service runs already: " + of.service_state());
    }
    of.start_service();
    return service_told(of);
}

static json stop(bench &of, const json &)
{
    of.stop_service();
    return service_told(of);
}

static json restart(bench &of, const json &)
{
    of.stop_service();
    of.start_service();
    return service_told(of);
}

static json usb(bench &of, const json &request)
{
    if (request.value("plug", true)) {
        of.plug();
    } else {
        of.unplug();
    }
    return service_told(of);
}

static json get_keys(bench &of, const json &request)
{
    json values = json::array();
    for (const std::string &name : request.value("keys", std::vector<std::string>())) {
        values.push_back({{"key", name}, {"value", to_digits(get_key(of, name))}});
    }
    return {{"values", values}};
}

// All are looked at before the first is set.
static json set_keys(bench &of, const json &request)
{
    const json settings = request.value("settings", json::array());
    for (const bool really : {false, true}) {
        for (const json &setting : settings) {
            set_key(of, setting.value("key", ""), from_digits(setting.value("value", "")), really);
        }
    }
    return json::object();
}

static json keys(bench &of, const json &)
{
    return {{"keys", all_keys(of)}};
}

static json screenshot(bench &of, const json &request)
{
    of.handset.save_screen(request.value("file", ""));
    return json::object();
}

// clang-format off
constexpr request_verb k_verbs[] = {
    {"start",      start},
    {"stop",       stop},
    {"restart",    restart},
    {"usb",        usb},
    {"keys",       keys},
    {"get",        get_keys},
    {"set",        set_keys},
    {"modem",      modem_request},
    {"link",       link_request},
    {"screenshot", screenshot},
};
// clang-format on

const request_verb *find_request(const std::string &verb)
{
    const auto *found =
        std::find_if(std::begin(k_verbs), std::end(k_verbs), [&](const request_verb &row) { return verb == row.name; });
    return found == std::end(k_verbs) ? nullptr : found;
}

} // namespace handset_tool
