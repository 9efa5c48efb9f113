// The service as a file: what the handset's loader must find for it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include <array>
#include <filesystem>
#include <string>

namespace {

using ::testing::HasSubstr;

std::string dynamic_section()
{
    const std::filesystem::path programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    FILE *reader = popen(("readelf -d '" + (programs / "kv-zep-amt").string() + "'").c_str(), "r");
    std::string text;
    std::array<char, 4096> piece;
    for (size_t count = 1; reader != nullptr && count > 0;) {
        count = fread(piece.data(), 1, piece.size(), reader);
        text.append(piece.data(), count);
    }
    EXPECT_EQ(reader == nullptr ? -1 : pclose(reader), 0);
    return text;
}

TEST(Binary, NeedsThePlatformsLibrariesByTheirNames)
{
    const std::string section = dynamic_section();
    for (const char *library : {"libcutils.so", "liblog.so", "libhwt.so"}) {
        EXPECT_THAT(section, HasSubstr("Shared library: [" + std::string(library) + "]"));
    }
}

} // namespace
