// The handset of a worker, see bench.h.

#include "tests/faults/sweep/bench.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cstring>
#include <stdexcept>

#include "tests/support/built_service.h"

namespace faults {

namespace {

constexpr char k_block_path[] = "/handset/faults";
constexpr char k_shim[] = "/system/lib64/libfault-shim.so";
constexpr char k_devices[] = "/handset/bin/libhandset-preload.so";
constexpr unsigned k_sleep_divisor = 10;

emulator::program program_for(arrangement how)
{
    emulator::program what = emulator::service();
    if (how == arrangement::simplified) {
        what.path = std::string(k_folder_of_simplified) + "kv-zep-amt";
    }
    if (how == arrangement::cable) {
        what.arguments = {"-u"};
    }
    what.environment = {std::string("LD_PRELOAD=") + k_shim + ":" + k_devices,
                        std::string(k_fault_preload_variable) + "=" + k_devices,
                        std::string(k_fault_variable) + "=" + k_block_path};
    return what;
}

} // namespace

bench::bench()
    : handset(built_service())
{
    handset.files.write("/system/etc/kv-zep-amt.cfg", k_config);
    handset.files.write(std::string(k_folder_of_simplified) + "kv-zep-amt.cfg", k_config);
    handset.files.install(handset.files.host_path(emulator::k_service_path),
                          std::string(k_folder_of_simplified) + "kv-zep-amt");
    map_block();
    handset.boot();
    m_station = handset.open_tty("/dev/ttyGS0");
    modem.emplace(handset.open_tty("/dev/ttyMODEM"));
    at.emplace(handset.open_tty("/dev/ttyAT"));
}

bench::~bench()
{
    (void)munmap(m_block, sizeof(fault_block));
}

void bench::map_block()
{
    handset.files.write(k_block_path, "", 0666);
    const emulator::descriptor file(
        open(handset.files.host_path(k_block_path).c_str(), O_RDWR | O_CLOEXEC)); // NOLINT: no mode, nothing is made
    if (!file || ftruncate(file.get(), sizeof(fault_block)) != 0) {
        throw std::runtime_error("cannot make the block of the faults");
    }
    void *memory = mmap(nullptr, sizeof(fault_block), PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    if (memory == MAP_FAILED) {
        throw std::runtime_error("cannot map the block of the faults");
    }
    m_block = static_cast<fault_block *>(memory);
    m_block->sleep_divisor = k_sleep_divisor;
}

void bench::arm(const fault_plan *plan)
{
    m_block->mode = fault_mode::off;
    m_block->hits = 0;
    m_block->order = 0;
    memset(static_cast<void *>(m_block->sites), 0, sizeof(m_block->sites)); // atomics of numbers, and nobody counts now
    m_block->plan = plan != nullptr ? *plan : fault_plan{};
    m_block->mode = plan != nullptr ? fault_mode::fail : fault_mode::count;
}

void bench::let_go()
{
    m_block->mode = fault_mode::off;
}

void bench::start(arrangement how)
{
    end();
    m_how = how;
    m_app = {};
    m_app_port.clear();
    m_station = handset.open_tty("/dev/ttyGS0");
    modem->come_back(handset.open_tty("/dev/ttyMODEM"));
    at->come_back(handset.open_tty("/dev/ttyAT"));
    if (handset.files.exists(k_app_path)) {
        handset.remove_device(k_app_path); // of a service that was killed
    }
    handset.set_property("amt.normal.amt.switch_status", how == arrangement::station ? "1" : "0");
    handset.clear_calls();
    m_service = handset.start(program_for(how));
}

void bench::end()
{
    if (!is_running()) {
        return;
    }
    (void)m_service->signal(SIGTERM);
    try {
        (void)m_service->wait(3s);
    } catch (const std::runtime_error &) {
        (void)m_service->signal(SIGKILL);
        (void)m_service->wait();
    }
}

emulator::tty &bench::asker()
{
    if (m_how != arrangement::application) {
        return m_station;
    }
    const std::string port = app_port();
    if (!port.empty() && port != m_app_port) {
        try {
            m_app = {};
            m_app = emulator::tty(handset.open(k_app_path, O_RDWR | O_NONBLOCK));
            m_app_port = port;
        } catch (const std::runtime_error &) { // not ready yet, or gone again
        }
    }
    return m_app;
}

void bench::hear_out(std::chrono::milliseconds quiet)
{
    emulator::tty &end = asker();
    if (end.fd() >= 0) {
        (void)end.read_all(quiet);
    }
}

std::string bench::app_port() const
{
    struct stat link = {};
    if (lstat(handset.files.host_path(k_app_path).c_str(), &link) != 0) {
        return "";
    }
    return std::to_string(link.st_ino) + ":" + std::to_string(link.st_ctim.tv_nsec);
}

bool bench::is_started() const
{
    const std::string status = handset.files.read("/proc/" + std::to_string(m_service->pid()) + "/status");
    const unsigned long threads = std::stoul(status.substr(status.find("Threads:") + 8));
    const unsigned long blocked = std::stoul(status.substr(status.find("SigBlk:") + 7), nullptr, 16);
    const unsigned long alone = m_how == arrangement::cable ? 2 : 1; // a timer has a thread of the C library's
    return threads > alone && ((blocked >> (SIGTERM - 1)) & 1) == 0;
}

std::size_t bench::descriptors() const
{
    return handset.files.list("/proc/" + std::to_string(m_service->pid()) + "/fd").size();
}

void bench::lay_out(const std::vector<watched_file> &files)
{
    for (const watched_file &file : files) {
        if (file.before == "(none)") {
            handset.files.remove(file.path);
        } else {
            handset.files.write(file.path, file.before);
        }
    }
}

std::string bench::content(const std::string &path) const
{
    return handset.files.read_or(path, "(none)");
}

void bench::flap(emulator::modem &which, const char *path)
{
    which.come_back(handset.open_tty(path));
}

} // namespace faults
