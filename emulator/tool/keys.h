// What of a handset can be looked at and set by name: one table, and three kinds of names that are open ended,
// property.NAME, file.PATH and driver.ENTRY. Values are texts, those of files any bytes. The keeper's one thread.
// A name or a value that is none is std::invalid_argument, which says what there is.
#pragma once

#include "emulator/tool/bench.h"
#include "emulator/tool/control.h"

#include <string>

namespace handset_tool {

// Every row of the table: key, value, the values that have names, unit, meaning, settable.
json all_keys(bench &of);

std::string get_key(bench &of, const std::string &name);

// Without `really` it only looks whether that would be possible.
void set_key(bench &of, const std::string &name, const std::string &value, bool really);

} // namespace handset_tool
