#include "fuzz/world_laws.h"

#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <algorithm>
#include <iterator>

#include "amt/core/context.h"
#include "amt/modem/at-channel.h"
#include "amt/modem/modem-tunnel.h"
#include "amt/wire/amt-convert.h"
#include "amt/wire/bytes.h"
#include "fuzz/world_files.h"

namespace {

struct text {
    const uint8_t *bytes;
    size_t length;
};

// What has happened since the request was taken.
struct happened {
    world_side side;
    bool is_request;
    bool is_relay;
    uint8_t request_a[AMT_MESSAGE_SIZE + 1]; // as it stands in the reader's buffer; terminated
    size_t request_length;
    uint8_t answer_a[4 * AMT_MESSAGE_SIZE]; // of the modem, its zeros left out
    size_t answer_length;
    uint8_t chunk_a[AMT_MESSAGE_SIZE + 1]; // that is to be relayed; terminated
    size_t chunk_length;
    int station_writes;
    int station_answers; // of these; what announces an answer is none
    int application_writes;
    int modem_writes;
    int modem_failures;
    uint8_t last_answer_id;
    uint32_t last_answer_result;
};
happened g_now;

constexpr char k_lock_line[] = "AT;^DLKS=1\r";
constexpr char k_ok[] = "\r\nOK\r\n";

void require(bool holds, const char *sentence, const char *detail = "")
{
    if (!holds) {
        law_broken(sentence, detail);
    }
}

bool equals(const text &bytes, const void *other, size_t length)
{
    return bytes.length == length && memcmp(bytes.bytes, other, length) == 0;
}

bool begins_with(const text &bytes, const char *prefix)
{
    return bytes.length >= strlen(prefix) && memcmp(bytes.bytes, prefix, strlen(prefix)) == 0;
}

bool ends_with(const text &bytes, const char *ending)
{
    const size_t length = strlen(ending);
    return bytes.length >= length && memcmp(bytes.bytes + bytes.length - length, ending, length) == 0;
}

// --- forms

// Total and body length say the same, and the atoms fill the body.
bool is_message(const text &message)
{
    if (message.length < AMT_COMMAND_HEADER_SIZE || message.length > AMT_MESSAGE_SIZE ||
        load_u16_le(message.bytes) != message.length || message.bytes[2] != AMT_COMMAND_HEAD ||
        load_u16_le(message.bytes + 4) != message.length - AMT_COMMAND_HEADER_SIZE) {
        return false;
    }
    size_t offset = AMT_COMMAND_HEADER_SIZE;
    while (offset + AMT_ATOM_HEADER_SIZE <= message.length && message.bytes[offset] == AMT_ATOM_HEAD) {
        offset += AMT_ATOM_HEADER_SIZE + load_u16_le(message.bytes + offset + 3);
    }
    return offset == message.length;
}

// Of the bytes and four zeros, bit by bit: the station's own reckoning, not the service's.
uint32_t checksum_of(const uint8_t *bytes, size_t length)
{
    uint64_t checksum = 0;
    for (size_t i = 0; i < length + 4; i++) {
        uint64_t entry = (checksum >> 24) & 0xFF;
        for (int bit = 0; bit < 8; bit++) {
            entry = entry >> 1 ^ ((entry & 1) != 0 ? 0xEDB88320 : 0);
        }
        checksum = entry ^ (checksum << 8 | (i < length ? bytes[i] : 0));
    }
    return static_cast<uint32_t>(checksum);
}

bool has_magic(const text &bytes)
{
    return bytes.length > AMT_ENVELOPE_SIZE && load_u32_le(bytes.bytes) == AMT_ENVELOPE_MAGIC;
}

// With a whole message inside, or nothing: that is the pre-response.
bool is_envelope(const text &bytes)
{
    if (bytes.length < AMT_ENVELOPE_SIZE || load_u32_le(bytes.bytes) != AMT_ENVELOPE_MAGIC) {
        return false;
    }
    const size_t inside = bytes.length - AMT_ENVELOPE_SIZE;
    const uint8_t *trailer = bytes.bytes + AMT_ENVELOPE_HEADER_SIZE + inside;
    const uint8_t type_a[] = {AMT_ENVELOPE_TYPE, inside == 0 ? uint8_t{2} : uint8_t{0}, 0, 0};
    return load_u32_le(bytes.bytes + 4) == inside + 8 && memcmp(bytes.bytes + 8, type_a, sizeof(type_a)) == 0 &&
           load_u32_le(trailer) == checksum_of(bytes.bytes, AMT_ENVELOPE_HEADER_SIZE + inside) &&
           (inside == 0 || is_message({bytes.bytes + AMT_ENVELOPE_HEADER_SIZE, inside}));
}

bool is_line(const text &bytes)
{
    return begins_with(bytes, "\r\n") && (ends_with(bytes, k_ok) || equals(bytes, "\r\nERROR\r\n", 9) ||
                                          equals(bytes, "\r\n+CME ERROR: 100\r\n", 19));
}

// --- what a request of the station asks for

bool is_probe_at(size_t offset)
{
    return strncasecmp(reinterpret_cast<const char *>(g_now.request_a) + offset, "AT\r", 3) == 0;
}

bool is_probe()
{
    const size_t length = g_now.request_length;
    return length >= 3 && is_probe_at(0) && (length <= 5 || is_probe_at(4));
}

// What the modem is to get of it, if anything.
text forwarded()
{
    if (is_probe()) {
        return {reinterpret_cast<const uint8_t *>(k_lock_line), sizeof(k_lock_line) - 1};
    }
    return {g_now.request_a, g_now.request_length};
}

bool request_holds(const char *needle)
{
    return strstr(reinterpret_cast<const char *>(g_now.request_a), needle) != nullptr;
}

// 255 for a line, and 0 for an envelope whose message is too short to have one.
uint8_t request_id()
{
    if (g_now.side == world_side::application) {
        return g_now.request_a[3];
    }
    if (!has_magic({g_now.request_a, g_now.request_length})) {
        return 255;
    }
    return g_now.request_length > AMT_ENVELOPE_SIZE + 3 ? g_now.request_a[AMT_ENVELOPE_HEADER_SIZE + 3] : 0;
}

// Nobody on the handset answers it: no handler of its id, and no text with which all of the handset's lines begin.
bool is_the_modems()
{
    const uint8_t id = request_id();
    const bool has_handler = id < AMT_HANDLER_COUNT && handle_context_st.m_handle_pc_func_a[id] != nullptr;
    return is_probe() || (!has_handler && !request_holds("AT^D"));
}

amt_handle_func application_handler()
{
    const uint8_t id = request_id();
    return id < AMT_HANDLER_COUNT ? handle_context_st.m_handle_app_func_a[id] : nullptr;
}

void require_station_request_served()
{
    require(g_now.modem_writes <= 1, "a request goes to the modem once at the most");
    require(g_now.modem_writes + g_now.station_writes > 0, "every request is answered or passed on");
    if (is_the_modems()) {
        require(g_now.modem_writes == 1, "what nobody claims goes to the modem");
        require(g_now.modem_failures > 0 || g_now.station_writes == 0, "what the modem has got, the modem answers");
    }
    require(g_now.modem_writes == 0 || g_now.modem_failures > 0 || g_now.station_answers == 0,
            "a request is answered or passed on, not both");
}

void require_application_request_served()
{
    const uint8_t id = request_id();
    const bool has_handler = application_handler() != nullptr;
    require(has_handler || (g_now.application_writes == 1 && g_now.last_answer_result == 1 &&
                            g_now.last_answer_id == static_cast<uint8_t>(id + 1)),
            "what nobody answers is refused with the next id and 1");
    constexpr uint8_t k_brightness_id = 0x39; // whoever sees the display sees it
    require(g_now.application_writes > 0 || application_handler() == amt_modem_handle_req || id == k_brightness_id,
            "every request is answered, but by the modem's own word and the display's light");
}

// A message that answers, the so many-th of its request.
void require_answer(const uint8_t *message, int number)
{
    const uint8_t id = request_id();
    const uint8_t answer_id = message[3];
    const bool is_refusal = amt_message_get_int(message, 1) == 1;
    constexpr uint8_t k_gps_test_id = 0xB0; // answered as the request before it is
    require(answer_id == static_cast<uint8_t>(id + 1) || (id == k_gps_test_id && answer_id == id - 1),
            "an answer has the id behind its request's");
    require(number == 1 || (number == 2 && is_refusal),
            "a request has one answer, and a refusal where that does not get through");
}

// --- what the modem has said

bool is_confirming_envelope(const text &bytes)
{
    const uint8_t id = bytes.length > AMT_ENVELOPE_SIZE ? bytes.bytes[AMT_ENVELOPE_HEADER_SIZE + 3] : uint8_t{0};
    return has_magic(bytes) && (id == 6 || id == 88);
}

// The texts of its values are passed on as they are: by the request's id, the atom of the answer.
struct modems_text {
    uint8_t request_id;
    uint8_t atom_id;
};
constexpr modems_text k_modems_texts_a[] = {{0x07, 21}, {0x55, 38}, {0x41, 27}, {0xEA, 163}, {0x59, 37}};

void require_modems_text(const uint8_t *message)
{
    for (const modems_text &row : k_modems_texts_a) {
        const uint8_t *atom = row.request_id == request_id() ? amt_message_find_atom(message, row.atom_id) : nullptr;
        const uint32_t length = atom == nullptr ? 0 : load_u16_le(atom);
        require(length == 0 || memmem(g_now.answer_a, g_now.answer_length, atom + 2, length) != nullptr,
                "a value of the modem is told as the modem has said it");
    }
}

// --- what stays behind

void require_whole_buffers()
{
    const handle_context &context = handle_context_st;
    for (const amt_buffer *buffer :
         {&context.m_request, &context.m_response, &context.m_dispatch, &context.m_modem_relay}) {
        require(buffer->m_length <= AMT_MESSAGE_SIZE && buffer->m_end == 0, "no buffer is longer than it is");
    }
    for (const amt_at_record *record : {&g_at_cmd_buf, &g_at_rsp_buf}) {
        require(record->m_length <= AMT_AT_TEXT_SIZE && record->m_dropped <= AMT_AT_TEXT_SIZE - record->m_length &&
                    record->m_end == 0,
                "no record of the AT port is longer than it is");
    }
}

void require_only_channels_open()
{
    const handle_context &context = handle_context_st;
    int expected = 0;
    for (const int fd :
         {context.m_fd_pc.load(), context.m_fd_at.load(), context.m_fd_modem.load(), context.m_pty.m_ptm_fd}) {
        expected += fd > 0 ? 1 : 0;
    }
    require(files_open_count() == expected, "a request leaves nothing open and closes nothing that is not its own");
}

void take(uint8_t *target, size_t room, size_t *target_length, const uint8_t *bytes, size_t length)
{
    *target_length = std::min(length, room);
    memcpy(target, bytes, *target_length);
}

} // namespace

