// The steps in which the files of the identities are read and written, as events of the handset; and what a failed step
// of writing is told as. With device_fakes.h.
#pragma once

#include <errno.h>
#include <sys/stat.h>

#include <optional>
#include <string>
#include <vector>

#include "tests/unit/amt/device_fakes.h"

using steps = std::vector<std::string>;

inline steps operator+(steps first, const steps &second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

inline steps reading_of(const std::string &path)
{
    return {"read " + path, "close " + path};
}

inline const steps k_syncing = {"pause 50", "run /system/bin/sync", "pause 50", "run /system/bin/sync"};

// To the end at which the disk has it; what fails on the way changes none of it.
inline steps writing_of(const std::string &path)
{
    return steps{"read and write " + path, "bytes to " + path, "close " + path} + k_syncing;
}

// How the writing of an opened file fails.
struct write_failure {
    const char *name;
    std::optional<output_end> writing;
    int closing; // errno; 0: it succeeds
    const char *told;
};
inline const write_failure k_write_failures[] = {
    {"a full disk", output_end{-1, ENOSPC}, 0, "28 - No space left on device"},
    {"nothing is taken", output_end{0, 0}, 0, "0 - No error"},
    {"only a part is taken", output_end{3, 0}, 0, "0 - No error"},
    {"a full disk that is told at the end", std::nullopt, EDQUOT, "122 - Disk quota exceeded"},
    {"neither written nor closed", output_end{-1, EIO}, ENOSPC, "5 - Input/output error"},
};

inline void fail_writing(const std::string &path, const write_failure &failure)
{
    g_fake.writing = failure.writing;
    if (failure.closing != 0) {
        g_fake.refused["close " + path] = failure.closing;
    }
}

inline void expect_nothing_sent(const outcome &seen)
{
    EXPECT_TRUE(seen.at_station.empty()) << seen.at_station.front();
    EXPECT_TRUE(seen.at_application.empty()) << seen.at_application.front();
}

inline ino_t inode_of(const device_handset &handset, const std::string &path)
{
    struct stat info = {};
    EXPECT_EQ(stat(handset.host_path(path).c_str(), &info), 0) << path;
    return info.st_ino;
}
