// amt-station: a station's side of the link to handsets, for people and scripts.

#include "station/tool/command_line.h"
#include "station/tool/completion.h"
#include "station/tool/workplace.h"
#include "tool/program.h"

#include <iostream>

namespace {

using tool::exit_code;

// For the user's own shell: amt-station --complete WORD...
exit_code complete(const std::vector<std::string> &words)
{
    for (const std::string &each : station_tool::completions(words)) {
        std::cout << each << '\n';
    }
    return exit_code::done;
}

exit_code body(const std::vector<std::string> &words)
{
    if (!words.empty() && words[0] == "--complete") {
        return complete({words.begin() + 1, words.end()});
    }
    const std::optional<station_tool::settings> given = station_tool::read_command_line(words);
    if (!given) {
        return exit_code::done;
    }
    tool::hold_interrupts();
    return station_tool::run_verb(*given);
}

} // namespace

int main(int count, char **words)
{
    return tool::run("amt-station", [&] { return body({words + 1, words + count}); });
}
