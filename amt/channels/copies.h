// The start of Bluetooth doubles the service: its copy, which has only the thread that asked for it, goes on reading
// from the same channel and ends like the service itself.
#pragma once

// Prepares for copies: each will have no handle of a thread that it lacks, no timer, and nobody who is ending it, and
// lets the signals that end the service in by its only thread. Main thread, before any other exists.
void amt_prepare_copies();
