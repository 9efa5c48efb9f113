// What is noted of the identities on their way to the modem, as texts.
#pragma once

#include <string>

#include "amt/identity/pending-identity.h"

inline std::string noted(const pending_text &store)
{
    pending_copy text;
    store.get(text);
    return text;
}

inline void note_text(pending_text &store, const std::string &text)
{
    pending_copy copy = "";
    text.copy(copy, AMT_PENDING_SIZE);
    store.set(copy);
}
