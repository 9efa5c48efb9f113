// Control files, and names that are open ended, see key_files.h.

#include "emulator/tool/key_files.h"

#include "emulator/tool/nearest.h"
#include "tool/failure.h"

#include <algorithm>
#include <array>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace handset_tool {

namespace fs = std::filesystem;

constexpr char k_controls[] = "/handset/control/";
constexpr std::size_t k_most_satellites = 16;

// The entries that no key stands for; emulator/preload/devices.cpp tells what each is.
constexpr std::array<const char *, 16> k_more_entries = {"fb.open",
                                                         "fb.FBIOGET_FSCREENINFO",
                                                         "fb.FBIOGET_VSCREENINFO",
                                                         "fb.FBIOPUT_VSCREENINFO",
                                                         "fb.mmap",
                                                         "fb.close",
                                                         "fb.VEXIOFB_IOCTL_EN_LAYER",
                                                         "fb.VEXIOFB_IOCTL_SET_LAYER_INPUT_FORMAT",
                                                         "tty0.open",
                                                         "tty0.KDSETMODE",
                                                         "tty0.close",
                                                         "video.close",
                                                         "battery.open",
                                                         "reboot",
                                                         "sched_setscheduler",
                                                         "sched_get_priority_max"};

// --- control files

static std::vector<std::string> lines_of(bench &of, const std::string &entry)
{
    std::vector<std::string> lines;
    if (of.handset.files.exists(k_controls + entry)) {
        std::istringstream content(of.handset.files.read(k_controls + entry));
        for (std::string line; std::getline(content, line);) {
            lines.push_back(line);
        }
    }
    return lines;
}

static bool is_field(const std::string &line, const std::string &field)
{
    return line.compare(0, field.size() + 1, field + "=") == 0;
}

std::optional<std::string> control_field(bench &of, const std::string &entry, const std::string &field)
{
    for (const std::string &line : lines_of(of, entry)) {
        if (is_field(line, field)) {
            return line.substr(field.size() + 1);
        }
    }
    return std::nullopt;
}

// An error of the emulated drivers is told as -errno, and is theirs as two numbers.
static void add_error(std::vector<std::string> &lines, const std::string &value)
{
    if (value.size() > 1 && value[0] == '-' && value != "-1") {
        lines.push_back("errno=" + value.substr(1));
    }
}

void set_control_field(bench &of, const std::string &entry, const std::string &field, const std::string &value)
{
    std::vector<std::string> lines = lines_of(of, entry);
    const bool is_driver = entry.compare(0, 6, "video.") == 0;
    const auto goes = [&](const std::string &line) {
        return is_field(line, field) || (is_driver && is_field(line, "errno"));
    };
    lines.erase(std::remove_if(lines.begin(), lines.end(), goes), lines.end());
    if (!value.empty()) {
        lines.push_back(std::string(field).append("=").append(value));
    }
    if (is_driver) {
        add_error(lines, value);
    }
    of.handset.control(entry, lines);
}

void write_or_remove(bench &of, const std::string &path, const std::string &content)
{
    if (content.empty()) {
        of.handset.files.remove(path);
    } else {
        of.handset.files.write(path, content);
    }
}

std::string screen_text(bench &of)
{
    const emulator::screen shown = of.handset.screen();
    return std::any_of(shown.rgb.begin(), shown.rgb.end(), [](std::uint8_t light) { return light != 0; }) ? "on"
                                                                                                          : "blank";
}

// --- satellites

constexpr char k_receiver[] = "hwt_gpsCtrl";

std::string satellites_text(bench &of)
{
    std::string text;
    for (std::size_t i = 0; i < k_most_satellites; i++) {
        const std::optional<std::string> id = control_field(of, k_receiver, "svid." + std::to_string(i));
        const std::optional<std::string> strength = control_field(of, k_receiver, "cnr." + std::to_string(i));
        if (!id || !strength) {
            break;
        }
        text += (text.empty() ? "" : ",") + *id + ":" + *strength;
    }
    return text;
}

static bool is_number(const std::string &text)
{
    return !text.empty() && text.size() < 6 && text.find_first_not_of("0123456789") == std::string::npos;
}

void set_satellites(bench &of, const std::string &value, bool really)
{
    std::vector<std::string> lines;
    for (const std::string &line : lines_of(of, k_receiver)) {
        if (line.compare(0, 5, "svid.") != 0 && line.compare(0, 4, "cnr.") != 0) {
            lines.push_back(line);
        }
    }
    std::istringstream pairs(value);
    std::size_t count = 0;
    for (std::string pair; std::getline(pairs, pair, ','); count++) {
        const std::size_t mark = pair.find(':');
        const std::string id = pair.substr(0, mark);
        const std::string strength = mark == std::string::npos ? "" : pair.substr(mark + 1);
        if (!is_number(id) || !is_number(strength) || count == k_most_satellites) {
            throw std::invalid_argument("gps.satellites takes up to 16 of ID:STRENGTH with commas between, not \"" +
                                        value + "\"");
        }
        const std::string index = std::to_string(count);
        lines.push_back(std::string("svid.").append(index).append("=").append(id));
        lines.push_back(std::string("cnr.").append(index).append("=").append(strength));
    }
    if (really) {
        of.handset.control(k_receiver, lines);
    }
}

