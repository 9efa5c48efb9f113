// How the thread sanitizer is set in every program that is built with it.
//
// Its check for unsafe calls in signal handlers is off: the service's handlers end the process or a thread, and run in
// waits only, where no lock is held and nothing is interrupted halfway (pub/base/wait.h). The sanitizer cannot know.
extern "C" const char *__tsan_default_options(); // NOLINT(bugprone-reserved-identifier): the sanitizer's own name

extern "C" const char *__tsan_default_options()
{
    return "report_signal_unsafe=0";
}
