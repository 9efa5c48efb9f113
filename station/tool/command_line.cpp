// The options and verbs as the command line has them, see command_line.h. The library reads them and writes the help.

#include "station/tool/command_line.h"

#include "station/tool/verbs.h"
#include "tool/program.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>

namespace station_tool {

constexpr char k_about[] = "The station's end of a handset's test link: asks the handset and tells what it answers.";

constexpr char k_footer[] = R"(
A port is a tty (-p /dev/ttyACM0) or an emulated handset (-p handset:NAME). Without -p the one that is there is asked.

Examples:
  amt-station info                                who is this handset?
  amt-station get imei                            one item
  amt-station set board-sn=PCBA-0017              write it and read it back
  amt-station test bluetooth-check                test a device
  amt-station at AT^DSVER                         an AT line
  amt-station send version module=16 --trace -    a message, with the bytes that pass
  amt-station decode "AA BB CC DD 08 00 ..."      what do these bytes mean?
  amt-station list tests                          what can be tested?

)";

static std::string about(const verb &what)
{
    return std::string(what.about) + (*what.words == '\0' ? "" : std::string(": ") + what.name + " " + what.words);
}

// The usage of a verb in its own words.
class verb_formatter : public CLI::Formatter {
  public:
    std::string make_usage(const CLI::App *app, std::string name) const override
    {
        const verb *what = find_verb(app->get_name());
        return what == nullptr ? CLI::Formatter::make_usage(app, name)
                               : std::string("Usage: amt-station [OPTIONS] ") + what->name + " " + what->words +
                                     "\n\"amt-station --help\" tells the options.\n";
    }
    std::string make_positionals(const CLI::App *) const override { return ""; }
};

// The library's own check of a range tells it with many zeros.
static std::string seconds_of_a_day(const std::string &text)
{
    double seconds = 0;
    const bool fits = CLI::detail::lexical_cast(text, seconds) && seconds >= 0.001 && seconds <= 86400;
    return fits ? "" : "a wait takes 0.001 to 86400 seconds, not " + text;
}

static void add_options(CLI::App &app, settings &to, double &timeout)
{
    app.add_option("-p,--port", to.ports,
                   "The handset's port, else that of AMT_STATION_PORT; several are asked side by side")
        ->type_name("PORT")
        ->allow_extra_args(false);
    app.add_flag("--bare", to.bare, "The port is an application's: messages without the station's envelope");
    app.add_flag("--json", to.json, "For programs: one JSON object a line, for each port");
    app.add_option("--trace", to.trace, "Write down every frame: time, direction, bytes, meaning; - is standard error")
        ->type_name("FILE");
    app.add_option("--timeout", timeout, "How long an answer may take")
        ->type_name("SECONDS")
        ->check(seconds_of_a_day)
        ->capture_default_str();
    app.add_flag("--wait", to.wait, "Wait for a port that is not there yet");
    app.add_flag("--yes,-y", to.yes, "Ask nothing");
    app.add_flag("-v,--verbose", to.verbose, "Tell on standard error what is done");
}

static void add_verbs(CLI::App &app, settings &to)
{
    for (const verb &each : k_verbs) {
        CLI::App *sub = app.add_subcommand(each.name, about(each));
        sub->fallthrough();
        sub->add_option("words", to.words, each.about)->type_name(each.words);
        sub->callback([&to, name = each.name] { to.verb = name; });
    }
}

static void build(CLI::App &app, settings &to, double &timeout)
{
    app.formatter(std::make_shared<verb_formatter>());
    add_options(app, to, timeout);
    add_verbs(app, to);
    app.set_version_flag("--version", "amt-station (kv-zep-amt) " KV_ZEP_VERSION);
    app.footer(k_footer + tool::exit_codes_told());
    app.require_subcommand(1);
}

// One line of the library's, which may have several.
static std::string first_line(const std::string &text)
{
    return text.substr(0, text.find('\n'));
}

