#include "tests/storms/footprint.h"

#include <algorithm>

#include "tests/storms/storm.h"

namespace {

// The number behind a name in one of the kernel's lists.
long number_behind(const std::string &list, const std::string &name)
{
    const std::size_t at = list.find(name);
    return at == std::string::npos ? 0 : std::stol(list.substr(at + name.size()));
}

// A sanitizer keeps what has been freed; its programs grow.
constexpr bool is_sanitized()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#else
    return false;
#endif
}

} // namespace

footprint footprint_of(const bench &b, const emulator::process &service)
{
    const std::string folder = "/proc/" + std::to_string(service.pid());
    footprint result;
    result.resident_kib = number_behind(b.handset.files.read(folder + "/status"), "VmRSS:");
    result.dirty_kib = number_behind(b.handset.files.read(folder + "/smaps_rollup"), "Private_Dirty:");
    result.descriptors = static_cast<long>(b.handset.files.list(folder + "/fd").size());
    result.log_size = b.log().size();
    return result;
}

footprint most_of(std::vector<footprint>::const_iterator begin, std::vector<footprint>::const_iterator end)
{
    footprint most;
    for (auto at = begin; at != end; ++at) {
        most.resident_kib = std::max(most.resident_kib, at->resident_kib);
        most.dirty_kib = std::max(most.dirty_kib, at->dirty_kib);
        most.descriptors = std::max(most.descriptors, at->descriptors);
        most.log_size = std::max(most.log_size, at->log_size);
    }
    return most;
}

std::string to_string(const footprint &what)
{
    return "VmRSS " + std::to_string(what.resident_kib) + " KiB, Private_Dirty " + std::to_string(what.dirty_kib) +
           " KiB, " + std::to_string(what.descriptors) + " descriptors";
}

void require_flat(const std::vector<footprint> &samples)
{
    constexpr long k_slack_kib = 128; // pages touched once, by whichever request comes to them first
    const auto part = static_cast<long>(std::max<std::size_t>(samples.size() / 10, 1));
    const footprint first = most_of(samples.begin(), samples.begin() + part);
    const footprint last = most_of(samples.end() - part, samples.end());
    const bool is_flat = last.descriptors <= first.descriptors &&
                         (is_sanitized() || (last.resident_kib <= first.resident_kib + k_slack_kib &&
                                             last.dirty_kib <= first.dirty_kib + k_slack_kib));
    require(is_flat, "it grew from " + to_string(first) + " to " + to_string(last));
}
