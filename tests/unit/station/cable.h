// A cable of which a test holds both ends: what a station has as its tty, and the handset's. Over packets, one read
// brings what one write has sent; over a tty, whatever is there.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "emulator/descriptor.h"

namespace station_test {

struct cable {
    emulator::descriptor station;
    emulator::descriptor handset;

    void handset_writes(const std::string &bytes) const
    {
        ASSERT_EQ(write(handset.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    std::string handset_reads() const
    {
        char bytes[8192];
        const ssize_t count = read(handset.get(), bytes, sizeof(bytes));
        return count < 0 ? "read: " + std::generic_category().message(errno) : std::string(bytes, count);
    }
};

// A pseudo-terminal in raw mode.
inline cable make_tty(int flags = 0)
{
    cable made;
    made.handset.reset(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    char name[64] = "";
    if (grantpt(made.handset.get()) == 0 && unlockpt(made.handset.get()) == 0 &&
        ptsname_r(made.handset.get(), name, sizeof(name)) == 0) {
        made.station.reset(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC | flags));
    }
    termios attributes = {};
    if (tcgetattr(made.station.get(), &attributes) == 0) {
        cfmakeraw(&attributes);
    }
    if (tcsetattr(made.station.get(), TCSANOW, &attributes) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pseudo-terminal");
    }
    return made;
}

// A socket pair that keeps the writes apart.
inline cable make_packets()
{
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a socket pair");
    }
    return {emulator::descriptor(ends[0]), emulator::descriptor(ends[1])};
}

// Plays the handset over packets, on a thread of its own: to each request that comes it writes the next answer, in so
// many pieces. Ends with the last one, or when the object goes.
class answering_handset {
  public:
    using pieces = std::vector<std::string>;

    answering_handset(const cable &packets, std::vector<pieces> answers)
        : m_packets(packets)
        , m_thread([this, answers = std::move(answers)] { play(answers); })
    {
    }
    ~answering_handset() { (void)requests(); }
    answering_handset(const answering_handset &) = delete;
    answering_handset &operator=(const answering_handset &) = delete;

    // Ends it: no more requests come.
    const std::vector<std::string> &requests()
    {
        if (m_thread.joinable()) {
            (void)shutdown(m_packets.station.get(), SHUT_WR);
            m_thread.join();
        }
        return m_requests;
    }

  private:
    void play(const std::vector<pieces> &answers)
    {
        for (const pieces &answer : answers) {
            const std::string request = m_packets.handset_reads();
            if (request.empty()) {
                return;
            }
            m_requests.push_back(request);
            for (const std::string &piece : answer) {
                m_packets.handset_writes(piece);
            }
        }
        const std::string unexpected = m_packets.handset_reads();
        if (!unexpected.empty()) {
            m_requests.push_back(unexpected);
        }
    }

    const cable &m_packets;
    std::vector<std::string> m_requests;
    std::thread m_thread;
};

// Something to read from the time at which an interrupt has come.
class interrupt {
  public:
    interrupt()
    {
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
        }
        m_read.reset(ends[0]);
        m_write.reset(ends[1]);
    }

    int fd() const { return m_read.get(); }
    void come() const { EXPECT_EQ(write(m_write.get(), "!", 1), 1); }
    void take_back() const
    {
        char byte = 0;
        EXPECT_EQ(read(m_read.get(), &byte, 1), 1) << "somebody else has read it";
    }

  private:
    emulator::descriptor m_read;
    emulator::descriptor m_write;
};

} // namespace station_test
