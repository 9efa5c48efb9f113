// Plays scenarios on one bench, without faults to learn their calls, and with one.
#pragma once

#include "tests/faults/sweep/bench.h"
#include "tests/faults/sweep/cases.h"
#include "tests/faults/sweep/verdict.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace faults {

// What was seen of a case.
struct played {
    outcome seen = outcome::answered;
    bool was_reached = false;          // the call was made, so it failed
    std::size_t row = k_no_row;        // of the verdict
    unsigned used_after = 0;           // which of the allowed aftermaths were seen, a set
    std::vector<std::string> mistakes; // none: all is as it should be
};

class player {
  public:
    // Multiplies every wait from now on, for a machine that is busy.
    void set_slack(unsigned slack) { m_slack = slack; }

    // Plays it without a fault and returns its places. Throws std::runtime_error when even that goes wrong.
    std::vector<place> record(const scenario &what);

    played play(const fault_case &what);

  private:
    outcome run(const scenario &what, patience limit);
    outcome run_start(const scenario &what, patience limit);
    outcome run_ending(patience limit);
    void make_ready(const scenario &what);
    void judge_end(const fault_case &what, const allowance &may, played &result);
    void judge_files(const scenario &what, const allowance &may, const char *when, played &result);
    void judge_running(const fault_case &what, const allowance &may, played &result);
    void judge_descriptors(const scenario &of, const char *when, played &result);
    bool is_well_again(const allowance &may, played &result);
    bool end_by_signal(played &result);
    void start_afresh(arrangement how, played &result);
    patience wait_for(std::chrono::milliseconds time) const { return {time * m_slack}; }

    bench m_bench;
    unsigned m_slack = 1;
    std::map<std::string, std::size_t> m_descriptors; // open at rest behind a start without faults
    std::size_t m_open_before = 0;
};

} // namespace faults
