// A tty of this machine at which a handset is: opened for one user, in raw mode, and left as it was found. One thread.
#pragma once

#include <termios.h>

#include <stdexcept>
#include <string>

namespace station {

// There is no such tty, it is not permitted, or somebody else has it; the text says which, and who.
class no_port : public std::runtime_error {
  public:
    no_port(const std::string &line, bool missing)
        : std::runtime_error(line)
        , m_missing(missing)
    {
    }

    // Whether it may come yet: nothing is there now.
    bool is_missing() const { return m_missing; }

  private:
    bool m_missing;
};

class port {
  public:
    // Opens and locks it, and forgets what came before. Throws no_port, which calls it by the name.
    port(const std::string &path, const std::string &name);
    explicit port(const std::string &path)
        : port(path, path)
    {
    }

    // Unlocked, and with the settings it had before.
    ~port();
    port(const port &) = delete;
    port &operator=(const port &) = delete;

    int fd() const { return m_tty; }

  private:
    int m_tty = -1;
    termios m_before = {};
};

} // namespace station
