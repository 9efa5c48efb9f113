// Reading lines, see line_editor.h. The library keeps one state for the whole process, hence the one object.

#include "tool/line_editor.h"

#include <editline/readline.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>

namespace tool {

namespace fs = std::filesystem;

constexpr int k_history_lines = 1000;
constexpr int k_blank = 0x20; // as the library wants a character

static completer g_complete;
static std::vector<std::string> g_offered;

// What of the line stands in front of the word that is typed; an open quote there is no reason not to complete.
static std::vector<std::string> words_before(const std::string &line)
{
    for (const char *end : {"", "\"", "'"}) {
        try {
            return split_words(line + end);
        } catch (const std::invalid_argument &) {
            continue;
        }
    }
    return {};
}

// Called again with a growing `state` until it returns null; what it returns is freed by the library.
static char *next_offered(const char *typed, int state)
{
    if (state == 0) {
        std::vector<std::string> words = words_before({rl_line_buffer, static_cast<std::size_t>(rl_point)});
        if (words.empty() || *typed == '\0') {
            words.emplace_back();
        }
        words.back() = typed;
        g_offered.clear();
        for (std::string &word : g_complete(words)) {
            if (word.compare(0, std::strlen(typed), typed) == 0) {
                g_offered.push_back(std::move(word));
            }
        }
    }
    const auto at = static_cast<std::size_t>(state);
    return at < g_offered.size() ? strdup(g_offered[at].c_str()) : nullptr;
}

static bool ends_with_equals(std::string_view word)
{
    return !word.empty() && word.back() == '=';
}

static char **offer(const char *typed, int, int)
{
    rl_attempted_completion_over = 1; // no names of files instead
    char **all = rl_completion_matches(typed, next_offered);
    // A word that ends in '=' goes on with its value.
    rl_completion_append_character = all != nullptr && ends_with_equals(all[0]) ? 0 : k_blank;
    return all;
}

line_editor::line_editor(const std::string &prompt, completer complete, const fs::path &history)
    : m_prompt(prompt)
    , m_history(history)
    , m_at_terminal(isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0)
{
    if (!m_at_terminal) {
        return;
    }
    g_complete = std::move(complete);
    rl_attempted_completion_function = offer;
    rl_basic_word_break_characters = " \t\n\"'"; // not '=': what is typed behind it is of the same word
    using_history();
    stifle_history(k_history_lines);
    (void)read_history(m_history.c_str()); // none yet
}

line_editor::~line_editor()
{
    if (m_at_terminal && !m_history.empty()) {
        std::error_code ignored; // a history that cannot be kept is no reason to fail
        fs::create_directories(m_history.parent_path(), ignored);
        (void)write_history(m_history.c_str());
    }
    g_complete = nullptr;
}

std::optional<std::string> line_editor::read()
{
    if (!m_at_terminal) {
        std::string line;
        return std::getline(std::cin, line) ? std::optional(line) : std::nullopt;
    }
    errno = 0;
    char *typed = readline(m_prompt.c_str());
    (void)alarm(0); // an interrupt has a second knock, which would end the next line as well
    if (typed == nullptr && errno == EINTR) {
        std::cout << '\n' << std::flush;
        return "";
    }
    if (typed == nullptr) {
        return std::nullopt;
    }
    const std::string line = typed;
    free(typed); // NOLINT(cppcoreguidelines-no-malloc): the library's
    if (line.find_first_not_of(' ') != std::string::npos) {
        add_history(line.c_str());
    }
    return line;
}

std::vector<std::string> split_words(const std::string &line)
{
    std::vector<std::string> words;
    bool in_word = false;
    char quote = '\0';
    for (std::size_t i = 0; i < line.size(); i++) {
        const char c = line[i];
        if (quote == '\0' && (c == ' ' || c == '\t')) {
            in_word = false;
            continue;
        }
        if (!in_word) {
            words.emplace_back();
            in_word = true;
        }
        if (c == quote) {
            quote = '\0';
        } else if (quote == '\0' && (c == '"' || c == '\'')) {
            quote = c;
        } else if (c == '\\' && quote != '\'' && i + 1 < line.size()) {
            words.back() += line[++i];
        } else {
            words.back() += c;
        }
    }
    if (quote != '\0') {
        throw std::invalid_argument("a quote is open: end the word with " + std::string(1, quote));
    }
    return words;
}

fs::path history_file(const std::string &name)
{
    const char *state = getenv("XDG_STATE_HOME"); // NOLINT(concurrency-mt-unsafe): nothing here sets variables
    const char *home = getenv("HOME");            // NOLINT(concurrency-mt-unsafe): as above
    if (state != nullptr && *state != '\0') {
        return fs::path(state) / "kv-zep-amt" / (name + ".history");
    }
    if (home == nullptr || *home == '\0') {
        return {};
    }
    return fs::path(home) / ".local/state/kv-zep-amt" / (name + ".history");
}

} // namespace tool
