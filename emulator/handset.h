// An emulated handset on a workstation: a root folder, a sandbox made of it in which the unmodified service runs, and
// the far ends of its devices. Everything inside is the real kernel's, except the devices answered by a preloaded
// library. Nothing inside can touch this machine, and nothing inside outlives the object or the program that holds it.
//
// Needs bubblewrap and user namespaces; works for root and for an ordinary user alike. Failures throw
// std::runtime_error with one line. The object may be used from several threads, but is booted and powered off by one.
//
//     emulator::handset_options options;
//     options.service = "build/debug/bin/kv-zep-amt";
//     options.library_folder = "build/debug/lib";
//     emulator::handset handset(options);
//     handset.files.write("/system/etc/kv-zep-amt.cfg", config);
//     handset.boot();
//     emulator::tty station = handset.open_tty("/dev/ttyGS0");
//     emulator::process service = handset.start(emulator::service());
//     station.wait_opened();

#pragma once

#include "emulator/deadline.h"
#include "emulator/descriptor.h"
#include "emulator/files.h"
#include "emulator/log_records.h"
#include "emulator/process.h"
#include "emulator/screen.h"
#include "emulator/tty.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace emulator {

class init_link;
class sandbox;

constexpr char k_service_path[] = "/system/bin/kv-zep-amt";
constexpr char k_player_path[] = "/system/bin/amt-audio";
constexpr char k_service_log[] = "/data/local/log/kv-zep-amt-log/kv-zep-amt.log";

// Paths are this machine's.
struct handset_options {
    std::filesystem::path root;           // empty: a temporary folder; else it is kept, and state survives in it
    bool keep_root = false;               // leave a temporary folder behind as well, for looking into
    std::filesystem::path service;        // installed as /system/bin/kv-zep-amt; empty: none
    std::filesystem::path player;         // installed as /system/bin/amt-audio; empty: none
    std::filesystem::path library_folder; // its lib*.so go to /system/lib64, its other *.so to /system/lib64/hw
    std::filesystem::path init;           // handset-init; empty: bin/ beside the running program's folder
    std::filesystem::path preload;        // libhandset-preload.so; empty: lib/ beside the running program's folder
    // For a handset of another architecture than this machine's, where "/system/bin" and "/system/lib64" are its own:
    std::filesystem::path runner;         // runs its programs: qemu-user, a static one; empty: none
    std::filesystem::path runner_preload; // what `preload` is, for them
};

// The service as the handset's start-up starts it, from /system/bin.
program service(std::vector<std::string> arguments = {});

class handset {
  public:
    // Makes the root folder and what is in it; files can be written before boot().
    explicit handset(handset_options options = {});

    // Powers off and removes the root folder, if it is a temporary one that need not be kept.
    ~handset();
    handset(const handset &) = delete;
    handset &operator=(const handset &) = delete;

    // Sets the sandbox up; returns when process 1 inside is ready.
    void boot();

    // Ends everything inside; returns when it has ended. Files stay, except those in /tmp, and the handset can be
    // booted again.
    void power_off();

    bool is_on() const;

    // Process id of process 1 on this machine, for looking from outside; 0 while off.
    pid_t init_pid() const;

    // Starts a program; throws when it cannot be executed. The handset must be on for this and everything below.
    process start(const program &what);

    // Makes a serial device at a path under /dev and returns its far end. Called again for the same path, the device
    // is a new one: what was there is hung up only when the earlier object goes.
    tty open_tty(const std::string &path, tty_mode mode = tty_mode::raw);

    // Opens a path inside, following links as a program inside would, and returns the descriptor: the application's
    // side of a pseudo-terminal that the service made, for example. `flags` as for open(2); O_NOCTTY and O_CLOEXEC are
    // added, and a tty never becomes anyone's controlling terminal.
    descriptor open(const std::string &path, int flags);

    // Takes the path of a device (or any file) away; its far end stays open.
    void remove_device(const std::string &path);

    // Has the kernel broadcast a device event inside: "ACTION@DEVPATH", then "KEY=VALUE" texts. The kernel adds one
    // more, SEQNUM.
    void uevent(const std::vector<std::string> &texts);

    // Whether a program inside listens for device events.
    bool uevents_heard() const;

    // A memory card of the given size, mounted at a folder, and its removal (also under programs that still use it).
    void insert_card(const std::string &folder, std::size_t size_kib = 65536);
    void remove_card(const std::string &folder);

    // System properties. An unset property reads as empty.
    void set_property(const std::string &key, const std::string &value);
    std::string property(const std::string &key) const;

    // Tells an emulated entry (a driver call or a platform library's function) how to answer from now on: KEY=VALUE
    // texts such as {"result=-1", "errno=19"}. An empty list restores the default. preload/devices.cpp lists the
    // driver calls.
    void control(const std::string &entry, const std::vector<std::string> &settings);

    // The recorded calls of emulated entries, one line each, oldest first.
    std::vector<std::string> calls() const;
    void clear_calls();

    // What the framebuffer shows, for a test to compare; and as a PNG file of this machine, for people to look at.
    emulator::screen screen() const;
    void save_screen(const std::filesystem::path &png) const;

    // The service's log records so far, oldest first; none when there is no log yet.
    std::vector<log_record> log_records(const std::string &path = k_service_log) const;

    // Blocks until a log record contains the text and returns the first that does. Throws std::runtime_error with the
    // newest records when the deadline passes.
    log_record wait_log(const std::string &text, deadline limit = k_default_wait,
                        const std::string &path = k_service_log) const;

    emulator::files files;

  private:
    init_link &link() const;

    handset_options m_options;
    std::unique_ptr<sandbox> m_sandbox;
    std::shared_ptr<init_link> m_link;
};

} // namespace emulator
