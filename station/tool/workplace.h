// The handsets that are asked, and asking them: side by side when there are several, one result each. Main thread.
#pragma once

#include "station/dialogue.h"
#include "station/port.h"
#include "station/tool/places.h"
#include "station/tool/report.h"
#include "station/tool/settings.h"
#include "station/tool/trace.h"
#include "station/tool/verbs.h"

#include <memory>
#include <vector>

namespace station_tool {

class workplace {
  public:
    // Opens the ports that the settings name, waiting for them when these say so. Throws station::no_port,
    // tool::failure and std::invalid_argument.
    explicit workplace(const settings &given);

    // Has every handset asked, and prints what came of it. The status is that of the worst.
    tool::exit_code ask(const verb &what, const settings &given);

  private:
    struct seat {
        place where;
        std::unique_ptr<station::port> port;
        std::unique_ptr<station::dialogue> handset;
    };

    void open(const place &where, bool wait);
    void confirm(const char *question) const;
    void watch(const settings &given);

    std::vector<seat> m_seats;
    std::unique_ptr<trace> m_trace;
};

// Prints a report as the settings want it. `port` is empty for what asked no handset, and printed with people's text
// only when there are several.
void print(const report &told, const settings &given, const std::string &port, bool several);

// Asks what asks no handset, and prints what came of it.
tool::exit_code tell(const verb &what, const settings &given);

} // namespace station_tool