void law_broken(const char *sentence, const char *detail)
{
    g_world_runs = false;
    (void)fprintf(stderr, "broken: %s%s%s\n", sentence, detail[0] == '\0' ? "" : ": ", detail);
    abort();
}

void laws_reset(world_side side)
{
    g_now.side = side;
    g_now.is_request = false;
    g_now.is_relay = false;
    g_now.answer_length = 0;
}

void laws_take_request(const uint8_t *bytes, size_t length)
{
    take(g_now.request_a, AMT_MESSAGE_SIZE, &g_now.request_length, bytes, length);
    memset(g_now.request_a + g_now.request_length, 0, sizeof(g_now.request_a) - g_now.request_length);
    g_now.is_request = true;
    g_now.is_relay = false;
    g_now.answer_length = 0;
    g_now.station_writes = 0;
    g_now.station_answers = 0;
    g_now.application_writes = 0;
    g_now.modem_writes = 0;
    g_now.modem_failures = 0;
}

void laws_take_answer(const uint8_t *bytes, size_t length)
{
    for (size_t i = 0; i < length && g_now.answer_length < sizeof(g_now.answer_a); i++) {
        if (bytes[i] != 0) {
            g_now.answer_a[g_now.answer_length++] = bytes[i];
        }
    }
}

void laws_take_chunk(const uint8_t *bytes, size_t length)
{
    take(g_now.chunk_a, AMT_MESSAGE_SIZE, &g_now.chunk_length, bytes, length);
    g_now.chunk_a[g_now.chunk_length] = '\0';
    g_now.is_relay = true;
}

