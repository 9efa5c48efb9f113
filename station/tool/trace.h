// What passes on the ports, written down as it passes: a line each, with time, port, direction, bytes and meaning. Any
// thread: the lines of several ports are never mixed.
#pragma once

#include "station/dialogue.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

namespace station_tool {

class trace {
  public:
    // Into a file, which is made anew, or to standard error for "-". Throws tool::failure when it cannot be made.
    explicit trace(const std::string &path);

    // 03:14:15.926 handset:default <- AA BB CC DD ... | pre-response
    void write(const std::string &port, const station::passing &what);

  private:
    std::mutex m_mutex; // guards the file
    std::unique_ptr<std::FILE, int (*)(std::FILE *)> m_file;
};

} // namespace station_tool
