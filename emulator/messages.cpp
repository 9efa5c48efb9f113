// Sending and receiving the messages described in messages.h; used by the library and by process 1 of the sandbox.

#include "emulator/messages.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace emulator {

constexpr std::size_t k_descriptors_per_message = 4;

static std::string joined(const std::vector<std::string> &fields)
{
    std::string bytes;
    for (const std::string &field : fields) {
        bytes.append(field.c_str(), field.size() + 1);
    }
    return bytes;
}

static std::vector<std::string> split(const char *bytes, std::size_t count)
{
    std::vector<std::string> fields;
    for (std::size_t at = 0; at < count;) {
        const std::size_t length = strnlen(bytes + at, count - at);
        fields.emplace_back(bytes + at, length);
        at += length + 1;
    }
    return fields;
}

bool send_message(int socket, const std::vector<std::string> &fields, const std::vector<int> &descriptors)
{
    std::string bytes = joined(fields);
    if (bytes.size() > k_message_size || descriptors.size() > k_descriptors_per_message) {
        errno = EMSGSIZE;
        return false;
    }
    iovec part = {bytes.data(), bytes.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int) * k_descriptors_per_message)] = {};
    msghdr header = {};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    if (!descriptors.empty()) {
        const std::size_t size = sizeof(int) * descriptors.size();
        header.msg_control = control;
        header.msg_controllen = CMSG_SPACE(size);
        cmsghdr *rights = CMSG_FIRSTHDR(&header);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(size);
        memcpy(CMSG_DATA(rights), descriptors.data(), size);
    }
    return TEMP_FAILURE_RETRY(sendmsg(socket, &header, MSG_NOSIGNAL)) >= 0;
}

static void take_descriptors(const cmsghdr &rights, message &received)
{
    const std::size_t count = (rights.cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i) {
        int fd = -1;
        memcpy(&fd, CMSG_DATA(&rights) + i * sizeof(int), sizeof(int));
        received.descriptors.emplace_back(fd);
    }
}

static void take_ancillary(msghdr &header, message &received)
{
    for (cmsghdr *part = CMSG_FIRSTHDR(&header); part != nullptr; part = CMSG_NXTHDR(&header, part)) {
        if (part->cmsg_level != SOL_SOCKET) {
            continue;
        }
        if (part->cmsg_type == SCM_RIGHTS) {
            take_descriptors(*part, received);
        } else if (part->cmsg_type == SCM_CREDENTIALS) {
            ucred sender = {};
            memcpy(&sender, CMSG_DATA(part), sizeof(sender));
            received.sender = sender.pid;
        }
    }
}

bool receive_message(int socket, message &received)
{
    received = {};
    std::vector<char> bytes(k_message_size);
    iovec part = {bytes.data(), bytes.size()};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int) * k_descriptors_per_message) + CMSG_SPACE(sizeof(ucred))] = {};
    msghdr header = {};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof(control);
    const ssize_t count = TEMP_FAILURE_RETRY(recvmsg(socket, &header, MSG_CMSG_CLOEXEC));
    if (count <= 0) {
        return false;
    }
    take_ancillary(header, received);
    received.fields = split(bytes.data(), static_cast<std::size_t>(count));
    return !received.fields.empty();
}

int number_in(const std::string &field)
{
    return static_cast<int>(std::strtol(field.c_str(), nullptr, 10));
}

} // namespace emulator
