// What the compilers do not have that build Android 6 itself, clang 3.6 to 3.8. Included before all else.
#pragma once

#pragma clang poison thread_local __builtin_COLUMN __builtin_FILE __builtin_FUNCTION __builtin_LINE
