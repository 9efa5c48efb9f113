#include "amt/device/camera.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/handler_arguments.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char k_device[] = "/dev/video0";
constexpr char k_open[] = "read and write /dev/video0";
constexpr char k_close[] = "close /dev/video0";

// --- preview

struct preview_row {
    const char *name;
    uint8_t id;
    const char *request; // to the driver
    const char *answer;
};

// clang-format off
constexpr preview_row k_previews_a[] = {
    {"the camera",        139, "ioctl c0045662 1", "0f00bb8c0900ee0101040000000000"},
    {"the second camera", 147, "ioctl c0045662 0", "0f00bb940900ee0101040000000000"},
};
// clang-format on

TEST(CameraPreview, SelectsTheCameraOfTheRequest)
{
    for (const preview_row &row : k_previews_a) {
        for (const uint8_t channel : k_both_channels_a) {
            in_child([&row, channel] {
                SCOPED_TRACE(row.name);
                const device_handset handset;
                handset.put(k_device, "");
                const outcome seen = handset.ask(amt_device_camera, channel, message_of(row.id));
                EXPECT_EQ(seen.result, ERR_NONE);
                EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, row.answer)));
                EXPECT_THAT(seen.events, ElementsAre(k_open, row.request, k_close, "send"));
                EXPECT_THAT(seen.told, IsEmpty());
                EXPECT_TRUE(seen.is_response_clear);
            });
        }
    }
}

TEST(CameraPreview, TakesWhateverTheDriverReturnsForASuccess)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_device, "");
        g_fake.ioctls = {{7, 0, 77}};
        const outcome seen = handset.ask(amt_device_camera, AMT_CHANNEL_APP, message_of(139));
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(k_previews_a[0].answer));
    });
}

TEST(CameraPreview, HasNoOtherRequest)
{
    for (const int id : {0, 138, 140, 146, 148, 180, 255}) {
        in_child([id] {
            const device_handset handset;
            handset.put(k_device, "");
            const outcome seen = handset.ask(amt_device_camera, AMT_CHANNEL_APP, message_of(static_cast<uint8_t>(id)));
            EXPECT_EQ(seen.result, ERR_UNKNOWN) << id;
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), IsEmpty());
            EXPECT_THAT(seen.events, IsEmpty());
            EXPECT_THAT(seen.told, ElementsAre(k_failed + "Invalid command id[" + std::to_string(id) + "]"));
        });
    }
}

TEST(CameraPreview, ThatTheDriverRefusesIsNotAnswered)
{
    for (const preview_row &row : k_previews_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_device, "");
            g_fake.ioctls = {{-1, ENODEV, {}}};
            const outcome seen = handset.ask(amt_device_camera, AMT_CHANNEL_PC, message_of(row.id));
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), IsEmpty());
            EXPECT_THAT(seen.events, ElementsAre(k_open, row.request, k_close));
            EXPECT_THAT(seen.told, ElementsAre("sys error | ioctl: 19 - No such device"));
        });
    }
}

TEST(CameraPreview, GivesTheResultOfItsAnswer)
{
    expect_result_of_sending(amt_device_camera, message_of(139),
                             [](const device_handset &handset) { handset.put(k_device, ""); });
}

TEST(CameraPreview, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_device_camera, AMT_CHANNEL_APP, message_of(139));
}

// --- update

std::string update_request(uint32_t control_id)
{
    return message_with(180, {{112, control_id}});
}

std::string update_answer(const std::string &number_hex)
{
    return "1800bbb51200ee71010400" + number_hex + "ee0101040000000000";
}

struct update_row {
    const char *name;
    uint32_t control_id;
    const char *request; // to the driver
};

// clang-format off
constexpr update_row k_updates_a[] = {
    {"the first",  1, "ioctl c0045663 0"},
    {"the second", 2, "ioctl c0045663 1"},
};
// clang-format on

TEST(CameraUpdate, IsAskedOfTheDriverBehindInput1)
{
    for (const update_row &row : k_updates_a) {
        for (const uint8_t channel : k_both_channels_a) {
            in_child([&row, channel] {
                SCOPED_TRACE(row.name);
                const device_handset handset;
                handset.put(k_device, "");
                const outcome seen = handset.ask(amt_device_camera_control, channel, update_request(row.control_id));
                EXPECT_EQ(seen.result, ERR_NONE);
                EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, update_answer("00000000"))));
                EXPECT_THAT(seen.events, ElementsAre(k_open, "ioctl c0045627 1", row.request, k_close, "send"));
                EXPECT_THAT(seen.told, ElementsAre("info | control_id = " + std::to_string(row.control_id),
                                                   "info | update result: 0"));
                EXPECT_TRUE(seen.is_response_clear);
            });
        }
    }
}

TEST(CameraUpdate, IsAnsweredWithWhatTheDriverReturnsNotWithWhatItStores)
{
    const std::pair<int, const char *> rows[] = {{1, "01000000"}, {3, "03000000"}, {0x12345, "45230100"}};
    for (const auto &[returned, number_hex] : rows) {
        in_child([returned = returned, number_hex = number_hex] {
            const device_handset handset;
            handset.put(k_device, "");
            g_fake.ioctls = {{9, 0, 55}, {returned, 0, 77}};
            const outcome seen = handset.ask(amt_device_camera_control, AMT_CHANNEL_APP, update_request(2));
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(update_answer(number_hex)));
            EXPECT_THAT(seen.events, ElementsAre(k_open, "ioctl c0045627 1", "ioctl c0045663 1", k_close, "send"));
            EXPECT_EQ(seen.told.back(), "info | update result: " + std::to_string(returned));
        });
    }
}

