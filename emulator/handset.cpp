// The emulated handset, see handset.h: what lies in its root folder, what a program gets to run with, and the requests
// to process 1.

#include "emulator/handset.h"

#include "emulator/init_link.h"
#include "emulator/sandbox.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace emulator {

namespace fs = std::filesystem;

constexpr char k_calls[] = "/handset/calls";
constexpr char k_controls[] = "/handset/control/";
constexpr char k_properties[] = "/dev/__properties__/";

// Folders that the handset's own start-up, or the emulation, makes before any service.
constexpr struct {
    const char *path;
    mode_t mode;
} k_folders[] = {
    {"/amt", 0775},
    {"/data/etc", 0755},
    {"/data/local/log", 0777},
    {"/data/local/tmp", 0777},
    {"/data/local/wifi", 0777},
    {"/data/misc/wifi", 0770},
    {"/dev/__properties__", 0755},
    {"/etc", 0755},
    {"/handset/bin", 0755},
    {"/handset/control", 0755},
    {"/mnt", 0755},
    {"/proc/driver", 0755},
    {"/storage", 0755},
    {"/sys", 0755},
    {"/system/bin", 0755},
    {"/system/etc", 0755},
    {"/system/lib64/hw", 0755},
    {"/system/media/amt", 0755},
    {"/tmp", 01777},
    {"/usr", 0755},
};

// Files of the kernel's drivers as they read on a handset that lies on a table, switched on and at rest.
constexpr struct {
    const char *path;
    const char *content;
} k_kernel_files[] = {
    {"/sys/class/android_usb/android0/state", "DISCONNECTED\n"},  // CONNECTED, CONFIGURED
    {"/sys/class/leds/button-backlight/brightness", "0\n"},       // 0 to 255
    {"/sys/class/leds/lcd-backlight/brightness", "102\n"},        // 0 to 255
    {"/sys/class/power_supply/battery/temp", "275\n"},            // tenths of a degree Celsius
    {"/sys/class/power_supply/battery/voltage_now", "3900000\n"}, // microvolts
    {"/sys/class/timed_output/vibrator/enable", "0\n"},           // milliseconds left
};

// The handset's shell and tools are this machine's. A test replaces one by writing a file of its own in its place.
constexpr const char *k_tools[] = {"sh", "rm", "rmdir", "mv", "chmod", "chgrp", "cp", "cat"};

// But for this one: the disk is this machine's, has other things to do, and is left alone.
constexpr char k_sync_path[] = "/system/bin/sync";
constexpr char k_sync[] = "#!/system/bin/sh\n";

constexpr char k_users[] = "root:x:0:0::/:/system/bin/sh\n"
                           "system:x:1000:1000::/:/system/bin/sh\n"
                           "radio:x:1001:1001::/:/system/bin/sh\n";
constexpr char k_groups[] = "root:x:0:\nsystem:x:1000:\nradio:x:1001:\n";

// Where mounts will be, too, so not through the handset's own paths.
static void make_folders(const fs::path &root)
{
    for (const auto &folder : k_folders) {
        fs::create_directories(root / &folder.path[1]);
        fs::permissions(root / &folder.path[1], static_cast<fs::perms>(folder.mode));
    }
}

static void make_link(const fs::path &path, const fs::path &target)
{
    if (!fs::exists(fs::symlink_status(path))) {
        fs::create_symlink(target, path);
    }
}

// What the dynamic loader needs is where it is on this machine; commands run by the C library's system() go to the
// handset's own shell, in /system/bin.
static void link_system_folders(const fs::path &root)
{
    for (const char *folder : {"lib", "lib32", "lib64", "libx32"}) {
        const fs::path on_this_machine = fs::path("/") / folder;
        if (fs::is_symlink(on_this_machine)) {
            make_link(root / folder, fs::read_symlink(on_this_machine));
        }
    }
    make_link(root / "bin", "system/bin");
    for (const char *tool : k_tools) {
        make_link(root / "system/bin" / tool, fs::path("/usr/bin") / tool);
    }
}

static void make_etc(const files &where)
{
    where.write("/etc/passwd", k_users);
    where.write("/etc/group", k_groups);
    if (fs::exists("/etc/localtime")) {
        where.install("/etc/localtime", "/etc/localtime", 0644); // log times then agree with the caller's
    }
}

