// The player of a workstation: amt-audio RATE FORMAT FRAMES FILE. There is no loudspeaker behind it: the call is
// recorded, and in the background a child "plays" until somebody kills it, whom the pid file tells its number. A
// control with another result than 0 is a player that cannot play: no child, no pid file. A program and no script,
// because the name by which it is found is that of the running file.
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "platform/linux/handset.h"

constexpr char k_folder[] = "/tmp/";

static int record_call(int count, char **arguments)
{
    char joined[PATH_MAX] = "";
    size_t used = 0;
    for (int i = 1; i < count; ++i) {
        used = handset_append(joined, sizeof(joined), used, "%s%s", i == 1 ? "" : " ", arguments[i]);
    }
    const handset_call call = handset_begin("amt-audio(%s)", joined);
    return handset_end(call);
}

// Whoever waits for the end of the caller's output, or hangs up a tty of its, must not find the player there. Done
// before there is a player, so that it is true of it from its first moment on.
static void let_go_of_descriptors()
{
    (void)close_range(0, ~0U, 0);
    (void)open("/dev/null", O_RDWR); // the lowest free number: 0
    (void)dup2(STDIN_FILENO, STDOUT_FILENO);
    (void)dup2(STDIN_FILENO, STDERR_FILENO);
}

// Renamed into place, so that nobody reads half a number.
static bool write_pid_file(pid_t player)
{
    const handset_path fresh = handset_path_of(k_folder, ".amt-audio.pid.new");
    char text[16];
    const size_t length = handset_append(text, sizeof(text), 0, "%d\n", static_cast<int>(player));
    const int file = open(fresh.m_text, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const bool is_whole = file >= 0 && handset_write(file, text, length) == static_cast<int>(length);
    (void)close(file);
    return is_whole && rename(fresh.m_text, handset_path_of(k_folder, "amt-audio.pid").m_text) == 0;
}

[[noreturn]] static void play()
{
    while (true) {
        (void)pause();
    }
}

int main(int argc, char **argv)
{
    const int refusal = record_call(argc, argv);
    if (refusal != 0) {
        return refusal;
    }
    let_go_of_descriptors();
    const pid_t player = fork();
    if (player == 0) {
        play();
    }
    if (player > 0 && write_pid_file(player)) {
        return 0;
    }
    if (player > 0) {
        (void)kill(player, SIGKILL); // nobody could find it
    }
    return 1;
}
