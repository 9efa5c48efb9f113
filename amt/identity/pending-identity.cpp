#include "amt/identity/pending-identity.h"

#include <new>

#include "pub/base/shared_memory.h"

namespace {

struct pending_identity {
    pending_text m_imei;
    pending_text m_sn;
    std::atomic<uint8_t> m_kind;
    std::atomic<uint8_t> m_channel;
};
static_assert(ATOMIC_CHAR_LOCK_FREE == 2, "a lock would not be shared");

pending_identity g_own; // of a process that has no memory to share

pending_identity &find()
{
    void *memory = pub_util_share_memory(sizeof(pending_identity));
    return memory == nullptr ? g_own : *new (memory) pending_identity{};
}

// Found at the first call, which comes before any copy is made.
pending_identity &pending()
{
    static pending_identity &found = find();
    return found;
}

} // namespace

void pending_text::set(const pending_copy &text)
{
    for (uint32_t i = 0; i < AMT_PENDING_SIZE; i++) { // the last byte is always 0
        m_text_a[i].store(text[i], std::memory_order_relaxed);
    }
}

void pending_text::get(pending_copy &text) const
{
    for (uint32_t i = 0; i <= AMT_PENDING_SIZE; i++) {
        text[i] = m_text_a[i].load(std::memory_order_relaxed);
    }
}

pending_text &pending_imei()
{
    return pending().m_imei;
}

pending_text &pending_sn()
{
    return pending().m_sn;
}

std::atomic<uint8_t> &pending_kind()
{
    return pending().m_kind;
}

std::atomic<uint8_t> &pending_channel()
{
    return pending().m_channel;
}

void amt_clear_pending_identity()
{
    pending_imei().set({});
    pending_sn().set({});
    pending_kind() = AMT_PENDING_NONE;
    pending_channel() = 0;
}
