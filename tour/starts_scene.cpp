// The starts that come to nothing: each is known by a line of its console and by its exit status.

#include "tour/scenes.h"

#include "station/text.h"

#include <signal.h>

#include <sstream>

namespace tour {

namespace {

struct short_start {
    const char *label;
    std::vector<std::string> arguments;
    const char *line; // on the console
    emulator::exit_status end;
    const char *check;
};

} // namespace

// The line in quotes if it is there, else all that is.
static std::string line_of(const std::string &console, const std::string &line)
{
    std::istringstream lines(console);
    for (std::string each; std::getline(lines, each);) {
        if (each == line) {
            return station::quoted(line);
        }
    }
    return station::quoted(console);
}

static std::string outcome(const std::string &line, const emulator::exit_status &end)
{
    return line + ", " + emulator::to_string(end);
}

static void play(stage &stage, emulator::handset &handset, const short_start &played)
{
    const emulator::process service = handset.start(emulator::service(played.arguments));
    const emulator::exit_status end = service.wait();
    const std::string came = outcome(line_of(service.out(), played.line), end);
    stage.say(played.label, came);
    stage.expect(played.check, outcome(station::quoted(played.line), played.end), came);
}

void play_other_starts(stage &stage, equipment &equipment)
{
    stage.open_scene("The other starts", "each by a line of its console and its end");
    play(stage, equipment.handset,
         {"-h",
          {"-h"},
          "Usage: /system/bin/kv-zep-amt [OPTION]",
          emulator::exited(0),
          "asked for help, it tells its usage"});

    const emulator::process first = equipment.start_service();
    play(stage, equipment.handset,
         {"started twice", {}, "kv-zep-amt already run.", emulator::exited(0), "a second one does not start"});
    const std::string end = emulator::to_string(end_by(SIGTERM, first));
    stage.expect("the first one is not disturbed by it, and SIGTERM ends it", "exited with 0", end);

    equipment.handset.files.remove(k_config_path);
    play(stage, equipment.handset,
         {"no configuration",
          {},
          "[kv-zep-amt]config over result=-118",
          emulator::exited(256 - 118),
          "a step of the start that fails gives its code as the exit status"});
}

} // namespace tour
