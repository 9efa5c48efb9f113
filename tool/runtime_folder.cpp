// Finding and naming the folders, see runtime_folder.h.

#include "tool/runtime_folder.h"

#include "tool/failure.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace tool {

namespace fs = std::filesystem;

constexpr std::size_t k_name_max = 32;

static fs::path chosen_folder()
{
    const char *given = getenv("XDG_RUNTIME_DIR"); // NOLINT(concurrency-mt-unsafe): nothing here sets variables
    if (given != nullptr && *given != '\0') {
        return fs::path(given) / "kv-zep-amt";
    }
    std::error_code error;
    const fs::path temporary = fs::temp_directory_path(error);
    if (error) {
        throw failure(exit_code::no_device,
                      "there is no folder for temporary files: set TMPDIR or XDG_RUNTIME_DIR to one that is there");
    }
    return temporary / ("kv-zep-amt-" + std::to_string(getuid()));
}

// In a folder that anyone may write to, anyone could have made ours.
static void require_own(const fs::path &folder)
{
    struct stat found = {};
    if (lstat(folder.c_str(), &found) != 0 || !S_ISDIR(found.st_mode) || found.st_uid != getuid()) {
        throw failure(exit_code::no_device,
                      folder.string() + " is not a folder of yours: remove it, or set XDG_RUNTIME_DIR to one that is");
    }
}

fs::path runtime_folder()
{
    fs::path folder = chosen_folder();
    std::error_code ignored;
    fs::create_directories(folder.parent_path(), ignored);
    (void)mkdir(folder.c_str(), S_IRWXU);
    require_own(folder);
    return folder;
}

fs::path handset_folder(const std::string &name)
{
    const auto fits = [](unsigned char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    };
    if (name.empty() || name.size() > k_name_max || !std::all_of(name.begin(), name.end(), fits)) {
        throw failure(exit_code::usage, "\"" + name + "\" is no handset's name: use 1 to " +
                                            std::to_string(k_name_max) + " letters, digits, dashes and underscores");
    }
    return runtime_folder() / name;
}

bool is_kept(const std::string &name)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string path = handset_folder(name) / "control";
    if (path.size() >= sizeof(address.sun_path)) {
        return false;
    }
    path.copy(address.sun_path, path.size());
    const int end = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool is_there = connect(end, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
    (void)close(end);
    return is_there;
}

std::vector<std::string> handset_names()
{
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(runtime_folder())) {
        if (entry.is_directory()) {
            names.push_back(entry.path().filename());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace tool