static void write_once(const files &where, const char *path, const char *content)
{
    if (!where.exists(path)) { // else of an earlier handset in the same folder: its state
        where.write(path, content);
    }
}

static void install_program(const files &where, const fs::path &program, const char *path)
{
    if (!program.empty()) {
        where.install(program, path);
    }
}

static void install_libraries(const files &where, const fs::path &folder)
{
    for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename();
        if (entry.path().extension() != ".so" || name == fs::path(k_preload_inside).filename()) {
            continue;
        }
        const bool linked = name.compare(0, 3, "lib") == 0;
        where.install(entry.path(), (linked ? "/system/lib64/" : "/system/lib64/hw/") + name, 0644);
    }
}

static fs::path beside_program(const char *path)
{
    return fs::read_symlink("/proc/self/exe").parent_path().parent_path() / path;
}

handset::handset(handset_options options)
    : files(options.root)
    , m_options(std::move(options))
{
    make_folders(files.root());
    link_system_folders(files.root());
    make_etc(files);
    write_once(files, k_calls, "");
    for (const auto &file : k_kernel_files) {
        write_once(files, file.path, file.content);
    }
    files.write(k_sync_path, k_sync, 0755);
    install_program(files, m_options.service, k_service_path);
    install_program(files, m_options.player, k_player_path);
    if (!m_options.library_folder.empty()) {
        install_libraries(files, m_options.library_folder);
    }
    if (m_options.init.empty()) {
        m_options.init = beside_program("bin/handset-init");
    }
    if (m_options.preload.empty()) {
        m_options.preload = beside_program("lib/libhandset-preload.so");
    }
}

handset::~handset()
{
    power_off();
    if (m_options.root.empty() && !m_options.keep_root) {
        std::error_code ignored; // what cannot be removed stays in the folder for temporary files
        fs::remove_all(files.root(), ignored);
    }
}

void handset::boot()
{
    if (m_link != nullptr) {
        throw std::runtime_error("the handset is on already");
    }
    auto fresh = std::make_unique<sandbox>(
        sandbox_paths{files.root(), m_options.init, m_options.preload, m_options.runner, m_options.runner_preload});
    m_link = std::make_shared<init_link>(fresh->take_line());
    m_sandbox = std::move(fresh);
    files.set_live_root(fs::path("/proc") / std::to_string(m_sandbox->init_pid()) / "root");
}

void handset::power_off()
{
    if (m_link == nullptr) {
        return;
    }
    m_link->close();
    files.set_live_root({});
    m_sandbox.reset();
    m_link.reset();
    // Memory, on a handset: a pid file must not live on to name another process of the next boot.
    std::error_code ignored;
    for (const fs::directory_entry &entry : fs::directory_iterator(files.root() / "tmp", ignored)) {
        fs::remove_all(entry, ignored);
    }
}

bool handset::is_on() const
{
    return m_link != nullptr && m_link->is_up();
}

pid_t handset::init_pid() const
{
    return m_sandbox != nullptr ? m_sandbox->init_pid() : 0;
}

init_link &handset::link() const
{
    if (m_link == nullptr) {
        throw std::runtime_error("the handset is off, boot() it first");
    }
    return *m_link;
}

program service(std::vector<std::string> arguments)
{
    program what;
    what.path = k_service_path;
    what.arguments = std::move(arguments);
    return what;
}

// Sets KEY=VALUE in an environment, in place of an earlier value.
static void set_variable(std::vector<std::string> &environment, const std::string &setting)
{
    const std::string key = setting.substr(0, setting.find('=') + 1);
    const auto has_key = [&](const std::string &other) { return other.compare(0, key.size(), key) == 0; };
    environment.erase(std::remove_if(environment.begin(), environment.end(), has_key), environment.end());
    environment.push_back(setting);
}

