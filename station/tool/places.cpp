// Finding ports, see places.h.

#include "station/tool/places.h"

#include "station/port.h"
#include "tool/failure.h"
#include "tool/runtime_folder.h"

#include <algorithm>

namespace station_tool {

namespace fs = std::filesystem;

constexpr char k_handset[] = "handset:";
constexpr char k_application[] = "/application";

static bool has(const fs::path &path)
{
    std::error_code ignored;
    return fs::exists(path, ignored);
}

static place emulated(const std::string &name)
{
    std::string handset = name.substr(sizeof(k_handset) - 1);
    const std::size_t slash = handset.find('/');
    const std::string end = slash == std::string::npos ? "" : handset.substr(slash);
    if (!end.empty() && end != k_application) {
        throw tool::failure(tool::exit_code::usage, name + ": a handset has the port handset:NAME for a station, and " +
                                                        "handset:NAME/application");
    }
    handset = handset.substr(0, slash);
    const fs::path folder = tool::handset_folder(handset.empty() ? tool::k_default_handset : handset);
    return {name, folder / (end.empty() ? "station" : "application"),
            end.empty() ? station::framing::envelope : station::framing::bare};
}

std::vector<place> places_found()
{
    std::vector<place> found;
    std::error_code ignored;
    for (const fs::directory_entry &entry : fs::directory_iterator("/dev", ignored)) {
        if (entry.path().filename().string().compare(0, 6, "ttyACM") == 0) {
            found.push_back({entry.path(), entry.path(), station::framing::envelope});
        }
    }
    std::sort(found.begin(), found.end(), [](const place &a, const place &b) { return a.name < b.name; });
    for (const std::string &name : tool::handset_names()) {
        if (!tool::is_kept(name)) {
            continue;
        }
        for (const bool bare : {false, true}) {
            place there = emulated(k_handset + name + (bare ? k_application : ""));
            if (has(there.path)) {
                found.push_back(std::move(there));
            }
        }
    }
    return found;
}

place place_of(const std::string &name, bool bare)
{
    if (name.compare(0, sizeof(k_handset) - 1, k_handset) != 0) {
        return {name, name, bare ? station::framing::bare : station::framing::envelope};
    }
    if (bare && name.find('/') == std::string::npos) {
        throw tool::failure(tool::exit_code::usage,
                            name + " is for a station; its application's port is " + name + k_application);
    }
    return emulated(name);
}

bool is_emulated(const place &where)
{
    return where.name.compare(0, sizeof(k_handset) - 1, k_handset) == 0;
}

void require_there(const place &where)
{
    if (!is_emulated(where)) {
        return;
    }
    const fs::path folder = where.path.parent_path();
    const std::string name = folder.filename();
    const bool is_bare = where.framing == station::framing::bare;
    if (!tool::is_kept(name)) {
        throw station::no_port(
            where.name + ": no handset of that name is on: start it with \"handset up --name " + name + "\"", true);
    }
    if (has(where.path)) {
        return;
    }
    if (has(folder / (is_bare ? "station" : "application"))) {
        throw station::no_port(where.name + " is not served in the mode of this handset: use handset:" + name +
                                   (is_bare ? "" : k_application),
                               false);
    }
    throw station::no_port(where.name + " has no tty now: \"handset status --name " + name +
                               "\" tells whether it is off or its link is cut",
                           true);
}

std::vector<place> places_of(const settings &given)
{
    std::vector<place> places;
    for (const std::string &name : given.ports) {
        places.push_back(place_of(name, given.bare));
    }
    if (!places.empty()) {
        return places;
    }
    places = places_found();
    if (places.empty()) {
        throw station::no_port("no handset is here: connect one, or start an emulated one with \"handset up\"", true);
    }
    if (places.size() > 1) {
        std::string names;
        for (const place &each : places) {
            names += (names.empty() ? "" : ", ") + each.name;
        }
        throw tool::failure(tool::exit_code::usage, "several handsets are here, choose with -p: " + names);
    }
    return places;
}

} // namespace station_tool
