// A modem for its tests, and the service's end of its tty: over a pseudo-terminal as in the handset, and over a socket
// pair where it matters which bytes came in one write.

#pragma once

#include "emulator/modem.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <termios.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace emulator_test {

inline const std::string k_ok = "\r\nOK\r\n";
inline const std::string k_error = "\r\nERROR\r\n";
inline const std::string k_csq = "\r\n+CSQ: 23,99\r\n\r\nOK\r\n";
inline const std::string k_serial = "\r\n^DMSN: EMU0000001\r\n\r\nOK\r\n";
inline const std::string k_new_serial = "\r\n^DMSN: NEW1\r\n\r\nOK\r\n";

inline std::system_error failed(const char *what)
{
    return {errno, std::generic_category(), what};
}

// The master of a raw pseudo-terminal, and the path of its slave, which has been open before.
struct terminal {
    emulator::tty far_end;
    std::string path;
};

inline terminal make_terminal()
{
    emulator::descriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    char path[64];
    termios attributes = {};
    if (grantpt(master.get()) != 0 || unlockpt(master.get()) != 0 || ptsname_r(master.get(), path, sizeof(path)) != 0 ||
        tcgetattr(master.get(), &attributes) != 0) {
        throw failed("cannot make a pseudo-terminal");
    }
    cfmakeraw(&attributes);
    if (tcsetattr(master.get(), TCSANOW, &attributes) != 0) {
        throw failed("cannot set a pseudo-terminal to raw mode");
    }
    const emulator::descriptor opened_once(open(path, O_RDWR | O_NOCTTY | O_CLOEXEC));
    return {emulator::tty(std::move(master)), path};
}

// The device as the service has it open. The far end's class serves here too: it reads and writes any descriptor.
inline emulator::tty open_device(const std::string &path)
{
    return emulator::tty(emulator::descriptor(open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC)));
}

// A modem behind a terminal that the service has open.
struct terminal_modem {
    explicit terminal_modem(std::string_view rules = emulator::k_modem_rules)
        : terminal_modem(make_terminal(), rules)
    {
    }
    terminal_modem(terminal made, std::string_view rules)
        : service(open_device(made.path))
        , model(std::move(made.far_end), rules)
    {
    }

    emulator::tty service;
    emulator::modem model;
};

// A modem behind a socket pair: one read brings exactly what one write has sent.
struct packet_modem {
    packet_modem()
        : packet_modem(make_ends())
    {
    }

    emulator::tty service;
    emulator::modem model;

  private:
    using ends = std::pair<emulator::tty, emulator::tty>;
    explicit packet_modem(ends both)
        : service(std::move(both.first))
        , model(std::move(both.second))
    {
    }
    static ends make_ends()
    {
        int sockets[2] = {-1, -1};
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets) != 0) {
            throw failed("cannot make a socket pair");
        }
        return {emulator::tty(emulator::descriptor(sockets[0])), emulator::tty(emulator::descriptor(sockets[1]))};
    }
};

} // namespace emulator_test
