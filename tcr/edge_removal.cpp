#include "tcr/edge_removal.h"

#include "tcr/tcr_text.h"

namespace {

TcrRemovedEdge Remove(TcrCore& core, const TcrEdge& edge, TcrTime now) {
    TcrRemovedEdge removed{edge.Identifier(), edge.subnet->model.GetName(),
                           edge.Router()->GetLabel()};
    TcrLog::EdgeEvent(edge, CTEventLevel::kNotice, "edge removed").Log();
    edge.subnet->FreeSlot(edge.slot);
    core.journal.EdgeChanged(edge);
    core.log.Line("edge 0x%08x \"%s\" removed by an operator", removed.identifier,
                  tcr_printable(removed.label.c_str()).c_str());
    core.announcer.AdvanceAll(*edge.subnet, now);
    return removed;
}

}  // namespace

std::vector<TcrRemovedEdge> tcr_remove_edge(TcrCore& core, uint32_t serial, TcrTime now) {
    std::vector<TcrRemovedEdge> removed;
    core.subnets.ForEach([&](TcrSubnet& subnet) {
        int slot = subnet.model.GetRouterList().Find(serial);
        if (slot >= 0 && slot < kTcrSlots) removed.push_back(Remove(core, {&subnet, slot}, now));
    });
    return removed;
}
