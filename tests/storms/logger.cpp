// storm-logger: several threads that log at once, in a folder of their own, and on request a child made in the middle
// of it. Each record tells its writer and its number, and how many letters it has, so that any damage is seen.
//
//     storm-logger FOLDER THREADS RECORDS [fork]
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "pub/log/log_client.h"

#define LOG_MODULE "tests/storm"
#include "pub/log/log.h"

namespace {

// One record.
void tell(int writer, long number)
{
    const std::string letters(static_cast<std::size_t>(number % 97), static_cast<char>('a' + writer));
    log_info("writer=%d number=%ld letters=%d %s.", writer, number, static_cast<int>(letters.size()), letters.c_str());
}

void tell_many(int writer, long records)
{
    for (long i = 0; i < records; i++) {
        tell(writer, i);
    }
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 4) {
        (void)fputs("Usage: storm-logger FOLDER THREADS RECORDS [fork]\n", stderr);
        return 2;
    }
    const int threads = std::atoi(argv[2]);
    const long records = std::strtol(argv[3], nullptr, 10);
    const bool forks = argc > 4 && std::strcmp(argv[4], "fork") == 0;
    (void)sfw_log_set_directory(argv[1]);
    (void)sfw_log_start(SFW_LOG_DEFAULT_OBJECT, "storm");
    log_info("the start");
    sfw_log_mark_position();
    std::vector<std::thread> writers;
    for (int i = 0; i < threads; i++) {
        writers.emplace_back(tell_many, i, records);
    }
    pid_t child = -1;
    if (forks) {
        child = fork();
        if (child == 0) {
            tell_many(threads, records);
            _exit(0);
        }
    }
    for (std::thread &writer : writers) {
        writer.join();
    }
    int status = 0;
    if (forks && (child < 0 || waitpid(child, &status, 0) != child || status != 0)) {
        (void)fprintf(stderr, "the child ended with %d\n", status);
        return 1;
    }
    sfw_log_stop(nullptr);
    return 0;
}
