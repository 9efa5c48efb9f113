// The line to the keeper, see control.h. A socket's address is too short for some folders, so it is named through a
// descriptor of its folder.

#include "emulator/tool/control.h"

#include "tool/failure.h"
#include "tool/program.h"
#include "tool/runtime_folder.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cstring>
#include <system_error>

namespace handset_tool {

namespace fs = std::filesystem;
using emulator::descriptor;
using tool::exit_code;
using tool::failure;

constexpr std::size_t k_longest_line = 64 * std::size_t{1024} * 1024;
constexpr std::size_t k_most_descriptors = 4;
constexpr int k_look_ms = 50; // for an interrupt that comes just before waiting

std::string to_digits(std::string_view bytes)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char byte : bytes) {
        text += digits[static_cast<unsigned char>(byte) >> 4U];
        text += digits[static_cast<unsigned char>(byte) & 15U];
    }
    return text;
}

static unsigned digit_value(char digit)
{
    return static_cast<unsigned>(digit <= '9' ? digit - '0' : digit - 'a' + 10) & 15U;
}

std::string from_digits(std::string_view digits)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes += static_cast<char>(digit_value(digits[i]) << 4U | digit_value(digits[i + 1]));
    }
    return bytes;
}

[[noreturn]] static void fail(const std::string &what)
{
    throw failure(exit_code::no_device, what + ": " + std::generic_category().message(errno));
}

static sockaddr_un address_in(const descriptor &folder)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string path = "/proc/self/fd/" + std::to_string(folder.get()) + "/control";
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    return address;
}

static descriptor open_folder(const fs::path &folder)
{
    return descriptor(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

descriptor listen_at(const fs::path &folder)
{
    const descriptor opened = open_folder(folder);
    descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const sockaddr_un address = address_in(opened);
    (void)unlink((folder / "control").c_str());
    if (!opened || !listener || bind(listener.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) ||
        chmod((folder / "control").c_str(), S_IRUSR | S_IWUSR) != 0 || listen(listener.get(), SOMAXCONN) != 0) {
        fail("cannot make the socket " + (folder / "control").string());
    }
    return listener;
}

descriptor connect_to(const fs::path &folder)
{
    const descriptor opened = open_folder(folder);
    descriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = address_in(opened);
    if (!opened || !connection ||
        connect(connection.get(), reinterpret_cast<const sockaddr *>(&address), sizeof(address)) != 0) {
        return {};
    }
    return connection;
}

bool is_up(const std::string &name)
{
    return static_cast<bool>(connect_to(tool::handset_folder(name)));
}

descriptor accept_from(int listener)
{
    descriptor connection(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    ucred peer = {};
    socklen_t size = sizeof(peer);
    if (!connection || getsockopt(connection.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 ||
        peer.uid != getuid()) {
        return {};
    }
    const timeval longest = {10, 0}; // a peer that takes nothing is left
    (void)setsockopt(connection.get(), SOL_SOCKET, SO_SNDTIMEO, &longest, sizeof(longest));
    return connection;
}

// The first part of a line, with the descriptors beside it; as send(2).
static ssize_t send_first(int socket, std::string_view bytes, const std::vector<int> &descriptors)
{
    iovec part = {const_cast<char *>(bytes.data()), bytes.size()}; // iovec's type; nothing writes to it
    alignas(cmsghdr) char beside[CMSG_SPACE(sizeof(int) * k_most_descriptors)] = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (!descriptors.empty()) {
        const std::size_t size = sizeof(int) * std::min(descriptors.size(), k_most_descriptors);
        message.msg_control = beside;
        message.msg_controllen = CMSG_SPACE(size);
        cmsghdr *header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(size);
        std::memcpy(CMSG_DATA(header), descriptors.data(), size);
    }
    return TEMP_FAILURE_RETRY(sendmsg(socket, &message, MSG_NOSIGNAL));
}

bool send_line(int socket, const json &content, const std::vector<int> &descriptors)
{
    const std::string line = content.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
    std::string_view left = line;
    for (bool first = true; !left.empty(); first = false) {
        const ssize_t count = send_first(socket, left, first ? descriptors : std::vector<int>());
        if (count <= 0) {
            return false;
        }
        left.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

static void take_descriptors(msghdr &message, std::vector<descriptor> &taken)
{
    for (cmsghdr *header = CMSG_FIRSTHDR(&message); header != nullptr; header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS) {
            continue;
        }
        const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t i = 0; i < count; i++) {
            int fd = -1;
            std::memcpy(&fd, CMSG_DATA(header) + i * sizeof(int), sizeof(int));
            taken.emplace_back(fd);
        }
    }
}

// Adds what has come; false at the end.
static bool receive_more(int socket, std::string &line, std::vector<descriptor> &descriptors)
{
    char bytes[65536];
    iovec part = {bytes, sizeof(bytes)};
    alignas(cmsghdr) char beside[CMSG_SPACE(sizeof(int) * k_most_descriptors)];
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = beside;
    message.msg_controllen = sizeof(beside);
    const ssize_t count = recvmsg(socket, &message, MSG_CMSG_CLOEXEC | MSG_DONTWAIT);
    if (count > 0) {
        take_descriptors(message, descriptors);
        line.append(bytes, static_cast<std::size_t>(count));
    }
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

std::optional<received_line> receive_line(int socket, emulator::deadline limit)
{
    std::string line;
    received_line received;
    while (line.empty() || line.back() != '\n') {
        tool::check_interrupted();
        if (limit.passed()) {
            throw failure(exit_code::no_answer, "no answer in time");
        }
        pollfd end = {socket, POLLIN, 0};
        if (poll(&end, 1, std::min(limit.left_ms(), k_look_ms)) <= 0) {
            continue;
        }
        if (!receive_more(socket, line, received.descriptors) || line.size() > k_longest_line) {
            return std::nullopt;
        }
    }
    received.content = json::parse(line, nullptr, false);
    return received.content.is_object() ? std::optional(std::move(received)) : std::nullopt;
}

void check_answer(const json &answer)
{
    if (answer.contains("error")) {
        throw failure(static_cast<exit_code>(answer.value("code", 1)), answer.value("error", "it failed"));
    }
}

json failure_answer(const std::exception &error)
{
    exit_code code = exit_code::refused;
    if (const auto *known = dynamic_cast<const failure *>(&error)) {
        code = known->code();
    } else if (dynamic_cast<const std::invalid_argument *>(&error) != nullptr) {
        code = exit_code::usage;
    }
    return {{"error", error.what()}, {"code", static_cast<int>(code)}};
}

static std::string others_up()
{
    std::string names;
    for (const std::string &name : tool::handset_names()) {
        if (connect_to(tool::runtime_folder() / name)) { // whatever the folder's name is
            names += (names.empty() ? "" : ", ") + name;
        }
    }
    return names.empty() ? "" : " (up: " + names + ")";
}

descriptor require_handset(const std::string &name)
{
    descriptor connection = connect_to(tool::handset_folder(name));
    if (!connection) {
        throw failure(exit_code::no_device,
                      "no handset " + name + " is up: handset up --name " + name + " starts one" + others_up());
    }
    return connection;
}

json ask(const std::string &name, const json &request, emulator::deadline limit)
{
    const descriptor connection = require_handset(name);
    const bool sent = send_line(connection.get(), request);
    std::optional<received_line> answer = sent ? receive_line(connection.get(), limit) : std::nullopt;
    if (!answer) {
        throw failure(exit_code::no_device, "the handset " + name + " went down meanwhile");
    }
    check_answer(answer->content);
    return std::move(answer->content);
}

} // namespace handset_tool
