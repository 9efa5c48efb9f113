#include "tests/storms/station_stream.h"

#include "amt/wire/bytes.h"
#include "station/text.h"
#include "tests/storms/storm.h"

namespace {

constexpr std::string_view k_magic = "\xAA\xBB\xCC\xDD";
constexpr std::size_t k_length_end = 8; // of a frame, behind which is as much again as it tells

} // namespace

std::optional<stream_item> station_stream::next()
{
    if (m_held.empty()) {
        return std::nullopt;
    }
    std::size_t length = m_held.find(k_frame_byte);
    const bool is_frame = length == 0;
    if (is_frame) {
        if (m_held.size() < k_length_end) {
            return std::nullopt;
        }
        length = k_length_end + load_u32_le(station::as_wire(m_held) + 4);
        require(m_held.compare(0, k_magic.size(), k_magic) == 0 && length < 5000,
                "a frame is torn: " + station::shortened(m_held));
        if (m_held.size() < length) {
            return std::nullopt;
        }
    }
    stream_item result = {is_frame, m_held.substr(0, length)};
    m_held.erase(0, result.bytes.size());
    return result;
}
