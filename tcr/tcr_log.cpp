#include "tcr/tcr_log.h"

#include <cstdarg>
#include <cstdio>

namespace {

constexpr int kLineSize = 256;

}  // namespace

void TcrLog::Line(const char* format, ...) {
    char line[kLineSize];
    va_list args;
    va_start(args, format);
    vsnprintf(line, sizeof line, format, args);
    va_end(args);
    m_link.Tell(line);
}

void TcrLog::EdgeLine(const TcrEdge& edge, TcrTime now, const char* format, ...) {
    ReportLeftOut(edge, now);
    if (!edge.subnet->lines[edge.slot].Take(now)) return;
    char text[kLineSize];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    Line("edge 0x%08x %s", edge.Identifier(), text);
}

void TcrLog::ReportLeftOut(const TcrEdge& edge, TcrTime now) {
    uint64_t left_out = edge.subnet->lines[edge.slot].TakeLeftOut(now);
    if (left_out == 0) return;
    Line("edge 0x%08x caused %llu more lines, not shown", edge.Identifier(),
         static_cast<unsigned long long>(left_out));
}
