// The start of Bluetooth doubles the service: its copy, which has only the thread that asked for it, goes on reading
// from the same channel and ends like the service itself.
#pragma once

// Prepares for copies. Each will forget the threads and timers that it does not have, and any ending that has begun,
// and records no failure of a handshake; the signals that end the service reach its only thread. Main thread, before
// any other exists.
void amt_prepare_copies();

// The service and its copies change what lies under a path that they share, as the application's, one at a time: as
// long as it lives, it is this process's turn. One that dies in its turn holds the others up for a second.
class shared_turn {
  public:
    shared_turn();
    ~shared_turn();
    shared_turn(const shared_turn &) = delete;
    shared_turn &operator=(const shared_turn &) = delete;
};
