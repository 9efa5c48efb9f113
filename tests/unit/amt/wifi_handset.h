// A handset whose WiFi driver gets its parameters, and the steps in which it does. With device_fakes.h.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "amt/identity/wifi-nvram.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/identity_steps.h"

inline const std::string k_address_file = "/amt/WIFI/WIFI_nvram.txt";
inline const std::string k_source = "/system/etc/wifi/nvram.txt";
inline const std::string k_other_source = "/system/etc/wifi/bcmdhd.cal";
inline const std::string k_target = "/data/misc/wifi/nvram.txt";

inline const std::string k_address = "00:11:22:33:44:55";
inline const std::string k_line = "macaddr=" + k_address + "\n";
inline const std::string k_told_address = "info | wifi_addr_amt: " + k_address;
inline const std::string k_told_mode = "info | fchmod  " + k_target + " successfully";
inline const std::string k_no_address = k_failed + "open  " + k_address_file + " fail";

// A handset with an address and the maker's parameters.
class wifi_handset : public device_handset {
  public:
    explicit wifi_handset(const std::string &source, const std::string &address = k_address + "\n")
    {
        put(k_address_file, address);
        put(k_source, source);
        make_folder("/data/misc/wifi");
    }

    [[nodiscard]] std::string patched() const { return content(k_target); }
    [[nodiscard]] mode_t mode() const
    {
        struct stat info = {};
        EXPECT_EQ(stat(host_path(k_target).c_str(), &info), 0);
        return info.st_mode & 07777;
    }
};

inline outcome patch(const device_handset &handset)
{
    return handset.watch(amt_write_wifi_to_nvram_file);
}

inline const steps k_opening = reading_of(k_address_file) + steps{"read " + k_source, "read and write " + k_target};
inline const steps k_closing = {"close " + k_target};
inline const steps k_mode_steps = {"read " + k_target, "close " + k_target, "close " + k_source};
inline const steps k_whole = k_opening + k_closing + k_syncing + k_mode_steps;
inline const steps k_stopped =
    k_opening + steps{"close " + k_target, "close " + k_source}; // where there are too many lines

inline std::string lines(int count, const std::string &line = "boardtype=0x1")
{
    std::string text;
    for (int i = 0; i < count; i++) {
        text += line + "\n";
    }
    return text;
}
