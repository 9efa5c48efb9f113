// What the service asks of a handset: the libraries that the loader must find, each for something that the service
// calls, and its size. Read off the executable.
#include <algorithm>
#include <gmock/gmock.h>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/command_output.h"

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Gt;
using ::testing::IsSupersetOf;
using ::testing::Le;
using ::testing::StartsWith;

namespace {

// The file names that the loader looks for.
std::vector<std::string> needed_libraries()
{
    const std::string section = output_of(READELF_PROGRAM " -W --dynamic '" SERVICE "'");
    const std::string before = "Shared library: [";
    std::vector<std::string> names;
    for (size_t at = section.find(before); at != std::string::npos; at = section.find(before, at)) {
        at += before.size();
        names.push_back(section.substr(at, section.find(']', at) - at));
    }
    return names;
}

TEST(NeededLibraries, AreThePlatformsByTheirNamesAndNoOther)
{
    const std::vector<std::string> needed = needed_libraries();
    EXPECT_THAT(needed, IsSupersetOf({"libcutils.so", "liblog.so", "libhwt.so"}));
    for (const std::string &name : needed) {
        // What a handset has in libc.so, libdl.so and libz.so, and a loader that is a library on some machines. The
        // C++ library has a say in how a local static begins; on a handset that is linked in.
        EXPECT_THAT(name, AnyOf("libcutils.so", "liblog.so", "libhwt.so", StartsWith("libc.so"), StartsWith("libdl.so"),
                                StartsWith("libz.so"), StartsWith("libstdc++.so"), StartsWith("ld-linux")));
    }
}

// The bytes that the sections take of the file, which are loaded: neither what the installation strips nor the gaps
// before segments, which may be as long as a page of 64 KiB.
size_t loaded_size()
{
    // Name, type, address, offset, size, size of an entry, flags.
    std::istringstream lines(output_of(READELF_PROGRAM " -W --sections '" SERVICE "'"));
    size_t sum = 0;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream section(line.substr(line.find(']') + 1)); // its number goes before
        const std::vector<std::string> columns{std::istream_iterator<std::string>(section), {}};
        if (columns.size() > 6 && columns[6].find('A') != std::string::npos && columns[1] != "NOBITS") {
            sum += std::stoul(columns[4], nullptr, 16);
        }
    }
    return sum;
}

struct size_row {
    const char *m_machine;
    size_t m_limit;
};

// A tenth above what it is today. What makes it larger at a stroke, a library linked in or a table doubled, is seen.
constexpr size_row k_limits[] = {
    {"AArch64", 278'000},
    {"X86-64", 228'000},
};

TEST(InstalledService, IsSmall)
{
    const std::string header = output_of(READELF_PROGRAM " -W --file-header '" SERVICE "'");
    const auto row = std::find_if(std::begin(k_limits), std::end(k_limits), [&header](const size_row &each) {
        return header.find(each.m_machine) != std::string::npos;
    });
    ASSERT_NE(row, std::end(k_limits)) << header;
    EXPECT_THAT(loaded_size(), AllOf(Gt(row->m_limit / 2), Le(row->m_limit)));
}

} // namespace
