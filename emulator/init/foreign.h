// Programs of another architecture than this machine's: a runner (qemu-user) executes them, in the place of the kernel.
// Also included by the library, which puts the runner where process 1 finds it.

#pragma once

#include <vector>

namespace emulator {

// The runner, a static program; and the folder whose files a program that it runs sees in place of those of the same
// path. Nothing is at the former when the handset's programs are this machine's.
constexpr char k_runner_inside[] = "/handset/bin/runner";
constexpr char k_runner_root[] = "/handset/runner";

// Whether a path holds a program that only the runner can execute. False for what cannot be read.
bool is_foreign(const char *path);

// As execv(2), by the runner. `arguments` is argv, with its null; others, too, see its first word as the program's
// name.
int execute_foreign(const char *path, const std::vector<char *> &arguments);

} // namespace emulator
