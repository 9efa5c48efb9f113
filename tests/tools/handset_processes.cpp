// Looking at the kernel's list of processes, see handset_processes.h.

#include "tests/tools/handset_processes.h"

#include "emulator/deadline.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>

namespace fs = std::filesystem;

// Of its line "PID (NAME) STATE PARENT ..." the 22nd word is when it began. A zombie has ended.
static std::optional<seen_process> process_of(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    const std::string line{std::istreambuf_iterator<char>(file), {}};
    const std::size_t from = line.find('(');
    const std::size_t to = line.rfind(')');
    if (from == std::string::npos || to == std::string::npos) {
        return std::nullopt;
    }
    std::istringstream rest(line.substr(to + 1));
    const std::vector<std::string> words{std::istream_iterator<std::string>(rest), {}};
    if (words.size() < 20 || words[0] == "Z") {
        return std::nullopt;
    }
    return seen_process{pid, static_cast<pid_t>(std::atoi(words[1].c_str())), line.substr(from + 1, to - from - 1),
                        words[19]};
}

static std::vector<seen_process> all_processes()
{
    std::vector<seen_process> all;
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc")) {
        const pid_t pid = std::atoi(entry.path().filename().c_str());
        if (pid > 0) {
            if (const std::optional<seen_process> found = process_of(pid)) {
                all.push_back(*found);
            }
        }
    }
    return all;
}

std::vector<seen_process> processes_under(pid_t top)
{
    const std::vector<seen_process> all = all_processes();
    std::vector<seen_process> under;
    if (const std::optional<seen_process> first = process_of(top)) {
        under.push_back(*first);
    }
    for (std::size_t i = 0; i < under.size(); i++) {
        const pid_t parent = under[i].pid;
        std::copy_if(all.begin(), all.end(), std::back_inserter(under),
                     [parent](const seen_process &each) { return each.parent == parent; });
    }
    return under;
}

void wait_until_gone(const std::vector<seen_process> &processes)
{
    emulator::wait_until("the end of the processes", [&] {
        return std::none_of(processes.begin(), processes.end(), [](const seen_process &each) {
            const std::optional<seen_process> now = process_of(each.pid);
            return now && now->began == each.began;
        });
    });
}

std::vector<std::string> names_of(const std::vector<seen_process> &processes)
{
    std::vector<std::string> names;
    for (const seen_process &each : processes) {
        names.push_back(each.name);
    }
    return names;
}
