// What keys are kept in: control files of emulated entries, and the names that are open ended. The keeper's one thread;
// a name or value that is none is std::invalid_argument, a property or file that is not there tool::failure.
#pragma once

#include "emulator/tool/bench.h"

#include <optional>
#include <string>
#include <vector>

namespace handset_tool {

// A field of an entry's control file; nothing when it has none.
std::optional<std::string> control_field(bench &of, const std::string &entry, const std::string &field);

// Sets one field and leaves the others; an empty value removes it.
void set_control_field(bench &of, const std::string &entry, const std::string &field, const std::string &value);

// A file of the handset's with this content; removed when that is empty.
void write_or_remove(bench &of, const std::string &path, const std::string &content);

std::string screen_text(bench &of);

// "27:41,5:38", by index.
std::string satellites_text(bench &of);
void set_satellites(bench &of, const std::string &value, bool really);

// property.NAME, file.PATH, driver.ENTRY.
bool is_open_ended(const std::string &name);
std::string get_open_ended(bench &of, const std::string &name);
void set_open_ended(bench &of, const std::string &name, const std::string &value, bool really);

// The entries that have a key of their own, see keys.cpp.
std::vector<std::string> entries_of_keys();

} // namespace handset_tool
