// Reading and running lines, see shell.h.

#include "station/tool/shell.h"

#include "station/tool/command_line.h"
#include "station/tool/completion.h"
#include "station/tool/workplace.h"
#include "tool/failure.h"
#include "tool/line_editor.h"
#include "tool/program.h"

#include <unistd.h>

#include <iostream>
#include <stdexcept>

namespace station_tool {

using tool::exit_code;

// A line that begins with AT needs no verb: the shell is where people type them.
static std::vector<std::string> words_of(const std::string &line)
{
    const std::size_t begin = line.find_first_not_of(" \t");
    if (begin != std::string::npos && (line.compare(begin, 2, "AT") == 0 || line.compare(begin, 2, "at") == 0) &&
        line.compare(begin, 3, "at ") != 0) {
        return {"at", line.substr(begin)};
    }
    return tool::split_words(line);
}

static exit_code run_line(workplace &handsets, const std::string &line, const settings &given)
{
    std::vector<std::string> words = words_of(line);
    if (words.empty() || words[0][0] == '#') {
        return exit_code::done;
    }
    if (words[0] == "help") {
        words[0] = "--help";
    }
    const std::optional<settings> next = read_shell_line(words, given);
    if (!next) {
        return exit_code::done;
    }
    if (next->ports != given.ports || next->verb == "shell") {
        throw std::invalid_argument("the shell keeps its ports: leave it to use others");
    }
    const verb &what = *find_verb(next->verb);
    return what.ask != nullptr ? handsets.ask(what, *next) : run_verb(*next);
}

// What went wrong, told in its line.
static exit_code run_or_tell(workplace &handsets, const std::string &line, const settings &given)
{
    const auto body = [&] { return run_line(handsets, line, given); };
    return static_cast<exit_code>(tool::run("amt-station", body));
}

exit_code run_shell(workplace &handsets, const settings &given)
{
    const bool is_script = isatty(STDIN_FILENO) == 0;
    tool::line_editor editor("amt> ", completions, tool::history_file("amt-station"));
    while (const std::optional<std::string> line = editor.read()) {
        if (*line == "exit" || *line == "quit") {
            break;
        }
        const exit_code code = run_or_tell(handsets, *line, given);
        if (is_script && code != exit_code::done) {
            return code;
        }
        tool::forget_interrupt();
        if (tool::interrupted()) { // asked to end
            return exit_code::interrupted;
        }
    }
    return tool::interrupted() ? exit_code::interrupted : exit_code::done;
}

} // namespace station_tool
