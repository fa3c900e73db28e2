#include "tests/capture/conversation.h"

// What has to stand in each body, as far as the plan and what was said before tell it.

using namespace wire_sub;

WireBytes Conversation::RequestBody(const Edge& edge, const WireMessage& request,
                                    bool from_central) {
    // The central router tells of others what they told of themselves.
    uint32_t identifier = At32(request.body, request.sub == kAddRouter ? 4 : 0);
    const Edge* about = from_central ? EdgeWith(identifier) : &edge;
    if (from_central && request.sub == kDelRouter)
        return about ? WireBytes() : EncodeWire(WireIdentifier{identifier});
    if (!about || (from_central && about == &edge)) return {};
    WireDevice device = LabPlan::DeviceOf(about->number);
    switch (request.sub) {
        case kLogin:
            return EncodeWire(WireLogin{m_plan.subnet, m_plan.user, m_plan.password,
                                        LabPlan::SerialOf(about->number), m_plan.version});
        case kDhcp:
            return EncodeWire(WireDhcp{device.ip, device.mac});
        case kSubnet:
            return EncodeWire(WireSubnet{m_plan.subnet});
        case kGetDevice:
            return EncodeWire(
                WireIdentifier{edge.steps.empty() ? 0 : edge.steps.front().identifier});
        case kAddRouter:
            return EncodeWire(WireRouterAdd{.identifier = about->identifier,
                                            .serial = LabPlan::SerialOf(about->number),
                                            .label = LabPlan::LabelOf(about->number),
                                            .ip = from_central ? about->at.ip : 0,
                                            .port = from_central ? about->at.port : uint16_t{0}});
        case kAddDevice:
            return EncodeWire(WireDeviceAdd{about->identifier, {device}});
        case kDelDevice:
            return EncodeWire(WireDeviceDel{about->identifier, {{device.ip}}});
        default:
            return {};
    }
}

WireBytes Conversation::ReplyBody(const Edge& edge, const Exchange& exchange,
                                  const WireMessage& reply) {
    if (IsHeartbeat(exchange.request)) return exchange.request.body;
    switch (reply.sub) {
        case kLogin: {
            uint32_t identifier = At32(reply.body, 4);
            Want(!EdgeWith(identifier), "an identifier that another edge has");
            return EncodeWire(WireLoginReply{.identifier = identifier});
        }
        case kDhcp:
            return EncodeWire(
                WireDhcpReply{0, m_plan.gateway, m_plan.mask, LabPlan::DeviceOf(edge.number).ip});
        case kSubnet:
            return EncodeWire(WireSubnetReply{m_plan.subnet, m_plan.gateway, m_plan.mask});
        case kGetRouter: {
            WireFaults faults;
            WireRouterList list = DecodeWire<WireRouterList>(reply.body, faults);
            Want(list.routers.size() == OthersThan(edge).size(), "not one record for each other");
            for (WireRouter& router : list.routers) {
                const Edge* other = EdgeWith(router.identifier);
                if (!other || other == &edge || other->phase != Phase::kJoined) return {};
                router = {.identifier = router.identifier,
                          .serial = LabPlan::SerialOf(other->number),
                          .ip = other->at.ip,
                          .port = other->at.port};
            }
            return EncodeWire(list);
        }
        case kGetDevice: {
            const Edge* about = EdgeWith(At32(exchange.request.body, 0));
            return about ? EncodeWire(WireDeviceList{{LabPlan::DeviceOf(about->number)}})
                         : WireBytes();
        }
        case kAddRouter:
            return EncodeWire(WireRouterAddReply());
        default:
            return {};
    }
}
