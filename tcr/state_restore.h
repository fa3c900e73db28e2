#pragma once

#include <vector>

#include "tcr/sessions.h"
#include "tcr/state_record.h"

// Takes up what an earlier run kept. What does not fit the configuration, or each other, is left
// out with one line. Lives for one call of Run.
class TcrStateRestore {
  public:
    TcrStateRestore(TcrCore& core, TcrSessions& sessions, TcrTime now, int64_t unix_now)
        : m_core(core), m_sessions(sessions), m_now(now), m_unix_now(unix_now) {}

    void Run(const TcrStateImage& image);

  private:
    std::vector<TcrSubnetConfig> PlaceSubnets(const TcrStateImage& image);
    void PlaceEdge(const TcrEdgeRecord& record);
    // Null when the record can be taken up; why not otherwise.
    static const char* FaultOf(TcrSubnet& subnet, const TcrEdgeRecord& record);
    void FillRouter(const TcrEdge& edge, const TcrEdgeRecord& record);
    void FillSession(const TcrEdge& edge, const TcrEdgeRecord& record);

    TcrCore& m_core;
    TcrSessions& m_sessions;
    const TcrTime m_now;
    const int64_t m_unix_now;
};
