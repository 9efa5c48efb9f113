// See the header. Standard error is caught with a socket that keeps the bounds of each write.
#include "tests/unit/platform/handset_root.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

void handset_root::SetUp()
{
    std::string name = (std::filesystem::temp_directory_path() / "platform-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    m_folder = name;
    std::filesystem::create_directories(host_path("/dev/__properties__"));
    std::filesystem::create_directories(host_path("/handset/control"));
    ASSERT_EQ(setenv("HANDSET_ROOT", m_folder.c_str(), 1), 0); // NOLINT(concurrency-mt-unsafe): no threads yet
}

void handset_root::TearDown()
{
    unsetenv("HANDSET_ROOT"); // NOLINT(concurrency-mt-unsafe): no threads any more
    std::filesystem::remove_all(m_folder);
}

void handset_root::write_file(const std::string &path, const std::string &content) const
{
    std::ofstream(host_path(path), std::ios::binary) << content;
}

std::string handset_root::read_file(const std::string &path) const
{
    std::ifstream file(host_path(path), std::ios::binary);
    if (!file) {
        return "(missing)";
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> handset_root::names_in(const std::string &folder) const
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(host_path(folder))) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

void handset_root::control(const std::string &entry, const std::string &lines) const
{
    write_file("/handset/control/" + entry, lines);
}

captured_stderr::captured_stderr()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::runtime_error("socketpair");
    }
    m_saved = dup(STDERR_FILENO);
    m_receiver = ends[0];
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
}

captured_stderr::~captured_stderr()
{
    dup2(m_saved, STDERR_FILENO);
    close(m_saved);
    close(m_receiver);
}

std::vector<std::string> captured_stderr::writes()
{
    std::vector<std::string> found;
    std::string packet(65536, '\0');
    ssize_t count = 0;
    while ((count = recv(m_receiver, packet.data(), packet.size(), MSG_DONTWAIT)) > 0) {
        found.push_back(packet.substr(0, static_cast<size_t>(count)));
    }
    return found;
}
