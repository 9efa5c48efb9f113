#include "tests/storms/road.h"

#include <algorithm>

#include "station/text.h"
#include "tests/storms/storm.h"

void road::wait_room(std::size_t most, emulator::deadline limit)
{
    std::unique_lock lock(m_mutex);
    const bool is_there = m_changed.wait_until(lock, limit.m_at, [&] { return m_on_the_way.size() <= most; });
    require(is_there, m_name + ": nothing has arrived of " + station::shortened(m_on_the_way));
}

void road::promise(std::string_view bytes)
{
    const std::lock_guard lock(m_mutex);
    m_on_the_way += bytes;
}

void road::arrive(std::string_view bytes)
{
    const std::lock_guard lock(m_mutex);
    const bool is_promised = m_on_the_way.compare(0, bytes.size(), bytes) == 0;
    const auto apart =
        std::mismatch(bytes.begin(), bytes.begin() + std::min(bytes.size(), m_on_the_way.size()), m_on_the_way.begin());
    const auto same = static_cast<std::size_t>(apart.first - bytes.begin());
    require(is_promised, m_name + ": behind " + std::to_string(m_arrived + same) + " bytes came " +
                             station::shortened(bytes.substr(same)) + " in place of " +
                             station::shortened(std::string_view(m_on_the_way).substr(same)));
    m_on_the_way.erase(0, bytes.size());
    m_arrived += bytes.size();
    m_changed.notify_all();
}

std::size_t road::arrived() const
{
    const std::lock_guard lock(m_mutex);
    return m_arrived;
}