static std::string verb_names()
{
    std::string names;
    for (const verb &each : k_verbs) {
        names += (names.empty() ? "" : ", ") + std::string(each.name);
    }
    return names;
}

static void check_options(const std::vector<std::string> &words)
{
    const std::vector<option_name> options = option_names();
    for (const std::string &word : words) {
        const std::string name = word.substr(0, word.find('='));
        const auto is_it = [&](const option_name &each) { return each.name == name; };
        if (word.size() > 1 && word[0] == '-' && std::none_of(options.begin(), options.end(), is_it)) {
            throw std::invalid_argument("there is no option " + name + "; \"amt-station --help\" tells what there is");
        }
    }
}

// The library would only say that a verb is required, whatever is wrong.
static void check_verb(const std::vector<std::string> &words)
{
    const auto asks_for_help = [](const std::string &word) {
        return word == "-h" || word == "--help" || word == "--version";
    };
    const std::vector<std::string> plain = plain_words(words);
    if (!plain.empty() && find_verb(plain[0]) == nullptr) {
        throw std::invalid_argument("there is no verb \"" + plain[0] + "\": there are " + verb_names());
    }
    if (plain.empty() && std::none_of(words.begin(), words.end(), asks_for_help)) {
        check_options(words);
        throw std::invalid_argument("say what is to be done: " + verb_names());
    }
}

static std::optional<settings> read(std::vector<std::string> words, settings base)
{
    check_verb(words);
    CLI::App app(k_about, "amt-station");
    double timeout = std::chrono::duration<double>(base.timeout).count();
    build(app, base, timeout);
    std::reverse(words.begin(), words.end()); // as the library wants them
    try {
        app.parse(words);
    } catch (const CLI::Success &asked) {
        (void)app.exit(asked, std::cout, std::cerr);
        return std::nullopt;
    } catch (const CLI::ParseError &error) {
        throw std::invalid_argument(first_line(error.what()) + "; \"amt-station --help\" tells what there is");
    }
    base.timeout = std::chrono::milliseconds(static_cast<long>(timeout * 1000));
    const verb *what = find_verb(base.verb);
    if (what != nullptr) {
        check_words(*what, base);
    }
    return base;
}

std::vector<std::string> plain_words(const std::vector<std::string> &words)
{
    const std::vector<option_name> options = option_names();
    std::vector<std::string> plain;
    for (std::size_t i = 0; i < words.size(); i++) {
        const auto is_it = [&](const option_name &each) { return each.takes_value && each.name == words[i]; };
        if (std::any_of(options.begin(), options.end(), is_it)) {
            i++;
        } else if (words[i].size() < 2 || words[i][0] != '-') {
            plain.push_back(words[i]);
        }
    }
    return plain;
}

std::optional<settings> read_command_line(const std::vector<std::string> &words)
{
    std::optional<settings> given = read(words, {});
    const char *port = getenv("AMT_STATION_PORT"); // NOLINT(concurrency-mt-unsafe): nothing here sets variables
    if (given && given->ports.empty() && port != nullptr && *port != '\0') {
        given->ports.emplace_back(port);
    }
    return given;
}

std::optional<settings> read_shell_line(const std::vector<std::string> &words, const settings &base)
{
    settings next = base;
    next.verb.clear();
    next.words.clear();
    return read(words, next);
}

std::vector<option_name> option_names()
{
    CLI::App app;
    settings ignored;
    double timeout = 0;
    build(app, ignored, timeout);
    std::vector<option_name> names;
    for (const CLI::Option *each : app.get_options()) {
        const bool takes_value = each->get_items_expected_max() > 0;
        for (const std::string &name : each->get_snames()) {
            names.push_back({"-" + name, takes_value});
        }
        for (const std::string &name : each->get_lnames()) {
            names.push_back({"--" + name, takes_value});
        }
    }
    return names;
}

} // namespace station_tool
