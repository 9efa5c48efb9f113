// What ends a verb of a tool: one line that says what, where and what to do, and the status to end with. Any thread.
#pragma once

#include "tool/exit_code.h"

#include <stdexcept>
#include <string>

namespace tool {

class failure : public std::runtime_error {
  public:
    failure(exit_code code, const std::string &line)
        : std::runtime_error(line)
        , m_code(code)
    {
    }

    exit_code code() const { return m_code; }

  private:
    exit_code m_code;
};

} // namespace tool
