// Asking bash, see bash_completion.h.
#include "tests/tools/bash_completion.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

constexpr char k_script[] = R"(
compopt() { printf 'compopt %s\n' "$*"; }
source "$1"
function=$2 COMP_LINE=$3 COMP_POINT=${#3}
shift 3
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
"$function" "$1" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
((${#COMPREPLY[@]} == 0)) || printf '%s\n' "${COMPREPLY[@]}"
)";

// As bash parts a line: at blanks, and before and behind '=' and ':'.
std::vector<std::string> parted(const std::string &line)
{
    std::vector<std::string> words;
    char before = ' ';
    for (const char c : line) {
        const bool is_mark = c == '=' || c == ':';
        const bool was_mark = before == '=' || before == ':';
        if (c != ' ' && (before == ' ' || is_mark != was_mark)) {
            words.emplace_back();
        }
        if (c != ' ') {
            words.back() += c;
        }
        before = c;
    }
    if (before == ' ') {
        words.emplace_back();
    }
    return words;
}

} // namespace

std::vector<std::string> offered_by_bash(const tool_runner &tools, const std::string &file, const std::string &function,
                                         const std::string &line)
{
    command_words words = {"bash", "--norc", "-c", k_script, "bash", file, function, line};
    const std::vector<std::string> behind = parted(line);
    words.insert(words.end(), behind.begin(), behind.end());
    const outcome come = tools.run(words);
    EXPECT_EQ(come.status, 0) << come;
    EXPECT_EQ(come.err, "") << line;
    std::vector<std::string> offers;
    std::istringstream stream(come.out);
    for (std::string each; std::getline(stream, each);) {
        offers.push_back(each);
    }
    return offers;
}
