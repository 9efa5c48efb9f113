// A handset that waits for the modem to confirm the write of an identity, and what it tells in its log. With
// device_fakes.h.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "amt/identity/identity-writes.h"
#include "pub/log/errors.h"
#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/identity_steps.h"
#include "tests/unit/amt/pending_notes.h"

inline const std::string k_imei = "490154203237518";
inline const std::string k_sn = "KV7100PCBA42";
constexpr char k_confirmed[] = "\r\nOK\r\n";
inline const std::vector<std::string> k_identity_files = {"/amt/imei.txt", "/amt/imei-2.txt", "/amt/sn.txt",
                                                          "/amt/sn-2.txt"};

// A handset on which both texts were noted, one of them last.
class noting_handset : public device_handset {
  public:
    explicit noting_handset(int kind, int channel = 0)
    {
        make_folder("/amt");
        note_text(pending_imei(), k_imei);
        note_text(pending_sn(), k_sn);
        pending_kind() = static_cast<uint8_t>(kind);
        pending_channel() = static_cast<uint8_t>(channel);
    }

    // The modem says it in one reading.
    [[nodiscard]] outcome hear_bytes(const std::string &hex) const
    {
        const amt_buffer answer = buffer_with(hex);
        outcome seen = watch([&] { return handle_amt_imei_and_sn_rsp(&answer); });
        expect_nothing_sent(seen);
        return seen;
    }
    [[nodiscard]] outcome hear(const std::string &text) const { return hear_bytes(hex_of(text)); }

    // What it says confirms nothing.
    void expect_unconfirmed(const std::string &hex) const
    {
        const uint8_t kind = pending_kind();
        const outcome seen = hear_bytes(hex);
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_TRUE(seen.events.empty());
        EXPECT_EQ(pending_kind(), kind) << "it still waits";
        EXPECT_TRUE(saved().empty());
    }

    // "PATH: CONTENT" of each of the files that there are.
    [[nodiscard]] std::vector<std::string> saved() const
    {
        std::vector<std::string> result;
        for (const std::string &path : k_identity_files) {
            const std::string text = content(path);
            if (text != "(missing)") {
                result.push_back(path + ": " + text);
            }
        }
        return result;
    }
};

struct kind_row {
    const char *name;
    int kind;
    const char *log_name;
    std::string text;
    std::string own_path; // of channel 1
    std::string path;     // of all others
};

inline const kind_row k_kinds_a[] = {
    {"IMEI", 1, "imei", k_imei, "/amt/imei-2.txt", "/amt/imei.txt"},
    {"serial number", 2, "sn", k_sn, "/amt/sn-2.txt", "/amt/sn.txt"},
};

inline std::string kind_told(int kind)
{
    return "info | g_cur_treat_cmd_type:" + std::to_string(kind) + ";";
}

inline std::string code_told(const std::string &code)
{
    return "info | getted error-code from modem: err-code:" + code + ";";
}

inline std::string saving_told(const kind_row &row, int channel)
{
    return std::string("info | save ") + row.log_name + " to file. channel:" + std::to_string(channel) +
           "; content:" + row.text + ";";
}

inline steps success_told(const kind_row &row, int channel)
{
    return {"info | write pcba-sn: " + row.text, saving_told(row, channel),
            std::string("info | Writed ") + row.log_name + " to file success."};
}
