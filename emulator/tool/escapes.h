// Bytes as people read them and type them: in quotes, with the escapes of the modem's rules. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace handset_tool {

std::string in_quotes(std::string_view bytes);

} // namespace handset_tool
