#include "tests/storms/bench.h"

#include <fcntl.h>

#include <algorithm>
#include <csignal>

#include "tests/storms/storm.h"
#include "tests/support/built_service.h"

namespace {

bool is_number(const std::string &name)
{
    return name.find_first_not_of("0123456789") == std::string::npos;
}

// Whether the main thread sleeps and lets SIGTERM in, which it does in its last wait.
bool is_parked(const std::string &status)
{
    const std::string blocked = "SigBlk:";
    const std::size_t at = status.find(blocked);
    return at != std::string::npos && status.find("State:\tS") != std::string::npos &&
           ((std::stoul(status.substr(at + blocked.size()), nullptr, 16) >> (SIGTERM - 1)) & 1) == 0;
}

} // namespace

std::mutex &starting()
{
    static std::mutex mutex;
    return mutex;
}

bench::bench()
    : handset(built_service())
{
    handset.files.write("/system/etc/kv-zep-amt.cfg", k_config);
    handset.boot();
    at.emplace(handset.open_tty("/dev/ttyAT"));
    making.unlock();
}

emulator::process bench::start(arrangement how)
{
    station = handset.open_tty("/dev/ttyGS0");
    modem = handset.open_tty("/dev/ttyMODEM");
    at->reset();
    at->come_back(handset.open_tty("/dev/ttyAT"));
    handset.set_property("amt.normal.amt.switch_status", how == arrangement::station ? "1" : "0");
    handset.set_property("sys.kv.amt.failure.handshake", "");
    return handset.start(how == arrangement::cable ? emulator::service({"-u"}) : emulator::service());
}

emulator::process bench::start_serving(arrangement how)
{
    emulator::process service = start(how);
    service.wait_output("init over result=0");
    const std::string status = "/proc/" + std::to_string(service.pid()) + "/status";
    emulator::wait_until("the main thread to wait", [&] { return is_parked(handset.files.read(status)); });
    if (how == arrangement::application) {
        emulator::wait_until("the application's path", [this] { return handset.files.exists(k_app_path); });
    } else {
        (void)handset.wait_log("read_pc_loop, read ready");
        (void)handset.wait_log("read_modem_loop, read ready");
    }
    return service;
}

emulator::tty bench::open_app()
{
    return emulator::tty(handset.open(k_app_path, O_RDWR));
}

void bench::require_relay(const std::string &request, const std::string &answer)
{
    station.write(request);
    const std::string heard = modem.read_exactly(request.size());
    require(heard == request, "the modem heard \"" + heard + "\" in place of \"" + request + "\"");
    modem.write(answer);
    const std::string said = station.read_exactly(answer.size());
    require(said == answer, "the station heard \"" + said + "\" in place of \"" + answer + "\"");
}

void bench::require_clean_end(const emulator::process &service, const log_history &history)
{
    const emulator::exit_status status = service.wait();
    require(status == emulator::exited(0),
            "the service " + emulator::to_string(status) + ": " + end_of(service.out()) + end_of(service.err()));
    const std::string content = log();
    const std::string fault = fault_of_log(content, history);
    require(fault.empty(), "the log: " + fault + "\n" + end_of(content));
    const std::string pid = std::to_string(service.pid());
    require(!history.header || content.find("PID of kv-zep-amt: " + pid + "\n") != std::string::npos,
            "the log is not that of " + pid + "\n" + end_of(content));
    require(handset.files.read(k_pid_file) == pid + "\n", "the pid file tells " + handset.files.read(k_pid_file));
    require_nothing_left();
}

std::string bench::name_of(const std::string &pid) const
{
    try {
        std::string name = handset.files.read("/proc/" + pid + "/stat").substr(0, 40) + " " +
                           handset.files.read("/proc/" + pid + "/cmdline");
        std::replace(name.begin(), name.end(), '\0', ' ');
        return name;
    } catch (const std::runtime_error &) {
        return "gone";
    }
}

void bench::require_nothing_left() const
{
    std::vector<std::string> left;
    const auto only_the_first = [&] {
        left = handset.files.list("/proc");
        left.erase(std::remove_if(left.begin(), left.end(), [](const auto &name) { return !is_number(name); }),
                   left.end());
        return left == std::vector<std::string>{"1"};
    };
    // A program that the service had started may outlive it by its own short time.
    try {
        emulator::wait_until("processes to end", only_the_first, std::chrono::seconds(20));
    } catch (const std::runtime_error &) {
        std::string names;
        for (const std::string &pid : left) {
            names += " " + pid + " (" + name_of(pid) + ")";
        }
        require(false, "processes are left:" + names + "\n" + end_of(log()));
    }
    require(!handset.files.exists(k_app_path), "the application's path is left");
    require(handset.files.list("/dev/shm").empty(), "shared memory is left");
    for (const std::string &name : handset.files.list("/tmp")) {
        require("/tmp/" + name == k_pid_file, "/tmp/" + name + " is left");
    }
}

std::string bench::end_of(const std::string &text)
{
    return text.substr(text.size() - std::min<std::size_t>(text.size(), 2000));
}
