// storm: plays storms at full count and prints one table.
#include <getopt.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "tests/storms/storm.h"

namespace {

constexpr char k_usage[] =
    "Usage: storm [OPTION]... [STORM]...\n"
    "Plays storms, all unless named, and prints one table. Exits with 1 when something failed.\n\n"
    "  --count N  so many of the storm's unit in place of a full play\n"
    "  --jobs N   handsets side by side (4)\n"
    "  --seed N   of the first cycle (random); --count 1 plays that one again\n"
    "  --list     tells which storms there are\n"
    "  --help     tells this\n";

void list_storms()
{
    for (const storm &each : k_storms) {
        (void)printf("%-10s %6ld %-9s %s\n", each.name, each.full, each.unit, each.what);
    }
}

const storm *find_storm(const char *name)
{
    for (const storm &each : k_storms) {
        if (std::strcmp(each.name, name) == 0) {
            return &each;
        }
    }
    return nullptr;
}

std::vector<const storm *> chosen_storms(int count, char **names)
{
    std::vector<const storm *> chosen;
    for (int i = 0; i < count; i++) {
        const storm *each = find_storm(names[i]);
        if (each == nullptr) {
            (void)fprintf(stderr, "storm: no storm '%s', see --list\n", names[i]);
            exit(2); // NOLINT(concurrency-mt-unsafe): before there are threads
        }
        chosen.push_back(each);
    }
    for (const storm &each : k_storms) {
        if (count == 0) {
            chosen.push_back(&each);
        }
    }
    return chosen;
}

// False when something failed.
bool play(const storm &each, storm_options options)
{
    options.count = options.count > 0 ? options.count : each.full;
    storm_report report;
    const auto begin = std::chrono::steady_clock::now();
    each.play(options, report);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    const std::vector<std::string> failures = report.failures();
    (void)printf("%-10s %6ld %-9s %8.1f s  %-10s %s\n", each.name, options.count, each.unit, took.count(),
                 failures.empty() ? "passed" : (std::to_string(failures.size()) + " failed").c_str(),
                 report.figures().c_str());
    for (const std::string &failure : failures) {
        (void)printf("  %s: %s\n", each.name, failure.c_str());
    }
    (void)fflush(stdout);
    return failures.empty();
}

} // namespace

int main(int argc, char **argv)
{
    constexpr option k_options_a[] = {
        {"count", required_argument, nullptr, 'c'}, {"jobs", required_argument, nullptr, 'j'},
        {"seed", required_argument, nullptr, 's'},  {"list", no_argument, nullptr, 'l'},
        {"help", no_argument, nullptr, 'h'},        {nullptr, 0, nullptr, 0},
    };
    storm_options options;
    options.jobs = 4;
    options.seed = std::random_device()();
    for (int found = 0; (found = getopt_long(argc, argv, "", k_options_a, nullptr)) != -1;) {
        switch (found) {
        case 'c':
            options.count = std::strtol(optarg, nullptr, 10);
            break;
        case 'j':
            options.jobs = static_cast<int>(std::strtol(optarg, nullptr, 10));
            break;
        case 's':
            options.seed = std::strtoull(optarg, nullptr, 10);
            break;
        case 'l':
            list_storms();
            return 0;
        default:
            (void)fputs(k_usage, found == 'h' ? stdout : stderr);
            return found == 'h' ? 0 : 2;
        }
    }
    const std::vector<const storm *> chosen = chosen_storms(argc - optind, argv + optind);
    (void)printf("seed %llu, %d side by side\n", static_cast<unsigned long long>(options.seed), options.jobs);
    bool all_passed = true;
    for (const storm *each : chosen) {
        all_passed = play(*each, options) && all_passed;
    }
    return all_passed ? 0 : 1;
}
