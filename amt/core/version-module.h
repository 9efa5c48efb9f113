// The modules whose versions a station and an application ask for, and who knows them. Any thread.
#pragma once

#include <stdint.h>

#include "amt/wire/amt-message.h"

// The version request and its answer: which module, and its version.
constexpr uint8_t AMT_VERSION_RESPONSE_ID = 46;
constexpr uint8_t AMT_VERSION_TYPE_ATOM = 19;
constexpr uint8_t AMT_VERSION_TEXT_ATOM = 18;

enum class version_source : uint8_t {
    fixed_text,
    software, // of the handset: a station gets its version, the application the fixed text
    modem,
};

struct version_module {
    int32_t m_type;
    version_source m_source;
    const char *m_name;
};

// "(undefined)" for a number that is no module's.
const char *amt_get_module_name(int32_t type);

// The module that a version request is for, told in the log. ERR_UNKNOWN for a number that is no module's.
[[nodiscard]] int32_t amt_read_version_module(const amt_buffer *request, const version_module **module);

// Appends the version of the modules that have none of their own: 64 characters whatever the handset runs. Nothing is
// read out of it but that there is an answer, keep. The codes of amt_message_append_bytes.
int32_t amt_append_fixed_version(uint8_t *message);