void law_station_write(const uint8_t *bytes, size_t count)
{
    g_now.station_writes++;
    const text written = {bytes, count};
    if (g_now.is_relay) {
        require(equals(written, g_now.chunk_a, g_now.chunk_length), "a chunk of the modem is relayed as it came");
        return;
    }
    require(is_envelope(written) || is_line(written), "the station gets a whole envelope or a whole line");
    const bool is_framed = is_envelope(written);
    if (is_framed && count == AMT_ENVELOPE_SIZE) {
        return; // announces an answer
    }
    g_now.station_answers++;
    if (is_framed) {
        uint8_t message_a[AMT_MESSAGE_SIZE] = {};
        memcpy(message_a, bytes + AMT_ENVELOPE_HEADER_SIZE, count - AMT_ENVELOPE_SIZE);
        require_answer(message_a, g_now.station_answers);
    } else {
        require(g_now.station_answers == 1, "a line has one line for an answer");
    }
}

void law_application_write(const uint8_t *bytes, size_t count)
{
    g_now.application_writes++;
    require(is_message({bytes, count}), "the application gets a whole message");
    g_now.last_answer_id = bytes[3];
    uint8_t message_a[AMT_MESSAGE_SIZE] = {};
    memcpy(message_a, bytes, count);
    g_now.last_answer_result = amt_message_get_int(message_a, 1);
    require_modems_text(message_a);
    if (application_handler() != amt_modem_handle_req) { // of that, the modem says the answers
        require_answer(message_a, g_now.application_writes);
    }
}

