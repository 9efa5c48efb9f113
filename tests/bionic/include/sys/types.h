// The types of the system's calls, on 64-bit processors.
#pragma once

#include <stddef.h>
#include <stdint.h>

using gid_t = unsigned;
using mode_t = unsigned;
using off_t = long;
using pid_t = int;
using pthread_t = long;
using socklen_t = unsigned;
using ssize_t = long;
using suseconds_t = long;
using time_t = long;
using timer_t = void *;
using uid_t = unsigned;
