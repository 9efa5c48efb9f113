// System calls that the utilities make, failing or answering on request. Reset by assignment: g_fake = {};
#pragma once

#include <sched.h>
#include <sys/types.h>
#include <time.h>

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <vector>

struct util_fakes {
    int fcntl_fails_at = 0; // the n-th call from now, 1 is the next one
    bool open_gives_0 = false;
    bool tcgetattr_fails = false;
    bool cfsetispeed_fails = false;
    bool cfsetospeed_fails = false;
    bool tcsetattr_fails = false;
    bool statfs_fails = false;
    bool thread_is_gone = false;
    int pthread_kill_result = 0; // for a signal other than 0
    int pthread_create_result = 0;
    int sem_wait_interruptions = 0;
    int nanosleep_interruptions = 0;    // of the main thread's sleeps from now, each with 3 ms left
    std::vector<timespec> sleeps;       // what the main thread asked for
    std::function<void()> while_asleep; // takes the place of the main thread's sleeps
    int priority_max = 99;              // negative: fails
    bool setscheduler_fails = false;
    pid_t setscheduler_pid = 0; // what was asked for; real-time priority is never really raised here
    int setscheduler_policy = -1;
    int setscheduler_priority = -1;
    std::map<std::string, std::string> files; // read in place of the path
    std::vector<std::string> commands;        // what would have been run by the shell
};

extern util_fakes g_fake;
extern std::atomic<int> g_interrupted_workers; // sleeps of workers that a signal interrupted
