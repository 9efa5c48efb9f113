// The way back: whatever the modem says reaches the station as it is.
#pragma once

// The body of the modem reader. Ends the service when the station's or the modem's channel is lost, and never returns.
void amt_handle_read_modem_loop();
