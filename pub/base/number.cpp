#include "pub/base/number.h"

#include <stdlib.h>

int32_t pub_util_get_number(const char *text)
{
    const long number = strtol(text, nullptr, 10);
    if (number > INT32_MAX) {
        return INT32_MAX;
    }
    return number < INT32_MIN ? INT32_MIN : static_cast<int32_t>(number);
}
