// The lines that people type into a tool's shell: edited, with history and completion at a terminal, read as they come
// elsewhere. One object at a time; main thread.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tool {

// The words that may stand in place of the last of `words`, which is what has been typed of it (it may be empty).
using completer = std::function<std::vector<std::string>(const std::vector<std::string> &words)>;

class line_editor {
  public:
    // History is kept in the file, of which a folder that is missing is made; an empty path keeps none.
    line_editor(const std::string &prompt, completer complete, const std::filesystem::path &history);
    ~line_editor();
    line_editor(const line_editor &) = delete;
    line_editor &operator=(const line_editor &) = delete;

    // The next line without its end; nothing at the end of the input. An interrupt gives an empty line.
    std::optional<std::string> read();

  private:
    std::string m_prompt;
    std::filesystem::path m_history;
    bool m_at_terminal;
};

// A line as a shell's words: blanks part, quotes of both kinds and backslashes keep together. Throws
// std::invalid_argument for a quote that does not end.
std::vector<std::string> split_words(const std::string &line);

// Where a tool keeps the history of its shell: $XDG_STATE_HOME, or ~/.local/state, then kv-zep-amt/NAME.history. Empty
// when there is no home.
std::filesystem::path history_file(const std::string &name);

} // namespace tool
