// What a keeper tells of its handset, as JSON. The verbs list and status show it.

#include "emulator/tool/requests.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace handset_tool {

namespace fs = std::filesystem;

// By what the descriptor is: inside, another tty may have the same path.
static bool holds(const fs::path &process, const struct stat &tty)
{
    std::error_code error;
    for (fs::directory_iterator each(process / "fd", error); !error && each != fs::directory_iterator();
         each.increment(error)) {
        struct stat opened = {};
        if (stat(each->path().c_str(), &opened) == 0 && opened.st_dev == tty.st_dev && opened.st_ino == tty.st_ino) {
            return true;
        }
    }
    return false;
}

// The processes of this user that have the tty open, but for this one, which keeps it.
static json holders_of(const std::string &tty)
{
    json holders = json::array();
    struct stat wanted = {};
    if (tty.empty() || stat(tty.c_str(), &wanted) != 0) {
        return holders;
    }
    std::error_code error;
    for (fs::directory_iterator each("/proc", error); !error && each != fs::directory_iterator();
         each.increment(error)) {
        const long pid = std::strtol(each->path().filename().c_str(), nullptr, 10);
        if (pid > 0 && pid != getpid() && holds(each->path(), wanted)) {
            std::string name;
            std::getline(std::ifstream(each->path() / "comm"), name);
            holders.push_back({{"pid", pid}, {"name", name}});
        }
    }
    return holders;
}

static const char *screen_state(const emulator::handset &handset)
{
    const emulator::screen shown = handset.screen();
    for (const std::uint8_t light : shown.rgb) {
        if (light != 0) {
            return "on";
        }
    }
    return "blank";
}

static json service_status(const bench &of)
{
    json status = {{"state", of.service_state()}, {"running", of.service_runs()}};
    if (of.service_runs()) {
        status["pid"] = of.service_pid();
    }
    return status;
}

// It is set at a start's end, so that one that still goes on has set none.
static json handshake_status(const bench &of)
{
    const std::string value = of.handset.property(k_handshake_property);
    return {{"value", value}, {"meaning", handshake_meaning(value)}, {"earlier", of.service_runs() && !value.empty()}};
}

static json modem_status(bench &of)
{
    json status;
    for (const char *port : {"data", "at"}) {
        const emulator::modem_control how = of.modem(port).control();
        status[port] = {{"there", of.is_modem_there(port)}, {"silent", how.silent},
                        {"refuses", how.refusal},           {"result", how.result},
                        {"delay_ms", how.delay_ms},         {"split", how.split}};
    }
    return status;
}

json status_of(bench &of)
{
    json status = {{"power", of.is_on() ? "on" : "off"},
                   {"mode", to_string(of.mode())},
                   {"serves", of.serves() == arrangement::station ? "station" : "application"},
                   {"keeper", getpid()},
                   {"root", of.handset.files.root().string()},
                   {"log", of.log_path()},
                   {"service", service_status(of)},
                   {"usb", of.is_plugged() ? "plugged" : "unplugged"}};
    const std::string link = of.is_on() && !of.is_cut() ? of.link().string() : "";
    status["station"] = {{"path", link}, {"tty", of.port()}, {"holders", holders_of(of.port())}};
    if (of.is_on()) {
        status["handshake"] = handshake_status(of);
        status["modem"] = modem_status(of);
        status["link"] = link_request(of, {{"act", "show"}});
        status["screen"] = screen_state(of.handset);
    }
    return status;
}

} // namespace handset_tool
