#include "tcr/fragment_store.h"

#include <algorithm>
#include <iterator>
#include <utility>

TcrPkt TcrFragmentStore::Take(uint32_t edge, uint16_t seq, TcrTime now) {
    auto found = m_edges.find(edge);
    if (found == m_edges.end()) return nullptr;
    Places& places = found->second;
    ForgetOld(places, now);
    auto waiting = std::find_if(places.begin(), places.end(),
                                [&](const Waiting& place) { return place.seq == seq; });
    if (waiting == places.end()) return nullptr;
    TcrPkt pkt = std::move(waiting->pkt);
    places.erase(waiting);
    return pkt;
}

void TcrFragmentStore::Put(uint32_t edge, uint16_t seq, TcrPkt pkt, TcrTime now) {
    Places& places = m_edges[edge];
    if (places.size() >= kPerEdge) places.erase(places.begin());
    places.push_back({seq, now, std::move(pkt)});
}

void TcrFragmentStore::ForgetOld(Places& places, TcrTime now) {
    std::erase_if(places, [&](const Waiting& place) { return now - place.since > kMaxAgeMs; });
}

void TcrFragmentStore::ForgetOld(TcrTime now) {
    for (auto edge = m_edges.begin(); edge != m_edges.end();) {
        ForgetOld(edge->second, now);
        edge = edge->second.empty() ? m_edges.erase(edge) : std::next(edge);
    }
}

size_t TcrFragmentStore::Count() const {
    size_t count = 0;
    for (const auto& [edge, places] : m_edges)
        count += places.size();
    return count;
}
