// Which handler answers which command.
#pragma once

// Registers the handlers of both tables, in their order. Main thread, before any reader exists.
void amt_register_handlers();
