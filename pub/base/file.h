// Files of the disk, as opposed to what else may stand under a path.
#pragma once

#include <stdio.h>

// open(2) for a file that is created, if so, for everybody (0666 less the mask), and closed on exec. A pipe or a device
// is refused with EINVAL, without waiting for whoever is at its other end; a folder is left to the call that cannot use
// it. With O_TRUNC the file is emptied last: a failure leaves what stands in it. The descriptor, or -1 with errno. Any
// thread.
[[nodiscard]] int pub_util_open_file(const char *path, int flags);

// The same as a stream, with the mode of fdopen(3) that goes with the flags. Null with errno. The caller closes it.
[[nodiscard]] FILE *pub_util_open_stream(const char *path, int flags, const char *mode);
