// The end of a start on the insertion of a USB cable that comes to nothing, and the property in which the system finds
// why.
#pragma once

// Nothing has been recorded, and no charger found. Main thread, before any other exists.
void amt_forget_failure();

// For a copy of the process: what becomes of the service is not its to tell.
void amt_leave_failure_to_original();

// The supply is a charger, not a USB host: the handshake is not permitted, whatever the file says.
void amt_note_ac_power();

// Sets the property, each time: entering was not permitted, or it was and came to nothing. Any thread.
void amt_set_failure_exit_property();

// Sets the property unless that has been done. When another thread is just at it, returns behind that: the process may
// end then. Any thread.
void amt_record_failure_exit();

// Sets the property likewise, deletes the timers and has the main thread end the process, with status 0. Any thread.
void amt_handle_failure_exit();
