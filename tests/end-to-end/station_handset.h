// The service between a station and a modem, both in the test's own hands.
#pragma once

#include <string>

#include "station/link.h"
#include "tests/end-to-end/service_handset.h"

class station_handset : public service_handset {
  protected:
    // In normal mode the arrangement with a station is asked for by a property.
    station_handset() { m_handset.set_property("amt.normal.amt.switch_status", "1"); }

    // The service, started and reading from the station.
    emulator::process start_reading(const emulator::program &program = emulator::service())
    {
        emulator::process service = start_up(program);
        (void)m_handset.wait_log("read_pc_loop, read ready");
        (void)m_handset.wait_log("read_modem_loop, read ready");
        emulator::wait_until("the USB monitor", [&] { return m_handset.uevents_heard(); });
        return service;
    }

    // The station says something that must reach the modem as it is, and the modem's answer must come back.
    void expect_relay(const std::string &request, const std::string &answer)
    {
        m_station.write(request);
        EXPECT_EQ(m_modem.read_exactly(request.size()), request);
        m_modem.write(answer);
        EXPECT_EQ(m_station.read_exactly(answer.size()), answer);
    }

    // How often a text stands in the log.
    size_t count_log(const std::string &text) const
    {
        size_t count = 0;
        for (const emulator::log_record &record : m_handset.log_records()) {
            count += record.text.find(text) != std::string::npos ? 1 : 0;
        }
        return count;
    }
};
