// The verbs and their options, see options.h. What a verb is asked is gathered in one object; the verb that was named
// leaves what is to be done.

#include "emulator/tool/options.h"

#include "emulator/tool/nearest.h"
#include "emulator/tool/verbs.h"
#include "tool/exit_code.h"
#include "tool/failure.h"
#include "tool/program.h"
#include "tool/runtime_folder.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <iostream>

namespace handset_tool {

using tool::exit_code;

constexpr char k_examples[] = R"(
Examples:
  handset up                              a handset that waits for a station
  amt-station -p handset:default info     and a station that asks it
  handset set card=65536 charger=ac       a memory card is in, a charger at the cable
  handset modem refuse '\r\n+CME ERROR: 10\r\n'
  handset link flip --to handset          the next byte of the station arrives wrong
  handset logs -f                         what the service does
  handset down

Every verb but list takes --name NAME, the handset, behind it or before; without it, it is the one named default.
The handsets that are up are in $XDG_RUNTIME_DIR/kv-zep-amt/NAME.
)";

namespace {

struct command_line {
    std::string name = tool::k_default_handset;
    bool as_json = false;
    up_options up;
    std::string mode;
    bool all = false;
    log_options logs;
    std::string text;
    double timeout_s = 30;
    std::vector<std::string> words;
    std::string file;
    modem_order modem;
    link_order link;
    std::string on_or_off;
    std::function<int()> chosen; // what is to be done
};

} // namespace

static int number(exit_code code)
{
    return static_cast<int>(code);
}

static void choose(CLI::App &verb, command_line &line, const std::function<int()> &act)
{
    verb.callback([&line, act] {
        if (!line.chosen) { // a verb below it comes first
            line.chosen = act;
        }
    });
}

static CLI::App &add_verb(CLI::App &to, command_line &line, const std::string &name, const std::string &meaning,
                          const std::function<int()> &act)
{
    CLI::App &verb = *to.add_subcommand(name, meaning);
    verb.add_option("--name", line.name, "The handset")->capture_default_str();
    choose(verb, line, act);
    return verb;
}

static void add_json(CLI::App &verb, command_line &line)
{
    verb.add_flag("--json", line.as_json, "For programs");
}

// --- families

static void add_life_verbs(CLI::App &app, command_line &line)
{
    CLI::App &start = add_verb(app, line, "up", "Starts a handset; prints the tty that a station opens", [&line] {
        line.up.name = line.name;
        if (!line.mode.empty()) {
            line.up.mode = line.mode;
        }
        return number(up(line.up));
    });
    start.add_option("--mode", line.mode,
                     "normal (an application is served), switched (a station; default), usb (a cable is inserted: a "
                     "station has 5 s to answer), simplified (a station; from another folder)");
    start.add_option("--root", line.up.root, "The folder of the handset's files; it is kept");
    start.add_flag("--unplugged", line.up.unplugged, "With --mode usb: the cable is not in, see usb plug");
    CLI::App &end = add_verb(app, line, "down", "Ends a handset and removes its files",
                             [&line] { return number(down(line.name, line.all)); });
    end.add_flag("--all", line.all, "All handsets")->excludes("--name");
    for (const auto &[verb, meaning] :
         {std::pair("start", "Starts the service, as the handset's start-up does"),
          std::pair("stop", "Ends the service, by SIGTERM"), std::pair("restart", "Ends the service and starts it")}) {
        (void)add_verb(app, line, verb, meaning,
                       [&line, act = std::string(verb)] { return number(service(line.name, act)); });
    }
    CLI::App &cable = *app.add_subcommand("usb", "The USB cable")->require_subcommand(1);
    (void)add_verb(cable, line, "plug", "Inserts it; the service is started if it does not run",
                   [&line] { return number(usb(line.name, true)); });
    (void)add_verb(cable, line, "unplug", "Pulls it; tells what becomes of the service",
                   [&line] { return number(usb(line.name, false)); });
}

