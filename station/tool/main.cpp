// amt-station: a station's side of the link to handsets, for people and scripts.

#include "station/port.h"
#include "station/tool/command_line.h"
#include "station/tool/completion.h"
#include "station/tool/shell.h"
#include "station/tool/workplace.h"
#include "tool/failure.h"
#include "tool/program.h"

#include <iostream>

namespace {

using station_tool::settings;
using tool::exit_code;

// For the user's own shell: amt-station --complete WORD...
exit_code complete(const std::vector<std::string> &words)
{
    for (const std::string &each : station_tool::completions(words)) {
        std::cout << each << '\n';
    }
    return exit_code::done;
}

exit_code run_verb(const settings &given)
{
    const station_tool::verb *what = station_tool::find_verb(given.verb);
    if (what != nullptr && what->ask == nullptr) {
        return station_tool::tell(*what, given);
    }
    try {
        if (what == nullptr) {
            return station_tool::run_shell(given);
        }
        return station_tool::workplace(given).ask(*what, given);
    } catch (const station::no_port &error) {
        throw tool::failure(exit_code::no_device, error.what());
    }
}

exit_code body(const std::vector<std::string> &words)
{
    if (!words.empty() && words[0] == "--complete") {
        return complete({words.begin() + 1, words.end()});
    }
    const std::optional<settings> given = station_tool::read_command_line(words);
    if (!given) {
        return exit_code::done;
    }
    tool::hold_interrupts();
    return run_verb(*given);
}

} // namespace

int main(int count, char **words)
{
    return tool::run("amt-station", [&] { return body({words + 1, words + count}); });
}
