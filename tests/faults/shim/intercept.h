// How a function of another library is intercepted: a call either fails as planned or goes to the next library's
// definition with the caller's arguments. The emulated devices are behind it, so their calls can be made to fail as
// well.
#pragma once

#include "tests/faults/shim/consult.h"

#include <dlfcn.h>

#include <cerrno>

#define VISIBLE extern "C" __attribute__((visibility("default")))
#define CALLER __builtin_return_address(0)
#define ID(name) fault_function::name

// Where the next definition of a function is kept.
std::atomic<void *> &next_slot(fault_function id);

// The next definition of a function, looked up at its first use: a program may call before any constructor has run.
template <typename function>
function *next(fault_function id)
{
    std::atomic<void *> &slot = next_slot(id);
    void *found = slot.load(std::memory_order_relaxed);
    if (found == nullptr) {
        found = dlsym(RTLD_NEXT, k_fault_functions[static_cast<uint32_t>(id)]);
        slot.store(found, std::memory_order_relaxed);
    }
    return reinterpret_cast<function *>(found);
}

template <typename result>
result failed(const fault_call &call)
{
    errno = call.error;
    return (result)-1; // NOLINT(google-readability-casting): a number, or MAP_FAILED
}

// A function that returns -1 when it fails, on a path or a descriptor.
template <typename result, typename target, bool is_noexcept, typename... arguments>
result call_on(fault_function id, const void *caller, result (*)(arguments...) noexcept(is_noexcept), target what,
               arguments... given)
{
    const fault_call call = fault_consult(id, what, caller);
    return call.fails ? failed<result>(call) : next<result(arguments...)>(id)(given...);
}
