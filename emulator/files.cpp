// The handset's files, see files.h.

#include "emulator/files.h"

#include "emulator/descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace emulator {

namespace fs = std::filesystem;

[[noreturn]] static void fail(const std::string &what, const fs::path &path)
{
    throw std::system_error(errno, std::generic_category(), what + " " + path.string());
}

static fs::path fresh_folder()
{
    std::string path = fs::temp_directory_path() / "handset-XXXXXX";
    if (mkdtemp(path.data()) == nullptr) {
        fail("cannot make a folder for the handset,", path);
    }
    return path;
}

files::files(const fs::path &root)
{
    if (root.empty()) {
        m_root = fresh_folder();
    } else {
        fs::create_directories(root);
        m_root = fs::canonical(root);
    }
}

// Whether `path` is `folder` or lies in it.
static bool lies_in(const std::string &path, const std::string &folder)
{
    return path.compare(0, folder.size(), folder) == 0 && (path.size() == folder.size() || path[folder.size()] == '/');
}

bool files::only_inside(const std::string &inside) const
{
    if (lies_in(inside, "/dev/__properties__") || lies_in(inside, "/proc/driver")) {
        return false;
    }
    const auto hides = [&](const std::string &mount) { return lies_in(inside, mount); };
    return hides("/dev") || hides("/proc") || hides("/usr") || std::any_of(m_mounts.begin(), m_mounts.end(), hides);
}

// Seen from outside there is no "self" in the handset's /proc; what it would tell, process 1 has as well.
static std::string without_self(const std::string &inside)
{
    if (lies_in(inside, "/proc/self")) {
        return "/proc/1" + inside.substr(10);
    }
    return lies_in(inside, "/proc/mounts") || lies_in(inside, "/proc/net") ? "/proc/1" + inside.substr(5) : inside;
}

fs::path files::host_path(const std::string &inside) const
{
    if (inside.empty() || inside[0] != '/') {
        throw std::runtime_error("\"" + inside + "\" is no absolute path of the handset");
    }
    const std::lock_guard lock(m_mutex);
    if (!only_inside(inside)) {
        return m_root / inside.substr(1);
    }
    if (m_live_root.empty()) {
        throw std::runtime_error(inside + " is there only while the handset is on");
    }
    return m_live_root / without_self(inside).substr(1);
}

void files::set_live_root(const fs::path &live_root)
{
    const std::lock_guard lock(m_mutex);
    m_live_root = live_root;
    m_mounts.clear();
}

void files::add_mount(const std::string &inside)
{
    const std::lock_guard lock(m_mutex);
    m_mounts.insert(inside);
}

void files::remove_mount(const std::string &inside)
{
    const std::lock_guard lock(m_mutex);
    m_mounts.erase(inside);
}

bool files::exists(const std::string &inside) const
{
    return fs::exists(fs::symlink_status(host_path(inside)));
}

static descriptor open_to_read(const fs::path &path)
{
    return descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
}

static std::string all_of(const descriptor &file, const fs::path &path)
{
    if (!file) {
        fail("cannot read", path);
    }
    std::string content;
    char bytes[16 * 1024];
    ssize_t count = 0;
    while ((count = TEMP_FAILURE_RETRY(::read(file.get(), bytes, sizeof(bytes)))) > 0) {
        content.append(bytes, static_cast<std::size_t>(count));
    }
    if (count < 0) {
        fail("cannot read", path);
    }
    return content;
}

std::string files::read(const std::string &inside) const
{
    const fs::path path = host_path(inside);
    return all_of(open_to_read(path), path);
}

std::string files::read_or(const std::string &inside, const std::string &otherwise) const
{
    const fs::path path = host_path(inside);
    const descriptor file = open_to_read(path);
    return !file && (errno == ENOENT || errno == ENOTDIR) ? otherwise : all_of(file, path);
}

std::string files::read_link(const std::string &inside) const
{
    return fs::read_symlink(host_path(inside));
}

std::vector<std::string> files::list(const std::string &inside) const
{
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(host_path(inside))) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

mode_t files::mode(const std::string &inside) const
{
    const fs::path path = host_path(inside);
    struct stat state = {};
    if (lstat(path.c_str(), &state) != 0) {
        fail("cannot look at", path);
    }
    return state.st_mode & 07777U;
}

static void write_new(const fs::path &path, std::string_view content, mode_t mode)
{
    (void)unlink(path.c_str()); // left over from a writer that died
    const descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file) {
        fail("cannot write", path);
    }
    while (!content.empty()) {
        const ssize_t count = TEMP_FAILURE_RETRY(::write(file.get(), content.data(), content.size()));
        if (count < 0) {
            fail("cannot write", path);
        }
        content.remove_prefix(static_cast<std::size_t>(count));
    }
    if (fchmod(file.get(), mode) != 0) {
        fail("cannot set the mode of", path);
    }
}

void files::write(const std::string &inside, std::string_view content, mode_t mode) const
{
    const fs::path path = host_path(inside);
    fs::create_directories(path.parent_path());
    const fs::path fresh = path.parent_path() / ("." + path.filename().string() + ".new");
    write_new(fresh, content, mode);
    fs::rename(fresh, path);
}

void files::install(const fs::path &host_file, const std::string &inside, mode_t mode) const
{
    const fs::path path = host_path(inside);
    fs::create_directories(path.parent_path());
    fs::remove(path); // a program that is running may not be written to, and a link not through
    fs::copy_file(host_file, path);
    fs::permissions(path, static_cast<fs::perms>(mode));
}

void files::make_folder(const std::string &inside, mode_t mode) const
{
    const fs::path path = host_path(inside);
    fs::create_directories(path);
    fs::permissions(path, static_cast<fs::perms>(mode));
}

void files::remove(const std::string &inside) const
{
    fs::remove_all(host_path(inside));
}

} // namespace emulator
