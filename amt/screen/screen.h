// The status screen: tells the operator that the handset is in test mode, by a picture drawn straight into the
// framebuffer. Told in the platform's log, not the service's. One thread at a time; what is held is never released.
#pragma once

// Opens and maps the framebuffer and inflates the picture. Once. 0, or -1 with everything closed again.
[[nodiscard]] int screen_init();

// Draws the picture in the middle of the other page and shows that page. 0, or -1 when the display's layer refuses.
// Behind a screen_init that succeeded.
int screen_update();
