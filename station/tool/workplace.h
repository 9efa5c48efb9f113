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
    // Opens the ports that the settings name, waiting for them when these say so; of one that cannot be opened that is
    // what comes of every question. Throws station::no_port, tool::failure and std::invalid_argument when it is not
    // even known which they are.
    explicit workplace(const settings &given);

    // The first that cannot be asked, or null.
    const report *fault() const;

    // Has every handset asked, and prints what came of it. The status is that of the worst.
    tool::exit_code ask(const verb &what, const settings &given);

  private:
    struct seat {
        place where;
        std::unique_ptr<station::port> port;
        std::unique_ptr<station::dialogue> handset; // null: it cannot be asked
        report fault;                               // why not
    };

    static seat open(const place &where, bool wait);
    static report ask(const seat &of, const verb &what, const settings &given);
    void confirm(const char *question) const;
    void watch(const settings &given);
    void trace_to(const std::string &path);

    std::vector<seat> m_seats;
    std::unique_ptr<trace> m_trace;
    std::string m_trace_path;
};

// Runs the verb of the settings, and prints what comes of it; what goes wrong is a result as well.
tool::exit_code run_verb(const settings &given);

} // namespace station_tool
