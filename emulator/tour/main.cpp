// A tour for the newcomer: boots the real service in an emulated handset in each of the ways it can be started, and
// shows its console, its log and its end. Exits with 0 when all of it went as it should. Run by script/run.
#include <signal.h>

#include <cstdio>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "emulator/handset.h"

namespace {

constexpr char k_simplified_service[] = "/data/local/tmp/kv-zep-amt";
constexpr char k_simplified_log[] = "/data/local/tmp/kv-zep-amt-log/kv-zep-amt.log";
constexpr char k_config[] = "# An emulated handset's devices.\n"
                            "kv.tty.pc = /dev/ttyGS0\n"
                            "kv.tty.app = /dev/ttyAMT\n"
                            "kv.tty.modem = /dev/ttyMODEM\n"
                            "kv.tty.at.mux = /dev/ttyAT\n";

struct scene {
    const char *title;
    const char *path; // of the executable
    std::vector<std::string> arguments;
    int ending_signal; // 0: it ends by itself
    const char *log;   // null: it writes none
    std::string expected_text;
    emulator::exit_status expected_end;
};

const std::vector<scene> &scenes()
{
    static const std::vector<scene> all = {
        {"Started by the platform at boot",
         emulator::k_service_path,
         {},
         SIGTERM,
         emulator::k_service_log,
         "run under normal mode(with ZEP platform)",
         emulator::exited(0)},
        {"Started by hand from another folder",
         k_simplified_service,
         {},
         SIGUSR2,
         k_simplified_log,
         "run under simplified mode(only with kernel)",
         emulator::exited(0)},
        {"Started on the insertion of a USB cable",
         emulator::k_service_path,
         {"-u"},
         SIGTERM,
         emulator::k_service_log,
         "g_usb_activate:1.",
         emulator::exited(0)},
        {"Asked for help",
         emulator::k_service_path,
         {"-h"},
         0,
         nullptr,
         "Usage: /system/bin/kv-zep-amt [OPTION]",
         emulator::exited(0)},
    };
    return all;
}

void print_indented(const char *heading, const std::string &text)
{
    std::printf("  %s\n", heading);
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::printf("    | %s\n", line.c_str());
    }
}

std::string text_of(const std::vector<emulator::log_record> &records)
{
    std::ostringstream text;
    for (const emulator::log_record &record : records) {
        text << record << '\n';
    }
    return text.str();
}

bool verdict(const std::string &what, bool holds)
{
    std::printf("  %s: %s\n", holds ? "ok  " : "FAIL", what.c_str());
    return holds;
}

// Until the log is this process's own and no older one's: from then on the service ends cleanly at any moment.
void wait_started(const emulator::handset &handset, const emulator::process &service, const std::string &log)
{
    (void)handset.wait_log("PID of kv-zep-amt: " + std::to_string(service.pid()), emulator::k_default_wait, log);
}

bool play(emulator::handset &handset, const scene &played)
{
    emulator::program program = emulator::service(played.arguments);
    program.path = played.path;
    std::string command = played.path;
    for (const std::string &argument : played.arguments) {
        command += " " + argument;
    }
    std::printf("\n%s: %s\n", played.title, command.c_str());

    const emulator::process service = handset.start(program);
    if (played.ending_signal != 0) {
        wait_started(handset, service, played.log);
        (void)service.signal(played.ending_signal);
    }
    const emulator::exit_status end = service.wait();
    const std::string log = played.log == nullptr ? "" : text_of(handset.log_records(played.log));
    print_indented("console", service.out());
    if (played.log != nullptr) {
        print_indented(played.log, log);
    }
    bool holds = verdict(emulator::to_string(end), end == played.expected_end);
    holds &= verdict("says \"" + played.expected_text + "\"",
                     (service.out() + log).find(played.expected_text) != std::string::npos);
    return holds;
}

// Two at once, and one without its configuration: the two starts that must fail.
bool play_refusals(emulator::handset &handset)
{
    std::printf("\nStarted twice\n");
    const emulator::process first = handset.start(emulator::service());
    wait_started(handset, first, emulator::k_service_log);
    const emulator::process second = handset.start(emulator::service());
    bool holds = verdict("the second " + emulator::to_string(second.wait()), second.wait() == emulator::exited(0));
    holds &= verdict("says \"kv-zep-amt already run.\"",
                     second.out().find("kv-zep-amt already run.\n") != std::string::npos);
    (void)first.signal(SIGTERM);
    holds &= verdict("the first " + emulator::to_string(first.wait()), first.wait() == emulator::exited(0));

    std::printf("\nStarted without its configuration\n");
    handset.files.remove("/system/etc/kv-zep-amt.cfg");
    const emulator::process lost = handset.start(emulator::service());
    holds &= verdict(emulator::to_string(lost.wait()) + ", the code of the failing step",
                     lost.wait() == emulator::exited(256 - 118));
    return holds;
}

bool play_all()
{
    const std::filesystem::path programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    emulator::handset_options options;
    options.service = programs / "kv-zep-amt";
    options.library_folder = programs.parent_path() / "lib";
    emulator::handset handset(options);
    handset.files.write("/system/etc/kv-zep-amt.cfg", k_config);
    handset.files.write("/data/local/tmp/kv-zep-amt.cfg", k_config);
    handset.files.install(options.service, k_simplified_service);
    handset.boot();

    std::printf("An emulated handset, and the real service in it.\n");
    bool holds = true;
    for (const scene &played : scenes()) {
        holds &= play(handset, played);
    }
    return play_refusals(handset) && holds;
}

} // namespace

int main()
{
    try {
        const bool holds = play_all();
        std::printf("\n%s\n", holds ? "All of it went as it should." : "Something went wrong: see FAIL above.");
        return holds ? 0 : 1;
    } catch (const std::exception &error) {
        (void)std::fprintf(stderr, "handset-tour: %s\n", error.what());
        return 1;
    }
}
