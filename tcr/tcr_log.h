#pragma once

#include "base/pvu_event.h"
#include "tcr/tcr_edge.h"
#include "tcr/tcr_link.h"
#include "tcr/tcr_time.h"

// The lines for the operator, and the changes of state among them for the system's log. What an
// edge can cause by what it sends is bounded for each edge, so that nobody fills the logs. One
// thread.
class TcrLog {
  public:
    explicit TcrLog(TcrLink& link) : m_link(link) {}

    void Line(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // "edge 0x... " and the text, while the edge's budget lasts; whether it did.
    bool EdgeLine(const TcrEdge& edge, TcrTime now, const char* format, ...)
        __attribute__((format(printf, 4, 5)));
    // What happened to an edge, with all that tells it from others; behind a line that was shown.
    static CTEvent EdgeEvent(const TcrEdge& edge, CTEventLevel level, const char* what);
    // Reports what was left out of the edge's lines, once there is room for that.
    void ReportLeftOut(const TcrEdge& edge, TcrTime now);

  private:
    TcrLink& m_link;
};
