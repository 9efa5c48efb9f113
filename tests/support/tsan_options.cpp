// How the thread sanitizer is set in every program that is built with it.
//
// Its check for unsafe calls in signal handlers is off: the service's handlers end the process or a thread, and run in
// waits only, where no lock is held and nothing is interrupted halfway (pub/base/wait.h). The sanitizer cannot know.
//
// It takes a descriptor for memory, and one that is closed while another thread reads or writes it for a race. That is
// how a channel is taken from whoever still waits on it (amt/core/channel.h); what is shared there are atomics.
extern "C" const char *__tsan_default_options();      // NOLINT(bugprone-reserved-identifier): the sanitizer's own name
extern "C" const char *__tsan_default_suppressions(); // NOLINT(bugprone-reserved-identifier): the same

extern "C" const char *__tsan_default_options()
{
    return "report_signal_unsafe=0";
}

extern "C" const char *__tsan_default_suppressions()
{
    return "race:amt_channel_open\n"
           "race:amt_channel_close\n";
}
