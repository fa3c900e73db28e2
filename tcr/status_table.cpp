#include "tcr/status_table.h"

#include "base/pvu_string.h"
#include "tcr/tcr_text.h"

namespace {

constexpr TcrTime kMillisPerSecond = 1000;

using Count = unsigned long long;  // as the format wants it

const char* PresenceName(const TcrSession& session) {
    switch (session.presence) {
        case TcrPresence::kAbsent:
            return "away";
        case TcrPresence::kSilent:
            return "silent";
        case TcrPresence::kLoggedIn:
            break;
    }
    return session.settled ? "joined" : "joining";
}

void PrintEdge(TcrLog& log, const TcrEdge& edge, TcrTime now) {
    CTSdwanRouter* router = edge.Router();
    if (!router) return;
    const TcrSession& session = edge.Session();
    log.Line("  edge 0x%08x %-7s serial 0x%08x from %-21s heard %lld s ago \"%s\"",
             edge.Identifier(), PresenceName(session), router->GetSerialNumber(),
             tcr_addr_text(session.path.remote).c_str(),
             static_cast<long long>((now - session.heard_tick) / kMillisPerSecond),
             tcr_printable(router->GetLabel()).c_str());
    CTSdwanDeviceList& devices = router->GetDeviceList();
    for (int i = 0; i < devices.Count(); ++i) {
        CTSdwanDevice* device = devices.At(i);
        if (!device) continue;
        CTString text;
        device->Print(text);
        log.Line("    device %s", text.c_str());
    }
}

void PrintCounters(TcrLog& log, const TcrCounters& counters) {
    log.Line("received %llu relayed %llu answered %llu pings %llu",
             static_cast<Count>(counters.received), static_cast<Count>(counters.relayed),
             static_cast<Count>(counters.answered), static_cast<Count>(counters.pings));
    log.Line("dropped: malformed %llu foreign %llu wrong %llu unknown destination %llu",
             static_cast<Count>(counters.malformed), static_cast<Count>(counters.foreign),
             static_cast<Count>(counters.wrong), static_cast<Count>(counters.unknown_destination));
    log.Line(
        "logins refused %llu logins not looked at %llu send refused %llu replies without state "
        "%llu",
        static_cast<Count>(counters.refused_logins), static_cast<Count>(counters.ignored_logins),
        static_cast<Count>(counters.send_refused), static_cast<Count>(counters.replies_dropped));
}

}  // namespace

void tcr_print_table(TcrCore& core, TcrTime now) {
    core.subnets.ForEach([&](TcrSubnet& subnet) {
        core.log.Line("subnet %d \"%s\" gateway %s mask %s", subnet.model.GetIndex(),
                      tcr_printable(subnet.model.GetName()).c_str(),
                      tcr_ip_text(subnet.model.GetGateway()).c_str(),
                      tcr_ip_text(subnet.model.GetNetMask()).c_str());
        for (int slot = 0; slot < kTcrSlots; ++slot)
            PrintEdge(core.log, {&subnet, slot}, now);
    });
    PrintCounters(core.log, core.counters);
}