void law_modem_write(const uint8_t *bytes, size_t count, bool succeeds)
{
    g_now.modem_writes++;
    g_now.modem_failures += succeeds ? 0 : 1;
    const text wanted = forwarded();
    require(equals({bytes, count}, wanted.bytes, wanted.length), "a request goes to the modem byte for byte");
}

void law_at_write(const uint8_t *bytes, size_t count)
{
    const text written = {bytes, count};
    require(begins_with(written, "AT^D") && count <= AMT_AT_TEXT_SIZE && memchr(bytes, '\0', count) == nullptr,
            "the modem is asked in lines of text");
    require(ends_with(written, "\r") || (begins_with(written, "AT^DMPCHN=") && count == 12),
            "a line to the modem has its end, but for a channel of several digits");
}

// Nothing that a request says stands in a command but its numbers; so no text of a message can become one.
void law_shell_command(const char *command)
{
    static constexpr const char *k_commands_a[] = {"/system/bin/sync",
                                                   "/system/bin/amt-audio ",
                                                   "chmod -R 555 /amt/",
                                                   "echo \"amt_get_vbatt\" > /proc/driver/",
                                                   "echo \"amt_set_vbatt[",
                                                   " echo the cmd value received from pc is : ",
                                                   "echo the subcmd is invalid >> ",
                                                   "echo gps read result:invalid param > "};
    const bool is_known = std::any_of(std::begin(k_commands_a), std::end(k_commands_a),
                                      [command](auto known) { return strncmp(command, known, strlen(known)) == 0; });
    require(is_known && strpbrk(command, ";&|`$'\\\r\n(){}*?~") == nullptr, "only known commands are run", command);
}

// What the modem says confirms a write, and nothing else in it changes a file.
void law_file_change(const char *path)
{
    const text chunk = {g_now.chunk_a, g_now.chunk_length};
    require(!g_now.is_relay || strstr(reinterpret_cast<const char *>(g_now.chunk_a), k_ok) != nullptr ||
                is_confirming_envelope(chunk),
            "an identity is saved when the modem has confirmed it", path);
}

void law_power_off()
{
    require(g_now.side == world_side::station && g_now.station_answers == 1 &&
                (request_id() == 0xEC || request_holds("AT^DAMTOFF\r")),
            "the handset goes off when the station has asked for it and been answered");
}

void law_signal(pid_t pid, int signal_number)
{
    const uint8_t id = request_id();
    require((signal_number == SIGKILL && pid > 0 && id == 0x21) || (signal_number == SIGTERM && id == 0xC3),
            "nobody is ended but the player, and the service itself behind the switch");
}

void laws_settle()
{
    require_whole_buffers();
    require_only_channels_open();
    if (g_now.is_request && !g_now.is_relay) {
        if (g_now.side == world_side::station) {
            require_station_request_served();
        } else {
            require_application_request_served();
        }
    }
    g_now.is_request = false;
    g_now.is_relay = false;
}
