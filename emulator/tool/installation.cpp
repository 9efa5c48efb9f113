// Finding what runs in the handset, see installation.h.

#include "emulator/tool/installation.h"

#include "tool/failure.h"

namespace handset_tool {

namespace fs = std::filesystem;

installation find_installation()
{
    const fs::path prefix = fs::read_symlink("/proc/self/exe").parent_path().parent_path();
    for (const fs::path &folder : {prefix, prefix / "lib/kv-zep-amt"}) {
        if (fs::exists(folder / "bin/kv-zep-amt")) {
            return {folder / "bin", folder / "lib"};
        }
    }
    throw tool::failure(tool::exit_code::no_device, "there is no service kv-zep-amt in " + (prefix / "bin").string() +
                                                        " or " + (prefix / "lib/kv-zep-amt/bin").string() +
                                                        ": build or install all of the project");
}

} // namespace handset_tool
