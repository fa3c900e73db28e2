#pragma once

#include "tcr/tcr_edge.h"
#include "tcr/tcr_link.h"
#include "tcr/tcr_time.h"

// The lines for the operator. What an edge can cause by what it sends is bounded for each edge, so
// that nobody fills the log. One thread.
class TcrLog {
  public:
    explicit TcrLog(TcrLink& link) : m_link(link) {}

    void Line(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // "edge 0x... " and the text, while the edge's budget lasts.
    void EdgeLine(const TcrEdge& edge, TcrTime now, const char* format, ...)
        __attribute__((format(printf, 4, 5)));
    // Reports what was left out of the edge's lines, once there is room for that.
    void ReportLeftOut(const TcrEdge& edge, TcrTime now);

  private:
    TcrLink& m_link;
};
