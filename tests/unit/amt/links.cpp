#include "tests/unit/amt/links.h"

#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "amt/core/context.h"
#include "amt/wire/amt-convert.h"

links::links()
{
    amt_context_clear();
    int station_a[2];
    int application_a[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, station_a), 0);
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, application_a), 0);
    handle_context_st.m_fd_pc = station_a[0];
    m_station = station_a[1];
    handle_context_st.m_pty.m_ptm_fd = application_a[0];
    m_application = application_a[1];
}

links::~links()
{
    (void)close(handle_context_st.m_fd_pc);
    (void)close(handle_context_st.m_pty.m_ptm_fd);
    (void)close(m_station);
    (void)close(m_application);
    amt_context_clear();
}

std::vector<std::string> links::arrived(int fd)
{
    std::vector<std::string> result;
    byte_vector packet(size_t{AMT_MESSAGE_SIZE} * 2);
    for (ssize_t count = 0; (count = recv(fd, packet.data(), packet.size(), MSG_DONTWAIT)) > 0;) {
        result.push_back(to_hex(byte_vector(packet.begin(), packet.begin() + count)));
    }
    return result;
}

std::string hex_of(const std::string &text)
{
    return to_hex(byte_vector(text.begin(), text.end()));
}

amt_buffer buffer_with(const std::string &hex)
{
    const byte_vector bytes = from_hex(hex);
    amt_buffer buffer = {};
    buffer.m_length = static_cast<uint32_t>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), buffer.m_data_a);
    return buffer;
}

std::string enveloped(const std::string &message_hex)
{
    amt_buffer buffer = buffer_with(message_hex);
    EXPECT_EQ(amt_convert_app_2_pc(&buffer), 0);
    return to_hex(byte_vector(buffer.m_data_a, buffer.m_data_a + buffer.m_length));
}
