// What the sanitizers are told by each fuzzer of a pure reader itself, however it is started.

extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options()
{
    // What is given back is soon taken again; kept back for long, it would cost more than all the rest of an execution.
    return "quarantine_size_mb=4";
}
