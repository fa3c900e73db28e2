#include "inet/tnet_source_progress.h"

namespace {

constexpr uint16_t kLate = 4096;
constexpr uint32_t kHashFactor = 0x9E3779B1;  // spreads neighbouring sources
constexpr int kHashShift = 21;                // leaves as many bits as there are heads

}  // namespace

size_t CTNetSourceProgress::HeadOf(uint32_t src) {
    static_assert(kHeads == 1 << (32 - kHashShift));
    return src * kHashFactor >> kHashShift;
}

void CTNetSourceProgress::Clear() {
    m_heads.fill(kNone);
    for (size_t i = 0; i < m_sources.size(); ++i)
        m_sources[i].next = static_cast<int16_t>(i + 1);
    m_sources.back().next = kNone;
    m_free = 0;
    m_held = 0;
}

const CTNetSourceProgress::Source* CTNetSourceProgress::Find(uint32_t src) const {
    for (int16_t i = m_heads[HeadOf(src)]; i != kNone;) {
        const Source& source = m_sources[static_cast<size_t>(i)];
        if (source.src == src) return &source;
        i = source.next;
    }
    return nullptr;
}

CTNetSourceProgress::Source* CTNetSourceProgress::Find(uint32_t src) {
    return const_cast<Source*>(static_cast<const CTNetSourceProgress*>(this)->Find(src));
}

CTNetSourceProgress::Source* CTNetSourceProgress::Insert(uint32_t src, uint16_t seq) {
    if (m_free == kNone) return nullptr;
    int16_t index = m_free;
    int16_t& head = m_heads[HeadOf(src)];
    Source& source = m_sources[static_cast<size_t>(index)];
    m_free = source.next;
    source = {src, 0, 0, seq, head};
    head = index;
    ++m_held;
    return &source;
}

uint32_t CTNetSourceProgress::Hold(uint32_t src, uint16_t seq) {
    Source* source = Find(src);
    if (!source) source = Insert(src, seq);
    if (!source) return 0;
    ++source->fragments;
    return source->passed;
}

void CTNetSourceProgress::Release(uint32_t src) {
    int16_t* link = &m_heads[HeadOf(src)];
    for (; *link != kNone; link = &m_sources[static_cast<size_t>(*link)].next) {
        Source& source = m_sources[static_cast<size_t>(*link)];
        if (source.src != src) continue;
        if (--source.fragments > 0) return;
        int16_t index = *link;
        *link = source.next;
        source.next = m_free;
        m_free = index;
        --m_held;
        return;
    }
}

void CTNetSourceProgress::Note(uint32_t src, uint16_t seq) {
    if (m_held == 0) return;
    Source* source = Find(src);
    if (!source) return;
    auto ahead = static_cast<uint16_t>(seq - source->last);
    auto behind = static_cast<uint16_t>(-ahead);
    if (behind <= kLate) return;
    source->passed += ahead;
    source->last = seq;
}

uint32_t CTNetSourceProgress::PassedSince(uint32_t src, uint32_t count) const {
    const Source* source = Find(src);
    return source ? source->passed - count : 0;
}