static void add_show_verbs(CLI::App &app, command_line &line)
{
    CLI::App &all = *app.add_subcommand("list", "The handsets that are up");
    choose(all, line, [&line] { return number(list(line.as_json)); });
    add_json(all, line);
    add_json(
        add_verb(app, line, "status", "How a handset is", [&line] { return number(status(line.name, line.as_json)); }),
        line);
    CLI::App &log = add_verb(app, line, "logs", "The service's log, oldest first", [&line] {
        line.logs.name = line.name;
        line.logs.as_json = line.as_json;
        return number(logs(line.logs));
    });
    log.add_flag("-f,--follow", line.logs.follow, "And what is added, until the handset goes down");
    log.add_option("-n,--lines", line.logs.newest, "The newest N records only")->check(CLI::NonNegativeNumber);
    add_json(log, line);
    CLI::App &waiting = add_verb(app, line, "wait-log", "Waits until a record of the log holds a text; prints it",
                                 [&line] { return number(wait_log(line.name, line.text, line.timeout_s)); });
    waiting.add_option("TEXT", line.text, "What the record holds")->required();
    waiting.add_option("--timeout", line.timeout_s, "Seconds")->capture_default_str()->check(CLI::NonNegativeNumber);
}

static void add_key_verbs(CLI::App &app, command_line &line)
{
    add_json(add_verb(app, line, "keys", "What can be set of a handset, and how it is",
                      [&line] { return number(keys(line.name, line.as_json)); }),
             line);
    CLI::App &asked = add_verb(app, line, "get", "Prints the values of keys",
                               [&line] { return number(get(line.name, line.words, line.as_json)); });
    asked.add_option("KEY", line.words, "See keys; also property.NAME, file.PATH, driver.ENTRY")->required();
    add_json(asked, line);
    CLI::App &told = add_verb(app, line, "set", "Sets keys; none when one of them cannot be",
                              [&line] { return number(set(line.name, line.words)); });
    told.add_option("KEY=VALUE", line.words, "See keys; file.PATH=@FILE takes a file of this machine")->required();
    CLI::App &shot =
        add_verb(app, line, "screenshot", "Writes what the display shows as a PNG file; -: to standard output",
                 [&line] { return number(screenshot(line.name, line.file)); });
    shot.add_option("FILE", line.file, "The file to write, or -")->required();
}

// --- the modem and the link

static CLI::App &add_modem_act(CLI::App &to, command_line &line, const std::string &act, const std::string &meaning)
{
    CLI::App &verb = add_verb(to, line, act, meaning, [&line, act] {
        line.modem.name = line.name;
        line.modem.act = act;
        line.modem.as_json = line.as_json;
        if (!line.on_or_off.empty()) {
            line.modem.value = line.on_or_off == "on" ? 1 : 0;
        }
        return number(modem(line.modem));
    });
    verb.add_option("--port", line.modem.port, "data or at; both unless named (say: data)")
        ->check(CLI::IsMember({"data", "at"}));
    return verb;
}

static void add_number(CLI::App &verb, long &value, const std::string &label, const std::string &meaning, long highest)
{
    verb.add_option(label, value, meaning)->required()->check(CLI::Range(0L, highest));
}

static void add_modem_verbs(CLI::App &app, command_line &line)
{
    constexpr long k_longest = 3600000;
    CLI::App &family = *app.add_subcommand("modem", "The modem behind the handset: show, or an act");
    family.require_subcommand(0, 1);
    family.add_option("--name", line.name, "The handset")->capture_default_str();
    add_json(family, line);
    choose(family, line, [&line] {
        line.modem.name = line.name;
        line.modem.as_json = line.as_json;
        return number(modem(line.modem));
    });
    add_json(add_modem_act(family, line, "show", "What it keeps, how it answers, what it has heard"), line);
    add_modem_act(family, line, "silence", "It hears everything and answers nothing")
        .add_option("STATE", line.on_or_off, "on or off")
        ->required()
        ->check(CLI::IsMember({"on", "off"}));
    add_modem_act(family, line, "refuse", "It answers everything with a text")
        .add_option("TEXT", line.modem.text, "With escapes like \\r\\n; ERROR unless given; off: as by default");
    add_number(add_modem_act(family, line, "delay", "How long it takes to answer"), line.modem.value, "MS",
               "Milliseconds", k_longest);
    add_number(add_modem_act(family, line, "split", "It answers in pieces"), line.modem.value, "N",
               "Bytes of a piece; 0: whole", 65536);
    add_number(add_modem_act(family, line, "result", "The result in its answers to messages"), line.modem.value, "N",
               "0: done", 0xFFFFFFFFL);
    (void)add_modem_act(family, line, "reset", "As new: forgets what it was told and taught");
    (void)add_modem_act(family, line, "hang-up", "Its ports go");
    (void)add_modem_act(family, line, "return", "And come back");
    add_modem_act(family, line, "say", "It says something by itself")
        .add_option("TEXT", line.modem.text, "With escapes like \\r\\n")
        ->required();
    add_modem_act(family, line, "rule", "Teaches it an answer, before those it knows")
        .add_option("RULE", line.modem.text,
                    "'COMMAND => ANSWER', like 'AT+CSQ => \\r\\n+CSQ: 5,99\\r\\n\\r\\nOK\\r\\n'")
        ->required();
}

