// Writing the trace, see trace.h.

#include "station/tool/trace.h"

#include "station/text.h"
#include "tool/failure.h"

#include <cerrno>
#include <chrono>
#include <ctime>
#include <system_error>

namespace station_tool {

static int leave_open(std::FILE *)
{
    return 0;
}

trace::trace(const std::string &path)
    : m_file(path == "-" ? stderr : std::fopen(path.c_str(), "we"), path == "-" ? leave_open : std::fclose)
{
    if (m_file == nullptr) {
        throw tool::failure(tool::exit_code::usage,
                            path + ": the trace cannot be written there: " + std::generic_category().message(errno));
    }
}

// Local, to the millisecond.
static std::string time_of_day()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    const auto seconds = static_cast<std::time_t>(ms / 1000);
    std::tm local = {};
    (void)localtime_r(&seconds, &local);
    char text[32] = "";
    (void)std::snprintf(text, sizeof(text), "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
                        static_cast<int>(ms % 1000));
    return text;
}

void trace::write(const std::string &port, const station::passing &what)
{
    const std::string line = time_of_day() + ' ' + port + (what.to_handset ? " -> " : " <- ") +
                             station::in_hex(what.bytes) + " | " + what.meaning + '\n';
    const std::lock_guard lock(m_mutex);
    (void)std::fputs(line.c_str(), m_file.get());
    (void)std::fflush(m_file.get());
}

} // namespace station_tool
