// Bytes in quotes, see escapes.h.

#include "emulator/tool/escapes.h"

#include <cstdio>

namespace handset_tool {

static std::string escaped(char character)
{
    constexpr std::string_view named = "\rr\nn\tt\"\"\\\\"; // pairs: the byte, its letter
    for (std::size_t i = 0; i < named.size(); i += 2) {
        if (named[i] == character) {
            return std::string("\\") + named[i + 1];
        }
    }
    if (character >= ' ' && character <= '~') {
        return std::string(1, character);
    }
    char text[5];
    (void)std::snprintf(text, sizeof(text), "\\x%02X", static_cast<unsigned char>(character));
    return text;
}

std::string in_quotes(std::string_view bytes)
{
    std::string text = "\"";
    for (const char character : bytes) {
        text += escaped(character);
    }
    return text + '"';
}

} // namespace handset_tool