static CLI::App &add_link_act(CLI::App &to, command_line &line, const std::string &act, const std::string &meaning)
{
    return add_verb(to, line, act, meaning, [&line, act] {
        line.link.name = line.name;
        line.link.act = act;
        line.link.as_json = line.as_json;
        return number(link(line.link));
    });
}

static CLI::App &add_way(CLI::App &verb, command_line &line)
{
    verb.add_option("--to", line.link.to, "Towards whom: station or handset")
        ->capture_default_str()
        ->check(CLI::IsMember({"station", "handset"}));
    return verb;
}

// "stall on", "stall off", "stall MS".
static void take_stall(command_line &line)
{
    const std::string &state = line.on_or_off;
    if (state == "on" || state == "off") {
        line.link.value = state == "on" ? 1 : 0;
        return;
    }
    if (state.empty() || state.size() > 7 || state.find_first_not_of("0123456789") != std::string::npos) {
        throw tool::failure(exit_code::usage, "stall takes on, off or milliseconds, not \"" + state + "\"");
    }
    line.link.act = "stall-for";
    line.link.value = std::stol(state);
}

static void add_stall(CLI::App &family, command_line &line)
{
    CLI::App &verb = add_verb(family, line, "stall", "Nothing passes; it is kept and passes later", [&line] {
        line.link.name = line.name;
        line.link.act = "stall";
        line.link.as_json = line.as_json;
        take_stall(line);
        return number(link(line.link));
    });
    add_way(verb, line).add_option("STATE", line.on_or_off, "on, off, or milliseconds")->required();
}

static void add_link_verbs(CLI::App &app, command_line &line)
{
    constexpr long k_most = 1000000;
    CLI::App &family = *app.add_subcommand("link", "The link between station and handset: show, or a fault");
    family.require_subcommand(0, 1);
    family.add_option("--name", line.name, "The handset")->capture_default_str();
    add_json(family, line);
    choose(family, line, [&line] {
        line.link.name = line.name;
        line.link.as_json = line.as_json;
        return number(link(line.link));
    });
    add_json(add_link_act(family, line, "show", "What is wrong with it, and what has passed"), line);
    for (const auto &[act, meaning] : {std::pair("flip", "One bit of each of the next bytes is wrong"),
                                       std::pair("drop", "The next bytes are lost")}) {
        CLI::App &verb = add_way(add_link_act(family, line, act, meaning), line);
        verb.add_option("N", line.link.value, "Bytes; 1 unless given")->check(CLI::Range(1L, k_most));
        verb.add_option("--after", line.link.after, "So many bytes pass first")->check(CLI::Range(0L, k_most));
    }
    add_number(
        add_way(add_link_act(family, line, "split", "Arrives in pieces, each when the one before is taken"), line),
        line.link.value, "N", "Bytes of a piece; 0: as it comes", k_most);
    add_stall(family, line);
    (void)add_link_act(family, line, "cut", "Hangs up both sides");
    (void)add_link_act(family, line, "mend", "A new tty under the same name; the service is started if it has ended");
    (void)add_link_act(family, line, "clear", "Ends all faults but a cut");
}

static void add_shell(CLI::App &app, command_line &line)
{
    CLI::App &verb = add_verb(app, line, "shell", "Runs a command in the handset, or a shell",
                              [&line] { return shell(line.name, line.words); });
    verb.footer(
        "All that stands behind the options is the command, whatever it begins with. Several words are a program\n"
        "and its arguments, as they are: handset shell ls -l '/amt/a  b'. One word is a line for the handset's\n"
        "shell: handset shell 'cd /amt; ls | wc -l'. Without any: a shell at a terminal, else the commands on\n"
        "standard input.");
}

// What parses the words of a verb: the verb below another that a word names; null when there is none.
static const CLI::App *verb_below(const CLI::App &app, const std::string &word)
{
    const auto named = app.get_subcommands([&](const CLI::App *each) { return each->get_name() == word; });
    return named.empty() ? nullptr : named.front();
}

