// Reading the command line, see options.h.

#include "tests/faults/sweep/options.h"

#include <cstdlib>

namespace faults {

namespace {

struct number_option {
    const char *name;
    unsigned options::*field;
};

constexpr number_option k_numbers[] = {
    {"--jobs", &options::jobs},
    {"--sample", &options::sample},
    {"--slack", &options::slack},
};

unsigned options::*field_named(const std::string &name)
{
    for (const number_option &row : k_numbers) {
        if (name == row.name) {
            return row.field;
        }
    }
    return nullptr;
}

} // namespace

std::string read_options(int argc, char **argv, options &what)
{
    for (int i = 1; i < argc; i++) {
        const std::string word = argv[i];
        unsigned options::*number = field_named(word);
        const bool takes_value = number != nullptr || word == "--case";
        if (takes_value && i + 1 == argc) {
            return word + " wants a value";
        }
        if (number != nullptr) {
            what.*number = static_cast<unsigned>(strtoul(argv[++i], nullptr, 10));
            if (what.*number == 0) {
                return word + " wants a number above 0";
            }
        } else if (word == "--case") {
            what.only = argv[++i];
        } else if (word == "--thorough") {
            what.is_thorough = true;
        } else if (word == "--list") {
            what.is_list = true;
        } else if (word[0] == '-') {
            return "no option " + word;
        } else {
            what.scenarios.push_back(word);
        }
    }
    return "";
}

} // namespace faults
