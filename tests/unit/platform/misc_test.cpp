// The misc library of a workstation is found by its file name, has the six entries by their names, and each is recorded
// and answers as its control file says.
#include "tests/unit/platform/handset_root.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <misc.h>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

class MiscLibrary : public handset_root {
  protected:
    void SetUp() override
    {
        handset_root::SetUp();
        m_library = dlopen("amt.kv7100.misc.so", RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(m_library, nullptr) << dlerror(); // NOLINT(concurrency-mt-unsafe): its text is the thread's own
        ASSERT_TRUE(find(m_codec_loop_test, "codec_loop_test"));
        ASSERT_TRUE(find(m_create_devinfo, "create_devinfo"));
        ASSERT_TRUE(find(m_enter_idle, "enter_idle"));
        ASSERT_TRUE(find(m_usb_charger_enable, "amt_usb_charger_enable"));
        ASSERT_TRUE(find(m_check_system_sanity, "amt_check_system_sanity"));
        ASSERT_TRUE(find(m_is_charge_state, "IsChargeState"));
    }

    void TearDown() override
    {
        if (m_library != nullptr) {
            EXPECT_EQ(dlclose(m_library), 0);
        }
        handset_root::TearDown();
    }

    codec_loop_test_fn m_codec_loop_test = nullptr;
    create_devinfo_fn m_create_devinfo = nullptr;
    enter_idle_fn m_enter_idle = nullptr;
    amt_usb_charger_enable_fn m_usb_charger_enable = nullptr;
    amt_check_system_sanity_fn m_check_system_sanity = nullptr;
    is_charge_state_fn m_is_charge_state = nullptr;

    // What the handset tells of itself, in a buffer of `size` bytes.
    [[nodiscard]] std::string devinfo(int size) const
    {
        std::vector<char> buffer(static_cast<size_t>(size) + 1, '#');
        EXPECT_EQ(m_create_devinfo(buffer.data(), size), 0);
        EXPECT_EQ(buffer.back(), '#') << "written behind the buffer";
        return buffer.data();
    }

  private:
    template <typename function>
    bool find(function &entry, const char *name)
    {
        entry = reinterpret_cast<function>(dlsym(m_library, name));
        return entry != nullptr;
    }

    void *m_library = nullptr;
};

TEST_F(MiscLibrary, EveryEntryIsRecordedWithItsArgumentsAndHasItsUsualResult)
{
    char buffer[4055];
    EXPECT_EQ(m_codec_loop_test(1, 0), 0);
    EXPECT_EQ(m_create_devinfo(buffer, 4055), 0);
    EXPECT_EQ(m_enter_idle(), 0);
    EXPECT_EQ(m_usb_charger_enable(3), 0);
    EXPECT_EQ(m_check_system_sanity(), 0);
    EXPECT_EQ(m_is_charge_state(), 2);
    EXPECT_EQ(calls(), "codec_loop_test(1, 0)\ncreate_devinfo(4055)\nenter_idle()\namt_usb_charger_enable(3)\n"
                       "amt_check_system_sanity()\nIsChargeState()\n");
}

TEST_F(MiscLibrary, EveryEntryHasItsOwnResult)
{
    char buffer[64];
    control("codec_loop_test", "result=11\n");
    control("create_devinfo", "result=12\n");
    control("enter_idle", "result=13\n");
    control("amt_usb_charger_enable", "result=14\n");
    control("amt_check_system_sanity", "result=15\n");
    control("IsChargeState", "result=1\n");
    EXPECT_EQ(m_codec_loop_test(0, 1), 11);
    EXPECT_EQ(m_create_devinfo(buffer, sizeof(buffer)), 12);
    EXPECT_EQ(m_enter_idle(), 13);
    EXPECT_EQ(m_usb_charger_enable(0), 14);
    EXPECT_EQ(m_check_system_sanity(), 15);
    EXPECT_EQ(m_is_charge_state(), 1);
}

TEST_F(MiscLibrary, EveryEntryReadsItsDelay)
{
    for (const char *entry : {"codec_loop_test", "create_devinfo", "enter_idle", "amt_usb_charger_enable",
                              "amt_check_system_sanity", "IsChargeState"}) {
        control(entry, "delay_ms=never\n");
    }
    char buffer[64];
    captured_stderr output;
    (void)m_codec_loop_test(0, 1);
    (void)m_create_devinfo(buffer, sizeof(buffer));
    (void)m_enter_idle();
    (void)m_usb_charger_enable(0);
    (void)m_check_system_sanity();
    (void)m_is_charge_state();
    EXPECT_THAT(output.writes(),
                ElementsAre(HasSubstr("/codec_loop_test: delay_ms"), HasSubstr("/create_devinfo: delay_ms"),
                            HasSubstr("/enter_idle: delay_ms"), HasSubstr("/amt_usb_charger_enable: delay_ms"),
                            HasSubstr("/amt_check_system_sanity: delay_ms"), HasSubstr("/IsChargeState: delay_ms")));
}

TEST_F(MiscLibrary, ADelayEndsAndGivesTheResult)
{
    control("enter_idle", "delay_ms=1\nresult=5\n");
    EXPECT_EQ(m_enter_idle(), 5);
}

TEST_F(MiscLibrary, ABadChargeModeLeavesTheUsbHost)
{
    control("IsChargeState", "result=mains\n");
    captured_stderr output;
    EXPECT_EQ(m_is_charge_state(), 2);
    EXPECT_THAT(output.writes(), ElementsAre(HasSubstr("/IsChargeState: result: cannot use \"mains\"")));
}

TEST_F(MiscLibrary, TheUsualDescriptionIsAText)
{
    EXPECT_THAT(devinfo(4055), HasSubstr("kv7100"));
}

TEST_F(MiscLibrary, TheDescriptionCanBeChosenWithItsEscapes)
{
    control("create_devinfo", "text=flash: 16 GB\\r\\n\\tpath=C:\\\\dev\n");
    EXPECT_EQ(devinfo(4055), "flash: 16 GB\r\n\tpath=C:\\dev");
}

TEST_F(MiscLibrary, TheDescriptionCanBeEmpty)
{
    control("create_devinfo", "text=\n");
    EXPECT_EQ(devinfo(4055), "");
}

TEST_F(MiscLibrary, TheDescriptionIsCutToTheBuffer)
{
    control("create_devinfo", "text=ab\\ncd\n");
    const char *const expected[] = {"", "a", "ab", "ab\n", "ab\nc", "ab\ncd", "ab\ncd"};
    for (int size = 1; size <= 7; ++size) {
        SCOPED_TRACE(size);
        EXPECT_EQ(devinfo(size), expected[size - 1]);
    }
    control("create_devinfo", "text=" + std::string(9000, 'x') + "\n");
    EXPECT_EQ(devinfo(4055), std::string(4054, 'x'));
}

TEST_F(MiscLibrary, TheUsualDescriptionIsCutToTheBufferToo)
{
    const std::string whole = devinfo(4055);
    EXPECT_EQ(devinfo(5), whole.substr(0, 4));
    EXPECT_EQ(devinfo(1), "");
}

TEST_F(MiscLibrary, ATextWithAnotherEscapeIsReportedAndTheUsualOneGiven)
{
    const std::string usual = devinfo(4055);
    for (const char *text : {"bell\\a", "at the end\\", "\\0"}) {
        SCOPED_TRACE(text);
        control("create_devinfo", std::string("text=") + text + "\n");
        captured_stderr output;
        EXPECT_EQ(devinfo(4055), usual);
        EXPECT_THAT(output.writes(), ElementsAre(HasSubstr(std::string("text: cannot use \"") + text + "\"")));
    }
}

TEST_F(MiscLibrary, WithoutABufferNothingIsDescribed)
{
    char byte = '#';
    captured_stderr output;
    EXPECT_EQ(m_create_devinfo(nullptr, 10), 0);
    EXPECT_EQ(m_create_devinfo(&byte, 0), 0);
    EXPECT_EQ(m_create_devinfo(&byte, -1), 0);
    EXPECT_EQ(byte, '#');
    EXPECT_THAT(output.writes(), IsEmpty());
    EXPECT_EQ(calls(), "create_devinfo(10)\ncreate_devinfo(0)\ncreate_devinfo(-1)\n");
}

} // namespace
