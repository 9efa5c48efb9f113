// The station's requests: whatever one read brings is one request.
#pragma once

// The body of the PC reader. Ends the service when the station's or the modem's channel is lost, and never returns.
void amt_handle_read_pc_loop();