// --- open ended names

static bool starts_with(const std::string &text, const std::string &beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

bool is_open_ended(const std::string &name)
{
    return starts_with(name, "property.") || starts_with(name, "file.") || starts_with(name, "driver.");
}

static std::string rest_of(const std::string &name)
{
    return name.substr(name.find('.') + 1);
}

static std::string property_of(const std::string &name)
{
    constexpr std::size_t longest = 31;
    std::string property = rest_of(name);
    if (property.empty() || property[0] == '.' || property.size() > longest ||
        property.find('/') != std::string::npos) {
        throw std::invalid_argument(name + ": a property has 1 to 31 characters, no slash, and no dot first");
    }
    return property;
}

static std::string entry_of(const std::string &name)
{
    std::string entry = rest_of(name);
    std::vector<std::string> entries = entries_of_keys();
    entries.insert(entries.end(), k_more_entries.begin(), k_more_entries.end());
    if (std::find(entries.begin(), entries.end(), entry) == entries.end()) {
        const std::string near = nearest(entry, entries);
        throw std::invalid_argument("there is no driver's entry " + entry +
                                    (near.empty() ? ": see handset keys" : ": do you mean " + near + "?"));
    }
    return entry;
}

// Links of the handset's lead to files of this machine when they are followed from outside, so none is.
static std::string path_of(bench &of, const std::string &name)
{
    const fs::path path = rest_of(name);
    const bool climbs = std::find(path.begin(), path.end(), "..") != path.end();
    const std::string top = path.is_absolute() && path.begin() != path.end() ? (++path.begin())->string() : "";
    if (!path.is_absolute() || climbs || !path.has_filename() || top == "proc" || top == "usr" ||
        (top == "dev" && !starts_with(path, "/dev/__properties__/"))) {
        throw std::invalid_argument(name + ": name a file of the handset's by its whole path, like file./amt/imei.txt");
    }
    std::string checked;
    for (const fs::path &part : path.relative_path()) {
        checked.append("/").append(part.string());
        const fs::file_status found = fs::symlink_status(of.handset.files.host_path(checked));
        const bool is_last = checked == path.string();
        if (fs::exists(found) && !(is_last ? fs::is_regular_file(found) : fs::is_directory(found))) {
            checked.append(is_last ? " is no file" : " is no folder");
            throw std::invalid_argument(std::string(name).append(": ").append(checked));
        }
    }
    return path;
}

static void require_there(bench &of, const std::string &path, const std::string &what)
{
    if (!of.handset.files.exists(path)) {
        throw tool::failure(tool::exit_code::refused, "the handset has no " + what);
    }
}

std::string get_open_ended(bench &of, const std::string &name)
{
    if (starts_with(name, "property.")) {
        const std::string property = property_of(name);
        require_there(of, std::string("/dev/__properties__/").append(property), "property " + property);
        return of.handset.property(property);
    }
    if (starts_with(name, "file.")) {
        const std::string path = path_of(of, name);
        require_there(of, path, "file " + path);
        return of.handset.files.read(path);
    }
    std::string text;
    for (const std::string &line : lines_of(of, entry_of(name))) {
        text.append(text.empty() ? "" : ",").append(line);
    }
    return text;
}

static std::vector<std::string> settings_in(const std::string &name, const std::string &value)
{
    std::vector<std::string> settings;
    std::istringstream parts(value);
    for (std::string part; std::getline(parts, part, ',');) {
        if (part.find('=') == std::string::npos || part.find('\n') != std::string::npos) {
            throw std::invalid_argument(name + " takes KEY=VALUE,..., like result=-1,errno=19; empty: as by default");
        }
        settings.push_back(part);
    }
    return settings;
}

static void set_property(bench &of, const std::string &name, const std::string &value, bool really)
{
    constexpr std::size_t longest = 91;
    const std::string property = property_of(name);
    if (value.size() > longest || value.find('\0') != std::string::npos) {
        throw std::invalid_argument(name + ": a property's value has at most 91 characters");
    }
    if (really) {
        of.handset.set_property(property, value);
    }
}

void set_open_ended(bench &of, const std::string &name, const std::string &value, bool really)
{
    if (starts_with(name, "property.")) {
        set_property(of, name, value, really);
        return;
    }
    if (starts_with(name, "file.")) {
        const std::string path = path_of(of, name);
        if (really) {
            write_or_remove(of, path, value);
        }
        return;
    }
    const std::string entry = entry_of(name);
    const std::vector<std::string> settings = settings_in(name, value);
    if (really) {
        of.handset.control(entry, settings);
    }
}

} // namespace handset_tool
