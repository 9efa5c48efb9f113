// Each library offers the platform's entries and nothing else, under the platform's plain file name: what the service
// links against on a workstation it finds on a handset too.
#include <gmock/gmock.h>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/command_output.h"

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

namespace {

std::vector<std::string> output_lines(const std::string &command)
{
    std::istringstream output(output_of(command));
    std::vector<std::string> lines;
    for (std::string line; std::getline(output, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> exported_names(const std::string &library)
{
    std::vector<std::string> names;
    for (const std::string &line : output_lines(NM_PROGRAM " -D --defined-only '" + library + "'")) {
        const std::string name = line.substr(line.rfind(' ') + 1);
        names.push_back(name);
    }
    return names;
}

// The lines of the dynamic section that name the shared object.
std::vector<std::string> shared_object_names(const std::string &library)
{
    std::vector<std::string> names;
    for (const std::string &line : output_lines(READELF_PROGRAM " -d '" + library + "'")) {
        if (line.find("(SONAME)") != std::string::npos) {
            names.push_back(line);
        }
    }
    return names;
}

TEST(PlatformExports, ThePropertyStore)
{
    EXPECT_THAT(exported_names(CUTILS_LIBRARY), UnorderedElementsAre("property_get", "property_set"));
}

TEST(PlatformExports, TheLog)
{
    EXPECT_THAT(exported_names(LOG_LIBRARY), UnorderedElementsAre("__android_log_print"));
}

TEST(PlatformExports, TheRadios)
{
    EXPECT_THAT(exported_names(HWT_LIBRARY),
                UnorderedElementsAre("hwt_btCtrl", "hwt_btCheck", "hwt_wifiCtrl", "hwt_wifiCheck", "hwt_gpsCtrl",
                                     "hwt_gpsCheck", "hwt_TxTest", "hwt_RxTest"));
}

TEST(PlatformExports, TheMiscLibrary)
{
    EXPECT_THAT(exported_names(MISC_LIBRARY),
                UnorderedElementsAre("codec_loop_test", "create_devinfo", "enter_idle", "amt_usb_charger_enable",
                                     "amt_check_system_sanity", "IsChargeState"));
}

TEST(PlatformExports, EachLibraryIsNamedByItsPlainFileName)
{
    const std::pair<const char *, const char *> libraries[] = {
        {CUTILS_LIBRARY, "libcutils.so"},
        {LOG_LIBRARY, "liblog.so"},
        {HWT_LIBRARY, "libhwt.so"},
        {MISC_LIBRARY, "amt.kv7100.misc.so"},
    };
    for (const auto &[library, name] : libraries) {
        EXPECT_THAT(library, EndsWith(std::string("/") + name));
        EXPECT_THAT(shared_object_names(library), ElementsAre(HasSubstr(std::string("[") + name + "]")));
    }
}

} // namespace
