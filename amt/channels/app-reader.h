// The application's requests: bare messages on the pseudo-terminal, each read one request.
#pragma once

// The body of the APP reader. It opens the pseudo-terminal anew whenever the application closes its side; when it
// cannot, the thread ends and the process stays.
void amt_handle_read_app_loop();

// Hands the request that the request buffer holds to its handler, and answers in its place when it fails or when there
// is none. True when the request is done with; false when that answer did not get out. The APP reader's thread.
[[nodiscard]] bool handle_amt_app_req();
