#include "tests/tools/android_build.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

void write_file(const fs::path &path, const std::string &content)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path) << content;
}

android_build::android_build()
{
    write_file(ndk() / "build/cmake/android.toolchain.cmake",
               "file(WRITE \"" + (folder() / "told").string() +
                   "\" \"${ANDROID_ABI} ${ANDROID_PLATFORM} ${ANDROID_STL}\")\n"
                   "set(CMAKE_SYSTEM_NAME Linux)\n"
                   "set(ANDROID ON)\n"
                   "set(CMAKE_CXX_COMPILER \"" +
                   compiler().string() + "\")\n");
    fs::create_symlink(COMPILER, compiler());
    for (const char *library : {"libcutils.so", "liblog.so", "libhwt.so"}) {
        write_file(libraries() / library, "");
    }
}

outcome android_build::configure(const std::string &ndk, const std::string &libraries) const
{
    return m_tools.run({"cmake", "--preset", "android", "-S", SOURCE_FOLDER, "-B", binary_folder()}, "",
                       {{"ANDROID_NDK_HOME", ndk}, {"KV_ZEP_PLATFORM_LIBRARIES", libraries}});
}

std::string android_build::told() const
{
    return read_whole_file(folder() / "told");
}

std::vector<std::string> android_build::told_by_ninja(const command_words &question) const
{
    command_words words = {"ninja", "-C", binary_folder(), "-t"};
    words.insert(words.end(), question.begin(), question.end());
    const outcome come = m_tools.run(words);
    EXPECT_EQ(come.status, 0) << come;
    std::istringstream text(come.out);
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}
