// The runner of foreign programs, see foreign.h.

#include "emulator/init/foreign.h"

#include "emulator/descriptor.h"

#include <elf.h>
#include <fcntl.h>

#include <cstring>

namespace emulator {

constexpr Elf64_Half k_none = EM_NONE;

// The architecture that a program is for; k_none when it is none, as a script.
static Elf64_Half architecture_of(const char *path)
{
    const descriptor file(open(path, O_RDONLY | O_CLOEXEC));
    Elf64_Ehdr header = {};
    const bool is_whole = file && read(file.get(), &header, sizeof(header)) == sizeof(header);
    return is_whole && memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 ? header.e_machine : k_none;
}

bool is_foreign(const char *path)
{
    const Elf64_Half architecture = architecture_of(path);
    return architecture != k_none && architecture != architecture_of("/proc/self/exe");
}

int execute_foreign(const char *path, const std::vector<char *> &arguments)
{
    // The first is the runner's own name to the kernel, and "-0" what the program gets to see.
    std::vector<const char *> line = {arguments.at(0), "-L", k_runner_root, "-0", arguments.at(0), path};
    line.insert(line.end(), arguments.begin() + 1, arguments.end());
    return execv(k_runner_inside, const_cast<char *const *>(line.data())); // its signature; nothing writes to them
}

} // namespace emulator
