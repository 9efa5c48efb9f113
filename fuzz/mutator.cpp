#include "fuzz/mutator.h"

#include <string.h>

#include <algorithm>
#include <random>

#include "amt/wire/amt-convert.h"
#include "amt/wire/bytes.h"
#include "fuzz/script.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t max_size);

namespace {

using byte_vector = std::vector<uint8_t>;
using generator = std::minstd_rand;

struct entry {
    uint8_t letter;
    byte_vector bytes;
};
using entry_vector = std::vector<entry>;

constexpr size_t k_growth_max = 256; // of a record, in one step
constexpr size_t k_records_max = 24; // of a script
constexpr uint8_t k_letters_a[] = {'R', 'R', 'R', 'M', 'M', 'M', 'C', 'C', 'F', 'P'};

// What handlers look for.
constexpr uint8_t k_atoms_a[] = {1,   15,  19,  21,  26,  30,  36,  37,  38,  39,  110, 111, 112, 140, 141, 146, 147,
                                 148, 149, 152, 153, 154, 155, 156, 157, 159, 160, 161, 162, 190, 191, 192, 201};

// What lines are made of, and the modem's answers.
constexpr const char *k_words_a[] = {
    "AT\r",
    "AT^DBTADDR?\r",
    "AT^DBTADDR=\"",
    "AT^DWIFIADDR?\r",
    "AT^DWIFIADDR=\"",
    "AT^DSVER\r",
    "AT^DAMTOFF\r",
    "AT^DDEVCONNCHK=",
    "AT^DBTCTRL=",
    "AT^DGPSCTRL=",
    "AT^DWLTSD=",
    "AT^DWLTRD=",
    "AT^DPCBACTRL=",
    "AT^DAMT1=",
    "AT^DENTERIDLE",
    "AT^DBOOTDLFIN",
    "AT^DCGSNW=",
    "AT^DMSN=",
    "AT^DMPCHN=",
    "\r\nOK\r\n",
    "\r\nERROR\r\n",
    "\r\n+CME ERROR",
    "\r\n+CMS ERROR",
    "\r\n^DGSN: ",
    "\r\n^DMSN:",
    "\r\n^DMFD:",
    "\r\n^DTOC:",
    "\r\n^DCMR:",
    "\r\n^DTTEST: ",
    "\r\n^DATOMR: ",
    "\r\n^DMCC:",
    ",",
    "1",
    "2",
    "\r",
};

template <typename type, size_t count>
const type &pick(const type (&from)[count], generator &random)
{
    return from[random() % count];
}

// --- records

entry_vector parse(const uint8_t *data, size_t size)
{
    entry_vector entries;
    script_record record;
    while (script_take(data, size, &record)) {
        entries.push_back({record.letter, {record.bytes, record.bytes + record.length}});
    }
    return entries;
}

// As many of the records as make sense, and as there is room for.
size_t serialise(const entry_vector &entries, uint8_t *data, size_t max_size)
{
    byte_vector script;
    for (const entry &from : entries) {
        if (&from == entries.data() + k_records_max || script.size() + SCRIPT_HEADER_SIZE > max_size) {
            break;
        }
        const size_t room = max_size - script.size() - SCRIPT_HEADER_SIZE;
        script_append(script, from.letter, from.bytes.data(), std::min(from.bytes.size(), room));
    }
    memcpy(data, script.data(), script.size());
    return script.size();
}

// --- messages

bool is_envelope(const byte_vector &bytes)
{
    return bytes.size() >= AMT_ENVELOPE_SIZE + AMT_COMMAND_HEADER_SIZE &&
           load_u32_le(bytes.data()) == AMT_ENVELOPE_MAGIC;
}

bool is_message(const byte_vector &bytes)
{
    return bytes.size() >= AMT_COMMAND_HEADER_SIZE && bytes[2] == AMT_COMMAND_HEAD;
}

void repair_atoms(uint8_t *message, size_t size)
{
    size_t offset = AMT_COMMAND_HEADER_SIZE;
    while (size - offset >= AMT_ATOM_HEADER_SIZE) {
        message[offset] = AMT_ATOM_HEAD;
        const size_t room = size - offset - AMT_ATOM_HEADER_SIZE;
        const size_t length = std::min<size_t>(load_u16_le(message + offset + 3), room);
        store_u16_le(message + offset + 3, static_cast<uint16_t>(length));
        offset += AMT_ATOM_HEADER_SIZE + length;
    }
}

void repair_message(uint8_t *message, size_t size)
{
    store_u16_le(message, static_cast<uint16_t>(size));
    message[2] = AMT_COMMAND_HEAD;
    store_u16_le(message + 4, static_cast<uint16_t>(size - AMT_COMMAND_HEADER_SIZE));
    repair_atoms(message, size);
}

void repair_envelope(byte_vector &bytes)
{
    const size_t inside = bytes.size() - AMT_ENVELOPE_SIZE;
    repair_message(bytes.data() + AMT_ENVELOPE_HEADER_SIZE, inside);
    store_u32_le(bytes.data() + 4, static_cast<uint32_t>(inside + 8));
    const size_t checked = AMT_ENVELOPE_HEADER_SIZE + inside;
    store_u32_le(bytes.data() + checked, amt_convert_crc(bytes.data(), static_cast<uint32_t>(checked)));
}

byte_vector random_atom(generator &random)
{
    const auto type = static_cast<uint8_t>(1 + random() % 4);
    const size_t longest = random() % 8 == 0 ? 130 : 24;
    const size_t length = type == AMT_VALUE_INT ? AMT_INT_LENGTH : type == AMT_VALUE_BOOL ? 1 : random() % longest;
    byte_vector atom = {AMT_ATOM_HEAD, pick(k_atoms_a, random), type, static_cast<uint8_t>(length), 0};
    for (size_t i = 0; i < length; i++) {
        const bool is_small_number = type == AMT_VALUE_INT && random() % 4 != 0;
        atom.push_back(static_cast<uint8_t>(is_small_number ? (i == 0 ? random() % 16 : 0) : random() % 256));
    }
    return atom;
}

// Another command, or one atom more.
void edit_message(byte_vector &bytes, generator &random)
{
    const size_t begin = is_envelope(bytes) ? AMT_ENVELOPE_HEADER_SIZE : 0;
    const size_t end = bytes.size() - (begin == 0 ? 0 : AMT_ENVELOPE_SIZE - AMT_ENVELOPE_HEADER_SIZE);
    if (random() % 3 == 0) {
        bytes[begin + 3] = static_cast<uint8_t>(random() % 256);
        return;
    }
    const byte_vector atom = random_atom(random);
    const size_t at = random() % 2 == 0 ? begin + AMT_COMMAND_HEADER_SIZE : end;
    bytes.insert(bytes.begin() + static_cast<ptrdiff_t>(at), atom.begin(), atom.end());
}

// --- steps

void insert_word(byte_vector &bytes, generator &random)
{
    const char *word = pick(k_words_a, random);
    const auto at = static_cast<ptrdiff_t>(random() % (bytes.size() + 1));
    bytes.insert(bytes.begin() + at, word, word + strlen(word));
}

void vary_bytes(byte_vector &bytes, size_t max_size)
{
    const size_t size = bytes.size();
    bytes.resize(std::max(size, std::min(size + k_growth_max, max_size)));
    bytes.resize(LLVMFuzzerMutate(bytes.data(), size, bytes.size()));
}

void vary(entry &chosen, size_t max_size, generator &random)
{
    const bool has_form = is_envelope(chosen.bytes) || is_message(chosen.bytes);
    if (has_form && random() % 2 == 0) {
        edit_message(chosen.bytes, random);
    } else if (!has_form && random() % 4 == 0) {
        insert_word(chosen.bytes, random);
    } else if (max_size > 0) {
        vary_bytes(chosen.bytes, max_size);
    }
}

void add_record(entry_vector &entries, generator &random)
{
    entry added = {pick(k_letters_a, random), {}};
    switch (added.letter) {
    case 'C':
        added.bytes = {static_cast<uint8_t>(random() % 24), static_cast<uint8_t>(random() % 256)};
        break;
    case 'M':
    case 'R':
        insert_word(added.bytes, random);
        insert_word(added.bytes, random);
        break;
    default:
        added.bytes = {static_cast<uint8_t>(random() % 32), '1'};
        break;
    }
    entries.insert(entries.begin() + static_cast<ptrdiff_t>(random() % (entries.size() + 1)), added);
}

void step(entry_vector &entries, size_t max_size, generator &random)
{
    const size_t at = random() % entries.size();
    switch (random() % 10) {
    case 0:
        add_record(entries, random);
        break;
    case 1:
        entries.insert(entries.begin() + static_cast<ptrdiff_t>(random() % entries.size()), entry(entries[at]));
        break;
    case 2:
        if (entries.size() > 1) {
            entries.erase(entries.begin() + static_cast<ptrdiff_t>(at));
        }
        break;
    case 3:
        std::swap(entries[at], entries[random() % entries.size()]);
        break;
    default:
        vary(entries[at], max_size, random);
        break;
    }
}

} // namespace

