// Keys and values that there are not: the line that tells, and that nothing at all is set then.

#include "tests/tools/handset_tool.h"

namespace {

class WrongKeys : public shared_handset {};

TEST_F(WrongKeys, AreNotSet)
{
    const std::string hint = "; handset keys lists them";
    const std::string whole_path = ": name a file of the handset's by its whole path, like file./amt/imei.txt";
    const std::string satellites = "gps.satellites takes up to 16 of ID:STRENGTH with commas between, not ";
    const struct {
        const char *name;
        std::string setting;
        std::string why;
    } rows[] = {
        {"no key", "x.y=1", "no key x.y" + hint},
        {"nearly a key", "card.storag=1", "no key card.storag: do you mean card.storage?" + hint},
        {"one letter wrong", "chargr=ac", "no key chargr: do you mean charger?" + hint},
        {"a part of several", "camera=ok",
         "no key camera: do you mean camera.open, camera.input or camera.select?" + hint},
        {"no value", "card", "\"card\" is no KEY=VALUE; handset keys lists the keys"},
        {"no key's name", "=1", "\"=1\" is no KEY=VALUE; handset keys lists the keys"},
        {"nothing", "", "\"\" is no KEY=VALUE; handset keys lists the keys"},
        {"read only", "screen=on", "screen can only be read"},
        {"no word of it", "charger=usb", "charger takes one of host, ac, none, not \"usb\""},
        {"no number", "card=big", "card takes a number from 1 to 2147483647, not \"big\""},
        {"too small", "card=0", "card takes a number from 1 to 2147483647, not \"0\""},
        {"a number and more", "brightness=12x", "brightness takes a number from 0 to 255, not \"12x\""},
        {"too large", "brightness=256", "brightness takes a number from 0 to 255, not \"256\""},
        {"too large for any", "gps.check=99999999999999999999",
         "gps.check takes a number from -2147483648 to 2147483647, not \"99999999999999999999\""},
        {"a number that is missing",
         "wifi.check=", "wifi.check takes a number from -2147483648 to 2147483647, not \"\""},
        {"a switch", "card.storage=2", "card.storage takes 0 or 1, not \"2\""},
        {"several lines", "parts=a\nb", "parts takes one line of text"},
        {"an empty text", "parts=", "parts takes a text, it cannot be empty"},
        {"no satellite", "gps.satellites=27", satellites + "\"27\""},
        {"satellites with a gap", "gps.satellites=1:1,,2:2", satellites + "\"1:1,,2:2\""},
        {"a property without a name", "property.=1",
         "property.: a property has 1 to 31 characters, no slash, and no dot first"},
        {"a property's path", "property.a/b=1",
         "property.a/b: a property has 1 to 31 characters, no slash, and no dot first"},
        {"a property's long name", "property." + std::string(32, 'a') + "=1",
         "property." + std::string(32, 'a') + ": a property has 1 to 31 characters, no slash, and no dot first"},
        {"a property's long value", "property.a=" + std::string(92, 'a'),
         "property.a: a property's value has at most 91 characters"},
        {"a relative path", "file.amt/x=1", "file.amt/x" + whole_path},
        {"a path upwards", "file./amt/../../x=1", "file./amt/../../x" + whole_path},
        {"the kernel's", "file./proc/1/mem=1", "file./proc/1/mem" + whole_path},
        {"this machine's", "file./usr/x=1", "file./usr/x" + whole_path},
        {"a device", "file./dev/x=1", "file./dev/x" + whole_path},
        {"a folder", "file./amt=1", "file./amt: /amt is no file"},
        {"below a file", "file./system/bin/kv-zep-amt/x=1",
         "file./system/bin/kv-zep-amt/x: /system/bin/kv-zep-amt is no folder"},
        {"no such file here", "file./amt/x=@/no/such", "cannot read the file /no/such"},
        {"a folder here", "file./amt/x=@/", "cannot read the file /"},
        {"no such driver", "driver.hwt_btChek=result=1",
         "there is no driver's entry hwt_btChek: do you mean hwt_btCheck or hwt_btCtrl?"},
        {"no setting of a driver", "driver.hwt_btCheck=1",
         "driver.hwt_btCheck takes KEY=VALUE,..., like result=-1,errno=19; empty: as by default"},
    };
    for (const auto &row : rows) {
        for (const bool first : {true, false}) {
            const command_words words = first ? command_words{"set", row.setting, "idle=-9", "file./amt/half=1"}
                                              : command_words{"set", "idle=-9", "file./amt/half=1", row.setting};
            EXPECT_EQ(ask(words), (outcome{2, "", mistake(row.why)})) << row.name;
        }
        EXPECT_EQ(value_of("default", "idle"), "0") << row.name;
        EXPECT_EQ(ask({"get", "file./amt/half"}).status, 1) << row.name;
    }
    expect_row({"one of several that are read", {"get", "card", "x.y"}, 2, "", mistake("no key x.y" + hint)});
}

} // namespace
