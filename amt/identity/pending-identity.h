// The identities that the station wants written, until the modem has accepted them. Any of the service and its copies
// reads a request, and the service alone hears what the modem answers, so they have the notes in common.
//
// One thread notes and another takes the note, without a lock: the request goes to the modem behind the note, and the
// modem answers behind the request. A modem that speaks out of turn may get a mixture of two texts saved, and no worse.
#pragma once

#include <stdint.h>

#include <atomic>

constexpr uint32_t AMT_PENDING_SIZE = 21;

// A text of up to 21 characters, terminated.
using pending_copy = char[AMT_PENDING_SIZE + 1];

class pending_text {
  public:
    void set(const pending_copy &text);
    void get(pending_copy &text) const;

  private:
    std::atomic<char> m_text_a[AMT_PENDING_SIZE + 1];
};

enum amt_pending_kind : uint8_t { AMT_PENDING_NONE = 0, AMT_PENDING_IMEI = 1, AMT_PENDING_SN = 2 };

pending_text &pending_imei();
pending_text &pending_sn();
std::atomic<uint8_t> &pending_kind();    // what was noted last, and waits
std::atomic<uint8_t> &pending_channel(); // for which of the modem's channels

// Forgets all of it. Before any reader and any copy exists.
void amt_clear_pending_identity();
