// A handset's build without an NDK: the preset android, configured with a toolchain file and libraries of the test's
// own in the NDK's and the platform's places. This machine's compiler stands behind it; nothing is compiled.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/tools/tool_runner.h"

class android_build {
  public:
    android_build();

    // Names these two folders to the preset and lets CMake go about it.
    outcome configure(const std::string &ndk, const std::string &libraries) const;
    outcome configure() const { return configure(ndk(), libraries()); }

    // What stands for the NDK, its compiler, and the platform's libraries.
    std::filesystem::path ndk() const { return folder() / "ndk"; }
    std::filesystem::path compiler() const { return ndk() / "clang++"; }
    std::filesystem::path libraries() const { return folder() / "system/lib64"; }

    // What the NDK was told, once it has been configured: "<ABI> <platform> <C++ library>".
    std::string told() const;

    // A folder for files of the test's, and that of the build.
    std::filesystem::path folder() const { return m_tools.folder(); }
    std::filesystem::path binary_folder() const { return folder() / "build"; }

    // What ninja tells of the configured build, as lines: its targets; the commands that make the service, linking
    // last.
    std::vector<std::string> targets() const { return told_by_ninja({"targets", "all"}); }
    std::vector<std::string> commands() const { return told_by_ninja({"commands", "kv-zep-amt"}); }

    const tool_runner &tools() const { return m_tools; }

  private:
    std::vector<std::string> told_by_ninja(const command_words &question) const;

    tool_runner m_tools;
};

// Creates the folders above it, too.
void write_file(const std::filesystem::path &path, const std::string &content);