// The time zone and the sanitizers' options are the caller's; the address sanitizer must put up with another library
// before its own.
static void add_callers_variables(std::vector<std::string> &environment)
{
    constexpr const char *keys[] = {"TZ", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"};
    for (const std::string key : keys) {
        const char *given = getenv(key.c_str()); // NOLINT(concurrency-mt-unsafe): nothing here sets variables
        if (given != nullptr) {
            environment.push_back(std::string(key).append("=").append(given));
        }
    }
    const char *given = getenv("ASAN_OPTIONS"); // NOLINT(concurrency-mt-unsafe): as above
    const std::string before = given != nullptr ? std::string(given) + ":" : "";
    environment.push_back("ASAN_OPTIONS=" + before + "verify_asan_link_order=0");
}

process handset::start(const program &what)
{
    std::vector<std::string> environment = {"PATH=/sbin:/vendor/bin:/system/sbin:/system/bin:/system/xbin",
                                            "LD_LIBRARY_PATH=/system/lib64", "ANDROID_ROOT=/system",
                                            "ANDROID_DATA=/data"};
    add_callers_variables(environment);
    if (what.with_devices) {
        environment.push_back(std::string("LD_PRELOAD=") + k_preload_inside);
    }
    for (const std::string &setting : what.environment) {
        set_variable(environment, setting);
    }
    return link().start(what, environment);
}

tty handset::open_tty(const std::string &path, tty_mode mode)
{
    init_link::answer made =
        link().request("cannot make the tty " + path, "open-tty", {path, mode == tty_mode::raw ? "raw" : "as-created"});
    return tty(std::move(made.descriptors.at(0)));
}

descriptor handset::open(const std::string &path, int flags)
{
    init_link::answer opened =
        link().request("cannot open " + path + " in the handset", "open", {path, std::to_string(flags)});
    return std::move(opened.descriptors.at(0));
}

void handset::remove_device(const std::string &path)
{
    (void)link().request("cannot remove " + path, "remove", {path});
}

void handset::uevent(const std::vector<std::string> &texts)
{
    (void)link().request("cannot send a device event", "uevent", texts);
}

bool handset::uevents_heard() const
{
    (void)link();
    std::ifstream table("/proc/" + std::to_string(init_pid()) + "/net/netlink");
    std::string line;
    while (std::getline(table, line)) {
        std::istringstream columns(line);
        std::string address;
        int protocol = 0;
        std::string pid;
        std::string groups;
        if (columns >> address >> protocol >> pid >> groups && protocol == 15 &&
            groups.find_first_not_of('0') != std::string::npos) {
            return true;
        }
    }
    return false;
}

void handset::insert_card(const std::string &folder, std::size_t size_kib)
{
    (void)link().request("cannot insert a card at " + folder, "mount", {folder, std::to_string(size_kib)});
    files.add_mount(folder);
}

void handset::remove_card(const std::string &folder)
{
    (void)link().request("cannot remove the card at " + folder, "unmount", {folder});
    files.remove_mount(folder);
}

void handset::set_property(const std::string &key, const std::string &value)
{
    files.write(k_properties + key, value);
}

std::string handset::property(const std::string &key) const
{
    return files.read_or(k_properties + key, "");
}

void handset::control(const std::string &entry, const std::vector<std::string> &settings)
{
    std::string content;
    for (const std::string &setting : settings) {
        content.append(setting).append("\n");
    }
    if (settings.empty()) {
        files.remove(k_controls + entry);
    } else {
        files.write(k_controls + entry, content);
    }
}

std::vector<std::string> handset::calls() const
{
    std::istringstream content(files.read(k_calls));
    std::vector<std::string> lines;
    for (std::string line; std::getline(content, line);) {
        lines.push_back(line);
    }
    return lines;
}

void handset::clear_calls()
{
    // In place: a program may have the file open for appending at this moment.
    fs::resize_file(files.host_path(k_calls), 0);
}

emulator::screen handset::screen() const
{
    return read_screen(files);
}

void handset::save_screen(const fs::path &png) const
{
    write_png(screen(), png);
}

std::vector<log_record> handset::log_records(const std::string &path) const
{
    return parse_log(files.read_or(path, ""));
}

log_record handset::wait_log(const std::string &text, deadline limit, const std::string &path) const
{
    std::vector<log_record> records;
    const log_record *found = nullptr;
    const auto is_there = [&] {
        records = log_records(path);
        found = find_record(records, text);
        return found != nullptr;
    };
    try {
        wait_until("\"" + text + "\" in " + path, is_there, limit);
    } catch (const std::runtime_error &error) {
        std::ostringstream newest;
        newest << error.what() << "; newest records:";
        for (std::size_t at = records.size() - std::min<std::size_t>(records.size(), 10); at < records.size(); ++at) {
            newest << "\n  " << records[at];
        }
        throw std::runtime_error(newest.str());
    }
    return *found;
}

} // namespace emulator