// The handset's name may stand before its verb, but belongs to it: a verb that takes none is to say so. Without a verb
// it says nothing.
static void move_names_behind_verbs(const CLI::App &app, std::vector<std::string> &arguments)
{
    std::vector<std::string> names;
    auto at = arguments.begin();
    for (const CLI::App *verb = &app; at != arguments.end();) {
        const bool is_name = *at == "--name";
        if (is_name || at->compare(0, 7, "--name=") == 0) {
            const auto end = at + std::min<std::ptrdiff_t>(is_name ? 2 : 1, arguments.end() - at);
            names.insert(names.end(), at, end);
            at = arguments.erase(at, end);
        } else if ((verb = verb_below(*verb, *at)) != nullptr) {
            ++at;
        } else {
            break;
        }
    }
    if (at != arguments.begin()) {
        arguments.insert(at, names.begin(), names.end());
    }
}

// Takes the words of the verb shell's command off the arguments: they are not ours, whatever they look like.
static std::vector<std::string> take_command(std::vector<std::string> &arguments)
{
    const bool is_verb = !arguments.empty() && arguments.front() == "shell";
    auto at = is_verb ? arguments.begin() + 1 : arguments.end();
    while (at != arguments.end() && at->size() > 1 && at->front() == '-' && *at != "--") {
        at += *at == "--name" && at + 1 != arguments.end() ? 2 : 1;
    }
    std::vector<std::string> command(at != arguments.end() && *at == "--" ? at + 1 : at, arguments.end());
    arguments.erase(at, arguments.end());
    return command;
}

// The verbs that are named have to be there.
static void check_verbs(const CLI::App &app, const std::vector<std::string> &arguments)
{
    const CLI::App *at = &app;
    for (const std::string &word : arguments) {
        std::vector<std::string> names;
        for (const CLI::App *verb : at->get_subcommands([](const CLI::App *) { return true; })) {
            names.push_back(verb->get_name());
        }
        if (names.empty() || word.empty() || word.front() == '-') {
            return;
        }
        at = verb_below(*at, word);
        if (at == nullptr) {
            const std::string near = nearest(word, names);
            throw tool::failure(exit_code::usage, "no verb " + word +
                                                      (near.empty() ? "" : ": do you mean " + near + "?") +
                                                      "; handset --help lists them");
        }
    }
}

// Those that nothing takes, in the order given; the parser has its own.
static std::string unexpected(const CLI::App &app, const std::vector<std::string> &arguments)
{
    std::vector<std::string> left = app.remaining(true);
    std::string text;
    const char *number = "argument was";
    for (const std::string &each : arguments) {
        const auto found = std::find(left.begin(), left.end(), each);
        if (found != left.end()) {
            number = text.empty() ? number : "arguments were";
            text += (text.empty() ? "" : " ") + each;
            left.erase(found);
        }
    }
    return std::string("The following ") + number + " not expected: " + text;
}

// The one line of a mistake.
static int tell_mistake(const CLI::App &app, const CLI::ParseError &error, const std::vector<std::string> &arguments)
{
    const bool is_more = dynamic_cast<const CLI::ExtrasError *>(&error) != nullptr;
    std::string text = is_more ? unexpected(app, arguments) : error.what();
    text.erase(std::min(text.find('\n'), text.size()));
    std::string verb = "handset";
    for (const CLI::App *at = &app; !at->get_subcommands().empty();) {
        at = at->get_subcommands().front();
        verb += " " + at->get_name();
    }
    throw tool::failure(exit_code::usage, text + "; " + verb + " --help tells more");
}

int carry_out(int argc, char **argv)
{
    CLI::App app("Emulated handsets: the real service in a sandbox, with a modem and a link that can be told to fail.",
                 "handset");
    command_line line;
    app.set_version_flag("--version", "handset (kv-zep-amt) " KV_ZEP_VERSION);
    app.require_subcommand(1);
    app.footer(k_examples + tool::exit_codes_told());
    add_life_verbs(app, line);
    add_show_verbs(app, line);
    add_key_verbs(app, line);
    add_modem_verbs(app, line);
    add_link_verbs(app, line);
    add_shell(app, line);
    std::vector<std::string> arguments(argv + 1, argv + argc);
    move_names_behind_verbs(app, arguments);
    const std::vector<std::string> command = take_command(arguments);
    check_verbs(app, arguments);
    std::vector<std::string> backwards(arguments.rbegin(), arguments.rend()); // as the parser wants them
    try {
        app.parse(backwards);
    } catch (const CLI::Success &help) { // asked for, and printed
        return app.exit(help);
    } catch (const CLI::ParseError &error) {
        return tell_mistake(app, error, arguments);
    }
    if (!command.empty()) {
        line.words = command;
    }
    return line.chosen();
}

} // namespace handset_tool