void mutator_repair(byte_vector &bytes)
{
    if (bytes.size() > AMT_MESSAGE_SIZE) {
        return;
    }
    if (is_envelope(bytes)) {
        repair_envelope(bytes);
    } else if (is_message(bytes)) {
        repair_message(bytes.data(), bytes.size());
    }
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t max_size, unsigned int seed)
{
    generator random(seed);
    entry_vector entries = parse(data, size);
    if (entries.empty() || random() % 16 == 0) {
        return LLVMFuzzerMutate(data, size, max_size);
    }
    for (size_t steps = 1 + random() % 3; steps > 0; steps--) {
        step(entries, max_size, random);
    }
    const bool is_repaired = random() % 8 != 0;
    for (entry &each : entries) {
        if (is_repaired && (each.letter == 'R' || each.letter == 'M')) {
            mutator_repair(each.bytes);
        }
    }
    return serialise(entries, data, max_size);
}

// The beginning of one script and the end of the other.
extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t *first, size_t first_size, const uint8_t *second,
                                            size_t second_size, uint8_t *out, size_t max_out_size, unsigned int seed)
{
    generator random(seed);
    entry_vector entries = parse(first, first_size);
    const entry_vector others = parse(second, second_size);
    entries.resize(random() % (entries.size() + 1));
    entries.insert(entries.end(), others.begin() + static_cast<ptrdiff_t>(random() % (others.size() + 1)),
                   others.end());
    return serialise(entries, out, max_out_size);
}
