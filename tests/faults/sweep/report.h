// What is told of a sweep: a line for each case that went wrong, at once, and a table at the end. Any thread.
#pragma once

#include "tests/faults/sweep/cases.h"
#include "tests/faults/sweep/player.h"

#include <map>
#include <mutex>
#include <string>

namespace faults {

class report {
  public:
    void add_scenario(const std::string &name, std::size_t places, std::size_t calls);

    // `before`: what went wrong when it was played the first time; nothing when it was not played again.
    void add(const fault_case &what, const played &seen, const std::vector<std::string> &before);

    // Prints the table, and of a whole sweep what the verdicts allow in vain; false when a case went wrong or none was
    // played, or in a whole sweep a verdict was never asked for.
    bool finish(bool is_whole);

  private:
    struct row {
        std::size_t places = 0;
        std::size_t calls = 0;
        std::size_t cases = 0;
        std::size_t wrong = 0;
        std::size_t unsteady = 0; // wrong the first time, and right from then on
        std::size_t unreached = 0;
        std::map<std::string, std::size_t> outcomes;
    };

    // What of a verdict was seen.
    struct use {
        std::size_t cases = 0;
        unsigned outcomes = 0;
        unsigned after = 0;
    };

    bool tell_uses() const;

    std::mutex m_mutex; // guards everything below
    std::map<std::string, row> m_rows;
    std::vector<use> m_uses = std::vector<use>(verdicts().size());
};

} // namespace faults
