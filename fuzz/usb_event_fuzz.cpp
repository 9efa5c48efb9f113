// Any datagram as a device event of the kernel: the first text that names the cable's state decides, the others change
// nothing. The texts are split and judged here by a reader of the fuzzer's own.
//
// Input: the datagram.
#include <memory>
#include <string>

#include "amt/channels/handshake.h"
#include "amt/channels/usb-monitor.h"
#include "amt/core/context.h"
#include "fuzz/pure_input.h"

namespace {

constexpr size_t k_event_max = 2048;
int g_completions = 0; // of the enumeration

struct cable {
    uint8_t m_state;
    int32_t m_is_configured;
    int m_completions;
};

bool has(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

// What the cable's state is behind the event.
cable expect(std::string_view event, const cable &before)
{
    fuzz_input texts(event);
    while (!texts.is_empty()) {
        const std::string_view text = texts.take_text();
        if (!has(text, "USB_STATE")) {
            continue;
        }
        if (has(text, "DISCONNECTED")) {
            return {AMT_USB_DISCONNECTED, 0, before.m_completions};
        }
        if (has(text, "CONFIGURED")) {
            return {AMT_USB_CONFIGURED, before.m_is_configured, before.m_completions + 1};
        }
        return {AMT_USB_OTHER, before.m_is_configured, before.m_completions};
    }
    return before;
}

} // namespace

// amt_end_usb_enumeration, which stops a timer
extern "C" void __wrap__Z23amt_end_usb_enumerationv()
{
    g_completions++;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string_view event = fuzz_input(data, size).take(k_event_max);
    const auto copy = std::make_unique<char[]>(event.size() + 1); // the zero behind it is the last byte there is
    event.copy(copy.get(), event.size());
    for (const int32_t is_configured : {0, 1}) {
        g_usb_state = AMT_USB_UNKNOWN;
        g_is_usb_configured = is_configured;
        g_completions = 0;
        const cable expected = expect(event, {AMT_USB_UNKNOWN, is_configured, 0});
        amt_handle_usb_event(copy.get(), event.size());
        fuzz_check(g_usb_state == expected.m_state);
        fuzz_check(g_is_usb_configured == expected.m_is_configured);
        fuzz_check(g_completions == expected.m_completions);
    }
    return 0;
}
