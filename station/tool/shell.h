// The tool's shell: verbs line by line, over ports that stay open. Main thread.
#pragma once

#include "station/tool/workplace.h"

namespace station_tool {

// Reads verbs until the input or "exit" ends it. At a terminal a line that fails, or is interrupted, is told and the
// next one read; elsewhere, in a script, it ends the shell with its status.
tool::exit_code run_shell(workplace &handsets, const settings &given);

} // namespace station_tool
