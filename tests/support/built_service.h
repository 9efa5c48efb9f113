// What an emulated handset is to be given of this build: the service, its libraries and its player, and a
// configuration.
//
// KV_ZEP_FOREIGN_BUILD names a build for another architecture, whose service and libraries are taken in place of this
// build's, and KV_ZEP_RUNNER the program that runs them here. The player stays this machine's.
#pragma once

#include <stdlib.h>

#include <filesystem>

#include "emulator/handset.h"

constexpr char k_config[] = "kv.tty.pc = /dev/ttyGS0\n"
                            "kv.tty.app = /dev/ttyAMT\n"
                            "kv.tty.modem = /dev/ttyMODEM\n"
                            "kv.tty.at.mux = /dev/ttyAT\n";

// The build that is tested in place of the caller's; nullptr: none.
inline const char *foreign_build()
{
    return getenv("KV_ZEP_FOREIGN_BUILD"); // NOLINT(concurrency-mt-unsafe): no test sets variables beside a thread
}

inline emulator::handset_options built_service()
{
    const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
    const std::filesystem::path build = foreign_build() == nullptr ? own : std::filesystem::path(foreign_build());
    emulator::handset_options result;
    result.service = build / "bin/kv-zep-amt";
    result.library_folder = build / "lib";
    result.player = own / "bin/amt-audio";
    if (foreign_build() != nullptr) {
        const char *runner = getenv("KV_ZEP_RUNNER"); // NOLINT(concurrency-mt-unsafe): as above
        result.runner = runner == nullptr ? "/usr/bin/qemu-aarch64-static" : runner;
        result.runner_preload = build / "lib/libhandset-preload.so";
    }
    return result;
}
