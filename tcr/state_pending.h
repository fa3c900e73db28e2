#pragma once

#include <map>
#include <optional>
#include <set>
#include <utility>

#include "tcr/state_record.h"

// Batches joined into one: what they come to when they are applied one after the other. However
// many are joined, it holds one entry for each subnet and slot. One thread at a time.
class TcrStatePending {
  public:
    void Add(TcrStateBatch&& batch);
    // Everything added since the last call.
    TcrStateBatch Take();
    bool IsEmpty() const { return m_cleared.empty() && m_subnets.empty() && m_edges.empty(); }

  private:
    void RemoveSubnet(int index);

    // An edge without a record is to be removed. A subnet that was removed and put again keeps its
    // place among the cleared ones: its edges of before are to go.
    std::set<int> m_cleared;
    std::map<int, TcrSubnetRecord> m_subnets;
    std::map<std::pair<int, int>, std::optional<TcrEdgeRecord>> m_edges;
};
