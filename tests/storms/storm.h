// Storms: the service for thousands of times in what a line does to it once in a while. A storm is a row of the table
// below; it is made of cycles, each with a seed of its own, from which every random choice in it comes. What differs
// from one play of a seed to the next is only how the machine schedules.
//
//     storm endings --seed 4711 --count 1      plays one cycle again
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <vector>

struct storm_options {
    std::uint64_t seed = 1; // of the first cycle; the others have the next ones
    long count = 0;         // in the storm's own unit
    int jobs = 1;           // players side by side, each with a handset of its own
};

// What has been seen; any thread.
class storm_report {
  public:
    void add_failure(std::uint64_t seed, const std::string &what);
    void add(const std::string &figure, long number = 1);          // counts
    void add_most(const std::string &figure, long number);         // keeps the greatest
    void tell(const std::string &figure, const std::string &text); // a figure that is no count

    std::vector<std::string> failures() const;
    std::string figures() const; // one line

  private:
    mutable std::mutex m_mutex; // guards everything below
    std::vector<std::string> m_failures;
    std::map<std::string, long> m_counts; // and the greatest numbers
    std::map<std::string, std::string> m_texts;
};

// One cycle's chance and its place for figures.
struct cycle {
    std::uint64_t seed;
    std::mt19937_64 random;
    storm_report &report;

    // Uniform, both ends included.
    long number(long from, long to) { return std::uniform_int_distribution<long>(from, to)(random); }
    bool chance(int percent) { return number(1, 100) <= percent; }

    // Lets up to so many microseconds pass: the random moments of a storm. Nothing is waited for by it.
    void pass_up_to(long microseconds);
};

struct storm {
    const char *name;
    const char *what; // one line
    const char *unit; // what is counted
    long full;        // how many a full play has,
    long sample;      // and how many the sample among the tests
    void (*play)(const storm_options &options, storm_report &report);
};

extern const std::vector<storm> k_storms;

// Throws std::runtime_error with the text unless it holds.
void require(bool holds, const std::string &text);

void play_endings(const storm_options &options, storm_report &report);
void play_hang_ups(const storm_options &options, storm_report &report);
void play_relay(const storm_options &options, storm_report &report);
void play_writers(const storm_options &options, storm_report &report);
void play_log(const storm_options &options, storm_report &report);
