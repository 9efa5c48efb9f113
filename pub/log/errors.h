// The error codes that every function of the service family returns, and their texts. 0 is success, the service's own
// codes are negative, positive values are errno numbers.
#pragma once

#include <stddef.h>
#include <stdint.h>

constexpr int32_t ERR_NONE = 0;
constexpr int32_t ERR_UNKNOWN = -100;
constexpr int32_t ERR_INVALID_PARAM = -101;
constexpr int32_t ERR_NULL_POINTER = -102;
constexpr int32_t ERR_INVALID_VALUE = -103;
constexpr int32_t ERR_NOT_FOUND = -104;
constexpr int32_t ERR_NOT_READY = -111;
constexpr int32_t ERR_TIMEOUT = -113;
constexpr int32_t ERR_UNKNOWN_OPERATION = -116;
constexpr int32_t ERR_EXCEED_MAX_SIZE = -117;
constexpr int32_t ERR_C_FUNCTION = -118;
constexpr int32_t ERR_WRITE_NOT_COMPLETED = -119;
constexpr int32_t ERR_AT_ERROR = -600;
constexpr int32_t ERR_MUX_INIT = -601;
constexpr int32_t ERR_MUX_DEINIT = -602;
constexpr int32_t ERR_MUX_OPEN = -603;
constexpr int32_t ERR_MUX_CLOSE = -604;
constexpr int32_t ERR_MUX_NO_IDLE_PORT = -605;
constexpr int32_t ERR_MUX_TIMEOUT = -606;

// The text of one code, held by value so that it can stand in the argument list of a log call. The system's text for a
// positive code, an empty one for a code of no row. Keeps errno. Any thread.
class error_text {
  public:
    explicit error_text(int32_t code);
    [[nodiscard]] const char *c_str() const { return m_text; }

  private:
    char m_text[96];
};
