// A handset in the arrangement of its own application: a path that it opens like a serial port, and an answer to
// whatever it asks.
#pragma once

#include <fcntl.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "amt/wire/bytes.h"
#include "station/message.h"
#include "station/text.h"
#include "tests/end-to-end/service_handset.h"

constexpr char k_app_path[] = "/dev/ttyAMT";

class application_handset : public service_handset {
  protected:
    emulator::tty open_app() { return emulator::tty(m_handset.open(k_app_path, O_RDWR)); }

    // The application closes its side; its path then leads to a new port, until which it leads to the old or nowhere.
    void close_app(emulator::tty &app)
    {
        const size_t before = ports_made();
        app.hang_up();
        emulator::wait_until("a new port", [&] { return ports_made() == before + 1; });
    }

    size_t ports_made() const
    {
        size_t count = 0;
        for (const emulator::log_record &record : m_handset.log_records()) {
            count += record.text.find("m_pts_mapping_name_a[/dev/ttyAMT]") != std::string::npos &&
                             record.function == "pub_pty_open"
                         ? 1
                         : 0;
        }
        return count;
    }

    // From now on the modem takes everything and answers nothing; control({}) has it answer again.
    void silence_modem()
    {
        emulator::modem_control silent;
        silent.silent = true;
        m_at->control(silent);
    }

    // Sends a bare message and reads the message that comes back.
    static station::message ask(emulator::tty &app, const station::message &request)
    {
        app.write(request.encode());
        return receive(app);
    }

    static station::message receive(emulator::tty &app)
    {
        std::string bytes = app.read_exactly(2);
        const size_t length = load_u16_le(station::as_wire(bytes));
        bytes += app.read_exactly(std::max<size_t>(length, 2) - 2);
        const station::decoded answer = station::decode(bytes);
        EXPECT_EQ(answer.error, "");
        return answer.message.value_or(station::message(0));
    }

    // The reader's answer for a handler that failed without a word, and a handler's own.
    static station::message failure(uint8_t id) { return station::message(id).with_int(1, 1); }
    static station::message modem_failure(uint8_t id) { return station::message(id).with_int(1, 10); }
    static station::message done(uint8_t id) { return station::message(id).with_int(1, 0); }
};
