// The handset's files, seen from outside. The handset's "/" is a folder of this machine, so files are read and written
// directly; what lives only inside (/dev, /proc, a memory card) is reached through process 1 while the handset is on.
// Paths are absolute paths inside the handset. Failures throw std::runtime_error naming the path. Any thread.

#pragma once

#include <sys/types.h>

#include <filesystem>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace emulator {

class files {
  public:
    // A fresh folder of its own under $TMPDIR (or /tmp) when `root` is empty, else that folder, made if need be.
    explicit files(const std::filesystem::path &root);

    const std::filesystem::path &root() const { return m_root; }

    // Where an inside path is on this machine. A symbolic link found there still holds an inside path: look at it with
    // read_link, do not follow it. /proc/mounts, /proc/net and /proc/self are those of process 1.
    std::filesystem::path host_path(const std::string &inside) const;

    // Whether the path itself is there (a link counts, wherever it points).
    bool exists(const std::string &inside) const;

    std::string read(const std::string &inside) const;

    // `otherwise` when there is no such file; there may be none at any moment where a service moves its files about.
    std::string read_or(const std::string &inside, const std::string &otherwise) const;

    std::string read_link(const std::string &inside) const;

    // Names in a folder, sorted.
    std::vector<std::string> list(const std::string &inside) const;

    // Permission bits (0 to 07777) of the path itself.
    mode_t mode(const std::string &inside) const;

    // Replaces the file as a whole, so that no reader sees half of it, and makes its folders. A link that was there is
    // replaced, never written through: the handset's tools are links to this machine's.
    void write(const std::string &inside, std::string_view content, mode_t mode = 0644) const;

    // Copies a file of this machine into the handset, replacing what was there.
    void install(const std::filesystem::path &host_file, const std::string &inside, mode_t mode = 0755) const;

    void make_folder(const std::string &inside, mode_t mode = 0755) const;

    // Removes a file, link or whole folder; nothing happens when there is none.
    void remove(const std::string &inside) const;

    // For the handset itself: where process 1 lets one see its "/" (empty while off), and which folders are mounts that
    // only it sees.
    void set_live_root(const std::filesystem::path &live_root);
    void add_mount(const std::string &inside);
    void remove_mount(const std::string &inside);

  private:
    bool only_inside(const std::string &inside) const;

    std::filesystem::path m_root;
    mutable std::mutex m_mutex; // guards the two below
    std::filesystem::path m_live_root;
    std::set<std::string> m_mounts;
};

} // namespace emulator
