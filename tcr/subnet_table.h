#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tcr/tcr_edge.h"

// The subnets that the central router serves, by index. A subnet keeps its index for as long as it
// is served; the index of one that went may be given to another. One thread.
class TcrSubnetTable {
  public:
    static constexpr int kLowestFree = -1;

    // A new subnet with that index, in place of any present one, or with the lowest free one.
    TcrSubnet& Add(const TcrSubnetConfig& served, int index = kLowestFree);
    // The subnet goes, with its edges' sessions.
    void Remove(int index);
    void Clear() { m_subnets.clear(); }

    // Null when there is none.
    TcrSubnet* At(int index) const;
    TcrSubnet* Find(const std::string& name) const;
    TcrSubnet* OfIdentifier(uint32_t identifier) const {
        return At(CTSdwanSubnet::GetIndexFromIdentifier(identifier));
    }
    // One past the highest index.
    int Count() const { return static_cast<int>(m_subnets.size()); }

    // Calls visit(TcrSubnet&) for each subnet, and visit(TcrEdge) for each slot of each subnet.
    template <typename Visit>
    void ForEach(Visit visit) const {
        for (const std::unique_ptr<TcrSubnet>& subnet : m_subnets) {
            if (subnet) visit(*subnet);
        }
    }
    template <typename Visit>
    void ForEachEdge(Visit visit) const {
        ForEach([&](TcrSubnet& subnet) {
            for (int slot = 0; slot < kTcrSlots; ++slot)
                visit(TcrEdge{&subnet, slot});
        });
    }

  private:
    int LowestFree() const;

    std::vector<std::unique_ptr<TcrSubnet>> m_subnets;  // null where an index is free
};
