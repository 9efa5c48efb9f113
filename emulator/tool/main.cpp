// handset: the command line. Each verb is declared here and carried out in the file of its family.

#include "emulator/tool/options.h"
#include "tool/program.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

// A descriptor that the caller has closed must not become a socket's; what is written to standard output then fails,
// and that is told.
static void occupy_streams()
{
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; fd++) {
        if (fcntl(fd, F_GETFD) < 0) {
            (void)open("/dev/null", fd == STDERR_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

int main(int argc, char **argv)
{
    occupy_streams();
    int status = 0;
    const int failed = tool::run("handset", [&] {
        tool::hold_interrupts();
        status = handset_tool::carry_out(argc, argv);
        return tool::exit_code::done;
    });
    return failed != 0 ? failed : status;
}
