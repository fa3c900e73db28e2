#include "lab/capture/conversation.h"

using namespace wire_sub;

WireBytes Conversation::RequestBody() {
    // The central router announces of others what they registered.
    bool from_central = m_way == kWireDown;
    uint32_t identifier = At32(m_message.body, m_message.sub == kAddRouter ? 4 : 0);
    const Edge* about = from_central ? EdgeWith(identifier) : m_edge;
    if (from_central && m_message.sub == kDelRouter)
        return about ? WireBytes() : EncodeWire(WireIdentifier{identifier});
    if (!about || (from_central && about == m_edge)) return {};
    const LabPlan::Edge& plan = about->plan;
    Endpoint seen_at = from_central ? about->at : Endpoint();
    switch (m_message.sub) {
        case kLogin:
            return EncodeWire(WireLogin{m_plan.subnet, m_plan.user, m_plan.password, plan.serial,
                                        m_plan.version});
        case kDhcp:
            return EncodeWire(WireDhcp{plan.device.ip, plan.device.mac});
        case kSubnet:
            return EncodeWire(WireSubnet{m_plan.subnet});
        case kGetDevice:
            return m_edge->steps.empty()
                       ? WireBytes()
                       : EncodeWire(WireIdentifier{m_edge->steps.front().identifier});
        case kAddRouter:
            return EncodeWire(WireRouterAdd{.identifier = about->identifier,
                                            .serial = plan.serial,
                                            .label = plan.label,
                                            .ip = seen_at.ip,
                                            .port = seen_at.port});
        case kAddDevice:
            return EncodeWire(WireDeviceAdd{about->identifier, {plan.device}});
        case kDelDevice:
            return EncodeWire(WireDeviceDel{about->identifier, {{plan.device.ip}}});
        default:
            return {};
    }
}

WireBytes Conversation::ReplyBody(const WireMessage& request) {
    const Edge* about = EdgeWith(At32(request.body, 0));
    uint32_t given = At32(m_message.body, 4);
    WireFaults faults;
    auto list = DecodeWire<WireRouterList>(m_message.body, faults);
    std::map<uint32_t, const Edge*> others = Others();
    switch (m_message.sub) {
        case kLogin:
            Want(!EdgeWith(given), "an identifier that another edge has");
            return EncodeWire(WireLoginReply{.identifier = given});
        case kDhcp:
            return EncodeWire(
                WireDhcpReply{0, m_plan.gateway, m_plan.mask, m_edge->plan.device.ip});
        case kSubnet:
            return EncodeWire(WireSubnetReply{m_plan.subnet, m_plan.gateway, m_plan.mask});
        case kGetRouter:
            for (WireRouter& router : list.routers) {  // each of the others once
                auto other = others.extract(router.identifier);
                if (other.empty()) return {};
                router = {.identifier = router.identifier,
                          .serial = other.mapped()->plan.serial,
                          .ip = other.mapped()->at.ip,
                          .port = other.mapped()->at.port};
            }
            return others.empty() ? EncodeWire(list) : WireBytes();
        case kGetDevice:
            return about ? EncodeWire(WireDeviceList{{about->plan.device}}) : WireBytes();
        case kAddRouter:
            return EncodeWire(WireRouterAddReply());
        default:
            return {};
    }
}
