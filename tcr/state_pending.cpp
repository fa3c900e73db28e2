#include "tcr/state_pending.h"

#include <limits>

void TcrStatePending::Add(TcrStateBatch&& batch) {
    for (int index : batch.removed_subnets)
        RemoveSubnet(index);
    for (std::pair<int, int> edge : batch.removed_edges)
        m_edges[edge].reset();
    for (TcrSubnetRecord& subnet : batch.subnets)
        m_subnets[subnet.index] = std::move(subnet);
    for (TcrEdgeRecord& edge : batch.edges)
        m_edges[{edge.subnet, edge.slot}] = std::move(edge);
}

void TcrStatePending::RemoveSubnet(int index) {
    m_cleared.insert(index);
    m_subnets.erase(index);
    constexpr int kLowest = std::numeric_limits<int>::min();
    m_edges.erase(m_edges.lower_bound({index, kLowest}), m_edges.lower_bound({index + 1, kLowest}));
}

TcrStateBatch TcrStatePending::Take() {
    TcrStateBatch batch;
    batch.removed_subnets.assign(m_cleared.begin(), m_cleared.end());
    for (auto& [index, subnet] : m_subnets)
        batch.subnets.push_back(std::move(subnet));
    for (auto& [place, edge] : m_edges) {
        if (edge) {
            batch.edges.push_back(std::move(*edge));
        } else {
            batch.removed_edges.push_back(place);
        }
    }
    *this = TcrStatePending();
    return batch;
}
