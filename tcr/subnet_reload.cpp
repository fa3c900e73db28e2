#include "tcr/subnet_reload.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/pvu_text_field.h"
#include "tcr/tcr_text.h"

namespace {

const TcrSubnetConfig* FindServed(const TcrConfig& config, const std::string& name) {
    auto found = std::find_if(config.subnets.begin(), config.subnets.end(),
                              [&](const TcrSubnetConfig& served) { return served.name == name; });
    return found == config.subnets.end() ? nullptr : &*found;
}

void PrintSubnet(TcrCore& core, const TcrSubnet& subnet, const char* what) {
    core.log.Line("subnet %d \"%s\" %s", subnet.model.GetIndex(),
                  tcr_printable(subnet.model.GetName()).c_str(), what);
    CTEvent(CTEventLevel::kNotice, (std::string("subnet ") + what).c_str())
        .Add("subnet", pvu_text_field_get(subnet.model.GetName()))
        .Add("index", subnet.model.GetIndex())
        .Log();
}

// The index is the upper part of identifiers that edges use: nobody may use them any more.
void Remove(TcrCore& core, const TcrSubnet& subnet) {
    PrintSubnet(core, subnet, "is no longer served");
    int index = subnet.model.GetIndex();
    core.journal.SubnetRemoved(index);
    core.subnets.Remove(index);
}

void Add(TcrCore& core, const TcrSubnetConfig& served, int index) {
    TcrSubnet& added = core.subnets.Add(served, index);
    core.journal.SubnetChanged(added.model.GetIndex());
    PrintSubnet(core, added, "is served");
}

}  // namespace

bool tcr_same_network(const CTSdwanSubnet& model, uint32_t gateway, uint32_t mask) {
    return model.GetGateway() == gateway && model.GetNetMask() == mask;
}

void tcr_reload_subnets(TcrCore& core, const TcrConfig& config) {
    core.config = config;
    std::vector<TcrSubnet*> gone;
    core.subnets.ForEach([&](TcrSubnet& subnet) {
        if (!FindServed(config, subnet.model.GetName())) gone.push_back(&subnet);
    });
    for (TcrSubnet* subnet : gone)
        Remove(core, *subnet);
    for (const TcrSubnetConfig& served : config.subnets) {
        TcrSubnet* present = core.subnets.Find(served.name);
        if (present && tcr_same_network(present->model, served.gateway, served.mask)) {
            present->SetLimits(served);
            continue;
        }
        int index = present ? present->model.GetIndex() : TcrSubnetTable::kLowestFree;
        if (present) Remove(core, *present);
        Add(core, served, index);
    }
}
