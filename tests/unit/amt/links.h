// The two links on which the service's answers leave, and bytes as the tests of answers write them. Only inside
// in_child: the context is the process's.
#pragma once

#include <string>
#include <vector>

#include "amt/wire/amt-message.h"
#include "tests/support/hex_bytes.h"
#include "tests/unit/amt/clear_buffer.h"

// A cleared context whose two links are sockets that keep the writes apart.
class links {
  public:
    links();
    ~links();
    links(const links &) = delete;
    links &operator=(const links &) = delete;

    // What has arrived since it was last asked: one text of hex digits for each write.
    [[nodiscard]] std::vector<std::string> at_station() const { return arrived(m_station); }
    [[nodiscard]] std::vector<std::string> at_application() const { return arrived(m_application); }

  private:
    static std::vector<std::string> arrived(int fd);

    int m_station = -1; // the far ends
    int m_application = -1;
};

// The bytes of a text as hex digits.
std::string hex_of(const std::string &text);

// A message given in hex, as the data bytes of a buffer of its own length.
amt_buffer buffer_with(const std::string &hex);

// The station's envelope around a message, both in hex.
std::string enveloped(const std::string &message_hex);
