#include "tcr/tcr_log.h"

#include <cstdarg>
#include <cstdio>

#include "base/pvu_text_field.h"
#include "tcr/tcr_text.h"

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

bool TcrLog::EdgeLine(const TcrEdge& edge, TcrTime now, const char* format, ...) {
    ReportLeftOut(edge, now);
    if (!edge.subnet->lines[edge.slot].Take(now)) return false;
    char text[kLineSize];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    Line("edge 0x%08x %s", edge.Identifier(), text);
    return true;
}

CTEvent TcrLog::EdgeEvent(const TcrEdge& edge, CTEventLevel level, const char* what) {
    const CTSdwanRouter& router = *edge.Router();
    CTEvent event(level, what);
    event.AddHex("edge", edge.Identifier())
        .AddHex("serial", router.GetSerialNumber())
        .Add("label", pvu_text_field_get(router.GetLabel()))
        .Add("subnet", pvu_text_field_get(edge.subnet->model.GetName()))
        .Add("address", tcr_ip_text(edge.Session().lease))
        .Add("from", tcr_addr_text(edge.Session().path.remote));
    return event;
}

void TcrLog::ReportLeftOut(const TcrEdge& edge, TcrTime now) {
    uint64_t left_out = edge.subnet->lines[edge.slot].TakeLeftOut(now);
    if (left_out == 0) return;
    Line("edge 0x%08x caused %llu more lines, not shown", edge.Identifier(),
         static_cast<unsigned long long>(left_out));
}
