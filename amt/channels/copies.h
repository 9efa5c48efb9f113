// The start of Bluetooth doubles the service: its copy, which has only the thread that asked for it, goes on reading
// from the same channel and ends like the service itself.
#pragma once

// Prepares for copies. Each will forget the threads and timers that it does not have, and any ending that has begun;
// the signals that end the service reach its only thread. Main thread, before any other exists.
void amt_prepare_copies();
