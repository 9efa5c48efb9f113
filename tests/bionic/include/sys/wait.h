// The ends of children.
#pragma once

#include <linux/wait.h>
#include <sys/types.h>

extern "C" {
pid_t waitpid(pid_t pid, int *status, int options);
}