TEST(CameraUpdate, IsAnsweredWith3WithoutACamera)
{
    for (const update_row &row : k_updates_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_device, "");
            g_fake.ioctls = {{-1, ENODEV, {}}};
            const outcome seen =
                handset.ask(amt_device_camera_control, AMT_CHANNEL_APP, update_request(row.control_id));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(update_answer("03000000")));
            EXPECT_THAT(seen.events, ElementsAre(k_open, "ioctl c0045627 1", k_close, "send"));
            EXPECT_THAT(seen.told, ElementsAre("info | control_id = " + std::to_string(row.control_id),
                                               "info | update result: 3"));
        });
    }
}

TEST(CameraUpdate, WhoseInputIsRefusedIsNotAnswered)
{
    for (const int error : {EINVAL, EIO, ENXIO, EBUSY}) {
        in_child([error] {
            const device_handset handset;
            handset.put(k_device, "");
            g_fake.ioctls = {{-1, error, {}}};
            const outcome seen = handset.ask(amt_device_camera_control, AMT_CHANNEL_PC, update_request(1));
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), IsEmpty());
            EXPECT_THAT(seen.events, ElementsAre(k_open, "ioctl c0045627 1", k_close));
            EXPECT_THAT(seen.told, ElementsAre("info | control_id = 1", "sys error | ioctl: " + std::to_string(error) +
                                                                            " - " + error_text(error).c_str()));
        });
    }
}

TEST(CameraUpdate, ThatTheDriverRefusesIsNotAnswered)
{
    for (const int error : {EIO, ENODEV}) {
        for (const int returned : {-1, -5}) {
            in_child([error, returned] {
                const device_handset handset;
                handset.put(k_device, "");
                g_fake.ioctls = {{0, 0, {}}, {returned, error, {}}};
                const outcome seen = handset.ask(amt_device_camera_control, AMT_CHANNEL_PC, update_request(1));
                EXPECT_EQ(seen.result, ERR_UNKNOWN) << "it has a camera";
                EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), IsEmpty());
                EXPECT_THAT(seen.events, ElementsAre(k_open, "ioctl c0045627 1", "ioctl c0045663 0", k_close));
                EXPECT_THAT(seen.told,
                            ElementsAre("info | control_id = 1", "sys error | ioctl: " + std::to_string(error) + " - " +
                                                                     error_text(error).c_str()));
            });
        }
    }
}

struct control_row {
    const char *name;
    std::string request;
    const char *number;
};

// clang-format off
const control_row k_bad_controls_a[] = {
    {"0",                     update_request(0),                "0"},
    {"3",                     update_request(3),                "3"},
    {"none",                  message_of(180),                  "0"},
    {"another atom",          message_with(180, {{113, 1}}),      "0"},
    {"the greatest, signed",  update_request(UINT32_MAX),       "-1"},
    {"1 in a higher byte",    update_request(0x101),            "257"},
    {"3 in one byte",         "0c00bbb40600ee7001010003",       "3"},
    {"one that does not end", "0e00bbb40800ee70010400010000",   "0"},
};
// clang-format on

TEST(CameraUpdate, KnowsControlIds1And2)
{
    for (const control_row &row : k_bad_controls_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_device, "");
            const outcome seen = handset.ask(amt_device_camera_control, AMT_CHANNEL_PC, row.request);
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_PC), IsEmpty());
            EXPECT_THAT(seen.events, IsEmpty());
            EXPECT_THAT(seen.told, ElementsAre(std::string("info | control_id = ") + row.number,
                                               k_failed + "invalid control_id: " + row.number));
        });
    }
}

TEST(CameraUpdate, TakesAControlIdOfOneByte)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_device, "");
        const outcome seen = handset.ask(amt_device_camera_control, AMT_CHANNEL_APP, "0c00bbb40600ee7001010002");
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_EQ(seen.told.at(0), "info | control_id = 2");
    });
}

TEST(CameraUpdate, GivesTheResultOfItsAnswer)
{
    expect_result_of_sending(amt_device_camera_control, update_request(1),
                             [](const device_handset &handset) { handset.put(k_device, ""); });
}

TEST(CameraUpdate, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_device_camera_control, AMT_CHANNEL_APP, update_request(1));
}

// --- the device of both

struct request_row {
    const char *name;
    amt_handle_func handler;
    std::string request;
};

const request_row k_requests_a[] = {
    {"preview", amt_device_camera, message_of(139)},
    {"update", amt_device_camera_control, update_request(1)},
};

TEST(Camera, WithoutADeviceIsNotAnswered)
{
    for (const request_row &row : k_requests_a) {
        for (const uint8_t channel : k_both_channels_a) {
            in_child([&row, channel] {
                SCOPED_TRACE(row.name);
                const device_handset handset;
                const outcome seen = handset.ask(row.handler, channel, row.request);
                EXPECT_EQ(seen.result, ERR_UNKNOWN);
                EXPECT_THAT(seen.answers(channel), IsEmpty());
                EXPECT_THAT(seen.events, ElementsAre(k_open));
                EXPECT_EQ(seen.told.back(), "sys error | open: 2 - No such file or directory");
            });
        }
    }
}

TEST(Camera, TakesDescriptor0ForNoDevice)
{
    for (const request_row &row : k_requests_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_device, "");
            (void)close(STDIN_FILENO); // the next one is opened in its place
            const outcome seen = handset.ask(row.handler, AMT_CHANNEL_APP, row.request);
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), IsEmpty());
            EXPECT_THAT(seen.events, ElementsAre(k_open, k_close)) << "the driver is not asked";
            EXPECT_EQ(seen.told.back(), "sys error | open: 9 - Bad file descriptor");
        });
    }
}

} // namespace
