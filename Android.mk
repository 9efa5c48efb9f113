# The service inside the tree of an Android 6 platform. Put the project into the board's folder, and add kv-zep-amt to
# its PRODUCT_PACKAGES; the configuration and the init definitions come with it.
#
# The sources and flags are those of the preset android: handset-build-test compares them.

LOCAL_PATH := $(call my-dir)

include $(CLEAR_VARS)
LOCAL_MODULE := kv-zep-amt
LOCAL_MODULE_TAGS := optional
LOCAL_MULTILIB := 64
LOCAL_REQUIRED_MODULES := kv-zep-amt.cfg init.kv-zep-amt.rc

LOCAL_CLANG := true
LOCAL_CXX_STL := libc++_static
LOCAL_CPPFLAGS := -std=gnu++14 -Wno-unknown-attributes \
    -fno-exceptions -fno-rtti -fasynchronous-unwind-tables \
    -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
LOCAL_LDFLAGS := -Wl,-z,relro,-z,now,-z,noexecstack

# Of the platform's headers the tree's own count; the maker's are ours.
LOCAL_C_INCLUDES := $(LOCAL_PATH) external/zlib
LOCAL_CPPFLAGS += -idirafter $(LOCAL_PATH)/platform/include
LOCAL_SHARED_LIBRARIES := libcutils liblog libhwt libz libdl

LOCAL_SRC_FILES := \
    pub/base/console.cpp \
    pub/base/file.cpp \
    pub/base/number.cpp \
    pub/base/shared_memory.cpp \
    pub/base/shell.cpp \
    pub/base/wait.cpp \
    pub/cfg/cfg.cpp \
    pub/log/errors.cpp \
    pub/log/log.cpp \
    pub/log/log_client.cpp \
    pub/log/log_directory.cpp \
    pub/log/log_record.cpp \
    pub/pty/pty.cpp \
    pub/util/device.cpp \
    pub/util/process.cpp \
    pub/util/signal_name.cpp \
    pub/util/thread.cpp \
    amt/amt-cfg.cpp \
    amt/at-local/address-at.cpp \
    amt/at-local/at-chain.cpp \
    amt/at-local/at-fields.cpp \
    amt/at-local/at-line.cpp \
    amt/at-local/device-at.cpp \
    amt/at-local/handset-at.cpp \
    amt/at-local/version.cpp \
    amt/channels/app-reader.cpp \
    amt/channels/copies.cpp \
    amt/channels/failure-exit.cpp \
    amt/channels/handshake.cpp \
    amt/channels/modem-port.cpp \
    amt/channels/modem-reader.cpp \
    amt/channels/pc-dispatch.cpp \
    amt/channels/pc-reader.cpp \
    amt/channels/registrations.cpp \
    amt/channels/release.cpp \
    amt/channels/start-up.cpp \
    amt/channels/timers.cpp \
    amt/channels/usb-monitor.cpp \
    amt/core/at-parameter.cpp \
    amt/core/channel.cpp \
    amt/core/command-names.cpp \
    amt/core/context.cpp \
    amt/core/registry.cpp \
    amt/core/request.cpp \
    amt/core/response.cpp \
    amt/core/version-module.cpp \
    amt/device/audio.cpp \
    amt/device/battery.cpp \
    amt/device/bluetooth.cpp \
    amt/device/camera.cpp \
    amt/device/command.cpp \
    amt/device/device-info.cpp \
    amt/device/gps.cpp \
    amt/device/handset-state.cpp \
    amt/device/kernel-file.cpp \
    amt/device/radio.cpp \
    amt/device/simple.cpp \
    amt/device/storage.cpp \
    amt/device/wifi.cpp \
    amt/identity/bt-address.cpp \
    amt/identity/handshake-permit.cpp \
    amt/identity/identity-files.cpp \
    amt/identity/identity-requests.cpp \
    amt/identity/identity-writes.cpp \
    amt/identity/pending-identity.cpp \
    amt/identity/serial-number.cpp \
    amt/identity/wifi-address.cpp \
    amt/identity/wifi-nvram.cpp \
    amt/main.cpp \
    amt/modem/at-channel.cpp \
    amt/modem/at-exchange.cpp \
    amt/modem/at-unsolicited.cpp \
    amt/modem/channel-switch.cpp \
    amt/modem/modem-requests.cpp \
    amt/modem/modem-tunnel.cpp \
    amt/modem/modem-version.cpp \
    amt/modem/normal-to-amt.cpp \
    amt/platform-library.cpp \
    amt/results/amt-test-result.cpp \
    amt/results/result-requests.cpp \
    amt/run-mode.cpp \
    amt/screen/amt-mode-picture.cpp \
    amt/screen/screen.cpp \
    amt/wire/amt-at-data.cpp \
    amt/wire/amt-convert.cpp \
    amt/wire/amt-message.cpp \
    platform/power.cpp
include $(BUILD_EXECUTABLE)

# Into /system/etc.
include $(CLEAR_VARS)
LOCAL_MODULE := kv-zep-amt.cfg
LOCAL_MODULE_TAGS := optional
LOCAL_MODULE_CLASS := ETC
LOCAL_SRC_FILES := etc/kv-zep-amt.cfg
include $(BUILD_PREBUILT)

# Into the ramdisk, where the board's init file imports it.
include $(CLEAR_VARS)
LOCAL_MODULE := init.kv-zep-amt.rc
LOCAL_MODULE_TAGS := optional
LOCAL_MODULE_CLASS := ETC
LOCAL_MODULE_PATH := $(TARGET_ROOT_OUT)
LOCAL_SRC_FILES := etc/kv-zep-amt.rc
include $(BUILD_PREBUILT)
