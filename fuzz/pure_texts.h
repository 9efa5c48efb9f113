// Texts as the service's readers of small files take them: in pieces of a line, each up to its first zero byte.
#pragma once

#include <algorithm>
#include <string_view>

// Takes the next piece: a line with its line end, or the first `most` bytes of a longer one. Empty behind the end.
inline std::string_view fuzz_take_piece(std::string_view &content, size_t most)
{
    const size_t line = std::min(content.find('\n'), content.size() - 1) + 1;
    const std::string_view piece = content.substr(0, content.empty() ? 0 : std::min(line, most));
    content.remove_prefix(piece.size());
    return piece;
}

// What of a piece, or of any bytes, is text.
inline std::string_view fuzz_text_of(std::string_view bytes)
{
    return bytes.substr(0, bytes.find('\0'));
}
