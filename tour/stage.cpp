// Printing and keeping the verdicts, see stage.h.

#include "tour/stage.h"

#include <iomanip>
#include <iostream>

namespace tour {

constexpr int k_label_width = 19;
constexpr std::size_t k_quote_width = 96;

std::string one_line(const std::string &text)
{
    std::string line;
    for (const char character : text) {
        if (static_cast<unsigned char>(character) >= ' ') {
            line += character;
        } else if (!line.empty() && line.back() != ' ') {
            line += ' ';
        }
    }
    return line;
}

void stage::open_scene(const std::string &title, const std::string &about)
{
    std::cout << '\n' << title << '\n' << "  " << about << "\n" << std::endl;
}

void stage::say(const std::string &label, const std::string &text)
{
    std::cout << "  " << std::left << std::setw(k_label_width) << label << text << std::endl;
}

void stage::remark(const std::string &text)
{
    std::cout << "\n  " << text << std::endl;
}

void stage::quote(const std::string &text)
{
    const std::string line = one_line(text);
    const bool fits = line.size() <= k_quote_width;
    std::cout << "  | " << (fits ? line : line.substr(0, k_quote_width) + " ...") << std::endl;
}

void stage::expect(const std::string &what, const std::string &expected, const std::string &came)
{
    m_checks.push_back({what, expected, came});
}

bool stage::show_checks() const
{
    bool all_hold = true;
    std::cout << (m_checks.empty() ? "" : "\nChecks\n");
    for (const check &each : m_checks) {
        const bool holds = each.came == each.expected;
        std::cout << (holds ? "  ok    " : "  FAIL  ") << each.what << '\n';
        if (!holds) {
            std::cout << "        expected  " << each.expected << "\n        came      " << each.came << '\n';
        }
        all_hold = all_hold && holds;
    }
    std::cout << std::flush;
    return all_hold;
}

} // namespace tour
