// The messages between the emulator library and process 1 of the sandbox, over one SOCK_SEQPACKET pair: a message is a
// list of texts, each ended by a zero byte, with descriptors beside it. Requests carry a token which their answer, and
// later the report of a program's end, bring back; the tokens are the library's own.
//
//   start    token path name folder n arguments... n environment...  + standard output, error[, input]   answer: pid
//   signal   token pid number
//   open-tty token path raw|as-created                                                    answer + master descriptor
//   open     token path flags                                                                    answer + descriptor
//   remove   token path
//   mount    token path size-in-KiB
//   unmount  token path
//   uevent   token ACTION@DEVPATH KEY=VALUE...
//
//   hello    errno step                     process 1 is ready (0), or cannot be (the step that failed)
//   answer   token errno text               text: the value on success, the step that failed otherwise
//   ended    token exited|signalled number  a program has ended

#pragma once

#include "emulator/descriptor.h"

#include <sys/types.h>

#include <string>
#include <vector>

namespace emulator {

// A message in either direction; the descriptors of a received one are owned by it and close on exec.
struct message {
    std::vector<std::string> fields;
    std::vector<descriptor> descriptors;
    pid_t sender = 0; // process id as the receiver sees it; 0 unless the receiver's socket has SO_PASSCRED
};

// Room for the longest message; a longer one cannot be sent.
constexpr std::size_t k_message_size = 128 * std::size_t{1024};

// Sends one message, the descriptors stay the caller's. False with errno set when it cannot be sent (EMSGSIZE: too
// long). Blocks while the far end's queue is full.
[[nodiscard]] bool send_message(int socket, const std::vector<std::string> &fields,
                                const std::vector<int> &descriptors);

// Receives one message, blocking. False when the far end is closed or the socket fails.
[[nodiscard]] bool receive_message(int socket, message &received);

// The decimal number that a field is; 0 when it is none. Both ends are built together, so none is a fault of theirs.
int number_in(const std::string &field);

} // namespace emulator
