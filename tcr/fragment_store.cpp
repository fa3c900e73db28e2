#include "tcr/fragment_store.h"

#include <algorithm>
#include <iterator>
#include <utility>

// A number up to kMaxPassed behind the last one is a late one.
void TcrFragmentStore::Note(uint32_t edge, uint16_t seq) {
    auto found = m_edges.find(edge);
    if (found == m_edges.end()) return;
    Edge& sender = found->second;
    uint16_t behind = static_cast<uint16_t>(sender.last - seq);
    if (behind <= kMaxPassed) return;
    sender.passed += static_cast<uint16_t>(seq - sender.last);
    sender.last = seq;
}

TcrPkt TcrFragmentStore::Take(uint32_t edge, uint16_t seq, TcrTime now) {
    auto found = m_edges.find(edge);
    if (found == m_edges.end()) return nullptr;
    ForgetOld(found->second, now);
    std::vector<Waiting>& places = found->second.places;
    auto waiting = std::find_if(places.begin(), places.end(),
                                [&](const Waiting& place) { return place.seq == seq; });
    if (waiting == places.end()) return nullptr;
    TcrPkt pkt = std::move(waiting->pkt);
    places.erase(waiting);
    return pkt;
}

void TcrFragmentStore::Put(uint32_t edge, uint16_t seq, TcrPkt pkt, TcrTime now) {
    Edge& sender = m_edges[edge];
    if (sender.places.empty()) sender.last = seq;
    if (sender.places.size() >= kPerEdge) sender.places.erase(sender.places.begin());
    sender.places.push_back({seq, now, sender.passed, std::move(pkt)});
}

void TcrFragmentStore::ForgetOld(Edge& edge, TcrTime now) {
    std::erase_if(edge.places, [&](const Waiting& place) {
        return now - place.since > kMaxAgeMs || edge.passed - place.passed >= kMaxPassed;
    });
}

void TcrFragmentStore::ForgetOld(TcrTime now) {
    for (auto edge = m_edges.begin(); edge != m_edges.end();) {
        ForgetOld(edge->second, now);
        edge = edge->second.places.empty() ? m_edges.erase(edge) : std::next(edge);
    }
}
