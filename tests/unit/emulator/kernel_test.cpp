// Device events and memory cards, both the kernel's own.

#include "fixture.h"

using namespace emulator_test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::ThrowsMessage;

using Kernel = running_handset;

TEST_F(Kernel, BroadcastsDeviceEventsWithTheirTextsIntact)
{
    EXPECT_FALSE(m_handset.uevents_heard());
    const emulator::process listener = m_handset.start(probe({"hear-event"}));
    listener.wait_output("bind ok");
    EXPECT_TRUE(m_handset.uevents_heard());
    m_handset.uevent({"change@/devices/virtual/android_usb/android0", "ACTION=change",
                      "DEVPATH=/devices/virtual/android_usb/android0", "SUBSYSTEM=android_usb",
                      "USB_STATE=CONFIGURED"});
    EXPECT_EQ(listener.wait(), emulator::exited(0));
    EXPECT_THAT(listener.out(), HasSubstr("bind ok\nfrom 0\n" // from the kernel
                                          "change@/devices/virtual/android_usb/android0\nACTION=change\n"
                                          "DEVPATH=/devices/virtual/android_usb/android0\nSUBSYSTEM=android_usb\n"
                                          "USB_STATE=CONFIGURED\nSEQNUM="));
}

TEST_F(Kernel, TakesDeviceEventsThatNobodyHears)
{
    EXPECT_NO_THROW(m_handset.uevent({"change@/x", "ACTION=change"}));
}

TEST_F(Kernel, RefusesDeviceEventsThatAreTooLong)
{
    EXPECT_THAT(
        [&] {
            m_handset.uevent({"change@/x", "LONG=" + std::string(4000, 'x')});
        },
        ThrowsMessage<std::runtime_error>(HasSubstr("cannot send a device event")));
}

TEST_F(Kernel, ListsAnInsertedCardAmongTheMounts)
{
    constexpr char card[] = "/storage/sdcard1";
    EXPECT_THAT(output_of(m_handset, "cat /proc/mounts"), Not(HasSubstr(card)));
    m_handset.insert_card(card, 4096);
    EXPECT_THAT(output_of(m_handset, "cat /proc/mounts"), HasSubstr(" /storage/sdcard1 tmpfs "));
    EXPECT_EQ(output_of(m_handset, "stat -f -c '%S %b' /storage/sdcard1"), "4096 1024\n");
    EXPECT_EQ(output_of(m_handset, "printf photo > /storage/sdcard1/a && stat -c '%u:%g' /storage/sdcard1"),
              "1000:1001\n");
    EXPECT_EQ(m_handset.files.read("/storage/sdcard1/a"), "photo");
    m_handset.files.write("/storage/sdcard1/b", "from outside");
    EXPECT_EQ(output_of(m_handset, "cat /storage/sdcard1/b"), "from outside");

    m_handset.remove_card(card);
    EXPECT_THAT(output_of(m_handset, "cat /proc/mounts"), Not(HasSubstr(card)));
    EXPECT_THAT(m_handset.files.list(card), ElementsAre());
}

TEST_F(Kernel, LetsGoOfACardThatIsInUse)
{
    m_handset.insert_card("/storage/sdcard0");
    const emulator::process user = m_handset.start(shell("cd /storage/sdcard0 && echo in; exec sleep 1000"));
    user.wait_output("in");
    EXPECT_NO_THROW(m_handset.remove_card("/storage/sdcard0"));
    EXPECT_TRUE(user.running());
}

TEST_F(Kernel, HasNoCardToRemoveWhereNoneIs)
{
    EXPECT_THAT([&] { m_handset.remove_card("/storage/sdcard0"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("cannot remove the card at /storage/sdcard0")));
}
